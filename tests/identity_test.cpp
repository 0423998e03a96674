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
  const std::pair<std::string, ByteVector> kCases[] = {{"abc", bytes({0xAB, 0xC0})},
                                                       {"fFaA09", bytes({0xFF, 0xAA, 0x09})},
                                                       // the neighbours of the digits and letters
                                                       {"g/:@`G1-\xB1", bytes({0, 0, 0, 0x10, 0})}};
  for (const auto& [text, packed] : kCases) {
    ByteVector out = repeated(packed.size() + 1, 0x5E);
    EXPECT_EQ(Data_Global::ASCII2Hex(text.c_str(), static_cast<int>(text.size()), out.data()), 0);
    EXPECT_EQ(out, packed + bytes({0x5E})) << text;
  }
}

TEST_F(Identity, TransferAndReaderMakeEnvironmentAndFlashAgree) {
  const ByteVector none = repeated(8, 0xEE), digits = bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF});
  const struct {
    std::string before, after, afterRead;
    ByteVector read, flash;
  } kCases[] = {{"", kDefaultText, "", kDefaultSerial, kDefaultSerial},  // reading does not set the key
                {"0000000000000000", kDefaultText, kDefaultText, kDefaultSerial, kDefaultSerial},
                {"0123456789aBCDEF", "0123456789aBCDEF", "0123456789aBCDEF", digits, digits},
                {"000000000000000", "000000000000000", "000000000000000", none, kStored},         // 15 characters
                {"00000000000000000", "00000000000000000", "00000000000000000", none, kStored}};  // 17
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.before);
    restart(test.before);
    EXPECT_EQ(readSerial(), test.read);
    EXPECT_EQ(serial(), test.flash);
    EXPECT_EQ(env("device_sn"), test.afterRead);
    restart(test.before);
    store.SNTransfer();
    EXPECT_EQ(env("device_sn"), test.after);
    EXPECT_EQ(serial(), test.flash);
    clearJournal();
    store.SNTransfer();
    EXPECT_EQ(journal(), "") << "what agrees is not written again";
  }
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
