#include <cerrno>
#include <charconv>
#include <ctime>
#include <mutex>
#include <stdexcept>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr const char* kFile = "clock";  // microseconds that the board's clock is ahead of the machine's
constexpr int64_t kMicroseconds = 1'000'000;
constexpr int64_t kLargestOffset = 253'402'300'800 * kMicroseconds;  // from 1970 to the end of the year 9999

int64_t machineUs() {
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<int64_t>(now.tv_sec) * kMicroseconds + now.tv_nsec / 1000;
}

}  // namespace

void Clock::open() {
  auto text = readFile(boardFile(kFile));
  if (!text && errno != ENOENT) throw std::runtime_error("cannot read \"clock\": " + systemError());
  if (!text) {
    if (replaceFile(boardFile(kFile), "0\n") != 0) throw std::runtime_error("cannot make \"clock\": " + systemError());
    return;
  }
  while (text->ends_with('\n')) text->pop_back();
  int64_t offset = 0;
  const char* const end = text->data() + text->size();
  const auto [stop, problem] = std::from_chars(text->data(), end, offset);
  if (problem != std::errc() || stop != end || offset > kLargestOffset || offset < -kLargestOffset) {
    throw std::runtime_error("\"clock\" holds no offset in microseconds");
  }
  offsetUs = offset;
}

int64_t Clock::nowUs() const {
  return machineUs() + offsetUs.load();
}

int Clock::set(int64_t microseconds) {
  if (text(microseconds).empty()) return -1;
  const std::lock_guard guard(m_mutex);
  const int64_t offset = microseconds - machineUs();
  if (replaceFile(boardFile(kFile), std::to_string(offset) + "\n") != 0) return -1;
  offsetUs = offset;
  return 0;
}

std::string Clock::text(int64_t microseconds, const char* format) {
  const auto seconds = static_cast<time_t>(microseconds / kMicroseconds);
  tm local = {};
  char out[64];
  if (microseconds < 0 || ::localtime_r(&seconds, &local) == nullptr) return {};
  if (local.tm_year > 9999 - 1900) return {};  // the date texts have four digits for the year
  return std::string(out, std::strftime(out, sizeof out, format, &local));
}

}  // namespace vboard
