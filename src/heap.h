// The process's heap, arranged so that a long mixed load does not make it grow.
#pragma once

namespace TIRK_MCUC {

// Before the first thread: one heap for all threads. Nothing where the library has no such switches.
void shareHeap();

}  // namespace TIRK_MCUC
