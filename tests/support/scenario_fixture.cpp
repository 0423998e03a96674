#include "support/scenario_fixture.h"

#include <algorithm>
#include <cstdio>
#include <ostream>
#include <sstream>

namespace testing_support {

using namespace TIRK_MCUC;

namespace {

// Of a line of the journal: a message to a task that is none of the device's daemons.
bool isReply(const std::string& line) {
  constexpr const char* kReports[] = {"0a3900", "0a3700", "0a3a00"};
  return line.rfind("ipc s 0x", 0) == 0 &&
         std::count(std::begin(kReports), std::end(kReports), line.substr(10, 6)) == 0;
}

std::string reportText(const kadctl::Message& message) {
  char address[16];
  std::snprintf(address, sizeof address, "0x%08x ", message.frame.m_uiRegisterUnitAddress);
  return address + toHex(message.frame.m_data);
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Reply& reply) {
  return out << "ack " << int{reply.ack} << " result " << reply.result << " data " << toHex(reply.data);
}

std::vector<std::string> reports(kadctl::BusClient& listener, int quietMs) {
  std::vector<std::string> lines;
  while (const auto message = listener.receive(quietMs)) lines.push_back(reportText(*message));
  return lines;
}

bool heard(kadctl::BusClient& listener, const std::string& report) {
  return waitUntil([&] {
    const auto message = listener.receive(1000);
    return message && reportText(*message) == report;
  });
}

void RunningDaemonTest::SetUp() {
  DaemonTest::SetUp();
  ready();
}

void RunningDaemonTest::ready() {
  ASSERT_TRUE(waitUntil([this] {
    for (const auto& line : journal())
      if (line.rfind("ipc s 0x010a3900 ", 0) == 0 && line.find("00000014") != std::string::npos) return true;
    return false;
  })) << "the FPGA was not restored";
  settle(250);
  monitor("journal clear");
}

Reply RunningDaemonTest::ask(kadctl::BusClient& who, const ThirdProtoMCUCMsg& request, int timeoutMs) {
  const auto reply = who.ask(request, timeoutMs);
  if (!reply) throw std::runtime_error("no reply");
  return {reply->frame.m_ucAck, reply->envelope.result, reply->frame.m_data};
}

Reply RunningDaemonTest::askRead(uint32_t address, uint16_t length, const kadctl::Target& target) {
  return ask(client(), kadctl::BusClient::request(kCodeRead, address, length, {}, target));
}

Reply RunningDaemonTest::askWrite(uint32_t address, const ByteVector& data, const kadctl::Target& target) {
  return ask(client(),
             kadctl::BusClient::request(kCodeWrite, address, static_cast<uint16_t>(data.size()), data, target));
}

std::vector<std::string> RunningDaemonTest::effects() {
  std::vector<std::string> lines = journal();
  monitor("journal clear");
  std::erase_if(lines, isReply);
  return lines;
}

size_t RunningDaemonTest::logged(const std::string& level, const std::string& text) const {
  std::istringstream lines(log());
  size_t count = 0;
  for (std::string line; std::getline(lines, line);)
    if (line.find("] " + level + ":") != std::string::npos && line.find(text) != std::string::npos) ++count;
  return count;
}

bool RunningDaemonTest::waitLogged(const std::string& level, const std::string& text, size_t times) const {
  return waitUntil([&] { return logged(level, text) >= times; });
}

ByteVector RunningDaemonTest::basicScreen(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode) {
  return ByteVector{mode, 0, 0, 0, 0, rows, columns} + word(cabinets);
}

Reply RunningDaemonTest::writeScreen(uint8_t rows, uint8_t columns, uint16_t cabinets, uint8_t mode) {
  return askWrite(kScreenFields, basicScreen(rows, columns, cabinets, mode));
}

void RunningDaemonTest::waitReboot() {
  ASSERT_TRUE(waitUntil([this] {
    try {
      monitor("bus");
      return false;
    } catch (const kadctl::ClientError&) {
      return true;  // the console of the process that was
    }
  })) << "no reboot";
  connect();
}

}  // namespace testing_support
