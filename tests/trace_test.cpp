// The trace log: the message builder, the level filter, lines and headers, rotation, and what is done to its files.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "mappedhead.h"
#include "mcuctrace.h"
#include "mcuctracefile.h"
#include "support/board_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
namespace fs = std::filesystem;

using Recorder = CTrace::CLogRecorder;

size_t sizeOf(const fs::path& file) {
  return static_cast<size_t>(fs::file_size(file));
}

std::string contentsOf(const fs::path& file) {
  std::string text(fs::exists(file) ? sizeOf(file) : 0, '\0');
  std::ifstream(file, std::ios::binary).read(text.data(), static_cast<std::streamsize>(text.size()));
  return text;
}

std::string header(size_t offset) {
  std::string text = std::to_string(offset);
  text.resize(31, ' ');
  return text + '\n';
}

class TraceTest : public BoardTest {
 protected:
  TraceTest() {
    setZone("UTC0");
    setClock("2026-03-07 10:00:00");
  }

  fs::path logDirectory() const { return m_directory.path() / "root/log"; }
  // Where the process's file of that day and index is.
  fs::path logFile(const std::string& monthDayYear, int index) const {
    const std::string name = std::string(CTrace::get_process_name()) + "_info_" + monthDayYear + "_" +
                             std::to_string(index) + "." + std::to_string(getpid()) + ".log";
    return logDirectory() / name;
  }
  // Makes the file look filled up to `offset`.
  static void fillUp(const fs::path& file, size_t offset) {
    fs::resize_file(file, offset);
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary) << header(offset);
  }
  static std::vector<std::string> linesOf(const fs::path& file) {
    std::istringstream text(contentsOf(file));
    std::vector<std::string> lines;
    std::string line;
    std::getline(text, line);  // the header
    while (std::getline(text, line)) lines.push_back(line);
    return lines;
  }
};

