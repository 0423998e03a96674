#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr const char* kImage = "/data/tirk/etc/sysconf/pmxpara";
constexpr const char* kFactory = "/data/tirk/etc/sysconf/pmxpara_factory";
constexpr const char* kFactoryTmp = "/data/tirk/etc/sysconf/pmxpara_factory_tmp";

struct Range {
  uint32_t first;
  uint32_t last;
};
// What a device leaves the works with: empty, but valid.
constexpr Range kZero[] = {
    {0x000000, 0x00FFFF}, {0x200000, 0x200FFF}, {0xA01000, 0xA010FF}, {0xA3B000, 0xA61FFF},
    {0xB8B000, 0xB8CFFF}, {0xB98000, 0xB99FFF}, {0xC20000, 0xC21FFF}, {0xD14000, 0xD17FFF},
};

bool inside(uint32_t address, size_t length) {
  return address <= Flash::kSize && length <= Flash::kSize - address;
}

[[noreturn]] void complain(const std::string& what, const char* image) {
  throw std::runtime_error(what + " \"root" + image + "\": " + systemError());
}

int fillErased(int fd) {
  // One small piece of memory, many times: a large one would leave the heap large.
  constexpr size_t kPieces = 512;
  const std::vector<uint8_t> erased(Flash::kSize / kPieces, 0xFF);
  for (off_t at = 0; at < static_cast<off_t>(Flash::kSize);) {
    const auto left = static_cast<size_t>(static_cast<off_t>(Flash::kSize) - at);
    iovec pieces[kPieces];
    size_t count = 0;
    for (size_t sum = 0; sum < left; sum += pieces[count++].iov_len) {
      pieces[count] = {const_cast<uint8_t*>(erased.data()), std::min(erased.size(), left - sum)};
    }
    const ssize_t written = ::pwritev(fd, pieces, static_cast<int>(count), at);
    if (written < 0 && errno != EINTR) return -1;
    if (written > 0) at += written;
  }
  return 0;
}

// Appears under its name only when it is whole.
void makeImage(const char* image) {
  const std::string name = ownPath(image);
  const std::string fresh = name + ".new";
  const Descriptor file = openFile(fresh, O_RDWR | O_CREAT | O_TRUNC);
  bool made = file && fillErased(file.get()) == 0;
  for (const Range& range : kZero) {
    const std::vector<uint8_t> zeros(range.last - range.first + 1);
    made = made && writeAllAt(file.get(), zeros, range.first) == 0;
  }
  if (made && ::rename(fresh.c_str(), name.c_str()) == 0) return;
  const int reason = errno;
  ::unlink(fresh.c_str());
  errno = reason;
  complain("cannot make the flash image", image);
}

// An image of the right size; no descriptor, errno set, when it cannot be opened.
Descriptor openImage(const char* image) {
  Descriptor file = openFile(ownPath(image), O_RDWR | O_NONBLOCK);
  if (!file) return file;
  struct stat info = {};
  if (::fstat(file.get(), &info) != 0) complain("cannot examine", image);
  if (!S_ISREG(info.st_mode) || info.st_size != static_cast<off_t>(Flash::kSize)) {
    throw std::runtime_error(std::string("\"root") + image + "\" is no flash image of " + std::to_string(Flash::kSize) +
                             " bytes (it has " + std::to_string(info.st_size) + ")");
  }
  return file;
}

Descriptor openOrMakeImage(const char* image) {
  Descriptor file = openImage(image);
  if (!file && errno == ENOENT) {
    makeImage(image);
    file = openImage(image);
  }
  if (!file) complain("cannot open", image);
  return file;
}

}  // namespace

void Flash::open() {
  openOrMakeImage(kFactory);
  Descriptor file = openOrMakeImage(kImage);
  const std::unique_lock guard(m_mutex);
  fd = file.release();
}

int Flash::read(uint32_t address, MutableBytes out) const {
  if (!inside(address, out.size())) return -1;
  const std::shared_lock guard(m_mutex);
  return readAllAt(fd, out, address);
}

int Flash::write(uint32_t address, Bytes data) {
  if (!inside(address, data.size())) return -1;
  const std::unique_lock guard(m_mutex);
  return writeAllAt(fd, data, address);
}

int Flash::writeFactoryTmp(uint32_t address, Bytes data) {
  if (!inside(address, data.size())) return -1;
  const std::unique_lock guard(m_mutex);
  try {
    const Descriptor file = openImage(kFactoryTmp);
    return file ? writeAllAt(file.get(), data, address) : -1;
  } catch (const std::runtime_error& problem) {
    std::fprintf(stderr, "virtual board: %s\n", problem.what());
    return -1;
  }
}

int Flash::takeFactoryTmp() {
  const std::unique_lock guard(m_mutex);
  try {
    Descriptor file = openImage(kFactoryTmp);
    if (!file && errno == ENOENT) return 0;
    if (!file) complain("cannot open", kFactoryTmp);
    if (::rename(ownPath(kFactoryTmp).c_str(), ownPath(kImage).c_str()) != 0) complain("cannot move", kFactoryTmp);
    const Descriptor old(fd);
    fd = file.release();
    return 0;
  } catch (const std::runtime_error& problem) {
    std::fprintf(stderr, "virtual board: %s\n", problem.what());
    return -1;
  }
}

}  // namespace vboard
