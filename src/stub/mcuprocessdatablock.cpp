#include "stub/mcuprocessdatablock.h"

namespace TIRK_MCUC {

bool MCUProcessDataBlock::setData(const uint8_t* source, int length) {
  if (length < 0 || length > kCapacity || (source == nullptr && length > 0)) return false;
  m_data.assign(source, source + length);
  m_dataLen = length;
  return true;
}

}  // namespace TIRK_MCUC
