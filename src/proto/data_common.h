// The parameter store: byte-exact mirrors of the FPGA's register spaces, the device's state, and the operations that
// compute, save, restore and report it.
//
// Mirrors and groups of bytes are guarded by m_mutex, held for the copy alone; single flags are atomics. An operation's
// thread is given with it; "worker or flag" operations are serialised by Tprocess_ctl::m_mutex. A failing flash or FPGA
// access is an Error line and the operation goes on, unless said.
#pragma once

#include <array>
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

#include "guardedbytes.h"
#include "linkstate.h"
#include "mcucmutex.h"
#include "proto/mosaicgeometry.h"
#include "proto/screentables.h"
#include "proto/sendparameter.h"

namespace TIRK_MCUC {

// --- Global parameter tables.

// Cells of ParaTable.
enum ParaCell : unsigned {
  PbufBrightness = 0,
  PbufGamma,
  PbufRedBri,
  PbufGreenBri,
  PbufBlueBri,
  PbufColorTemp,
  PbufHRes,
  PbufVRes,
  PbufInputRefrate,
  PbufOffSetX,
  PbufOffSetY,
  PbufScreenWidth,
  PbufScreenHeight,
  PbufCalCfgRow,
  PbufCalCfgCol,
  PbufCalCfgNum,
  PbufCalCfgCM,
  PbufMorSModeCell,
  PbufHDRType,
  PbufHLGClass,
  PbufScrPeakLight,
  PbufAmbientLight,
  PbufLowGrayEffect,
  PbufHigGrayEffect,
  PbufContrast,
  PbufSaturation,
  PbufHue,
  PbufSendcardBitDepth
};
// AdvCfgParaTable has five cells a port 1..16: Row, Col, X, Y, CM.
constexpr unsigned PbufAdvCfgPort(unsigned port, unsigned field) {
  return 5 * (port - 1) + field;
}

extern std::array<std::atomic<uint16_t>, 512> ParaTable;
extern std::array<std::atomic<uint16_t>, 512> AdvCfgParaTable;
extern std::array<std::atomic<uint8_t>, 32> ParaCharTable;  // entry n (1..16): connect mode of port n
extern std::array<std::atomic<uint32_t>, 2> RecvCardSize_befor;
extern std::atomic<uint32_t> factory_flag;
extern std::atomic<uint32_t> read_CardSize_flag;

// The configuration status byte at flash 0xB99000.
enum LedConfigStatus : uint8_t { kLedConfigBasic = 168, kLedConfigAdvanced = 184, kLedConfigSoftware = 200 };

constexpr uint8_t kRoleBackup = 0x80;
constexpr uint8_t kDeviceSlave = 0xA5;
constexpr uint8_t kDeviceMaster = 0x5A;

class Data_Global {
 public:
  static Data_Global* getInstance();
  Data_Global(const Data_Global&) = delete;
  Data_Global& operator=(const Data_Global&) = delete;

