#include "virtual/shell.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "virtual/board.h"
#include "virtual/files.h"
#include "virtual/shellfiles.h"
#include "virtual/text.h"

namespace vboard {

namespace {

constexpr int kRefused = 127;
// Whatever a shell would give a meaning of its own.
constexpr std::string_view kShellCharacters = "\"'`\\$&|;<>()[]{}*?~#!\n";

ShellResult refused(std::string_view command) {
  std::fprintf(stderr, "virtual board: command refused: %.*s\n", static_cast<int>(command.size()), command.data());
  return {kRefused, {}};
}

ShellResult setEnvironment(const std::string& key, const std::string& value) {
  board().activity.touch();
  if (board().env.set(key, value) == 0) return {};
  std::fprintf(stderr, "virtual board: the environment store does not take %s\n", key.c_str());
  return {1, {}};
}

ShellResult writeRegister(std::string_view address, std::string_view value) {
  const auto where = parseNumber(address);
  const auto what = parseNumber(value);
  if (where && what && *where <= UINT32_MAX && *what <= UINT8_MAX) {
    const auto byte = static_cast<uint8_t>(*what);
    board().activity.touch();
    if (board().fpga.writeFromDaemon(static_cast<uint32_t>(*where), {&byte, 1}) == 0) return {};
  }
  std::fprintf(stderr, "fpga: cannot write %.*s\n", static_cast<int>(address.size()), address.data());
  return {1, {}};
}

// echo "TEXT" >> FILE
ShellResult echo(std::string_view command) {
  constexpr std::string_view kBegin = "echo \"";
  constexpr std::string_view kMiddle = "\" >> ";
  if (!command.starts_with(kBegin)) return refused(command);
  const std::string_view rest = command.substr(kBegin.size());
  const size_t end = rest.find(kMiddle);
  if (end == std::string_view::npos) return refused(command);
  const std::string_view text = rest.substr(0, end);
  const std::string_view file = trimmed(rest.substr(end + kMiddle.size()));
  if (text.find_first_of("\"\\$`\n") != std::string_view::npos || splitWords(file).size() != 1 ||
      file.find_first_of(kShellCharacters) != std::string_view::npos) {
    return refused(command);
  }
  return {appendLine(file, text), {}};
}

// A command of the set: its words, where an empty one stands for an argument.
struct Command {
  std::vector<std::string_view> words;
  ShellResult (*run)(const std::vector<std::string>& arguments);
};

using Arguments = const std::vector<std::string>&;

const Command kCommands[] = {
    {{"mkdir", "-p", ""},
     [](Arguments a) {
       return ShellResult{makeDirectories(a[0]), {}};
     }},
    {{"cp", "", ""},
     [](Arguments a) {
       return ShellResult{copyFile(a[0], a[1]), {}};
     }},
    {{"rm", "-r", ""},
     [](Arguments a) {
       return ShellResult{removeTree(a[0]), {}};
     }},
    // What was written is with the machine's kernel already: it outlives the daemon, which is all that the board
    // promises.
    {{"sync"}, [](Arguments) { return ShellResult{}; }},
    {{"/bin/cat", ""},
     [](Arguments a) {
       ShellResult result;
       result.status = readWhole(a[0], result.output);
       return result;
     }},
    {{"sysconfig", "set", "", ""}, [](Arguments a) { return setEnvironment(a[0], a[1]); }},
    {{"/usr/pmx100/bin/fw_setenv", "", ""}, [](Arguments a) { return setEnvironment(a[0], a[1]); }},
    {{"fpga", "w", "s", "", ""}, [](Arguments a) { return writeRegister(a[0], a[1]); }},
    {{"killall", ""}, [](Arguments) { return ShellResult{}; }},
    {{"hwclock", "-w", "--localtime"}, [](Arguments) { return ShellResult{}; }},
    {{"reboot", "-f"},
     [](Arguments) {
       return ShellResult{0, {}, true};
     }},
};

// The arguments, when the words are those of the command.
bool matches(const Command& command, const std::vector<std::string_view>& words, std::vector<std::string>& arguments) {
  if (command.words.size() != words.size()) return false;
  arguments.clear();
  for (size_t i = 0; i < words.size(); ++i) {
    if (command.words[i].empty()) {
      arguments.emplace_back(words[i]);
    } else if (command.words[i] != words[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

ShellResult runShellCommand(std::string_view command) {
  const auto words = splitWords(command);
  if (!words.empty() && words[0] == "echo") return echo(command);
  if (command.find_first_of(kShellCharacters) != std::string_view::npos) return refused(command);
  std::vector<std::string> arguments;
  for (const Command& known : kCommands) {
    if (matches(known, words, arguments)) return known.run(arguments);
  }
  return refused(command);
}

}  // namespace vboard
