#include "kadctl/unixsocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <utility>

#include "kadctl/clienterror.h"

namespace kadctl {

using TIRK_MCUC::UniqueFd;

namespace {

// The directory's descriptor stands in for its path.
sockaddr_un addressBelow(const UniqueFd& directory, const std::string& name) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = "/proc/self/fd/" + std::to_string(directory.get()) + "/" + name;
  if (path.size() >= sizeof address.sun_path) throw ClientError("socket name too long: " + name);
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

UniqueFd makeSocket(int type) {
  UniqueFd fd(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0));
  if (fd.get() < 0) throw ClientError(std::string("no socket: ") + std::strerror(errno));
  return fd;
}

}  // namespace

UniqueFd openDirectory(const std::string& path) {
  UniqueFd fd;
  // In pieces that the system takes, each below the one before.
  for (std::string rest = path; !fd || !rest.empty();) {
    const size_t cut = rest.size() < PATH_MAX ? std::string::npos : rest.rfind('/', PATH_MAX - 1);
    const int from = fd ? fd.get() : AT_FDCWD;
    UniqueFd next(::openat(from, rest.substr(0, cut).c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!next)
      throw ClientError("no board at " + path + " (" + std::strerror(errno) + "): start kadrend, or name it with -b");
    fd = std::move(next);
    rest.erase(0, rest.find_first_not_of('/', cut));
  }
  return fd;
}

UniqueFd connectBelow(const UniqueFd& directory, const std::string& name, int type) {
  UniqueFd fd = makeSocket(type);
  const sockaddr_un address = addressBelow(directory, name);
  if (::connect(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw ClientError(name + ": " + std::strerror(errno));
  }
  return fd;
}

UniqueFd bindBelow(const UniqueFd& directory, const std::string& name, int type) {
  UniqueFd fd = makeSocket(type);
  const sockaddr_un address = addressBelow(directory, name);
  ::unlink(address.sun_path);
  if (::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    throw ClientError("cannot bind " + name + ": " + std::strerror(errno));
  }
  return fd;
}

}  // namespace kadctl
