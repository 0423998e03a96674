#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

#include "apipc.h"
#include "boardaccess.h"
#include "llinput.h"
#include "support/board_fixture.h"
#include "sysconfenv.h"
#include "virtual/bus.h"
#include "virtual/sockets.h"

namespace testing_support {
namespace {

using vboard::board;
using vboard::Descriptor;

using Lines = std::vector<std::string>;

int64_t nowMs() {
  return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
      .count();
}

// A client of the console.
class Console {
 public:
  Console() : m_socket(vboard::connectSocket(SOCK_STREAM, "monitor")) { EXPECT_TRUE(m_socket); }

  void send(std::string_view text) {
    while (!text.empty()) {
      const ssize_t sent = ::send(m_socket.get(), text.data(), text.size(), MSG_NOSIGNAL);
      if (sent <= 0) return;
      text.remove_prefix(static_cast<size_t>(sent));
    }
  }
  // The next line, without its end; "(nothing)" when none comes within ten seconds or the console hung up.
  std::string line() {
    size_t searched = 0, end = 0;
    while ((end = m_pending.find('\n', searched)) == std::string::npos) {
      searched = m_pending.size();
      pollfd input{m_socket.get(), POLLIN, 0};
      char buffer[65536];
      const ssize_t got = ::poll(&input, 1, 10000) > 0 ? ::recv(m_socket.get(), buffer, sizeof buffer, 0) : 0;
      if (got <= 0) return "(nothing)";
      m_pending.append(buffer, static_cast<size_t>(got));
    }
    std::string out = m_pending.substr(0, end);
    m_pending.erase(0, end + 1);
    return out;
  }
  // The answer with the "ok" or the error that closes it.
  Lines answer() {
    Lines out;
    do {
      out.push_back(line());
    } while (out.back() != "ok" && !out.back().starts_with("error: ") && out.back() != "(nothing)");
    return out;
  }
  Lines ask(const std::string& command) {
    send(command + "\n");
    return answer();
  }
  void endOfInput() { ::shutdown(m_socket.get(), SHUT_WR); }
  bool silent() const { return m_pending.empty() && !readable(); }
  bool readable() const {
    pollfd input{m_socket.get(), POLLIN, 0};
    return ::poll(&input, 1, 0) > 0;
  }

 private:
  Descriptor m_socket;
  std::string m_pending;
};

class Monitor : public BoardTest {
 protected:
  using BoardTest::BoardTest;
  Lines ask(const std::string& command) { return m_console.ask(command); }
  void expect(const std::string& command, const Lines& answer) { EXPECT_EQ(ask(command), answer) << command; }
  void expectOk(const std::string& command) { expect(command, {"ok"}); }
  void expectError(const std::string& command, const std::string& text) { expect(command, {"error: " + text}); }

