// The human-computer interaction space: what each offset takes and answers, and the payloads that it queues.
#include <thread>

#include "process/tprocess_ctl.h"
#include "proto/addr_hcinteractionregister.h"
#include "support/store_fixture.h"
#include "virtual/cards.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

constexpr uint32_t kBase = 0x02200000;
constexpr uint32_t kHdrType = kBase + 0x117;
constexpr uint32_t kPeakLight = kBase + 0x118;
constexpr uint32_t kAmbientLight = kBase + 0x11A;
constexpr uint32_t kHlgClass = kBase + 0x129;
constexpr uint32_t kWarmUp = kBase + 0x12C;
constexpr uint32_t kLowGrey = kBase + 0x12E;
constexpr uint32_t kPicture = kBase + 0x13A;
constexpr uint32_t kCommunicationMode = kBase + 0xC0;

class InteractionSpaceTest : public SpaceStoreTest {
 protected:
  void setCardBrightness(uint8_t raw) {
    fitCards(0, 128, 128);
    if (vboard::board().cards->write({}, 0x02000001, bytes({raw})) != 0) throw std::runtime_error("card");
  }
  // The HDR payloads that were applied since the last call, in order, in hexadecimal.
  std::vector<std::string> payloads() {
    applied();
    constexpr std::string_view kPrefix = "flash w 0x00c21000 10 ";
    std::vector<std::string> out;
    for (const auto& line : did(std::string(kPrefix))) out.push_back(line.substr(kPrefix.size()));
    clearJournal();
    return out;
  }
};

TEST_F(InteractionSpaceTest, ReadsAnswerDefaultsAndZerosWhereNothingIsNamed) {
  EXPECT_EQ(read(kHdrType, 4), done(bytes({0, 0xE8, 0x03, 30})));
  EXPECT_EQ(read(kLowGrey, 1), done(bytes({15})));
  EXPECT_EQ(read(kHlgClass, 3), done(bytes({4, 0, 0})));
  EXPECT_EQ(read(kPicture, 6), done(bytes({50, 0, 50, 0, 0, 0})));
  write(kHdrType, bytes({0x58}));
  setFlash(0xC210C0, bytes({7, 7}));
  setFlash(0xD14000, bytes({1, 2, 3, 4, 5, 6}));
  for (const auto& [address, length] : {std::pair<uint32_t, uint16_t>{kHdrType, 5},
                                        {kHdrType, 24},
                                        {kHdrType, 26},
                                        {kPeakLight, 2},
                                        {kPicture, 4},
                                        {kWarmUp, 1},
                                        {kWarmUp, 3},
                                        {kCommunicationMode, 2},
                                        {kBase, 512}})
    EXPECT_EQ(read(address, length), done(ByteVector(length))) << std::hex << address << " " << length;
}

TEST_F(InteractionSpaceTest, WritesThatNameNothingChangeNothingAndAskForSynchronisation) {
  const struct {
    uint32_t address;
    size_t length;
    int result;
  } cases[] = {{kPicture, 3, 0},      {kPicture, 5, 0},      {kWarmUp, 1, 0},    {kWarmUp, 3, 0},
               {kBase + 0x116, 2, 0}, {kBase + 0x119, 1, 0}, {kPeakLight, 1, 6}, {kBase, 512, 5}};
  for (const auto& c : cases) {
    auto request = writeRequest(c.address, ByteVector(c.length, 9));
    EXPECT_EQ(Tshl_ctl::getInstance()->Ssh_StartSendCard(&request), c.result) << std::hex << c.address;
    EXPECT_EQ(request.SyncWrite, c.result == 0 ? 1U : 0U) << std::hex << c.address;
  }
  EXPECT_EQ(Addr_HCInteractionRegister::WriteToHCInteraction(nullptr), 4);
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(journal(), "");
}

TEST_F(InteractionSpaceTest, EachHdr10ParameterIsQueuedWithAllOthers) {
  setCardBrightness(255);
  EXPECT_EQ(write(kHdrType, bytes({0x58})), done());
  EXPECT_EQ(write(kPeakLight, bytes({0xD0, 0x07})), done());
  EXPECT_EQ(write(kAmbientLight, bytes({200})), done());
  EXPECT_EQ(write(kLowGrey, bytes({20})), done());
  EXPECT_EQ(write(kHlgClass, bytes({9})), done());  // belongs to HLG
  EXPECT_THAT(payloads(), ElementsAre("58006400e8031e000f8c", "58006400d0071e000f8c", "58006400d007c8000f8c",
                                      "58006400d007c800148c", "58006400d007c800148c"));
  EXPECT_EQ(read(kHdrType, 4), done(bytes({0x58, 0xD0, 0x07, 200})));
  EXPECT_EQ(read(kLowGrey, 1), done(bytes({20})));
  EXPECT_EQ(read(kHlgClass, 1), done(bytes({4})));
}

