// The log as it is found on the device: names, header, lines, levels, days.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::ElementsAre;
using ::testing::SizeIs;

class TraceTest : public ScenarioTest {
 protected:
  explicit TraceTest(const std::string& option = "-debug") : ScenarioTest(kLoadsAtOnce, option) {}
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_directory.path() / "root/log")) {
      names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::string file(const std::string& name) const { return m_directory.get("root/log/" + name); }
  std::string name(const std::string& date, int index) const {
    return "kadrend_info_" + date + "_" + std::to_string(index) + "." + std::to_string(pid()) + ".log";
  }
  // MMDDYYYY of the board's clock.
  std::string today() {
    const std::string now = monitorLine("clock");
    return now.substr(5, 2) + now.substr(8, 2) + now.substr(0, 4);
  }
};

TEST_F(TraceTest, EveryLineHasItsForm) {
  EXPECT_EQ(askRead(0x02500000, 4).ack, 0);
  EXPECT_EQ(askRead(0x02300000, 0).ack, 4);
  ASSERT_THAT(files(), ElementsAre(name(today(), 0)));
  settle(60);
  std::istringstream lines(file(name(today(), 0)));
  std::string line;
  ASSERT_TRUE(std::getline(lines, line));
  EXPECT_EQ(line.size(), 31U);
  int count = 0;
  while (std::getline(lines, line)) {
    ++count;
    int at[7] = {}, writer = 0, lineNumber = 0;
    unsigned tag = 1;
    char level[8] = {}, source[64] = {};
    const int fields =
        std::sscanf(line.c_str(), "[%2d/%2d/%4d %2d:%2d:%2d.%3d pid=%d uuid=0x%x] %7[A-Za-z]:%63[^ ] : %d ", &at[0],
                    &at[1], &at[2], &at[3], &at[4], &at[5], &at[6], &writer, &tag, level, source, &lineNumber);
    ASSERT_EQ(fields, 12) << line;
    EXPECT_THAT(level, ::testing::AnyOf(::testing::StrEq("Error"), ::testing::StrEq("Warning"),
                                        ::testing::StrEq("Debug"), ::testing::StrEq("Info")));
    EXPECT_EQ(writer, pid());
    EXPECT_EQ(tag, 0U);
    EXPECT_THAT(source, ::testing::EndsWith(".cpp"));
  }
  EXPECT_GT(count, 100);
}

TEST_F(TraceTest, TheHeaderTellsTheEndOfTheText) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(askRead(0x02300000, 4).ack, 0);
  ASSERT_TRUE(waitUntil([this] {
    const std::string text = file(name(today(), 0));
    return std::stoul(text.substr(0, 31)) == text.size();
  }));
}

TEST_F(TraceTest, ANewDayBeginsANewFile) {
  const std::string first = today();
  monitor("clock set 2031-12-31 23:59:59");
  // The last line of the old day goes to its file; the next day's first opens another.
  ASSERT_TRUE(waitUntil([this] { return monitorLine("clock").substr(0, 4) == "2032"; }));
  EXPECT_EQ(askRead(0x02300000, 4).ack, 0);
  ASSERT_TRUE(waitUntil([this] {
    const auto names = files();
    return std::find(names.begin(), names.end(), name("01012032", 0)) != names.end();
  }));
  EXPECT_EQ(askRead(0x02300000, 0).ack, 4);
  ASSERT_TRUE(waitUntil([this] { return occurrences(file(name("01012032", 0)), "[01/01/2032 00:00:") > 0; }));
  EXPECT_EQ(occurrences(file(name("01012032", 0)), "Unsupportd register max/min length."), 1U);
  EXPECT_EQ(occurrences(file(name(first, 0)), "Unsupportd register max/min length."), 0U);
}

TEST_F(TraceTest, ALongFrameIsDumpedCut) {
  EXPECT_EQ(askWrite(0x03000000, ByteVector(5000, 0x5A)).ack, 0);
  settle(60);
  const std::string text = file(name(today(), 0));
  const size_t at = text.find("datalength = 5020 the Data = 55 AA ");
  ASSERT_NE(at, std::string::npos);
  const size_t end = text.find('\n', at);
  EXPECT_LT(end - at, 1024U);
  EXPECT_EQ(text[end + 1], '[');
}

TEST_F(TraceTest, EachProcessHasItsOwnFile) {
  const std::string first = files().at(0);
  restart();
  EXPECT_THAT(files(), SizeIs(2));
  EXPECT_NE(file(first).find("Kadrend Start"), std::string::npos);
}

class QuietTraceTest : public TraceTest {
 protected:
  QuietTraceTest() : TraceTest("") {}
};

TEST_F(QuietTraceTest, FaultsAreWrittenWithoutAnOption) {
  EXPECT_EQ(askRead(0x02300000, 0).ack, 4);
  EXPECT_EQ(logged("Error", "=== Ssh_checkFun ===Check Func: Unsupportd register max/min length."), 1U);
  EXPECT_EQ(logged("Info", ""), 0U);
  EXPECT_EQ(logged("Debug", ""), 0U);
}

}  // namespace
}  // namespace testing_support
