// Configuration files of receiving cards: stored piece by piece, kept, replaced, and replayed to the cards.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

constexpr uint32_t kSpace = 0x0F000000;
constexpr uint32_t kSpaceFlash = 0xE00000;
constexpr uint32_t kReplay = 0x0FF00100;
const std::string kDirectory = "root/data/tirk/etc/qxt/cabCfg/";

class RvFilesTest : public ScenarioTest {
 protected:
  static ByteVector header(uint8_t enable, const std::vector<uint32_t>& starts) {
    ByteVector bytes(32 + 32 * starts.size(), 0);
    bytes[0] = enable;
    bytes[1] = static_cast<uint8_t>(starts.size());
    for (size_t i = 0; i < starts.size(); ++i) DWT_ENCDW(&bytes[32 + 32 * i + 4], starts[i]);
    return bytes;
  }
  static ByteVector record(uint32_t address, uint16_t pauseMs, const ByteVector& data) {
    return dword(address) + word(pauseMs) + word(static_cast<uint16_t>(data.size())) + data;
  }
  static ByteVector file(const std::vector<ByteVector>& records) {
    ByteVector bytes = word(static_cast<uint16_t>(records.size())) + ByteVector(30, 0);
    for (const auto& one : records) bytes = bytes + one;
    return bytes;
  }
  Answer apply(uint32_t address, const ByteVector& data) {
    const Answer answer = askWrite(address, data);
    settle(60);
    return answer;
  }
  // The whole file, in pieces of the space's largest length.
  void send(uint32_t start, const ByteVector& bytes) {
    constexpr size_t kPiece = 2048;
    for (size_t at = 0; at < bytes.size(); at += kPiece) {
      const auto begin = bytes.begin() + static_cast<long>(at);
      const auto end = bytes.begin() + static_cast<long>(std::min(at + kPiece, bytes.size()));
      EXPECT_EQ(apply(static_cast<uint32_t>(kSpace + start + at), ByteVector(begin, end)).ack, 0);
    }
  }
  ByteVector stored(const std::string& name) const {
    const std::string text = m_directory.get(kDirectory + name);
    return {text.begin(), text.end()};
  }
  bool there(const std::string& name) const {
    return std::filesystem::exists(m_directory.path() / (kDirectory + name));
  }
};

TEST_F(RvFilesTest, PiecesGoToTheFileThatCoversThem) {
  EXPECT_EQ(apply(kSpace, header(1, {0x3000, 0x1000})), (Answer{0, 0, {}}));
  EXPECT_EQ(logged("Info", "+++RVCfgFile0index:1 Offset:"), 1U);
  EXPECT_EQ(apply(kSpace + 0x3000, {1, 2, 3, 4}).ack, 0);
  EXPECT_EQ(apply(kSpace + 0x3010, {5, 6}).ack, 0);
  EXPECT_EQ(apply(kSpace + 0x1000, {7, 8}).ack, 0);
  EXPECT_EQ(stored("RvCfgFile_0.rcfgx"), (ByteVector{1, 2, 3, 4} + ByteVector(12, 0) + ByteVector{5, 6}));
  EXPECT_EQ(stored("RvCfgFile_1.rcfgx"), (ByteVector{7, 8}));
  EXPECT_EQ(flash(kSpaceFlash + 0x3010, 2), (ByteVector{5, 6})) << "and to the flash copy";
  EXPECT_EQ(askRead(kSpace + 0x3000, 4).data, (ByteVector{1, 2, 3, 4}));
  EXPECT_EQ(apply(kSpace + 0x3000, {9}).ack, 0);
  EXPECT_EQ(stored("RvCfgFile_0.rcfgx"), ByteVector{9}) << "a first piece begins the file anew";
  EXPECT_EQ(apply(kSpace + 0x0800, {'n', 'a', 'm', 'e'}).ack, 0);
  EXPECT_EQ(stored("AllCabCfgFileName"), (ByteVector{'n', 'a', 'm', 'e'}));
  EXPECT_EQ(apply(kSpace + 0x0900, {0xAA}).ack, 0);
  EXPECT_EQ(stored("AllCabCfgFileName").size(), 257U);
}

TEST_F(RvFilesTest, AnotherHeaderRemovesWhatItDoesNotHave) {
  for (const char* name : {"AllCabCfgFileName", "RvCfgFile_0.rcfgx", "RvCfgFile_1.rcfgx", "RvCfgFile_31.rcfgx"}) {
    m_directory.put(kDirectory + name, "x");
  }
  EXPECT_EQ(apply(kSpace, header(1, {0x1000})).ack, 0);
  EXPECT_FALSE(there("AllCabCfgFileName"));
  EXPECT_TRUE(there("RvCfgFile_0.rcfgx"));
  EXPECT_FALSE(there("RvCfgFile_1.rcfgx"));
  EXPECT_FALSE(there("RvCfgFile_31.rcfgx"));
  m_directory.put(kDirectory + "AllCabCfgFileName", "x");
  EXPECT_EQ(apply(kSpace, header(1, {0x2000})).ack, 0);
  EXPECT_TRUE(there("AllCabCfgFileName")) << "the same count";
  EXPECT_EQ(apply(kSpace, header(2, {0x2000})).ack, 0);
  EXPECT_FALSE(there("AllCabCfgFileName"));
}

