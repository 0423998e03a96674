// One queued work item.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "stub/mcucmessagestruct.h"

namespace TIRK_MCUC {

class MCUProcessDataBlock {
 public:
  static constexpr int kCapacity = 65535;

  // Copies the payload; false, and nothing changed, for a negative length, a null source with a positive one, or more
  // than 65 535 bytes. The payload takes the memory of its length.
  bool setData(const uint8_t* source, int length);
  uint8_t* getData() { return m_data.data(); }
  int getDataLen() const { return m_dataLen; }

  ipcHeaderInfo ipcHeader;  // of the request that caused the work
  std::vector<uint8_t> m_data;
  int32_t m_dataLen = 0;
  int32_t m_key = 0;  // process key, process/processkeys.h
  uint32_t m_result = 0;
};

}  // namespace TIRK_MCUC
