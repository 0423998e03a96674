#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <stdexcept>
#include <vector>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

constexpr int kMaxLinks = 40;  // as the kernel counts them

// Puts the parts of `path` on the stack, the first part on top.
void pushParts(std::vector<std::string>& stack, std::string_view path) {
  while (!path.empty()) {
    const size_t slash = path.rfind('/');
    const size_t begin = slash == std::string_view::npos ? 0 : slash + 1;
    if (begin < path.size()) stack.emplace_back(path.substr(begin));
    path = path.substr(0, slash == std::string_view::npos ? 0 : slash);
  }
}

std::optional<std::string> linkTarget(const std::string& name) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink(name.c_str(), target, sizeof target);
  if (length < 0) return std::nullopt;
  return std::string(target, static_cast<size_t>(length));
}

std::optional<std::string> fail(int reason) {
  errno = reason;
  return std::nullopt;
}

}  // namespace

std::optional<std::string> devicePath(std::string_view path, LastLink last) {
  if (!path.starts_with('/')) return fail(EINVAL);
  std::vector<std::string> pending;
  pushParts(pending, path);
  const std::string root = boardFile("root");
  std::string resolved = root;
  for (int links = 0; !pending.empty();) {
    const std::string part = pending.back();
    pending.pop_back();
    if (part == ".") continue;
    if (part == "..") {
      if (resolved.size() == root.size()) return fail(EACCES);
      resolved.resize(resolved.rfind('/'));
      continue;
    }
    std::string name = resolved;
    name.append("/").append(part);
    const bool follow = !pending.empty() || last == LastLink::Follow;
    const auto target = follow ? linkTarget(name) : std::nullopt;
    if (!target) {
      resolved = name;
    } else if (target->starts_with('/')) {
      return fail(EACCES);
    } else if (++links > kMaxLinks) {
      return fail(ELOOP);
    } else {
      pushParts(pending, *target);
    }
  }
  return resolved;
}

std::string ownPath(std::string_view path) {
  auto name = devicePath(path);
  if (!name) throw std::runtime_error("\"root" + std::string(path) + "\" leads out of the board");
  return *name;
}

int makeDeviceDirectory(std::string_view path) {
  const auto name = devicePath(path);
  if (!name) return -1;
  for (size_t at = boardFile("root").size(); at < name->size();) {
    at = std::min(name->find('/', at + 1), name->size());
    if (makeDirectory(name->substr(0, at)) != 0) return -1;
  }
  return 0;
}

}  // namespace vboard
