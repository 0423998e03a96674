// The journal: what the daemon did to the board, a line each, in the file "journal" of the board's directory.
// Any thread. Off, `on()` is one relaxed load. The switch that the monitor sets outlives the daemon, as the lines do.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>

namespace vboard {

class Journal {
 public:
  Journal() = default;
  ~Journal();
  Journal(const Journal&) = delete;
  Journal& operator=(const Journal&) = delete;

  void open(bool on);  // at start: on when the settings say so, or when it was switched on before
  bool on() const { return m_on.load(std::memory_order_relaxed); }
  void setOn(bool on);

  // Held by the caller around an operation and its line, so that lines stand in the order of the operations.
  // Lock it only when on().
  std::mutex& order() { return m_order; }
  // Appends "TEXT\n", or "TEXT failed CODE\n" when code is not 0.
  void line(const std::string& text, int code = 0);
  void clear();
  std::string text();  // the whole journal

  // Carries out `operation` (no arguments, returns its code) and writes the line that `text` (no arguments) makes.
  template <class Text, class Operation>
  int record(const Text& text, const Operation& operation) {
    if (!on()) return operation();
    const std::lock_guard guard(m_order);
    const int code = operation();
    line(text(), code);
    return code;
  }

 private:
  std::atomic<bool> m_on{false};
  int fileUnlocked();  // the file, opened or made at the first use

  std::mutex m_order;
  std::mutex m_fileMutex;
  int m_fd = -1;
  bool m_failing = false;  // told of once, until a line can be written again
};

// " HEX": lower case, cut after 64 bytes and then followed at once by "...".
std::string journalHex(std::span<const uint8_t> bytes);
std::string journalAddress(uint32_t address);  // 0x and eight digits

}  // namespace vboard
