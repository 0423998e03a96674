// An open file descriptor and its owner.
#pragma once

#include <utility>

namespace vboard {

class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(other.release()) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  int get() const { return m_fd; }
  int release() { return std::exchange(m_fd, -1); }  // no longer owned
  explicit operator bool() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

}  // namespace vboard
