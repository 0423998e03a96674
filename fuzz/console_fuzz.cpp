// The virtual board's texts: lines of the monitor console, board.conf, and an environment store that was edited by
// hand. The board lies in a temporary directory.
//
// Input: what (1), then the text.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <string_view>

#include "support/input.h"
#include "support/verdict.h"
#include "virtual/board.h"
#include "virtual/commands.h"
#include "virtual/files.h"
#include "virtual/text.h"

namespace {

using namespace fuzz;
namespace fs = std::filesystem;

// The board in a directory that is removed at the end.
class BoardDirectory {
 public:
  BoardDirectory() {
    const fs::path memory = "/dev/shm";
    std::string pattern =
        ((fs::is_directory(memory) ? memory : fs::temp_directory_path()) / "kadrend-fuzz-XXXXXX").string();
    require(::mkdtemp(pattern.data()) != nullptr, "there is a temporary directory");
    m_path = pattern;
    std::ofstream(m_path / "board.conf") << "fpga_load_ms = -1\n";
    std::string error;
    require(vboard::openBoard(m_path, error) == 0, "the board opens");
  }
  ~BoardDirectory() {
    std::error_code ignored;
    fs::remove_all(m_path, ignored);
  }

 private:
  fs::path m_path;
};

class CountedAnswer : public vboard::Answer {
 public:
  void text(std::string_view text) override { length += text.size(); }
  size_t length = 0;
};

// What is asked for on purpose may take long, or end the process: waiting, a restart, and megabytes as text.
bool leftOut(std::string_view line) {
  const auto words = vboard::splitWords(line);
  if (words.empty()) return false;
  if (words[0] == "idle" || words[0] == "reboot") return true;
  constexpr uint64_t kMost = 4096;
  if (words[0] == "cards") return words.size() > 2 && vboard::parseNumber(words[2]).value_or(0) > 64;
  const bool reads = words.size() > 1 && words[1] == "read";
  return reads && vboard::parseNumber(words.back()).value_or(0) > kMost;
}

void checkEnvironment(std::string_view line) {
  const auto words = vboard::splitWords(line);
  if (words.size() != 4 || words[0] != "env" || words[1] != "set") return;
  const auto stored = vboard::board().env.get(std::string(words[2]));
  require(stored && *stored == words[3], "what was set is there");
}

void runLines(std::string_view text) {
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(std::min(line.size() + 1, text.size()));
    if (leftOut(line)) continue;
    CountedAnswer answer;
    const std::string error = vboard::runCommand(line, answer);
    require(error.empty() || answer.length == 0, "an error is all that is answered");
    require(error.find('\n') == std::string::npos, "an error is one line");
    require(!answer.afterwards, "nothing is to be done afterwards");
    if (error.empty()) checkEnvironment(line);
  }
}

void checkConfig(const std::string& text) {
  std::string error;
  const auto config = vboard::parseConfig(text, error);
  require(config.has_value() == error.empty(), "a configuration, or what is wrong with it");
  if (!config) {
    require(error.starts_with("line "), "an error names its line");
    return;
  }
  std::set<int> slots;
  for (const auto& input : config->inputs) {
    require(input.slot >= 0 && input.slot < 7 && slots.insert(input.slot).second, "each slot has one input");
  }
}

// The store as somebody left it, then what the daemon does with it.
void checkStore(std::string_view text) {
  auto& env = vboard::board().env;
  const std::string key(text.substr(0, std::min<size_t>(text.find_first_of("=\n"), 16)));
  require(vboard::replaceFile(vboard::ownPath("/data/tirk/etc/sysconf/env"), std::string(text)) == 0, "it is written");
  const auto other = env.get("ver_rootfs");
  if (env.set(key, "value") != 0) return;
  require(env.get(key) == "value", "what was set is there");
  if (key != "ver_rootfs") require(env.get("ver_rootfs") == other, "and nothing else changed");
  require(env.unset(key) == 0 && !env.get(key), "what was taken away is gone");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const BoardDirectory board;
  Input input(data, size);
  const uint8_t what = input.byte();
  const auto rest = input.rest();
  const std::string text(rest.begin(), rest.end());
  switch (what % 3) {
    case 0:
      runLines(text);
      break;
    case 1:
      checkConfig(text);
      break;
    default:
      checkStore(text);
  }
  return 0;
}
