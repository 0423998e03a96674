// Unix sockets below the board's directory, private to their owner. Any thread.
#pragma once

#include <string>

#include "virtual/descriptor.h"

namespace vboard {

// Opens a socket of `type` (SOCK_DGRAM, SOCK_STREAM) and binds it to `name` below the board's directory, mode 0600.
// What stood there before is replaced in one step, unless a living socket of that type answers. Empty, errno set, on
// failure.
Descriptor bindSocket(int type, const std::string& name);

// Connects a socket of `type` to `name`. Empty, errno set, when nobody is there.
Descriptor connectSocket(int type, const std::string& name);

}  // namespace vboard