  // --- Members, in the order of the device's documents.
  mutable CMutexThreadRecursive m_mutex{LockRank::store};  // first: the mirrors refer to it
  std::atomic<uint8_t> NormalBackupStatus{0};  // 0: device role is 0x5A or 0xA5; else spare linked ports become backups
  std::atomic<uint8_t> PbufMorSMode{0};        // 1: slave device
  std::atomic<uint8_t> LinkButError{0};
  std::atomic<uint8_t> LEDConfigStatus{0};
  std::atomic<uint8_t> factoryflag{0};
  std::atomic<uint32_t> CalculateParaHandlerCnt{0};
  GuardedBytes<32> TmpCalcScreenPara{m_mutex};
  GuardedBytes<sendpara::kSize> SendParameterReg{m_mutex};
  GuardedBytes<392> ScreenParaReg{m_mutex};         // screen record; its first 15 bytes are persisted
  GuardedBytes<512> HardwareScreenGenReg{m_mutex};  // pattern generator registers
  // Last reported states; flag thread only.
  std::array<uint8_t, 16> SendRedundStatustoQXT_buff{};  // its first 12 bytes
  std::array<uint8_t, 4> SendRedundtoQXT_buff{};
  std::array<uint8_t, 4> SendNetLinktoQXT_buff{};
  std::array<uint8_t, 1> fiberlink_buff{};
  std::array<uint8_t, 1> fiberRedund_buff{};
  std::array<uint8_t, 1> fiberCopyStatus_buff{};
  std::array<uint8_t, 2> FiberToNetStatus_buff{};
  std::array<uint8_t, 6> SendOptRedundtoQXT_buff{};
  std::atomic<uint16_t>& Fiber1BelowLinkStatus_buff = linkState().fiber1;  // byte 0 low
  std::atomic<uint16_t>& Fiber2BelowLinkStatus_buff = linkState().fiber2;
  std::atomic<uint16_t>& GigaPhyLinkSta = linkState().copper;
  std::atomic<uint8_t> RebootRF{0};   // 0 serving, 1 reset done and reboot due, 2 reset running, 3 reset requested
  std::atomic<uint8_t> ResetMode{0};  // type of the requested factory reset; stored before RebootRF
  std::atomic<uint8_t> FpgaOnlineFlag{0};
  std::atomic<uint8_t> LocalAddr{0};
  std::array<uint8_t, 4> ScanRecvBuf{};
  uint8_t ScanCardID = 0;
  std::atomic<uint32_t> My_uuid{0};  // bits 8..15: board model
  std::atomic<uint8_t> sync_hwtime_flag{0};
  std::array<uint8_t, 2> CfgScreenStatus{};
  std::atomic<bool> FpgaParaLoadFinish{false};
  static constexpr std::array<uint8_t, 4> IsNewFlashTag{0x39, 0xF6, 0xA5, 0x5A};
  std::atomic<uint8_t> ShortCfgReadRvStatus{0};
  std::atomic<uint8_t> OptModuleLinkSta{0};
  std::atomic<uint8_t> _gCorroentHighSpeed{0};
  std::atomic<uint8_t> LinkStateChanged{0};  // cycles since a link change, 0 none
  GuardedBytes<7> Time_to_wpr{m_mutex};

  // ReceiveCardWidth and ReceiveCardHeight, always together. 128 x 128 at first.
  CardSize cardSize() const;
  void setCardSize(CardSize size);

  // Calculation input shared by the request, worker and flag threads: MyTempParaTable[1..3], MyTempParaCharTable[0, 2].
  MosaicRequest mosaicRequest() const;
  void setMosaicRequest(const MosaicRequest& request);

  // --- Self-test switch (RWFPGATestflag): 0 ended, 1 started.
  uint8_t RWFPGATestflag() const { return m_selfTestFlag.load(); }
  void setRWFPGATestflag(uint8_t value);                // any thread; wakes waitForSelfTest
  void waitForSelfTest(const std::atomic<bool>& stop);  // returns when the flag is 1 or `stop` is set
  void wakeSelfTest();                                  // after setting `stop`
  // Whether the position and number memories hold test patterns, or soon may: from the switch on until the self-test
  // thread has brought them back, which is later than the switch off. Their mirrors answer for them meanwhile.
  bool memoriesUnderTest() const { return m_selfTestFlag.load() == 1 || m_memoriesUnderTest.load(); }
  void setMemoriesUnderTest(bool value) { m_memoriesUnderTest = value; }  // self-test thread

  // --- data_common.cpp: save and load. Worker or flag thread, and start-up.
  void SaveParaToFlash(uint8_t type);  // 0 basic hardware block, 1 screen and feature state
  void SaveBasicParaToFlash();
  // Type 0 basic hardware block, 1 feature block; length at most 5120. 0, or not 0 and `dest` left alone.
  int RestoreDataFromFlash(uint8_t type, uint8_t* dest, uint16_t length);
  int CopyConstDataToFlash(uint32_t addr, const uint8_t* data, uint32_t length);  // pages of 256; last page's result
  int Read_ScreenSize_FromFlash(uint32_t size[2]);  // 0, or -1 when unreadable or a value is 0
  int Read_CardSize_FromFlash(uint32_t size[2]);
  int Write_CardSize_toFlash();
  void ReadHardwareInfo();
  void DebugForScreenZero(uint16_t point, uint32_t address, const char* description);
  void writeScreenCounter(uint8_t value);  // flash 0xD17000, with its line
  void countScreenConfiguration();         // reads the counter, adds 1, writes it back
  void writeScreenSizeToFlash(uint32_t width, uint32_t height);
  void PortWidthUpdate(uint8_t port, uint16_t value);  // ports above 15 are ignored
  void PortHeightUpdate(uint8_t port, uint16_t value);
  void PortOffsetXUpdate(uint8_t port, uint16_t value);
  void PortOffsetYUpdate(uint8_t port, uint16_t value);
  void PortMorSUpdate(uint8_t port, uint8_t value);

  // --- data_restore.cpp. Start-up, flag thread, worker; never two at once.
  void RestoreFPGA();
  void BootRecover();

