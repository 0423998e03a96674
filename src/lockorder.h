// The order in which a thread takes the daemon's mutexes, and a check of it. Builds with assertions check each lock
// through CMutexThreadBase; other builds call nothing of this. Any thread.
#pragma once

namespace TIRK_MCUC {

// Outermost first. A thread may take a mutex while it holds others that come before its rank, and a recursive one
// again while it holds it. Of one rank it holds one mutex at a time.
enum class LockRank {
  request,     // StubUtil::m_stubMenux
  workQueue,   // the work queue's list
  process,     // Tprocess_ctl::m_mutex
  store,       // Data_Global::m_mutex; under it nothing but the trace's
  brightness,  // the brightness class
  inputs,      // InputSource
  save,        // one save of the flash after the other
  driver,      // the driver's read mutex
  leaf,        // holds nothing else but the trace's
  trace,       // g_mutex
};

const char* lockRankName(LockRank rank);

namespace lockorder {

// What the calling thread holds. `mutex` is only an identity.
// Ends the process with a line on standard error that names both, when the thread holds a mutex that must be taken
// later than this rank.
void check(const void* mutex, LockRank rank);
void taken(const void* mutex, LockRank rank);
void released(const void* mutex);

}  // namespace lockorder

}  // namespace TIRK_MCUC
