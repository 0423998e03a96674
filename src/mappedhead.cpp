#include "mappedhead.h"

#include <sys/mman.h>

#include <atomic>
#include <csignal>
#include <cstring>

namespace TIRK_MCUC {

namespace {

// An access to a page that its file no longer has, or for which the device has no room, is a bus error of the thread.
// The handler then puts a page of memory in place of the file's, so that the access ends and can be told to have
// failed. That the thread is at one is all that is asked: an emulator gives the error's address in the machine's terms.
struct Access {
  char* page;
  size_t length;
  volatile sig_atomic_t failed;
};
thread_local Access* volatile t_access = nullptr;
struct sigaction g_otherwise {};  // what was done at a bus error before

void endAccess(int, siginfo_t* information, void*) {
  Access* const access = t_access;
  const bool ours = information->si_code == BUS_ADRERR && access != nullptr;
  constexpr int kInItsPlace = MAP_FIXED | MAP_PRIVATE | MAP_ANONYMOUS;
  if (ours && mmap(access->page, access->length, PROT_READ | PROT_WRITE, kInItsPlace, -1, 0) != MAP_FAILED) {
    access->failed = 1;
    return;
  }
  sigaction(SIGBUS, &g_otherwise, nullptr);  // an error of another kind comes again and finds that
  if (information->si_code <= 0) raise(SIGBUS);
}

bool watchAccesses() {
  struct sigaction action {};
  action.sa_sigaction = endAccess;
  action.sa_flags = SA_SIGINFO;
  sigemptyset(&action.sa_mask);
  return sigaction(SIGBUS, &action, &g_otherwise) == 0;
}

}  // namespace

void MappedHead::map(int fd, size_t length) {
  static const bool watched = watchAccesses();
  unmap();
  if (!watched) return;
  void* const page = mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (page == MAP_FAILED) return;
  m_page = static_cast<char*>(page);
  m_length = length;
}

bool MappedHead::read(char* bytes) {
  return m_page != nullptr && copy(bytes, m_page);
}

bool MappedHead::write(const char* bytes) {
  return m_page != nullptr && copy(m_page, bytes);
}

bool MappedHead::copy(char* to, const char* from) {
  Access access{m_page, m_length, 0};
  t_access = &access;
  std::atomic_signal_fence(std::memory_order_seq_cst);
  memcpy(to, from, m_length);
  std::atomic_signal_fence(std::memory_order_seq_cst);
  t_access = nullptr;
  if (access.failed == 0) return true;
  unmap();
  return false;
}

void MappedHead::unmap() {
  if (m_page != nullptr) munmap(m_page, m_length);
  m_page = nullptr;
}

}  // namespace TIRK_MCUC
