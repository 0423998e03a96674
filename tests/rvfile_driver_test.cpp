// Configuration files of receiving cards: pieces, removal, replay, and that nothing but files of their directory is
// ever touched.
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <numeric>

#include "driverutil.h"
#include "mcucbytes.h"
#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
using vboard::Op;
namespace fs = std::filesystem;

constexpr const char* kDirectory = "root/data/tirk/etc/qxt/cabCfg/";
constexpr const char* kList = "/data/tirk/etc/qxt/cabCfg/AllCabCfgFileName";

struct Record {
  uint32_t address;
  uint16_t delayMs;
  uint16_t length;  // as the record says
  size_t present;   // as it is
};

// A file of `count` records, as its header says.
std::string rvFile(uint16_t count, const std::vector<Record>& records) {
  ByteVector file(32);
  DWT_ENCWD(file.data(), count);
  for (const Record& record : records) {
    file = file + dword(record.address) + word(record.delayMs) + word(record.length);
    for (size_t i = 0; i < record.present; ++i) file.push_back(static_cast<uint8_t>(i / 512 + 1));
  }
  return {file.begin(), file.end()};
}

class RvFileTest : public BoardTest {
 protected:
  RvFileTest() { vboard::board().cards->setChain(0, 1, 128, 128); }

  static std::string numbered(int number) { return kDirectory + ("RvCfgFile_" + std::to_string(number) + ".rcfgx"); }
  std::string file(int number) const { return m_directory.get(numbered(number)); }
  fs::path path(const std::string& name) const { return m_directory.path() / name; }
  int write(const char* name, int number, uint32_t at, const std::string& text) {
    return driver.WriteRvFileToFalsh(name, number, at, reinterpret_cast<const uint8_t*>(text.data()),
                                     static_cast<uint32_t>(text.size()));
  }
  // Replays a file of that content: what the cards were sent, without the data.
  std::vector<std::string> replayed(const std::string& content) {
    m_directory.put(numbered(3), content);
    clearJournal();
    EXPECT_EQ(driver.LoadRvCfgToRecvCard(3), 0);
    auto lines = did("card w");
    for (std::string& line : lines) line.resize(line.rfind(' '));
    return lines;
  }
  size_t errors() const { return logged(" Error:"); }

  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(RvFileTest, PieceReadsBack) {
  write(kList, 255, 0, "0123456789");
  ByteVector out = repeated(4, '#');
  EXPECT_EQ(driver.ReadBytesFromrecvcard(1, 3, 4, out.data(), kList), 0);
  EXPECT_EQ(out, bytes({'3', '4', '5', '6'}));
  EXPECT_EQ(driver.ReadBytesFromrecvcard(1, 8, 4, out.data(), kList), 0);  // short
  EXPECT_EQ(out, bytes({'8', '9', '5', '6'}));
  EXPECT_EQ(driver.ReadBytesFromrecvcard(1, 0, 4, out.data(), "/data/none"), ENOENT);
  EXPECT_EQ(driver.ReadBytesFromrecvcard(1, 0, 4, out.data(), "/data"), EISDIR);
  EXPECT_NE(driver.ReadBytesFromrecvcard(1, 0, 4, out.data(), nullptr), 0);
}

TEST_F(RvFileTest, NothingButAFileOfTheDirectoryIsWrittenOrRemoved) {
  write(nullptr, 1, 0, "makes the directory");
  m_directory.put("root/data/target", "kept");
  fs::create_symlink("../../../../target", path(numbered(2)));
  fs::create_directory(path(numbered(4)));
  ASSERT_EQ(mkfifo(path(numbered(6)).c_str(), 0600), 0);
  for (const int number : {2, 4, 6}) {
    EXPECT_EQ(write(nullptr, number, 0, "overwritten"), 1) << number;
    EXPECT_EQ(driver.RemoveRvFile(nullptr, number), 0) << number;
  }
  for (const char* outside : {"/data/target", "../target", "/data/tirk/etc/qxt/cabCfg/../../target", "..", ".", "",
                              "/data/tirk/etc/qxt/cabCfg/", "/data/tirk/etc/qxt/cabCfg"}) {
    EXPECT_EQ(write(outside, 255, 0, "overwritten"), 1) << outside;
    EXPECT_EQ(driver.RemoveRvFile(outside, 255), -1) << outside;
  }
  EXPECT_EQ(driver.RemoveOtherRvFile(0, 32), 0);
  EXPECT_TRUE(fs::is_symlink(path(numbered(2))));
  EXPECT_TRUE(fs::is_directory(path(numbered(4))));
  EXPECT_TRUE(fs::is_fifo(path(numbered(6))));
  EXPECT_FALSE(fs::exists(path(numbered(1))));
  EXPECT_EQ(m_directory.get("root/data/target"), "kept");

  fs::remove_all(path(kDirectory));
  fs::create_directory(path("root/data/elsewhere"));
  fs::create_symlink("../../../elsewhere", path("root/data/tirk/etc/qxt/cabCfg"));
  EXPECT_EQ(write(nullptr, 1, 0, "x"), 1);
  EXPECT_EQ(driver.RemoveRvFile(nullptr, 1), -1);
  EXPECT_EQ(driver.RemoveOtherRvFile(0, 2), 0);
  EXPECT_TRUE(fs::is_empty(path("root/data/elsewhere")));
}

TEST_F(RvFileTest, PieceThatDoesNotFitOnTheDiskIsAFailure) {
  constexpr uint32_t kLimit = 1 << 20;
  signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const rlimit small{kLimit, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  EXPECT_EQ(write(nullptr, 1, kLimit - 2, "abcd"), 1);
  EXPECT_EQ(write(nullptr, 1, kLimit - 4, "wxyz"), 0);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
  EXPECT_EQ(file(1).substr(kLimit - 4), "wxyz");
}

TEST_F(RvFileTest, ReplaySendsEachRecordInPiecesOf512Bytes) {
  EXPECT_THAT(replayed(rvFile(5, {{0x100, 0, 1, 1},
                                  {0x200, 0, 0, 0},
                                  {0x1000, 0, 512, 512},
                                  {0x2000, 0, 1024, 1024},
                                  {0x3000, 0, 1100, 1100}})),
              ElementsAre("card w recv 255 65535 0x00000100 1", "card w recv 255 65535 0x00001000 512",
                          "card w recv 255 65535 0x00002000 512", "card w recv 255 65535 0x00002200 512",
                          "card w recv 255 65535 0x00003000 512", "card w recv 255 65535 0x00003200 512",
                          "card w recv 255 65535 0x00003400 76"));
  ByteVector sent(1101);
  ASSERT_EQ(vboard::board().cards->read({vboard::CardKind::Receiving, 0, 0}, 0x3000, sent), 0);
  EXPECT_EQ(std::accumulate(sent.begin(), sent.end(), 0), 512 * 1 + 512 * 2 + 76 * 3);
  EXPECT_EQ(errors(), 0U);
}

TEST_F(RvFileTest, ReplayPausesAfterPiecesAndRecords) {
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_THAT(replayed(rvFile(2, {{0x100, 0, 4096, 4096}, {0x200, 60, 0, 0}})), SizeIs(8));
  EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(7 * 10 + 15 + 15 + 60));
}

TEST_F(RvFileTest, ReplayEndsAtARecordThatIsNotWhole) {
  const Record good{0x100, 0, 4, 4};
  const std::string whole = rvFile(2, {good, good});
  const struct {
    const char* what;
    std::string content;
    size_t sent;
  } cases[] = {
      {"longer than a record may be", rvFile(3, {good, {0x200, 0, 4097, 4097}, good}), 1},
      {"data missing", rvFile(2, {good, {0x200, 0, 1000, 999}}), 1},
      {"more records than the file has", rvFile(65535, {good, good}), 2},
      {"record header cut", whole.substr(0, whole.size() - 5), 1},
      {"file header cut", std::string("\x01\0", 2), 0},
      {"empty", "", 0},
      {"past a card's last register", rvFile(2, {{0xFFFFFE00, 0, 512, 512}, {0xFFFFFE00, 0, 513, 513}}), 1},
  };
  for (const auto& row : cases) {
    const size_t before = errors();
    EXPECT_THAT(replayed(row.content), SizeIs(row.sent)) << row.what;
    EXPECT_EQ(errors(), before + 1) << row.what;
  }
  EXPECT_THAT(replayed(rvFile(1, {good, good})), SizeIs(1));  // surplus records are not counted
  fail(Op::CardWrite, 1, 5);
  EXPECT_THAT(replayed(whole), SizeIs(2)) << "what cannot be sent does not end it";
}

TEST_F(RvFileTest, ReplayOfNoFileSendsNothing) {
  EXPECT_EQ(driver.LoadRvCfgToRecvCard(7), 0);
  EXPECT_EQ(logged("======Read File: /data/tirk/etc/qxt/cabCfg/RvCfgFile_7.rcfgx File Not exist!======"), 1U);
  fs::create_directories(path(numbered(8)));
  EXPECT_EQ(driver.LoadRvCfgToRecvCard(8), 0);
  EXPECT_EQ(logged("======fOpen File: /data/tirk/etc/qxt/cabCfg/RvCfgFile_8.rcfgx File!======"), 1U);
  m_directory.put(numbered(9), "");
  fs::resize_file(path(numbered(9)), uintmax_t{1} << 40);  // takes no memory of that size
  EXPECT_EQ(driver.LoadRvCfgToRecvCard(9), 0);
  EXPECT_EQ(logged("file too long!"), 1U);
}

}  // namespace
