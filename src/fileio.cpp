#include "fileio.h"

#include <unistd.h>

#include <cerrno>

namespace TIRK_MCUC {

bool writeAll(int fd, Bytes bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    bytes = bytes.subspan(static_cast<size_t>(count));
  }
  return true;
}

bool readAt(int fd, uint64_t offset, MutableBytes out) {
  while (!out.empty()) {
    const ssize_t count = pread(fd, out.data(), out.size(), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    out = out.subspan(static_cast<size_t>(count));
    offset += static_cast<uint64_t>(count);
  }
  return true;
}

}  // namespace TIRK_MCUC