TEST(TraceRecorder, WritesEachTypeInItsForm) {
  char buffer[1024];
  const auto written = [&](auto value, bool hexadecimal = false) {
    Recorder recorder(buffer, sizeof buffer);
    if (hexadecimal) recorder << hex;
    recorder << value << "|" << 10;  // the flag holds for one integer
    return std::string(buffer);
  };
  const std::pair<std::string, std::string> cases[] = {
      {written("text"), "text"},
      {written(static_cast<const char*>(nullptr)), ""},
      {written(static_cast<char>(-1)), "255"},
      {written(static_cast<short>(-5)), "-5"},
      {written(static_cast<unsigned short>(65535)), "65535"},
      {written(INT_MIN), "-2147483648"},
      {written(UINT_MAX), "4294967295"},
      {written(ULONG_MAX), std::to_string(ULONG_MAX)},
      {written(1.5F), "1.500000"},
      {written(reinterpret_cast<const void*>(0xABCDUL)), "0xabcd"},
      {written(-1, true), "ffffffff"},
      {written(0xABU, true), "0x000000ab"},
      {written(0xABL, true), "0xab"},
      {written(0xABUL, true), "0xab"},
      {written(static_cast<unsigned char>(0xAB), true), "ab"},
      {written(static_cast<short>(-1), true), "ffffffff"},
      {written(decimal, true), ""},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(text, expected + "|10");
}

TEST(TraceRecorder, StringsLeaveTheLast64BytesAndNothingIsWrittenPastTheEnd) {
  const std::string longText(3000, 'x');
  for (const size_t size : {size_t{0}, size_t{1}, size_t{2}, size_t{63}, size_t{64}, size_t{65}, size_t{300}}) {
    std::vector<char> memory(size + 16, '#');
    Recorder recorder(memory.data(), size);
    recorder << "ab" << longText << "cd";
    const size_t strings = size > 64 ? size - 64 : 0;
    EXPECT_EQ(strnlen(memory.data(), size), size == 0 ? 0 : strings) << size;
    for (int i = 0; i < 100; ++i) recorder << 123456789L << 1e300 << -1.0F << hex << 77U;
    EXPECT_EQ(strnlen(memory.data(), size), size == 0 ? 0 : size - 1) << size;
    EXPECT_EQ(std::string(memory.data() + size, 16), std::string(16, '#')) << size;

    recorder.set_hex_flag(true);
    recorder.reset();
    EXPECT_FALSE(recorder.get_hex_flag());
    EXPECT_EQ(std::string(memory.data(), size), std::string(size, '\0'));
  }
}

TEST_F(TraceTest, FilterDropsALevelBeforeItsTextIsMade) {
  const struct {
    int logLevel;
    std::string written;  // Error, Warning, Debug, Info
  } cases[] = {{0, "EW"}, {1, "EWDI"}, {2, "EWD"}, {3, "EWDI"}, {4, ""}};
  for (const auto& row : cases) {
    const size_t before = linesOf(logFile("03072026", 0)).size();
    g_logLevel = row.logLevel;
    std::string evaluated;
    const auto operand = [&](const char* letter) {
      evaluated += letter;
      return letter;
    };
    TRACE_ERROR(operand("E"));
    TRACE_WARNING(operand("W"));
    TRACE_DEBUG(operand("D"));
    TRACE_INFO(operand("I"));
    CTrace::instance().trace_string(4, "no such level");
    CTrace::instance().trace_string(0xFFFFFFFF, "no such level");
    EXPECT_EQ(evaluated, row.written) << row.logLevel;
    EXPECT_EQ(linesOf(logFile("03072026", 0)).size() - before, row.written.size()) << row.logLevel;
  }
  EXPECT_EQ(logged("no such level"), 0U);
}

TEST_F(TraceTest, LineHasStampLevelPlaceAndTextAndIsEchoed) {
  const std::string process = "pid=" + std::to_string(getpid());
  ::testing::internal::CaptureStdout();
  const int line = __LINE__ + 1;
  TRACE_WARNING("value " << 7);
  setClock("2026-03-07 23:05:09");
  log_uuid = 0x1F;
  TRACE_INFO("tagged");
  log_uuid = 0;
  const std::string echoed = ::testing::internal::GetCapturedStdout();
  const std::string text = contentsOf(logFile("03072026", 0));
  EXPECT_EQ(text, header(text.size()) + echoed);
  const auto at = [](int number) { return "trace_test.cpp : " + std::to_string(number); };
  EXPECT_THAT(linesOf(logFile("03072026", 0)),
              ElementsAre(MatchesRegex("\\[03/07/2026 10:00:00\\.[0-9]{3} " + process +
                                       " uuid=0x0\\] Warning:" + at(line) + " value 7"),
                          MatchesRegex("\\[03/07/2026 23:05:09\\.[0-9]{3} " + process +
                                       " uuid=0x1f\\] Info:" + at(line + 3) + " tagged")));
}

TEST_F(TraceTest, LostStandardOutputLosesTheEchoAlone) {
  const int saved = dup(STDOUT_FILENO);
  const int full = open("/dev/full", O_WRONLY);
  dup2(full, STDOUT_FILENO);
  TRACE_INFO("to a full device");
  close(STDOUT_FILENO);
  TRACE_INFO("to nobody");
  dup2(saved, STDOUT_FILENO);
  close(saved);
  close(full);
  EXPECT_THAT(linesOf(logFile("03072026", 0)), ElementsAre(HasSubstr("to a full device"), HasSubstr("to nobody")));
}

TEST_F(TraceTest, FullDiskCutsALineAndTheLogGoesOnLater) {
  const fs::path file = logFile("03072026", 0);
  TRACE_INFO("fits");
  signal(SIGXFSZ, SIG_IGN);
  rlimit usual{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &usual), 0);
  const size_t limit = sizeOf(file) + 10;
  const rlimit small{limit, usual.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  TRACE_INFO("cut");
  TRACE_INFO("lost");
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &usual), 0);
  EXPECT_EQ(contentsOf(file).substr(0, kTraceHeaderLength), header(limit));
  TRACE_INFO("goes on");
  const auto lines = linesOf(file);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[1], StartsWith("[03/07/202[03/07/2026 "));
  EXPECT_EQ(contentsOf(file).substr(0, kTraceHeaderLength), header(sizeOf(file)));
}

