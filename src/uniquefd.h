// Owns a file descriptor; negative: none.
#pragma once

#include <utility>

namespace TIRK_MCUC {

class UniqueFd {
 public:
  explicit UniqueFd(int fd = -1) : m_fd(fd) {}
  ~UniqueFd() { close(); }
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    if (this != &other) {
      close();
      m_fd = std::exchange(other.m_fd, -1);
    }
    return *this;
  }
  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

 private:
  void close();

  int m_fd;
};

}  // namespace TIRK_MCUC
