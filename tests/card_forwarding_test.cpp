// Forwarding to the cards behind the ports: chunks, pauses, acks, link verification, flash copies and reports.
#include <sstream>

#include "linkstate.h"
#include "mcucutil.h"
#include "proto/data_common.h"
#include "support/space_fixture.h"
#include "virtual/cards.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

constexpr uint32_t kQxt = 0x010A3900;
constexpr uint32_t kOtherSender = 0x010C0001;
using Routine = int (Tshl_ctl::*)(IMD_proto3rd*);

class CardForwarding : public ReportingTest {
 protected:
  CardForwarding() {
    for (unsigned port : {2U, 9U}) {
      if (vboard::board().cards->setChain(port, 3, 128, 96) != 0) throw std::runtime_error("cards");
    }
    linkState().copper = 1U << 2 | 1U << 9;
  }
  // To board 1 behind port 2.
  Answer forward(Routine routine, IMD_proto3rd request) {
    request.proto.m_ucPortAddress = m_port;
    request.proto.m_usBoardAddress = m_board;
    const bool reads = request.proto.m_ucCode != kCodeWrite;
    const int result = (Tshl_ctl::getInstance()->*routine)(&request);
    m_syncWrite = request.SyncWrite;
    return {result, request.proto.m_ucAck, reads ? request.proto.m_data : ByteVector{}};
  }
  Answer read(Routine routine, uint32_t address, uint16_t length) {
    return forward(routine, readRequest(address, length));
  }
  Answer write(Routine routine, uint32_t address, const ByteVector& data, uint32_t sender = kOtherSender) {
    return forward(routine, writeRequest(address, data, sender));
  }
  std::vector<Report> reports() { return m_qxt.take(); }
  // The journal's transfers without their data: "r recv 2 1 0x00000100 512", failed ones with " failed".
  static std::vector<std::string> transfers() {
    std::vector<std::string> out;
    for (const auto& line : journalLines()) {
      std::istringstream words(line);
      std::string word;
      std::string text;
      if (!(words >> word) || word != "card") continue;
      for (int i = 0; i < 6 && words >> word; ++i) text += (i == 0 ? "" : " ") + word;
      out.push_back(text + (line.find(" failed ") != std::string::npos ? " failed" : ""));
    }
    return out;
  }

  static constexpr Routine kScan = &Tshl_ctl::Ssh_StartScanCard;
  static constexpr Routine kMulti = &Tshl_ctl::Ssh_StartMultiCard;
  static constexpr Routine kBox = &Tshl_ctl::Ssh_StartDistribute;
  static constexpr Routine k3D = &Tshl_ctl::Ssh_Start3DLauncher;
  uint8_t m_port = 2;
  uint16_t m_board = 1;
  uint32_t m_syncWrite = 0;
  ReportListener m_qxt{m_directory.path().string(), kTaskQxt};
};

TEST_F(CardForwarding, ReadsComeInChunksOfTheirKind) {
  EXPECT_EQ(write(kScan, 0x00001000, counting(1200)), done());
  clearJournal();
  EXPECT_EQ(read(kScan, 0x00001000, 1200), done(counting(1200)));
  EXPECT_EQ(read(kScan, 0x00001000, 512), done(counting(512)));
  EXPECT_THAT(transfers(), ElementsAre("r recv 2 1 0x00001000 512", "r recv 2 1 0x00001200 512",
                                       "r recv 2 1 0x00001400 176", "r recv 2 1 0x00001000 512"));
  const struct {
    Routine routine;
    const char* kind;
    const char* third;
  } kCases[] = {
      {kMulti, "multi", "w multi 2 1 0x00001200 88"}, {kBox, "dist", "w dist 2 1 0x00001200 88"}, {k3D, "3d", ""}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.kind);
    clearJournal();
    EXPECT_EQ(write(test.routine, 0x00001000, counting(600)), done());
    const auto written = transfers();
    EXPECT_EQ(written.size() == 3 ? written[2] : "", test.third);
    EXPECT_EQ(read(test.routine, 0x00001000, 600), done(counting(600)));
    EXPECT_THAT(transfers(), SizeIs(2 * written.size()));
  }
}

