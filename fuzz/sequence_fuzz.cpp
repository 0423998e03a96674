// Sequences of 1 to 64 messages, cycles, clock steps and power cycles on a new board, with faults of the platform in
// between: what was acknowledged is read back; what a fault met is, byte for byte, what it was or what was written; a
// read answers what was asked for and nothing beside it; every request gets its reply; nothing stays queued or locked.
//
// Input: number of faults (1), each: the step before which it begins (1), op (1), calls before it (1), calls that fail
// (1). Then steps: kind (1) and what it needs; a write is space (1), offset (2), length (1) and its bytes, repeated up
// to the length times 16 when the kind says so; a read the same without bytes; any other message register (1), offset
// (1), code (1), length (1) and its bytes.
#include <algorithm>
#include <semaphore>
#include <thread>
#include <vector>

#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "proto/registermap.h"
#include "support/board_model.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;

constexpr size_t kMostSteps = 64;
constexpr size_t kMostFaults = 4;

// Another thread that tries the daemon's locks: those that are held by nobody can be taken.
class LockProbe {
 public:
  LockProbe() : m_thread([this] { serve(); }) { m_thread.detach(); }
  bool free() {
    m_asked.release();
    m_answered.acquire();
    return m_free;
  }

 private:
  void serve() {
    for (;;) {
      m_asked.acquire();
      m_free = take(Tprocess_ctl::getInstance()->m_mutex) && take(Data_Global::getInstance()->m_mutex);
      m_answered.release();
    }
  }
  static bool take(CMutexThreadRecursive& mutex) {
    if (!mutex.TryLock()) return false;
    mutex.UnLock();
    return true;
  }

  std::binary_semaphore m_asked{0};
  std::binary_semaphore m_answered{0};
  bool m_free = false;
  std::thread m_thread;
};

struct Fault {
  uint8_t step;
  vboard::Op op;
  uint8_t before;
  uint8_t count;
};

class Sequence {
 public:
  explicit Sequence(Input& input) : m_input(input), m_daemon(Daemon::instance()), m_board(m_daemon.board()) {}

  void run() {
    for (size_t i = m_input.byte() % (kMostFaults + 1); i > 0; --i) {
      const uint8_t step = m_input.byte();
      const auto op = static_cast<vboard::Op>(m_input.byte() % static_cast<unsigned>(vboard::Op::kCount));
      const uint8_t before = m_input.byte();
      m_faults.push_back({step, op, before, m_input.byte()});
    }
    for (size_t step = 0; step < kMostSteps && !m_input.empty(); ++step) {
      for (const Fault& fault : m_faults) {
        if (fault.step % kMostSteps == step) m_board.faults.set(fault.op, fault.count, -1, fault.before);
      }
      takeStep();
      require(m_daemon.idle(), "what was queued is applied");
    }
    clearFaults();
    m_daemon.serveAgain();
  }

 private:
  void takeStep() {
    const uint8_t kind = m_input.byte();
    switch (kind % 8) {
      case 0:
      case 1:
        writePlain(kind);
        break;
      case 2:
      case 3:
        readPlain();
        break;
      case 4:
        other();
        break;
      case 5:
        m_daemon.cycle();
        afterOther(false);
        break;
      case 6:
        m_board.clockUs += int64_t{m_input.word()} * 1000000;
        break;
      default:
        (kind & 0xC0) == 0xC0 ? powerCycle() : clearFaults();
    }
  }

  bool faulty(bool ofSending) {
    for (unsigned op = 0; op < static_cast<unsigned>(vboard::Op::kCount); ++op) {
      const bool sending = static_cast<vboard::Op>(op) == vboard::Op::IpcSend;
      if (sending == ofSending && m_board.faults.left(static_cast<vboard::Op>(op)) != 0) return true;
    }
    return false;
  }

  void clearFaults() {
    for (const Fault& fault : m_faults) m_board.faults.set(fault.op, 0, -1);
  }

  // The reply's frame; empty when it could not be sent.
  Bytes ask(const std::vector<uint8_t>& datagram) {
    m_board.expectReply(ipcHeaderInfo::decode(Bytes(datagram).first<kEnvelopeLength>()));
    const bool mayBeLost = faulty(true);
    m_daemon.deliver(datagram);
    require(m_board.replies == 1 || (mayBeLost && m_board.replies == 0), "every request gets one reply");
    return m_board.lastReply;
  }

