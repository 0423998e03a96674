// The files under the trace log: CTraceFile is one open log file, CTraceFileMgr the list of them, and the flat
// "trace device" operations are what CTrace calls. Any thread; everything is done under g_mutex, which CTraceFile
// expects its caller to hold.
//
// A file's first 32 bytes are its header line: the fill offset, where the next line goes, as a decimal number
// left-aligned in 31 characters, and a line feed. It is read before each line. Text beyond the fill offset does not
// count; an offset that cannot be is taken as the size, which is looked at once a second as long as the header of a
// file of our own is what we wrote.
#pragma once

#include <fcntl.h>

#include <cstdint>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "mappedhead.h"
#include "mcucmutex.h"
#include "uniquefd.h"

namespace TIRK_MCUC {

// Level names as they stand in a line, indexed by level.
extern const char g_logLevelEntry[4][8];

// Guards all trace output; the last in the lock order.
extern CMutexThreadRecursive& g_mutex;

constexpr unsigned long kTraceHeaderLength = 32;
constexpr unsigned long kTraceMaxSize = 20971520;  // 20 MiB
constexpr int kTraceFlushFreq = 1;                 // lines

class CTraceFile {
 public:
  // Opens the file, truncated unless it is shared, and gives an empty one its header. A file that cannot be opened
  // drops what is written to it. `name` is a device path. The flush frequency is 1 until set_settings.
  CTraceFile(std::string name, unsigned long maxSize, bool shared);
  ~CTraceFile();
  CTraceFile(const CTraceFile&) = delete;
  CTraceFile& operator=(const CTraceFile&) = delete;

  bool is_same_file(const char* name) const { return name != nullptr && m_pFileName == name; }

  // Appends one line, cut to fit the buffer; without a module or level name, the line has no level.
  void write(const char* module, const char* levelName, const char* text);
  // Writes the pending lines at the fill offset and to standard output, and moves the offset. At a fill offset of the
  // size cap or more the file has reached its maximum; these lines still go into it.
  void flush_buffer();
  void set_settings(unsigned long maxSize, int flushFreq);  // cap in bytes, 0 none; lines a flush, at least 1
  bool max_reached() const { return m_bMaxReached != 0; }

  std::unique_ptr<CTraceFile> m_pNext;

 private:
  // Serialised between processes by a lock on the whole file; at the cap the file is used again from its start.
  void write_shared(const char* module, const char* levelName, const char* text);
  void openFile();
  void control(const struct flock& record);
  unsigned long headerOffset();
  unsigned long fillOffset();
  void append(const char* bytes, size_t length, unsigned long offset);
  void cut(unsigned long size);
  void writeHeader(unsigned long offset);
  unsigned long room() const;

  unsigned char m_bMaxReached = 0;
  UniqueFd m_pFile;
  MappedHead m_head;  // the header of a file of our own
  std::string m_pFileName;
  unsigned long m_lMaxSize;
  int m_nFlushFreq = kTraceFlushFreq;
  unsigned char m_bShared;
  [[maybe_unused]] int m_nCurrentFileId = 0;
  [[maybe_unused]] long m_nCurrentTraceLines = 0;
  struct flock m_lock {};
  struct flock m_unlock {};
  std::vector<char> m_buffer;  // m_nFlushFreq * 1024 + 1
  unsigned long m_pos = 0;
  unsigned long m_ownOffset = 0;  // the fill offset after our last write
  time_t m_checkedSecond = 0;     // of the board's clock, when the size was last looked at
  int m_current_line = 0;
  int m_nMagicNumber = 20170619;  // 0 once destroyed
};

class CTraceFileMgr {
 public:
  CTraceFileMgr() = default;
  CTraceFileMgr(const CTraceFileMgr&) = delete;
  CTraceFileMgr& operator=(const CTraceFileMgr&) = delete;

  // The open file of that name, or a new one at the head of the list. The manager owns it.
  CTraceFile* open(const char* name, unsigned long maxSize, bool shared, int flushFreq);
  void close(CTraceFile* handle);  // flushes and deletes it; a handle that is not in the list is ignored
  void write(CTraceFile* handle, const char* module, const char* levelName, const char* text);
  void refresh_settings(unsigned long maxSize, int flushFreq);
  int count() const { return m_cCount; }  // files ever added

 private:
  std::unique_ptr<CTraceFile> m_pHead;
  int m_cCount = 0;
};

extern CTraceFileMgr& g_trace_mgr;

// NOLINTBEGIN(bugprone-reserved-identifier): the trace device's agreed names
CTraceFile* _Open_Trace_Dev(const char* name, unsigned long maxSize, bool shared, int flushFreq);
void _Close_Trace_Dev(CTraceFile* handle);
void _Write_Trace_Dev(CTraceFile* handle, const char* module, const char* levelName, const char* text);
void _Refresh_Settings(unsigned long maxSize, int flushFreq);
// NOLINTEND(bugprone-reserved-identifier)

// The board's date and time in local time, with milliseconds. The caller holds g_mutex.
struct LocalTime {
  time_t epochSecond;
  int year, month, day, hour, minute, second;  // month 1..12
  long millisecond;
};
LocalTime boardLocalTime();
const LocalTime& lastLocalTime();  // what boardLocalTime told last: the time of the last line

}  // namespace TIRK_MCUC
