// What the note of a save holds, and whether a flash is the one that it was made for. Pure; any thread.
//
// Of each part the stretch from its first byte that changes to its last one is noted: the new bytes, and what tells the
// old ones. These are the old bytes themselves where the stretch is at most a block long, else a short checksum for
// each block, which ends where the address is a multiple of kNoteBlock.
//
//   mark, length of the head, checksum of what of the head follows
//   kind, number of changes; of each change its address, its length, the checksum of its new bytes, what tells the old
//   the new bytes of each change
// Words are little-endian; checksums have the byte order of the processor, which is the one that reads them again.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "mcucbytes.h"

namespace TIRK_MCUC {

struct SavePart {
  uint32_t address;
  Bytes data;
};

constexpr std::array<uint8_t, 4> kNoteMark{'K', 'P', 'N', '2'};
constexpr size_t kNoteBlock = 256;
constexpr size_t kLongestNote = 1 << 20;

enum class NoteKind : uint32_t { save = 1, reset = 2 };

// Reads what there is now; false when it cannot.
using NoteReader = std::function<bool(uint32_t address, MutableBytes out)>;

// A note as it is written: the head, and behind it the new bytes where the parts have them.
struct SaveNote {
  std::vector<uint8_t> head;
  std::vector<SavePart> changes;  // none when the parts change nothing
};
// Nothing when something cannot be read or the note were too long.
std::optional<SaveNote> makeNote(NoteKind kind, std::span<const SavePart> parts, const NoteReader& read);

struct NotedChange {
  uint32_t address;
  Bytes was;  // or its checksums
  Bytes becomes;

  // Whether a save that was cut short, or done, or never begun can have left what is read: the new bytes up to some
  // point and from there the old ones; where the old bytes are noted, old and new ones in any order. What lies behind
  // the point in the block of a longer stretch is not known.
  bool fits(const NoteReader& read) const;
};
struct ReadNote {
  NoteKind kind;
  std::vector<NotedChange> changes;  // into the file's bytes
};
// Nothing when the note is not whole. What follows it in the file does not count.
std::optional<ReadNote> decodeNote(Bytes file);

}  // namespace TIRK_MCUC
