// Video inputs and the EDID that each presents to its source. One mutex serialises the class; any thread.
#pragma once

#include <array>
#include <cstdint>
#include <mutex>

#include "llinput.h"

namespace TIRK_MCUC {

class InputSource {
 public:
  static InputSource* getInstance();

  void InputBoardInit();  // detects the boards, makes the sources, re-applies the stored modes; may run again
  // Builds and loads the EDID of input group 0..8; r is the refresh rate x 100.
  void EDIDSetByMode(int group, uint16_t h, uint16_t v, uint16_t r);
  // Takes the mode from a host's EDID of 128 or 256 bytes, stores and applies it. A bad EDID changes nothing.
  void EDIDCommStorage(int group, const uint8_t* edid, int length);
  // The EDID that the group's input presents: 0, or -1 when there is no such input or none was loaded.
  int ReadEDIDInfo(int group, uint8_t out[256]);

  // The input group that the feature byte 0x1A5 selects: 97 -> 0, 98 -> 1, 80 -> 2, else 0.
  static int selectedGroup(uint8_t inputSourceByte);

 private:
  template <class T>
  friend class NoDestroy;
  InputSource() = default;
  struct State;
  State& state();
};

}  // namespace TIRK_MCUC
