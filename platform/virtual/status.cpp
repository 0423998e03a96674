#include <cerrno>

#include "virtual/board.h"
#include "virtual/files.h"
#include "virtual/journal.h"
#include "virtual/text.h"

namespace vboard {

namespace {
constexpr const char* kFile = "status";  // "REGISTER HEX" a line
}

int StatusStore::set(uint32_t address, Bytes value) {
  const std::lock_guard guard(m_mutex);
  const auto old = readFile(boardFile(kFile));
  if (!old && errno != ENOENT) return -1;
  const std::string key = journalAddress(address) + " ";
  std::string text;
  for (size_t at = 0; old && at < old->size();) {
    const size_t end = std::min(old->find('\n', at), old->size());
    if (old->compare(at, key.size(), key) != 0) text += old->substr(at, end - at) + "\n";
    at = end + 1;
  }
  return replaceFile(boardFile(kFile), text + key + hexText(value) + "\n");
}

}  // namespace vboard
