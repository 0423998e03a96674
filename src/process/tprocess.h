// The process handlers: the second half of every queued write. Worker thread, under Tprocess_ctl::m_mutex, one at a
// time. Each takes a work item's payload (length, data), must not keep the pointer, and returns a result that nobody
// looks at. A handler gets what its payload claims only if it is there; otherwise it writes one Error line and ends.
#pragma once

#include <cstdint>

#include "mcucbytes.h"

namespace TIRK_MCUC {

class Tprocess {
 public:
  static Tprocess* getInstance();

  // tprocess.cpp
  static int Sprocess_BasicData(int length, uint8_t* data);
  static int Sprocess_SaveSendCardPara(int length, uint8_t* data);
  static int Sprocess_ReturnFactorySet(int length, uint8_t* data);
  static int Sprocess_ReloadSendCardProgram(int length, uint8_t* data);
  static int Sprocess_DoFeatureInfo(int length, uint8_t* data);
  static int Sprocess_Correction(int length, uint8_t* data);
  static int Sprocess_DoScreenInfoEcho(int length, uint8_t* data);
  static int Sprocess_SenderTestPatten(int length, uint8_t* data);
  static int Sprocess_DoBackupInfo(int length, uint8_t* data);
  static int Sprocess_PositionNetPort(int length, uint8_t* data);
  static int Sprocess_DoNumberFunCardPort(int length, uint8_t* data);
  static int Sprocess_DoSoftwareTable(int length, uint8_t* data);
  static int Sprocess_DoDoEDIDSpace(int length, uint8_t* data);
  static int Sprocess_ActiveReporting(int length, uint8_t* data);
  static int Sprocess_doAdjustBrightness(int length, uint8_t* data);
  static int Sprocess_ScreenPatternGen(int length, uint8_t* data);
  static int Sprocess_SendtoScanCard(int length, uint8_t* data);
  static int Sprocess_SendtoMultiCard(int length, uint8_t* data);
  static int Sprocess_SendtoDistribute(int length, uint8_t* data);
  static int Sprocess_doMappingForSender(int length, uint8_t* data);
  // tprocess_screen.cpp
  static int Sprocess_CalculateParaOfSender(int length, uint8_t* data);
  static int Sprocess_AdvCalcParaOfSender(int length, uint8_t* data);
  static void CalculateParaOfSenderHandler();  // flag thread: the deferred calculation
  // tprocess_colour.cpp
  static int Sprocess_HDR10(int length, uint8_t* data);
  static int Sprocess_HLG(int length, uint8_t* data);
  static int Sprocess_PictureQualityCal(int length, uint8_t* data);
  static int Sprocess_DisplayWarmUp(int length, uint8_t* data);
  static int Sprocess_SenderRGBGamma(int length, uint8_t* data);
  // tprocess_rvfile.cpp
  static int Sprocess_RVConfigFileSpace(int length, uint8_t* data);
};

}  // namespace TIRK_MCUC
