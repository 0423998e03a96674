// The feature space: what a read answers and refreshes, which writes are reported at once, and its bounds.
#include <thread>

#include "linkstate.h"
#include "process/tprocess_ctl.h"
#include "proto/addr_featureregister.h"
#include "support/store_fixture.h"
#include "virtual/lights.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using ::testing::HasSubstr;

constexpr uint32_t kQxt = 0x010A3900;

class FeatureSpace : public ReportingStoreTest {
 protected:
  void SetUp() override {
    store.FpgaParaLoadFinish = true;
    setMirror(0, repeated(512, 0x11));
    setFpga(0, repeated(0x400, 0x22));
  }
  static Answer send(IMD_proto3rd request) {
    const bool reads = request.proto.m_ucCode == kCodeRead;
    const int result = Addr_FeatureRegister::Ssh_cmd(&request, nullptr, 0);
    return {result, request.proto.m_ucAck, reads ? request.proto.m_data : ByteVector{}};
  }
  static Answer read(size_t offset, size_t length) {
    return send(readRequest(0x02000000 + static_cast<uint32_t>(offset), static_cast<uint16_t>(length)));
  }
  static Answer write(size_t offset, const ByteVector& data, uint32_t sender = 0x010C0001) {
    return send(writeRequest(0x02000000 + static_cast<uint32_t>(offset), data, sender));
  }
};

TEST_F(FeatureSpace, ReadThatReachesTheBusEndRefreshesFromTheBus) {
  const struct {
    size_t offset, length;
    bool refreshed;
  } kCases[] = {{480, 20, true}, {480, 16, false}, {480, 17, true}, {492, 5, true}, {493, 19, false}, {496, 16, false}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << test.offset << " + " << test.length);
    setMirror(480, repeated(32, 0x11));
    ByteVector expected = repeated(test.length, 0x11);
    if (test.refreshed) std::fill_n(expected.begin(), 496 - test.offset, uint8_t{0x22});
    EXPECT_EQ(read(test.offset, test.length), done(expected)) << "from 496 on the mirror has bytes of its own";
    EXPECT_EQ(mirror(test.offset, test.length), expected);
    EXPECT_EQ(mirror(480, test.offset - 480), repeated(test.offset - 480, 0x11));
  }
}

TEST_F(FeatureSpace, WholeBlockHasClockHiddenBytesAndLinks) {
  vboard::board().clock.set(int64_t{1'800'000'000} * 1'000'000);
  linkState().fiber1 = 0x8421;
  linkState().fiber2 = 0x0100;
  const ByteVector block = read(0, 512).data;
  ASSERT_EQ(block.size(), 512U);
  const auto part = [&block](size_t from, size_t to) { return ByteVector(&block[from], &block[to]); };
  EXPECT_EQ(part(0, 15), bytes({0x22}) + repeated(10, 0xFF) + bytes({0x22, 0x22, 0xFF, 0xFF}));
  EXPECT_EQ(part(0x11, 0x13), bytes({0x27, 0x01})) << "the year of the board's clock";
  EXPECT_EQ(block[0x17], 0x22) << "behind the clock";
  EXPECT_EQ(bytes({block[31], block[159], block[294], block[295]}), bytes({0x23, 0x22, 0x27, 0x2A}));
  EXPECT_EQ(mirror(1, 10) + mirror(0x11, 2), repeated(10, 0xFF) + bytes({0x27, 0x01}));

  linkState().fiber1 = 0;
  linkState().fiber2 = 0;
  EXPECT_EQ(read(31, 1).data, bytes({0x22})) << "a link that is lost disappears";
}

TEST_F(FeatureSpace, LightSensorIsReadByItsOwnReadOnly) {
  vboard::board().lights->setBoard(0x9234);
  EXPECT_EQ(read(15, 1).data, bytes({0x11}));
  EXPECT_EQ(read(14, 3).data, bytes({0xFF, 0x11, 0x11}));
  EXPECT_EQ(read(15, 2).data, bytes({0x34, 0x92}));
  EXPECT_EQ(mirror(15, 2), bytes({0x34, 0x92}));

  fail(vboard::Op::Light, 1);
  EXPECT_EQ(read(15, 2), done(bytes({0, 0})));
  EXPECT_EQ(mirror(15, 2), bytes({0, 0}));
}

TEST_F(FeatureSpace, FailedRefreshAnswersNothing) {
  const ByteVector before = mirror(0, 512);
  fail(vboard::Op::FpgaRead, 3);
  EXPECT_EQ(read(0, 512), refused(4));
  EXPECT_EQ(mirror(0, 512), before);
  fail(vboard::Op::FpgaRead, 3);
  EXPECT_EQ(read(0x24, 4).result, 0) << "does not need the bus";
}

TEST_F(FeatureSpace, RefusesWhatLeavesTheBlock) {
  const struct {
    size_t offset, length;
    int result;
  } kCases[] = {{0, 512, 0},    {511, 1, 0},    {0, 513, 5},       {511, 2, 5},  {512, 1, 5},
                {0x104B, 1, 5}, {0xFFFF, 1, 5}, {0xFFFF, 1024, 5}, {0, 1025, 6}, {0, 0, 6}};
  clearJournal();
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << test.offset << " + " << test.length);
    const Answer answer = read(test.offset, test.length);
    EXPECT_EQ(answer.data.size(), test.result == 0 ? test.length : 0);
    EXPECT_EQ(answer, test.result == 0 ? done(answer.data) : refused(test.result));
    EXPECT_EQ(write(test.offset, repeated(test.length, 0x77)), test.result == 0 ? done() : refused(test.result));
  }
  IMD_proto3rd empty = writeRequest(0x02000010, {});
  empty.proto.m_usValidDataLength = 1;
  EXPECT_EQ(send(empty), refused(7));
  EXPECT_EQ(logged("============================ Begin add DoFeatureInfoKey message to list"), 3U);
}

