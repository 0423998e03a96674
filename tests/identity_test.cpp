// The device's identity: serial number and model identifier between environment and flash, and the factory address.
#include "envstore.h"
#include "support/store_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;

constexpr uint32_t kSerialAddress = 0x001016;
const ByteVector kDefaultSerial = bytes({0x13, 0x03, 0x0D, 0x00, 0xFF, 0xFF, 0xFF, 0xFF});
const ByteVector kStored = bytes({1, 2, 3, 4, 5, 6, 7, 8});
const std::string kDefaultText = "13030d00ffffffff";

class Identity : public StoreTest {
 protected:
  Identity() { restart(""); }
  // A board that holds kStored, and "device_sn" as given; "" leaves the key out.
  void restart(const std::string& serialText) {
    setFlash(kSerialAddress, kStored);
    vboard::board().env.unset("device_sn");
    if (!serialText.empty()) setEnv("device_sn", serialText);
    clearJournal();
  }
  static ByteVector serial() { return flash(kSerialAddress, 8); }
  ByteVector readSerial() {
    ByteVector out = repeated(8, 0xEE);
    store.GetEnvSNPara(out.data());
    return out;
  }
  ByteVector readModel() {
    ByteVector out = repeated(2, 0xEE);
    store.GetEnvModelIDPara(out.data());
    return out;
  }
};

TEST(HexText, PacksNibblesInPairs) {
  const struct {
    const char* text;
    ByteVector bytes;
  } kCases[] = {{"abc", bytes({0xAB, 0xC0})},
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
      {"000000000000000", "000000000000000", kStored},      // 15 characters
      {"00000000000000000", "00000000000000000", kStored},  // 17
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.before);
    restart(test.before);
    store.SNTransfer();
    EXPECT_EQ(env("device_sn"), test.after);
    EXPECT_EQ(serial(), test.serial);

    clearJournal();
    store.SNTransfer();
    EXPECT_EQ(journal(), "") << "what agrees is not written again";
  }
}

TEST_F(Identity, TransferSurvivesFailures) {
  restart("0123456789ABCDEF");
  fail(vboard::Op::EnvOpen, 1);
  store.SNTransfer();
  EXPECT_EQ(serial(), kStored);

  restart("");
  fail(vboard::Op::EnvSet, 1);
  store.SNTransfer();
  EXPECT_EQ(serial(), kDefaultSerial) << "the flash gets it all the same";

  restart("0123456789ABCDEF");
  fail(vboard::Op::FlashRead, 3);
  store.SNTransfer();
  EXPECT_EQ(serial()[7], 0xEF) << "an unreadable record counts as different";
}

TEST_F(Identity, ReaderOfTheSerialNumberGetsWhatIsStored) {
  const ByteVector none = repeated(8, 0xEE), digits = bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF});
  const struct {
    const char* before;
    const char* after;
    ByteVector read, flash;
  } kCases[] = {{"0123456789abcdef", "0123456789abcdef", digits, digits},
                {"", "", kDefaultSerial, kDefaultSerial},  // reading does not set the key
                {"0000000000000000", kDefaultText.c_str(), kDefaultSerial, kDefaultSerial},
                {"123", "123", none, kStored}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.before);
    restart(test.before);
    EXPECT_EQ(readSerial(), test.read);
    EXPECT_EQ(serial(), test.flash);
    EXPECT_EQ(env("device_sn"), test.after);
  }
  restart("0123456789abcdef");
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(readSerial(), none);
}

TEST_F(Identity, ModelIdentifierIsSwapped) {
  EXPECT_EQ(readModel(), bytes({0x01, 0x50})) << "a new board's 5001";
  setEnv("device_modelid", "1a2b");
  EXPECT_EQ(readModel(), bytes({0x2B, 0x1A}));

  const ByteVector untouched = repeated(2, 0xEE);
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(readModel(), untouched);
  for (const char* text : {"1a2", "1a2b3"}) {
    setEnv("device_modelid", text);
    EXPECT_EQ(readModel(), untouched) << text;
  }
  vboard::board().env.unset("device_modelid");
  EXPECT_EQ(readModel(), untouched);
}

TEST_F(Identity, FactoryAddressIsLeftWhenItCannotBeStored) {
  fail(vboard::Op::EnvOpen, 1);
  EXPECT_EQ(store.SetIPVersion(), -1);
  fail(vboard::Op::EnvSet, 1);
  EXPECT_EQ(store.SetIPVersion(), -1);
  EXPECT_THAT(did("net "), ::testing::IsEmpty());
}

}  // namespace
