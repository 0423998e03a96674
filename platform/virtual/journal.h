// The journal: what the daemon did to the board, a line each, in the file "journal" of the board's directory.
// Any thread. Off, `on()` is one relaxed load.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>

namespace vboard {

class Journal {
 public:
  bool on() const { return m_on.load(std::memory_order_relaxed); }
  void setOn(bool on) { m_on = on; }

  // Held by the caller around an operation and its line, so that lines stand in the order of the operations.
  // Lock it only when on().
  std::mutex& order() { return m_order; }
  // Appends "TEXT\n", or "TEXT failed CODE\n" when code is not 0.
  void line(const std::string& text, int code = 0);
  void clear();
  std::string text();  // the whole journal

 private:
  std::atomic<bool> m_on{false};
  std::mutex m_order;
  std::mutex m_fileMutex;
};

// " HEX": lower case, cut after 64 bytes and then followed at once by "...".
std::string journalHex(std::span<const uint8_t> bytes);
std::string journalAddress(uint32_t address);  // 0x and eight digits

}  // namespace vboard