TEST_F(FeatureSpace, NoticeIsAnsweredAlthoughItHasNoResult) {
  EXPECT_EQ(read(0x4B, 1), (Answer{-1, 0, bytes({0})}));
  EXPECT_EQ(read(0x4B, 2).data, bytes({0x11, 0x11}));
}

TEST_F(FeatureSpace, HostOffsetsOfTheBypassModeAreReportedAtOnce) {
  const struct {
    size_t offset;
    ByteVector data;
    int mode;
    uint32_t sender;
    const char* report;  // null: none
  } kCases[] = {
      {0x28, bytes({10, 0, 20, 0}), 1, 0x010C0001, "f6ffffffecffffff"},
      {0x28, bytes({10, 1}), 2, 0x010C0001, "f6feffff00feffff"},
      {0x2A, bytes({0xFF, 0xFF}), 0xFF, 0x010C0001, "00ffffff0100ffff"},
      {0x28, bytes({0, 0, 0, 0}), 1, 0x020A3900, "0000000000000000"},  // of another board
      {0x28, bytes({10, 0, 20, 0}), 1, kQxt, nullptr},
      {0x28, bytes({10, 0, 20, 0}), 0, 0x010C0001, nullptr},
      {0x28, bytes({10, 0, 20}), 1, 0x010C0001, nullptr},
      {0x2A, bytes({10, 0, 20, 0}), 1, 0x010C0001, nullptr},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << test.offset << " mode " << test.mode << " size " << test.data.size());
    setMirror(0x28, bytes({0x00, 0x01, 0x00, 0x02}));
    setMirror(0x1F0, repeated(8, 0x11));
    setMirror(0x1F8, bytes({test.mode}));
    clearJournal();
    EXPECT_EQ(write(test.offset, test.data, test.sender).result, 0);
    if (test.report == nullptr) {
      EXPECT_EQ(journal(), "");
      EXPECT_EQ(mirror(0x1F0, 8), repeated(8, 0x11));
    } else {
      EXPECT_THAT(journal(), HasSubstr("ipc s 0x010a3900"));
      EXPECT_THAT(journal(), HasSubstr(std::string("f0010002") + "0800" + test.report));
      EXPECT_NE(mirror(0x1F0, 8), repeated(8, 0x11));
    }
    EXPECT_EQ(mirror(0x28, 4), bytes({0x00, 0x01, 0x00, 0x02})) << "only the worker changes them";
  }
}

// A worker stores into the mirror first and sends to the bus afterwards; a read in between must not bring back what the
// bus held before.
TEST_F(FeatureSpace, RefreshNeverUndoesAWriteThatIsUnderWay) {
  const CMutexGuardT worker(Tprocess_ctl::getInstance()->m_mutex);
  setMirror(0x60, bytes({0x99}));
  std::thread([] { EXPECT_EQ(read(0, 512).data[0x60], 0x22) << "the bus's byte is answered"; }).join();
  EXPECT_EQ(mirror(0x60, 1), bytes({0x99}));
}

}  // namespace
