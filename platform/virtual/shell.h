// The shell commands that the daemon knows, carried out inside the board's directory and without a shell.
#pragma once

#include <string>
#include <string_view>

namespace vboard {

struct ShellResult {
  int status = 0;       // exit status, as the commands of the device give it; 127: refused
  std::string output;   // what the command wrote to standard output
  bool reboot = false;  // the command is "reboot -f", which its caller carries out
};

// Carries out one of the commands below; any other is refused. What goes wrong is also told on standard error.
//   mkdir -p PATH    cp FILE PATH    rm -r PATH    sync    echo "TEXT" >> FILE    /bin/cat FILE
//   sysconfig set KEY VALUE    fpga w s ADDR VALUE    /usr/pmx100/bin/fw_setenv KEY VALUE
//   killall NAME    hwclock -w --localtime    reboot -f
ShellResult runShellCommand(std::string_view command);

}  // namespace vboard
