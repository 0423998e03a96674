// The register map in the test's own process: requests as intake hands them over, and what the worker made of them.
#pragma once

#include <string>
#include <vector>

#include "support/report_listener.h"

namespace testing_support {

struct Answer {
  int result;
  uint8_t ack;
  ByteVector data;  // of a read's reply
  bool operator==(const Answer&) const = default;
};
void PrintTo(const Answer& answer, std::ostream* out);

class SpaceTest : public ReportingTest {
 protected:
  SpaceTest();

  static Answer send(TIRK_MCUC::IMD_proto3rd request);
  static Answer read(uint32_t address, uint16_t length) { return send(readRequest(address, length)); }
  static Answer write(uint32_t address, const ByteVector& data) { return send(writeRequest(address, data)); }
  // Waits until the worker is idle: the handlers of the items queued since the last call, in order.
  std::vector<std::string> applied();  // "Sprocess_DoBackupInfo"

 private:
  size_t m_logRead = 0;
  size_t m_markers = 0;
};

inline Answer done(const ByteVector& data = {}) {
  return {0, 0, data};
}
inline Answer refused(int result) {
  return {result, 4, {}};
}

}  // namespace testing_support
