// Brightness on its way to the cards.
#include <array>

#include "driverutil.h"
#include "mcucutil.h"
#include "proto/brightnesscontrol.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

namespace {

constexpr size_t kPacketSummed = 16;

}  // namespace

int BrightnessControl::NewSendReceiveCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                                              const uint8_t* ParaPtr) {
  const int result = DriverUtil::getInstance()->SendCardPara(RegStartAddr, PortAddr, BoardAddr, Num, ParaPtr, RecvCard);
  if (RegStartAddr == kCardGlobalBrightness) Data_Global::getInstance()->SendDatetoQXT(RegStartAddr, ParaPtr, 1);
  return result;
}

void BrightnessControl::AdjustCurrentComponentBrightness(uint8_t PortAddress, uint8_t RBrightness, uint8_t GBrightness,
                                                         uint8_t BBrightness, uint8_t VRBrightness) {
  std::array<uint8_t, fpga::kPacketData.length> packet{0x01,        PortAddress, 0xFF,        0xFF,        0x01, 0x00,
                                                       0x02,        0x00,        0x00,        0x02,        0x04, 0x00,
                                                       RBrightness, GBrightness, BBrightness, VRBrightness};
  uint16_t sum = 0;
  for (size_t i = 0; i < kPacketSummed; ++i) sum = static_cast<uint16_t>(sum + packet[i]);
  DWT_ENCWD(packet.data() + kPacketSummed, sum);
  const auto port = static_cast<uint8_t>(2 * PortAddress);
  DriverUtil& driver = *DriverUtil::getInstance();
  driver.FPGAC5_WriteOneWord(0, 0, fpga::kPacketPort.address, port);
  driver.FPGAC5_WriteDataBlock(0, 0, fpga::kPacketData.address, fpga::kPacketData.length, packet.data());
  driver.FPGAC5_WriteOneWord(0, 0, fpga::kPacketPort.address, static_cast<uint8_t>(port + 1));
}

void BrightnessControl::sendGlobal(uint8_t brightness) {
  NewSendReceiveCardPara(kCardGlobalBrightness, kAllPorts, kAllCards, 1, &brightness);
}

void BrightnessControl::SmartAdjustGlobalBrightness(uint8_t CurrentBri, uint8_t TargetBri, unsigned long DelayMs,
                                                    Guard& guard) {
  if (GradualAdjustControl == DISABLE || CurrentBri == TargetBri) {
    sendGlobal(TargetBri);
    LastGlobalBri = TargetBri;
    return;
  }
  const uint32_t restarts = m_restarts;
  for (uint8_t brightness = CurrentBri; brightness != TargetBri;) {
    brightness = static_cast<uint8_t>(brightness + (TargetBri > brightness ? 1 : -1));
    sendGlobal(brightness);
    LastGlobalBri = brightness;
    guard.UnLock();
    Sleep(DelayMs);
    guard.Lock();
    if (m_restarts != restarts) return;
  }
}

void BrightnessControl::sendMixed(uint8_t brightness, Guard& guard) {
  constexpr unsigned long kStepMs = 50;
  const uint32_t restarts = m_restarts;
  if (MixBriAdjOccured) {
    SmartAdjustGlobalBrightness(LastGlobalBri, brightness, kStepMs, guard);
    if (m_restarts != restarts) return;
  } else {
    sendGlobal(brightness);
  }
  MixBriAdjOccured = true;
  LastGlobalBri = brightness;
}

}  // namespace TIRK_MCUC
