#include "virtual/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <system_error>
#include <utility>

namespace vboard {

namespace {
constexpr mode_t kFileMode = 0600;
constexpr mode_t kDirectoryMode = 0700;
}  // namespace

Descriptor openFile(const std::string& name, int flags) {
  return Descriptor(::open(name.c_str(), flags | O_CLOEXEC | O_NOFOLLOW, kFileMode));
}

int writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  return 0;
}

int readAllAt(int fd, std::span<uint8_t> out, uint64_t offset) {
  while (!out.empty()) {
    const ssize_t count = ::pread(fd, out.data(), out.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return -1;
    out = out.subspan(static_cast<size_t>(count));
    offset += static_cast<uint64_t>(count);
  }
  return 0;
}

int writeAllAt(int fd, std::span<const uint8_t> data, uint64_t offset) {
  while (!data.empty()) {
    const ssize_t count = ::pwrite(fd, data.data(), data.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return -1;
    data = data.subspan(static_cast<size_t>(count));
    offset += static_cast<uint64_t>(count);
  }
  return 0;
}

int makeDirectory(const std::string& name) {
  if (::mkdir(name.c_str(), kDirectoryMode) == 0) return 0;
  if (errno != EEXIST) return -1;
  struct stat info = {};
  if (::lstat(name.c_str(), &info) != 0) return -1;
  if (S_ISDIR(info.st_mode)) return 0;
  errno = ENOTDIR;
  return -1;
}

std::optional<std::string> readFile(const std::string& name) {
  // Not blocking: a FIFO by that name must not stop the daemon before it is found out.
  const Descriptor file = openFile(name, O_RDONLY | O_NONBLOCK);
  struct stat info = {};
  if (!file || ::fstat(file.get(), &info) != 0) return std::nullopt;
  if (!S_ISREG(info.st_mode)) {
    errno = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
    return std::nullopt;
  }
  std::string text;
  char piece[4096];
  for (;;) {
    const ssize_t count = ::read(file.get(), piece, sizeof piece);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return std::nullopt;
    if (count == 0) return text;
    text.append(piece, static_cast<size_t>(count));
  }
}

int replaceFile(const std::string& name, std::string_view text) {
  const std::string fresh = name + ".new";
  {
    const Descriptor file = openFile(fresh, O_WRONLY | O_CREAT | O_TRUNC);
    if (!file) return -1;
    if (writeAll(file.get(), text) == 0 && ::rename(fresh.c_str(), name.c_str()) == 0) return 0;
  }
  const int reason = errno;
  ::unlink(fresh.c_str());
  errno = reason;
  return -1;
}

Descriptor openDirectory(const std::string& path) {
  // One part at a time: the system takes no path of more than 4096 bytes. The first part of an absolute path keeps its
  // slash, since "/" alone is the root of the libraries where the processor is emulated.
  constexpr int kFlags = O_PATH | O_DIRECTORY | O_CLOEXEC;
  Descriptor directory;
  int from = AT_FDCWD;
  std::string part = path.starts_with('/') ? "/" : "";
  for (size_t at = 0; at < path.size();) {
    const size_t end = std::min(path.find('/', at), path.size());
    part.append(path, at, end - at);
    at = end + 1;
    if (part.empty() || part == "/") continue;
    Descriptor next(::openat(from, part.c_str(), kFlags));
    if (!next && errno == ENOENT) {
      if (::mkdirat(from, part.c_str(), kDirectoryMode) != 0 && errno != EEXIST) return Descriptor();
      next = Descriptor(::openat(from, part.c_str(), kFlags));
    }
    if (!next) return next;
    directory = std::move(next);
    from = directory.get();
    part.clear();
  }
  return Descriptor(::openat(from, part.empty() ? "." : part.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

std::string systemError() {
  return std::generic_category().message(errno);
}

}  // namespace vboard
