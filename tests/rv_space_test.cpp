// The configuration-file space: its map, the file table, where pieces land, and replays to the cards.
#include <filesystem>

#include "process/tprocess.h"
#include "proto/addr_rvconfigfilespace.h"
#include "proto/writerecord.h"
#include "support/space_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

constexpr uint32_t kSpace = 0x0F000000;
constexpr uint32_t kFlash = 0xE00000;  // where the space's first byte is copied to
constexpr const char* kDirectory = "root/data/tirk/etc/qxt/cabCfg/";

ByteVector header(uint8_t enable, const std::vector<uint32_t>& offsets) {
  ByteVector out(32 + 32 * offsets.size(), 0xEE);
  out[0] = enable;
  out[1] = static_cast<uint8_t>(offsets.size());
  for (size_t i = 0; i < offsets.size(); ++i) DWT_ENCDW(&out[32 + 32 * i + 4], offsets[i]);
  return out;
}

class RvSpace : public SpaceTest {
 protected:
  // A write, applied.
  Answer put(uint32_t address, const ByteVector& data) {
    const Answer answer = write(address, data);
    m_applied = applied().size();
    return answer;
  }
  // A handler looks for itself at what it gets.
  static void applyAnyway(uint32_t address, const ByteVector& data) {
    auto record = encodeWriteRecord(address, static_cast<uint16_t>(data.size()), data);
    Tprocess::Sprocess_RVConfigFileSpace(static_cast<int>(record.size()), record.data());
  }
  ByteVector file(const std::string& name) const {
    const std::string text = m_directory.get(kDirectory + name);
    return {text.begin(), text.end()};
  }
  ByteVector file(int number) const { return file("RvCfgFile_" + std::to_string(number) + ".rcfgx"); }
  void putFile(const std::string& name, const std::string& text) const { m_directory.put(kDirectory + name, text); }
  bool exists(const std::string& name) const { return std::filesystem::exists(m_directory.path() / kDirectory / name); }

  size_t m_applied = 0;
};

TEST_F(RvSpace, TheFileTableIsInAddressOrder) {
  const RvFileHeadPara_t& table = WriteRvFilePara;
  EXPECT_EQ(put(kSpace, header(1, {0x3000, 0x1000})), done());
  EXPECT_EQ(table.WriteFileEn, 1);
  EXPECT_EQ(table.WriteFileNum, 2);
  EXPECT_THAT(std::vector<uint32_t>(table.FileDateOffest, table.FileDateOffest + 3),
              ElementsAre(0x0F001000, 0x0F003000, 0x0F800000));
  EXPECT_THAT(std::vector<int>(table.FileIndex, table.FileIndex + 3), ElementsAre(1, 0, 0xFF));
  EXPECT_EQ(flash(kFlash, 96), header(1, {0x3000, 0x1000}));

  std::vector<uint32_t> most;
  for (uint32_t i = 0; i < 16; ++i) most.push_back(0x7FFFFF - i);
  EXPECT_EQ(put(kSpace, header(1, most)), done());
  EXPECT_EQ(table.WriteFileNum, 16);
  EXPECT_EQ(table.FileDateOffest[0], kSpace + 0x7FFFF0);
  EXPECT_EQ(table.FileIndex[0], 15);
  EXPECT_EQ(table.FileDateOffest[16], 0x0F800000U);
  EXPECT_EQ(table.FileIndex[16], 0xFF);
}

TEST_F(RvSpace, ABadHeaderChangesNothing) {
  EXPECT_EQ(put(kSpace, header(1, {0x1000})), done());
  putFile("AllCabCfgFileName", "names");
  putFile("RvCfgFile_9.rcfgx", "nine");
  const ByteVector before = flash(kFlash, 2048);
  ByteVector shortOfOne = header(1, {0x1000, 0x2000});
  shortOfOne.pop_back();
  ByteVector tooMany = header(1, {0x1000});
  tooMany.resize(2048);
  tooMany[1] = 17;
  const ByteVector kBad[] = {bytes({1}),
                             ByteVector(31),
                             shortOfOne,
                             tooMany,
                             header(1, {0x2000, 0x1000, 0x2000}),
                             header(1, {0xFFF}),
                             header(1, {0x800000}),
                             header(1, {0x1000, 0xFFFFFFFF})};
  for (const ByteVector& bad : kBad) {
    SCOPED_TRACE(toHex(bad).substr(0, 200));
    EXPECT_EQ(put(kSpace, bad).ack, 4);
    EXPECT_EQ(m_applied, 0U);
  }
  for (const ByteVector& bad : kBad) applyAnyway(kSpace, bad);
  EXPECT_EQ(logged("===bad file-table header"), 2 * std::size(kBad));
  EXPECT_EQ(WriteRvFilePara.WriteFileNum, 1);
  EXPECT_EQ(flash(kFlash, 2048), before);
  EXPECT_TRUE(exists("AllCabCfgFileName"));
  EXPECT_TRUE(exists("RvCfgFile_9.rcfgx"));
}

