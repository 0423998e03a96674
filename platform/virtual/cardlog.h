// The file "cards": the state of the cards as a log of records, so that a write, also one to thousands of cards, costs
// one append, and a process that is killed loses nothing. Each record is its length (u32), a checksum (u32) and its
// bytes. Not thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

#include "virtual/files.h"

namespace vboard {

class CardLog {
 public:
  using Record = std::span<const uint8_t>;
  using Take = std::function<bool(Record)>;  // false: the record makes no sense
  using Produce = std::function<void(const std::function<void(Record)>&)>;

  // Opens or makes the file and hands over its records, oldest first. A record that was cut short by the end of its
  // process is dropped. Throws std::runtime_error with what is wrong.
  void open(const Take& take);
  int append(Record record);  // 0; -1: nothing was appended
  // With the records given, in one step; a file that holds just them stays. 0; -1: the old ones are still there.
  int replace(const Produce& produce);
  bool wantsReplacing() const;  // far longer than when it was last replaced

 private:
  bool holds(Record bytes) const;  // these bytes and no others

  Descriptor m_file;
  uint64_t m_size = 0;
  uint64_t m_replacedSize = 0;
};

}  // namespace vboard
