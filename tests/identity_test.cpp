// The device's identity: serial number and model identifier between environment and flash, and the factory address.
#include "driverutil.h"
#include "envstore.h"
#include "proto/data_common.h"
#include "support/board_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;

constexpr uint32_t kSerialAddress = 0x001016;
const ByteVector kDefaultSerial = bytes({0x13, 0x03, 0x0D, 0x00, 0xFF, 0xFF, 0xFF, 0xFF});
const ByteVector kStored = bytes({1, 2, 3, 4, 5, 6, 7, 8});
const std::string kDefaultText = "13030d00ffffffff";

class Identity : public BoardTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(DriverUtil::getInstance()->initialize());
    restart("");
  }
  // A board that holds kStored, and "device_sn" as given; "" leaves the key out.
  void restart(const std::string& serialText) {
    setFlash(kSerialAddress, kStored);
    vboard::board().env.unset("device_sn");
    if (!serialText.empty()) setEnv("device_sn", serialText);
    clearJournal();
  }
  static ByteVector serial() { return flash(kSerialAddress, 8); }
  static ByteVector readSerial() {
    ByteVector out = repeated(8, 0xEE);
    Data_Global::getInstance()->GetEnvSNPara(out.data());
    return out;
  }
  static ByteVector readModel() {
    ByteVector out = repeated(2, 0xEE);
    Data_Global::getInstance()->GetEnvModelIDPara(out.data());
    return out;
  }
};

TEST(HexText, PacksNibblesInPairs) {
  const struct {
    const char* text;
    ByteVector bytes;
  } kCases[] = {{"", {}},
                {"abc", bytes({0xAB, 0xC0})},
                {"0123456789ABCDEF", bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF})},
                {"fFaA", bytes({0xFF, 0xAA})},
                {"g/:@`G", bytes({0, 0, 0})},  // the neighbours of the digits and letters
                {"1-\x80\xB1", bytes({0x10, 0x00})}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.text);
    ByteVector out = repeated(test.bytes.size() + 1, 0x5E);
    EXPECT_EQ(Data_Global::ASCII2Hex(test.text, static_cast<int>(std::string(test.text).size()), out.data()), 0);
    EXPECT_EQ(out.back(), 0x5E) << "written past its end";
    out.pop_back();
    EXPECT_EQ(out, test.bytes);
  }
}

TEST_F(Identity, TransferMakesEnvironmentAndFlashAgree) {
  const struct {
    const char* before;
    const char* after;
    ByteVector serial;
  } kCases[] = {
      {"", kDefaultText.c_str(), kDefaultSerial},
      {"0000000000000000", kDefaultText.c_str(), kDefaultSerial},
      {"0123456789ABCDEF", "0123456789ABCDEF", bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF})},
      {"0000000000000001", "0000000000000001", bytes({0, 0, 0, 0, 0, 0, 0, 1})},
      {"000000000000000", "000000000000000", kStored},      // 15 characters
      {"00000000000000000", "00000000000000000", kStored},  // 17
      {"1", "1", kStored},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.before);
    restart(test.before);
    Data_Global::getInstance()->SNTransfer();
    EXPECT_EQ(env("device_sn"), test.after);
    EXPECT_EQ(serial(), test.serial);

    clearJournal();
    Data_Global::getInstance()->SNTransfer();
    EXPECT_EQ(journal(), "") << "what agrees is not written again";
  }
  EXPECT_EQ(logged("The SN_ADDR at env is not of 16 characters"), 6U);
}

TEST_F(Identity, TransferSurvivesFailures) {
  restart("0123456789ABCDEF");
  fail(vboard::Op::EnvOpen, 1);
  Data_Global::getInstance()->SNTransfer();
  EXPECT_EQ(serial(), kStored);
  EXPECT_EQ(logged("=== SNTransfer ===Error when openning env!"), 1U);

  restart("");
  fail(vboard::Op::EnvSet, 1);
  Data_Global::getInstance()->SNTransfer();
  EXPECT_EQ(serial(), kDefaultSerial) << "the flash gets it all the same";
  EXPECT_EQ(logged("=== SNTransfer ===setenv faild"), 1U);

  restart("0123456789ABCDEF");
  fail(vboard::Op::FlashRead, 3);
  Data_Global::getInstance()->SNTransfer();
  EXPECT_EQ(serial()[7], 0xEF) << "an unreadable record counts as different";

  restart("0123456789ABCDEF");
  fail(vboard::Op::FlashWrite, 3);
  Data_Global::getInstance()->SNTransfer();
  EXPECT_EQ(serial(), kStored);
  EXPECT_EQ(logged("Write SN to flash failed!"), 1U);
}

TEST_F(Identity, ReaderOfTheSerialNumberGetsWhatIsStored) {
  restart("0123456789abcdef");
  EXPECT_EQ(readSerial(), bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
  EXPECT_EQ(serial(), readSerial());

  restart("");
  EXPECT_EQ(readSerial(), kDefaultSerial);
  EXPECT_EQ(serial(), kDefaultSerial);
  EXPECT_EQ(env("device_sn"), "") << "reading does not set the key";

  restart("0000000000000000");
  EXPECT_EQ(readSerial(), kDefaultSerial);
  EXPECT_EQ(env("device_sn"), kDefaultText);

  restart("123");
  EXPECT_EQ(readSerial(), repeated(8, 0xEE));
  EXPECT_EQ(serial(), kStored);

  restart("0123456789abcdef");
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(readSerial(), repeated(8, 0xEE));
}

TEST_F(Identity, ModelIdentifierIsSwapped) {
  EXPECT_EQ(readModel(), bytes({0x01, 0x50})) << "a new board's 5001";
  setEnv("device_modelid", "1a2b");
  EXPECT_EQ(readModel(), bytes({0x2B, 0x1A}));

  const ByteVector untouched = repeated(2, 0xEE);
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(readModel(), untouched);
  EXPECT_EQ(logged("=== ModelID ===Error when openning env!"), 1U);
  for (const char* text : {"1a2", "1a2b3"}) {
    setEnv("device_modelid", text);
    EXPECT_EQ(readModel(), untouched) << text;
  }
  vboard::board().env.unset("device_modelid");
  EXPECT_EQ(readModel(), untouched);
  EXPECT_EQ(logged("Finish ModelID transfer"), 6U) << "always";
}

TEST_F(Identity, FactoryAddressIsStoredBeforeTheNetworkIsSwitched) {
  EXPECT_EQ(Data_Global::getInstance()->SetIPVersion(), 0);
  EXPECT_THAT(journalLines(), ::testing::ElementsAre("env set gatewayip 192.168.0.1", "env set ipaddr 192.168.0.10",
                                                     "net mode 0", "net ip 192.168.0.10 255.255.255.0 192.168.0.1"));
}

TEST_F(Identity, FactoryAddressIsLeftWhenItCannotBeStored) {
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(Data_Global::getInstance()->SetIPVersion(), -1);
  EXPECT_EQ(logged("=== SetIPVersion ===Set IP, but openenv failed! "), 1U);
  fail(vboard::Op::EnvSet, 1);
  EXPECT_EQ(Data_Global::getInstance()->SetIPVersion(), -1);
  EXPECT_EQ(logged("=== SetIPVersion ===Set IP, but set gatewayip failed! "), 1U);
  const std::string done = journal();
  EXPECT_EQ(done.find("net "), std::string::npos) << done;
}

}  // namespace