TEST_F(InteractionSpaceTest, WithoutHdr10OnlyTheHlgClassIsTaken) {
  EXPECT_EQ(write(kHdrType, bytes({0x78})), done());
  EXPECT_EQ(write(kHlgClass, bytes({12})), done());
  for (const uint32_t address : {kPeakLight, kAmbientLight, kLowGrey})
    EXPECT_EQ(write(address, ByteVector(address == kPeakLight ? 2 : 1, 200)), done());
  EXPECT_THAT(payloads(), ElementsAre("78040000000000000000", "780c0000000000000000", "780c0000000000000000",
                                      "780c0000000000000000", "780c0000000000000000"));
  EXPECT_EQ(read(kHdrType, 4), done(bytes({0x78, 0xE8, 0x03, 30})));
  EXPECT_EQ(read(kLowGrey, 1), done(bytes({15})));
  EXPECT_EQ(read(kHlgClass, 1), done(bytes({12})));
}

TEST_F(InteractionSpaceTest, TheBrightnessIsTheCardsInPercentOrTheLastKnown) {
  for (const auto& [raw, percent] : {std::pair{255, "64"}, {128, "32"}, {254, "63"}, {0, "00"}}) {
    setCardBrightness(static_cast<uint8_t>(raw));
    write(kHdrType, bytes({0x58}));
    EXPECT_THAT(payloads(), ElementsAre("5800" + std::string(percent) + "00e8031e000f8c")) << raw;
  }
  ParaTable[PbufBrightness] = 33;
  fail(vboard::Op::CardRead, 1);
  write(kHdrType, bytes({0x58}));
  EXPECT_THAT(payloads(), ElementsAre("58002100e8031e000f8c"));
  store.GigaPhyLinkSta = 0;  // no card can be asked
  ParaTable[PbufBrightness] = 44;
  write(kHdrType, bytes({0x58}));
  EXPECT_THAT(payloads(), ElementsAre("58002c00e8031e000f8c"));
}

TEST_F(InteractionSpaceTest, AQueuedPayloadKeepsItsValues) {
  {
    const CMutexGuardT handler(Tprocess_ctl::getInstance()->m_mutex);  // the worker waits
    std::thread([] {
      write(kHdrType, bytes({0x78}));
      for (const uint8_t hlgClass : counting(3)) write(kHlgClass, bytes({hlgClass}));
      write(kPicture, bytes({10, 20, 30, 0}));
      write(kPicture, bytes({40, 60, 44, 1}));
    }).join();
    EXPECT_EQ(journal(), "");
  }
  EXPECT_THAT(payloads(), ElementsAre("78040000000000000000", "78010000000000000000", "78020000000000000000",
                                      "78030000000000000000"));
  EXPECT_EQ(logged(" Contrast: 20 Saturation: 10 Hue: 30"), 1U);
  EXPECT_EQ(logged(" Contrast: 60 Saturation: 40 Hue: 300"), 1U);
  EXPECT_EQ(read(kPicture, 6), done(bytes({40, 0, 60, 0, 44, 1})));
}

TEST_F(InteractionSpaceTest, WarmUpIsKeptAndReadFromTheFlash) {
  EXPECT_EQ(write(kWarmUp, bytes({1, 30})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_DoBackupInfo"));
  EXPECT_EQ(read(kWarmUp, 2), done(bytes({1, 30})));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(kWarmUp, 2), done(bytes({0, 0})));
}

TEST_F(InteractionSpaceTest, TheLongHdrReadOverlaysTheFlashRecord) {
  setFlash(0xC21117, counting(25, 100));
  write(kHdrType, bytes({0x58}));
  ByteVector expected = counting(25, 100);
  std::ranges::copy(bytes({0x58, 0xE8, 0x03, 30}), expected.begin());
  expected[23] = 15;
  EXPECT_EQ(read(kHdrType, 25), done(expected));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(kHdrType, 25), done(ByteVector(25)));
}

TEST_F(InteractionSpaceTest, TheCommunicationModeIsReadFromTheFlashAndGoesToTheEnvironment) {
  setFlash(0xC210C0, bytes({2}));
  EXPECT_EQ(read(kCommunicationMode, 1), done(bytes({2})));
  fail(vboard::Op::FlashRead, 3);
  EXPECT_EQ(read(kCommunicationMode, 1), done(bytes({0})));
  for (const auto& [value, text] : {std::pair{0, "0"}, {1, "1"}, {2, "2"}, {255, "2"}}) {
    EXPECT_EQ(write(kCommunicationMode, bytes({value, 0})), done());
    EXPECT_EQ(env("devcom_mode"), text) << value;
  }
  for (const auto op : {vboard::Op::EnvSet, vboard::Op::EnvOpen}) {
    fail(op, 1);
    EXPECT_EQ(write(kCommunicationMode, bytes({0})), done());
    EXPECT_EQ(env("devcom_mode"), "2");
  }
  EXPECT_THAT(applied(), IsEmpty());
}

}  // namespace
