#include "support/space_fixture.h"

#include <ostream>
#include <sstream>
#include <stdexcept>

#include "process/processkeys.h"
#include "process/tprocess_ctl.h"
#include "stub/stubutil.h"
#include "support/waiting.h"

namespace testing_support {

using namespace TIRK_MCUC;

void PrintTo(const Answer& answer, std::ostream* out) {
  *out << "result " << answer.result << ", ack " << int{answer.ack} << ", " << answer.data.size()
       << " bytes: " << toHex(answer.data);
}

SpaceTest::SpaceTest() {
  Tshl_ctl::getInstance()->initialize();
  Tprocess_ctl::getInstance()->initialize();
  if (!StubUtil::getInstance()->creatProcess()) throw std::runtime_error("creatProcess");
}

Answer SpaceTest::send(IMD_proto3rd request) {
  const bool reads = request.proto.m_ucCode == kCodeRead;
  const int result = Tshl_ctl::getInstance()->Ssh_StartSendCard(&request);
  return {result, request.proto.m_ucAck, reads ? request.proto.m_data : ByteVector{}};
}

std::vector<std::string> SpaceTest::applied() {
  // An item whose handler only writes a line: when it is there, everything before it has been applied.
  auto marker = std::make_unique<MCUProcessDataBlock>();
  const uint8_t nothing[6] = {};
  marker->setData(nothing, sizeof nothing);
  marker->m_key = SendtoScanCardKey;
  StubUtil::getInstance()->addMessageToList(std::move(marker));
  ++m_markers;
  if (!waitUntil([&] { return logged("Sprocess_SendtoScanCard enter:") == m_markers; }))
    throw std::runtime_error("worker");

  // Its handler has ended, so that the test may look at what the worker alone uses.
  CMutexGuardT guard(Tprocess_ctl::getInstance()->m_mutex);
  const std::string all = log();
  std::istringstream text(all.substr(m_logRead));
  m_logRead = all.size();
  std::vector<std::string> handlers;
  for (std::string line; std::getline(text, line);) {
    const size_t name = line.find("Begin Sprocess_");
    if (name != std::string::npos) handlers.push_back(line.substr(name + 6, line.find(' ', name + 6) - name - 6));
  }
  return handlers;
}

}  // namespace testing_support
