// Video inputs and the EDID that each presents to its source. One mutex serialises the class; any thread.
//
// An input group 0..8 is the i-th fitted input board. A group's mode (width, height, refresh x 100) is kept in flash
// and applied at start. EDIDs are made for DVI (family 0) and HDMI 1.4 (family 6) inputs.
#pragma once

#include <array>
#include <cstdint>

#include "llinput.h"
#include "mcucmutex.h"
#include "process/edid.h"

namespace TIRK_MCUC {

constexpr int kInputGroups = 9;
constexpr int kInputBoards = 7;
constexpr int kInSetParaLength = 72;

// Stored modes at flash 0x200000, 72 bytes: 9 x (width u16, height u16, refresh x 100 u16), then 9 x (reserved, HDCP
// on).
struct InSetPara_T {
  struct InPlus_T {
    uint8_t reserved = 0;
    uint8_t HdcpOn = 0;
  };
  std::array<VideoMode, kInputGroups> InRes{};
  std::array<InPlus_T, kInputGroups> InPlus{};

  static InSetPara_T decode(const uint8_t (&wire)[kInSetParaLength]);
  void encode(uint8_t (&wire)[kInSetParaLength]) const;
};

// Source code: high nibble the connector family, low nibble the connector number.
enum SourceFamily : uint8_t { kFamilyDvi = 0, kFamilyVga = 2, kFamilySdi = 3, kFamilyDualDvi = 5, kFamilyHdmi14 = 6 };

struct input_board_t {
  uint32_t id = 0;
  en_if_t type = EN_IF_T_DVI;
  uint32_t cap = 0;
  bool valid = false;
};
struct source_t {
  uint32_t id = 0;  // of its board
  uint8_t code = 0;
  uint8_t family() const { return code >> 4; }
};
struct inputsource_name_t {
  char name[16] = {};
  uint8_t length = 0;
};

class InputSource {
 public:
  static InputSource* getInstance();

  void InputBoardInit();  // detects the boards, makes the sources, re-applies the stored modes; may run again
  // Builds and loads the EDID of input group 0..8; r is the refresh rate x 100. What cannot be done is a line in the
  // log, and the input keeps its EDID.
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

  // All with m_mutex held.
  const source_t* GetSourceByGroup(int group) const;
  void input_board_detect();
  void source_info_init();
  void source_edid_init();
  bool readStoredModes();
  void setByMode(int group, const VideoMode& mode);

  CMutexThread m_mutex{LockRank::inputs};
  std::array<input_board_t, kInputBoards> _board{};
  int m_boardCount = 0;
  InSetPara_T InSetPara;
  bool m_modesKnown = false;  // read from flash since the start
  std::array<source_t, kInputGroups> gsource{};
  std::array<inputsource_name_t, kInputGroups> m_inputSoruceName{};
  int RealSourceNum = 0;
};

}  // namespace TIRK_MCUC
