#include "virtual/shellfiles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "virtual/board.h"
#include "virtual/files.h"

namespace vboard {

namespace {

// Its inode is the chip: the daemon has it open, so that a file renamed over it would be a chip that nobody writes to.
constexpr const char* kFlashImage = "/data/tirk/etc/sysconf/pmxpara";

int complain(const char* command, std::string_view path, const std::string& reason) {
  std::fprintf(stderr, "%s: %.*s: %s\n", command, static_cast<int>(path.size()), path.data(), reason.c_str());
  return 1;
}

int complain(const char* command, std::string_view path) {
  return complain(command, path, systemError());
}

// The destination of a copy: a directory takes the file under its own name.
std::optional<std::string> copyTarget(const std::string& source, const std::string& to) {
  auto target = devicePath(to);
  struct stat info = {};
  if (!target || ::lstat(target->c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return target;
  return devicePath(to + source.substr(source.rfind('/')));
}

int copyBytes(int from, int to) {
  for (;;) {
    // In the kernel, and without copying at all where the file system shares blocks.
    const ssize_t count = ::copy_file_range(from, nullptr, to, nullptr, 1U << 30, 0);
    if (count == 0) return 0;
    if (count > 0 || errno == EINTR) continue;
    if (errno != ENOSYS && errno != EXDEV && errno != EINVAL && errno != EOPNOTSUPP) return -1;
    break;
  }
  std::string piece(1U << 16, '\0');
  for (;;) {
    const ssize_t count = ::read(from, piece.data(), piece.size());
    if (count == 0) return 0;
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 || writeAll(to, std::string_view(piece).substr(0, static_cast<size_t>(count))) != 0) return -1;
  }
}

}  // namespace

int makeDirectories(const std::string& path) {
  return makeDeviceDirectory(path) == 0 ? 0 : complain("mkdir", path);
}

int copyFile(const std::string& from, const std::string& to) {
  const auto source = devicePath(from);
  if (!source) return complain("cp", from);
  const Descriptor in = openFile(*source, O_RDONLY | O_NONBLOCK);
  struct stat info = {};
  if (!in || ::fstat(in.get(), &info) != 0) return complain("cp", from);
  if (!S_ISREG(info.st_mode)) return complain("cp", from, "not a regular file");
  const auto target = copyTarget(*source, to);
  if (!target) return complain("cp", to);
  if (*source == *target) return complain("cp", to, "the same file");
  if (*target == devicePath(kFlashImage)) {
    return complain("cp", to, "the flash chip is in use");
  }
  const std::string fresh = *target + ".new";
  const Descriptor out = openFile(fresh, O_WRONLY | O_CREAT | O_TRUNC);
  if (out && copyBytes(in.get(), out.get()) == 0 && ::rename(fresh.c_str(), target->c_str()) == 0) return 0;
  const int reason = errno;
  if (out) ::unlink(fresh.c_str());
  errno = reason;
  return complain("cp", to);
}

int removeTree(const std::string& path) {
  const auto name = devicePath(path, LastLink::Keep);
  if (!name) return complain("rm", path);
  if (*name == boardFile("root")) return complain("rm", path, "the board's root stays");
  std::error_code problem;
  const auto count = std::filesystem::remove_all(*name, problem);
  if (problem) return complain("rm", path, problem.message());
  if (count == 0) return complain("rm", path, std::generic_category().message(ENOENT));
  return 0;
}

int appendLine(std::string_view path, std::string_view text) {
  const auto name = devicePath(path);
  if (!name) return complain("sh", path);
  const Descriptor file = openFile(*name, O_WRONLY | O_APPEND | O_CREAT | O_NONBLOCK);
  if (!file || writeAll(file.get(), std::string(text) + "\n") != 0) return complain("sh", path);
  return 0;
}

int readWhole(const std::string& path, std::string& out) {
  const auto name = devicePath(path);
  const auto text = name ? readFile(*name) : std::nullopt;
  if (!text) return complain("cat", path);
  out = *text;
  return 0;
}

}  // namespace vboard
