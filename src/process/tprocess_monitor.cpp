// The status monitor: what the flag thread's 200-ms cycle reads, compares with what was last reported, and reports.
//
// A failed status read counts as 0 and is reported like any other change, but leaves the mirror's byte alone: 0x1DA is
// also the host's own setting, which is saved from there.

#include <algorithm>

#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"
#include "proto/reportregisters.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kSettleCycles = 3;       // after a link change, before the cards are asked
constexpr uint8_t kUnlinkedCycles = 9;     // a link change without any link is forgotten after these
constexpr uint8_t kUnreadableCycles = 30;  // cards that do not answer are given up after these

constexpr uint8_t kRebootDue = 1;
constexpr uint8_t kResetRunning = 2;
constexpr uint8_t kResetRequested = 3;
constexpr uint32_t kModelWithoutReboot = 57;

template <size_t N>
struct StatusBytes {
  std::array<uint8_t, N> bytes{};
  bool read = false;
};

template <size_t N>
StatusBytes<N> readStatus(size_t address) {
  StatusBytes<N> status;
  status.read = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, static_cast<uint32_t>(address), N,
                                                                status.bytes.data()) == 0;
  if (!status.read) status.bytes.fill(0);
  return status;
}

// The states of ports 1-4, 5-8, 9-12 and 13-16.
std::array<uint8_t, 4> readPortStates(size_t ports0To3, size_t ports4To7, size_t ports8To15) {
  const auto rest = readStatus<2>(ports8To15).bytes;
  return {readStatus<1>(ports0To3).bytes[0], readStatus<1>(ports4To7).bytes[0], rest[0], rest[1]};
}

template <size_t N>
void storeInMirror(size_t offset, const StatusBytes<N>& status) {
  if (status.read) Data_Global::getInstance()->SendParameterReg.write(offset, status.bytes);
}

// Reads the status registers again, into their mirror bytes, and reports them in one frame.
template <size_t N>
void refreshAndReport(size_t offset) {
  const auto status = readStatus<N>(offset);
  storeInMirror(offset, status);
  Data_Global::getInstance()->SendDatetoQXT(report::feature(offset), status.bytes.data(), N);
}

// One frame a byte.
void reportEachByte(size_t offset, Bytes bytes) {
  for (size_t i = 0; i < bytes.size(); ++i) {
    Data_Global::getInstance()->SendDatetoQXT(report::feature(offset + i), &bytes[i], 1);
  }
}

// A state with mirror bytes, reported byte by byte when it differs from what was last reported.
template <size_t N>
void reportChange(size_t offset, std::array<uint8_t, N>& lastReported) {
  const auto status = readStatus<N>(offset);
  if (status.bytes == lastReported) return;
  storeInMirror(offset, status);
  reportEachByte(offset, status.bytes);
  lastReported = status.bytes;
}

void reportFiberLink() {
  Data_Global* store = Data_Global::getInstance();
  const auto status = readStatus<1>(sendpara::kFiberLink);
  if (status.bytes == store->fiberlink_buff) return;
  TRACE_INFO("======================== Begin send fiber link info to QXT = " << status.bytes[0]);
  store->SendParameterReg.write(sendpara::kFiberLink, status.bytes);  // which is what SendFiberLinkInfo sends
  store->SendFiberLinkInfo();
  TRACE_INFO("======================== Finish send fiber link info to QXT =====================");
  store->fiberlink_buff = status.bytes;
}

void reportBelowLink(char fiber, size_t offset, const uint8_t* word, std::atomic<uint16_t>& lastReported) {
  if (readWord(word) == lastReported) return;
  const char number[2] = {fiber, '\0'};
  TRACE_INFO("======================== Begin send SendFiber"
             << number << "BelowLinkStatustoQXT link info to QXT ======================");
  reportEachByte(offset, {word, 2});
  TRACE_INFO("======================== Finish send SendFiber"
             << number << "BelowLinkStatustoQXT link info to QXT =====================");
  lastReported = readWord(word);
}

bool anyLink(const Data_Global& store) {
  return (store.GigaPhyLinkSta | store.Fiber1BelowLinkStatus_buff | store.Fiber2BelowLinkStatus_buff) != 0;
}

}  // namespace

// --- Redundancy.

void Tprocess_ctl::SendRedundtoQXT() {
  Data_Global* store = Data_Global::getInstance();
  const auto ports = readPortStates(sendpara::kRedundancy0To3, sendpara::kRedundancy4To7, sendpara::kRedundancy8To15);
  if (ports != store->SendRedundtoQXT_buff) {
    TRACE_INFO("============SendRedundtoQXT======= Check redundant info change , send to QXT ======================");
    SendRedundtoQXT1_4();
    SendRedundtoQXT5_8();
    SendRedundtoQXT9_16();
    TRACE_INFO("============SendRedundtoQXT====== Finish send redundant info to QXT ======================");
    store->SendRedundtoQXT_buff = ports;
  }
  const auto optical = readStatus<6>(fpga::kOpticalRedundancy.address).bytes;
  if (optical == store->SendOptRedundtoQXT_buff) return;
  TRACE_INFO(
      "============Send OPT RedundtoQXT======= Check redundant info change , send to QXT ======================");
  reportEachByte(fpga::kOpticalRedundancy.address, optical);
  TRACE_INFO("============Send OPT RedundtoQXT====== Finish send redundant info to QXT ======================");
  store->SendOptRedundtoQXT_buff = optical;
}

