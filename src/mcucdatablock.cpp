#include "mcucdatablock.h"

#include "stub/mcucmessagestruct.h"

namespace TIRK_MCUC {

bool MCUCDataBlock::setData(const uint8_t* source, int length) {
  if (length < 0 || length > DATA_BLOCK_LENGTH || (source == nullptr && length > 0)) return false;
  m_data.assign(source, source + length);
  m_dataLen = length;
  return true;
}

}  // namespace TIRK_MCUC
