// What a measurement is, and how several rounds of it become a row of the table.
#pragma once

#include <chrono>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;
double microsecondsSince(Clock::time_point start);

struct Series {
  std::vector<double> rounds;
  double minimum() const;
  double median() const;
  double maximum() const;
};

// What a row must keep: a bound of the ratio to its yardstick, or of the figure itself.
struct Target {
  enum Kind { kNone, kRatioAtMost, kRatioAtLeast, kFigureAtMost };
  Kind kind = kNone;
  double bound = 0;
};

// One row: a figure, and the yardstick measured in the same run, round by round in turn.
struct Row {
  std::string name;
  std::string unit;
  std::string yardstickName = "";  // "" when there is none
  Target target = {};
  Series figure = {};
  Series yardstick = {};

  double ratio() const;  // the median of the rounds' ratios; 0 without a yardstick
  bool met() const;      // true without a target
};
using Rows = std::vector<Row>;

// One curve of a plot: what a cost becomes as something grows.
struct Curve {
  std::string name;  // also the plot's file name
  std::string title;
  std::string xLabel;
  std::string yLabel;
  std::vector<std::pair<double, double>> points = {};
};
using Curves = std::vector<Curve>;

void printTable(const Rows& rows);
nlohmann::json toJson(const Rows& rows);
nlohmann::json toJson(const Curves& curves);

// Runs the two in turn, `rounds` times. Without a yardstick the figure alone.
void interleave(int rounds, Row& row, const std::function<double()>& figure,
                const std::function<double()>& yardstick = {});

// Microseconds a call of `exchange`, over `count` calls.
struct Latency {
  double median;
  double p99;
};
Latency timeExchanges(int count, const std::function<void()>& exchange, const std::function<void()>& between = {});

// The median of what `take` returns in `count` calls.
double medianOf(int count, const std::function<double()>& take);

// Everything from here on, and the children, on one core.
void pinToCore(int core);

}  // namespace bench
