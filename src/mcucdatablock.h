// A raw data block: one received message as bytes, with the fields of its envelope. Not shared between threads.
#pragma once

#include <cstdint>
#include <vector>

namespace TIRK_MCUC {

class MCUCDataBlock {
 public:
  // Copies the bytes; false, and nothing changed, for a negative length, a null source with a positive one, or more
  // than DATA_BLOCK_LENGTH bytes. The block takes the memory of its length.
  bool setData(const uint8_t* source, int length);
  uint8_t* getData() { return m_data.data(); }
  int getDataLen() const { return m_dataLen; }
  uint32_t getProcessId() const { return m_processId; }
  void setProcessId(uint32_t processId) { m_processId = processId; }

  std::vector<uint8_t> m_data;
  int32_t m_dataLen = 0;
  uint32_t m_processId = 0;
  uint32_t m_uiid = 0;
  uint32_t m_labelCount = 0;
  uint32_t m_size = 0;
  uint32_t m_result = 0;
  uint16_t m_largeLabel = 0;
  uint16_t m_smallLabel = 0;
};

}  // namespace TIRK_MCUC
