#include "proto/addr_cardprogmaspaceregister.h"

#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {
constexpr RegisterDoc kDocs[] = {{"zeros", "nothing; it is refused"}};
constexpr Fcmd_len kLengths{256, 4096};
}  // namespace

const SpaceTraits Addr_CardProgmaSpaceRegister::kTraits{.className = "Addr_CardProgmaSpaceRegister",
                                                        .baseRegisterAddr = 0x18000000,
                                                        .keyMask = 0x0000FFFF,
                                                        .invalidAccess = "invalid register access",
                                                        .docs = kDocs};
Fshl_cmd Addr_CardProgmaSpaceRegister::cmd_tblOffset[] = {
    registerEntry(0x0000, "sendcard program update", "sendcard program update", kLengths, DoCardProgmaSpace),
    registerEntry(0x1000, "sendcard program update", "sendcard program update", kLengths, DoCardProgmaSpace),
    {}};

int Addr_CardProgmaSpaceRegister::DoCardProgmaSpace(IMD_proto3rd* request, Fshl_cmd*, int) {
  const int result = readOrWrite(request, ReadFromCardProgmaSpace, WriteToCardProgmaSpace);
  if (request != nullptr && result >= 0) request->proto.m_ucAck = static_cast<uint8_t>(result);
  return result;
}

int Addr_CardProgmaSpaceRegister::ReadFromCardProgmaSpace(IMD_proto3rd* request) {
  request->proto.m_data.resize(request->proto.m_data.size() + request->proto.m_usValidDataLength);
  return kDone;
}

int Addr_CardProgmaSpaceRegister::WriteToCardProgmaSpace(IMD_proto3rd*) {
  TRACE_ERROR("=== WriteToCardProgmaSpace ===the sending-card program cannot be written");
  return kRefused;
}

}  // namespace TIRK_MCUC
