#include "measure.h"

#include <sched.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <numeric>

namespace bench {

namespace {

double sortedAt(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(share * static_cast<double>(values.size() - 1))];
}

}  // namespace

double Series::minimum() const {
  return sortedAt(rounds, 0);
}
double Series::median() const {
  return sortedAt(rounds, 0.5);
}
double Series::maximum() const {
  return sortedAt(rounds, 1);
}

void printTable(const std::vector<Row>& rows) {
  std::printf("%-44s %28s %-30s %28s %8s %8s\n", "figure", "min / median / max", "yardstick", "min / median / max",
              "ratio", "target");
  for (const Row& row : rows) {
    const auto numbers = [&row](const Series& series) {
      char text[64];
      std::snprintf(text, sizeof text, "%.4g / %.4g / %.4g %s", series.minimum(), series.median(), series.maximum(),
                    row.unit.c_str());
      return std::string(series.rounds.empty() ? "" : text);
    };
    char ratio[16] = "";
    char target[16] = "";
    if (!row.yardstick.rounds.empty()) std::snprintf(ratio, sizeof ratio, "%.2f", row.ratio());
    if (row.target > 0) std::snprintf(target, sizeof target, "%.4g", row.target);
    std::printf("%-44s %28s %-30s %28s %8s %8s\n", row.name.c_str(), numbers(row.figure).c_str(),
                row.yardstickName.c_str(), numbers(row.yardstick).c_str(), ratio, target);
  }
}

nlohmann::json toJson(const std::vector<Row>& rows) {
  nlohmann::json out = nlohmann::json::array();
  for (const Row& row : rows) {
    nlohmann::json entry{
        {"name", row.name}, {"unit", row.unit}, {"rounds", row.figure.rounds}, {"median", row.figure.median()}};
    if (!row.yardstick.rounds.empty()) {
      entry["yardstick"] = {
          {"name", row.yardstickName}, {"rounds", row.yardstick.rounds}, {"median", row.yardstick.median()}};
      entry["ratio"] = row.ratio();
    }
    if (row.target > 0) entry["target"] = row.target;
    out.push_back(std::move(entry));
  }
  return out;
}

void interleave(int rounds, Row& row, const std::function<double()>& figure, const std::function<double()>& yardstick) {
  for (int i = 0; i < rounds; ++i) {
    row.figure.rounds.push_back(figure());
    if (yardstick) row.yardstick.rounds.push_back(yardstick());
  }
}

Latency timeExchanges(int count, const std::function<void()>& exchange) {
  using Clock = std::chrono::steady_clock;
  std::vector<double> times;
  times.reserve(static_cast<size_t>(count));
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    exchange();
    times.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  return {std::accumulate(times.begin(), times.end(), 0.0) / count, sortedAt(times, 0.5), sortedAt(times, 0.99)};
}

void pinToCore(int core) {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(core, &set);
  ::sched_setaffinity(0, sizeof set, &set);
}

}  // namespace bench