TEST_F(RvFilesTest, BadHeadersChangeNothing) {
  EXPECT_EQ(apply(kSpace, header(1, {0x1000})).ack, 0);
  m_directory.put(kDirectory + "AllCabCfgFileName", "x");
  effects();
  auto cut = header(1, {0x1000, 0x2000});
  cut.pop_back();
  auto longer = header(1, {0x1000, 0x2000});
  longer.push_back(0);
  std::vector<uint32_t> seventeen;
  for (uint32_t i = 0; i < 17; ++i) seventeen.push_back(0x1000 + i);
  for (const auto& bad : {cut, header(1, seventeen), header(1, {0x1000, 0x1000}), header(1, {0xFFF}),
                          header(1, {0x800000}), ByteVector{1, 0}}) {
    EXPECT_EQ(apply(kSpace, bad), (Answer{4, 4, {}})) << bad.size();
  }
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_TRUE(there("AllCabCfgFileName"));
  EXPECT_EQ(apply(kSpace + 0x1000, {1}).ack, 0);
  EXPECT_EQ(stored("RvCfgFile_0.rcfgx"), ByteVector{1}) << "the old table holds";
}

TEST_F(RvFilesTest, PiecesOutsideTheirAreaAreRefused) {
  EXPECT_EQ(apply(0x0F7FFFFF, {1, 2}), (Answer{4, 4, {}}));
  EXPECT_EQ(apply(0x0F8EBFFF, {1, 2}), (Answer{4, 4, {}})) << "into the files' flash";
  EXPECT_EQ(apply(kSpace, header(1, {0x1000, 0x1010})).ack, 0);
  EXPECT_EQ(apply(kSpace + 0x100C, ByteVector(8, 7)).ack, 0);
  EXPECT_FALSE(there("RvCfgFile_0.rcfgx")) << "runs into the next file: the flash copy only";
  EXPECT_EQ(flash(kSpaceFlash + 0x100C, 8), ByteVector(8, 7));
}

TEST_F(RvFilesTest, ARestartForgetsTheTableAndKeepsTheFiles) {
  EXPECT_EQ(apply(kSpace, header(1, {0x1000})).ack, 0);
  send(0x1000, ByteVector(100, 5));
  restart();
  ready();
  EXPECT_EQ(apply(kSpace + 0x1000, {9}).ack, 0);
  EXPECT_EQ(stored("RvCfgFile_0.rcfgx"), ByteVector(100, 5));
  EXPECT_EQ(flash(kSpaceFlash + 0x1000, 1), ByteVector{9});
}

TEST_F(RvFilesTest, AReplayReachesEveryCardInPieces) {
  monitor("cards 1 2 64 64");
  ByteVector big(1100);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<uint8_t>(i);
  const auto whole =
      file({record(0x5000, 0, {1, 2, 3}), record(0x6000, 10, big), record(0x7000, 0, {}),
            record(0x8000, 0, ByteVector(1024, 8)), record(0x9000, 0, ByteVector(4097, 9)), record(0xA000, 0, {1})});
  EXPECT_EQ(apply(kSpace, header(1, {0x1000})).ack, 0);
  send(0x1000, whole);
  EXPECT_EQ(stored("RvCfgFile_0.rcfgx"), whole);
  effects();
  EXPECT_EQ(apply(kReplay, {2}).ack, 0);
  EXPECT_THAT(effects(), IsEmpty()) << "only 1 replays";
  EXPECT_EQ(apply(kReplay, {1}).ack, 0);
  auto done = effects();
  std::erase_if(done, [](const std::string& line) { return line.rfind("ipc s", 0) == 0; });
  EXPECT_THAT(done, ElementsAre("card w recv 255 65535 0x00005000 3 010203",
                                StartsWith("card w recv 255 65535 0x00006000 512 0001"),
                                StartsWith("card w recv 255 65535 0x00006200 512 "),
                                StartsWith("card w recv 255 65535 0x00006400 76 "),
                                StartsWith("card w recv 255 65535 0x00008000 512 "),
                                StartsWith("card w recv 255 65535 0x00008200 512 ")))
      << "up to the record that is too long";
  EXPECT_EQ(monitorLine("card read recv 1 1 0x6000 1100"), toHex(big));
  EXPECT_EQ(apply(kReplay + 5, {1}).ack, 0);
  EXPECT_THAT(effects(), IsEmpty());
  EXPECT_EQ(logged("Error", " File Not exist!======"), 1U);
}

TEST_F(RvFilesTest, AFileThatEndsInARecordStopsThere) {
  auto cut = file({record(0x5000, 0, {1}), record(0x6000, 0, ByteVector(100, 2))});
  cut.pop_back();
  m_directory.put(kDirectory + "RvCfgFile_2.rcfgx", std::string(cut.begin(), cut.end()));
  monitor("cards 1 1 64 64");
  settle(300);
  effects();
  const size_t errors = logged("Error", "");
  EXPECT_EQ(apply(kReplay + 2, {1}).ack, 0);
  EXPECT_THAT(effects(), Contains("card w recv 255 65535 0x00005000 1 01"));
  EXPECT_EQ(monitorLine("card read recv 1 0 0x6000 1"), "00");
  EXPECT_GT(logged("Error", ""), errors);
}

TEST_F(RvFilesTest, NoticesGoToTheScreenDaemonAndAreNotStored) {
  BusClient screenDaemon(board(), kTaskQxt);
  ASSERT_TRUE(screenDaemon.receive(5000));
  reports(screenDaemon, 300);
  effects();
  EXPECT_EQ(apply(0x0FF00000, {77}).ack, 0);
  EXPECT_EQ(apply(0x0FF00001, {0}).ack, 0);
  EXPECT_THAT(reports(screenDaemon, 300), ElementsAre("0x0ff00000 01", "0x0ff00001 01"));
  EXPECT_EQ(apply(0x0FF00002, {1}).ack, 0) << "control space";
  EXPECT_THAT(effects(), Not(Contains(StartsWith("flash"))));
}

}  // namespace
}  // namespace testing_support
