#include "mcuctracefile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string_view>
#include <utility>

#include "boardhost.h"
#include "mcuctrace.h"
#include "mcucutil.h"

namespace TIRK_MCUC {

namespace {

constexpr unsigned long kBytesPerLine = 1024;
LocalTime g_lastTime{};  // guarded by g_mutex

CMutexThreadRecursive& traceMutex() {
  static NoDestroy<CMutexThreadRecursive> mutex(LockRank::trace);
  return mutex.get();
}

CTraceFileMgr& traceManager() {
  static NoDestroy<CTraceFileMgr> manager;
  return manager.get();
}

// "[MM/DD/YYYY HH:MM:SS.mmm pid=N uuid=0xN] ". Within one second only the milliseconds are written anew. Guarded by
// g_mutex.
struct LineStamp {
  time_t second = 0;
  uint32_t uuid = 0;
  size_t millisecondsAt = 0;
  size_t length = 0;
  char text[128] = {};

  void update() {
    const LocalTime now = boardLocalTime();
    if (length == 0 || now.epochSecond != second || log_uuid != uuid) rebuild(now);
    char* digits = text + millisecondsAt;
    digits[0] = static_cast<char>('0' + now.millisecond / 100 % 10);
    digits[1] = static_cast<char>('0' + now.millisecond / 10 % 10);
    digits[2] = static_cast<char>('0' + now.millisecond % 10);
  }

 private:
  void rebuild(const LocalTime& now) {
    second = now.epochSecond;
    uuid = log_uuid;
    const int date = snprintf(text, sizeof text, "[%02d/%02d/%04d %02d:%02d:%02d.", now.month, now.day, now.year,
                              now.hour, now.minute, now.second);
    millisecondsAt = static_cast<size_t>(date);
    const int tags = snprintf(text + date, sizeof text - millisecondsAt, "000 pid=%d uuid=0x%x] ", getpid(), uuid);
    length = millisecondsAt + static_cast<size_t>(tags);
  }
};

LineStamp& lineStamp() {
  static LineStamp stamp;
  return stamp;
}

// Writes one line of at most `room` bytes: cut to fit, it still ends in a line feed. Its length.
size_t formatLine(char* out, size_t room, const char* module, const char* levelName, const char* text) {
  if (room == 0) return 0;
  LineStamp& stamp = lineStamp();
  stamp.update();
  size_t length = 0;
  const auto append = [&](const char* from, size_t count) {
    count = std::min(count, room - 1 - length);
    memcpy(out + length, from, count);
    length += count;
  };
  append(stamp.text, stamp.length);
  if (module != nullptr && levelName != nullptr) {
    append(levelName, strlen(levelName));
    append(":", 1);
  }
  append(text, strlen(text));
  out[length] = '\n';
  return length + 1;
}

// The bytes written until the file took no more.
size_t writeAllAt(int fd, const char* bytes, size_t length, unsigned long offset) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = pwrite(fd, bytes + done, length - done, static_cast<off_t>(offset + done));
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    done += static_cast<size_t>(count);
  }
  return done;
}

// A closed or full standard output loses the echo and nothing else.
void echoToStandardOutput(const char* bytes, size_t length) {
  size_t done = 0;
  while (done < length) {
    const ssize_t count = ::write(STDOUT_FILENO, bytes + done, length - done);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return;
    done += static_cast<size_t>(count);
  }
}

}  // namespace

const char g_logLevelEntry[4][8] = {"Error", "Warning", "Debug", "Info"};
CMutexThreadRecursive& g_mutex = traceMutex();
CTraceFileMgr& g_trace_mgr = traceManager();

LocalTime boardLocalTime() {
  timeval now{};
  board_clock_get(&now);
  if (g_lastTime.month == 0 || g_lastTime.epochSecond != now.tv_sec) {
    tm local{};
    localtime_r(&now.tv_sec, &local);
    g_lastTime = {now.tv_sec,    local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                  local.tm_hour, local.tm_min,         local.tm_sec,     0};
  }
  g_lastTime.millisecond = static_cast<long>(now.tv_usec / 1000);
  return g_lastTime;
}

