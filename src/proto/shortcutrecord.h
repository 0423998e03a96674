// The shortcut-configuration record at flash 0xB99000 (register 0x02810000), little-endian:
//   0 configuration status, 17 direction (the connect mode), 22 rows, 23 columns, 24 cabinets (2);
//   0x50 + 64 p: the advanced record of port p: 1 connect mode, 6 rows, 7 columns, 10 X (2), 12 Y (2).
// Pure; any thread.
#pragma once

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdint>

#include "proto/mosaicgeometry.h"

namespace TIRK_MCUC::shortcut {

constexpr size_t kStatus = 0;
constexpr size_t kDirection = 17;
constexpr size_t kRows = 22;
constexpr size_t kColumns = 23;
constexpr size_t kCabinets = 24;
constexpr size_t kBasicLength = 32;  // as it is queued
constexpr size_t kStoredBasic = 28;  // as it is read back
constexpr size_t kBasicFirst = 16;   // a write that starts here..kBasicLast asks for the basic calculation
constexpr size_t kBasicLast = 28;
constexpr size_t kPortRecords = 0x50;
constexpr size_t kPortRecordLength = 64;
constexpr size_t kPortRecordCount = 16;  // stored; ports 0..9 are calculated
constexpr size_t kLastPortField = 0x41C;

using BasicRecord = std::array<uint8_t, kBasicLength>;

constexpr MosaicRequest basicRequest(const BasicRecord& record, uint8_t masterSlave) {
  return {record[kRows], record[kColumns], readWord(&record[kCabinets]), record[kDirection], masterSlave};
}

// `area` begins at the record's start and holds the records of ports 0..9. Rows and columns of 0 are taken as 1.
inline AdvancedRequest advancedRequest(Bytes area) {
  assert(area.size() >= kPortRecords + kDataPorts * kPortRecordLength);
  AdvancedRequest request;
  for (size_t p = 0; p < kDataPorts; ++p) {
    const Bytes record = area.subspan(kPortRecords + p * kPortRecordLength, kPortRecordLength);
    request.connectMode[p] = record[1];
    request.rows[p] = std::max<uint8_t>(record[6], 1);
    request.columns[p] = std::max<uint8_t>(record[7], 1);
    request.x[p] = readWord(&record[10]);
    request.y[p] = readWord(&record[12]);
  }
  return request;
}

}  // namespace TIRK_MCUC::shortcut
