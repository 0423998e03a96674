// The brightness controllers: which mode is active, the alarm over the schedule's nodes, the sensors, the
// serial-control watchdogs, and the output to the cards.
//
// One recursive mutex guards everything here; it is released during pauses towards the cards. Host writes come on the
// worker, poll steps on the flag thread. What a controller works from is a plan that was parsed whole when the mode was
// (re)started, so that a block being received never mixes with the one in force.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <ctime>

#include "mcucmutex.h"
#include "proto/brightnessalarm.h"
#include "proto/brightnessplan.h"
#include "proto/cardregisters.h"
#include "proto/registertypes.h"

namespace TIRK_MCUC {

class BrightnessControl {
 public:
  static BrightnessControl& getInstance();
  BrightnessControl(const BrightnessControl&) = delete;
  BrightnessControl& operator=(const BrightnessControl&) = delete;

  // --- worker, request thread: the table and its region (brightnessstore.cpp)
  // Applies a host's write. What is not whole and legal is an Error line and changes nothing.
  void SetBrightnessAdjustTable(uint32_t addr, int length, const uint8_t* data);
  void SaveBrightnessPara();  // writes the table back into its region; not when that cannot be read
  bool copyTable(size_t offset, MutableBytes out);  // offset + size at most 512; false: it could not be loaded

  // --- flag thread (brightnessschedule.cpp, brightnesssensor.cpp)
  void UpdataBrightnessPara(uint8_t storedTimeout);  // first poll: loads the table, selects the mode
  void pollSecond();                                 // once a second: watchdogs, sensor and re-broadcast counters
  void TimeToOver_Handler();                         // every 2 s: the alarm
  void armSensorReading();                           // every 20 s in sensor mode
  void ProgrammableBrightnessAdjust();               // once a second each, in this order
  void AutoBrightnessAdjust();
  void MixBrightnessAdjust();

  // --- output (brightnessoutput.cpp); any thread
  static int NewSendReceiveCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                                    const uint8_t* ParaPtr);
  // 18-byte packet to the cards of one port through the packet registers.
  static void AdjustCurrentComponentBrightness(uint8_t PortAddress, uint8_t RBrightness, uint8_t GBrightness,
                                               uint8_t BBrightness, uint8_t VRBrightness);
  // One sensor: 1 and its lux, or 0. PortAddr below 10, SensorAddr below 6.
  static int ReadEnvironmentLux(uint8_t Pos, uint8_t PortAddr, uint16_t BoardAddr, uint8_t SensorAddr, uint16_t* pVal);

  std::atomic<uint8_t> LocalAddr{0};          // device address for serial control
  std::atomic<uint8_t> UartDiscOvertime{40};  // seconds
  std::atomic<uint8_t> DevComLinkState{0};    // serial-control activity since the last second
  std::atomic<uint8_t> LastGlobalBri{0};      // last global brightness sent, 0..255

 private:
  template <class T>
  friend class NoDestroy;
  BrightnessControl() = default;
  using Guard = CMutexGuardT<CMutexThreadRecursive>;

  // One reading of the board's clock, in local time.
  struct ClockSnapshot {
    bool valid = false;  // the clock could be read
    tm local{};
    uint8_t hourBcd() const { return toBcd(static_cast<unsigned>(local.tm_hour)); }
    uint8_t minuteBcd() const { return toBcd(static_cast<unsigned>(local.tm_min)); }
  };
  static ClockSnapshot readClock();

  // --- table and region
  bool ensureTable();
  bool readRegion(MutableBytes out);
  void storeModeByte(uint8_t mode);
  bool storePiece(uint32_t k, Bytes piece);
  void noteTransfer(uint32_t k, Bytes piece, bool stored);
  bool transferEndsWith(uint32_t k, size_t length) const;
  void applyMixedWrite(uint32_t k, Bytes data);
  void switchMixedControl(bool on);
  void applySensor();
  void switchEverythingOff();
  void allModesOff();
  void BriAdjustModeProcess();

