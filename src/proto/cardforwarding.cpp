// Forwarding to the cards behind the output ports: reads and writes in chunks of fixed size, through the FPGA.
#include <algorithm>
#include <array>
#include <vector>

#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "pendingsave.h"
#include "proto/cardregisters.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/tshl_ctl.h"

namespace TIRK_MCUC {

namespace {

// What distinguishes the kinds of cards.
struct CardKind {
  CardType type;
  uint16_t chunk;  // bytes a transfer
  const char* name;
  const char* label;
  const char* begin;
  const char* finish;  // null: none
  const char* readFailed;
};

constexpr CardKind kRecvCard{RecvCard,
                             512,
                             "RecvCard",
                             "receive card",
                             "============================= Begin ScanCard Task ===============================",
                             nullptr,
                             "=== Ssh_StartScanCard ===Read receive card failed, return  "};
constexpr CardKind kMultiCard{MultiCard,
                              256,
                              "MultiCard",
                              "multi card",
                              "============================= Begin MultiCard Task ==============================",
                              "============================= Finish MultiCard Task =============================",
                              "=== Ssh_StartMultiCard ===Read multi card failed, return! "};
constexpr CardKind kDistribute{Distribute,
                               256,
                               "Distribute",
                               "Distribute",
                               "============================ Begin Distribute Task ==============================",
                               "============================ Finish Distribute Task =============================",
                               "=== Ssh_StartDistribute ===Read Distribute failed, return! "};
constexpr CardKind kLauncher{Launcher3D,
                             512,
                             "3DLauncher",
                             "3DLauncher",
                             "============================= Begin 3DLauncher Task ===============================",
                             "============================= Finish 3DLauncher Task ==============================",
                             "=== Ssh_Start3DLauncher ===Read 3DLauncher failed, return  "};

// Registers of cards that are more than forwarded.
constexpr uint32_t kCorrectionRegisters = 0x07000000;  // its top byte
constexpr uint32_t kLauncherRegister1 = 0x02000001;
constexpr uint32_t kLauncherRegister2 = 0x02000002;
constexpr uint32_t kLauncherReportDistance = 0x2000;

constexpr size_t kLargestRead = TP_SEND_BUFFER_LENGTH - kShortestFrame;  // what a reply can carry

int failureCode(const CardKind& kind, int driverResult) {
  return kind.type == RecvCard && driverResult != kPortNotLinked ? 1 : int{kRefused};
}

int failRead(const CardKind& kind, IMD_proto3rd& request, int driverResult) {
  const int code = failureCode(kind, driverResult);
  TRACE_ERROR(kind.readFailed << driverResult);
  request.proto.m_ucAck = static_cast<uint8_t>(code);
  return code;
}

int readCard(const CardKind& kind, IMD_proto3rd& request) {
  ThirdProtoMCUCMsg& proto = request.proto;
  const uint32_t length = proto.m_usValidDataLength;
  if (length > kLargestRead) return failRead(kind, request, -1);
  std::vector<uint8_t> buffer(length);
  for (uint32_t offset = 0; offset < length; offset += kind.chunk) {
    const auto piece = static_cast<uint16_t>(std::min<uint32_t>(kind.chunk, length - offset));
    const uint32_t address = proto.m_uiRegisterUnitAddress + offset;
    TRACE_INFO("Read " << kind.label << ", the CodeType = " << proto.m_ucCode
                       << ", PortAddr = " << proto.m_ucPortAddress << ", ReadLength = " << piece
                       << ", BoardAddr = " << proto.m_usBoardAddress << ", RegAddr = " << hex << address);
    const int ret = DriverUtil::getInstance()->ReadCardPara(address, proto.m_ucPortAddress, proto.m_usBoardAddress,
                                                            piece, &buffer[offset], kind.type);
    if (ret != 0) return failRead(kind, request, ret);
  }
  request.appendData(buffer);
  proto.m_ucAck = kAckOk;
  TRACE_INFO("Read " << kind.label << " finished ok. ");
  return kDone;
}

// Sends the chunks; after each, `afterChunk(address, chunk)` reports and pauses.
template <class AfterChunk>
void writeCard(const CardKind& kind, const IMD_proto3rd& request, Bytes data, AfterChunk afterChunk) {
  const ThirdProtoMCUCMsg& proto = request.proto;
  for (size_t offset = 0; offset < data.size(); offset += kind.chunk) {
    const Bytes chunk = data.subspan(offset, std::min<size_t>(kind.chunk, data.size() - offset));
    const uint32_t address = proto.m_uiRegisterUnitAddress + static_cast<uint32_t>(offset);
    TRACE_INFO("Write " << kind.label << ", the CodeType = " << proto.m_ucCode
                        << " PortAddr = " << proto.m_ucPortAddress << " WriteLength = " << chunk.size()
                        << " BoardAddr = " << proto.m_usBoardAddress << " RegAddr = " << hex << address
                        << " data[0]:" << chunk[0]);
    DriverUtil::getInstance()->SendCardPara(address, proto.m_ucPortAddress, proto.m_usBoardAddress,
                                            static_cast<uint16_t>(chunk.size()), chunk.data(), kind.type);
    afterChunk(address, chunk);
  }
}

// The bytes that a write carries, in the length that it says.
std::vector<uint8_t> writtenBytes(const IMD_proto3rd& request) {
  std::vector<uint8_t> data(request.proto.m_data);
  data.resize(request.proto.m_usValidDataLength);
  return data;
}

// The frame of all routines: lines, and the choice by code.
template <class Read, class Write>
int forward(const CardKind& kind, IMD_proto3rd* request, Read read, Write write) {
  if (request == nullptr) {
    TRACE_ERROR("=== " << kind.name << " ===The proto is NULL! return.");
    return kRefused;
  }
  const ThirdProtoMCUCMsg& proto = request->proto;
  TRACE_INFO(kind.begin);
  TRACE_INFO(kind.name << ": Data length = " << proto.m_usValidDataLength << ", Code Type = " << proto.m_ucCode
                       << ", Port Addr = " << proto.m_ucPortAddress << ", Board Addr = " << proto.m_usBoardAddress
                       << ", Register Addr = " << hex << proto.m_uiRegisterUnitAddress);
  int result = kDone;
  if (proto.m_ucCode == kCodeRead) {
    result = read(*request);
  } else if (proto.m_ucCode == kCodeWrite) {
    const auto data = writtenBytes(*request);
    write(*request, Bytes(data));
  } else {
    TRACE_ERROR("=== " << kind.name << " ===unknown code " << proto.m_ucCode);
  }
  if (kind.finish != nullptr) TRACE_INFO(kind.finish);
  return result;
}

void storeInFlash(const flash::Area& area, Bytes data, const char* failure) {
  const int ret =
      DriverUtil::getInstance()->WriteDataToFlash(area.address, static_cast<uint32_t>(data.size()), data.data());
  if (ret != 0) TRACE_ERROR(failure << ret);
}

void writeReceivingCard(IMD_proto3rd& request, Bytes data) {
  if (request.proto.m_uiRegisterUnitAddress == kCardGlobalBrightness && data.size() == 1) {
    storeInFlash(flash::kCardBrightness, data, "Write BrightnessInfo to flash failed. ret = ");
    request.SyncWrite = 1;
  }
  auto* const store = Data_Global::getInstance();
  const bool reports = !isScreenManagementDaemon(request.ipcHeader.uiid);
  writeCard(kRecvCard, request, data, [=](uint32_t address, Bytes chunk) {
    if (reports && (address == kCardGlobalBrightness || (address == kCardMappingRegister && chunk.size() == 1)))
      store->SendDatetoQXT(address, chunk.data(), 1);
    if ((address & 0xFF000000) != kCorrectionRegisters) {
      Sleep(10);
    } else if (store->_gCorroentHighSpeed == 1) {
      sleepUs(200);
    } else {
      Sleep(5);
    }
  });
}

void storeLauncherParameters(uint32_t address, Bytes data) {
  const bool first = address == kLauncherRegister1;
  if (!first && address != kLauncherRegister2) return;
  const flash::Area& area = first ? flash::k3DEmitter1 : flash::k3DEmitter2;
  const flash::Area& copy = first ? flash::k3DEmitterCopy1 : flash::k3DEmitterCopy2;
  if (data.size() > area.length) {
    TRACE_ERROR("=== Ssh_Start3DLauncher ===parameters too long to be stored, length = " << data.size());
    return;
  }
  const PendingSave pending({{area.address, data}, {copy.address, data}});
  storeInFlash(area, data, "=== Ssh_Start3DLauncher ===Write parameters to flash failed. ret = ");
  storeInFlash(copy, data, "=== Ssh_Start3DLauncher ===Write parameters to the second copy failed. ret = ");
}

void writeLauncher(IMD_proto3rd& request, Bytes data) {
  const uint32_t address = request.proto.m_uiRegisterUnitAddress;
  if (!data.empty()) {
    if (!isScreenManagementDaemon(request.ipcHeader.uiid))
      Data_Global::getInstance()->SendDatetoQXT(address + kLauncherReportDistance, data.data(),
                                                static_cast<uint16_t>(data.size()));
    storeLauncherParameters(address, data);
  }
  writeCard(kLauncher, request, data, [](uint32_t, Bytes) { Sleep(5); });
}

template <size_t N>
void readLinkBytes(uint32_t address, std::array<uint8_t, N>& out, const char* failure) {
  std::array<uint8_t, N> fresh{};
  if (DriverUtil::getInstance()->ReadFPGABusBlock(address, fresh.data(), N) == 0) {
    out = fresh;
  } else {
    TRACE_ERROR(failure);
  }
}

constexpr uint8_t kOpticalLinksUnused = 0xA0;  // link mode in which the optical bits do not count

bool bitSet(uint8_t byte, unsigned bit) {
  return (byte >> bit & 1U) != 0;
}

}  // namespace

int Tshl_ctl::Ssh_StartScanCard(IMD_proto3rd* request) {
  return forward(
      kRecvCard, request, [](IMD_proto3rd& r) { return readCard(kRecvCard, r); }, writeReceivingCard);
}

int Tshl_ctl::Ssh_StartMultiCard(IMD_proto3rd* request) {
  return forward(
      kMultiCard, request, [](IMD_proto3rd& r) { return readCard(kMultiCard, r); },
      [](IMD_proto3rd& r, Bytes data) { writeCard(kMultiCard, r, data, [](uint32_t, Bytes) { Sleep(23); }); });
}

int Tshl_ctl::Ssh_StartDistribute(IMD_proto3rd* request) {
  return forward(
      kDistribute, request,
      [this](IMD_proto3rd& r) {
        if (PortLinkVerify(r.proto.m_ucPortAddress)) return readCard(kDistribute, r);
        TRACE_ERROR("=== Ssh_StartDistribute =========Ssh_StartDistribute====== The PortAddress isn't link, return! ");
        r.proto.m_ucAck = kAckRefused;
        return int{kRefused};
      },
      [](IMD_proto3rd& r, Bytes data) { writeCard(kDistribute, r, data, [](uint32_t, Bytes) { Sleep(25); }); });
}

int Tshl_ctl::Ssh_Start3DLauncher(IMD_proto3rd* request) {
  return forward(
      kLauncher, request, [](IMD_proto3rd& r) { return readCard(kLauncher, r); }, writeLauncher);
}

bool Tshl_ctl::PortLinkVerify(int port) {
  if (port == kAllPorts) {
    TRACE_INFO("=== PortLinkVerify === PortAddr = 0xFF, LinkVerify = 1 , return 1");
    return true;
  }
  if (port < 0 || port > 15) {
    TRACE_ERROR("=== PortLinkVerify ===NetPort = " << port << " is invalid! ");
    return false;
  }
  std::array<uint8_t, 4> copper{};
  std::array<uint8_t, 4> optical{};
  std::array<uint8_t, 1> mode{};
  readLinkBytes(fpga::kCopperLinkWords.address, copper,
                "=== PortLinkVerify ===Read from FPGA basicPara failed when reading NetPortLink 0x00f05100 "
                "information! ");
  readLinkBytes(fpga::kFiberLinkWords.address, optical,
                "=== PortLinkVerify ===Read from FPGA basicPara failed when reading OptNetPortLink 0x00f04000 "
                "information! ");
  readLinkBytes(sendpara::kFiberLink, mode,
                "=== PortLinkVerify ===Read from FPGA basicPara failed when reading OptLink 0x1d7 information! ");
  const auto p = static_cast<unsigned>(port);
  if (bitSet(copper[p / 4], p % 4)) return true;
  const bool linked = bitSet(optical[p / 8], p % 8) || bitSet(optical[p / 8 + 2], p % 8);
  if (linked && mode[0] != kOpticalLinksUnused) return true;
  static constexpr const char* kNotLinked[] = {
      "=== PortLinkVerify ===((PortAddr>=0)&&(PortAddr<=3)) no linked , return 0",
      "=== PortLinkVerify ===((PortAddr>=4)&&(PortAddr<=7)) no linked , return 0",
      "=== PortLinkVerify ===((PortAddr>=8)&&(PortAddr<=11)) no linked , return 0",
      "=== PortLinkVerify ===((PortAddr>=12)&&(PortAddr<=15)) no linked , return 0"};
  TRACE_ERROR(kNotLinked[p / 4]);
  return false;
}

}  // namespace TIRK_MCUC
