#include "process/inputSource.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "driverutil.h"
#include "edidapi.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr const char* kDviMonitorName = "TIRK DUAL_DVI";

// How sources of a board type are numbered and named: "%d" is the running number from 1 on.
struct SourceKind {
  en_if_t type;
  uint8_t firstCode;
  const char* name;
};
constexpr SourceKind kSourceKinds[] = {{EN_IF_T_DVI, 0, "DVI"},
                                       {EN_IF_T_DDVI, 81, "DUAL_DVI-%d"},
                                       {EN_IF_T_HDMI14, 97, "HDMI1.4-%d"},
                                       {EN_IF_T_SDI3G, 48, "SDI"},
                                       {EN_IF_T_VGA, 32, "VGA"}};

const SourceKind* findKind(en_if_t type) {
  const auto* found = std::find_if(std::begin(kSourceKinds), std::end(kSourceKinds),
                                   [type](const SourceKind& kind) { return kind.type == type; });
  return found == std::end(kSourceKinds) ? nullptr : found;
}

bool supported(const source_t& source) {
  return source.family() == kFamilyDvi || source.family() == kFamilyHdmi14;
}

// A 0 or 0xFFFF says that no mode was ever stored.
bool isSet(const VideoMode& mode) {
  const auto unset = [](uint16_t value) { return value == 0 || value == 0xFFFF; };
  return !unset(mode.h) && !unset(mode.v) && !unset(mode.r);
}

bool baseEdid(uint8_t family, Edid& base) {
  edid_request_t request{};
  request.option = family == kFamilyDvi ? EDID_OPTION_DVI : EDID_OPTION_HDMI;
  if (family == kFamilyDvi) std::strncpy(request.monitor_name, kDviMonitorName, sizeof request.monitor_name - 1);
  return ModifyEDID_API.generate(&request, base.data()) == 0;
}

void logEdid(const Edid& edid) {
  if (!traceEnabled(kTraceInfo)) return;
  for (size_t at = 0; at < edid.size(); at += 128) {
    TRACE_INFO("EDID: " << HexText<512>(Bytes(edid).subspan(at, 128)));
  }
}

}  // namespace

InSetPara_T InSetPara_T::decode(const uint8_t (&wire)[kInSetParaLength]) {
  InSetPara_T out;
  const uint8_t* at = wire;
  for (VideoMode& mode : out.InRes) {
    mode = {readWord(at), readWord(at + 2), readWord(at + 4)};
    at += 6;
  }
  for (InPlus_T& plus : out.InPlus) {
    plus = {at[0], at[1]};
    at += 2;
  }
  return out;
}

void InSetPara_T::encode(uint8_t (&wire)[kInSetParaLength]) const {
  uint8_t* at = wire;
  for (const VideoMode& mode : InRes) {
    DWT_ENCWD(at, mode.h);
    DWT_ENCWD(at + 2, mode.v);
    DWT_ENCWD(at + 4, mode.r);
    at += 6;
  }
  for (const InPlus_T& plus : InPlus) {
    at[0] = plus.reserved;
    at[1] = plus.HdcpOn;
    at += 2;
  }
}

InputSource* InputSource::getInstance() {
  static NoDestroy<InputSource> instance;
  return &instance.get();
}

int InputSource::selectedGroup(uint8_t inputSourceByte) {
  switch (inputSourceByte) {
    case 98:
      return 1;
    case 80:
      return 2;
    default:
      return 0;
  }
}

void InputSource::InputBoardInit() {
  const CMutexGuardT guard(m_mutex);
  input_board_detect();
  source_info_init();
  source_edid_init();
}

void InputSource::input_board_detect() {
  _board = {};
  m_boardCount = 0;
  if (const int result = ll_initial(); result != 0) {
    TRACE_ERROR("=== input_board_detect ===ll_initial failed! ret = " << result);
  }
  for (uint32_t object = ll_find_input_next(0); object != 0 && m_boardCount < kInputBoards;
       object = ll_find_input_next(object)) {
    uint32_t id = 0;
    if (ll_find_input_filter_all(object, &id) != 0) _board[static_cast<size_t>(m_boardCount++)].id = id;
  }
  TRACE_INFO("Input Total = " << m_boardCount);
  for (int i = 0; i < m_boardCount; ++i) {
    input_board_t& board = _board[static_cast<size_t>(i)];
    board.valid = ll_get_input_info(board.id, &board.type, &board.cap) == 0;
    TRACE_INFO("Input valid = " << (board.valid ? 1 : 0));
    TRACE_INFO("Input id = " << board.id);
    TRACE_INFO("Input type = " << static_cast<int>(board.type));
  }
}

void InputSource::source_info_init() {
  gsource = {};
  m_inputSoruceName = {};
  RealSourceNum = 0;
  std::array<int, std::size(kSourceKinds)> running{};
  for (int i = 0; i < m_boardCount; ++i) {
    const input_board_t& board = _board[static_cast<size_t>(i)];
    const SourceKind* kind = board.valid ? findKind(board.type) : nullptr;
    if (kind == nullptr) continue;
    const int n = running[static_cast<size_t>(kind - kSourceKinds)]++;
    const auto slot = static_cast<size_t>(RealSourceNum++);
    gsource[slot] = {board.id, static_cast<uint8_t>(kind->firstCode + n)};
    inputsource_name_t& name = m_inputSoruceName[slot];
    std::snprintf(name.name, sizeof name.name, kind->name, n + 1);
    name.length = static_cast<uint8_t>(std::strlen(name.name));
    TRACE_INFO("Source group = " << static_cast<int>(slot) << " code = " << gsource[slot].code
                                 << " name = " << name.name);
  }
}

