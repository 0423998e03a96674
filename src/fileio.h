// Whole buffers to and from a file, whatever piece of them a system call takes. Any thread.
#pragma once

#include <sys/uio.h>

#include <cstdint>
#include <span>

#include "mcucbytes.h"

namespace TIRK_MCUC {

bool writeAll(int fd, Bytes bytes);                              // at the file's position; false after an error
bool writeAt(int fd, uint64_t offset, Bytes bytes);              // false after an error
bool writeAt(int fd, uint64_t offset, std::span<iovec> pieces);  // the same one behind the other; uses up the pieces
bool readAt(int fd, uint64_t offset, MutableBytes out);          // false after an error or at the end of the file

}  // namespace TIRK_MCUC
