// Whether this build carries a sanitizer, which keeps memory of its own and makes everything several times as slow.
#pragma once

namespace testing_support {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif

}  // namespace testing_support
