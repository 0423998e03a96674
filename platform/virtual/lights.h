// The board's own light sensor. Any thread.
#pragma once

#include <cstdint>
#include <mutex>
#include <optional>

namespace vboard {

class Lights {
 public:
  Lights();  // reads what was set; throws std::runtime_error with what is wrong

  std::optional<uint16_t> board() const;        // the raw value; empty: the sensor fails
  int setBoard(std::optional<uint16_t> value);  // 0, or -1 when it cannot be stored

 private:
  mutable std::mutex m_mutex;
  std::optional<uint16_t> m_board;
};

}  // namespace vboard
