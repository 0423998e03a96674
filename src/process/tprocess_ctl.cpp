#include "process/tprocess_ctl.h"

#include <exception>

#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/tprocess.h"

namespace TIRK_MCUC {

namespace {

struct Handler {
  enum_Process_Key_Table key;
  int (*apply)(int length, uint8_t* data);
};

constexpr Handler kHandlers[] = {
    {HwBasicinfoKey, Tprocess::Sprocess_BasicData},
    {SaveSendCardParaKey, Tprocess::Sprocess_SaveSendCardPara},
    {ReturnFactorySetKey, Tprocess::Sprocess_ReturnFactorySet},
    {ReloadSenderFPGAKey, Tprocess::Sprocess_ReloadSendCardProgram},
    {DoFeatureInfoKey, Tprocess::Sprocess_DoFeatureInfo},
    {CorrectionKey, Tprocess::Sprocess_Correction},
    {DoScreenInfoEchoKey, Tprocess::Sprocess_DoScreenInfoEcho},
    {HDR10Key, Tprocess::Sprocess_HDR10},
    {HLGKey, Tprocess::Sprocess_HLG},
    {SenderTestPattenKey, Tprocess::Sprocess_SenderTestPatten},
    {PictureQualityCalKey, Tprocess::Sprocess_PictureQualityCal},
    {WarmUpKey, Tprocess::Sprocess_DisplayWarmUp},
    {DoBackupInfoKey, Tprocess::Sprocess_DoBackupInfo},
    {CalculateParaOfSenderKey, Tprocess::Sprocess_CalculateParaOfSender},
    {AdvCalcParaOfSenderKey, Tprocess::Sprocess_AdvCalcParaOfSender},
    {PositionNetPortKey, Tprocess::Sprocess_PositionNetPort},
    {DoNumberFunCardPortKey, Tprocess::Sprocess_DoNumberFunCardPort},
    {DoSoftwareTableKey, Tprocess::Sprocess_DoSoftwareTable},
    {DoEDIDSpaceKey, Tprocess::Sprocess_DoDoEDIDSpace},
    {ActiveReportingKey, Tprocess::Sprocess_ActiveReporting},
    {SenderRGBGammaKey, Tprocess::Sprocess_SenderRGBGamma},
    {doAdjustBrightnessKey, Tprocess::Sprocess_doAdjustBrightness},
    {SendCardMappingKey, Tprocess::Sprocess_doMappingForSender},
    {RVConfigFileSpaceKey, Tprocess::Sprocess_RVConfigFileSpace},
    {ScreenPatternGenKey, Tprocess::Sprocess_ScreenPatternGen},
    {SendtoScanCardKey, Tprocess::Sprocess_SendtoScanCard},
    {SendtoMultiCardKey, Tprocess::Sprocess_SendtoMultiCard},
    {SendtoDistributeKey, Tprocess::Sprocess_SendtoDistribute},
};

}  // namespace

Tprocess_ctl* Tprocess_ctl::getInstance() {
  static NoDestroy<Tprocess_ctl> instance;
  return &instance.get();
}

Tprocess_ctl::Tprocess_ctl() : process_root{} {
  constexpr uint16_t kLargeLabel = 28;
  constexpr uint16_t kSmallLabel = 1;
  static_assert(std::size(kHandlers) < std::tuple_size_v<decltype(process_root)>);  // one entry ends the table
  size_t entry = 0;
  for (const Handler& handler : kHandlers) {
    process_root[entry++] = {kLargeLabel, kSmallLabel, handler.key, "", handler.apply};
  }
}

int Tprocess_ctl::initialize() {
  for (uint32_t i = 0; process_root[i].cmd_str != nullptr; ++i) {
    m_mapProcess[process_root[i].process_key] = {i, &process_root[i]};
  }
  return 1;
}

void Tprocess_ctl::onProcessDealwith(MCUProcessDataBlock* block) {
  CMutexGuardT guard(m_mutex);
  const auto found = m_mapProcess.find(static_cast<uint32_t>(block->m_key));
  if (found != m_mapProcess.end()) apply(found->second.cmd, *block);
}

void Tprocess_ctl::apply(const Fprocess_cmd* command, MCUProcessDataBlock& block) {
  if (command == nullptr || command->called_fun == nullptr) {
    TRACE_ERROR("=== onProcessDealwith ===: Invalid key!");
    return;
  }
  try {
    command->called_fun(block.getDataLen(), block.getData());
  } catch (const std::exception& error) {
    TRACE_ERROR("=== onProcessDealwith ===: the handler of key " << block.m_key << " failed: " << error.what());
  } catch (...) {
    TRACE_ERROR("=== onProcessDealwith ===: the handler of key " << block.m_key << " failed.");
  }
}

}  // namespace TIRK_MCUC
