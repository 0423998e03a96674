// The trace log: one process-wide object, files under "/log", each line echoed to standard output. Any thread.
//
// A log file's first 32 bytes are a header line: the fill offset as a decimal number, left-aligned in 31 characters,
// and a line feed. Lines are
//   [MM/DD/YYYY HH:MM:SS.mmm pid=N uuid=0xN] Level:text
// in local time of the board's clock. Files are named /log/NAME_info_MMDDYYYY_INDEX.PID.log; at 20 MiB the next index
// of the day (0..9, then 0 again) is opened, at a change of date the new day's index 0.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

// The filter: 0 Error and Warning, 2 also Debug, 3 (and 1) all, 4 nothing. Written by main only, before any thread; who
// reaches it by name may change it at any time. A number of 32 bits in memory.
extern std::atomic<int> g_logLevel;
static_assert(sizeof g_logLevel == 4 && std::atomic<int>::is_always_lock_free);
extern unsigned log_on;    // 1 once main runs
extern uint32_t log_uuid;  // process tag of every line; 0

namespace TIRK_MCUC {

enum TraceLevel : uint32_t { kTraceError = 0, kTraceWarning = 1, kTraceDebug = 2, kTraceInfo = 3 };

// Whether a message of this level would be written.
inline bool traceEnabled(uint32_t level) {
  const int filter = g_logLevel.load(std::memory_order_relaxed);
  if (level > kTraceInfo || filter == 4) return false;
  if (filter == 2) return level <= kTraceDebug;
  if (filter == 0) return level <= kTraceWarning;
  return true;
}

enum Ordix { hex = 0, decimal = 1 };

class CTraceFile;

class CTrace {
 public:
  // Builds a message in the caller's buffer. Strings leave the last 64 bytes of it free, numbers may use them; nothing
  // is written past its end and the text stays NUL-terminated. Null strings append nothing.
  class CLogRecorder {
   public:
    CLogRecorder(char* buffer, unsigned long size);
    // With "file : line " to begin with; what follows the text's terminator is left as it is. Requires a buffer.
    CLogRecorder(char* buffer, unsigned long size, const char* file, int line);
    virtual ~CLogRecorder() = default;
    CLogRecorder(const CLogRecorder&) = delete;
    CLogRecorder& operator=(const CLogRecorder&) = delete;

    void reset();
    operator char*() { return m_lpszBuf; }
    void set_hex_flag(bool on) { m_bHex = on; }
    bool get_hex_flag() const { return m_bHex != 0; }

    // After `hex` the next integer is hexadecimal: int "%x", unsigned "0x%08x", long and unsigned long "0x%lx". The
    // flag is cleared by each integer. char and unsigned char are written as numbers 0..255.
    CLogRecorder& operator<<(const char* text);
    CLogRecorder& operator<<(const std::string& text);
    CLogRecorder& operator<<(char value);
    CLogRecorder& operator<<(unsigned char value);
    CLogRecorder& operator<<(short value);
    CLogRecorder& operator<<(unsigned short value);
    CLogRecorder& operator<<(int value);
    CLogRecorder& operator<<(unsigned int value);
    CLogRecorder& operator<<(long value);
    CLogRecorder& operator<<(unsigned long value);
    CLogRecorder& operator<<(float value);
    CLogRecorder& operator<<(double value);
    CLogRecorder& operator<<(const void* value);
    CLogRecorder& operator<<(Ordix ordix);

   private:
    void append(const char* text, size_t length, size_t reserved);
    template <class T>
    void integer(T value, const char* hexPrefix, size_t hexDigits);

    char* m_lpszBuf;
    unsigned long m_dwSize;
    unsigned long m_dwPos = 0;
    unsigned char m_bHex = 0;
  };

  static CTrace& instance();  // made, and its first file opened, on first use
  virtual ~CTrace() = default;
  CTrace(const CTrace&) = delete;
  CTrace& operator=(const CTrace&) = delete;

  // Filters and writes one message; then changes to the next file when the date or the size asks for it.
  void trace_string(uint32_t level, const char* text);
  bool load(CTraceFile* handle);  // null: opens the first file unless one is open; the open file: opens the next one
  void read_config();
  static const char* get_trace_dir();     // "/log"
  static const char* get_process_name();  // base name, "trace" when it cannot be read

 protected:
  // The process uses module "Log" and neither a file name of its own (`privateInfo`) nor a shared file.
  CTrace(const char* module, const char* privateInfo, bool shared);

 private:
  template <class T>
  friend class NoDestroy;
  std::string nextName();
  bool startDay(int month, int day);

  const char* m_lpszModule;
  [[maybe_unused]] uint32_t m_uiTraceLeve = 0;
  const char* m_lpszPrivateInfo;
  unsigned char m_bShared;
  CTraceFile* m_hTrace = nullptr;
  int m_iCurrCount = 0;
  int m_iCurrInfoDay = 0;
  int m_iCurrInfoMonth = 0;
  int m_processid;
};

}  // namespace TIRK_MCUC

// Writes "file : line text"; `items` are stream operands and are not evaluated when the level is filtered.
//   TRACE_ERROR("=== openThing ===open failed! ret = " << ret);
// NOLINTBEGIN(bugprone-macro-parentheses): `items` continue a chain of <<
#define KAD_TRACE(level, items)                                                                                   \
  do {                                                                                                            \
    if (TIRK_MCUC::traceEnabled(level)) {                                                                         \
      char traceBuffer_[1024];                                                                                    \
      TIRK_MCUC::CTrace::CLogRecorder traceRecorder_(traceBuffer_, sizeof traceBuffer_, __FILE_NAME__, __LINE__); \
      traceRecorder_ << items;                                                                                    \
      TIRK_MCUC::CTrace::instance().trace_string(level, traceRecorder_);                                          \
    }                                                                                                             \
  } while (false)
// NOLINTEND(bugprone-macro-parentheses)
#define TRACE_ERROR(items) KAD_TRACE(TIRK_MCUC::kTraceError, items)
#define TRACE_WARNING(items) KAD_TRACE(TIRK_MCUC::kTraceWarning, items)
#define TRACE_DEBUG(items) KAD_TRACE(TIRK_MCUC::kTraceDebug, items)
#define TRACE_INFO(items) KAD_TRACE(TIRK_MCUC::kTraceInfo, items)
