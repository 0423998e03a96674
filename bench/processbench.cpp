// The daemon beside its yardsticks, on one core, in turn.
// Usage: process_bench [--rounds N] [--only GROUP] [--json | --document]
//   --only      requests, functions, work or footprint: a part of the table
//   --json      the table as JSON;  --document  table and growth curves as JSON
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <string>

#include "rows.h"

namespace {

using namespace bench;

Rows measure(int rounds, const std::string& only) {
  const auto wanted = [&only](const char* group) { return only.empty() || only == group; };
  Rows rows;
  Daemon daemon;
  if (wanted("requests")) requestRows(daemon, rounds, rows);
  if (wanted("functions")) functionRows(rounds, rows);
  if (wanted("work")) workRows(rounds, rows);
  if (wanted("footprint")) footprintRows(daemon, rounds, rows);
  return rows;
}

Curves measureGrowth() {
  Curves curves;
  const Daemon daemon;
  growthCurves(daemon, curves);
  return curves;
}

}  // namespace

int main(int argc, char** argv) {
  bool json = false;
  bool document = false;
  int rounds = 7;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) json = true;
    if (std::strcmp(argv[i], "--document") == 0) document = true;
    if (std::strcmp(argv[i], "--only") == 0 && i + 1 < argc) only = argv[++i];
    if (std::strcmp(argv[i], "--rounds") == 0 && i + 1 < argc) rounds = std::atoi(argv[++i]);
  }
  try {
    bench::pinToCore(0);
    const Rows rows = measure(rounds, only);
    if (document) {
      std::cout << nlohmann::json{{"rounds", rounds}, {"rows", toJson(rows)}, {"curves", toJson(measureGrowth())}}
                << "\n";
    } else if (json) {
      std::cout << toJson(rows) << "\n";
    } else {
      bench::printTable(rows);
    }
    return 0;
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "process_bench: %s\n", failure.what());
    return 1;
  }
}