TEST_F(RvSpace, AnotherHeaderRemovesTheListAndTheFilesBeyondItsCount) {
  EXPECT_EQ(put(kSpace, header(1, {0x1000, 0x2000})), done());
  const auto leftBy = [this](const ByteVector& next) {
    const std::string names[] = {"AllCabCfgFileName", "RvCfgFile_0.rcfgx", "RvCfgFile_1.rcfgx", "RvCfgFile_31.rcfgx",
                                 "RvCfgFile_32.rcfgx"};
    for (const auto& name : names) putFile(name, "old");
    EXPECT_EQ(put(kSpace, next), done());
    std::string left;
    for (const auto& name : names) left += exists(name) ? "+" : "-";
    return left;
  };
  EXPECT_EQ(leftBy(header(1, {0x3000, 0x5000})), "+++++") << "as many files";
  EXPECT_EQ(leftBy(header(1, {0x3000})), "-+--+") << "none of the numbered ones is 32";
  EXPECT_EQ(leftBy(header(2, {0x3000})), "-+--+") << "switched otherwise";
}

TEST_F(RvSpace, APieceLandsAtItsOffsetInItsFile) {
  EXPECT_EQ(put(kSpace, header(1, {0x3000, 0x1000})), done());
  EXPECT_EQ(put(kSpace + 0x3010, counting(5)), done());
  ByteVector expected(0x10);
  for (uint8_t i = 1; i <= 5; ++i) expected.push_back(i);
  EXPECT_EQ(file(0), expected);
  EXPECT_EQ(flash(kFlash + 0x3010, 5), counting(5));
  EXPECT_EQ(put(kSpace + 0x1000, counting(100)), done());
  EXPECT_EQ(put(kSpace + 0x1064, counting(28, 101)), done());
  EXPECT_EQ(file(1), counting(128));
  // The first piece of a file starts it anew, and that one alone: not its namesake where the daemon happens to run.
  const auto previous = std::filesystem::current_path();
  std::filesystem::current_path(m_directory.path());
  m_directory.put("RvCfgFile_0.rcfgx", "not ours");
  EXPECT_EQ(put(kSpace + 0x3000, counting(3)), done());
  std::filesystem::current_path(previous);
  EXPECT_EQ(m_directory.get("RvCfgFile_0.rcfgx"), "not ours");
  EXPECT_EQ(file(0), counting(3));
  EXPECT_EQ(put(kSpace + 0x2FFF, bytes({0x55})), done());
  EXPECT_EQ(file(1).size(), 0x2000U);
  EXPECT_EQ(put(kSpace + 0x7FFFFF, bytes({0x66})), done());
  EXPECT_EQ(file(0).size(), 0x7FD000U);
  EXPECT_FALSE(exists("AllCabCfgFileName"));
}

TEST_F(RvSpace, APieceOfNoFileIsKeptInTheFlashAlone) {
  EXPECT_EQ(put(kSpace + 0x2000, counting(4)), done());  // before any header
  EXPECT_EQ(put(kSpace, header(1, {0x3000, 0x4000})), done());
  EXPECT_EQ(put(kSpace + 0x2004, counting(4)), done());
  EXPECT_EQ(put(kSpace + 0x3FFE, counting(4)), done());  // runs past the end of its file
  EXPECT_EQ(put(kSpace + 0x700, counting(4)), done());
  EXPECT_EQ(flash(kFlash + 0x2000, 8), bytes({1, 2, 3, 4, 1, 2, 3, 4}));
  EXPECT_EQ(flash(kFlash + 0x3FFE, 4), counting(4));
  EXPECT_EQ(flash(kFlash + 0x700, 4), counting(4));
  EXPECT_EQ(logged("piece runs past the end of file 0"), 1U);
  EXPECT_FALSE(exists("RvCfgFile_0.rcfgx"));
  EXPECT_FALSE(exists("AllCabCfgFileName"));
}

TEST_F(RvSpace, TheNameListEndsWhereTheFilesBegin) {
  EXPECT_EQ(put(kSpace + 0x800, counting(0x800)), done());
  EXPECT_EQ(put(kSpace + 0xFFF, bytes({0xAA, 0xBB})), done());
  EXPECT_EQ(file("AllCabCfgFileName").size(), 0x801U);
  EXPECT_EQ(file("AllCabCfgFileName").back(), 0xBB);
  EXPECT_EQ(put(kSpace + 0x1000, bytes({0xCC})), done());
  EXPECT_EQ(file("AllCabCfgFileName").back(), 0xCC);
  EXPECT_EQ(put(kSpace + 0x1000, bytes({0xDD, 0xDD})), done());  // no list holds it, and no file starts there
  EXPECT_EQ(file("AllCabCfgFileName").back(), 0xCC);
  EXPECT_EQ(flash(kFlash + 0x1000, 2), bytes({0xDD, 0xDD}));
  EXPECT_EQ(logged("piece runs past the end of the name list"), 1U);

  EXPECT_EQ(put(kSpace, header(1, {0x1000})), done());
  EXPECT_EQ(put(kSpace + 0x1000, counting(600)), done());
  EXPECT_EQ(file(0), counting(600));
  EXPECT_FALSE(exists("AllCabCfgFileName"));
}

