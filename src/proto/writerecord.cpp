#include "proto/writerecord.h"

#include <cstddef>

namespace TIRK_MCUC {

std::optional<WriteRecord> decodeWriteRecord(Bytes payload) {
  if (payload.size() < kWriteRecordHeader) return std::nullopt;
  WriteRecord record{.address = readDword(payload.data()), .length = readWord(payload.data() + 4), .data = {}};
  const Bytes rest = payload.subspan(kWriteRecordHeader);
  if (rest.size() < record.length) return std::nullopt;
  record.data = rest.first(record.length);
  return record;
}

std::vector<uint8_t> encodeWriteRecord(uint32_t address, uint16_t length, Bytes data) {
  std::vector<uint8_t> record;
  record.reserve(kWriteRecordHeader + data.size());
  record.resize(kWriteRecordHeader);
  DWT_ENCDW(record.data(), address);
  DWT_ENCWD(record.data() + 4, length);
  record.insert(record.end(), data.begin(), data.end());
  return record;
}

}  // namespace TIRK_MCUC
