#include "proto/addr_intelligentbrightnessregister.h"

#include <array>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {{"no data", "sends brightness to the cards of the named ports, at once"}};

constexpr uint32_t kBase = 0x02400000;
constexpr size_t kPayloadHeader = 3;
constexpr size_t kEntryLength = 4;
constexpr uint8_t kBrightnessPorts = 10;
constexpr unsigned long kPauseMs = 5;  // the cards of a port take their packet meanwhile

std::array<uint8_t, fpga::kScreenBrightnessPacket.length> buildPacket(uint8_t port, uint8_t brightness) {
  constexpr size_t kSummed = 13;
  std::array<uint8_t, fpga::kScreenBrightnessPacket.length> packet{0x01, port, 0xFF, 0xFF, 0x01, 0x00,      0x01,
                                                                   0x00, 0x00, 0x02, 0x01, 0x00, brightness};
  uint16_t sum = 0;
  for (size_t i = 0; i < kSummed; ++i) sum = static_cast<uint16_t>(sum + packet[i]);
  DWT_ENCWD(packet.data() + kSummed, sum);
  return packet;
}

// The status of the last bus write.
int adjustPorts(uint16_t mask, uint8_t brightness) {
  int result = kDone;
  for (uint8_t port = 0; port < kBrightnessPorts; ++port) {
    if ((mask >> port & 1) == 0) continue;
    TRACE_INFO("port addr = " << port);
    result = Addr_IntelligentBrightnessRegister::AdjustCurrentGlobalBrightness(port, brightness);
    Sleep(kPauseMs);
  }
  return result;
}

}  // namespace

const SpaceTraits Addr_IntelligentBrightnessRegister::kTraits{.className = "Addr_IntelligentBrightnessRegister",
                                                              .baseRegisterAddr = kBase,
                                                              .keyMask = 0xFFFF0000,
                                                              .docs = kDocs,
                                                              .pauses = [](uint32_t) { return true; }};

Fshl_cmd Addr_IntelligentBrightnessRegister::cmd_tblOffset[] = {{kBase,
                                                                 "intelligent brightness",
                                                                 "intelligent brightness register",
                                                                 kReadWrite,
                                                                 {1, 512},
                                                                 {},
                                                                 nullptr,
                                                                 DoIntellBrightSentByScreen,
                                                                 nullptr,
                                                                 Ssh_checkFun},
                                                                {}};

int Addr_IntelligentBrightnessRegister::DoIntellBrightSentByScreen(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromIntellBrightSentByScreen, WriteToIntellBrightSentByScreen);
}

int Addr_IntelligentBrightnessRegister::ReadFromIntellBrightSentByScreen(IMD_proto3rd*) {
  return kDone;
}

int Addr_IntelligentBrightnessRegister::WriteToIntellBrightSentByScreen(IMD_proto3rd* request) {
  TRACE_INFO("============================ Begin Write IntellBright ===========================");
  const Bytes data = request->data();
  int result = kDone;
  if ((request->proto.m_uiRegisterUnitAddress & 0xFFFF) == 0 && data.size() > kPayloadHeader) {
    const uint8_t brightness = data[0];
    const size_t entries = readWord(&data[1]);
    if (data.size() < kPayloadHeader + kEntryLength * entries) {
      TRACE_ERROR("=== WriteToIntellBrightSentByScreen ===" << static_cast<unsigned long>(entries)
                                                            << " entries do not fit in data length "
                                                            << static_cast<unsigned long>(data.size()));
      return refuse(request, kBadLength);
    }
    for (size_t i = 0; i < entries; ++i) {
      const uint8_t* const entry = data.data() + kPayloadHeader + kEntryLength * i;
      const uint16_t mask = readWord(entry + 2);
      TRACE_INFO("sender card num = " << static_cast<unsigned long>(entries) << " sender addr = " << entry[0]
                                      << " valid port = " << mask);
      if (const uint16_t ports = mask & ((1U << kBrightnessPorts) - 1)) result = adjustPorts(ports, brightness);
    }
  }
  TRACE_INFO("============================ Finish Write IntellBright ==========================");
  return result;
}

int Addr_IntelligentBrightnessRegister::AdjustCurrentGlobalBrightness(uint8_t port, uint8_t brightness) {
  const auto packet = buildPacket(port, brightness);
  DriverUtil* const driver = DriverUtil::getInstance();
  int result = driver->FPGAC5_WriteOneWord(0, 0, fpga::kScreenBrightnessPort.address, static_cast<uint8_t>(2 * port));
  // Unless its port is selected, the packet would reach another one.
  if (result == 0) {
    result = driver->FPGAC5_WriteDataBlock(0, 0, fpga::kScreenBrightnessPacket.address,
                                           static_cast<uint32_t>(packet.size()), packet.data());
  }
  if (result != 0) TRACE_ERROR("===  ===write bytes to fpga failed. driverRet = " << result);
  return driver->FPGAC5_WriteOneWord(0, 0, fpga::kScreenBrightnessPort.address, 0);
}

}  // namespace TIRK_MCUC
