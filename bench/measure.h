// What a measurement is, and how several rounds of it become a row of the table.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace bench {

struct Series {
  std::vector<double> rounds;
  double minimum() const;
  double median() const;
  double maximum() const;
};

// One row: a figure, and the yardstick measured in the same run, round by round in turn.
struct Row {
  std::string name;
  std::string unit;
  Series figure;
  std::string yardstickName;  // "" when there is none
  Series yardstick;
  double target = 0;  // of the ratio, or of the figure when there is no yardstick; 0 none

  double ratio() const { return yardstick.rounds.empty() ? 0 : figure.median() / yardstick.median(); }
};

void printTable(const std::vector<Row>& rows);
nlohmann::json toJson(const std::vector<Row>& rows);

// Runs the two in turn, `rounds` times.
void interleave(int rounds, Row& row, const std::function<double()>& figure, const std::function<double()>& yardstick);

// Microseconds a call of `exchange`, over `count` calls, and the 99th percentile of them.
struct Latency {
  double mean;
  double median;
  double p99;
};
Latency timeExchanges(int count, const std::function<void()>& exchange);

// Everything from here on, and the children, on one core.
void pinToCore(int core);

}  // namespace bench
