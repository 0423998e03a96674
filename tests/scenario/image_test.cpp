// One fixed life of a device, and what it leaves in flash, FPGA, files and on the wire: the same bytes on every
// processor. What they were is in image.txt, a line for each step; a change that is meant to change them changes that
// file too. When a line differs, the areas of each step are printed with their digests: compare them with another
// run's.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <numeric>
#include <utility>

#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"
#include "support/brightness_fixture.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kFeature = sendpara::kRegisterBase;
constexpr uint32_t kInteraction = 0x02200000;
constexpr const char* kImages = "root/data/tirk/etc/sysconf/";

// FNV-1a.
template <class Container>
std::string digest(const Container& bytes) {
  uint64_t hash = 0xCBF29CE484222325;
  for (const auto byte : bytes) hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001B3;
  char text[24];
  std::snprintf(text, sizeof text, " %016llx", static_cast<unsigned long long>(hash));
  return text;
}

// Bytes of no pattern, the same every time.
ByteVector filler(size_t length, uint32_t seed) {
  ByteVector bytes(length);
  for (auto& byte : bytes) {
    seed = seed * 1664525 + 1013904223;
    byte = static_cast<uint8_t>(seed >> 24);
  }
  return bytes;
}

class ImageTest : public RunningDaemonTest {
 protected:
  void SetUp() override {
    setenv("TZ", "CST-8", 1);
    RunningDaemonTest::SetUp();
    m_host = std::make_unique<kadctl::BusClient>(board(), 0x00123456);
    for (int port = 0; port < 3; ++port) monitor("cards " + std::to_string(port) + " 8 128 96");
    ASSERT_TRUE(waitLogged("Info", "-> NowChangedLinstatus:7"));
    settle();
    monitor("journal clear");
  }

  // A request, and its reply as it is on the wire.
  void ask(uint8_t code, uint32_t address, uint16_t length, const ByteVector& data) {
    ASSERT_TRUE(
        m_host->send(m_host->datagram(kadctl::BusClient::request(code, address, length, data, {}), ++m_sequence)));
    ByteVector reply(0x10100);
    const ssize_t count = m_host->receiveRaw(reply);
    ASSERT_GT(count, 0);
    reply.resize(static_cast<size_t>(count));
    m_replies.insert(m_replies.end(), reply.begin(), reply.end());
  }
  void read(uint32_t address, uint16_t length) { ask(kCodeRead, address, length, {}); }
  void write(uint32_t address, const ByteVector& data, int quietMs = 60) {
    ask(kCodeWrite, address, static_cast<uint16_t>(data.size()), data);
    settle(quietMs);
  }
  void writeInPieces(uint32_t address, const ByteVector& data, size_t piece) {
    for (size_t at = 0; at < data.size(); at += piece) {
      const auto begin = data.begin() + static_cast<std::ptrdiff_t>(at);
      write(address + static_cast<uint32_t>(at),
            {begin, begin + static_cast<std::ptrdiff_t>(std::min(piece, data.size() - at))});
    }
  }

  // What has been done since the last note, in a line of digests. Of the journal what is written to the board; when
  // reports go out and how long a second lasts is not the processor's.
  void note(const std::string& title) {
    std::string lines;
    for (const auto& line : effects())
      if (line.rfind("clock set", 0) != 0 && line.rfind("ipc s", 0) != 0) lines += line + "\n";
    const std::string flash = m_directory.get(kImages + std::string("pmxpara"));
    m_particulars += "# " + title + "\n";
    m_image += title + ": replies" + digest(m_replies) + " journal" + digest(lines);
    m_image += " flash" + digestOf("flash", flash::kAreas,
                                   [&flash](const auto& area) { return flash.substr(area.address, area.length); });
    m_image += " fpga" +
               digestOf("fpga", fpga::kAreas, [this](const auto& area) { return fpga(area.address, area.length); }) +
               "\n";
    m_replies.clear();
  }

  std::string m_image;
  std::string m_particulars;  // at each note, the areas that had changed

 private:
  template <class Areas, class Read>
  std::string digestOf(const char* memory, const Areas& areas, Read read) {
    std::string all;
    for (const auto& area : areas) {
      const std::string value = digest(read(area));
      char name[48];
      std::snprintf(name, sizeof name, "%s 0x%08x %u", memory, area.address, area.length);
      if (std::exchange(m_noted[name], value) != value) m_particulars += name + value + "\n";
      all += value;
    }
    return digest(all);
  }

  std::unique_ptr<kadctl::BusClient> m_host;
  uint32_t m_sequence = 0;
  ByteVector m_replies;
  std::map<std::string, std::string> m_noted;
};

