// The words of a console command, taken one after the other. A word that is missing or wrong throws CommandError with a
// text that names it.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace vboard {

class CommandError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class Words {
 public:
  explicit Words(std::string_view line) : m_rest(line) {}

  bool empty() const;
  std::string_view peek() const;  // the next word; empty at the end
  std::string_view next(const char* name);
  uint32_t number(const char* name, uint32_t least, uint32_t most);
  int32_t signedNumber(const char* name);
  std::vector<uint8_t> hex(const char* name);  // at least one byte
  std::string_view rest(const char* name);     // all that is left, not empty
  void end() const;                            // nothing may be left

 private:
  std::string_view m_rest;
};

}  // namespace vboard
