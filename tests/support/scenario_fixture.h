// A daemon whose FPGA is loaded and whose monitoring cycle runs, with verbs for what can be seen of it from outside.
#pragma once

#include <string>
#include <vector>

#include "support/daemon_fixture.h"

namespace testing_support {

constexpr const char* kLoadsAtOnce = "journal = on\nfpga_load_ms = 20\n";
constexpr const char* kFpgaFlagFile = "root/etc/init.d/flag_fpgaload";

// What a reply says about a request.
struct Reply {
  uint8_t ack = 0xFF;
  uint32_t result = 0;  // of the envelope
  ByteVector data;
  bool operator==(const Reply&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Reply& reply);

// A report: the register and its bytes in hexadecimal, "0x0200001f 01".
std::vector<std::string> reports(kadctl::BusClient& listener, int quietMs);
// Takes messages until that report comes; false when it does not within 10 s.
bool heard(kadctl::BusClient& listener, const std::string& report);

class RunningDaemonTest : public DaemonTest {
 protected:
  explicit RunningDaemonTest(std::string config = kLoadsAtOnce, std::string option = "-debug")
      : DaemonTest(std::move(config), std::move(option)) {}
  void SetUp() override;
  // Waits until the FPGA has been restored and a cycle has run; forgets the journal.
  void ready();

  Reply askRead(uint32_t address, uint16_t length, const kadctl::Target& target = {});
  Reply askWrite(uint32_t address, const ByteVector& data, const kadctl::Target& target = {});
  static Reply ask(kadctl::BusClient& who, const TIRK_MCUC::ThirdProtoMCUCMsg& request, int timeoutMs = 5000);

  // What the daemon did since the last call, replies to clients left out. Call it when it has settled.
  std::vector<std::string> effects();
  // How many lines of that level contain the text.
  size_t logged(const std::string& level, const std::string& text) const;
  bool waitLogged(const std::string& level, const std::string& text, size_t times = 1) const;
  // The wall's description as the host tool writes it; its calculation is due 200 to 400 ms later.
  static ByteVector basicScreen(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode = 0);
  Reply writeScreen(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode = 0);
  // Waits for a reboot that is due, and until the daemon answers again.
  void waitReboot();

  static constexpr uint32_t kScreenFields = 0x02810011;
};

}  // namespace testing_support