void Tprocess_ctl::SendRedundtoQXT1_4() {
  refreshAndReport<1>(sendpara::kRedundancy0To3);
}
void Tprocess_ctl::SendRedundtoQXT5_8() {
  refreshAndReport<1>(sendpara::kRedundancy4To7);
}
void Tprocess_ctl::SendRedundtoQXT9_16() {
  refreshAndReport<2>(sendpara::kRedundancy8To15);
}

// --- Copper links.

void Tprocess_ctl::SendNetLinktoQXT() {
  Data_Global* store = Data_Global::getInstance();
  const auto states = readPortStates(sendpara::kCopperLink0To3, sendpara::kCopperLink4To7, sendpara::kCopperLink8To15);
  const auto links = static_cast<uint16_t>((states[0] & 0x0F) | (states[1] & 0x0F) << 4 | (states[2] & 0x0F) << 8 |
                                           (states[3] & 0x0F) << 12);
  if (states != store->SendNetLinktoQXT_buff) {
    TRACE_INFO("<<<<<<<< SendNetLinktoQXT -------- SourceLinkStatus:" << store->GigaPhyLinkSta.load()
                                                                      << " -> NowChangedLinstatus:" << links);
    SendNetLinktoQXT1_4();
    SendNetLinktoQXT5_8();
    SendNetLinktoQXT9_16();
    store->LinkStateChanged = 1;
    store->SendNetLinktoQXT_buff = states;
  }
  store->GigaPhyLinkSta = links;
}

void Tprocess_ctl::SendNetLinktoQXT1_4() {
  refreshAndReport<1>(sendpara::kCopperLink0To3);
}
void Tprocess_ctl::SendNetLinktoQXT5_8() {
  refreshAndReport<1>(sendpara::kCopperLink4To7);
}
void Tprocess_ctl::SendNetLinktoQXT9_16() {
  refreshAndReport<2>(sendpara::kCopperLink8To15);
}

// --- Optical links.

void Tprocess_ctl::SendFiberLinktoQXT() {
  reportFiberLink();
}
void Tprocess_ctl::SendGenLockLinktoQXT() {
  reportFiberLink();
}

void Tprocess_ctl::SendFiberBelowLinkStatustoQXT() {
  Data_Global* store = Data_Global::getInstance();
  constexpr uint32_t kAddress = fpga::kFiberBelowLink.address;
  const auto words = readStatus<4>(kAddress).bytes;
  reportBelowLink('1', kAddress, words.data(), store->Fiber1BelowLinkStatus_buff);
  reportBelowLink('2', kAddress + 2, words.data() + 2, store->Fiber2BelowLinkStatus_buff);
}

// Both states share their register, so that a change of it is reported by each.
void Tprocess_ctl::SendFiberRedundtoQXT() {
  reportChange(sendpara::kOpticalMode, Data_Global::getInstance()->fiberRedund_buff);
}
void Tprocess_ctl::SendFiberCopyStatustoQXT() {
  reportChange(sendpara::kOpticalMode, Data_Global::getInstance()->fiberCopyStatus_buff);
}

void Tprocess_ctl::SendFiberToNetStatustoQXT() {
  reportChange(sendpara::kFiberToNet, Data_Global::getInstance()->FiberToNetStatus_buff);
}

// --- Receiving-card size after a link change.

void Tprocess_ctl::SendRecvCardParaToQxtByLinkChange() {
  Data_Global* store = Data_Global::getInstance();
  const uint8_t cycles = store->LinkStateChanged;
  if (cycles == 0) return;
  const auto next = static_cast<uint8_t>(cycles + 1);
  if (cycles > kSettleCycles && apipc_connect_status && anyLink(*store)) {
    if (store->GetRecvCardSize_EnvNew() == 0) {
      store->SendRVCardWHtoQXT();
      store->LinkStateChanged = 0;
    } else {
      store->LinkStateChanged = next > kUnreadableCycles ? uint8_t{0} : next;
    }
    return;
  }
  TRACE_INFO("=========Link changed ++ delay========");
  store->LinkStateChanged = next > kUnlinkedCycles ? uint8_t{0} : next;
}

// --- Deferred reboot and factory reset.

void Tprocess_ctl::RebootAfterRF() {
  Data_Global* store = Data_Global::getInstance();
  const uint8_t state = store->RebootRF;
  if (state == kRebootDue) {
    if ((store->My_uuid >> 8 & 0xFF) == kModelWithoutReboot) {
      if (!m_rebootWithheld) TRACE_INFO("Return to factory successfully! this board model waits for its restart.");
      m_rebootWithheld = true;
      return;
    }
    TRACE_INFO("Return to factory successfully! reboot in 5 seconds...");
    runShell("fpga w s 0x1eb 0x0");
    Sleep(5000);
    runShell("reboot -f");
  } else if (state == kResetRequested) {
    m_rebootWithheld = false;
    Sleep(1000);
    store->RebootRF = kResetRunning;
    TRACE_ERROR(">>>>>>>>>>>>>>>>>>>>>>>>>reboot begin>>>>>>>>>>>>>>>");
    Sleep(500);
    CMutexGuardT guard(m_mutex);  // no handler may run beside the reset
    if (store->ReturnFactory(store->ResetMode) != -1) return;
    TRACE_ERROR("=== RebootAfterRF ===the factory reset failed, nothing was changed.");
    store->RebootRF = 0;
    runShell("sysconfig set firstboot 0");
  }
}

}  // namespace TIRK_MCUC
