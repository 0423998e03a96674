// The whole daemon in a process of its own on a temporary virtual board, with verbs for frames and the monitor console.
// KADREND_DAEMON in the environment names another build of the daemon, one with a sanitizer for example.
#pragma once

#include <gmock/gmock.h>
#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "kadctl/busclient.h"
#include "kadctl/clienterror.h"
#include "kadctl/monitorclient.h"
#include "support/bytes.h"
#include "support/temporary_directory.h"
#include "support/waiting.h"

namespace testing_support {

// The words that start a program of this build: its path, behind the emulator's where the build is for another
// processor. As a shell takes them, a blank at the end.
std::vector<std::string> command(const std::string& program);
std::string shellCommand(const std::string& program);

class DaemonTest : public ::testing::Test {
 protected:
  explicit DaemonTest(std::string config = "journal = on\n", std::string option = "-debug");
  ~DaemonTest() override;

  void spawn();    // starts the daemon and returns at once
  void start();    // and waits until the daemon answers; SetUp does it
  void kill9();    // and waits until it is gone
  void restart();  // kill9, start
  void connect();  // waits until the daemon answers, and talks to it anew: after a reboot too
  void SetUp() override { start(); }

  // Frames.
  ByteVector read(uint32_t address, uint16_t length, const kadctl::Target& target = {});
  void write(uint32_t address, const ByteVector& data, const kadctl::Target& target = {});
  uint8_t ack(const TIRK_MCUC::ThirdProtoMCUCMsg& request);  // of the reply
  // Waits until nothing has happened on the board for `ms`, what the console did before included: what was written is
  // applied, and what was changed has been noticed.
  void settle(int ms = 450);

  // The monitor console. `monitor` throws on an error; `monitorLine` is the one line of the answer.
  std::vector<std::string> monitor(const std::string& line);
  std::string monitorLine(const std::string& line);
  ByteVector fpga(uint32_t address, size_t length);
  ByteVector flash(uint32_t address, size_t length);
  void setFpga(uint32_t address, const ByteVector& bytes);
  void setFlash(uint32_t address, const ByteVector& bytes);
  std::vector<std::string> journal() { return monitor("journal show"); }

  std::string log() const { return logText(m_directory.path()); }
  std::string board() const { return m_directory.path().string(); }
  kadctl::BusClient& client() { return *m_client; }
  pid_t pid() const { return m_pid; }

  TemporaryDirectory m_directory;
  // Where the daemon's standard output goes from the next start on; empty: it is closed, and standard error too.
  std::string m_output = "/dev/null";

 private:
  std::string m_option;
  pid_t m_pid = -1;
  std::unique_ptr<kadctl::BusClient> m_client;
  std::unique_ptr<kadctl::MonitorClient> m_monitor;
  std::chrono::steady_clock::time_point m_lastCommand;
};

}  // namespace testing_support
