#include "support/waiting.h"

#include <chrono>
#include <thread>

namespace testing_support {

bool waitUntil(const std::function<bool()>& condition, int timeoutMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return true;
}

}  // namespace testing_support
