// The first bytes of a file, read and written by the processor in the page that everybody who has the file open sees:
// no system call. A process that dies leaves what it wrote there. Where the page cannot be had, because the file system
// has no such mappings, somebody has cut the file or its device is full, the bytes go the ordinary way.
#pragma once

#include <cstddef>

namespace TIRK_MCUC {

class MappedHead {
 public:
  MappedHead() = default;
  ~MappedHead() { unmap(); }
  MappedHead(const MappedHead&) = delete;
  MappedHead& operator=(const MappedHead&) = delete;

  // Maps the first `length` bytes, at most a page, of a file that is open for reading and writing and has them.
  void map(int fd, size_t length);
  // All `length` bytes; false when they are not mapped, or are not any more.
  bool read(char* bytes);
  bool write(const char* bytes);

 private:
  bool copy(char* to, const char* from);
  void unmap();

  char* m_page = nullptr;
  size_t m_length = 0;
};

}  // namespace TIRK_MCUC
