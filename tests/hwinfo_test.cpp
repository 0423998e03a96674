// The basic hardware block, weekdays, and what is no date.
#include <chrono>

#include "process/basicpublicfunc.h"
#include "support/store_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

constexpr uint32_t kBlockAddress = 0x001000;
constexpr size_t kBlockSize = 256;

class HardwareInfo : public StoreTest {
 protected:
  HardwareInfo() {
    for (size_t i = 0; i < kBlockSize; ++i) m_block.push_back(static_cast<uint8_t>(i ^ 0xA5));
    restart();
  }
  void restart() {
    setFlash(kBlockAddress, m_block);
    Data_Preset::getInstance()->BasicHardWareReg.write(0, m_block);
    clearJournal();
  }
  static void write(int offset, const ByteVector& data) {
    BasicPublicFunc::getInstance()->SetHwBasicinfo(offset, static_cast<int>(data.size()), data.data());
  }
  static ByteVector block() { return flash(kBlockAddress, kBlockSize); }
  static ByteVector mirror() {
    const auto image = Data_Preset::getInstance()->BasicHardWareReg.copy<kBlockSize>(0);
    return {image.begin(), image.end()};
  }
  // The block with `data` from `offset` on.
  ByteVector changed(size_t offset, const ByteVector& data) const {
    ByteVector out = m_block;
    std::copy(data.begin(), data.end(), out.begin() + static_cast<std::ptrdiff_t>(offset));
    return out;
  }

  ByteVector m_block;
};

TEST(Weekday, IsTrueForEveryDateOfTheCentury) {
  using namespace std::chrono;
  const auto bcd = [](unsigned value) { return static_cast<uint8_t>(value / 10 * 16 + value % 10); };
  for (sys_days day = 2000y / January / 1; day <= sys_days(2099y / December / 31); day += std::chrono::days(1)) {
    const year_month_day date(day);
    const auto year = static_cast<unsigned>(static_cast<int>(date.year()) - 2000);
    const auto month = static_cast<unsigned>(date.month()), monthDay = static_cast<unsigned>(date.day());
    ASSERT_EQ(BasicPublicFunc::CalcWeekday(bcd(year), bcd(month), bcd(monthDay)), weekday(day).iso_encoding())
        << year << "-" << month << "-" << monthDay;
  }
}

TEST_F(HardwareInfo, WritesExactlyTheFieldThatIsMeant) {
  const ByteVector whole(kBlockSize, 0x77);
  const struct {
    int offset;
    ByteVector data, expected;
  } kCases[] = {
      {2, bytes({1, 2}), changed(2, bytes({1, 2}))},
      {7, bytes({3, 4}), changed(7, bytes({3, 4}))},
      {10, bytes({5, 6, 7, 8}), changed(10, bytes({5, 6}))},
      {0, whole, changed(0x16, repeated(8, 0x77))},
      {0x3D, bytes({1, 2, 3, 4, 5, 6, 7}), changed(0x3D, bytes({1, 2, 3, 4, 5, 6, 7}))},
      {0x3D, bytes({1, 2, 3, 4, 5, 6}), m_block},
      {2, bytes({1, 2, 3}), m_block},
      {0x16, repeated(8, 1), m_block},
      {0, repeated(255, 1), m_block},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(std::to_string(test.offset) + " + " + std::to_string(test.data.size()));
    restart();
    write(test.offset, test.data);
    EXPECT_EQ(block(), test.expected);
    EXPECT_EQ(mirror(), test.expected);
    EXPECT_THAT(journalLines().back(), StartsWith("flash w 0x00001000 256")) << "rewritten in every case";
  }
}

TEST_F(HardwareInfo, SerialNumberAndEthernetAddressAreHandedOnBeforeTheBlockIsWritten) {
  ByteVector whole(kBlockSize, 0x01);
  const ByteVector serial = bytes({0x00, 0x0A, 0xB0, 0xFF, 0x7F, 0x80, 0x12, 0x9C});
  std::copy(serial.begin(), serial.end(), whole.begin() + 0x16);
  write(0, whole);
  EXPECT_EQ(env("device_sn"), "000ab0ff7f80129c");
  restart();
  write(0x3D, bytes({0x99, 0x00, 0x1B, 0xC5, 0x0A, 0xFF, 0x07}));
  EXPECT_THAT(journalLines(), ElementsAre("sh /usr/pmx100/bin/fw_setenv ethaddr 00:1b:c5:0a:ff:07",
                                          "env set ethaddr_set 1", StartsWith("flash w 0x00001000 256")));
  restart();
  fail(vboard::Op::Shell, 1);
  write(0x3D, repeated(7, 0x42));
  EXPECT_EQ(block(), changed(0x3D, repeated(7, 0x42))) << "written whatever comes of that";
}

TEST_F(HardwareInfo, ChangesNothingThatItCannotKeep) {
  write(10, bytes({5}));  // half a field
  EXPECT_EQ(journal(), "");

  fail(vboard::Op::FlashRead, 3);
  write(0x3D, repeated(7, 0x42));
  EXPECT_EQ(journal(), "") << "an unreadable block is not written back, and nothing else is done";
  EXPECT_EQ(mirror(), m_block);

  fail(vboard::Op::FlashWrite, 3);
  write(2, bytes({1, 2}));
  EXPECT_EQ(mirror(), block()) << "in step with the flash";
}

TEST_F(HardwareInfo, ClockRefusesWhatIsNoDate) {
  const std::pair<size_t, uint8_t> kCases[] = {{0, 0x2A}, {0, 0xA0}, {1, 0x00}, {1, 0x13}, {2, 0x00},
                                               {2, 0x32}, {3, 0x0B}, {4, 0x5C}, {5, 0xA1}};
  for (const auto& [field, value] : kCases) {
    ByteVector date = bytes({0x26, 0x11, 0x16, 0x09, 0x58, 0x10});
    date[field] = value;
    EXPECT_FALSE(BasicPublicFunc::getInstance()->SetHwTime(date.data())) << field << " = " << int{value};
  }
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(store.sync_hwtime_flag, 0);
}

}  // namespace
