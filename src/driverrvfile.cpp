// DriverUtil: configuration files of receiving cards. They live in one directory; nothing outside it, no directory and
// no symbolic link is ever written or removed.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "driverutil.h"
#include "fileio.h"
#include "mcucbytes.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/flashmap.h"
#include "uniquefd.h"

namespace TIRK_MCUC {

namespace {

constexpr std::string_view kRvParent = "/data/tirk/etc/qxt";
constexpr const char* kRvName = "cabCfg";
constexpr int kLastFileNumber = 31;  // above it, a file is named by its path

constexpr size_t kHeaderLength = 32;
constexpr size_t kRecordHeaderLength = 8;
constexpr uint16_t kLongestRecord = 4096;
constexpr uint16_t kPieceLength = 512;
constexpr unsigned long kPiecePauseMs = 10;
constexpr unsigned long kRecordPauseMs = 15;

enum class Presence { missing, regular, other, unknown };

std::string numberedName(int number) {
  return "RvCfgFile_" + std::to_string(number) + ".rcfgx";
}

// The name within the directory; none when the path leads elsewhere.
std::optional<std::string> nameInDirectory(const char* file_name, int number) {
  if (file_name == nullptr || number <= kLastFileNumber) return numberedName(number);
  std::string_view name = file_name;
  if (name.starts_with(kRvDirectory)) name.remove_prefix(kRvDirectory.size());
  if (name.empty() || name == "." || name == ".." || name.find('/') != std::string_view::npos) {
    TRACE_ERROR("=== RvFile ===not in the configuration directory! file = " << file_name);
    return std::nullopt;
  }
  return std::string(name);
}

std::string pathOf(const std::string& name) {
  return std::string(kRvDirectory) + name;
}

UniqueFd openDirectory() {
  const UniqueFd parent(open(boardPath(std::string(kRvParent)).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!parent) return UniqueFd();
  return UniqueFd(openat(parent.get(), kRvName, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

void makeDirectory() {
  for (size_t end = kRvDirectory.find('/', 1); end != std::string_view::npos; end = kRvDirectory.find('/', end + 1)) {
    mkdir(boardPath(std::string(kRvDirectory.substr(0, end))).c_str(), 0775);
  }
}

// A regular file of the directory; none, with errno set, when it is not there or something else.
UniqueFd openFile(const std::string& name, int flags) {
  const UniqueFd directory = openDirectory();
  if (!directory) return UniqueFd();
  // Not blocking: a pipe of that name must not hold the caller.
  UniqueFd file(openat(directory.get(), name.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, 0664));
  struct stat status {};
  if (!file || fstat(file.get(), &status) != 0) return UniqueFd();
  if (S_ISREG(status.st_mode)) return file;
  errno = EINVAL;
  return UniqueFd();
}

Presence presenceOf(const UniqueFd& directory, const std::string& name) {
  struct stat status {};
  if (!directory || fstatat(directory.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    return errno == ENOENT ? Presence::missing : Presence::unknown;
  }
  return S_ISREG(status.st_mode) ? Presence::regular : Presence::other;
}

Presence presenceOf(const std::string& name) {
  return presenceOf(openDirectory(), name);
}

bool removeFile(const std::string& name) {
  const UniqueFd directory = openDirectory();
  if (directory && unlinkat(directory.get(), name.c_str(), 0) == 0) return true;
  TRACE_ERROR("=== RvFile ===remove failed! file = " << pathOf(name) << " errno = " << errno);
  return false;
}

void reportUnknown() {
  fputs("get directory stat error\n", stderr);
}

// The number of bytes that were there.
size_t readAll(int fd, MutableBytes bytes) {
  size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = read(fd, bytes.data() + done, bytes.size() - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  return done;
}

// The whole file; none, with an Error line, when it cannot be read or is longer than a stored file can be.
std::optional<std::vector<uint8_t>> readWhole(const UniqueFd& file, const std::string& path) {
  struct stat status {};
  if (fstat(file.get(), &status) != 0 || status.st_size > off_t{flash::kRvFiles.length}) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===file too long! file = " << path);
    return std::nullopt;
  }
  std::vector<uint8_t> bytes(static_cast<size_t>(status.st_size));
  bytes.resize(readAll(file.get(), bytes));
  return bytes;
}

struct RvRecord {
  uint32_t InsAddr;
  uint16_t DlyTime;  // ms
  Bytes data;
};

// The record at `position`; none, with an Error line, when it is too long, does not lie wholly in the file, or its data
// would go on from a card's last register to its first.
std::optional<RvRecord> recordAt(Bytes file, size_t position) {
  if (position > file.size() || file.size() - position < kRecordHeaderLength) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===record header beyond the file! position = " << position);
    return std::nullopt;
  }
  const uint8_t* header = &file[position];
  const uint16_t InsNum = readWord(header + 6);
  if (InsNum > kLongestRecord) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===record too long! InsNum = " << InsNum);
    return std::nullopt;
  }
  if (file.size() - position - kRecordHeaderLength < InsNum) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===record beyond the file! position = " << position << " InsNum = " << InsNum);
    return std::nullopt;
  }
  const uint32_t InsAddr = readDword(header);
  if (InsNum != 0 && InsAddr > UINT32_MAX - (InsNum - 1U)) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===record leaves the card's registers! InsAddr = " << InsAddr);
    return std::nullopt;
  }
  return RvRecord{InsAddr, readWord(header + 4), file.subspan(position + kRecordHeaderLength, InsNum)};
}

void sendRecord(DriverUtil& driver, const RvRecord& record) {
  for (size_t offset = 0; offset < record.data.size(); offset += kPieceLength) {
    if (offset != 0) Sleep(kPiecePauseMs);
    const Bytes piece = record.data.subspan(offset, std::min<size_t>(kPieceLength, record.data.size() - offset));
    const uint32_t address = record.InsAddr + static_cast<uint32_t>(offset);
    const int ret =
        driver.SendCardPara(address, kAllPorts, kAllCards, static_cast<uint16_t>(piece.size()), piece.data(), RecvCard);
    if (ret != 0) TRACE_ERROR("=== LoadRvCfgToRecvCard ===send failed! addr = " << address << " ret = " << ret);
  }
  Sleep(kRecordPauseMs);
  if (record.DlyTime != 0) Sleep(record.DlyTime);
}

void replay(DriverUtil& driver, Bytes file, int load_index) {
  if (file.size() < kHeaderLength) {
    TRACE_ERROR("=== LoadRvCfgToRecvCard ===file header incomplete! length = " << file.size());
    return;
  }
  const uint16_t TotalInsNum = readWord(file.data());
  size_t position = kHeaderLength;
  for (unsigned i = 0; i < TotalInsNum; ++i) {
    TRACE_INFO("pack " << i << " Index: " << load_index << "transfing!======");
    const std::optional<RvRecord> record = recordAt(file, position);
    if (!record) return;
    sendRecord(driver, *record);
    position += kRecordHeaderLength + record->data.size();
  }
}

}  // namespace

int DriverUtil::ReadBytesFromrecvcard(int, uint32_t addr, uint32_t length, uint8_t* data, const char* buff) {
  const std::string path = buff != nullptr ? boardPath(buff) : "";
  errno = ENOENT;
  const UniqueFd file(path.empty() ? -1 : open(path.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC));
  if (!file) {
    const int error = errno;
    char detail[128] = {};
    TRACE_ERROR("=== ReadBytesFromrecvcard: file open errno = " << error << " detail = "
                                                                << strerror_r(error, detail, sizeof detail));
    return error;
  }
  if (lseek(file.get(), off_t{addr}, SEEK_SET) >= 0) readAll(file.get(), {data, length});
  return 0;
}

int DriverUtil::WriteRvFileToFalsh(const char* file_name, int save_rv_num, uint32_t begin_addr,
                                   const uint8_t* write_data, uint32_t length) {
  const std::optional<std::string> name = nameInDirectory(file_name, save_rv_num);
  if (!name) return 1;
  const std::string path = pathOf(*name);
  TRACE_INFO("Filename:" << path << "begin addr" << begin_addr << "lenth" << length);
  makeDirectory();
  const UniqueFd file = openFile(*name, O_WRONLY | O_CREAT);
  if (!file) {
    perror("File Fail");
    TRACE_INFO("Open File " << path << " fail!");
    return 1;
  }
  if (lseek(file.get(), off_t{begin_addr}, SEEK_SET) < 0) {
    TRACE_ERROR("File " << path << " LSEEK fail!");
    return 1;
  }
  const bool written = writeAll(file.get(), {write_data, length});
  if (!written) TRACE_ERROR("=== WriteRvFileToFalsh ===write failed! file = " << path << " errno = " << errno);
  fsync(file.get());
  return written ? 0 : 1;
}

int DriverUtil::RemoveRvFile(const char* file_name, int delate_num) {
  const std::optional<std::string> name = nameInDirectory(file_name, delate_num);
  if (!name) return -1;
  switch (presenceOf(*name)) {
    case Presence::unknown:
      reportUnknown();
      return -1;
    case Presence::regular:
      TRACE_INFO("<<<<<<<<<<<<<<<<<<< Delate File: " << pathOf(*name) << ">>>>>>>>>>>>>>>>>>>>>>");
      removeFile(*name);
      return 0;
    default:
      return 0;
  }
}

int DriverUtil::RemoveOtherRvFile(int begin_num, int max_num) {
  for (int number = begin_num; number < max_num; ++number) {
    const std::string name = numberedName(number);
    const Presence presence = presenceOf(name);
    if (presence == Presence::unknown) reportUnknown();
    if (presence == Presence::regular && removeFile(name)) {
      TRACE_INFO("<<<<<<<<<<<<<<<<<<< Remove File: " << pathOf(name) << "Ok >>>>>>>>>>>>>>>>>>>>>>");
    }
  }
  return 0;
}

int DriverUtil::LoadRvCfgToRecvCard(int load_index) {
  const std::string name = numberedName(load_index);
  const std::string path = pathOf(name);
  TRACE_INFO("======Send RvCfg File:" << load_index << " Dir: " << path << "!======");
  if (presenceOf(name) == Presence::missing) {
    TRACE_ERROR("======Read File: " << path << " File Not exist!======");
    return 0;
  }
  const UniqueFd file = openFile(name, O_RDONLY);
  if (!file) {
    TRACE_ERROR("======fOpen File: " << path << " File!======");
    return 0;
  }
  if (const auto bytes = readWhole(file, path)) replay(*this, *bytes, load_index);
  return 0;
}

}  // namespace TIRK_MCUC
