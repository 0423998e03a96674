#include "measure.h"

#include <sched.h>

#include <algorithm>
#include <cstdio>

namespace bench {

namespace {

double sortedAt(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

std::string numbers(const Series& series, const std::string& unit) {
  if (series.rounds.empty()) return "";
  char text[96];
  std::snprintf(text, sizeof text, "%.4g / %.4g / %.4g %s", series.minimum(), series.median(), series.maximum(),
                unit.c_str());
  return text;
}

std::string targetText(const Target& target) {
  if (target.kind == Target::kNone) return "";
  char text[32];
  std::snprintf(text, sizeof text, "%s %.4g", target.kind == Target::kRatioAtLeast ? ">=" : "<=", target.bound);
  return text;
}

nlohmann::json toJson(const Series& series) {
  return {{"rounds", series.rounds}, {"min", series.minimum()}, {"median", series.median()}, {"max", series.maximum()}};
}

}  // namespace

double microsecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double Series::minimum() const {
  return sortedAt(rounds, 0);
}
double Series::median() const {
  return sortedAt(rounds, 0.5);
}
double Series::maximum() const {
  return sortedAt(rounds, 1);
}

double Row::ratio() const {
  std::vector<double> ratios;
  const size_t rounds = std::min(figure.rounds.size(), yardstick.rounds.size());
  for (size_t i = 0; i < rounds; ++i) ratios.push_back(figure.rounds[i] / yardstick.rounds[i]);
  return sortedAt(ratios, 0.5);
}

bool Row::met() const {
  switch (target.kind) {
    case Target::kRatioAtMost:
      return ratio() <= target.bound;
    case Target::kRatioAtLeast:
      return ratio() >= target.bound;
    case Target::kFigureAtMost:
      return figure.median() <= target.bound;
    default:
      return true;
  }
}

void printTable(const Rows& rows) {
  constexpr const char* kFormat = "%-44s %30s  %-32s %30s %7s %9s %s\n";
  std::printf(kFormat, "figure", "min / median / max", "yardstick", "min / median / max", "ratio", "target", "");
  for (const Row& row : rows) {
    char ratio[16] = "";
    if (!row.yardstick.rounds.empty()) std::snprintf(ratio, sizeof ratio, "%.2f", row.ratio());
    std::printf(kFormat, row.name.c_str(), numbers(row.figure, row.unit).c_str(), row.yardstickName.c_str(),
                numbers(row.yardstick, row.unit).c_str(), ratio, targetText(row.target).c_str(),
                row.target.kind == Target::kNone ? ""
                : row.met()                      ? "met"
                                                 : "NOT MET");
  }
}

nlohmann::json toJson(const Rows& rows) {
  nlohmann::json out = nlohmann::json::array();
  for (const Row& row : rows) {
    nlohmann::json entry{{"name", row.name}, {"unit", row.unit}, {"figure", toJson(row.figure)}};
    if (!row.yardstick.rounds.empty()) {
      entry["yardstick"] = toJson(row.yardstick);
      entry["yardstick"]["name"] = row.yardstickName;
      entry["ratio"] = row.ratio();
    }
    if (row.target.kind != Target::kNone) {
      entry["target"] = targetText(row.target);
      entry["met"] = row.met();
    }
    out.push_back(std::move(entry));
  }
  return out;
}

nlohmann::json toJson(const Curves& curves) {
  nlohmann::json out = nlohmann::json::array();
  for (const Curve& curve : curves) {
    out.push_back({{"name", curve.name},
                   {"title", curve.title},
                   {"x", curve.xLabel},
                   {"y", curve.yLabel},
                   {"points", curve.points}});
  }
  return out;
}

void interleave(int rounds, Row& row, const std::function<double()>& figure, const std::function<double()>& yardstick) {
  for (int i = 0; i < rounds; ++i) {
    row.figure.rounds.push_back(figure());
    if (yardstick) row.yardstick.rounds.push_back(yardstick());
  }
}

Latency timeExchanges(int count, const std::function<void()>& exchange, const std::function<void()>& between) {
  std::vector<double> times;
  times.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    if (between) between();
    const auto start = Clock::now();
    exchange();
    times.push_back(microsecondsSince(start));
  }
  return {sortedAt(times, 0.5), sortedAt(times, 0.99)};
}

double medianOf(int count, const std::function<double()>& take) {
  std::vector<double> values;
  for (int i = 0; i < count; ++i) values.push_back(take());
  return sortedAt(values, 0.5);
}

void pinToCore(int core) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(core, &set);
  ::sched_setaffinity(0, sizeof set, &set);
}

}  // namespace bench