const LocalTime& lastLocalTime() {
  return g_lastTime;
}

// --- CTraceFile

CTraceFile::CTraceFile(std::string name, unsigned long maxSize, bool shared)
    : m_pFileName(std::move(name)), m_lMaxSize(maxSize), m_bShared(shared ? 1 : 0) {
  m_buffer.resize(static_cast<size_t>(m_nFlushFreq) * kBytesPerLine + 1);
  m_lock.l_type = F_WRLCK;
  m_lock.l_whence = SEEK_SET;
  m_unlock.l_type = F_UNLCK;
  m_unlock.l_whence = SEEK_SET;
  openFile();
}

CTraceFile::~CTraceFile() {
  m_nMagicNumber = 0;
}

void CTraceFile::openFile() {
  const std::string path = boardPath(m_pFileName);
  if (path.empty()) return;
  m_pFile = UniqueFd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (m_bShared != 0 ? 0 : O_TRUNC), 0666));
  if (!m_pFile) return;
  if (m_bShared == 0) {
    writeHeader(kTraceHeaderLength);
    m_head.map(m_pFile.get(), kTraceHeaderLength);
    return;
  }
  // Another process may be writing: only the lock makes it safe to look.
  [[maybe_unused]] const int ignored = fchmod(m_pFile.get(), 0666);
  control(m_lock);
  if (lseek(m_pFile.get(), 0, SEEK_END) == 0) writeHeader(kTraceHeaderLength);
  control(m_unlock);
}

void CTraceFile::control(const struct flock& record) {
  struct flock copy = record;
  while (fcntl(m_pFile.get(), F_SETLKW, &copy) != 0 && (errno == EINTR || errno == EAGAIN)) {
  }
}

unsigned long CTraceFile::headerOffset() {
  char header[kTraceHeaderLength];
  unsigned long offset = 0;
  if (m_head.read(header) || pread(m_pFile.get(), header, sizeof header, 0) == ssize_t{sizeof header}) {
    std::from_chars(header, header + sizeof header, offset);
  }
  return offset;
}

unsigned long CTraceFile::fillOffset() {
  const unsigned long offset = headerOffset();
  // Whether somebody has cut a file whose header still holds what we wrote is looked for once a second.
  if (m_bShared == 0 && offset == m_ownOffset && m_checkedSecond == lineStamp().second) return offset;
  m_checkedSecond = lineStamp().second;
  const off_t end = lseek(m_pFile.get(), 0, SEEK_END);
  const unsigned long size = end > 0 ? static_cast<unsigned long>(end) : 0;
  return offset < kTraceHeaderLength || offset > size ? std::max(size, kTraceHeaderLength) : offset;
}

// Writes at the offset, then moves it.
void CTraceFile::append(const char* bytes, size_t length, unsigned long offset) {
  m_ownOffset = offset + writeAllAt(m_pFile.get(), bytes, length, offset);
  writeHeader(m_ownOffset);
}

void CTraceFile::cut(unsigned long size) {
  [[maybe_unused]] const int ignored = ftruncate(m_pFile.get(), static_cast<off_t>(size));
}

void CTraceFile::writeHeader(unsigned long offset) {
  char header[kTraceHeaderLength];
  memset(header, ' ', sizeof header);
  std::to_chars(header, header + sizeof header - 1, offset);
  header[sizeof header - 1] = '\n';
  if (!m_head.write(header)) writeAllAt(m_pFile.get(), header, sizeof header, 0);
}

unsigned long CTraceFile::room() const {
  return m_buffer.size() - 1 - m_pos;
}

void CTraceFile::write(const char* module, const char* levelName, const char* text) {
  assert(m_nMagicNumber == 20170619);
  if (text == nullptr) return;
  if (m_bShared != 0) {
    write_shared(module, levelName, text);
    return;
  }
  const size_t length = formatLine(m_buffer.data() + m_pos, room(), module, levelName, text);
  if (length == 0 || !m_pFile) return;
  m_pos += length;
  ++m_current_line;
  if (m_current_line >= m_nFlushFreq || room() == 0) flush_buffer();
}