  // --- controllers
  void BrightnessAdjustInit();
  void startSchedule(const ClockSnapshot& now);
  void startMixed(const ClockSnapshot& now);
  void applyScheduleNode(const ScheduleNode& node);
  void applyMixedNode(const MixedNode& node, Guard& guard);
  void InsertInterruptTimeToQueue(int AdjustType);
  void armAnew(const ClockSnapshot& now);
  void applyDueMixedNodes(Guard& guard);
  void SeiralComErrorProcess();
  void screenBlackWatchdog(bool activity);
  void hardwareControlWatchdog(bool activity);
  // One reading over the list in force. They release the mutex while they wait for the sensors.
  bool GetAverageLuxOneTime(uint16_t* out, Guard& guard);
  bool GetMixAdjAverageLux(uint16_t* out, Guard& guard);
  void mixedSensorStep(Guard& guard);
  void sensorFault(Guard& guard);
  void resetSamples();
  void sendGlobal(uint8_t brightness);  // to every card on every port
  void sendMixed(uint8_t brightness, Guard& guard);
  // In steps of 1 with a pause each, when gradual changes are on; ends where it is when a mode (re)starts in between.
  void SmartAdjustGlobalBrightness(uint8_t CurrentBri, uint8_t TargetBri, unsigned long DelayMs, Guard& guard);

  CMutexThreadRecursive m_mutex{LockRank::brightness};
  uint32_t m_restarts = 0;  // how often a mode was (re)started or switched off: what waits without the mutex compares

  // The table as last written, and the block being received.
  std::array<uint8_t, kBrightnessTableSize> ProgrammableTimeTableArray{};
  bool m_tableLoaded = false;
  bool m_modeSelected = false;  // by the first poll, or by a write before it
  uint32_t ConfigFileLength = 0;
  enum class Block : uint8_t { whole, coming, pieceLost };  // pieceLost: the flash did not take one
  Block m_block = Block::whole;

  // Modes and switches.
  enum_Active ProgrammableAdjustEnable = DISABLE;
  enum_Active AutoBrightnessAdjustEnable = DISABLE;
  enum_Active MixBrightnessAdjustEnable = DISABLE;
  enum_Active SerialCtrlScreenBlackEnable = DISABLE;
  enum_Active HardwareCtrlAdjustEnable = DISABLE;
  enum_Active MixAutoBriAdjustEnable = DISABLE;
  enum_Active MixBriAdjustGlobalControl = ENABLE;
  enum_Active MixBriAdjustControl = ENABLE;
  enum_Active LastMixBriAdjustControl = ENABLE;
  enum_Active GradualAdjustControl = ENABLE;
  enum_Active BriBroadcastEnable = DISABLE;
  enum_Active BriBroadcastArrived = DISABLE;
  enum_Active ProgrammableAdjustArrived = DISABLE;
  enum_Active AutoBrightnessAdjustArrived = DISABLE;
  bool MixBriAdjOccured = false;

  // What the active controller works from.
  Schedule m_schedule;
  std::vector<SensorRecord> m_tableSensors;
  StepMap m_stepMap{};
  MixedPlan m_mixed;

  // The alarm, and the node for which it is armed or that was applied last.
  BrightnessAlarm m_alarm;
  int RtcIndex = 0;
  uint16_t Index = kNoNode;
  enum_Active RtcIntOccurArrived = DISABLE;

  // Sensors.
  std::array<uint16_t, 16> AutoBrightnessReadValTable{};
  uint8_t AutoBrightnessAdjustCnt = 0;
  uint8_t SensorReadFaultCnt = 0;
  uint16_t SensorReadTimeCnt = 0;
  uint16_t BriBroadcastCnt = 0;
  uint8_t TIM2_PeriodCnt = 0;  // seconds without serial-control activity
};

}  // namespace TIRK_MCUC