TEST_F(CardForwarding, EachChunkIsFollowedByThePauseOfItsKind) {
  const struct {
    Routine routine;
    uint32_t address;
    size_t length;
    int64_t atLeastMs;
  } kCases[] = {{kScan, 0x00000100, 1025, 30},
                {kScan, 0x07000100, 1025, 15},
                {kMulti, 0x100, 257, 46},
                {kBox, 0x100, 257, 50},
                {k3D, 0x100, 513, 10}};
  for (const auto& test : kCases) {
    const int64_t start = monotonicMs();
    EXPECT_EQ(write(test.routine, test.address, ByteVector(test.length)), done());
    EXPECT_GE(monotonicMs() - start, test.atLeastMs) << std::hex << test.address;
  }
  const auto correction = [this](uint8_t highSpeed) {
    Data_Global::getInstance()->_gCorroentHighSpeed = highSpeed;
    const int64_t start = monotonicMs();
    write(kScan, 0x07000000, ByteVector(40 * 512));
    return monotonicMs() - start;
  };
  EXPECT_LT(correction(1), correction(0));
}

TEST_F(CardForwarding, AReadStopsAtTheChunkThatFails) {
  const Answer kCardFailed{1, 1, {}};
  fail(vboard::Op::CardRead, 1);
  EXPECT_EQ(read(kScan, 0x100, 1200), kCardFailed);
  EXPECT_THAT(transfers(), ElementsAre("r recv 2 1 0x00000100 512 failed"));
  m_port = 3;
  EXPECT_EQ(read(kScan, 0x100, 8), refused(4));  // no link
  m_port = 2;
  m_board = 77;
  EXPECT_EQ(read(kScan, 0x100, 8), kCardFailed);  // no such card
  m_board = 1;
  for (Routine routine : {kMulti, kBox, k3D}) {
    fail(vboard::Op::CardRead, 1, -9);
    EXPECT_EQ(read(routine, 0x100, 300), refused(4));
  }
  clearJournal();
  EXPECT_EQ(read(kScan, 0x100, 65517), kCardFailed) << "no reply can carry it";
  for (Routine routine : {kMulti, kBox, k3D}) EXPECT_EQ(read(routine, 0x100, 65517), refused(4));
  EXPECT_THAT(transfers(), IsEmpty());
  EXPECT_EQ(read(kScan, 0x100, 65516).data.size(), 65516U);
  EXPECT_EQ(read(kScan, 0x100, 0), done());
}

TEST_F(CardForwarding, AWritesResultIsNotLookedAt) {
  fail(vboard::Op::CardWrite, 1);
  EXPECT_EQ(write(kScan, 0x100, counting(600)), done());
  EXPECT_THAT(transfers(), ElementsAre("w recv 2 1 0x00000100 512 failed", "w recv 2 1 0x00000300 88"));
  auto request = writeRequest(0x100, bytes({1}));
  request.proto.m_ucAck = 9;
  EXPECT_EQ(forward(kMulti, request).ack, 9);
}

TEST_F(CardForwarding, TheBrightnessOfTheCardsIsKeptAndReported) {
  EXPECT_EQ(write(kScan, 0x02000001, bytes({0x64})), done());
  EXPECT_EQ(m_syncWrite, 1U);
  EXPECT_EQ(flash(0xD15000, 1), bytes({0x64}));
  EXPECT_THAT(reports(), ElementsAre(Report{0x02000001, bytes({0x64})}));
  EXPECT_THAT(journalLines(), ElementsAre("flash w 0x00d15000 1 64", "card w recv 2 1 0x02000001 1 64",
                                          StartsWith("ipc s 0x010a3900")));

  // From the daemon that would be told: kept, not told.
  EXPECT_EQ(write(kScan, 0x02000001, bytes({0x32}), kQxt), done());
  EXPECT_EQ(flash(0xD15000, 1), bytes({0x32}));
  EXPECT_EQ(m_syncWrite, 1U);
  EXPECT_THAT(reports(), IsEmpty());

  // Several bytes: told, not kept. The flash may fail.
  EXPECT_EQ(write(kScan, 0x02000001, bytes({7, 8})), done());
  EXPECT_EQ(flash(0xD15000, 1), bytes({0x32}));
  EXPECT_EQ(m_syncWrite, 0U);
  EXPECT_THAT(reports(), ElementsAre(Report{0x02000001, bytes({7})}));
  fail(vboard::Op::FlashWrite, 3);
  EXPECT_EQ(write(kScan, 0x02000001, bytes({9})), done());
  EXPECT_EQ(journalLines().back().substr(0, 5), "ipc s");
  EXPECT_EQ(transfers().back(), "w recv 2 1 0x02000001 1");
}

