// The common frame of the process handlers: null check, begin and finish lines, hex dump, record decoding.
#pragma once

#include "mcucbytes.h"
#include "mcuctrace.h"
#include "proto/writerecord.h"

namespace TIRK_MCUC {

// How a handler words its lines.
struct HandlerWords {
  const char* name;               // "Sprocess_DoSoftwareTable"
  const char* keyName = nullptr;  // "DoSoftwareTableKey", as in "Process key: DoSoftwareTableKey  Register: "
};

// Whether the handler may go on: false after the null-data Error line; else the begin line is written.
bool beginHandler(const HandlerWords& words, const uint8_t* data);
void finishHandler(const HandlerWords& words);

// Runs `effect(const WriteRecord&)` on the register write record in the payload, inside the frame. A truncated record
// is one Error line and no effect. `dumpCapacity` is the size of the hex-dump text: a longer record is dumped empty.
void logRecord(const HandlerWords& words, const WriteRecord& record, int dumpCapacity);
void dropTruncated(const HandlerWords& words, int length);
template <class Effect>
int applyRecord(const HandlerWords& words, int length, const uint8_t* data, Effect effect, int dumpCapacity = 1536) {
  if (!beginHandler(words, data)) return 0;
  const auto record = decodeWriteRecord({data, length > 0 ? static_cast<size_t>(length) : 0});
  if (record) {
    logRecord(words, *record, dumpCapacity);
    effect(*record);
  } else {
    dropTruncated(words, length);
  }
  finishHandler(words);
  return 0;
}

}  // namespace TIRK_MCUC
