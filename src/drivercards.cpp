// DriverUtil: the registers of the cards behind the output ports.

#include <algorithm>
#include <array>
#include <numeric>

#include "boardaccess.h"
#include "driverutil.h"
#include "linkstate.h"
#include "mcucbytes.h"
#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {

constexpr int kMainBus = 1;
constexpr uint8_t kReadCode = 0;
constexpr uint8_t kWriteCode = 1;

struct CardRequest {
  uint32_t address;
  uint8_t port;
  uint16_t board;
  uint16_t length;
  uint8_t deviceType;
};

// `data` is what a write carries: it counts in the checksum.
RECVCARD_MESG_T requestHeader(const CardRequest& request, uint8_t code, Bytes data) {
  std::array<uint8_t, 14> SendPortBuf{};
  SendPortBuf[0] = request.deviceType;
  SendPortBuf[1] = request.port;
  DWT_ENCWD(&SendPortBuf[2], request.board);
  SendPortBuf[4] = code;
  SendPortBuf[5] = 0;  // packet type
  DWT_ENCDW(&SendPortBuf[6], request.address);
  DWT_ENCWD(&SendPortBuf[10], request.length);
  uint32_t FpgaSum = std::accumulate(SendPortBuf.begin(), SendPortBuf.begin() + 12, uint32_t{0});
  FpgaSum = std::accumulate(data.begin(), data.end(), FpgaSum);

  RECVCARD_MESG_T header{};
  header.DeviceType = request.deviceType;
  header.ProtAddr = request.port;
  header.BoardAddr = request.board;
  header.code = code;
  header.RegisterAddr = request.address;
  header.length = request.length;
  header.checksum = static_cast<uint16_t>(FpgaSum);
  return header;
}

}  // namespace

int DriverUtil::ReadCardPara(uint32_t RegStartAddr, uint32_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                             uint8_t* ParaPtr, int DevType) {
  CMutexGuardT guard(m_mutex_read);
  TRACE_INFO("ReadCardPara: Address = " << RegStartAddr << " Port = " << PortAddr << " Board = " << BoardAddr
                                        << " length = " << Num);
  if (ParaPtr == nullptr) {
    TRACE_ERROR("=== ReadCardPara ===no buffer!");
    return -1;
  }
  if (BoardAddr == kAllCards) {
    std::fill_n(ParaPtr, Num, uint8_t{0});
    TRACE_INFO("================== BroadCast Read RecvCard para!!! Exit!!! ==================");
    return 0;
  }
  const LinkState& links = linkState();
  TRACE_INFO("CardLink State :" << links.copper.load() << " fiber1link_buff: " << links.fiber1.load()
                                << " fiber2link_buff: " << links.fiber2.load());
  if (!links.linked(PortAddr)) {
    TRACE_INFO("CardLink State Not link ! Port :" << PortAddr);
    return kPortNotLinked;
  }
  const auto port = static_cast<uint8_t>(PortAddr);
  const RECVCARD_MESG_T header =
      requestHeader({RegStartAddr, port, BoardAddr, Num, static_cast<uint8_t>(DevType)}, kReadCode, {});
  return ReadFPGAformRecvCard(kMainBus, &header, port, ParaPtr);
}

int DriverUtil::ReadCardPara(uint32_t RegStartAddr, uint32_t PortAddr, uint16_t Num, uint8_t* ParaPtr, int DevType) {
  TRACE_INFO("ReadCardPara addr=" << RegStartAddr << " num=" << Num);
  return ReadCardPara(RegStartAddr, PortAddr, 0, Num, ParaPtr, DevType);
}

int DriverUtil::SendCardPara(uint32_t RegStartAddr, uint8_t PortAddr, uint16_t BoardAddr, uint16_t Num,
                             const uint8_t* ParaPtr, int DevType) {
  if (ParaPtr == nullptr && Num != 0) {
    TRACE_ERROR("=== SendCardPara ===no data!");
    return -1;
  }
  if (Num != 0) {
    TRACE_INFO("SendCardPara: Address = " << RegStartAddr << " Port = " << PortAddr << " Board = " << BoardAddr
                                          << " length = " << Num << " data[0]:" << ParaPtr[0]);
  } else {
    TRACE_INFO("SendCardPara: Address = " << RegStartAddr << " Port = " << PortAddr << " Board = " << BoardAddr
                                          << " length = " << Num);
  }
  const RECVCARD_MESG_T header = requestHeader({RegStartAddr, PortAddr, BoardAddr, Num, static_cast<uint8_t>(DevType)},
                                               kWriteCode, {ParaPtr, Num});
  return WriteFPGAToRecvCard(kMainBus, &header, PortAddr, ParaPtr);
}

}  // namespace TIRK_MCUC
