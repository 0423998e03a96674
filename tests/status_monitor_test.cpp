// The status monitor: which change of a status register is reported, exactly how, and what it leaves behind.
#include <algorithm>
#include <atomic>
#include <iterator>

#include "process/tprocess_ctl.h"
#include "proto/data_common.h"
#include "support/allocations.h"
#include "support/report_listener.h"
#include "virtual/cards.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

class StatusMonitorTest : public ReportingTest {
 protected:
  StatusMonitorTest() {
    m_store->fiberlink_buff.fill(0xFF);  // as a new connection leaves it
  }
  // The monitor's share of one 200-ms cycle, in its order; after(): once an operation.
  template <class After>
  void cycle(After after) {
    m_store->SendRedundStatustoQXT();
    after();
    for (const auto operation :
         {&Tprocess_ctl::SendRedundtoQXT, &Tprocess_ctl::SendNetLinktoQXT, &Tprocess_ctl::SendFiberLinktoQXT,
          &Tprocess_ctl::SendFiberBelowLinkStatustoQXT, &Tprocess_ctl::SendFiberRedundtoQXT,
          &Tprocess_ctl::SendFiberToNetStatustoQXT, &Tprocess_ctl::SendFiberCopyStatustoQXT,
          &Tprocess_ctl::SendGenLockLinktoQXT, &Tprocess_ctl::SendRecvCardParaToQxtByLinkChange}) {
      (m_control->*operation)();
      after();
    }
  }
  // One cycle and what it reports. A socket may hold as few as ten messages, so they are taken as they come.
  std::vector<Report> reportsOfCycle() {
    std::vector<Report> reports;
    cycle([&] { std::ranges::copy(m_qxt.take(), std::back_inserter(reports)); });
    return reports;
  }
  Data_Global* m_store = Data_Global::getInstance();
  Tprocess_ctl* m_control = Tprocess_ctl::getInstance();
  ReportListener m_qxt{m_directory.path().string(), kTaskQxt};
};

TEST_F(StatusMonitorTest, EachChangedRegisterIsReportedInItsWay) {
  setFpga(0x1D7, bytes({0xFF}));
  EXPECT_THAT(reportsOfCycle(), IsEmpty()) << "as a new connection takes them to be";
  const auto redundancy = [](int a, int b, int c, int d) {
    return std::vector<Report>{{0x0200001E, bytes({a})}, {0x0200009E, bytes({b})}, {0x02000120, bytes({c, d})}};
  };
  const auto links = [](int a, int b, int c, int d) {
    return std::vector<Report>{{0x0200001F, bytes({a})}, {0x0200009F, bytes({b})}, {0x02000126, bytes({c, d})}};
  };
  const struct {
    uint32_t address;
    ByteVector value;
    std::vector<Report> reports;
  } kChanges[] = {
      {0x1E, bytes({0x80}), redundancy(0x80, 0, 0, 0)},
      {0x9E, bytes({0xC1}), redundancy(0x80, 0xC1, 0, 0)},
      {0x121, bytes({3}), redundancy(0x80, 0xC1, 0, 3)},
      {0x1F8,
       bytes({7}),
       {{0x020001F6, bytes({0})},
        {0x020001F7, bytes({0})},
        {0x020001F8, bytes({7})},
        {0x020001F9, bytes({0})},
        {0x020001FA, bytes({0})},
        {0x020001FB, bytes({0})}}},
      {0x1F, bytes({0x0F}), links(0x0F, 0, 0, 0)},
      {0x127, bytes({0x81}), links(0x0F, 0, 0, 0x81)},
      {0x1D7, bytes({0}), {{0x020001D7, bytes({0})}}},
      {0x1F2, bytes({1, 2}), {{0x020001F2, bytes({1})}, {0x020001F3, bytes({2})}}},
      {0x1F5, bytes({9}), {{0x020001F4, bytes({0})}, {0x020001F5, bytes({9})}}},
      {0x1DA, bytes({5}), {{0x020001DA, bytes({5})}, {0x020001DA, bytes({5})}}},
      {0x1E1, bytes({6}), {{0x020001E0, bytes({0})}, {0x020001E1, bytes({6})}}},
  };
  for (const auto& [address, value, reports] : kChanges) {
    setFpga(address, value);
    EXPECT_EQ(reportsOfCycle(), reports) << std::hex << address;
    EXPECT_THAT(reportsOfCycle(), IsEmpty()) << std::hex << address;
  }
  EXPECT_EQ(m_store->Fiber1BelowLinkStatus_buff, 0x0201);
  EXPECT_EQ(m_store->Fiber2BelowLinkStatus_buff, 0x0900);
}

TEST_F(StatusMonitorTest, WhatWasReadReachesTheMirrorBelow0x1F0Only) {
  constexpr uint32_t kMirrored[] = {0x1E, 0x9E, 0x120, 0x121, 0x1F, 0x9F, 0x126, 0x127, 0x1D7, 0x1DA, 0x1E0, 0x1E1};
  for (const uint32_t address : kMirrored) setFpga(address, bytes({0x33}));
  setFpga(0x1F0, repeated(16, 0x44));
  const size_t reported = reportsOfCycle().size();
  for (const uint32_t address : kMirrored) EXPECT_EQ(m_store->SendParameterReg.byte(address), 0x33) << address;
  EXPECT_THAT(m_store->SendParameterReg.copy<16>(0x1F0), ::testing::Each(0));
  EXPECT_EQ(journalLines().size(), reported);  // nothing but the reports left the daemon
}