  struct Place {
    size_t index;
    const PlainSpace& space;
    uint32_t offset;
  };
  Place place() {
    const size_t index = m_input.byte() % BoardModel::spaces().size();
    const PlainSpace& space = BoardModel::spaces()[index];
    return {index, space, m_input.word() % space.size};
  }

  void writePlain(uint8_t kind) {
    const Place to = place();
    const bool repeated = (kind & 0x80) != 0;
    const uint8_t length = m_input.byte();
    const auto bytes = m_input.bytes(length);
    if (bytes.empty()) return;
    const size_t room = std::min<size_t>(to.space.mostWrite, to.space.size - to.offset);
    std::vector<uint8_t> data(std::min(room, repeated ? size_t{length} * 16 : bytes.size()));
    for (size_t i = 0; i < data.size(); ++i) data[i] = bytes[i % bytes.size()];
    if (data.empty()) return;
    const bool mayFail = faulty(false);
    const Bytes reply = ask(Daemon::datagram(Daemon::writeRequest(to.space.address + to.offset, data)));
    const bool acknowledged = !reply.empty() && reply[2] == kAckOk;
    require(acknowledged || mayFail || reply.empty(), "a write that can be made is taken");
    m_model.written(to.index, to.offset, data, mayFail);
  }

  void readPlain() {
    const Place from = place();
    const size_t asked = size_t{m_input.byte()} * 16 + 1;
    const auto length =
        static_cast<uint16_t>(std::min<size_t>({asked, from.space.mostRead, from.space.size - from.offset}));
    const bool mayFail = faulty(false);
    const Bytes reply = ask(Daemon::datagram(Daemon::readRequest(from.space.address + from.offset, length)));
    if (reply.empty()) return;
    require(reply[2] == kAckOk || mayFail, "a read that can be made is answered");
    if (reply[2] != kAckOk) return;
    const Bytes data = reply.subspan(kFrameHeaderLength, reply.size() - kShortestFrame);
    if (data.empty() && mayFail) return;
    require(data.size() == length, "a read returns what was asked for");
    require(m_model.reads(from.index, from.offset, data), "what was written is read");
  }

  // Any message to any register.
  void other() {
    static const auto map = registerMap();
    const auto& entry = map[m_input.byte() % map.size()];
    const uint32_t address = entry.address + m_input.byte();
    const uint8_t code = m_input.byte();
    const uint8_t length = m_input.byte();
    const auto bytes = m_input.bytes(length);
    const uint32_t offset = address & 0xFFFF;
    if (address >> 16 == 0x0300 && (offset == 0x1EE || offset == 0x1EF)) return;  // measure the bus
    auto request = (code & 1) != 0 ? Daemon::writeRequest(address, bytes) : Daemon::readRequest(address, length);
    request.m_ucDeviceType = code >> 5;
    request.m_ucPortAddress = code >> 1 & 3;
    const Bytes reply = ask(Daemon::datagram(request));
    if (!reply.empty() && (code & 1) == 0) {
      require(reply.size() <= size_t{kShortestFrame} + length, "a read returns what was asked for");
    }
    afterOther((code & 1) != 0);
  }

  // A write that the model does not know may be a reset, a layout or a reload; cycles compute what it asked for.
  void afterOther(bool written) {
    const bool reset = m_board.rebootAsked || Data_Global::getInstance()->RebootRF != 0;
    if (reset) {
      clearFaults();
      m_daemon.serveAgain();
    }
    if (reset || written) {
      m_model.forgetAll();
    } else {
      m_model.forgetUnkept();
    }
  }

  void powerCycle() {
    clearFaults();
    m_daemon.startAgain();
    m_model.forgetUnkept();
  }

  Input& m_input;
  Daemon& m_daemon;
  MemoryBoard& m_board;
  BoardModel m_model;
  std::vector<Fault> m_faults;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static auto& locks = *new LockProbe();
  Daemon& daemon = Daemon::instance();
  daemon.board().makeNew();
  daemon.start();
  Input input(data, size);
  Sequence(input).run();
  require(locks.free(), "no lock is held");
  return 0;
}
