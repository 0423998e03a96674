// The functions' measurements, taken by Google Benchmark, as rows of the table.
#include <benchmark/benchmark.h>

#include <map>
#include <stdexcept>

#include "rows.h"

namespace bench {

namespace {

// Microseconds of CPU a call, a round each repetition.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      m_rounds[run.run_name.function_name + (run.run_name.args.empty() ? "" : "/" + run.run_name.args)].push_back(
          run.GetAdjustedCPUTime());
    }
  }
  const std::vector<double>& of(const std::string& name) const { return m_rounds.at(name); }

 private:
  std::map<std::string, std::vector<double>> m_rounds;
};

}  // namespace

void functionRows(int rounds, Rows& rows) {
  std::string repetitions = "--benchmark_repetitions=" + std::to_string(rounds);
  std::string least = "--benchmark_min_time=0.02";
  std::string program = "process_bench";
  char* arguments[] = {program.data(), repetitions.data(), least.data(), nullptr};
  int count = 3;
  benchmark::Initialize(&count, arguments);
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  const auto add = [&](const char* name, const char* measured, double bound) {
    Row row{name, "us", "", bound > 0 ? Target{Target::kFigureAtMost, bound} : Target{}};
    row.figure.rounds = collector.of(measured);
    rows.push_back(row);
  };
  add("largest mosaic, lines are rows", "BM_LargestMosaic/0", 300);
  add("largest mosaic, lines are columns", "BM_LargestMosaic/1", 300);
  add("EDID for a mode", "BM_EdidForMode", 5);
  add("encoding a reply of 48 bytes", "BM_EncodeReply/48", 0);
  add("encoding a reply of 65516 bytes", "BM_EncodeReply/65516", 0);
  add("trace line that is filtered", "BM_FilteredTraceLine", 0);
}

}  // namespace bench