TEST_F(CardForwarding, ReportsCarryTheirChunksOwnAddress) {
  EXPECT_EQ(write(kScan, 0x02000001 - 512, counting(513)), done());
  EXPECT_THAT(reports(), ElementsAre(Report{0x02000001, counting(1, static_cast<uint8_t>(513))}));
  EXPECT_EQ(write(kScan, 0x02000001, counting(600, 5)), done());
  EXPECT_THAT(reports(), ElementsAre(Report{0x02000001, bytes({5})}));
  EXPECT_EQ(write(kScan, 0x01000088, bytes({5})), done());
  EXPECT_THAT(reports(), ElementsAre(Report{0x01000088, bytes({5})}));
  EXPECT_EQ(write(kScan, 0x01000088, bytes({5, 5})), done());
  EXPECT_EQ(write(kMulti, 0x02000001, bytes({5})), done());
  EXPECT_THAT(reports(), IsEmpty());
}

TEST_F(CardForwarding, LauncherParametersAreKeptTwiceAndReported) {
  EXPECT_EQ(write(k3D, 0x02000001, counting(512)), done());
  EXPECT_EQ(flash(0x2407, 512) + flash(0xF557, 512), counting(512) + counting(512));
  EXPECT_THAT(reports(), ElementsAre(Report{0x02002001, counting(512)}));
  EXPECT_EQ(write(k3D, 0x02000002, bytes({0xAB}), kQxt), done());
  EXPECT_EQ(flash(0x2407, 3) + flash(0xF557, 3), bytes({1, 0xAB, 3, 1, 0xAB, 3}));
  EXPECT_THAT(reports(), IsEmpty());
  clearJournal();
  EXPECT_EQ(write(k3D, 0x02000001, ByteVector(513)), done());
  EXPECT_EQ(write(k3D, 0x02000003, bytes({1})), done());
  EXPECT_THAT(reports(), SizeIs(2));
  EXPECT_THAT(transfers(), SizeIs(3));
  EXPECT_EQ(journal().find("flash w"), std::string::npos);
}

TEST_F(CardForwarding, APortIsLinkedByCopperOrByUsedOptics) {
  const struct {
    int port;
    ByteVector copper, optical;
    uint8_t mode;
    bool linked;
  } kCases[] = {
      {5, {0, 0x02, 0, 0}, {0, 0, 0, 0}, 0xA0, true},       {5, {0x02, 0, 0x02, 0x02}, {0, 0, 0, 0}, 0, false},
      {0, {0x10, 0, 0, 0}, {0, 0, 0, 0}, 0, false},         {15, {0, 0, 0, 0x08}, {0, 0, 0, 0}, 0xA0, true},
      {9, {0, 0, 0, 0}, {0, 0, 0, 0x02}, 0, true},          {9, {0, 0, 0, 0}, {0, 0, 0, 0x02}, 0xA0, false},
      {9, {0, 0, 0, 0}, {0, 0x02, 0, 0}, 0, true},          {9, {0, 0, 0, 0}, {0x02, 0, 0x02, 0}, 0, false},
      {7, {0, 0, 0, 0}, {0x80, 0, 0, 0}, 0x50, true},       {7, {0, 0, 0, 0}, {0, 0, 0x80, 0}, 0, true},
      {12, {0, 0, 0, 0}, {0xFF, 0, 0xFF, 0}, 0, false},     {255, {0, 0, 0, 0}, {0, 0, 0, 0}, 0xA0, true},
      {16, repeated(4, 0xFF), repeated(4, 0xFF), 0, false}, {-1, repeated(4, 0xFF), repeated(4, 0xFF), 0, false}};
  for (const auto& test : kCases) {
    setFpga(0xF05100, test.copper);
    setFpga(0xF04000, test.optical);
    setFpga(0x1D7, {test.mode});
    EXPECT_EQ(Tshl_ctl::getInstance()->PortLinkVerify(test.port), test.linked)
        << test.port << " " << ::testing::PrintToString(test.copper) << ::testing::PrintToString(test.optical);
  }
  // A word that cannot be read counts as no link.
  fail(vboard::Op::FpgaRead, 3);  // the copper word; the optical ones are read
  EXPECT_TRUE(Tshl_ctl::getInstance()->PortLinkVerify(2));
  fail(vboard::Op::FpgaRead, 9);
  EXPECT_FALSE(Tshl_ctl::getInstance()->PortLinkVerify(2));
}

TEST_F(CardForwarding, ADistributionBoxIsReadOnlyOverALink) {
  EXPECT_EQ(write(kBox, 0x100, bytes({1, 2})), done());
  EXPECT_EQ(read(kBox, 0x100, 2), done(bytes({1, 2})));
  clearJournal();
  m_port = 3;
  linkState().copper = 0xFFFF;
  EXPECT_EQ(read(kBox, 0x100, 2), refused(4));
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(write(kBox, 0x100, bytes({1})), done());  // a write is sent all the same
  EXPECT_THAT(transfers(), ElementsAre("w dist 3 1 0x00000100 1"));
}

}  // namespace
