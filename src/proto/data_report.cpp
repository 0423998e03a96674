// Reports to the peer daemons: each is one frame that carries a register's bytes.

#include <algorithm>
#include <utility>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/reportregisters.h"
#include "stub/stubutil.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kLoadedFlag = 0x02;

// A failed status read counts as 0.
template <size_t N>
std::array<uint8_t, N> readFpga(uint32_t address) {
  std::array<uint8_t, N> bytes{};
  if (DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, address, N, bytes.data()) != 0) bytes.fill(0);
  return bytes;
}

}  // namespace

void Data_Global::sendReport(uint32_t task, uint32_t address, Bytes data) {
  IMD_proto3rd record;
  record.proto.m_usHeader = PROTOCOL_HEADER_TAG_RESPONSE;
  record.proto.m_uiRegisterUnitAddress = address;
  record.proto.m_usValidDataLength = static_cast<uint16_t>(data.size());
  record.appendData(data);
  record.seqNum = -1;
  record.processID = taskIdentifier(kTaskReturn);
  record.ipcHeader.uiid = taskIdentifier(task);
  record.ipcHeader.largeLabel = kLargeLabelFrame;
  StubUtil::getInstance()->SendMsg(std::move(record));
}

void Data_Global::sendMirror(uint32_t task, uint32_t address, size_t offset, size_t length) {
  std::array<uint8_t, 16> bytes;
  const MutableBytes report = MutableBytes(bytes).first(length);
  SendParameterReg.read(offset, report);
  sendReport(task, address, report);
}

// --- Any register.

void Data_Global::SendDatetoQXT(uint32_t address, const uint8_t* data, uint16_t length) {
  sendReport(kTaskQxt, address, {data, length});
}

void Data_Global::SendRVDatetoQXT(uint32_t address, const uint8_t* data, uint16_t length) {
  sendReport(kTaskQxt, address, {data, length});
}

void Data_Global::SendDatetoFrelld(uint32_t address, const uint8_t* data, uint16_t length) {
  sendReport(kTaskFrelld, address, {data, length});
}

void Data_Global::SendRebootMsgtoQXT(const uint8_t* data, uint16_t length) {
  sendReport(kTaskQxt, report::kReboot, {data, length});
}

// --- State of the store.

void Data_Global::SendRVCardWHtoQXT() {
  const CardSize size = cardSize();
  uint8_t bytes[4];
  DWT_ENCWD(bytes, size.width);
  DWT_ENCWD(bytes + 2, size.height);
  sendReport(kTaskQxt, report::kCardSize, bytes);
}

void Data_Global::SendCardSizetoWpr() {
  constexpr size_t kCardSizeInRecord = 6;
  sendReport(kTaskWpr, report::kCardSize, ScreenParaReg.copy<4>(kCardSizeInRecord));
}

void Data_Global::SendTimetoWpr() {
  sendReport(kTaskWpr, report::kTime, Time_to_wpr.image());
}

void Data_Global::SendC8toWpr() {
  constexpr uint8_t kStatus[1] = {kLedConfigSoftware};
  sendReport(kTaskWpr, report::kLedConfig, kStatus);
}

void Data_Global::Send9DtoQXT() {
  sendMirror(kTaskQxt, report::feature(sendpara::kDeviceRole), sendpara::kDeviceRole, 1);
}

void Data_Global::SendBandWidthInfo() {
  uint8_t word[2] = {};
  const int ret =
      DriverUtil::getInstance()->ReadBytesFromFlash(flash::kBandwidth.address, flash::kBandwidth.length, word);
  if (ret != 0) {
    TRACE_ERROR("=== SendBandWidthInfo ===Read bandwidth from flash failed. ret = " << ret);
    return;
  }
  sendReport(kTaskQxt, report::kBandwidth, word);
}

void Data_Global::SendFlag_kadrendload() {
  constexpr uint8_t kFlag[1] = {kLoadedFlag};
  sendReport(kTaskQxt, report::kLoaded, kFlag);
}

// --- Bytes of the feature block.

void Data_Global::SendMStoQXT1_4() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRoles0To3), sendpara::kRoles0To3, 4);
}

void Data_Global::SendMStoQXT5_8() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRoles4To7), sendpara::kRoles4To7, 4);
}

void Data_Global::SendMStoQXT9_16() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRoles8To15), sendpara::kRoles8To15, 8);
}

void Data_Global::SendFiberLinkInfo() {
  sendMirror(kTaskQxt, report::feature(sendpara::kFiberLink), sendpara::kFiberLink, 1);
}

void Data_Global::SendRedundtoQXT1_4() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRedundancy0To3), sendpara::kRedundancy0To3, 1);
}

void Data_Global::SendRedundtoQXT5_8() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRedundancy4To7), sendpara::kRedundancy4To7, 1);
}

void Data_Global::SendRedundtoQXT9_16() {
  sendMirror(kTaskQxt, report::feature(sendpara::kRedundancy8To15), sendpara::kRedundancy8To15, 2);
}

// --- Change-driven.

void Data_Global::SendRedundStatustoQXT() {
  constexpr size_t kBlocks[] = {sendpara::kRoles0To3, sendpara::kRoles4To7, sendpara::kRoles8To15};
  std::array<std::array<uint8_t, 4>, 3> roles;
  bool changed = false;
  for (size_t i = 0; i < roles.size(); ++i) {
    roles[i] = readFpga<4>(static_cast<uint32_t>(kBlocks[i]));
    changed |= !std::equal(roles[i].begin(), roles[i].end(), SendRedundStatustoQXT_buff.data() + 4 * i);
  }
  if (!changed) return;
  TRACE_INFO(
      "============SendRedundStstustoQXT======= Check redundantStatus info change , send to QXT "
      "======================");
  for (size_t i = 0; i < roles.size(); ++i) SendDatetoQXT(report::feature(kBlocks[i]), roles[i].data(), 4);
  TRACE_INFO("============SendRedundStstustoQXT====== Finish send redundantStatus info to QXT ======================");
  for (size_t i = 0; i < roles.size(); ++i) std::ranges::copy(roles[i], SendRedundStatustoQXT_buff.data() + 4 * i);
}

void Data_Global::SendRedundtoQXT() {
  const uint8_t first = readFpga<1>(sendpara::kRedundancy0To3)[0];
  const uint8_t second = readFpga<1>(sendpara::kRedundancy4To7)[0];
  const auto rest = readFpga<2>(sendpara::kRedundancy8To15);
  const std::array<uint8_t, 4> now{first, second, rest[0], rest[1]};
  if (now == SendRedundtoQXT_buff) return;
  TRACE_INFO("============SendRedundtoQXT======= Check redundant info change , send to QXT ======================");
  SendDatetoQXT(report::feature(sendpara::kRedundancy0To3), &first, 1);
  SendDatetoQXT(report::feature(sendpara::kRedundancy4To7), &second, 1);
  SendDatetoQXT(report::feature(sendpara::kRedundancy8To15), rest.data(), 2);
  TRACE_INFO("============SendRedundtoQXT====== Finish send redundant info to QXT ======================");
  SendRedundtoQXT_buff = now;
}

void Data_Global::SendFiberLinktoQXT() {
  const uint8_t state = readFpga<1>(sendpara::kFiberLink)[0];
  if (state == fiberlink_buff[0]) return;
  TRACE_INFO("======================== Begin send fiber link info to QXT ======================");
  SendParameterReg.setByte(sendpara::kFiberLink, state);
  SendFiberLinkInfo();
  TRACE_INFO("======================== Finish send fiber link info to QXT =====================");
  fiberlink_buff[0] = state;
}

}  // namespace TIRK_MCUC
