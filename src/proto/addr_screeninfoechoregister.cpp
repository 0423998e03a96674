#include "proto/addr_screeninfoechoregister.h"

#include <algorithm>

#include "mcuctrace.h"
#include "proto/data_common.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the screen record, at most up to its 392nd, after the size of the receiving cards has been asked for",
     "queues a change of the record's first 32 bytes (key 7)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoScreenInfoEchoKey message to list===========================",
    "=== WriteToScreenInfoEcho ===invalid data",
    "============================ Finish add DoScreenInfoEchoKey message to list==========================="};

constexpr size_t kRecordSize = decltype(Data_Global::ScreenParaReg)::kSize;

uint32_t offsetOf(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

bool outside(const IMD_proto3rd& request) {
  if (offsetOf(request) < kRecordSize) return false;
  TRACE_ERROR("=== ScreenInfoEcho ===Invalid addr, return! address = " << hex << request.proto.m_uiRegisterUnitAddress);
  return true;
}

}  // namespace

const SpaceTraits Addr_ScreenInfoEchoRegister::kTraits{.className = "Addr_ScreenInfoEchoRegister",
                                                       .baseRegisterAddr = 0x02100000,
                                                       .keyMask = 0xFFFF0000,
                                                       .invalidAccess = "===  ===invalid register access",
                                                       .listsMap = true,
                                                       .docs = kDocs};
Fshl_cmd Addr_ScreenInfoEchoRegister::cmd_tblOffset[] = {
    registerEntry(0x02100000, "screen info echo", "screen info echo register", {1, 1024}, DoScreenInfoEcho), {}};

int Addr_ScreenInfoEchoRegister::DoScreenInfoEcho(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromScreenInfoEcho, WriteToScreenInfoEcho);
}

int Addr_ScreenInfoEchoRegister::ReadFromScreenInfoEcho(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read ScreenInfoEcho ===========================");
  if (outside(*request)) return kOutsideSpace;
  auto* const store = Data_Global::getInstance();
  store->GetRecvCardSize_EnvNew();
  const uint32_t offset = offsetOf(*request);
  std::vector<uint8_t> buffer(std::min<size_t>(request->proto.m_usValidDataLength, kRecordSize - offset));
  TRACE_INFO("=======realAddress = 0x" << hex << static_cast<int>(offset) << ", OpValidLength = " << buffer.size());
  store->ScreenParaReg.read(offset, buffer);
  request->appendData(buffer);
  TRACE_INFO("========================== Finish Read ScreenInfoEcho ==========================");
  return kDone;
}

int Addr_ScreenInfoEchoRegister::WriteToScreenInfoEcho(IMD_proto3rd* request) {
  if (outside(*request)) return kOutsideSpace;
  return queueWriteRecord(request, DoScreenInfoEchoKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
