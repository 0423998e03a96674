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

bool writeAt(int fd, uint64_t offset, Bytes bytes) {
  iovec piece{const_cast<uint8_t*>(bytes.data()), bytes.size()};
  return writeAt(fd, offset, {&piece, 1});
}

bool writeAt(int fd, uint64_t offset, std::span<iovec> pieces) {
  while (!pieces.empty()) {
    const ssize_t count = pwritev(fd, pieces.data(), static_cast<int>(pieces.size()), static_cast<off_t>(offset));
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return false;
    offset += static_cast<uint64_t>(count);
    auto done = static_cast<size_t>(count);
    while (!pieces.empty() && done >= pieces[0].iov_len) {
      done -= pieces[0].iov_len;
      pieces = pieces.subspan(1);
    }
    if (pieces.empty()) break;
    if (count == 0) return false;
    pieces[0].iov_base = static_cast<uint8_t*>(pieces[0].iov_base) + done;
    pieces[0].iov_len -= done;
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
