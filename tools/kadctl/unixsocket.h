// Unix sockets below a board's directory, whose path may be longer than a socket address holds.
#pragma once

#include <string>

namespace kadctl {

// A descriptor that is closed at the end of its scope; -1 is none.
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
  int release();

 private:
  int m_fd = -1;
};

// Opens a directory for the two below. Throws ClientError.
Descriptor openDirectory(const std::string& path);

// Connects a socket of `type` to, or binds one as, `name` below the directory. Throws ClientError.
Descriptor connectBelow(const Descriptor& directory, const std::string& name, int type);
Descriptor bindBelow(const Descriptor& directory, const std::string& name, int type);

}  // namespace kadctl