TEST_F(RvSpace, APieceThatLeavesItsAreaIsRefused) {
  const struct {
    uint32_t offset;
    size_t length;
  } kCases[] = {{0x7FF, 2},      {0x1, 0x800},  {0x802, 2048}, {0xFFF, 3},      {0x7FFFFF, 2}, {0x7FF900, 2048},
                {0x8EBFFF, 2},   {0x8EC000, 1}, {0x900000, 1}, {0xEFFFFF, 1},   {0xEFFFFF, 2}, {0xF0011F, 2},
                {0xF00001, 512}, {0xF00120, 1}, {0xFFFFFF, 1}, {0xFFFFFF, 2048}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << std::hex << test.offset << " + " << test.length);
    const ByteVector data = repeated(test.length, 1);
    EXPECT_EQ(write(kSpace + test.offset, data), refused(5));
    applyAnyway(kSpace + test.offset, data);
  }
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(put(kSpace + 0x8EBFFF, bytes({0x77})), done());
  EXPECT_EQ(flash(0xDFFFFF, 1), bytes({0x77}));
}

TEST_F(RvSpace, DeviceNamesLiveInTheFlashAloneAndReadsAnswerFromIt) {
  EXPECT_EQ(put(kSpace, header(1, {0x1000})), done());
  clearJournal();
  EXPECT_EQ(put(0x0F800000, counting(300)), done());
  EXPECT_EQ(flash(0xD14000, 300), counting(300));
  EXPECT_THAT(journalLines(), SizeIs(1));
  EXPECT_EQ(read(0x0F800002, 10), done(counting(10, 3)));
  setFlash(0xD14000 + 0x700000, counting(8));
  EXPECT_EQ(read(0x0FF00000, 8), done(counting(8)));
  setFlash(kFlash + 0x7FF800, counting(2048));
  EXPECT_EQ(read(kSpace + 0x7FF800, 2048), done(counting(2048)));
  EXPECT_EQ(read(kSpace, 2049), refused(6));
  for (const auto& [address, what] : {std::pair{0x0F800000U, "DevNameFile"}, {kSpace, "RVConfigFile"}}) {
    fail(vboard::Op::FlashRead, 3);
    EXPECT_EQ(read(address, 4), refused(4));
    EXPECT_EQ(logged(std::string("===Read from flash failed when reading ") + what), 1U);
  }
}

TEST_F(RvSpace, NoticesAreToldAndNotStored) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  EXPECT_EQ(put(0x0FF00000, bytes({7})), done());
  EXPECT_EQ(put(0x0FF00001, bytes({0})), done());
  EXPECT_THAT(qxt.take(), ElementsAre(Report{0x0FF00000, bytes({1})}, Report{0x0FF00001, bytes({1})}));
  EXPECT_EQ(put(0x0FF00000, bytes({1, 1})), done());
  EXPECT_EQ(put(0x0FF00002, bytes({1})), done());
  EXPECT_EQ(put(0x0FF000FF, bytes({1})), done());
  EXPECT_THAT(qxt.take(), IsEmpty());
  for (const auto& line : journalLines()) EXPECT_TRUE(line.starts_with("ipc s ")) << line;
}

TEST_F(RvSpace, OneAtATriggerReplaysItsFile) {
  // A stored file of one record: register 0x01000000, no pause, 3 bytes.
  const ByteVector content = bytes({1}) + ByteVector(31) + dword(0x01000000) + word(0) + word(3) + bytes({7, 8, 9});
  EXPECT_EQ(put(kSpace, header(1, {0x1000, 0x2000, 0x3000, 0x4000})), done());
  EXPECT_EQ(put(kSpace + 0x4000, content), done());
  clearJournal();
  for (const auto& data : {bytes({0}), bytes({2}), bytes({255}), bytes({1, 1})})
    EXPECT_EQ(put(0x0FF00103, data), done());
  EXPECT_EQ(put(0x0FF00102, bytes({1})), done());  // there is no file 2
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(put(0x0FF00103, bytes({1})), done());
  EXPECT_THAT(journalLines(), ElementsAre("card w recv 255 65535 0x01000000 3 070809"));
  EXPECT_EQ(logged("RvCfgFile_31.rcfgx"), 0U);
  EXPECT_EQ(put(0x0FF0011F, bytes({1})), done());
  EXPECT_GE(logged("RvCfgFile_31.rcfgx"), 1U);
}

}  // namespace
