// The register write record: the payload of a queued register write, little-endian.
// 0 register address (4), 4 valid data length (2), 6 data.
#pragma once

#include <optional>
#include <vector>

#include "mcucbytes.h"

namespace TIRK_MCUC {

constexpr int kWriteRecordHeader = 6;

struct WriteRecord {
  uint32_t address = 0;
  uint16_t length = 0;  // == data.size() after decode
  Bytes data;
};

// Empty when the payload is shorter than 6 bytes or than 6 + its own length field. `data` points into the payload.
std::optional<WriteRecord> decodeWriteRecord(Bytes payload);

// Encodes the header and all of `data`; the length field is `length`, the request's own.
std::vector<uint8_t> encodeWriteRecord(uint32_t address, uint16_t length, Bytes data);

}  // namespace TIRK_MCUC