TEST_F(TraceTest, HeaderOfAFileThatIsCutUnderItFailsAndABusErrorOfOthersIsFatal) {
  const fs::path path = m_directory.path() / "head";
  const UniqueFd file(::open(path.c_str(), O_RDWR | O_CREAT, 0600));
  MappedHead head;
  char text[4] = {};
  EXPECT_FALSE(head.read(text) || head.write("none"));
  for (const bool reads : {true, false}) {
    fs::resize_file(path, 4);
    head.map(file.get(), 4);
    EXPECT_TRUE(head.write("text"));
    EXPECT_EQ(contentsOf(path), "text");
    EXPECT_TRUE(head.read(text));
    EXPECT_EQ(std::string(text, 4), "text");
    EXPECT_DEATH(raise(SIGBUS), "");
    fs::resize_file(path, 0);
    EXPECT_FALSE(reads ? head.read(text) : head.write("lost"));
    EXPECT_FALSE(head.read(text) || head.write("lost")) << "not mapped any more";
  }
  EXPECT_DEATH(raise(SIGBUS), "");
}

TEST_F(TraceTest, LinesOfManyThreadsStayWhole) {
  constexpr unsigned kThreads = 4, kLines = 300;
  ::testing::internal::CaptureStdout();
  std::vector<std::thread> threads;
  for (unsigned t = 0; t < kThreads; ++t) {
    threads.emplace_back([t] {
      for (unsigned i = 0; i < kLines; ++i) TRACE_INFO("thread " << t << " line " << i << " end");
    });
  }
  for (auto& thread : threads) thread.join();
  ::testing::internal::GetCapturedStdout();
  const auto lines = linesOf(logFile("03072026", 0));
  ASSERT_EQ(lines.size(), size_t{kThreads * kLines});
  unsigned next[kThreads] = {};
  for (const std::string& line : lines) {
    const size_t text = line.find("thread ");
    ASSERT_NE(text, std::string::npos) << line;
    const size_t t = static_cast<size_t>(line.at(text + 7) - '0');
    ASSERT_LT(t, kThreads) << line;
    EXPECT_EQ(line.substr(text), "thread " + std::to_string(t) + " line " + std::to_string(next[t]++) + " end");
    EXPECT_EQ(line.rfind('['), 0U) << line;
  }
}

TEST_F(TraceTest, FullFileTakesItsLineAndTheNextGoesToTheNextOfTenFiles) {
  for (int i = 0; i < 10; ++i) {
    const fs::path file = logFile("03072026", i);
    TRACE_INFO("line " << i);
    fillUp(file, kTraceMaxSize - (i == 0 ? 0 : 1));
    if (i != 0) TRACE_INFO("reaches the cap");  // one byte below it is not full yet
    ASSERT_FALSE(fs::exists(logFile("03072026", i + 1)));
    TRACE_INFO("last of " << i);
    const std::string text = contentsOf(file);
    EXPECT_TRUE(text.ends_with("last of " + std::to_string(i) + "\n")) << i;
    EXPECT_EQ(text.substr(0, kTraceHeaderLength), header(text.size()));
  }
  TRACE_INFO("line 10");
  EXPECT_THAT(linesOf(logFile("03072026", 0)), ElementsAre(HasSubstr("line 10")));  // the older one is gone
  EXPECT_THAT(linesOf(logFile("03072026", 9)).front(), HasSubstr("line 9"));
}

TEST_F(TraceTest, ChangeOfDateOpensTheNewDaysFirstFile) {
  TRACE_INFO("before");
  fillUp(logFile("03072026", 0), kTraceMaxSize);
  TRACE_INFO("fills index 0");
  setClock("2026-03-08 00:00:00");
  TRACE_INFO("first after midnight");  // still into the open file: the date is looked at after the line
  TRACE_INFO("second after midnight");
  setClock("2026-04-08 00:00:00");  // the same day of another month
  TRACE_INFO("a month later");
  TRACE_INFO("and on");
  EXPECT_THAT(linesOf(logFile("03072026", 1)), ElementsAre(HasSubstr("first after midnight")));
  EXPECT_THAT(linesOf(logFile("03082026", 0)),
              ElementsAre(HasSubstr("second after midnight"), HasSubstr("a month later")));
  EXPECT_THAT(linesOf(logFile("04082026", 0)), ElementsAre(HasSubstr("and on")));
}

