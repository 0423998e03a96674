#include "support/sweep_fixture.h"

#include <chrono>
#include <ostream>
#include <stdexcept>
#include <thread>

#include "driverutil.h"
#include "edidapi.h"
#include "mcuctrace.h"
#include "process/edid.h"
#include "process/inputSource.h"
#include "process/tprocess.h"
#include "process/tprocess_ctl.h"
#include "stub/stubutil.h"
#include "support/brightness_fixture.h"

namespace testing_support {

using namespace TIRK_MCUC;

namespace {

constexpr uint32_t kFeature = 0x02000000;
constexpr uint32_t kShortcut = 0x02810000;

void nothing(ScenarioTest&) {}

ByteVector scheduleBlock(uint8_t brightness) {
  return ScheduleTable{{{0x08, 0x00, 0x00, brightness}, {0x20, 0x00, 0x00, brightness}}}.bytes();
}

ByteVector mixedBlock(uint8_t brightness) {
  MixedBlock block;
  block.nodes = {{0x08, 0x00, brightness}};
  return block.bytes();
}

ByteVector rvHeader(uint8_t files) {
  ByteVector header(32U + 32U * files);
  header[0] = 1;
  header[1] = files;
  for (uint8_t i = 0; i < files; ++i) DWT_ENCDW(&header[36U + 32U * i], 0x1000U + 0x1000U * i);
  return header;
}

// A file of two records for the cards.
ByteVector rvFile() {
  ByteVector file(32);
  file[0] = 2;
  for (const uint16_t length : {uint16_t{600}, uint16_t{4}}) {
    ByteVector record(8U + length, 0x5A);
    DWT_ENCDW(record.data(), 0x02001000U + length);
    DWT_ENCWD(&record[4], 0);
    DWT_ENCWD(&record[6], length);
    file.insert(file.end(), record.begin(), record.end());
  }
  return file;
}

ByteVector portRecord(uint8_t rows, uint8_t columns, uint16_t x) {
  ByteVector record(64);
  record[6] = rows;
  record[7] = columns;
  DWT_ENCWD(&record[10], x);
  return record;
}

// Whether the request was accepted.
bool apply(ScenarioTest& daemon, uint32_t address, const ByteVector& data) {
  const bool accepted = daemon.write(address, data) == done();
  daemon.idle();
  return accepted;
}

void writeLauncher(uint8_t value) {
  auto request = ScenarioTest::writeRequest(0x02000001, ByteVector(20, value));
  Tshl_ctl::getInstance()->Ssh_Start3DLauncher(&request);
}

using Step = std::function<void(ScenarioTest&)>;

Step writing(uint32_t address, ByteVector data) {
  return [=](ScenarioTest& daemon) { apply(daemon, address, data); };
}
Step then(Step first, Step second) {
  return [=](ScenarioTest& daemon) {
    first(daemon);
    second(daemon);
  };
}

std::vector<Scenario> everyScenario() {
  return {
      {"SaveCommand", then(writing(0x03100100, {1, 2, 3, 4}), writing(0x03000010, {9, 8, 7, 6})),
       writing(0x01000001, {1})},
      {"ScreenSize", nothing, writing(kFeature + 0x1EC, {0, 2, 0, 1})},
      {"InputSize", nothing, writing(kFeature + 0x24, {0, 3, 0, 2})},
      {"FeatureBytes", nothing, writing(kFeature + 0xF0, counting(40))},
      {"DeviceRole", nothing, writing(kFeature + 0x9D, {0xA5})},
      {"OpticalMode", nothing, writing(kFeature + 0x1DA, {3})},
      {"Input4K", nothing, writing(kFeature + 0x1D8, {1})},
      {"DisplayOffsets", nothing, writing(kFeature + 0x1F0, {0xFB, 0xFF, 0xFF, 0xFF, 7, 0, 0, 0})},
      {"BypassMode", nothing, writing(kFeature + 0x1F8, {0xA5})},
      {"PowerOnTime", nothing, writing(kFeature + 0x21, {0x28})},
      {"SerialTimeout", writing(kFeature + 0x3F, {50}), writing(kFeature + 0x3F, {60})},
      {"SerialNumber", nothing, writing(0x00000000, counting(256, 3))},
      {"EthernetAddress", nothing, writing(0x0000003D, {0, 2, 4, 6, 8, 10, 12})},
      {"Backup", nothing, writing(0x02300010, counting(100))},
      {"SoftwareTable", nothing, writing(0x05000100, ByteVector(600, 0x42))},
      {"GammaTable", nothing, writing(0x0E203E00, ByteVector(512, 0x42))},
      {"Hdr", writing(0x02200117, {'x'}), then(writing(0x02200117, {'X'}), writing(0x02200118, {0x20, 0x03}))},
      {"WarmUp", nothing, writing(0x0220012C, {1, 30})},
      {"PictureQuality", nothing, writing(0x0220013A, {60, 70, 8, 0})},
      {"BrightnessSchedule", writing(0x0A000000, scheduleBlock(40)), writing(0x0A000000, scheduleBlock(80))},
      {"BrightnessMixed", writing(0x0A000000, mixedBlock(40)), writing(0x0A000000, mixedBlock(80))},
      {"BrightnessMode", writing(0x0A000000, mixedBlock(40)), writing(0x0A000000, {0x9C})},
      {"CardFiles", writing(0x0F000000, rvHeader(1)),
       then(then(writing(0x0F000000, rvHeader(2)), writing(0x0F001000, rvFile())), writing(0x0F000800, counting(32)))},
      {"DeviceName", nothing, writing(0x0F800010, counting(48))},
      {"Replay", then(writing(0x0F000000, rvHeader(1)), writing(0x0F001000, rvFile())), writing(0x0FF00100, {1})},
      {"LauncherParameters", [](ScenarioTest&) { writeLauncher(1); }, [](ScenarioTest&) { writeLauncher(2); }},
      {"PortRecord", nothing, writing(kShortcut + 0x50, portRecord(3, 3, 0))},
      {"Edid",
       [](ScenarioTest& d) {
         apply(d, kFeature + 0x1A5, {98});  // input 1
         apply(d, 0x08000000, d.edid(1920, 1080));
       },
       [](ScenarioTest& d) { apply(d, 0x08000000, d.edid(1280, 720)); }},
      {"BasicLayout", nothing,
       [](ScenarioTest& d) {
         d.writeBasic(3, 2, 3, 1);
         d.layOut();
       },
       true},
      {"AdvancedLayout", nothing,
       [](ScenarioTest& d) {
         const bool stored =
             apply(d, kShortcut + 0x50, portRecord(2, 2, 0)) && apply(d, kShortcut + 0x90, portRecord(1, 3, 256));
         if (stored) apply(d, kShortcut, {0xB9});
       },
       true},
      {"Reload", nothing, writing(0x01000004, {1})},
  };
}

}  // namespace

bool disturbed(vboard::Op op, unsigned long k, unsigned long count, const std::function<void()>& work) {
  auto& faults = vboard::board().faults;
  faults.set(op, count, -1, k - 1);
  work();
  const bool touched = faults.left(op) != count;
  faults.set(op, 0, -1);
  return touched;
}

bool isFree(CMutexThreadBase& mutex) {
  if (!mutex.TryLock()) return false;
  mutex.UnLock();
  return true;
}

void PrintTo(const Scenario& scenario, std::ostream* out) {
  *out << scenario.name;
}

std::span<const Scenario> scenarios() {
  static const std::vector<Scenario> every = everyScenario();
  return every;
}

ScenarioTest::ScenarioTest() {
  g_logLevel = 0;
  vboard::board().journal.setOn(false);
  for (const uint32_t task : {kTaskQxt, kTaskWpr, kTaskFrelld}) {
    m_peers.push_back(std::make_unique<ReportListener>(m_directory.path().string(), task));
  }
  fitCards(0, 128, 64);
  fitCards(1, 128, 64);
  store.FpgaOnlineFlag = 1;
  InputSource::getInstance()->InputBoardInit();
  writeBasic(2, 2, 2, 0);
  layOut();
  apply(*this, 0x01000001, bytes({1}));
  putBack(BoardImage::take());
}

void ScenarioTest::idle() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (StubUtil::getInstance()->pendingWork() != 0) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("the worker does not come to an end");
    std::this_thread::sleep_for(std::chrono::microseconds(50));
  }
  for (const auto& peer : m_peers) peer->take();
}

void ScenarioTest::layOut() {
  idle();
  if (store.CalculateParaHandlerCnt.exchange(0) == 0) return;
  {
    const CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
    Tprocess::CalculateParaOfSenderHandler();
  }
  idle();
}

void ScenarioTest::putBack(const BoardImage& image) {
  idle();
  image.putBack();
  {
    const CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
    store.RestoreFPGA();
  }
  image.putBack();
}

void ScenarioTest::writeBasic(uint8_t rows, uint8_t columns, uint16_t cards, uint8_t mode) {
  write(kShortcut + 16, bytes({0, mode, 0, 0, 0, 0, rows, columns, cards & 0xFF, cards >> 8}));
}

ByteVector ScenarioTest::edid(uint16_t width, uint16_t height) {
  const edid_request_t request{EDID_OPTION_DVI, {}};
  Edid base{};
  Edid out{};
  if (ModifyEDID_API.generate(&request, base.data()) != 0 ||
      ResT_calEDID_by_model_new(base.data(), out.data(), width, height, 6000) != 0) {
    throw std::runtime_error("no EDID");
  }
  return {out.begin(), out.end()};
}

}  // namespace testing_support
