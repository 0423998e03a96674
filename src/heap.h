// The process's heap, arranged so that a long mixed load does not make it grow. Where the library has no such switches,
// nothing is done.
#pragma once

namespace TIRK_MCUC {

// Before the first thread: one heap for all threads.
void shareHeap();
// Gives the pages in which nothing is kept back to the system, so that what a burst took does not stay. Any thread;
// tens of microseconds in which others may wait for memory.
void returnFreeMemory();

}  // namespace TIRK_MCUC
