#include "proto/addr_hwbasicinforegister.h"

#include <algorithm>
#include <array>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the flash record 0x001000, model identifier and serial number as the environment store has them",
     "queues the change of a field of the record (key 0)"}};
constexpr Fcmd_len kLengths{2, 512};

// Fields that the environment store overrides, by record byte.
constexpr size_t kModelId = 2;
constexpr size_t kSerialNumber = flash::kSerialNumber.address - flash::kBasicHardware.address;

constexpr QueueTexts kQueueTexts{
    "============================ Begin add HwBasicinfoKey message to list===========================",
    "=== WriteHwBasicInfomation ===invalid data",
    "============================ Finish add HwBasicinfoKey message to list===========================", true};

// 0; 6 for a length outside 2..512; 5 when offset plus length leave the record.
int checkRange(const ThirdProtoMCUCMsg& proto) {
  const int32_t length = proto.m_usValidDataLength;
  if (length < kLengths.cmdLenMin || length > kLengths.cmdLenMax) {
    TRACE_ERROR("=== HwBasicInfomation ===Unsupportd register max/min length. len = " << length);
    return kBadLength;
  }
  const uint32_t offset = proto.m_uiRegisterUnitAddress & 0xFFFF;
  if (offset + static_cast<uint32_t>(length) > flash::kBasicHardware.length) {
    TRACE_ERROR("=== ReadHwBasicInfomation ===Invalid addr+len, return! address = "
                << hex << proto.m_uiRegisterUnitAddress << " len = " << length);
    return kOutsideSpace;
  }
  return kDone;
}

// Puts the part of an N-byte field at record byte `field` that the read [offset, offset + out.size()) covers.
// `source` may leave its output as it is.
template <size_t N, class Source>
void overlay(size_t field, size_t offset, MutableBytes out, Source source) {
  const size_t first = std::max(field, offset);
  const size_t end = std::min(field + N, offset + out.size());
  if (first >= end) return;
  const auto covered = out.subspan(first - offset, end - first);
  std::array<uint8_t, N> value{};
  const auto inField = MutableBytes(value).subspan(first - field, end - first);
  std::copy(covered.begin(), covered.end(), inField.begin());
  source(value.data());
  std::copy(inField.begin(), inField.end(), covered.begin());
}

}  // namespace

const SpaceTraits Addr_HwBasicInfoRegister::kTraits{
    .className = "Addr_HwBasicInfoRegister", .baseRegisterAddr = 0x00000000, .keyMask = 0, .docs = kDocs};
Fshl_cmd Addr_HwBasicInfoRegister::cmd_tblOffset[] = {
    registerEntry(0x00000000, "HwInfo", "Hardware Basic Infomation", kLengths, REG_HwBasicInfomation), {}};

int Addr_HwBasicInfoRegister::Ssh_cmd(IMD_proto3rd* msgIMD, Fshl_cmd*, int argument) {
  return settle(msgIMD, REG_HwBasicInfomation(msgIMD, nullptr, argument));
}

int Addr_HwBasicInfoRegister::REG_HwBasicInfomation(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadHwBasicInfomation, WriteHwBasicInfomation);
}

int Addr_HwBasicInfoRegister::ReadHwBasicInfomation(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read HwBasicInfomation ===========================");
  if (const int result = checkRange(request->proto); result != kDone) return result;
  const uint32_t offset = request->proto.m_uiRegisterUnitAddress & 0xFFFF;
  std::vector<uint8_t> buffer(request->proto.m_usValidDataLength);
  int result = kDone;
  if (const int ret = DriverUtil::getInstance()->ReadBytesFromFlash(
          flash::kBasicHardware.address + offset, static_cast<uint32_t>(buffer.size()), buffer.data());
      ret != 0) {
    TRACE_ERROR("=== ReadFromPosNetPort ===Read HwBasic Info failed! ret = " << ret);
    // What the environment store knows is answered all the same, in a record of zeros.
    std::fill(buffer.begin(), buffer.end(), uint8_t{0});
    result = kUnknown;
  }
  auto* const store = Data_Global::getInstance();
  overlay<2>(kModelId, offset, buffer, [&](uint8_t* out) { store->GetEnvModelIDPara(out); });
  overlay<8>(kSerialNumber, offset, buffer, [&](uint8_t* out) { store->GetEnvSNPara(out); });
  request->appendData(buffer);
  TRACE_INFO("========================== Finish Read HwBasicInfomation ==========================");
  return result;
}

int Addr_HwBasicInfoRegister::WriteHwBasicInfomation(IMD_proto3rd* request) {
  if (const int result = checkRange(request->proto); result != kDone) return result;
  return queueWriteRecord(request, HwBasicinfoKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
