// The commands of the monitor console. Any thread. They go through the parts' back doors: none of them counts for
// faults, journal or activity.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace vboard {

// Where a command's answer goes.
class Answer {
 public:
  virtual ~Answer() = default;
  virtual void text(std::string_view text) = 0;  // lines, each with its end; may come in pieces

  void line(std::string_view line);
  std::function<void()> afterwards;  // what is to be done once the answer is out
};

// Carries out one line (without its end) and gives the lines of its answer. Empty, or the error's text; then no line
// was given.
std::string runCommand(std::string_view line, Answer& answer);

}  // namespace vboard
