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

void PrintTo(const Applied& applied, std::ostream* out) {
  *out << applied.handler << " " << applied.record;
}

Applied appliedWrite(const std::string& handler, uint32_t address, const ByteVector& data) {
  const HexText<1536> hexText{Bytes(data)};
  return {handler, std::to_string(address) + " len: " + std::to_string(data.size()) +
                       " data:" + static_cast<const char*>(hexText)};
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

std::vector<Applied> SpaceTest::applied() {
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
  std::vector<Applied> items;
  for (std::string line; std::getline(text, line);) {
    const size_t name = line.find("Begin Sprocess_");
    if (name != std::string::npos) items.push_back({line.substr(name + 6, line.find(' ', name + 6) - name - 6), ""});
    const size_t record = line.find("  Register: ");
    if (record != std::string::npos && !items.empty() && line.find("Process key: ") != std::string::npos)
      items.back().record = line.substr(record + 12);
  }
  return items;
}

}  // namespace testing_support
