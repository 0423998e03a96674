#include "savenote.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>

namespace TIRK_MCUC {

namespace {

constexpr size_t kFrameLength = 16;  // mark, length, checksum
constexpr size_t kHeadLength = kFrameLength + 8;
constexpr size_t kChangeLength = 16;
constexpr size_t kBlockSumLength = 4;

// --- The checksum: four lanes that each take every fourth word of eight bytes, so that the processor multiplies one
// while it waits for the others. A word that differs changes its lane for certain.

constexpr uint64_t kOdd = 0x9E3779B97F4A7C15;
constexpr size_t kWord = sizeof(uint64_t);
constexpr size_t kLanes = 4;

constexpr uint64_t stir(uint64_t lane, uint64_t word) {
  return std::rotl((lane ^ word) * kOdd, 29);
}

uint64_t wordAt(const uint8_t* bytes) {
  uint64_t word = 0;
  std::memcpy(&word, bytes, kWord);
  return word;
}

uint64_t checksum(Bytes bytes) {
  uint64_t a = bytes.size(), b = kOdd, c = ~kOdd, d = 0;
  const uint8_t* at = bytes.data();
  size_t left = bytes.size();
  for (; left >= kLanes * kWord; at += kLanes * kWord, left -= kLanes * kWord) {
    a = stir(a, wordAt(at));
    b = stir(b, wordAt(at + kWord));
    c = stir(c, wordAt(at + 2 * kWord));
    d = stir(d, wordAt(at + 3 * kWord));
  }
  uint64_t sum = stir(stir(stir(a, b), c), d);
  for (; left >= kWord; at += kWord, left -= kWord) sum = stir(sum, wordAt(at));
  if (left != 0) {
    std::array<uint8_t, kWord> last{};
    std::copy_n(at, left, last.begin());
    sum = stir(sum, wordAt(last.data()));
  }
  sum = (sum ^ sum >> 32) * kOdd;
  return sum ^ sum >> 29;
}

void put(std::vector<uint8_t>& out, uint32_t value) {
  uint8_t word[4];
  DWT_ENCDW(word, value);
  out.insert(out.end(), word, word + sizeof word);
}

void putChecksum(std::vector<uint8_t>& out, Bytes of) {
  const uint64_t sum = checksum(of);
  const auto* bytes = reinterpret_cast<const uint8_t*>(&sum);
  out.insert(out.end(), bytes, bytes + sizeof sum);
}

bool checks(const uint8_t* stored, Bytes of) {
  return wordAt(stored) == checksum(of);
}

uint32_t blockSum(Bytes block) {
  return static_cast<uint32_t>(checksum(block));
}

// Calls `each(block)` for a stretch that begins at that address.
template <class Each>
void eachBlock(uint32_t address, size_t length, Each each) {
  for (size_t at = 0; at < length;) {
    const size_t count = std::min(kNoteBlock - (address + at) % kNoteBlock, length - at);
    each(at, count);
    at += count;
  }
}

size_t blockCount(uint32_t address, size_t length) {
  return (address % kNoteBlock + length + kNoteBlock - 1) / kNoteBlock;
}

size_t oldLength(uint32_t address, size_t length) {
  return length <= kNoteBlock ? length : kBlockSumLength * blockCount(address, length);
}

// --- Making one.

bool equal(Bytes left, Bytes right) {
  return std::memcmp(left.data(), right.data(), left.size()) == 0;
}

// How many bytes are the same at the beginning of the two, which are of one length.
size_t commonPrefix(Bytes left, Bytes right) {
  size_t at = 0;
  while (left.size() - at > kNoteBlock && equal(left.subspan(at, kNoteBlock), right.subspan(at, kNoteBlock))) {
    at += kNoteBlock;
  }
  while (at < left.size() && left[at] == right[at]) ++at;
  return at;
}

size_t commonSuffix(Bytes left, Bytes right) {
  size_t end = left.size();
  while (end > kNoteBlock &&
         equal(left.subspan(end - kNoteBlock, kNoteBlock), right.subspan(end - kNoteBlock, kNoteBlock))) {
    end -= kNoteBlock;
  }
  while (end > 0 && left[end - 1] == right[end - 1]) --end;
  return left.size() - end;
}

void addChange(SaveNote& note, const SavePart& change, Bytes was) {
  std::vector<uint8_t>& head = note.head;
  put(head, change.address);
  put(head, static_cast<uint32_t>(change.data.size()));
  putChecksum(head, change.data);
  if (was.size() <= kNoteBlock) {
    head.insert(head.end(), was.begin(), was.end());
  } else {
    eachBlock(change.address, was.size(),
              [&](size_t at, size_t count) { put(head, blockSum(was.subspan(at, count))); });
  }
  note.changes.push_back(change);
}

bool addPart(SaveNote& note, const SavePart& part, const NoteReader& read) {
  const Bytes becomes = part.data;
  if (becomes.data() == nullptr || becomes.empty()) return true;
  if (becomes.size() > kLongestNote) return false;
  const auto bytes = std::make_unique_for_overwrite<uint8_t[]>(becomes.size());
  if (!read(part.address, {bytes.get(), becomes.size()})) return false;
  const Bytes was(bytes.get(), becomes.size());
  const size_t first = commonPrefix(was, becomes);
  if (first == was.size()) return true;
  const size_t length = was.size() - first - commonSuffix(was, becomes);
  addChange(note, {part.address + static_cast<uint32_t>(first), becomes.subspan(first, length)},
            was.subspan(first, length));
  return true;
}

}  // namespace

std::optional<SaveNote> makeNote(NoteKind kind, std::span<const SavePart> parts, const NoteReader& read) {
  SaveNote note;
  note.head.resize(kHeadLength);
  for (const SavePart& part : parts) {
    if (!addPart(note, part, read)) return std::nullopt;
  }
  size_t length = note.head.size();
  for (const SavePart& change : note.changes) length += change.data.size();
  if (length > kLongestNote) return std::nullopt;
  uint8_t* const head = note.head.data();
  std::copy(kNoteMark.begin(), kNoteMark.end(), head);
  DWT_ENCDW(&head[4], static_cast<uint32_t>(note.head.size()));
  DWT_ENCDW(&head[kFrameLength], static_cast<uint32_t>(kind));
  DWT_ENCDW(&head[kFrameLength + 4], static_cast<uint32_t>(note.changes.size()));
  const uint64_t sum = checksum(Bytes(note.head).subspan(kFrameLength));
  std::memcpy(&head[8], &sum, sizeof sum);
  return note;
}

// --- Reading it again.

bool NotedChange::fits(const NoteReader& read) const {
  std::vector<uint8_t> bytes(becomes.size());
  if (!read(address, bytes)) return false;
  if (becomes.size() <= kNoteBlock) {
    for (size_t i = 0; i < bytes.size(); ++i) {
      if (bytes[i] != was[i] && bytes[i] != becomes[i]) return false;
    }
    return true;
  }
  const Bytes now(bytes);
  if (equal(now, becomes)) return true;
  if (now.back() == becomes.back()) return false;
  const size_t done = commonPrefix(now, becomes);
  bool fit = true;
  size_t index = 0;
  eachBlock(address, now.size(), [&](size_t at, size_t count) {
    const bool old = blockSum(now.subspan(at, count)) == readDword(&was[kBlockSumLength * index++]);
    const bool torn = at < done && done < at + count;
    fit = fit && (old || at + count <= done || torn);
  });
  return fit;
}

std::optional<ReadNote> decodeNote(Bytes file) {
  if (file.size() < kHeadLength || !std::equal(kNoteMark.begin(), kNoteMark.end(), file.begin())) return {};
  const size_t headLength = readDword(&file[4]);
  if (headLength < kHeadLength || headLength > file.size()) return {};
  if (!checks(&file[8], file.subspan(kFrameLength, headLength - kFrameLength))) return {};
  Bytes head = file.subspan(kHeadLength, headLength - kHeadLength);
  Bytes data = file.subspan(headLength);
  ReadNote note{static_cast<NoteKind>(readDword(&file[kFrameLength])), {}};
  for (uint32_t left = readDword(&file[kFrameLength + 4]); left != 0; --left) {
    if (head.size() < kChangeLength) return {};
    const uint32_t address = readDword(&head[0]);
    const size_t length = readDword(&head[4]);
    const size_t old = oldLength(address, length);
    if (length > data.size() || old > head.size() - kChangeLength) return {};
    if (!checks(&head[8], data.first(length))) return {};
    note.changes.push_back({address, head.subspan(kChangeLength, old), data.first(length)});
    head = head.subspan(kChangeLength + old);
    data = data.subspan(length);
  }
  return note;
}

}  // namespace TIRK_MCUC
