// What the shell commands do to files. Paths are the device's; each result is an exit status, 0 or 1, and what goes
// wrong is told on standard error as the command of that name does it.
#pragma once

#include <string>
#include <string_view>

namespace vboard {

int makeDirectories(const std::string& path);                  // mkdir -p
int copyFile(const std::string& from, const std::string& to);  // cp: the copy appears when it is whole
int removeTree(const std::string& path);                       // rm -r; a link is removed, not followed
int appendLine(std::string_view path, std::string_view text);  // echo >>
int readWhole(const std::string& path, std::string& out);      // cat

}  // namespace vboard
