// The input boards that are fitted and the EDIDs loaded into them. Any thread.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string_view>

#include "virtual/board.h"

namespace vboard {

using Edid = std::array<uint8_t, 256>;

std::optional<en_if_t> inputTypeFromName(std::string_view name);  // "dvi", "ddvi", "hdmi14", "sdi3g", "vga"
std::string_view inputTypeName(en_if_t type);

class Inputs {
 public:
  static constexpr int kSlots = 7;

  struct Input {
    en_if_t type;
    uint32_t id;               // as the input library gives it
    std::optional<Edid> edid;  // none was loaded yet
  };

  // Reads the loaded EDIDs; throws std::runtime_error with what is wrong.
  explicit Inputs(const Config& config);

  std::optional<Input> at(int slot) const;  // empty when no board is fitted there
  // What the monitor's "input" answers: "none", or "TYPE ID", and a second line with a loaded EDID.
  std::string text(int slot) const;

  // The slot of an input, -1 when there is no such input.
  int slotOf(uint32_t id) const;
  int setEdid(int slot, const Edid& edid);  // 0, or -1 when it cannot be stored

 private:
  mutable std::mutex m_mutex;
  std::array<std::optional<Input>, kSlots> m_slots;
};

}  // namespace vboard
