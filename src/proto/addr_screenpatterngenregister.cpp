#include "proto/addr_screenpatterngenregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"
#include "proto/mirrorrefresh.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {{"registers of the pattern generator, below 64 bytes",
                                  "queues a change of the pattern generator, which then shows what it says (key 25)"}};
constexpr uint32_t kReadableEnd = 64;  // a read must end before it

constexpr QueueTexts kQueueTexts{
    "============================ Begin add ScreenPatternGenKey message to list===========================",
    "=== WriteScreenPatternGenInfo ===invalid data",
    "============================ Finish add ScreenPatternGenKey message to list==========================="};

uint32_t offsetOf(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

}  // namespace

const SpaceTraits Addr_ScreenPatternGenregister::kTraits{
    .className = "Addr_ScreenPatternGenregister", .baseRegisterAddr = 0x12010000, .keyMask = 0xFFFF0000, .docs = kDocs};
Fshl_cmd Addr_ScreenPatternGenregister::cmd_tblOffset[] = {
    registerEntry(0x12010000, "ScreenPatternGen info", "ScreenPatternGen info register", {0, 2048}, DoScreenPatternGen),
    {}};

int Addr_ScreenPatternGenregister::DoScreenPatternGen(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadScreenPatternGenInfo, WriteScreenPatternGenInfo);
}

int Addr_ScreenPatternGenregister::ReadScreenPatternGenInfo(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read ScreenPatternGenInfo ===========================");
  const uint32_t offset = offsetOf(*request);
  if (offset + request->proto.m_usValidDataLength >= kReadableEnd) {
    TRACE_ERROR("=== ReadScreenPatternGenInfo ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << "len = " << request->proto.m_usValidDataLength);
    return kOutsideSpace;
  }
  const int result = readThrough(request, [offset](MutableBytes out) {
    const MirrorRefresh mirror;
    const int ret = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, fpga::kPatternGenerator.address + offset,
                                                                    static_cast<uint32_t>(out.size()), out.data());
    if (ret != 0) {
      TRACE_ERROR("=== ReadScreenPatternGenInfo ===Read FPGA ScreenPatternGen Info failed! ret = " << ret);
      return int{kRefused};
    }
    if (mirror.allowed()) Data_Global::getInstance()->HardwareScreenGenReg.write(offset, out);
    return int{kDone};
  });
  if (result == kDone)
    TRACE_INFO("========================== Finish Read ScreenPatternGenInfo ==========================");
  return result;
}

int Addr_ScreenPatternGenregister::WriteScreenPatternGenInfo(IMD_proto3rd* request) {
  if (offsetOf(*request) + request->proto.m_usValidDataLength > decltype(Data_Global::HardwareScreenGenReg)::kSize) {
    TRACE_ERROR("=== WriteScreenPatternGenInfo ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << "len = " << request->proto.m_usValidDataLength);
    return kOutsideSpace;
  }
  return queueWriteRecord(request, ScreenPatternGenKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
