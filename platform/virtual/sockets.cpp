#include "virtual/sockets.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "virtual/board.h"

namespace vboard {

namespace {

// Names are short: the board's directory is reached through its descriptor.
bool fillAddress(sockaddr_un& address, const std::string& name) {
  const std::string path = boardFile(name);
  address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) {
    errno = ENAMETOOLONG;
    return false;
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return true;
}

const sockaddr* generic(const sockaddr_un& address) {
  return reinterpret_cast<const sockaddr*>(&address);
}

}  // namespace

Descriptor connectSocket(int type, const std::string& name) {
  sockaddr_un address;
  if (!fillAddress(address, name)) return {};
  Descriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (!socket) return {};
  if (::connect(socket.get(), generic(address), sizeof address) != 0) return {};
  return socket;
}

Descriptor bindSocket(int type, const std::string& name) {
  if (connectSocket(type, name)) {
    errno = EADDRINUSE;
    return {};
  }
  const std::string fresh = name + ".new";
  sockaddr_un address;
  if (!fillAddress(address, fresh)) return {};
  Descriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (!socket) return {};
  // The mode of the socket is the mode of the file that bind makes, so that it is private from the start.
  if (::fchmod(socket.get(), S_IRUSR | S_IWUSR) != 0) return {};
  const std::string freshPath = boardFile(fresh);
  ::unlink(freshPath.c_str());
  if (::bind(socket.get(), generic(address), sizeof address) != 0) return {};
  // A stream socket must take connections before its name is seen.
  if (type == SOCK_STREAM && ::listen(socket.get(), SOMAXCONN) != 0) return {};
  if (std::rename(freshPath.c_str(), boardFile(name).c_str()) != 0) {
    const int error = errno;
    ::unlink(freshPath.c_str());
    errno = error;
    return {};
  }
  return socket;
}

}  // namespace vboard
