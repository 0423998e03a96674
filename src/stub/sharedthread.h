// Detached threads that own a share of the object they run on, so that it lives for as long as they do.
#pragma once

#include <memory>

#include "mcucutil.h"

namespace TIRK_MCUC {

// Starts `body` on a detached thread with a share of `object` as its argument; the body takes it with takeShare. 0 and
// the thread's id, or 0x80005001 after an Error line.
template <class T>
unsigned startSharedThread(std::shared_ptr<T> object, void* (*body)(void*), unsigned long* threadId,
                           const ThreadStartTexts& texts) {
  auto share = std::make_unique<std::shared_ptr<T>>(std::move(object));
  const unsigned result = startDetachedThread(body, share.get(), threadId, texts);
  if (result == 0) static_cast<void>(share.release());  // now the thread's
  return result;
}

template <class T>
std::shared_ptr<T> takeShare(void* argument) {
  const std::unique_ptr<std::shared_ptr<T>> share(static_cast<std::shared_ptr<T>*>(argument));
  return std::move(*share);
}

}  // namespace TIRK_MCUC
