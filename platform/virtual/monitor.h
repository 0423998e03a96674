// The monitor console: the Unix stream socket "monitor" in the board's directory. One command a line; the answer is
// zero or more lines, then "ok", or "error: TEXT" alone. Several clients at once.
#pragma once

namespace vboard {

// Starts the console's threads. Throws std::runtime_error with what is wrong. Once, when the board is open.
void startMonitor();

}  // namespace vboard
