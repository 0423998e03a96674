#include "proto/tshl_ctl.h"

#include <cassert>

#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/addr_backupinforegister.h"
#include "proto/addr_cabinetrotationregister.h"
#include "proto/addr_cardprogmaspaceregister.h"
#include "proto/addr_cmdregister.h"
#include "proto/addr_coordinatescanboardregister.h"
#include "proto/addr_edidspaceregister.h"
#include "proto/addr_featureregister.h"
#include "proto/addr_hardwareprogrammablebrightnessadjust.h"
#include "proto/addr_hcinteractionregister.h"
#include "proto/addr_hwbasicinforegister.h"
#include "proto/addr_intelligentbrightnessregister.h"
#include "proto/addr_numberfuncardportregister.h"
#include "proto/addr_plugincardinforegister.h"
#include "proto/addr_rgbgammaregister.h"
#include "proto/addr_rvconfigfilespace.h"
#include "proto/addr_screeninfoechoregister.h"
#include "proto/addr_screenpatterngenregister.h"
#include "proto/addr_shortcutconfigscreenregister.h"
#include "proto/addr_softwaretableregister.h"
#include "proto/addr_testprinfregister.h"
#include "proto/registerspace.h"

namespace TIRK_MCUC {

Tshl_ctl* Tshl_ctl::getInstance() {
  static NoDestroy<Tshl_ctl> instance;
  return &instance.get();
}

template <class Space>
void Tshl_ctl::add(uint32_t base, const char* name, const char* description) {
  assert(m_used + 1 < cmd_root.size());
  m_spaces[m_used] = Space::getInstance();
  cmd_root[m_used] = {base, name, description, 0, {}, {}, nullptr, Space::Ssh_cmd, Space::Ssh_print, nullptr};
  ++m_used;
}

Tshl_ctl::Tshl_ctl() {
  add<Addr_HwBasicInfoRegister>(0x00000000, "factory", "factory hardware register");
  add<Addr_PluginCardInfoRegister>(0x00010000, "plug in card info", "plug in card register");
  add<Addr_CMDRegister>(0x01000000, "command", "command register");
  add<Addr_FeatureRegister>(0x02000000, "feature", "feature register");
  add<Addr_ScreenInfoEchoRegister>(0x02100000, "screen info echo", "screen info echo");
  add<Addr_HCInteractionRegister>(0x02200000, "screen info echo", "screen info echo");
  add<Addr_BackupInfoRegister>(0x02300000, "backup", "backup info register");
  add<Addr_IntelligentBrightnessRegister>(0x02400000, "Intelligent brightness",
                                          "Intelligent brightness sent by screen register");
  add<Addr_CabinetRotationRegister>(0x02700000, "cabinet rotation", "cabinet rotation register");
  add<Addr_ShortcutConfigScreenRegister>(0x02810000, "shortcut config screen", "shortcut config screen register");
  add<Addr_CoordinateScanBoardRegister>(0x03000000, "netscanborad", "network scanborad position register");
  add<Addr_NumberFunCardPortRegister>(0x03100000, "netborad", "network scanborad register");
  add<Addr_SoftwareTableRegister>(0x05000000, "softwarespace", "software space register");
  add<Addr_SoftwareTableRegister>(0x05060000, "softwarespace", "software space register");
  add<Addr_EDIDSpaceRegister>(0x08000000, "edid", "edid space register");
  add<Addr_HardWareBrightnessAdjust>(0x0A000000, "brightness", "brightness space register");
  add<Addr_TestPrinfRegister>(0xF0000000, "testprintf", "testprintf Infomation");
  add<Addr_TestPrinfRegister>(0xF1000000, "testprintf", "testprintf Infomation");
  add<Addr_RGBGammaRegister>(0x0E000000, "RGB Gamma", "RGB Gamma register");
  add<Addr_ScreenPatternGenregister>(0x12010000, "ScreenPatternGen info", "ScreenPatternGen info register");
  add<Addr_RVConfigFileSpace>(0x0F000000, "RVConfig File Space info", "RVConfig File Space info register");
  add<Addr_CardProgmaSpaceRegister>(0x18000000, "cardprogspace", "sendcard programm space register");
  add<Addr_CardProgmaSpaceRegister>(0x18200000, "ccardprogspace", "csendcard programm space register");
}

bool Tshl_ctl::initialize() {
  for (uint32_t i = 0; cmd_root[i].cmd_str != nullptr; ++i) m_mapProtoShl[cmd_root[i].RegisterAddr] = {i, &cmd_root[i]};
  return true;
}

uint32_t Tshl_ctl::spaceMask(uint32_t address) {
  constexpr uint32_t kTopByte = 0xFF000000;
  switch (address & kTopByte) {
    case 0x0E000000:
    case 0x0F000000:
    case 0xF0000000:
    case 0xF1000000:
      return kTopByte;
    default:
      return 0xFFFF0000;
  }
}

bool Tshl_ctl::pauses(uint32_t address) const {
  const auto found = m_mapProtoShl.find(address & spaceMask(address));
  if (found == m_mapProtoShl.end()) return false;
  const auto pauses = m_spaces[found->second.NO]->traits().pauses;
  return pauses != nullptr && pauses(address);
}

int Tshl_ctl::Ssh_StartSendCard(IMD_proto3rd* request) {
  if (request == nullptr) {
    TRACE_ERROR("=== Ssh_StartSendCard ===Ssh_StartSendCard: The proto is NULL! return.");
    return kRefused;
  }
  TRACE_INFO("============================= Begin SendCard Task ===============================");
  const uint32_t address = request->proto.m_uiRegisterUnitAddress;
  const uint32_t key = address & spaceMask(address);
  TRACE_INFO("Recv Register Address : " << hex << address << " length : " << hex
                                        << int{request->proto.m_usValidDataLength});
  const auto found = m_mapProtoShl.find(key);
  if (found == m_mapProtoShl.end()) {
    TRACE_ERROR("=== Ssh_StartSendCard ===Ssh_StartSendCard: Invalid register address!");
    return kRefused;
  }
  Fshl_cmd* const entry = found->second.cmd;
  const int result = entry->called_fun == nullptr ? kUnknown : entry->called_fun(request, entry, 0);
  TRACE_INFO("============================= Finish SendCard Task ==============================");
  return result;
}

}  // namespace TIRK_MCUC
