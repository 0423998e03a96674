// Unix sockets below the board's directory, private to their owner. Any thread.
#pragma once

#include <string>
#include <utility>

namespace vboard {

// An open file descriptor and its owner.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor();

  int get() const { return m_fd; }
  explicit operator bool() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

// Opens a socket of `type` (SOCK_DGRAM, SOCK_STREAM) and binds it to `name` below the board's directory, mode 0600.
// What stood there before is replaced in one step, unless a living socket of that type answers. Empty, errno set, on
// failure.
Descriptor bindSocket(int type, const std::string& name);

// Connects a socket of `type` to `name`. Empty, errno set, when nobody is there.
Descriptor connectSocket(int type, const std::string& name);

}  // namespace vboard
