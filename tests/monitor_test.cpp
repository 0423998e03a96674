// The console of the board: what it refuses, the longest line, and clients that are slow.
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "support/board_fixture.h"
#include "support/waiting.h"
#include "virtual/sockets.h"

namespace testing_support {
namespace {

using Lines = std::vector<std::string>;

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
  vboard::Descriptor m_socket;
  std::string m_pending;
};

class Monitor : public BoardTest {
 protected:
  Lines ask(const std::string& command) { return m_console.ask(command); }
  void expect(const std::string& command, const Lines& answer) { EXPECT_EQ(ask(command), answer) << command; }
  void expectError(const std::string& command, const std::string& text) { expect(command, {"error: " + text}); }

  Console m_console;
};

TEST_F(Monitor, RefusesWhatItDoesNotUnderstand) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "unknown command, \"help\" lists them"},
      {"fpga read 0", "LEN is missing"},
      {"fpga write 0 abc", "HEX is no even number of hexadecimal digits"},
      {"env get nobody", "no such key"},
      {"cards 16 1 8 8", "PORT must be 0..15"},
      {"card read box 0 0 0 1", "KIND must be recv, multi, dist or 3d"},
      {"card read recv 0 0 0 1", "no such card, or no link to it (-1)"},
      {"clock set 2024-02-30 12:00:00", "no time of the form YYYY-MM-DD HH:MM:SS"},
      {"fail nothing 1", "no such OP"},
      {"fail light 1 2147483648", "CODE is no number of 32 bits"},
  };
  for (const auto& [command, error] : cases) expectError(command, error);
  expect("fail light 1 -2147483648", {"ok"});
}

TEST_F(Monitor, TakesALineOfAMebibyteAndNoLonger) {
  const std::string start = "fpga write 0x1000 ";
  const std::string longest = start + std::string((1U << 20) - start.size(), 'a');
  expect(longest, {"ok"});
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

TEST_F(Monitor, ClientsLeaveDescriptorsToTheDaemon) {
  constexpr rlimit kFew{100, 100};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &kFew), 0);
  std::vector<Console> clients(10);
  while (clients.size() < 50 && clients.back().ask("env get firstboot") == Lines{"0", "ok"}) clients.emplace_back();
  EXPECT_EQ(clients.back().ask("help"), Lines{"(nothing)"}) << "it was told why, and hung up on";
  EXPECT_LT(clients.size(), 50U);
  expect("env set a b", {"ok"});
  clients.clear();
  EXPECT_TRUE(waitUntil([] { return Console().ask("env get a") == Lines{"b", "ok"}; }));
}

}  // namespace
}  // namespace testing_support
