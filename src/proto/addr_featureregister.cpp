#include "proto/addr_featureregister.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>

#include "driverutil.h"
#include "llinput.h"
#include "mcuctrace.h"
#include "process/basicpublicfunc.h"
#include "proto/data_common.h"
#include "proto/mirrorrefresh.h"
#include "proto/reportregisters.h"
#include "proto/sendparameter.h"

namespace TIRK_MCUC {

namespace {

using FeatureBlock = std::array<uint8_t, sendpara::kSize>;

constexpr uint32_t kNoticeMask = 0xFFF;
constexpr uint16_t kLightSensorLength = 2;
constexpr size_t kLastRefreshedStart = sendpara::kBusEnd - 4;  // a read that starts behind it is not refreshed
constexpr uint16_t kDebugPoint = 10;

constexpr RegisterDoc kDocs[] = {
    {"bytes of the feature block, with FPGA status, light sensor, link bits and clock as they are now",
     "queues a change of the feature block (key 5)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoFeatureInfoKey message to list===========================",
    "=== WriteFeatureInfomation ===invalid data",
    "============================ Finish add DoFeatureInfoKey message to list==========================="};

size_t offsetOf(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

bool leavesBlock(const IMD_proto3rd& request, size_t length) {
  if (offsetOf(request) + length <= sendpara::kSize) return false;
  TRACE_ERROR("=== FeatureInfo ===Invalid addr+len, return! address = " << hex << request.proto.m_uiRegisterUnitAddress
                                                                        << " len = " << length);
  return true;
}

// What never goes to the bus stays as the mirror has it: the serial-link timeout, and a screen size that only an
// advanced configuration or a bypass offset has set (the FPGA then holds 0).
void keepMirrorOnlyBytes(FeatureBlock& block, size_t offset) {
  const auto& mirror = Data_Global::getInstance()->SendParameterReg;
  if (offset <= sendpara::kSerialTimeout) block[sendpara::kSerialTimeout] = mirror.byte(sendpara::kSerialTimeout);
  if (offset > sendpara::kScreenWidth || readDword(&block[sendpara::kScreenWidth]) != 0) return;
  mirror.read(sendpara::kScreenWidth, MutableBytes(block).subspan(sendpara::kScreenWidth, 4));
}

// Reads the bus bytes of the block from `offset` on into `block` and, when it may, into the mirror.
int refreshFromFpga(size_t offset, FeatureBlock& block) {
  const MirrorRefresh mirror;
  const MutableBytes bytes = MutableBytes(block).subspan(offset, sendpara::kBusEnd - offset);
  const int result = DriverUtil::getInstance()->ReadFPGABusBlock(static_cast<uint32_t>(offset), bytes.data(),
                                                                 static_cast<uint32_t>(bytes.size()));
  if (result != 0) return result;
  keepMirrorOnlyBytes(block, offset);
  if (mirror.allowed()) Data_Global::getInstance()->SendParameterReg.write(offset, bytes);
  return result;
}

void refreshLightSensor() {
  TRACE_INFO("=========================== find senior ============================");
  uint16_t value = 0;
  uint8_t bytes[kLightSensorLength] = {};
  if (ll_get_Illuminance_value(0, &value) == 0) {
    DWT_ENCWD(bytes, value);
    TRACE_INFO("Seninor value is : " << bytes[0]);
    TRACE_INFO("Seninor value1 is" << bytes[1]);
  } else {
    TRACE_ERROR("=====find senior error=====");
  }
  Data_Global::getInstance()->SendParameterReg.write(sendpara::kLightSensor, bytes);
}

// Into the reply alone: the mirror keeps the copper bits, so that a fibre link that is lost disappears.
void mergeFiberLinks(FeatureBlock& block) {
  const unsigned links = linkState().fiber1.load() | linkState().fiber2.load();
  block[sendpara::kCopperLink0To3] |= static_cast<uint8_t>(links & 0x0F);
  block[sendpara::kCopperLink4To7] |= static_cast<uint8_t>(links >> 4 & 0x0F);
  block[sendpara::kCopperLink8To15] |= static_cast<uint8_t>(links >> 8 & 0x0F);
  block[sendpara::kCopperLink8To15 + 1] |= static_cast<uint8_t>(links >> 12 & 0x0F);
}

// What every reply carries in place of the block's own bytes, stored in the mirror as well.
void stampClockAndHidden(FeatureBlock& block) {
  BasicPublicFunc::getInstance()->GetHwTime(&block[sendpara::kDateTime]);
  std::fill_n(&block[sendpara::kHidden1], sendpara::kHidden1Length, uint8_t{0xFF});
  std::fill_n(&block[sendpara::kHidden2], sendpara::kHidden2Length, uint8_t{0xFF});

  auto* store = Data_Global::getInstance();
  CMutexGuardT guard(store->m_mutex);
  store->SendParameterReg.fill(sendpara::kHidden1, sendpara::kHidden1Length, 0xFF);
  store->SendParameterReg.fill(sendpara::kHidden2, sendpara::kHidden2Length, 0xFF);
  store->SendParameterReg.write(sendpara::kDateTime,
                                Bytes(block).subspan(sendpara::kDateTime, sendpara::kDateTimeLength));
}

struct DisplayOffset {
  uint16_t x;
  uint16_t y;
};

// The display offset after this write, when it is one that the screen-management daemon has to follow.
std::optional<DisplayOffset> bypassOffset(const IMD_proto3rd& request) {
  const Bytes data = request.data();
  const auto& mirror = Data_Global::getInstance()->SendParameterReg;
  if (mirror.byte(sendpara::kOffsetMode) == 0 || isScreenManagementDaemon(request.ipcHeader.uiid)) return std::nullopt;
  const uint32_t address = request.proto.m_uiRegisterUnitAddress;
  if (address == report::feature(sendpara::kOffsetX)) {
    if (data.size() == 2) return DisplayOffset{readWord(data.data()), mirror.word(sendpara::kOffsetY)};
    if (data.size() == 4) return DisplayOffset{readWord(data.data()), readWord(data.data() + 2)};
  } else if (address == report::feature(sendpara::kOffsetY)) {
    if (data.size() == 2) return DisplayOffset{mirror.word(sendpara::kOffsetX), readWord(data.data())};
  }
  return std::nullopt;
}

void reportBypassOffset(DisplayOffset offset) {
  TRACE_INFO("========================== kadrend bypass mode dvi offset to qxt X:" << offset.x << " X:" << offset.y
                                                                                   << "================");
  uint8_t bytes[8];
  DWT_ENCDW(bytes, -uint32_t{offset.x});
  DWT_ENCDW(bytes + 4, -uint32_t{offset.y});
  auto* store = Data_Global::getInstance();
  store->SendParameterReg.write(sendpara::kQxtOffsetX, bytes);
  store->SendDatetoQXT(report::feature(sendpara::kQxtOffsetX), bytes, sizeof bytes);
}

}  // namespace

const SpaceTraits Addr_FeatureRegister::kTraits{.className = "Addr_FeatureRegister",
                                                .baseRegisterAddr = sendpara::kRegisterBase,
                                                .keyMask = 0xFFFF0000,
                                                .logsKeyAndMap = true,
                                                .docs = kDocs};

Fshl_cmd Addr_FeatureRegister::cmd_tblOffset[] = {{sendpara::kRegisterBase,
                                                   "feature info",
                                                   "feature info register",
                                                   kReadWrite,
                                                   {1, 1024},
                                                   {},
                                                   nullptr,
                                                   DoFeatureInfo,
                                                   nullptr,
                                                   Ssh_checkFun},
                                                  {}};

int Addr_FeatureRegister::DoFeatureInfo(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromFeatureInfo, WriteToFeatureInfo);
}

int Addr_FeatureRegister::ReadFromFeatureInfo(IMD_proto3rd* request) {
  static constexpr const char* kFinish =
      "==============ReadFromFeatureInfo: Finish Read Feature Info ============================";
  const uint32_t address = request->proto.m_uiRegisterUnitAddress;
  const uint16_t length = request->proto.m_usValidDataLength;
  const size_t offset = offsetOf(*request);
  TRACE_INFO("==============ReadFromFeatureInfo: Begin Read Feature Info =============================");
  TRACE_INFO("======== find senior : %d===========" << address);
  TRACE_INFO("=========date len===========" << length);
  if (leavesBlock(*request, length)) return refuse(request, kOutsideSpace);
  if ((address & kNoticeMask) == sendpara::kSpecialRead4B && length == 1) {
    constexpr uint8_t kNothing[1] = {0};
    request->appendData(kNothing);
    TRACE_INFO("Sending 0x0200_004B information to DWT when reading feature information.");
    TRACE_INFO(kFinish);
    return kUnknown;
  }

  auto* store = Data_Global::getInstance();
  FeatureBlock bus;
  const bool refreshed = offset + length > sendpara::kBusEnd && offset <= kLastRefreshedStart;
  if (refreshed && refreshFromFpga(offset, bus) != 0) {
    TRACE_ERROR("=== ReadFromFeatureInfo ===Read from FPGA BasicPara failed when reading feature information! ");
    return refuse(request, kRefused);
  }
  if (offset == sendpara::kLightSensor && length == kLightSensorLength) refreshLightSensor();
  store->DebugForScreenZero(kDebugPoint, address, "ReadFromFeatureInfo, Read FPGA para!!");

  FeatureBlock block = store->SendParameterReg.image();
  if (refreshed) std::copy(&bus[offset], &bus[sendpara::kBusEnd], &block[offset]);
  mergeFiberLinks(block);
  stampClockAndHidden(block);
  request->appendData(Bytes(block).subspan(offset, length));
  TRACE_INFO(kFinish);
  return kDone;
}

int Addr_FeatureRegister::WriteToFeatureInfo(IMD_proto3rd* request) {
  const size_t length = std::max<size_t>(request->proto.m_usValidDataLength, request->data().size());
  if (leavesBlock(*request, length)) return refuse(request, kOutsideSpace);
  if (const auto offset = bypassOffset(*request)) reportBypassOffset(*offset);
  return queueWriteRecord(request, DoFeatureInfoKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
