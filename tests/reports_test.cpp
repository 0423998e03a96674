// The reports of the parameter store: to whom each goes, under which register, with what.
#include <array>
#include <functional>

#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "support/report_listener.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

class ReportsTest : public ReportingTest {
 protected:
  ReportsTest() {
    // Every byte of the feature block tells its index.
    for (size_t i = 0; i < m_store->SendParameterReg.kSize; ++i) {
      m_store->SendParameterReg.setByte(i, static_cast<uint8_t>(i ^ 0x5A));
    }
  }
  static ByteVector feature(size_t offset, size_t length) {
    ByteVector out;
    for (size_t i = offset; i < offset + length; ++i) out.push_back(static_cast<uint8_t>(i ^ 0x5A));
    return out;
  }
  Data_Global* m_store = Data_Global::getInstance();
  ReportListener m_qxt{m_directory.path().string(), kTaskQxt};
  ReportListener m_wpr{m_directory.path().string(), kTaskWpr};
  ReportListener m_frelld{m_directory.path().string(), kTaskFrelld};
};

TEST_F(ReportsTest, EachReportHasItsPeerRegisterAndData) {
  m_store->setCardSize({0x0102, 0x0304});
  m_store->ScreenParaReg.write(4, bytes({0, 0, 0x80, 0x00, 0x40, 0x01, 7}));
  m_store->Time_to_wpr.write(0, bytes({26, 2, 28, 23, 59, 58, 6}));
  setFlash(flash::kBandwidth.address, bytes({0xCD, 0xAB}));
  const ByteVector free = bytes({1, 2, 3});
  const struct {
    ReportListener& peer;
    Report report;
    std::function<void()> send;
  } kReports[] = {{m_qxt, {0x0200001E, free}, [&] { m_store->SendDatetoQXT(0x0200001E, free.data(), 3); }},
                  {m_qxt, {0x01010040, free}, [&] { m_store->SendRVDatetoQXT(0x01010040, free.data(), 3); }},
                  {m_frelld, {0x02300000, free}, [&] { m_store->SendDatetoFrelld(0x02300000, free.data(), 3); }},
                  {m_qxt, {0x01000002, bytes({2})}, [&] { m_store->SendRebootMsgtoQXT(&free[1], 1); }},
                  {m_qxt, {0x02100006, bytes({2, 1, 4, 3})}, [&] { m_store->SendRVCardWHtoQXT(); }},
                  {m_wpr, {0x02100006, bytes({0x80, 0, 0x40, 1})}, [&] { m_store->SendCardSizetoWpr(); }},
                  {m_wpr, {0x13000300, bytes({26, 2, 28, 23, 59, 58, 6})}, [&] { m_store->SendTimetoWpr(); }},
                  {m_wpr, {0x02810000, bytes({0xC8})}, [&] { m_store->SendC8toWpr(); }},
                  {m_qxt, {0x0200009D, feature(0x9D, 1)}, [&] { m_store->Send9DtoQXT(); }},
                  {m_qxt, {0x02810008, bytes({0xCD, 0xAB})}, [&] { m_store->SendBandWidthInfo(); }},
                  {m_qxt, {0x14000000, bytes({2})}, [&] { m_store->SendFlag_kadrendload(); }},
                  {m_qxt, {0x02000018, feature(0x18, 4)}, [&] { m_store->SendMStoQXT1_4(); }},
                  {m_qxt, {0x02000098, feature(0x98, 4)}, [&] { m_store->SendMStoQXT5_8(); }},
                  {m_qxt, {0x02000100, feature(0x100, 8)}, [&] { m_store->SendMStoQXT9_16(); }},
                  {m_qxt, {0x020001D7, feature(0x1D7, 1)}, [&] { m_store->SendFiberLinkInfo(); }},
                  {m_qxt, {0x0200001E, feature(0x1E, 1)}, [&] { m_store->SendRedundtoQXT1_4(); }},
                  {m_qxt, {0x0200009E, feature(0x9E, 1)}, [&] { m_store->SendRedundtoQXT5_8(); }},
                  {m_qxt, {0x02000120, feature(0x120, 2)}, [&] { m_store->SendRedundtoQXT9_16(); }}};
  for (const auto& [peer, report, send] : kReports) {
    send();
    EXPECT_THAT(peer.take(), ElementsAre(report));
    for (ReportListener* other : {&m_qxt, &m_wpr, &m_frelld}) EXPECT_THAT(other->take(), IsEmpty());
  }
}

TEST_F(ReportsTest, AReportIsAFrameOfTheDaemonsOwn) {
  m_store->SendDatetoFrelld(0x02000123, bytes({9, 8}).data(), 2);
  const auto messages = m_frelld.messages();
  ASSERT_THAT(messages, SizeIs(1));
  EXPECT_TRUE(messages[0].checksumRight);
  EXPECT_EQ(messages[0].frame.m_usHeader, 0x55AA);  // AA 55 on the wire
  std::array<uint8_t, kEnvelopeLength> envelope{};
  messages[0].envelope.encode(envelope);
  EXPECT_EQ(toHex(envelope), toHex(dword(m_frelld.task()) + ByteVector(18) + word(28) + dword(22)));
}

TEST_F(ReportsTest, ChangedRolesAreReportedOnce) {
  setFpga(0x18, bytes({0x80, 0, 0, 1}));
  setFpga(0x103, bytes({0x80, 0xFF}));  // the second is behind the four that are watched
  m_store->SendRedundStatustoQXT();
  EXPECT_THAT(m_qxt.take(),
              ElementsAre(Report{0x02000018, bytes({0x80, 0, 0, 1})}, Report{0x02000098, bytes({0, 0, 0, 0})},
                          Report{0x02000100, bytes({0, 0, 0, 0x80})}));
  EXPECT_EQ(m_store->SendParameterReg.byte(0x18), feature(0x18, 1)[0]);  // the roles are the store's, not the FPGA's
  setFpga(0x104, bytes({0x11}));
  m_store->SendRedundStatustoQXT();
  fail(vboard::Op::FlashRead, 3);
  m_store->SendBandWidthInfo();
  EXPECT_THAT(m_qxt.take(), IsEmpty()) << "nothing changed, and what cannot be read is not told";
}

}  // namespace
