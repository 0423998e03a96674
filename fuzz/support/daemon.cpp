#include "support/daemon.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "driverutil.h"
#include "mcuctrace.h"
#include "process/inputSource.h"
#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "proto/tshl_ctl.h"
#include "stub/mcuimdthread.h"
#include "stub/mcuprocessthread.h"
#include "stub/stubutil.h"
#include "support/single_thread.h"
#include "support/verdict.h"

struct apipc_msg {
  std::vector<uint8_t> body;
};

namespace fuzz {

using namespace TIRK_MCUC;

namespace {

constexpr int kTraceOff = 4;

template <class Thread>
std::shared_ptr<Thread> ownerOf(const StartedThread& thread) {
  return *static_cast<std::shared_ptr<Thread>*>(thread.argument);
}

void runUntilItWaits(const StartedThread& thread) {
  try {
    thread.body(thread.argument);
  } catch (const NothingToDo&) {
  }
}

}  // namespace

Daemon& Daemon::instance() {
  static auto* const daemon = new Daemon();  // as the daemon's own singletons
  return *daemon;
}

Daemon::Daemon() : m_board(MemoryBoard::instance()) {
  ::setenv("TZ", "UTC", 1);
  ::tzset();
  require(std::freopen("/dev/null", "w", stdout) != nullptr, "standard output can be closed");
  g_logLevel = kTraceOff;
  DriverUtil::getInstance()->initialize();
  Tprocess_ctl::getInstance()->initialize();
  Tshl_ctl::getInstance()->initialize();
  require(StubUtil::getInstance()->initialize(), "the daemon starts");
  const auto& threads = startedThreads();
  require(threads.size() == 5, "wait, receive and flag thread, worker and report thread");
  m_link = ownerOf<McuIMDThread>(threads[0]);
  m_worker = ownerOf<McuProcessThread>(threads[3]);
  runUntilItWaits(threads[1]);  // from now on the wait thread answers what it may
  startAgain();
}

void Daemon::start() {
  auto* const store = Data_Global::getInstance();
  store->RebootRF = 0;
  store->CalculateParaHandlerCnt = 0;
  store->setRWFPGATestflag(0);
  store->SNTransfer();
  store->ReadHardwareInfo();
  store->RestoreFPGA();
  InputSource::getInstance()->InputBoardInit();
  StubUtil::getInstance()->SetEnvKadrendVerToRootfs();
  store->FpgaOnlineFlag = 1;
  DriverUtil::getInstance()->clearFpgaDown();
  store->RestoreFPGA();
  store->SendFlag_kadrendload();
}

void Daemon::startAgain() {
  m_board.reboot();
  start();
}

void Daemon::deliver(std::vector<uint8_t> datagram) {
  McuIMDThread::ipc_event_deal(nullptr, m_link.get(), new apipc_msg{std::move(datagram)}, 0);
  if (!m_board.queue.empty()) {
    // A message without envelope ends the receive loop, which waits for another one otherwise.
    McuIMDThread::ipc_event_deal(nullptr, m_link.get(), new apipc_msg{}, 0);
    while (!m_board.queue.empty()) m_link->ipc_event_deal_th();
  }
  apply();
}

void Daemon::apply() {
  while (!idle()) m_worker->applyNext();
}

bool Daemon::idle() const {
  return m_worker->pending() == 0;
}

void Daemon::cycle() {
  m_link->monitorCycle();
  apply();
  m_board.clockUs += 200000;
}

void Daemon::serveAgain() {
  auto* const store = Data_Global::getInstance();
  store->setRWFPGATestflag(0);
  DriverUtil::getInstance()->clearFpgaDown();
  while (store->RebootRF != 0 && !m_board.rebootAsked) cycle();
  if (m_board.rebootAsked) startAgain();
}

void Daemon::forgetReset() {
  Data_Global::getInstance()->RebootRF = 0;
}

std::vector<uint8_t> Daemon::datagram(ThirdProtoMCUCMsg frame, uint32_t sender) {
  frame.m_usValidDataLength =
      frame.m_ucCode == kCodeWrite ? static_cast<uint16_t>(frame.m_data.size()) : frame.m_usValidDataLength;
  std::vector<uint8_t> out(kEnvelopeLength + kShortestFrame + frame.m_data.size());
  const MutableBytes wire = MutableBytes(out).subspan(kEnvelopeLength);
  frame.EncodeHeader(wire.data(), static_cast<int>(wire.size()));
  std::copy(frame.m_data.begin(), frame.m_data.end(), wire.begin() + kFrameHeaderLength);
  uint16_t sum = 0;
  MCUCMsg::CaculCheckout(wire.data(), 2, static_cast<int>(wire.size()) - 4, sum);
  DWT_ENCWD(&wire[wire.size() - 2], sum);
  ipcHeaderInfo head;
  head.uiid = sender;
  head.labelCount = 1;
  head.size = static_cast<uint32_t>(wire.size());
  head.smallLabel = 1;
  head.largeLabel = kLargeLabelFrame;
  head.payloadLength = static_cast<uint32_t>(wire.size());
  head.encode(MutableBytes(out).first<kEnvelopeLength>());
  return out;
}

ThirdProtoMCUCMsg Daemon::readRequest(uint32_t address, uint16_t length) {
  ThirdProtoMCUCMsg frame(PROTOCOL_HEADER_TAG_REQUEST, 0, 0, 0xFE, 0, kDeviceSendCard, 0, 0, kCodeRead, address);
  frame.m_usValidDataLength = length;
  return frame;
}

ThirdProtoMCUCMsg Daemon::writeRequest(uint32_t address, Bytes data) {
  ThirdProtoMCUCMsg frame(PROTOCOL_HEADER_TAG_REQUEST, 0, 0, 0xFE, 0, kDeviceSendCard, 0, 0, kCodeWrite, address);
  frame.m_data.assign(data.begin(), data.end());
  return frame;
}

}  // namespace fuzz
