// Start-up from any flash and any environment store: the daemon comes up, answers a read of every register, stores what
// is written, and still does after the next power cycle.
//
// Input: options (1), fault (op, calls before it, calls that fail: 3), then entries: kind (1) and what it needs; a
// flash entry is area (1), offset (2), length (1) and its bytes, an environment entry key (1), length (1) and its text.
#include <algorithm>
#include <vector>

#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/registermap.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;

enum Option : uint8_t {
  kFirstBoot = 0x01,  // after a factory reset
  kFault = 0x02,
  kLoadedLate = 0x04,  // the FPGA is not there at first
  kLinked = 0x08,      // more links than the board has cards
};

constexpr const char* kKeys[] = {"firstboot", "ver_rootfs",  "device_modelid",
                                 "device_sn", "devcom_mode", "boot_screen"};
constexpr size_t kMostEntries = 64;
constexpr int kCycles = 6;
constexpr uint32_t kBackupSpace = 0x02300000;

struct Reading {
  uint32_t address;
  uint16_t length;
};

// One read of every entry of the register map.
const std::vector<Reading>& readings() {
  static const std::vector<Reading> all = [] {
    std::vector<Reading> out;
    for (const auto& entry : registerMap()) {
      const int32_t length = std::clamp(entry.length.cmdLenMin, 2, 256);
      out.push_back({entry.address, static_cast<uint16_t>(length)});
    }
    return out;
  }();
  return all;
}

void putFlash(MemoryBoard& board, uint8_t kind, Input& input) {
  const flash::Area& area = flash::kAreas[input.byte() % std::size(flash::kAreas)];
  const uint32_t offset = input.word() % area.length;
  const auto bytes = input.bytes(input.byte());
  if (bytes.empty()) return;
  constexpr uint32_t kMostRepeated = 8192;
  const uint32_t end = (kind & 0x80) != 0 ? std::min(area.length, kMostRepeated) : 0;  // repeated over the area
  uint32_t at = offset;
  do {
    board.flash.write(area.address + at, bytes);
    at += static_cast<uint32_t>(bytes.size());
  } while (at < end);
}

void putEnvironment(MemoryBoard& board, Input& input) {
  const char* const key = kKeys[input.byte() % std::size(kKeys)];
  const auto text = input.bytes(input.byte());
  board.env[key].assign(text.begin(), std::find(text.begin(), text.end(), uint8_t{0}));
}

void checkService(Daemon& daemon) {
  MemoryBoard& board = daemon.board();
  for (const Reading& reading : readings()) {
    const auto datagram = Daemon::datagram(Daemon::readRequest(reading.address, reading.length));
    board.expectReply(ipcHeaderInfo::decode(Bytes(datagram).first<kEnvelopeLength>()));
    daemon.deliver(datagram);
    require(board.replies == 1, "every read gets its reply");
  }
}

void writeBackup(Daemon& daemon, Bytes bytes) {
  const auto datagram = Daemon::datagram(Daemon::writeRequest(kBackupSpace, bytes));
  daemon.board().expectReply(ipcHeaderInfo::decode(Bytes(datagram).first<kEnvelopeLength>()));
  daemon.deliver(datagram);
  require(daemon.board().replies == 1 && daemon.board().lastReply[2] == kAckOk, "a write is taken");
}

void checkBackup(Daemon& daemon, Bytes bytes) {
  const auto datagram = Daemon::datagram(Daemon::readRequest(kBackupSpace, static_cast<uint16_t>(bytes.size())));
  daemon.board().expectReply(ipcHeaderInfo::decode(Bytes(datagram).first<kEnvelopeLength>()));
  daemon.deliver(datagram);
  const Bytes reply = daemon.board().lastReply;
  require(reply.size() == kShortestFrame + bytes.size() &&
              std::equal(bytes.begin(), bytes.end(), reply.begin() + kFrameHeaderLength),
          "what was written is there");
}

void run(Daemon& daemon) {
  for (int i = 0; i < kCycles; ++i) daemon.cycle();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Daemon& daemon = Daemon::instance();
  MemoryBoard& board = daemon.board();
  Input input(data, size);
  const uint8_t options = input.byte();
  const auto op = static_cast<vboard::Op>(input.byte() % static_cast<unsigned>(vboard::Op::kCount));
  const uint8_t before = input.byte();
  const uint8_t count = input.byte();
  board.makeNew();
  if ((options & kFirstBoot) != 0) board.env["firstboot"] = "1";
  for (size_t i = 0; i < kMostEntries && !input.empty(); ++i) {
    const uint8_t kind = input.byte();
    kind % 4 == 0 ? putEnvironment(board, input) : putFlash(board, kind, input);
  }
  constexpr uint8_t kAll[4] = {0x0F, 0x0F, 0x0F, 0x0F};
  if ((options & kLinked) != 0) board.setStatus(0xF05100, kAll);

  if ((options & kFault) != 0) board.faults.set(op, count, -1, before);
  Data_Global::getInstance()->FpgaOnlineFlag = (options & kLoadedLate) != 0 ? 0 : 1;
  withinTime([&] {
    daemon.start();
    run(daemon);
  });
  board.faults.set(op, 0, -1);
  daemon.serveAgain();
  checkService(daemon);
  constexpr uint8_t kWritten[] = {1, 2, 3, 4, 5, 6, 7, 8};
  writeBackup(daemon, kWritten);
  daemon.startAgain();
  checkBackup(daemon, kWritten);
  return 0;
}
