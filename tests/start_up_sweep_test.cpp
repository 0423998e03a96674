// Start-up with the k-th call of each operation of the board failing, for one whole operation and for ever, for every k
// until none is left to fail. Each start is a process of its own on the same board. After each: the daemon serves, its
// locks are free, what it stores is as before or as it should be, and the next start puts right what was missed.
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <thread>

#include "driverutil.h"
#include "kadctl/clienterror.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/tprocess_ctl.h"
#include "proto/flashmap.h"
#include "stub/stubutil.h"
#include "support/sweep_fixture.h"
#include "support/waiting.h"
#include "virtual/bus.h"
#include "virtual/sockets.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using vboard::Op;

constexpr const char* kOps[] = {"flash-init", "flash-read", "flash-write", "fpga-read", "fpga-write", "env-open",
                                "env-get",    "env-set",    "ipc-send",    "shell",     "edid-set",   "card-read"};
constexpr const char* kImage = "root/data/tirk/etc/sysconf/pmxpara";

struct Fault {
  Op op{};
  unsigned long k = 0;
  unsigned long count = 0;  // 0: none
};
// How a start ended.
enum Ending : int { kUntouched = 10, kDisturbed = 11, kUnsound = 12 };

void startDaemon() {
  std::thread([] {
    runShell("mkdir -p /tmp/kadrend");
    DriverUtil::getInstance()->initialize();
    Tprocess_ctl::getInstance()->initialize();
    Tshl_ctl::getInstance()->initialize();
    StubUtil::getInstance()->initialize();
  }).detach();
}

// The screen-management daemon, there before the daemon looks for it.
bool listenAsScreenDaemon() {
  vboard::Descriptor socket = vboard::bindSocket(SOCK_DGRAM, vboard::taskFile(taskIdentifier(kTaskQxt)));
  if (!socket) return false;
  std::thread([fd = socket.release()] {
    std::array<char, 256> report;
    while (::recv(fd, report.data(), report.size(), 0) >= 0) continue;
  }).detach();
  return true;
}

bool answers(kadctl::BusClient& client) {
  try {
    return client.ask(kadctl::BusClient::request(kCodeRead, 0x02500000, 1, {}, {}), 200).has_value();
  } catch (const kadctl::ClientError&) {
    return false;
  }
}

// Writes that are applied, and reads that tell.
bool appliesWrites(kadctl::BusClient& client) {
  constexpr uint32_t kNumbers = 0x03100140;
  for (const ByteVector& value : {ByteVector{0x5A, 0xA5}, ByteVector{0, 0}}) {
    client.write(kNumbers, value);
    if (!waitUntil([] { return StubUtil::getInstance()->pendingWork() == 0; })) return false;
    if (client.read(kNumbers, 2) != value) return false;
  }
  return true;
}

// `mute`: its replies fail.
const char* whatIsWrong(const std::string& directory, bool mute) {
  if (!waitUntil([&] { return vboard::board().bus->reachable(taskIdentifier(kTaskKadrend)); })) return "no bus";
  kadctl::BusClient client(directory);
  if (!mute && !waitUntil([&] { return answers(client); })) return "no answer";
  // The screen-management daemon is found in the first cycle, which follows the restore.
  if (!waitUntil([] { return Tprocess_ctl::getInstance()->apipc_connect_status.load(); })) return "no cycle";
  if (!waitUntil([] { return isFree(Tprocess_ctl::getInstance()->m_mutex); })) return "handlers are locked";
  if (!waitUntil([] { return isFree(Data_Global::getInstance()->m_mutex); })) return "the store is locked";
  if (Data_Global::getInstance()->FpgaOnlineFlag != 1) return "the FPGA was not noticed";
  return nullptr;
}

// In a process of its own.
int startOnce(const std::string& directory, const Fault& fault) {
  g_logLevel = 0;
  std::string error;
  if (vboard::openBoard(directory, error) != 0) return kUnsound;
  auto& faults = vboard::board().faults;
  if (fault.count != 0) faults.set(fault.op, fault.count, -1, fault.k - 1);
  if (!listenAsScreenDaemon()) return kUnsound;
  startDaemon();
  const char* wrong = whatIsWrong(directory, fault.count != 0 && fault.op == Op::IpcSend);
  const bool touched = fault.count != 0 && faults.left(fault.op) != fault.count;
  faults.set(fault.op, 0, -1);
  if (wrong == nullptr) {
    kadctl::BusClient client(directory);
    if (!appliesWrites(client)) wrong = "a write is not applied";
  }
  if (wrong != nullptr) {
    std::fprintf(stderr, "call %lu of operation %d: %s\n", fault.k, static_cast<int>(fault.op), wrong);
    return kUnsound;
  }
  return touched ? kDisturbed : kUntouched;
}

class StartUpSweep : public ::testing::Test {
 protected:
  StartUpSweep() { m_directory.put("board.conf", "fpga_load_ms = 0\n"); }

  int start(const Fault& fault = {}) {
    const pid_t child = ::fork();
    if (child == 0) {
      int ending = kUnsound;
      try {
        ending = startOnce(m_directory.path().string(), fault);
      } catch (const std::exception& problem) {
        std::fprintf(stderr, "%s\n", problem.what());
      }
      ::_exit(ending);
    }
    int status = 0;
    if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status)) return kUnsound;
    return WEXITSTATUS(status);
  }

  // What start-up stores: the hardware block, and behind it the counter of screen configurations.
  std::string stored() const {
    std::ifstream file(m_directory.path() / kImage, std::ios::binary);
    std::string bytes(flash::kBasicHardware.length + 1, '\0');
    file.seekg(flash::kBasicHardware.address).read(bytes.data(), flash::kBasicHardware.length);
    file.seekg(flash::kScreenCounter.address).read(&bytes.back(), 1);
    return bytes;
  }
  void put(const std::string& wanted) const {
    std::fstream file(m_directory.path() / kImage, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(flash::kBasicHardware.address).write(wanted.data(), flash::kBasicHardware.length);
    file.seekp(flash::kScreenCounter.address).put(wanted.back());
  }
  static bool eachByteIsOneOf(const std::string& is, const std::string& before, const std::string& after) {
    for (size_t i = 0; i < is.size(); ++i)
      if (is[i] != before[i] && is[i] != after[i]) return false;
    return true;
  }

  TemporaryDirectory m_directory;
};

TEST_F(StartUpSweep, ComesUpWhateverFails) {
  ASSERT_EQ(start(), kUntouched);
  std::string before(stored().size(), '\0');
  before.back() = 7;
  put(before);
  ASSERT_EQ(start(), kUntouched);
  const std::string after = stored();
  ASSERT_NE(after, before);

  unsigned long starts = 0;
  for (const char* name : kOps) {
    for (const unsigned long count : {kOneOperation, kForEver}) {
      for (unsigned long k = 1;; ++k) {
        SCOPED_TRACE(std::string(name) + ", call " + std::to_string(k) + ", " + std::to_string(count) + " times");
        put(before);
        const int ending = start({*vboard::opFromName(name), k, count});
        ASSERT_NE(ending, kUnsound);
        if (ending == kUntouched) break;
        ++starts;
        ASSERT_TRUE(eachByteIsOneOf(stored(), before, after));
        ASSERT_EQ(start(), kUntouched);
        ASSERT_EQ(stored(), after) << "after the next start";
        // A status that cannot be read is read again in each cycle: from there on nothing new can fail.
        if (k > 60) break;
      }
    }
  }
  EXPECT_GT(starts, 0U);
  std::printf("start-up: %lu disturbed starts\n", starts);
}

}  // namespace
}  // namespace testing_support
