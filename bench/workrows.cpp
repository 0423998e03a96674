// What runs in a process of its own, on a board of its own: saves and trace lines.
#include <fcntl.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>
#include <spdlog/spdlog.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "boardaccess.h"
#include "boardhost.h"
#include "driverutil.h"
#include "fileio.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/screentables.h"
#include "rows.h"
#include "uniquefd.h"
#include "virtual/board.h"

namespace bench {

using namespace TIRK_MCUC;

namespace {

constexpr int kSaves = 50;
constexpr int kLines = 20000;

void openBoard(const std::string& directory) {
  ::setenv("KADREND_BOARD", directory.c_str(), 1);
  if (board_open() != 0 || !DriverUtil::getInstance()->initialize()) throw std::runtime_error("no board");
}

void changeEverything(uint8_t value) {
  Data_Global::getInstance()->SendParameterReg.fill(0, sendpara::kSize, value);
  for (auto& entry : ParaTable) entry = value;
  positionTable().fill(0, kPositionTableSize, value);
  numberTable().fill(0, kNumberTableSize, value);
}

constexpr flash::Area kSaved[] = {flash::kFeature, flash::kGlobal, flash::kPosition, flash::kNumber};

void require(bool done) {
  if (!done) throw std::runtime_error("flash or file");
}

// The writes that a save makes, and nothing else.
void bareWrites(uint8_t value) {
  static std::vector<uint8_t> bytes(kPositionTableSize);
  std::fill(bytes.begin(), bytes.end(), value);
  for (const flash::Area& area : kSaved) require(WriteDataToFlashx(area.address, area.length, bytes.data()) == 0);
}

// What any save must do that survives a loss of power: see what changes, note it in a file, write it.
void bareSafeWrites(int note, uint8_t value) {
  static std::vector<uint8_t> old(kPositionTableSize), bytes(kPositionTableSize);
  std::fill(bytes.begin(), bytes.end(), value);
  std::vector<iovec> pieces;
  for (const flash::Area& area : kSaved) {
    require(board_flash_peek(area.address, area.length, old.data()) == 0);
    require(std::memcmp(old.data(), bytes.data(), area.length) != 0);
    pieces.push_back({bytes.data(), area.length});
  }
  require(writeAt(note, 0, pieces));
  bareWrites(value);
}

double timed(const std::function<void()>& work) {
  const auto start = Clock::now();
  work();
  return microsecondsSince(start);
}

// Microseconds of a save of which everything has changed, of its bare writes, of a save that changes nothing, and of
// bare writes that survive a loss of power; and the bytes that the third one programs.
std::vector<double> saveOnce(const std::string& directory) {
  g_logLevel = 0;
  openBoard(directory);
  Data_Global& store = *Data_Global::getInstance();
  uint8_t value = 0;
  std::vector<double> changed, bare, same, safe;
  const UniqueFd note(::open((directory + "/note").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  double programmed = 0;
  vboard::board().flash.programming = [&](uint32_t, vboard::Bytes data) {
    programmed += static_cast<double>(data.size());
  };
  for (int i = 0; i < kSaves; ++i) {
    value = static_cast<uint8_t>((value + 2) % 12);  // of two such bytes a port takes no width that it may not have
    changeEverything(value);
    changed.push_back(timed([&] { store.SaveParaToFlash(1); }));
    programmed = 0;
    same.push_back(timed([&] { store.SaveParaToFlash(1); }));
    const double again = programmed;
    bare.push_back(timed([&] { bareWrites(static_cast<uint8_t>(value + 1)); }));
    safe.push_back(timed([&] { bareSafeWrites(note.get(), static_cast<uint8_t>(value + 3)); }));
    programmed = again;
  }
  return {Series{changed}.median(), Series{bare}.median(), Series{same}.median(), Series{safe}.median(),
          programmed / 1000};
}

void saves(int rounds, Rows& rows) {
  const ScratchDirectory board;
  Row row{"save of 42 kB, everything changed", "us", "its bare writes", {Target::kRatioAtMost, 1.3}};
  Row noted{"save of 42 kB, everything changed", "us", "bare: read, noted, written"};
  Row same{"save of 42 kB, nothing changed", "us", "bare writes of everything"};
  Row programmed{"programmed by a save that changes nothing", "kB"};
  for (int i = 0; i < rounds; ++i) {
    const std::vector<double> taken = inChild([&] { return saveOnce(board.path()); });
    row.figure.rounds.push_back(taken.at(0));
    row.yardstick.rounds.push_back(taken.at(1));
    noted.figure.rounds.push_back(taken.at(0));
    noted.yardstick.rounds.push_back(taken.at(3));
    same.figure.rounds.push_back(taken.at(2));
    same.yardstick.rounds.push_back(taken.at(1));
    programmed.figure.rounds.push_back(taken.at(4));
  }
  rows.insert(rows.end(), {row, noted, same, programmed});
}

double thousandLinesASecond(const std::function<void(uint32_t)>& writeLine) {
  const double elapsed = timed([&] {
    for (uint32_t i = 0; i < kLines; ++i) writeLine(i);
  });
  return 1000.0 * kLines / elapsed;
}

double ownTrace(const std::string& directory) {
  openBoard(directory);
  g_logLevel = 3;
  TRACE_INFO("the first line opens the file");
  return thousandLinesASecond([](uint32_t i) {
    TRACE_INFO("Recv Register Address : " << hex << i << " length : " << 48 << " from the peer link");
  });
}

double spdlogTrace(const std::string& directory) {
  const auto file = std::make_shared<spdlog::sinks::basic_file_sink_mt>(directory + "/lines.log", true);
  const auto console = std::make_shared<spdlog::sinks::stdout_sink_mt>();
  spdlog::logger log("bench", {file, console});
  log.set_level(spdlog::level::trace);
  log.flush_on(spdlog::level::trace);
  log.set_pattern("[%m/%d/%Y %H:%M:%S.%e pid=%P uuid=0x0] %l:%s : %# %v");
  return thousandLinesASecond([&](uint32_t i) {
    SPDLOG_LOGGER_CALL(&log, spdlog::level::info, "Recv Register Address : 0x{:08x} length : {} from the peer link", i,
                       48);
  });
}

void traceLines(int rounds, Rows& rows) {
  const ScratchDirectory board;
  Row row{"trace lines, full debug level", "1000/s", "spdlog, flushed line by line", {Target::kRatioAtLeast, 1.0}};
  interleave(
      rounds, row, [&] { return inChild([&] { return std::vector{ownTrace(board.path())}; }).at(0); },
      [&] { return inChild([&] { return std::vector{spdlogTrace(board.path())}; }).at(0); });
  rows.push_back(row);
}

}  // namespace

void workRows(int rounds, Rows& rows) {
  saves(rounds, rows);
  traceLines(rounds, rows);
}

}  // namespace bench
