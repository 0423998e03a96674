#include "virtual/cardlog.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "virtual/board.h"

namespace vboard {

namespace {

constexpr char kFile[] = "cards";
constexpr char kFreshFile[] = "cards.new";
constexpr uint8_t kMagic[8] = {'c', 'a', 'r', 'd', 's', ' ', '1', '\n'};
constexpr size_t kHeader = 8;
constexpr uint64_t kGrowth = 32U << 20;
constexpr size_t kWriteSize = 1U << 20;

uint32_t checksum(CardLog::Record record) {
  uint32_t sum = 2166136261U;
  for (const uint8_t byte : record) sum = (sum ^ byte) * 16777619U;
  return sum;
}

void putDword(std::vector<uint8_t>& out, uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<uint8_t>(value >> shift));
}

uint32_t dwordAt(const std::vector<uint8_t>& bytes, size_t at) {
  return bytes[at] | static_cast<uint32_t>(bytes[at + 1]) << 8 | static_cast<uint32_t>(bytes[at + 2]) << 16 |
         static_cast<uint32_t>(bytes[at + 3]) << 24;
}

void putRecord(std::vector<uint8_t>& out, CardLog::Record record) {
  putDword(out, static_cast<uint32_t>(record.size()));
  putDword(out, checksum(record));
  out.insert(out.end(), record.begin(), record.end());
}

bool put(const Descriptor& file, CardLog::Record bytes) {
  return writeAll(file.get(), {reinterpret_cast<const char*>(bytes.data()), bytes.size()}) == 0;
}

bool readWhole(const Descriptor& file, std::vector<uint8_t>& bytes) {
  struct stat status;
  if (!file || ::fstat(file.get(), &status) != 0) return false;
  bytes.resize(static_cast<size_t>(status.st_size));
  return readAllAt(file.get(), bytes, 0) == 0;
}

std::runtime_error failure(const char* what) {
  return std::runtime_error(std::string("\"") + kFile + "\" " + what + ": " + systemError());
}

// The length of the whole record at `at`, 0 when there is none.
size_t wholeRecord(const std::vector<uint8_t>& bytes, size_t at) {
  if (bytes.size() - at < kHeader) return 0;
  const size_t length = dwordAt(bytes, at);
  if (length == 0 || length > bytes.size() - at - kHeader) return 0;
  const bool intact = checksum(CardLog::Record(bytes).subspan(at + kHeader, length)) == dwordAt(bytes, at + 4);
  return intact ? length : 0;
}

}  // namespace

void CardLog::open(const Take& take) {
  m_file = openFile(boardFile(kFile), O_RDWR | O_CREAT | O_APPEND);
  std::vector<uint8_t> bytes;
  if (!readWhole(m_file, bytes)) throw failure("cannot be read");
  if (bytes.size() < sizeof kMagic && std::equal(bytes.begin(), bytes.end(), kMagic)) {
    bytes.assign(std::begin(kMagic), std::end(kMagic));
    if (::ftruncate(m_file.get(), 0) != 0 || !put(m_file, kMagic)) throw failure("cannot be written");
  }
  if (bytes.size() < sizeof kMagic || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0) {
    throw std::runtime_error(std::string("\"") + kFile + "\" is no log of cards");
  }
  size_t at = sizeof kMagic;
  for (size_t length = 0; (length = wholeRecord(bytes, at)) != 0; at += kHeader + length) {
    if (take(Record(bytes).subspan(at + kHeader, length))) continue;
    throw std::runtime_error(std::string("\"") + kFile + "\" makes no sense at byte " + std::to_string(at));
  }
  if (at < bytes.size() && ::ftruncate(m_file.get(), static_cast<off_t>(at)) != 0) throw failure("cannot be written");
  m_size = m_replacedSize = at;
}

int CardLog::append(Record record) {
  std::vector<uint8_t> bytes;
  bytes.reserve(kHeader + record.size());
  putRecord(bytes, record);
  if (!put(m_file, bytes)) {
    // What was written of it would be taken for the end of the log.
    if (::ftruncate(m_file.get(), static_cast<off_t>(m_size)) != 0) std::perror(kFile);
    return -1;
  }
  m_size += bytes.size();
  return 0;
}

int CardLog::replace(const Produce& produce) {
  Descriptor fresh;
  std::vector<uint8_t> bytes;
  bytes.reserve(kWriteSize);  // at once: pieces of what it grows from would stay in the heap
  bytes.assign(std::begin(kMagic), std::end(kMagic));
  uint64_t size = 0;
  bool good = true;
  const auto flush = [&] {
    if (!fresh) fresh = openFile(boardFile(kFreshFile), O_RDWR | O_CREAT | O_TRUNC | O_APPEND);
    good = good && fresh && put(fresh, bytes);
    size += bytes.size();
    bytes.clear();
  };
  produce([&](Record record) {
    putRecord(bytes, record);
    if (bytes.size() >= kWriteSize) flush();
  });
  if (size == 0 && holds(bytes)) {
    m_replacedSize = m_size;
    return 0;
  }
  flush();
  if (!good || std::rename(boardFile(kFreshFile).c_str(), boardFile(kFile).c_str()) != 0) {
    ::unlink(boardFile(kFreshFile).c_str());
    return -1;
  }
  m_file = std::move(fresh);
  m_size = m_replacedSize = size;
  return 0;
}

bool CardLog::holds(Record bytes) const {
  std::vector<uint8_t> present(bytes.size());
  return m_size == bytes.size() && readAllAt(m_file.get(), present, 0) == 0 &&
         std::equal(bytes.begin(), bytes.end(), present.begin());
}

bool CardLog::wantsReplacing() const {
  return m_size > 2 * m_replacedSize + kGrowth;
}

}  // namespace vboard