  Console m_console;
};

TEST_F(Monitor, ReadsAndWritesTheMemories) {
  expectOk("fpga write 0x1E 0A0b0c");  // a status register, too
  expect("fpga read 30 3", {"0a0b0c", "ok"});
  EXPECT_EQ(fpga(0x1E, 3), bytes({0x0A, 0x0B, 0x0C}));
  expectOk("  fpga \t write 0x0FFFFFFF ff\r");
  expect("fpga read 0xFFFFFFE 2", {"00ff", "ok"});
  expectOk("flash write 0x1FFFFFF 12");
  expect("flash read 33554430 2", {"ff12", "ok"});
  const Lines pieces = ask("flash read 0x1E00001 0x1FFFFF");
  ASSERT_EQ(pieces.size(), 2U);
  EXPECT_EQ(pieces[0].size(), 2U * 0x1FFFFF);
  EXPECT_EQ(pieces[0].substr(pieces[0].size() - 4), "ff12");

  expectError("fpga read 0x10000000 1", "ADDR must be 0..268435455");
  expectError("fpga read 0x0FFFFFFF 2", "ADDR and LEN leave the 268435456 bytes");
  expectError("fpga read 0 0", "LEN must be 1..268435456");
  expectError("fpga write 0x0FFFFFFF 0102", "ADDR and HEX leave the 268435456 bytes");
  expectError("flash write 0x1FFFFFF 0102", "ADDR and HEX leave the 33554432 bytes");
  EXPECT_EQ(fpga(0x0FFFFFFF, 1), bytes({0xFF}));
}

TEST_F(Monitor, RefusesWhatItDoesNotUnderstand) {
  struct Case {
    const char* command;
    const char* error;
  };
  const Case cases[] = {
      {"", "unknown command, \"help\" lists them"},
      {"frobnicate", "unknown command, \"help\" lists them"},
      {"fpga", "unknown command, \"help\" lists them"},
      {"fpga readx 0 1", "unknown command, \"help\" lists them"},
      {"Help", "unknown command, \"help\" lists them"},
      {"help me", "too many words"},
      {"fpga read", "ADDR is missing"},
      {"fpga read 0", "LEN is missing"},
      {"fpga read 0 1 2", "too many words"},
      {"fpga read -1 1", "ADDR is no decimal or 0x-hexadecimal number"},
      {"fpga read +1 1", "ADDR is no decimal or 0x-hexadecimal number"},
      {"fpga read 1f 1", "ADDR is no decimal or 0x-hexadecimal number"},
      {"fpga read 0x 1", "ADDR is no decimal or 0x-hexadecimal number"},
      {"fpga read 0x1g 1", "ADDR is no decimal or 0x-hexadecimal number"},
      {"fpga read 0 99999999999999999999", "LEN is no decimal or 0x-hexadecimal number"},
      {"fpga write 0", "HEX is missing"},
      {"fpga write 0 abc", "HEX is no even number of hexadecimal digits"},
      {"fpga write 0 0x12", "HEX is no even number of hexadecimal digits"},
      {"fpga write 0 -1", "HEX is no even number of hexadecimal digits"},
      {"fpga write 0 12 34", "too many words"},
      {"env get", "KEY is missing"},
      {"env get nobody", "no such key"},
      {"env set key", "VALUE is missing"},
      {"env set a=b c", "cannot be stored (-1)"},
      {"env unset nobody", "no such key (-1)"},
      {"cards 16 1 8 8", "PORT must be 0..15"},
      {"cards 0 65536 8 8", "COUNT must be 0..65535"},
      {"cards 0 1", "WIDTH is missing"},
      {"cards 0 1 65536 8", "WIDTH must be 0..65535"},
      {"card read box 0 0 0 1", "KIND must be recv, multi, dist or 3d"},
      {"card read recv 256 0 0 1", "PORT must be 0..255"},
      {"card read recv 0 65536 0 1", "BOARD must be 0..65535"},
      {"card read recv 0 0 0x100000000 1", "ADDR must be 0..4294967295"},
      {"card read recv 0 0 0 1", "no such card, or no link to it (-1)"},
      {"card write recv 0 0 0xFFFFFFFF 0102", "cannot be written (-1)"},
      {"link radio 1", "a link is copper, fiber1 or fiber2"},
      {"link copper 0x10000", "MASK must be 0..65535"},
      {"light board", "RAW is missing"},
      {"light board 65536", "RAW must be 0..65535"},
      {"light board fail 1", "too many words"},
      {"light card 0 65535 0 off", "BOARD must be 0..65534"},
      {"light card 0 0 256 off", "SENSOR must be 0..255"},
      {"light card 0 0 0 fail", "RAW is no decimal or 0x-hexadecimal number"},
      {"input 7", "SLOT must be 0..6"},
      {"clock set 2024-02-30 12:00:00", "no time of the form YYYY-MM-DD HH:MM:SS"},
      {"clock set 2024-2-3 12:00:00", "no time of the form YYYY-MM-DD HH:MM:SS"},
      {"clock set 2024-02-03 24:00:00", "no time of the form YYYY-MM-DD HH:MM:SS"},
      {"clock set 2024-02-03", "HH:MM:SS is missing"},
      {"fail nothing 1", "no such OP"},
      {"fail light 1 0", "CODE must not be 0"},
      {"fail light 1 2147483648", "CODE is no number of 32 bits"},
      {"journal", "unknown command, \"help\" lists them"},
      {"idle", "MS is missing"},
      {"reboot now", "too many words"},
  };
  for (const Case& c : cases) expectError(c.command, c.error);
  const Lines all = ask("help");
  EXPECT_GE(all.size(), 24U);
  EXPECT_EQ(all.back(), "ok");
}

TEST_F(Monitor, ShowsAndChangesTheEnvironmentCardsAndLight) {
  expectOk("env set key  two words ");
  expect("env get key", {"two words", "ok"});
  expectOk("env unset key");
  expectError("env get key", "no such key");

  expectOk("cards 1 4 128 64");
  expect("fpga read 0x1F 1", {"02", "ok"});
  expect("card read recv 1 3 0x02000017 4", {"80004000", "ok"});
  expectOk("card write recv 255 0xFFFF 0x100 aabb");
  expect("card read recv 1 0 0xff 4", {"00aabb00", "ok"});
  expectOk("link copper 0");
  expectError("card read recv 1 0 0x100 1", "no such card, or no link to it (-1)");
  expectOk("link fiber2 2");
  expect("card read recv 1 0 0x100 1", {"aa", "ok"});
  expectOk("fpga write 0x1F4 00");
  expect("card read recv 1 0 0x100 1", {"aa", "ok"});  // the other register still says so
  expectOk("fpga write 0xF04002 00");
  expectError("card read recv 1 0 0x100 1", "no such card, or no link to it (-1)");
  expectOk("card write dist 9 2 0x10 07");
  expect("card read dist 9 2 0x10 1", {"07", "ok"});  // the card itself is asked, not the port
  expectOk("cards 1 0 0 0");
  expectOk("cards 1 0");

  uint16_t light = 0;
  EXPECT_NE(ll_get_Illuminance_value(0, &light), 0);
  expectOk("light board 0x8064");
  EXPECT_EQ(ll_get_Illuminance_value(0, &light), 0);
  EXPECT_EQ(light, 0x8064);
  expectOk("light board fail");
  EXPECT_NE(ll_get_Illuminance_value(0, &light), 0);
  expectOk("light card 2 1 0 300");
  expectOk("card write multi 2 1 0x06000000 0000000055aa010280ff81");
  expect("card read multi 2 1 0x06000000 5", {"0102812caf", "ok"});
  expectOk("light card 2 1 0 off");
  expect("card read multi 2 1 0x06000000 2", {"0000", "ok"});

  expect("input 3", {"none", "ok"});
  const Lines input = ask("input 1");
  ASSERT_EQ(input.size(), 2U);
  EXPECT_TRUE(input[0].starts_with("hdmi14 "));
  const auto id = static_cast<uint32_t>(std::stoul(input[0].substr(7)));
  ASSERT_EQ(ll_initial(), 0);
  ASSERT_EQ(ll_input_set_edid(id, repeated(256, 0xA5).data(), 256), 0);
  std::string hex;
  for (int i = 0; i < 256; ++i) hex += "a5";
  expect("input 1", {input[0], hex, "ok"});
}

TEST_F(Monitor, ShowsAndSetsTheClock) {
  ::setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  ::tzset();
  expectOk("clock set 2024-02-29 23:59:58");
  const std::string now = ask("clock")[0];
  EXPECT_TRUE(now == "2024-02-29 23:59:58" || now.starts_with("2024-02-29 23:59:59") ||
              now.starts_with("2024-03-01 00"))
      << now;
  char text[32];
  expectOk("clock set 2024-07-01 10:00:00");  // in summer
  ASSERT_EQ(sysconf_get_date_hms(text), 0);
  EXPECT_EQ(std::string(text).substr(0, 5), "10:00");
  ASSERT_EQ(sysconf_get_date_ymd(text), 0);
  EXPECT_STREQ(text, "2024-07-01");
  expectError("clock set 2024-03-31 02:30:00", "no time of the form YYYY-MM-DD HH:MM:SS");  // an hour that is left out
}

TEST_F(Monitor, FaultsAndJournalAreTheDaemonsAlone) {
  expectOk("journal clear");
  for (const char* op : {"fpga-read", "fpga-write", "flash-read", "flash-write", "card-read", "card-write", "env-get",
                         "env-set", "light"}) {
    expectOk(std::string("fail ") + op + " 1 -9");
  }
  expectOk("cards 0 1 8 8");
  expectOk("fpga write 0x1234 01");
  expect("fpga read 0x1234 1", {"01", "ok"});
  expectOk("flash write 0xB98000 02");
  expect("flash read 0xB98000 1", {"02", "ok"});
  expectOk("card write recv 0 0 0 03");
  expect("card read recv 0 0 0 1", {"03", "ok"});
  expectOk("env set k v");
  expect("env get k", {"v", "ok"});
  expectOk("light board 1");
  expect("journal show", {"ok"});

  const uint8_t byte = 7;
  EXPECT_EQ(WriteFPGABlock(1, 0x1234, 1, &byte), -9);
  EXPECT_EQ(WriteFPGABlock(1, 0x1234, 1, &byte), 0);
  expect("journal show", {"fpga w 0x00001234 1 07 failed -9", "fpga w 0x00001234 1 07", "ok"});
  expectOk("fail flash-write 0");
  expectOk("fail fpga-write 2 0x10");
  EXPECT_EQ(WriteFPGABlock(1, 0x1234, 1, &byte), 16);
  expectOk("journal off");
  EXPECT_EQ(WriteFPGABlock(1, 0x1234, 1, &byte), 16);
  EXPECT_EQ(ask("journal show").size(), 4U);
  expectOk("journal clear");
  expectOk("journal on");
  EXPECT_EQ(WriteFPGABlock(1, 0x1234, 1, &byte), 0);
  expect("journal show", {"fpga w 0x00001234 1 07", "ok"});
}

TEST_F(Monitor, CountsMessages) {
  const Descriptor peer = vboard::bindSocket(SOCK_DGRAM, vboard::taskFile(0x010C0001));
  const ByteVector message(28, 0);
  for (const uint32_t task : {0x010C0001U, 0x010C0001U, 0x010C0002U}) {
    apipc_send(task, message.data(), static_cast<uint32_t>(message.size()));
  }
  expect("bus", {"received 0", "sent 2", "refused 1", "dropped 0", "ok"});
}

TEST_F(Monitor, IdleWaitsForTheDaemonToComeToRest) {
  const auto timed = [this](const std::string& command) {
    const int64_t start = nowMs();
    expectOk(command);
    return nowMs() - start;
  };
  timed("idle 100");
  EXPECT_LT(timed("idle 100"), 90);  // it is quiet already; the monitor's own commands do not count
  expectOk("fpga write 0 01");
  EXPECT_LT(timed("idle 100"), 90);

  std::atomic<bool> stop{false};
  std::thread daemon([&stop] {
    const uint8_t byte = 1;
    for (const int64_t end = nowMs() + 300; nowMs() < end;) {
      WriteFPGABlock(1, 0, 1, &byte);
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    stop = true;
  });
  EXPECT_GE(timed("idle 0"), 0);
  const uint8_t byte = 2;
  WriteFPGABlock(1, 0, 1, &byte);
  EXPECT_GE(timed("idle 100"), 95);
  EXPECT_TRUE(stop);
  daemon.join();

  // A message that waits for the daemon is activity, too.
  ASSERT_EQ(apipc_init(0x010A4200, 0), 0);
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const Descriptor client = vboard::connectSocket(SOCK_DGRAM, vboard::taskFile(0x010A4200));
  const ByteVector message(28, 0);
  ASSERT_EQ(::send(client.get(), message.data(), message.size(), 0), 28);
  Console other;
  other.send("idle 20\n");
  std::this_thread::sleep_for(std::chrono::milliseconds(100));
  EXPECT_TRUE(other.silent());
  std::thread([] {
    apipc_loop_wait(nullptr, [](void*, void*, apipc_msg_t* received, int) {
      apipc_que_detach(received, nullptr);
      return 0;
    });
  }).detach();
  EXPECT_EQ(other.answer(), Lines{"ok"});
}

TEST_F(Monitor, TakesALineOfAMebibyteAndNoLonger) {
  const std::string start = "fpga write 0x1000 ";
  const std::string longest = start + std::string((1U << 20) - start.size(), 'a');
  expectOk(longest);
  EXPECT_EQ(fpga(0x1000 + ((1U << 20) - static_cast<uint32_t>(start.size())) / 2 - 1, 2), bytes({0xAA, 0}));
  expectError(longest + "a", "a line has at most 1048576 characters");
  expectError(std::string(3U << 20, 'x'), "a line has at most 1048576 characters");
  expect("fpga read 0x1000 1", {"aa", "ok"});
}

TEST_F(Monitor, AClientHoldsUpNobody) {
  Console slow, reader, half, piped;
  slow.send("idle 100000000\n");           // never answered in time
  reader.send("flash read 0 33554432\n");  // and never read
  half.send("fpga write 0x40 01");         // the rest comes later
  piped.send("fpga write 0x41 02\nfpga read 0x41 1\nnonsense\nfpga read 0x4");
  piped.endOfInput();
  EXPECT_EQ(piped.answer(), Lines{"ok"});
  EXPECT_EQ(piped.answer(), (Lines{"02", "ok"}));
  EXPECT_EQ(piped.answer(), Lines{"error: unknown command, \"help\" lists them"});
  EXPECT_EQ(piped.answer(), Lines{"error: the last line has no end"});
  EXPECT_EQ(piped.line(), "(nothing)");
  expect("fpga read 0x40 1", {"00", "ok"});
  half.send("02\n");
  EXPECT_EQ(half.answer(), Lines{"ok"});
  expect("fpga read 0x40 2", {"0102", "ok"});
  EXPECT_TRUE(slow.silent());
}

TEST_F(Monitor, SurvivesClientsThatLeaveInMidAnswer) {
  for (int i = 0; i < 20; ++i) {
    Console gone;
    gone.send("flash read 0 33554432\nfpga write 0x80 " + std::to_string(10 + i) + "\n");
    if (i % 2 == 0) gone.readable();
  }
  expect("fpga read 0x1234 1", {"00", "ok"});
}

std::atomic<int> g_restarts{0};

TEST_F(Monitor, RebootAnswersBeforeItRestarts) {
  vboard::setRestartHandler([] { ++g_restarts; });
  expectOk("cards 2 1 16 8");
  expectOk("card write recv 2 0 0x30 55");
  expectOk("fpga write 0x4000 aa");
  expectOk("link fiber1 0x8000");
  Console other;
  expectOk("reboot");
  for (int i = 0; i < 5000 && g_restarts == 0; ++i) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_EQ(g_restarts, 1);
  EXPECT_EQ(other.ask("fpga read 0x4000 1"), (Lines{"00", "ok"}));
  EXPECT_EQ(other.ask("card read recv 2 0 0x30 1"), (Lines{"00", "ok"}));
  EXPECT_EQ(other.ask("card read recv 2 0 0x02000017 4"), (Lines{"10000800", "ok"}));
  EXPECT_EQ(other.ask("fpga read 0x1F 1"), (Lines{"04", "ok"}));
  EXPECT_EQ(other.ask("fpga read 0x1F2 2"), (Lines{"0080", "ok"}));
}

}  // namespace
}  // namespace testing_support
