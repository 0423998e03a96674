#include "pendingsave.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "boardaccess.h"
#include "boardhost.h"
#include "fileio.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "uniquefd.h"

namespace TIRK_MCUC {

namespace {

constexpr const char* kDirectory = "/data/tirk/etc/sysconf";
constexpr const char* kNote = "/data/tirk/etc/sysconf/pmxpara_pending";
constexpr const char* kPreparedImage = "/data/tirk/etc/sysconf/pmxpara_factory_tmp";

// The note, little-endian: mark, kind, number of changes; for each its address, its length, the bytes as they were and
// as they become; CRC-32 of all that.
constexpr std::array<uint8_t, 4> kMark{'K', 'P', 'N', '1'};
constexpr size_t kHeaderLength = 12;
constexpr size_t kChangeHeaderLength = 8;
constexpr size_t kCrcLength = 4;
constexpr size_t kLongestNote = 1 << 20;
constexpr size_t kPeekLength = 4096;

enum Kind : uint32_t { kSave = 1, kReset = 2 };

struct Change {
  uint32_t address;
  Bytes was;
  Bytes becomes;
};

struct Note {
  Kind kind;
  std::vector<Change> changes;  // into the file's bytes
};

struct Stretch {
  uint32_t address;
  size_t length;
};

struct Saves {
  CMutexThreadRecursive mutex{LockRank::save};
  unsigned depth = 0;
  bool resetting = false;
  // What the last note held, as long as it is there or its removal is not known to survive a loss of power.
  std::vector<Stretch> last;
};

Saves& saves() {
  static NoDestroy<Saves> instance;
  return instance.get();
}

// CRC-32 of IEEE 802.3, eight bytes at a time: table k holds the remainders of a byte with k zero bytes behind it.
constexpr size_t kCrcStep = 8;
constexpr auto kCrcTables = [] {
  std::array<std::array<uint32_t, 256>, kCrcStep> tables{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value & 1) != 0 ? 0xEDB88320U ^ value >> 1 : value >> 1;
    tables[0][i] = value;
  }
  for (size_t k = 1; k < kCrcStep; ++k) {
    for (size_t i = 0; i < 256; ++i) tables[k][i] = tables[k - 1][i] >> 8 ^ tables[0][tables[k - 1][i] & 0xFF];
  }
  return tables;
}();

uint32_t crc32(Bytes bytes) {
  uint32_t crc = ~0U;
  for (; bytes.size() >= kCrcStep; bytes = bytes.subspan(kCrcStep)) {
    const uint32_t low = crc ^ readDword(&bytes[0]);
    const uint32_t high = readDword(&bytes[4]);
    crc = 0;
    for (size_t k = 0; k < 4; ++k) {
      crc ^= kCrcTables[7 - k][low >> (8 * k) & 0xFF] ^ kCrcTables[3 - k][high >> (8 * k) & 0xFF];
    }
  }
  for (const uint8_t byte : bytes) crc = kCrcTables[0][(crc ^ byte) & 0xFF] ^ crc >> 8;
  return ~crc;
}

// --- The file.

int openFile(const char* path, int flags) {
  return open(boardPath(path).c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
}

// False when there was something and it is still there.
bool removeFile(const char* path) {
  if (unlink(boardPath(path).c_str()) == 0 || errno == ENOENT) return true;
  TRACE_ERROR("=== PendingSave ===remove failed! file = " << path << " errno = " << errno);
  return false;
}

bool writeNote(Bytes note) {
  const UniqueFd file(openFile(kNote, O_WRONLY | O_CREAT | O_TRUNC));
  if (file && writeAll(file.get(), note) && board_sync_file(file.get()) == 0) return true;
  TRACE_ERROR("=== PendingSave ===the save can not be noted and goes on without! errno = " << errno);
  if (file) removeFile(kNote);
  return false;
}

// Empty when there is none, or it is longer than any note.
std::vector<uint8_t> readNote() {
  const UniqueFd file(openFile(kNote, O_RDONLY));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return {};
  if (status.st_size > static_cast<off_t>(kLongestNote)) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(status.st_size));
  if (!readAt(file.get(), 0, bytes)) bytes.clear();
  return bytes;
}

bool exists(const char* path) {
  return access(boardPath(path).c_str(), F_OK) == 0;
}

// --- What it holds.

void append(std::vector<uint8_t>& out, uint32_t value) {
  uint8_t word[4];
  DWT_ENCDW(word, value);
  out.insert(out.end(), word, word + sizeof word);
}

// `old(address, out)` tells what a stretch held.
template <class Old>
std::optional<std::vector<uint8_t>> encodeNote(Kind kind, std::span<const SavePart> changes, Old old) {
  size_t length = kHeaderLength + kCrcLength;
  for (const SavePart& change : changes) length += kChangeHeaderLength + 2 * change.data.size();
  if (length > kLongestNote) return std::nullopt;
  std::vector<uint8_t> out;
  out.reserve(length);
  out.insert(out.end(), kMark.begin(), kMark.end());
  append(out, kind);
  append(out, static_cast<uint32_t>(changes.size()));
  for (const SavePart& change : changes) {
    append(out, change.address);
    append(out, static_cast<uint32_t>(change.data.size()));
    const size_t at = out.size();
    out.resize(at + change.data.size());
    if (!old(change.address, MutableBytes(out).subspan(at))) return std::nullopt;
    out.insert(out.end(), change.data.begin(), change.data.end());
  }
  append(out, crc32(out));
  return out;
}

// Empty when the note is not whole.
std::optional<Note> decodeNote(Bytes file) {
  if (file.size() < kHeaderLength + kCrcLength || !std::equal(kMark.begin(), kMark.end(), file.begin())) return {};
  const Bytes body = file.first(file.size() - kCrcLength);
  if (crc32(body) != readDword(&file[body.size()])) return {};
  Note note{static_cast<Kind>(readDword(&body[4])), {}};
  Bytes rest = body.subspan(kHeaderLength);
  for (uint32_t count = readDword(&body[8]); count != 0; --count) {
    if (rest.size() < kChangeHeaderLength) return {};
    const uint32_t address = readDword(&rest[0]);
    const size_t length = readDword(&rest[4]);
    rest = rest.subspan(kChangeHeaderLength);
    if (rest.size() / 2 < length) return {};
    note.changes.push_back({address, rest.first(length), rest.subspan(length, length)});
    rest = rest.subspan(2 * length);
  }
  return note;
}

// Calls `piece(offset, flash)` for what the flash holds there, piece by piece, until it says false. Whether it never
// did and all could be read.
template <class Piece>
bool peekPieces(uint32_t address, size_t length, Piece piece) {
  std::array<uint8_t, kPeekLength> buffer;
  for (size_t offset = 0; offset < length; offset += kPeekLength) {
    const MutableBytes flash = MutableBytes(buffer).first(std::min(kPeekLength, length - offset));
    const auto start = address + static_cast<uint32_t>(offset);
    if (board_flash_peek(start, static_cast<uint32_t>(flash.size()), flash.data()) != 0) return false;
    if (!piece(offset, Bytes(flash))) return false;
  }
  return true;
}

bool peek(uint32_t address, MutableBytes out) {
  return board_flash_peek(address, static_cast<uint32_t>(out.size()), out.data()) == 0;
}

// The part from the first byte that changes to the last one; empty when none does or the flash cannot be read.
SavePart changedStretch(const SavePart& part) {
  size_t first = part.data.size();
  size_t last = 0;
  const bool read = peekPieces(part.address, part.data.size(), [&](size_t offset, Bytes flash) {
    const Bytes becomes = part.data.subspan(offset, flash.size());
    if (std::memcmp(flash.data(), becomes.data(), flash.size()) == 0) return true;
    const auto begin = std::mismatch(flash.begin(), flash.end(), becomes.begin()).first - flash.begin();
    const auto end = std::mismatch(flash.rbegin(), flash.rend(), becomes.rbegin()).first - flash.rbegin();
    first = std::min(first, offset + static_cast<size_t>(begin));
    last = offset + flash.size() - static_cast<size_t>(end);
    return true;
  });
  if (!read || last == 0) return {part.address, {}};
  return {part.address + static_cast<uint32_t>(first), part.data.subspan(first, last - first)};
}

std::vector<SavePart> changesOf(std::span<const SavePart> parts) {
  std::vector<SavePart> changes;
  for (const SavePart& part : parts) {
    if (part.data.data() == nullptr) continue;
    if (const SavePart change = changedStretch(part); !change.data.empty()) changes.push_back(change);
  }
  return changes;
}

// Whether each byte of the change is the old or the new one on the flash.
bool fits(const Change& change) {
  return peekPieces(change.address, change.was.size(), [&](size_t offset, Bytes flash) {
    for (size_t i = 0; i < flash.size(); ++i) {
      if (flash[i] != change.was[offset + i] && flash[i] != change.becomes[offset + i]) return false;
    }
    return true;
  });
}

std::vector<Stretch> stretchesOf(std::span<const SavePart> changes) {
  std::vector<Stretch> stretches;
  for (const SavePart& change : changes) stretches.push_back({change.address, change.data.size()});
  return stretches;
}

// A note that comes back because its removal was lost with the power must not undo a change that was made without one.
void forgetLast(std::span<const SavePart> changes) {
  auto& last = saves().last;
  const auto overlaps = [&](const Stretch& stretch) {
    return std::any_of(changes.begin(), changes.end(), [&](const SavePart& change) {
      return change.address < uint64_t{stretch.address} + stretch.length &&
             stretch.address < uint64_t{change.address} + change.data.size();
    });
  };
  if (std::none_of(last.begin(), last.end(), overlaps) || !removeFile(kNote)) return;
  const UniqueFd directory(openFile(kDirectory, O_RDONLY | O_DIRECTORY));
  if (directory && board_sync_file(directory.get()) == 0) last.clear();
}

bool noteSave(std::span<const SavePart> parts) {
  const auto changes = changesOf(parts);
  if (changes.empty()) return false;
  const bool oneByte = changes.size() == 1 && changes[0].data.size() == 1;
  if (!oneByte && !saves().resetting) {
    const auto note = encodeNote(kSave, changes, peek);
    auto stretches = stretchesOf(changes);
    if (note && writeNote(*note)) {
      saves().last = std::move(stretches);
      return true;
    }
  }
  forgetLast(changes);
  return false;
}

using Program = int (*)(uint32_t address, uint32_t length, const uint8_t* data);

// Whether the note has served its purpose.
bool redoChanges(std::span<const Change> changes, Program program) {
  if (!std::all_of(changes.begin(), changes.end(), fits)) {
    TRACE_WARNING("=== PendingSave ===the note of a save belongs to another flash and is dropped");
    return true;
  }
  for (const Change& change : changes) {
    const auto length = static_cast<uint32_t>(change.becomes.size());
    if (const int ret = program(change.address, length, change.becomes.data()); ret != 0) {
      TRACE_ERROR("=== PendingSave ===redo failed! start address = " << change.address << " length = " << length
                                                                     << " ret = " << ret);
      return false;
    }
    TRACE_WARNING("=== PendingSave ===a save that was cut short is done again, start address = "
                  << change.address << " length = " << length);
  }
  return true;
}

bool redoNote(const Note& note, Program program) {
  if (note.kind == kReset && exists(kPreparedImage)) {
    TRACE_WARNING("=== PendingSave ===a factory reset was cut short and is dropped");
    return removeFile(kPreparedImage);
  }
  return redoChanges(note.changes, program);
}

}  // namespace

