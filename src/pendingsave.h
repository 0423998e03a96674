// A save that is under way, noted in a file beside the flash before its bytes are programmed: power that fails in
// between leaves nothing half written, because the next start does the save again from the note.
//
// A note (savenote.h) is safe in its file before the first byte is programmed, and loses its mark after the last one.
// At a start a note that is not whole means that nothing had been programmed, and one that does not fit what the flash
// holds belongs to another flash: both are dropped.
//
// Saves follow one another, of any thread: a lock is held while a note is there, and nothing but the trace's is taken
// under it.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <span>

#include "mcucmutex.h"
#include "savenote.h"

namespace TIRK_MCUC {

// Around the programming of the parts. Lets other threads run first.
class PendingSave {
 public:
  // Notes the parts as one: after a loss of power all of them are done or none. No note is made, and the save goes on
  // without one, when the parts change nothing or a single byte, which is written whole or not at all; while a factory
  // reset prepares the image that replaces this flash; when the flash cannot be read; and, with one Error line, when
  // the note cannot be written. Within another PendingSave of the thread it does nothing: that one names the parts.
  explicit PendingSave(std::initializer_list<SavePart> parts) : PendingSave(std::span(parts.begin(), parts.size())) {}
  explicit PendingSave(std::span<const SavePart> parts);
  ~PendingSave();
  PendingSave(const PendingSave&) = delete;
  PendingSave& operator=(const PendingSave&) = delete;

  // Once the flash can be accessed and before anything of it is used: programs what the note of the last run holds, by
  // `program` (0: done), with a Warning line. A note that could not be programmed stays, with an Error line.
  static void redo(int (*program)(uint32_t address, uint32_t length, const uint8_t* data));

 private:
  CMutexGuardT<CMutexThreadRecursive> m_guard;
  bool m_noted = false;
};

// Around the preparation of the image that a factory reset leaves for the reboot. While it exists the note says that
// the image is not whole: a start removes such an image, with a Warning line, and the device stays as it was; where the
// board has taken the image already, its patches are done. Flag thread.
class PendingReset {
 public:
  PendingReset();
  ~PendingReset();
  PendingReset(const PendingReset&) = delete;
  PendingReset& operator=(const PendingReset&) = delete;

  // When the image is made, before the first of these patches.
  void notePatches(std::span<const SavePart> patches);
};

}  // namespace TIRK_MCUC
