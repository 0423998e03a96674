// Waiting for what another thread or process does.
#pragma once

#include <functional>

namespace testing_support {

// Polls the condition until it holds; false after the time is up.
bool waitUntil(const std::function<bool()>& condition, int timeoutMs = 10000);

}  // namespace testing_support
