// Whether what is stored of the wall belongs together. A new wall is stored by several saves: the request when the host
// submits it, the screen record and then the tables when it has been calculated. Power that fails between two of them
// leaves each whole, but a mixture of the old wall and the new one. Pure; any thread.
#pragma once

#include "proto/screenwriters.h"

namespace TIRK_MCUC {

// What does not belong together, or null. `request` begins at the shortcut record and holds the records of ports 0..9,
// `numbers` is the number table. A wall that was configured by software, and a request that is not complete, tell
// nothing.
const char* mixtureInStoredWall(Bytes request, const ScreenRecord& record, Bytes numbers);

}  // namespace TIRK_MCUC