  // --- data_mosaic.cpp, data_advanced.cpp. Worker or flag thread.
  void CalculateParaOfSenderInMosaicMode(const MosaicRequest& request);
  void CalculateParaGetSreenSize(const MosaicRequest& request);
  int GetRecvCardSize_EnvNew();  // 0 when the card size was updated, else -1; any thread
  // Whether the request keeps its limits with this card size; if not, after the calculation's Error line.
  static bool advancedWithinLimits(const AdvancedRequest& request, CardSize card);
  void AdvCalcParaGetSreenSize(const AdvancedRequest& request);
  int AdvCalcParaOfSenderInMosaicMode(const AdvancedRequest& request);  // 0, or 0x80005011 and nothing changed
  int AdvCordinateCalc(uint8_t spare, uint8_t connectMode, uint8_t port, uint16_t x, uint16_t y, uint16_t rows,
                       uint16_t columns);  // 0, or 0x80005011 for a port of 10 or more

  // --- data_feature.cpp. Worker.
  void DoWriteFeatureInfo(uint32_t address, uint16_t length, const uint8_t* data);
  void SendMasterOrBackup(uint8_t role);                      // 0 master, else backup
  bool ChangeOutScreenPara(uint32_t width, uint32_t height);  // false, nothing stored, when one is 0

  // --- data_factory.cpp. ReturnFactory: flag thread. SNTransfer: start-up. Get...: request thread.
  int ReturnFactory(uint8_t type);  // 0; -1 when the reset stopped before anything was changed
  int SetIPVersion();
  void SNTransfer();
  void GetEnvSNPara(uint8_t out[8]);
  void GetEnvModelIDPara(uint8_t out[2]);
  static int ASCII2Hex(const char* text, int length, uint8_t* out);  // 0

  // --- data_colour.cpp. Worker.
  void SendGammaToFpga(uint8_t set);      // 'x' set 2, else set 1
  void SendCardHDRProcess(uint8_t kind);  // 'X' HDR10, 'x' HLG, else the normal gamma
  void PictureQualityProcess(uint8_t argument);
  void ScreenPatternGenProcess();  // on HardwareScreenGenReg

  // --- data_report.cpp. Any thread; re-entrant. Each sends one register report to a peer daemon.
  void SendDatetoQXT(uint32_t address, const uint8_t* data, uint16_t length);
  void SendRVDatetoQXT(uint32_t address, const uint8_t* data, uint16_t length);
  void SendDatetoFrelld(uint32_t address, const uint8_t* data, uint16_t length);
  void SendRebootMsgtoQXT(const uint8_t* data, uint16_t length);
  void SendRVCardWHtoQXT();
  void SendCardSizetoWpr();
  void SendTimetoWpr();
  void SendC8toWpr();
  void Send9DtoQXT();
  void SendBandWidthInfo();
  void SendFlag_kadrendload();
  void SendMStoQXT1_4();
  void SendMStoQXT5_8();
  void SendMStoQXT9_16();
  void SendFiberLinkInfo();
  void SendRedundtoQXT1_4();
  void SendRedundtoQXT5_8();
  void SendRedundtoQXT9_16();
  // Change-driven; flag thread.
  void SendRedundStatustoQXT();
  void SendRedundtoQXT();
  void SendFiberLinktoQXT();

 private:
  template <class T>
  friend class NoDestroy;
  Data_Global() = default;
  void sendReport(uint32_t task, uint32_t address, Bytes data);
  void sendMirror(uint32_t task, uint32_t address, size_t offset, size_t length);  // bytes of SendParameterReg

  uint16_t ReceiveCardWidth = kDefaultCardSize.width;  // guarded by m_mutex, always with the height
  uint16_t ReceiveCardHeight = kDefaultCardSize.height;
  MosaicRequest m_mosaicRequest;  // guarded by m_mutex
  std::atomic<uint8_t> m_selfTestFlag{0};
  std::atomic<bool> m_memoriesUnderTest{false};
  std::mutex m_selfTestMutex;
  std::condition_variable m_selfTestChanged;
};

// The basic hardware register mirror.
class Data_Preset {
 public:
  static Data_Preset* getInstance();
  GuardedBytes<392> BasicHardWareReg{m_mutex};  // bytes 2..8 hardware version block, 31 the marker 0x55

 private:
  template <class T>
  friend class NoDestroy;
  Data_Preset() = default;
  mutable CMutexThreadRecursive m_mutex;
};

}  // namespace TIRK_MCUC
