// Power-on and restart of the board.
#pragma once

#include <string>

namespace vboard {

// Starts the thread that makes the flag file when the FPGA has loaded, unless it is there already. Throws
// std::runtime_error with what is wrong.
void startFpgaLoad(int delayMs);

// Carries out a reboot that was asked for before this process started. Throws std::runtime_error with what is wrong.
void finishReboot();

// Remembers what a restart must restore: call it on the first thread, before it changes its signal mask.
void rememberForRestart();

}  // namespace vboard
