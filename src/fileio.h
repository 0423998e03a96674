// Whole buffers to and from a file, whatever piece of them a system call takes. Any thread.
#pragma once

#include <cstdint>

#include "mcucbytes.h"

namespace TIRK_MCUC {

bool writeAll(int fd, Bytes bytes);                      // at the file's position; false after an error
bool readAt(int fd, uint64_t offset, MutableBytes out);  // false after an error or at the end of the file

}  // namespace TIRK_MCUC
