// What a client may expect to read after what it wrote: an independent model of the device's plain spaces, made from
// what the register map says of them. A byte is known, one of two after a write that a fault met, or unknown.
#pragma once

#include <cstdint>
#include <span>
#include <unordered_map>
#include <vector>

#include "support/memory.h"

namespace fuzz {

// A space, or the part of one, whose bytes are read as they were written.
struct PlainSpace {
  uint32_t address;  // of its first register
  uint32_t size;
  uint16_t mostRead;  // bytes a request
  uint16_t mostWrite;
  bool kept;  // through a power cycle
};

class BoardModel {
 public:
  static std::span<const PlainSpace> spaces();

  // A write of `data` at the space's byte `offset` was acknowledged and applied; with `faults`, perhaps in part.
  void written(size_t space, uint32_t offset, Bytes data, bool faults);
  // What a read answered: false when it cannot be. From then on it is known.
  bool reads(size_t space, uint32_t offset, Bytes data);
  // Something else may have changed all of them.
  void forgetAll() {
    for (auto& cells : m_spaces) cells.clear();
  }
  void forgetUnkept();  // what a power cycle does not keep

 private:
  struct Cell {
    uint8_t value;
    uint8_t other;  // what it may be as well
  };
  std::vector<std::unordered_map<uint32_t, Cell>> m_spaces{spaces().size()};  // by space and offset; absent: unknown
};

}  // namespace fuzz