TEST_F(ImageTest, IsTheSameOnEveryProcessor) {
  note("a new board");

  write(kScreenFields, basicScreen(3, 8, 8, 2), 650);
  read(0x03000000, 2048);
  read(0x03100000, 768);
  note("a wall");

  constexpr uint32_t kShortcut = 0x02810000;
  for (uint32_t port = 0; port < 3; ++port) {
    ByteVector record(64, 0);
    record[1] = static_cast<uint8_t>(3 * port);
    record[6] = 2;
    record[7] = static_cast<uint8_t>(2 + port);
    DWT_ENCWD(&record[10], static_cast<uint16_t>(300 * port));
    DWT_ENCWD(&record[12], static_cast<uint16_t>(1000 - port));
    write(kShortcut + 0x50 + 64 * port, record);
  }
  write(kShortcut + 0x100, {0xB9}, 650);
  read(kShortcut, 400);
  note("a wall port by port");

  for (const auto& [offset, data] :
       std::initializer_list<std::pair<size_t, ByteVector>>{{0x40, filler(16, 1)},
                                                            {sendpara::kScreenWidthEven, word(1921) + word(1081)},
                                                            {sendpara::kScreenWidthExact, word(1921)},
                                                            {sendpara::kScreenWidth, word(1921) + word(1081)},
                                                            {sendpara::kOffsetX, word(0xFF00) + word(100)},
                                                            {sendpara::kDeviceRole, {0xA5}},
                                                            {sendpara::kSerialTimeout, {80}},
                                                            {sendpara::kInput4K, {1}},
                                                            {sendpara::kLowDelay, {1}},
                                                            {sendpara::kOffsetMode, {1}}}) {
    write(static_cast<uint32_t>(kFeature + offset), data);
  }
  note("features");

  // Values 128 and above in each byte; powers, exponentials and products that are rounded.
  for (uint32_t colour = 0; colour < 3; ++colour) {
    writeInPieces(0x0E000000 + 0x100000 * colour, filler(8192, 7 + colour), 1024);
  }
  note("gamma tables");
  write(kInteraction + 0x117, {0x58});
  write(kInteraction + 0x118, word(613));
  write(kInteraction + 0x11A, {61});
  read(kInteraction + 0x117, 25);
  note("HDR10");
  write(kInteraction + 0x117, {0x78});
  write(kInteraction + 0x129, {9});
  note("HLG");
  write(kInteraction + 0x13A, word(0x1E50) + word(313));
  write(kInteraction + 0x117, {0});
  ByteVector pattern(0x39, 0);
  pattern[0x20] = 2;
  DWT_ENCWD(&pattern[0x0E], static_cast<uint16_t>(-17));
  DWT_ENCWD(&pattern[0x10], static_cast<uint16_t>(-5));
  DWT_ENCWD(&pattern[0x31], 16);
  DWT_ENCWD(&pattern[0x33], 24);
  write(0x12010000, pattern);
  read(0x12010000, 0x39);
  note("picture and pattern");

  const std::pair<uint8_t, std::array<unsigned, 5>> modes[] = {
      // 10 kHz, width, blank, height, blank
      {98, {14835, 1920, 280, 1080, 45}},   // of the table, at 59.94 Hz
      {97, {21550, 3840, 160, 1080, 41}}};  // of none: calculated
  for (const auto& [source, mode] : modes) {
    ByteVector edid = fromHex("00ffffffffffff00") + ByteVector(120, 0);
    DWT_ENCWD(&edid[54], static_cast<uint16_t>(mode[0]));
    for (const size_t half : {0U, 1U}) {
      const unsigned active = mode[1 + 2 * half], blank = mode[2 + 2 * half];
      edid[56 + 3 * half] = static_cast<uint8_t>(active);
      edid[57 + 3 * half] = static_cast<uint8_t>(blank);
      edid[58 + 3 * half] = static_cast<uint8_t>(active >> 8 << 4 | blank >> 8);
    }
    edid[127] = static_cast<uint8_t>(0U - std::accumulate(edid.begin(), edid.end(), 0U));
    write(static_cast<uint32_t>(kFeature + sendpara::kInputSource), {source});
    write(0x08000000, edid);
    read(0x08000000, 256);
  }
  note("EDIDs");

  constexpr uint32_t kFiles = 0x0F000000;
  ByteVector header(32 + 32, 0);
  header[0] = header[1] = 1;
  DWT_ENCDW(&header[36], 0x1000);
  write(kFiles, header);
  const ByteVector body = filler(1100, 99);
  const ByteVector records = dword(0x5000) + word(0) + word(3) + ByteVector{0x80, 0xFE, 7} + dword(0x6000) + word(1) +
                             word(static_cast<uint16_t>(body.size())) + body;
  writeInPieces(kFiles + 0x1000, word(2) + ByteVector(30, 0) + records, 512);
  write(0x0FF00100, {1}, 250);
  m_image += "card file" + digest(m_directory.get("root/data/tirk/etc/qxt/cabCfg/RvCfgFile_0.rcfgx")) + "\n";
  note("card files");

  for (const uint32_t space : {0x02300000U, 0x05000000U, 0x05060000U, 0x0F800100U, 0xF1000000U}) {
    write(space, filler(600, space));
    read(space, 600);
  }
  write(0x00000016, filler(8, 5));
  read(0x00000000, 256);
  note("tables and names");

  write(static_cast<uint32_t>(kFeature + sendpara::kDateTime), fromHex("991231101510"));
  read(static_cast<uint32_t>(kFeature + sendpara::kDateTime), 5);  // to the minute
  note("the last day");

  write(0x0A000000, ScheduleTable{.nodes = {{0x23, 0, 3, 0xFE}}}.bytes());
  MixedBlock byLight;
  byLight.nodes = {{0x00, 0x00, 0, true}};  // by the light all day
  byLight.sensors = {{1, 0, 0, 0}};
  byLight.luxMap = {{100, 13}, {1000, 37}, {60000, 95}};
  writeInPieces(0x0A000000, byLight.bytes(), 400);
  monitor("light board 0x9F3B");
  ASSERT_TRUE(waitUntil([this] { return monitorLine("card read recv 2 7 0x02000001 1") != "00"; }));
  m_image += "a card's brightness " + monitorLine("card read recv 2 7 0x02000001 1") + "\n";
  settle();
  monitor("journal clear");  // what it tells depends on how often the sensor was asked
  note("brightness by light");

  std::ifstream file(KADREND_SOURCE_DIR "/tests/scenario/image.txt");
  const std::string expected{std::istreambuf_iterator<char>(file), {}};
  EXPECT_EQ(m_image, expected) << m_particulars;
}

}  // namespace
}  // namespace testing_support