TEST_F(StatusMonitorTest, CopperLinksFormOneBitAPort) {
  const struct {
    ByteVector states;  // of 0x1F, 0x9F, 0x126, 0x127
    uint16_t links;
  } kCases[] = {{bytes({0x05, 0x01, 0, 0}), 0x0015},
                {bytes({0xF8, 0xF0, 0xF2, 0xF8}), 0x8208},  // high nibbles mean something else
                {bytes({0x0F, 0x0F, 0x0F, 0x0F}), 0xFFFF},
                {bytes({0, 0, 0, 0}), 0}};
  for (const auto& [states, links] : kCases) {
    setFpga(0x1F, {states[0]});
    setFpga(0x9F, {states[1]});
    setFpga(0x126, {states[2], states[3]});
    reportsOfCycle();
    EXPECT_EQ(m_store->GigaPhyLinkSta, links);
    EXPECT_EQ(linkState().linked(3), (links & 8) != 0);
  }
  EXPECT_EQ(logged("SourceLinkStatus:21 -> NowChangedLinstatus:33288"), 1U);
}

TEST_F(StatusMonitorTest, AFailedReadCountsAs0AndSparesTheMirror) {
  setFpga(0x1DA, bytes({5}));
  reportsOfCycle();
  fail(vboard::Op::FpgaRead, 3);
  m_control->SendFiberRedundtoQXT();
  EXPECT_THAT(m_qxt.take(), ElementsAre(Report{0x020001DA, bytes({0})}));
  EXPECT_EQ(m_store->SendParameterReg.byte(0x1DA), 5);
  m_control->SendFiberRedundtoQXT();
  EXPECT_THAT(m_qxt.take(), ElementsAre(Report{0x020001DA, bytes({5})}));
}

TEST_F(StatusMonitorTest, ACycleWithoutChangeNeitherAllocatesNorWritesALine) {
  reportsOfCycle();
  const std::string before = log();
  const size_t allocated = allocations();
  cycle([] {});
  EXPECT_EQ(allocations(), allocated);
  EXPECT_EQ(log(), before);
}

class LinkChangeTest : public StatusMonitorTest {
 protected:
  // Port 0 gets a link, which is noticed.
  void linkUp() {
    setFpga(0x1F, bytes({1}));
    setFpga(0x1D7, bytes({0xFF}));
    m_control->SendNetLinktoQXT();
    m_qxt.take();
    EXPECT_EQ(m_store->LinkStateChanged, 1);
  }
  // The counter after each of `calls` calls.
  std::vector<int> countCalls(size_t calls) {
    std::vector<int> counts;
    for (size_t i = 0; i < calls; ++i) {
      m_control->SendRecvCardParaToQxtByLinkChange();
      counts.push_back(m_store->LinkStateChanged);
    }
    return counts;
  }
};

TEST_F(LinkChangeTest, AChangeIsForgottenWhenNobodyCanBeAskedOrTold) {
  m_control->apipc_connect_status = true;
  EXPECT_THAT(countCalls(3), ElementsAre(0, 0, 0)) << "there was none";
  m_store->LinkStateChanged = 1;
  EXPECT_THAT(countCalls(10), ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 0, 0)) << "every link is down";
  m_control->apipc_connect_status = false;
  linkUp();
  EXPECT_THAT(countCalls(9), ElementsAre(2, 3, 4, 5, 6, 7, 8, 9, 0)) << "without the peer";
  EXPECT_THAT(m_qxt.take(), IsEmpty());
}

TEST_F(LinkChangeTest, TheSizeIsReportedOnceTheCardsHadTimeToAnswer) {
  linkUp();
  m_control->apipc_connect_status = true;
  const auto counts = countCalls(30);
  EXPECT_EQ(counts[28], 30) << "there are no cards";
  EXPECT_EQ(counts[29], 0) << "they are given up";
  EXPECT_THAT(m_qxt.take(), IsEmpty());

  ASSERT_EQ(vboard::board().cards->setChain(0, 1, 64, 32), 0);
  m_store->LinkStateChanged = 1;
  EXPECT_THAT(countCalls(3), ElementsAre(2, 3, 4));
  EXPECT_THAT(m_qxt.take(), IsEmpty());
  EXPECT_THAT(countCalls(1), ElementsAre(0));
  EXPECT_THAT(m_qxt.take(), ElementsAre(Report{0x02100006, bytes({64, 0, 32, 0})}));
}

std::atomic<int> restarts{0};

class DeferredResetTest : public StatusMonitorTest {
 protected:
  DeferredResetTest() {
    vboard::setRestartHandler([] { ++restarts; });
  }
};

TEST_F(DeferredResetTest, AModelThatIsNotRebootedSaysSoOnce) {
  m_store->RebootRF = 1;
  m_store->My_uuid = 57U << 8 | 0x12;
  m_control->RebootAfterRF();
  m_control->RebootAfterRF();
  EXPECT_EQ(occurrences(log(), "this board model waits for its restart."), 1U);
  EXPECT_EQ(restarts, 0);
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(m_store->RebootRF, 1);
}

TEST_F(DeferredResetTest, AFailedResetIsGivenUp) {
  m_store->RebootRF = 3;
  {
    const RefusedAllocations large(100'000);  // the reset needs a buffer of 1 MiB
    m_control->RebootAfterRF();
  }
  EXPECT_EQ(m_store->RebootRF, 0);
  EXPECT_EQ(journal(), "sh sysconfig set firstboot 0\n");
  EXPECT_EQ(env("firstboot"), "0");
}

}  // namespace