void CTraceFile::flush_buffer() {
  if (!m_pFile || m_pos == 0) return;
  const unsigned long offset = fillOffset();
  if (m_lMaxSize != 0 && offset >= m_lMaxSize) {
    cut(offset);
    m_bMaxReached = 1;
  }
  append(m_buffer.data(), m_pos, offset);
  echoToStandardOutput(m_buffer.data(), m_pos);
  m_pos = 0;
  m_current_line = 0;
}

void CTraceFile::write_shared(const char* module, const char* levelName, const char* text) {
  if (!m_pFile) return;
  const size_t length = formatLine(m_buffer.data(), room(), module, levelName, text);
  control(m_lock);
  unsigned long offset = fillOffset();
  if (m_lMaxSize != 0 && offset >= m_lMaxSize) {
    cut(offset);
    offset = kTraceHeaderLength;
  }
  append(m_buffer.data(), length, offset);
  control(m_unlock);
}

void CTraceFile::set_settings(unsigned long maxSize, int flushFreq) {
  m_lMaxSize = maxSize;
  const int frequency = std::clamp(flushFreq, 1, 1024);
  if (frequency == m_nFlushFreq) return;
  flush_buffer();
  m_nFlushFreq = frequency;
  m_buffer.assign(static_cast<size_t>(frequency) * kBytesPerLine + 1, '\0');
}

// --- CTraceFileMgr

CTraceFile* CTraceFileMgr::open(const char* name, unsigned long maxSize, bool shared, int flushFreq) {
  CMutexGuardT guard(g_mutex);
  for (CTraceFile* file = m_pHead.get(); file != nullptr; file = file->m_pNext.get()) {
    if (file->is_same_file(name)) return file;
  }
  auto file = std::make_unique<CTraceFile>(name, maxSize, shared);
  file->set_settings(maxSize, flushFreq);
  file->m_pNext = std::move(m_pHead);
  m_pHead = std::move(file);
  ++m_cCount;
  return m_pHead.get();
}

void CTraceFileMgr::close(CTraceFile* handle) {
  CMutexGuardT guard(g_mutex);
  for (std::unique_ptr<CTraceFile>* link = &m_pHead; *link != nullptr; link = &(*link)->m_pNext) {
    if (link->get() != handle) continue;
    const std::unique_ptr<CTraceFile> closed = std::move(*link);
    *link = std::move(closed->m_pNext);
    closed->flush_buffer();
    return;
  }
}

void CTraceFileMgr::write(CTraceFile* handle, const char* module, const char* levelName, const char* text) {
  if (handle != nullptr) handle->write(module, levelName, text);
}

void CTraceFileMgr::refresh_settings(unsigned long maxSize, int flushFreq) {
  CMutexGuardT guard(g_mutex);
  for (CTraceFile* file = m_pHead.get(); file != nullptr; file = file->m_pNext.get()) {
    file->set_settings(maxSize, flushFreq);
  }
}

// --- The trace device

// NOLINTBEGIN(bugprone-reserved-identifier)
CTraceFile* _Open_Trace_Dev(const char* name, unsigned long maxSize, bool shared, int flushFreq) {
  return g_trace_mgr.open(name, maxSize, shared, flushFreq);
}

void _Close_Trace_Dev(CTraceFile* handle) {
  g_trace_mgr.close(handle);
}

void _Write_Trace_Dev(CTraceFile* handle, const char* module, const char* levelName, const char* text) {
  g_trace_mgr.write(handle, module, levelName, text);
}

void _Refresh_Settings(unsigned long maxSize, int flushFreq) {
  g_trace_mgr.refresh_settings(maxSize, flushFreq);
}
// NOLINTEND(bugprone-reserved-identifier)

}  // namespace TIRK_MCUC
