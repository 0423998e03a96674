// How a fuzzer says that a property does not hold, and how long an input may take.
#pragma once

#include <cstddef>
#include <cstdint>

namespace fuzz {

// Ends the process with the text when it does not hold.
void require(bool holds, const char* what);

// One input's time, as the processor spent it: other processes of the machine do not count. Under libFuzzer an input
// that takes more than 50 ms is a failure; elsewhere, where the build may be any, it is only noted. The slowest input
// is told on standard error when the process ends.
class InputTimer {
 public:
  InputTimer();
  ~InputTimer();
  InputTimer(const InputTimer&) = delete;
  InputTimer& operator=(const InputTimer&) = delete;

 private:
  int64_t m_startUs;
};

}  // namespace fuzz
