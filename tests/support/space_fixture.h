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

// A queued item as its handler got it.
struct Applied {
  std::string handler;  // "Sprocess_DoBackupInfo"
  std::string record;   // "ADDRESS len: LENGTH data:HEX", empty for a command record
  bool operator==(const Applied&) const = default;
};
void PrintTo(const Applied& applied, std::ostream* out);
// What `applied` tells of a write of `data` at `address`.
Applied appliedWrite(const std::string& handler, uint32_t address, const ByteVector& data);

class SpaceTest : public ReportingTest {
 protected:
  SpaceTest();

  static Answer send(TIRK_MCUC::IMD_proto3rd request);
  static Answer read(uint32_t address, uint16_t length) { return send(readRequest(address, length)); }
  static Answer write(uint32_t address, const ByteVector& data) { return send(writeRequest(address, data)); }
  // Waits until the worker is idle: the items queued since the last call, in order.
  std::vector<Applied> applied();

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
