#include "virtual/journal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "virtual/board.h"
#include "virtual/files.h"
#include "virtual/text.h"

namespace vboard {

namespace {
constexpr const char* kFile = "journal";
constexpr const char* kSwitch = "journal.on";  // there: the monitor switched the journal on
constexpr size_t kLongest = 64;                // bytes of data in a line

void complain(const char* what) {
  std::fprintf(stderr, "virtual board: the journal cannot be %s: %s\n", what, systemError().c_str());
}
}  // namespace

Journal::~Journal() {
  if (m_fd >= 0) ::close(m_fd);
}

void Journal::open(bool on) {
  m_on = on || readFile(boardFile(kSwitch)).has_value();
}

void Journal::setOn(bool on) {
  const std::string name = boardFile(kSwitch);
  if (on ? replaceFile(name, "") != 0 : ::unlink(name.c_str()) != 0 && errno != ENOENT) complain("switched for good");
  m_on = on;
}

int Journal::fileUnlocked() {
  struct stat info = {};
  if (m_fd >= 0 && ::fstat(m_fd, &info) == 0 && info.st_nlink == 0) {  // removed: it begins anew
    ::close(m_fd);
    m_fd = -1;
  }
  if (m_fd < 0) m_fd = openFile(boardFile(kFile), O_RDWR | O_APPEND | O_CREAT | O_NONBLOCK).release();
  return m_fd;
}

void Journal::line(const std::string& text, int code) {
  std::string whole = text;
  for (char& c : whole) {
    if (c == '\n' || c == '\r') c = ' ';  // a line stays one line
  }
  if (code != 0) whole += " failed " + std::to_string(code);
  const std::lock_guard guard(m_fileMutex);
  const bool written = fileUnlocked() >= 0 && writeAll(m_fd, whole + "\n") == 0;
  if (!written && !m_failing) complain("written");
  m_failing = !written;
}

void Journal::clear() {
  const std::lock_guard guard(m_fileMutex);
  if (fileUnlocked() < 0 || ::ftruncate(m_fd, 0) != 0) complain("cleared");
}

std::string Journal::text() {
  const std::lock_guard guard(m_fileMutex);
  return readFile(boardFile(kFile)).value_or("");
}

std::string journalHex(std::span<const uint8_t> bytes) {
  if (bytes.empty()) return {};
  if (bytes.size() <= kLongest) return " " + hexText(bytes);
  return " " + hexText(bytes.first(kLongest)) + "...";
}

std::string journalAddress(uint32_t address) {
  char text[sizeof "0x00000000"];
  std::snprintf(text, sizeof text, "0x%08x", address);
  return text;
}

}  // namespace vboard
