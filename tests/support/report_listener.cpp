#include "support/report_listener.h"

#include <cstdio>
#include <ostream>
#include <stdexcept>

#include "apipc.h"
#include "driverutil.h"
#include "stub/stubutil.h"
#include "support/waiting.h"

namespace testing_support {

using namespace TIRK_MCUC;

void PrintTo(const Report& report, std::ostream* out) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X:", report.address);
  *out << text;
  for (const int byte : report.data) {
    std::snprintf(text, sizeof text, " %02X", static_cast<unsigned>(byte));
    *out << text;
  }
}

ReportingTest::ReportingTest() {
  DriverUtil::getInstance()->initialize();
  if (apipc_init(taskIdentifier(kTaskKadrend), 0) != 0) throw std::runtime_error("apipc_init");
  if (!StubUtil::getInstance()->creatIMDComm()) throw std::runtime_error("creatIMDComm");
  // The threads have said all that they say by themselves: from now on the log is the test's.
  if (!waitUntil(
          [this] { return logged("Apipc ipc_event_deal_th begin...") && logged("Apipc: begin wait message..."); })) {
    throw std::runtime_error("the link's threads have not begun");
  }
  clearJournal();
}

// A report is in the listener's socket when the operation that sent it returns.
std::vector<kadctl::Message> ReportListener::messages() {
  std::vector<kadctl::Message> all;
  while (auto message = m_client.receive(0)) all.push_back(*message);
  return all;
}

std::vector<Report> ReportListener::take() {
  std::vector<Report> reports;
  for (const auto& message : messages()) {
    reports.push_back({message.frame.m_uiRegisterUnitAddress, message.frame.m_data});
  }
  return reports;
}

}  // namespace testing_support