PendingSave::PendingSave(std::span<const SavePart> parts) : m_guard(saves().mutex) {
  if (saves().depth++ != 0) return;
  try {
    m_noted = noteSave(parts);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("=== PendingSave ===no memory for the note of a save, which goes on without");
  }
}

PendingSave::~PendingSave() {
  --saves().depth;
  if (m_noted) removeFile(kNote);
}

void PendingSave::redo(Program program) {
  CMutexGuardT guard(saves().mutex);
  if (!exists(kNote)) return;
  const auto file = readNote();
  const auto note = decodeNote(file);
  if (!note) TRACE_INFO("PendingSave: a note that is not whole is dropped, nothing had been programmed");
  ++saves().depth;  // `program` notes nothing
  const bool served = !note || redoNote(*note, program);
  --saves().depth;
  if (served) {
    removeFile(kNote);
  } else {
    for (const Change& change : note->changes) saves().last.push_back({change.address, change.was.size()});
  }
}

PendingReset::PendingReset() {
  CMutexGuardT guard(saves().mutex);
  saves().resetting = true;
  notePatches({});
}

void PendingReset::notePatches(std::span<const SavePart> patches) {
  CMutexGuardT guard(saves().mutex);
  const UniqueFd image(openFile(kPreparedImage, O_RDONLY));
  const auto old = [&](uint32_t address, MutableBytes out) { return image && readAt(image.get(), address, out); };
  try {
    if (const auto note = encodeNote(kReset, patches, old)) writeNote(*note);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("=== PendingSave ===no memory for the note of a factory reset, which goes on without");
  }
}

PendingReset::~PendingReset() {
  CMutexGuardT guard(saves().mutex);
  saves().resetting = false;
  removeFile(kNote);
}

}  // namespace TIRK_MCUC