void InputSource::source_edid_init() {
  if (!readStoredModes()) return;
  for (int group = 0; group < kInputBoards; ++group) {
    const source_t* source = GetSourceByGroup(group);
    if (source == nullptr) continue;
    if (!supported(*source)) {
      TRACE_ERROR("Nonsupport EDIDInit Source group " << group);
      return;
    }
    const VideoMode& mode = InSetPara.InRes[static_cast<size_t>(group)];
    TRACE_INFO("EDIDInit Source srcCode: " << source->code);
    TRACE_INFO("EDIDInit Source group = " << group << " h = " << mode.h << " v = " << mode.v << " r = " << mode.r);
    if (isSet(mode)) setByMode(group, mode);
  }
}

bool InputSource::readStoredModes() {
  uint8_t wire[kInSetParaLength];
  const int result =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kEdidModes.address, flash::kEdidModes.length, wire);
  if (result != 0) {
    TRACE_ERROR("=== readStoredModes ===Read InSetPara from flash failed! ret = " << result);
    return false;
  }
  InSetPara = InSetPara_T::decode(wire);
  m_modesKnown = true;
  return true;
}

const source_t* InputSource::GetSourceByGroup(int group) const {
  return group >= 0 && group < RealSourceNum ? &gsource[static_cast<size_t>(group)] : nullptr;
}

void InputSource::EDIDSetByMode(int group, uint16_t h, uint16_t v, uint16_t r) {
  const CMutexGuardT guard(m_mutex);
  setByMode(group, {h, v, r});
}

void InputSource::setByMode(int group, const VideoMode& mode) {
  TRACE_INFO("setedidgroup: " << group);
  if (group < 0 || group >= kInputGroups) return;
  const source_t* source = GetSourceByGroup(group);
  if (source == nullptr) {
    TRACE_ERROR("SourceGroup Error,p_src is NULL!");
    return;
  }
  TRACE_INFO("srcCode: " << source->code);
  if (!supported(*source)) {
    TRACE_ERROR("Nonsupport Source ");
    return;
  }
  Edid base;
  Edid edid;
  if (!baseEdid(source->family(), base) ||
      ResT_calEDID_by_model_new(base.data(), edid.data(), mode.h, mode.v, mode.r) != 0) {
    TRACE_ERROR("=== EDIDSetByMode ===no EDID for " << mode.h << " x " << mode.v << " at " << mode.r
                                                    << ", the input keeps its own");
    return;
  }
  logEdid(edid);
  if (const int result = ll_input_set_edid(source->id, edid.data(), kEdidLength); result != 0) {
    TRACE_ERROR("=== EDIDSetByMode ===ll_input_set_edid failed! ret = " << result);
  }
}

void InputSource::EDIDCommStorage(int group, const uint8_t* edid, int length) {
  const CMutexGuardT guard(m_mutex);
  if (group < 0 || group >= kInputGroups || ResT_verify_EDID(edid, length) == 0) {
    TRACE_ERROR("=== EDIDCommStorage ===invalid EDID for group " << group << ", nothing changed");
    return;
  }
  const auto mode = modeOfEdid(edid);
  Edid base;
  Edid trial;
  const bool possible = mode && baseEdid(kFamilyDvi, base) &&
                        ResT_calEDID_by_model_new(base.data(), trial.data(), mode->h, mode->v, mode->r) == 0;
  if (!possible) {
    TRACE_ERROR("=== EDIDCommStorage ===no timing in the EDID for group " << group << ", nothing changed");
    return;
  }
  // The entries of the other groups must not be lost.
  if (!m_modesKnown && !readStoredModes()) return;
  TRACE_INFO("EDIDCommStorage group = " << group << " h = " << mode->h << " v = " << mode->v << " r = " << mode->r);
  InSetPara_T modes = InSetPara;
  modes.InRes[static_cast<size_t>(group)] = *mode;
  uint8_t wire[kInSetParaLength];
  modes.encode(wire);
  InSetPara = modes;
  const int result =
      DriverUtil::getInstance()->WriteDataToFlash(flash::kEdidModes.address, flash::kEdidModes.length, wire);
  if (result != 0) TRACE_ERROR("=== EDIDCommStorage ===write InSetPara to flash failed! ret = " << result);
  setByMode(group, *mode);
  TRACE_INFO("EDIDCommStorage done ");
}

int InputSource::ReadEDIDInfo(int group, uint8_t out[256]) {
  const CMutexGuardT guard(m_mutex);
  const source_t* source = GetSourceByGroup(group);
  if (source == nullptr) {
    TRACE_ERROR("=== ReadEDIDInfo ===no input in group " << group);
    return -1;
  }
  const int result = ll_input_get_edid(source->id, out, kEdidLength);
  if (result != 0) std::printf("GetEDIDInfo error %d \n", result);
  TRACE_INFO("ReadEDIDInfo souce code = " << source->code << " id = " << source->id);
  return result == 0 ? 0 : -1;
}

}  // namespace TIRK_MCUC
