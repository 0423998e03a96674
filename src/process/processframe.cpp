#include "process/processframe.h"

#include <string>

namespace TIRK_MCUC {

bool beginHandler(const HandlerWords& words, const uint8_t* data) {
  if (data == nullptr) {
    TRACE_ERROR("=== " << words.name << " ===: data block is null! return.");
    return false;
  }
  TRACE_INFO("============================ Begin " << words.name << " ===========================");
  return true;
}

void finishHandler(const HandlerWords& words) {
  TRACE_INFO("============================ Finish " << words.name << " ===========================");
}

void logRecord(const HandlerWords& words, const WriteRecord& record, int dumpCapacity) {
  if (!traceEnabled(kTraceInfo)) return;
  TRACE_INFO(words.name << " enter:");
  if (words.keyName == nullptr) return;
  std::string text(dumpCapacity > 0 ? static_cast<size_t>(dumpCapacity) : 1, '\0');
  Bytes2String(record.data.data(), record.length, text.data(), static_cast<int>(text.size()));
  TRACE_INFO("Process key: " << words.keyName << "  Register: " << record.address << " len: " << record.length
                             << " data:" << text.c_str());
}

void dropTruncated(const HandlerWords& words, int length) {
  TRACE_ERROR("=== " << words.name << " ===: data block is shorter than what it claims, dropped. length = " << length);
}

}  // namespace TIRK_MCUC
