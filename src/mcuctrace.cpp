#include "mcuctrace.h"

#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <type_traits>

#include "mcuctracefile.h"
#include "mcucutil.h"

std::atomic<int> g_logLevel{4};
unsigned log_on = 0;
uint32_t log_uuid = 0;

namespace TIRK_MCUC {

namespace {

constexpr size_t kReservedForNumbers = 64;
constexpr int kFilesPerDay = 10;

}  // namespace

// --- CLogRecorder

CTrace::CLogRecorder::CLogRecorder(char* buffer, unsigned long size)
    : m_lpszBuf(buffer), m_dwSize(buffer != nullptr ? size : 0) {
  reset();
}

CTrace::CLogRecorder::CLogRecorder(char* buffer, unsigned long size, const char* file, int line)
    : m_lpszBuf(buffer), m_dwSize(size) {
  *this << file << " : " << line << " ";
}

void CTrace::CLogRecorder::reset() {
  m_dwPos = 0;
  m_bHex = 0;
  if (m_dwSize != 0) memset(m_lpszBuf, 0, m_dwSize);
}

// Keeps `reserved` bytes free, the terminator among them.
void CTrace::CLogRecorder::append(const char* text, size_t length, size_t reserved) {
  if (m_dwSize < reserved || m_dwPos >= m_dwSize - reserved) return;
  length = std::min<size_t>(length, m_dwSize - reserved - m_dwPos);
  memcpy(m_lpszBuf + m_dwPos, text, length);
  m_dwPos += length;
  m_lpszBuf[m_dwPos] = '\0';
}

// In hexadecimal with the prefix and at least so many digits.
template <class T>
void CTrace::CLogRecorder::integer(T value, const char* hexPrefix, size_t hexDigits) {
  char text[32];
  char* const end = text + sizeof text;
  if (m_bHex == 0) {
    append(text, static_cast<size_t>(std::to_chars(text, end, value).ptr - text), 1);
    return;
  }
  m_bHex = 0;
  char digits[16];
  const auto last = std::to_chars(digits, digits + sizeof digits, std::make_unsigned_t<T>(value), 16).ptr;
  const auto count = static_cast<size_t>(last - digits);
  char* out = std::copy_n(hexPrefix, strlen(hexPrefix), text);
  if (count < hexDigits) out = std::fill_n(out, hexDigits - count, '0');
  out = std::copy(digits, last, out);
  append(text, static_cast<size_t>(out - text), 1);
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(const char* text) {
  if (text != nullptr) append(text, strnlen(text, m_dwSize), kReservedForNumbers);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(const std::string& text) {
  return *this << text.c_str();
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(char value) {
  return *this << static_cast<int>(static_cast<unsigned char>(value));
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(unsigned char value) {
  return *this << static_cast<int>(value);
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(short value) {
  return *this << static_cast<int>(value);
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(unsigned short value) {
  return *this << static_cast<int>(value);
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(int value) {
  integer(value, "", 1);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(unsigned int value) {
  integer(value, "0x", 8);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(long value) {
  integer(value, "0x", 1);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(unsigned long value) {
  integer(value, "0x", 1);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(float value) {
  return *this << static_cast<double>(value);
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(double value) {
  char digits[512];  // the largest double has 309 digits before the point
  const int length = snprintf(digits, sizeof digits, "%f", value);
  append(digits, static_cast<size_t>(length), 1);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(const void* value) {
  char digits[32];
  const int length =
      snprintf(digits, sizeof digits, "0x%lx", static_cast<unsigned long>(reinterpret_cast<uintptr_t>(value)));
  append(digits, static_cast<size_t>(length), 1);
  return *this;
}

CTrace::CLogRecorder& CTrace::CLogRecorder::operator<<(Ordix ordix) {
  set_hex_flag(ordix == hex);
  return *this;
}

// --- CTrace

CTrace& CTrace::instance() {
  static NoDestroy<CTrace> trace("Log", nullptr, false);
  return trace.get();
}

CTrace::CTrace(const char* module, const char* privateInfo, bool shared)
    : m_lpszModule(module), m_lpszPrivateInfo(privateInfo), m_bShared(shared ? 1 : 0), m_processid(getpid()) {
  load(nullptr);
}

const char* CTrace::get_trace_dir() {
  return "/log";
}

const char* CTrace::get_process_name() {
  static NoDestroy<std::string> name(commandName("trace"));
  return name.get().c_str();
}

void CTrace::trace_string(uint32_t level, const char* text) {
  if (!traceEnabled(level)) return;
  CMutexGuardT guard(g_mutex);
  if (m_hTrace == nullptr) return;
  _Write_Trace_Dev(m_hTrace, m_lpszModule, g_logLevelEntry[level], text);
  const LocalTime& today = lastLocalTime();
  if (startDay(today.month, today.day)) load(m_hTrace);
  if (m_hTrace->max_reached()) load(m_hTrace);
}

bool CTrace::load(CTraceFile* handle) {
  CMutexGuardT guard(g_mutex);
  if (handle == nullptr && m_hTrace != nullptr) return true;
  runShell(std::string("mkdir -p ") + get_trace_dir());
  const bool current = handle == nullptr || handle == m_hTrace;
  const std::string name = current ? nextName() : std::string();
  if (handle != nullptr) _Close_Trace_Dev(handle);
  if (current) m_hTrace = _Open_Trace_Dev(name.c_str(), kTraceMaxSize, m_bShared != 0, kTraceFlushFreq);
  read_config();
  return true;
}

void CTrace::read_config() {
  _Refresh_Settings(kTraceMaxSize, kTraceFlushFreq);
}

// Makes the given day the current one, its next file the first. False when it was already.
bool CTrace::startDay(int month, int day) {
  if (m_iCurrInfoDay == day && m_iCurrInfoMonth == month) return false;
  m_iCurrInfoDay = day;
  m_iCurrInfoMonth = month;
  m_iCurrCount = 0;
  return true;
}

std::string CTrace::nextName() {
  const std::string directory = std::string(get_trace_dir()) + '/';
  if (m_lpszPrivateInfo != nullptr) {
    const std::string name = directory + m_lpszPrivateInfo;
    return m_bShared != 0 ? name : name + '.' + std::to_string(getpid());
  }
  const LocalTime today = boardLocalTime();
  startDay(today.month, today.day);
  char suffix[96];
  snprintf(suffix, sizeof suffix, "_info_%02d%02d%04d_%d.%d.log", today.month, today.day, today.year, m_iCurrCount,
           m_processid);
  m_iCurrCount = (m_iCurrCount + 1) % kFilesPerDay;
  return directory + get_process_name() + suffix;
}

}  // namespace TIRK_MCUC