TEST_F(TraceTest, DamagedFileIsContinuedWhereItsTextEnds) {
  const fs::path file = logFile("03072026", 0);
  TRACE_INFO("lost");
  fs::resize_file(file, 0);
  TRACE_INFO("after the damage");
  EXPECT_EQ(linesOf(file).size(), 1U);
  for (const char* damage : {"garbage", "31", "99999999999999999999999", "123456"}) {
    std::ofstream(file, std::ios::app | std::ios::binary) << "by another hand\n";
    std::fstream(file, std::ios::in | std::ios::out | std::ios::binary) << std::string(damage) + std::string(8, ' ');
    TRACE_INFO("after the damage");
    EXPECT_EQ(contentsOf(file).substr(0, kTraceHeaderLength), header(sizeOf(file))) << damage;
    const auto lines = linesOf(file);
    EXPECT_EQ(lines[lines.size() - 2], "by another hand") << damage;
    EXPECT_THAT(lines.back(), HasSubstr("after the damage"));
  }
}

TEST_F(TraceTest, FileThatCannotBeOpenedDropsLines) {
  fs::remove_all(logDirectory());
  std::ofstream(logDirectory()) << "not a directory";
  ::testing::internal::CaptureStdout();
  TRACE_ERROR("nowhere to go");
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  fs::remove(logDirectory());
  setClock("2026-03-08 00:00:00");  // the next file's turn
  TRACE_ERROR("still nowhere");
  TRACE_ERROR("somewhere");
  EXPECT_THAT(linesOf(logFile("03082026", 0)), ElementsAre(HasSubstr("somewhere")));
}

class TraceFileTest : public TraceTest {
 protected:
  TraceFileTest() { fs::create_directories(logDirectory()); }
  std::string text(const char* name) const { return contentsOf(logDirectory() / name); }
};

TEST_F(TraceFileTest, ManagerSharesAFileByNameAndFlushesItWhenItCloses) {
  CTraceFileMgr manager;
  CTraceFile* const file = manager.open("/log/own", 0, false, 3);
  EXPECT_EQ(manager.open("/log/own", 0, false, 3), file);
  EXPECT_EQ(manager.count(), 1);
  CTraceFile* const other = manager.open("/log/other", 0, false, 1);
  EXPECT_NE(other, file);

  manager.write(file, "Log", "Error", "one");
  manager.write(file, nullptr, "Error", "two");  // without a module there is no level
  EXPECT_EQ(text("own"), header(32));
  manager.write(file, "Log", nullptr, "three");
  const std::string three = text("own");
  EXPECT_THAT(three, HasSubstr("] Error:one\n"));
  EXPECT_THAT(three, HasSubstr("] two\n"));
  EXPECT_THAT(three, HasSubstr("] three\n"));

  manager.write(file, "Log", "Error", "four");
  manager.refresh_settings(0, 2);  // what is pending is not lost with the buffer
  EXPECT_THAT(text("own"), HasSubstr("four\n"));
  manager.write(file, "Log", "Error", "five");
  manager.close(file);
  EXPECT_TRUE(text("own").ends_with("five\n"));
  manager.close(file);  // no longer in the list
  EXPECT_NE(manager.open("/log/own", 0, false, 1), nullptr);
  EXPECT_EQ(text("own"), header(32));  // truncated
  EXPECT_EQ(manager.count(), 3);
}

TEST_F(TraceFileTest, SharedFileIsKeptRepairedAndUsedAgainFromItsStart) {
  const fs::path path = logDirectory() / "shared";
  {
    CTraceFile file("/log/shared", 400, true);
    ::testing::internal::CaptureStdout();
    file.write("Log", "Info", "from one");
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "");
  }
  CTraceFile file("/log/shared", 400, true);
  file.write("Log", "Info", "from another");
  EXPECT_THAT(linesOf(path), ElementsAre(HasSubstr("from one"), HasSubstr("from another")));
  EXPECT_EQ(fs::status(path).permissions(), static_cast<fs::perms>(0666));

  std::fstream(path, std::ios::in | std::ios::out | std::ios::binary) << header(5000);
  file.write("Log", "Info", "after a bad header");
  EXPECT_EQ(linesOf(path).size(), 3U);

  while (fs::file_size(path) < 400) file.write("Log", "Info", "more");
  const size_t size = sizeOf(path);
  file.write("Log", "Info", "from the start again");
  EXPECT_EQ(fs::file_size(path), size);
  EXPECT_THAT(linesOf(path).front(), HasSubstr("from the start again"));
  EXPECT_EQ(contentsOf(path).substr(0, 32), header(32 + linesOf(path).front().size() + 1));
}

}  // namespace
