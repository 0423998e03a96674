#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <stdexcept>
#include <thread>

#include "proto/data_common.h"
#include "proto/screentables.h"
#include "rows.h"

namespace bench {

using namespace TIRK_MCUC;

namespace {

double megabytes(long kilobytes) {
  return static_cast<double>(kilobytes) / 1024;
}

// The daemon's mirrors and tables, in bytes.
constexpr size_t kMirrors = sizeof(Data_Global) + sizeof(Data_Preset) + kPositionTableSize + kNumberTableSize +
                            sizeof ParaTable + sizeof AdvCfgParaTable + sizeof ParaCharTable;

void resident(const Daemon& daemon, int rounds, Rows& rows) {
  const ChildProcess bare = startProgram(BARE_THREADS, std::to_string(kMirrors));
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  Row row{"resident memory, at rest", "MB", "bare program: threads, mirrors", {Target::kRatioAtMost, 1.15}};
  interleave(
      rounds, row, [&] { return megabytes(daemon.residentKb()); },
      [&] { return megabytes(bench::residentKb(bare.pid())); });
  rows.push_back(row);
}

// Behind writes that pause for 10 ms each.
void queuedWrites(const Daemon& daemon, int rounds, Rows& rows) {
  constexpr uint32_t kEthernetAddress = 0x3D;
  constexpr int kPausing = 30;
  constexpr int kQueued = 1000;
  RawExchange pausing = daemon.writing(kEthernetAddress, std::vector<uint8_t>(7, 2));
  RawExchange write = daemon.writing(kEchoSpace + 16, std::vector<uint8_t>(16, 1));
  Row row{"1000 queued writes of 16 bytes", "MB", "", {Target::kFigureAtMost, 1.4}};
  for (int i = 0; i < rounds; ++i) {
    daemon.rest(20);
    const long before = daemon.residentKb();
    for (int k = 0; k < kPausing; ++k) pausing();
    for (int k = 0; k < kQueued; ++k) write();
    row.figure.rounds.push_back(megabytes(daemon.residentKb() - before));
  }
  daemon.rest(20);
  rows.push_back(row);
}

void idle(const Daemon& daemon, int rounds, Rows& rows) {
  constexpr int kSeconds = 2;
  Row row{"wake-ups at rest, whole process", "1/s", "", {Target::kFigureAtMost, 5.5}};
  daemon.rest(20);
  interleave(rounds, row, [&] {
    const long before = voluntarySwitches(daemon.pid());
    std::this_thread::sleep_for(std::chrono::seconds(kSeconds));
    return static_cast<double>(voluntarySwitches(daemon.pid()) - before) / kSeconds;
  });
  rows.push_back(row);
}

void start(Daemon& daemon, int rounds, Rows& rows) {
  Row row{"exec to first reply", "ms", "", {Target::kFigureAtMost, 10}};
  interleave(rounds, row, [&] { return daemon.restart(); });
  rows.push_back(row);
}

void binary(Rows& rows) {
  const ScratchDirectory scratch;
  const std::string stripped = scratch.path() + "/kadrend";
  if (std::system(("strip -o " + stripped + " " KADREND_DAEMON).c_str()) != 0) throw std::runtime_error("strip");
  struct stat status {};
  if (::stat(stripped.c_str(), &status) != 0) throw std::runtime_error("stat");
  Row row{"stripped binary, dynamic", "kB", "", {Target::kFigureAtMost, 600}};
  row.figure.rounds.push_back(static_cast<double>(status.st_size) / 1000);
  rows.push_back(row);
}

}  // namespace

void footprintRows(Daemon& daemon, int rounds, Rows& rows) {
  start(daemon, rounds, rows);
  daemon.settle();
  idle(daemon, rounds, rows);
  resident(daemon, rounds, rows);
  queuedWrites(daemon, rounds, rows);
  binary(rows);
}

}  // namespace bench
