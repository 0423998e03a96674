// Process keys: which handler applies a queued work item. Shared by the register spaces, which queue, and the dispatch.
#pragma once

#include <cstdint>

namespace TIRK_MCUC {

enum _ValueChanged_Table : uint32_t {  // NOLINT(bugprone-reserved-identifier): an agreed name
  HwBasicinfoKey = 0,
  ControllerSortKey = 1,
  SaveSendCardParaKey = 2,
  ReturnFactorySetKey = 3,
  ReloadSenderFPGAKey = 4,
  DoFeatureInfoKey = 5,
  CorrectionKey = 6,
  DoScreenInfoEchoKey = 7,
  HDR10Key = 8,
  HLGKey = 9,
  SenderTestPattenKey = 10,
  PictureQualityCalKey = 11,
  WarmUpKey = 12,
  DoBackupInfoKey = 13,
  CalculateParaOfSenderKey = 14,
  AdvCalcParaOfSenderKey = 15,
  PositionNetPortKey = 16,
  DoNumberFunCardPortKey = 17,
  DoSoftwareTableKey = 18,
  DoEDIDSpaceKey = 19,
  ActiveReportingKey = 21,
  SenderRGBGammaKey = 22,
  doAdjustBrightnessKey = 23,
  RVConfigFileSpaceKey = 24,
  ScreenPatternGenKey = 25,
  SendtoScanCardKey = 26,
  SendtoMultiCardKey = 27,
  SendtoDistributeKey = 28,
  SendCardMappingKey = 29
};
using enum_Process_Key_Table = _ValueChanged_Table;

}  // namespace TIRK_MCUC
