#include "pendingsave.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <new>
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

constexpr const char* kNote = "/data/tirk/etc/sysconf/pmxpara_pending";
constexpr const char* kPreparedImage = "/data/tirk/etc/sysconf/pmxpara_factory_tmp";

struct Stretch {
  uint32_t address;
  size_t length;
};

struct Saves {
  CMutexThreadRecursive mutex{LockRank::save};
  UniqueFd file;
  unsigned depth = 0;
  bool resetting = false;
  // What the last note held, as long as it is there or its removal is not known to survive a loss of power.
  std::vector<Stretch> last;
};

Saves& saves() {
  static NoDestroy<Saves> instance;
  return instance.get();
}

// --- The file. It stays open and keeps its length: a note is written over the last one, and ends with its mark.

int openFile(const char* path, int flags) {
  return open(boardPath(path).c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0600);
}

// The open file; made anew when somebody removed it. Negative, errno set: there is none.
int noteFile() {
  UniqueFd& file = saves().file;
  struct stat status {};
  if (file && (fstat(file.get(), &status) != 0 || status.st_nlink == 0)) file = UniqueFd();
  if (!file) file = UniqueFd(openFile(kNote, O_RDWR | O_CREAT));
  return file.get();
}

bool removeNote() {
  constexpr std::array<uint8_t, kNoteMark.size()> kNothing{};
  const int file = saves().file.get();
  if (file < 0 || writeAt(file, 0, kNothing)) return true;
  TRACE_ERROR("=== PendingSave ===the note can not be removed! errno = " << errno);
  return false;
}

bool writeNote(const SaveNote& note) {
  std::vector<iovec> pieces{{const_cast<uint8_t*>(note.head.data()), note.head.size()}};
  for (const SavePart& change : note.changes) {
    pieces.push_back({const_cast<uint8_t*>(change.data.data()), change.data.size()});
  }
  const int file = noteFile();
  if (file >= 0 && writeAt(file, 0, pieces) && board_sync_file(file) == 0) return true;
  TRACE_ERROR("=== PendingSave ===the save can not be noted and goes on without! errno = " << errno);
  removeNote();
  return false;
}

// Whether there is one, whole or not.
bool hasNote() {
  std::array<uint8_t, kNoteMark.size()> mark;
  const int file = noteFile();
  return file >= 0 && readAt(file, 0, mark) && mark == kNoteMark;
}

std::vector<uint8_t> readNote() {
  struct stat status {};
  const int file = noteFile();
  if (file < 0 || fstat(file, &status) != 0 || status.st_size > static_cast<off_t>(kLongestNote)) return {};
  std::vector<uint8_t> bytes(static_cast<size_t>(status.st_size));
  if (!readAt(file, 0, bytes)) bytes.clear();
  return bytes;
}

bool peek(uint32_t address, MutableBytes out) {
  return board_flash_peek(address, static_cast<uint32_t>(out.size()), out.data()) == 0;
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
  if (std::none_of(last.begin(), last.end(), overlaps) || !removeNote()) return;
  if (saves().file && board_sync_file(saves().file.get()) == 0) last.clear();
}

// --- What is done with it.

std::vector<Stretch> stretchesOf(std::span<const SavePart> changes) {
  std::vector<Stretch> stretches;
  for (const SavePart& change : changes) stretches.push_back({change.address, change.data.size()});
  return stretches;
}

bool noteSave(std::span<const SavePart> parts) {
  const auto note = makeNote(NoteKind::save, parts, peek);
  if (note && note->changes.empty()) return false;
  const bool oneByte = note && note->changes.size() == 1 && note->changes[0].data.size() == 1;
  if (note && !oneByte && !saves().resetting) {
    auto stretches = stretchesOf(note->changes);
    if (writeNote(*note)) {
      saves().last = std::move(stretches);
      return true;
    }
  }
  forgetLast(note ? note->changes : parts);
  return false;
}

using Program = int (*)(uint32_t address, uint32_t length, const uint8_t* data);

// Whether the note has served its purpose.
bool redoChanges(std::span<const NotedChange> changes, Program program) {
  if (!std::all_of(changes.begin(), changes.end(), [](const NotedChange& change) { return change.fits(peek); })) {
    TRACE_WARNING("=== PendingSave ===the note of a save belongs to another flash and is dropped");
    return true;
  }
  for (const NotedChange& change : changes) {
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

bool redoNote(const ReadNote& note, Program program) {
  if (note.kind != NoteKind::reset) return redoChanges(note.changes, program);
  const std::string image = boardPath(kPreparedImage);
  if (access(image.c_str(), F_OK) != 0) return redoChanges(note.changes, program);
  TRACE_WARNING("=== PendingSave ===a factory reset was cut short and is dropped");
  if (unlink(image.c_str()) == 0) return true;
  TRACE_ERROR("=== PendingSave ===remove failed! file = " << kPreparedImage << " errno = " << errno);
  return false;
}

}  // namespace

PendingSave::PendingSave(std::span<const SavePart> parts) : m_guard(saves().mutex) {
  // The worker stands here before each piece of its work that takes long. Having waited for the core it would else keep
  // it until the last one is done, and whoever asks meanwhile waits for all of them.
  sched_yield();
  if (saves().depth++ != 0) return;
  try {
    m_noted = noteSave(parts);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("=== PendingSave ===no memory for the note of a save, which goes on without");
    forgetLast(parts);
  }
}

PendingSave::~PendingSave() {
  --saves().depth;
  if (m_noted) removeNote();
}

void PendingSave::redo(Program program) {
  CMutexGuardT guard(saves().mutex);
  if (!hasNote()) return;
  const auto file = readNote();
  const auto note = decodeNote(file);
  if (!note) TRACE_INFO("PendingSave: a note that is not whole is dropped, nothing had been programmed");
  ++saves().depth;  // `program` notes nothing
  const bool served = !note || redoNote(*note, program);
  --saves().depth;
  if (served) {
    removeNote();
  } else {
    for (const NotedChange& change : note->changes) saves().last.push_back({change.address, change.becomes.size()});
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
    if (const auto note = makeNote(NoteKind::reset, patches, old)) writeNote(*note);
  } catch (const std::bad_alloc&) {
    TRACE_ERROR("=== PendingSave ===no memory for the note of a factory reset, which goes on without");
  }
}

PendingReset::~PendingReset() {
  CMutexGuardT guard(saves().mutex);
  saves().resetting = false;
  removeNote();
}

}  // namespace TIRK_MCUC
