#include "mappedhead.h"

#include <sys/mman.h>

#include <atomic>
#include <csignal>
#include <cstdint>
#include <cstring>

namespace TIRK_MCUC {

namespace {

// A store into a page that its file no longer has, or that finds no room on the device, is a bus error of the storing
// thread. The handler then puts a page of memory in place of the file's, so that the store ends and can be told to have
// failed.
struct Store {
  char* page;
  size_t length;
  volatile sig_atomic_t failed;
};
thread_local Store* volatile t_store = nullptr;
struct sigaction g_otherwise {};  // what was done at a bus error before

void endStore(int, siginfo_t* information, void*) {
  Store* const store = t_store;
  const auto at = reinterpret_cast<uintptr_t>(information->si_addr);
  const auto page = store != nullptr ? reinterpret_cast<uintptr_t>(store->page) : 0;
  const bool ours = information->si_code > 0 && store != nullptr && at >= page && at - page < store->length;
  constexpr int kInItsPlace = MAP_FIXED | MAP_PRIVATE | MAP_ANONYMOUS;
  if (ours && mmap(store->page, store->length, PROT_READ | PROT_WRITE, kInItsPlace, -1, 0) != MAP_FAILED) {
    store->failed = 1;
    return;
  }
  sigaction(SIGBUS, &g_otherwise, nullptr);  // an error of another kind comes again and finds that
  if (information->si_code <= 0) raise(SIGBUS);
}

bool watchStores() {
  struct sigaction action {};
  action.sa_sigaction = endStore;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGBUS, &action, &g_otherwise) == 0;
}

}  // namespace

void MappedHead::map(int fd, size_t length) {
  static const bool watched = watchStores();
  unmap();
  if (!watched) return;
  void* const page = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (page == MAP_FAILED) return;
  m_page = static_cast<char*>(page);
  m_length = length;
}

bool MappedHead::write(const char* bytes) {
  if (m_page == nullptr) return false;
  Store store{m_page, m_length, 0};
  t_store = &store;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  memcpy(m_page, bytes, m_length);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  t_store = nullptr;
  if (store.failed == 0) return true;
  unmap();
  return false;
}

void MappedHead::unmap() {
  if (m_page != nullptr) munmap(m_page, m_length);
  m_page = nullptr;
}

}  // namespace TIRK_MCUC
