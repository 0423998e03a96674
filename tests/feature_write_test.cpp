// Writes into the feature block: what each byte sets off, in which order, and what is refused.
#include <algorithm>
#include <cstdint>
#include <sstream>

#include "apipc.h"
#include "process/tprocess_ctl.h"
#include "proto/addr_hardwareprogrammablebrightnessadjust.h"
#include "stub/stubutil.h"
#include "support/store_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;
using Brightness = Addr_HardWareBrightnessAdjust;
using Lines = std::vector<std::string>;

const std::string kSave = "flash w 0x00a3b100 512";

// A journal line as this test compares it: reports by register and data, long blocks by their length alone.
std::string shortened(const std::string& line) {
  constexpr size_t kEnvelopeAndHeader = 28 + 12;
  std::istringstream words(line);
  std::string medium, operation, where, length, hex;
  words >> medium >> operation >> where >> length >> hex;
  if (medium == "ipc") {
    const std::string frame = length.substr(2 * kEnvelopeAndHeader);
    const unsigned size = static_cast<unsigned>(std::stoul(frame.substr(8, 2), nullptr, 16));
    return "report " + where + " " + frame.substr(0, 8) + " " + frame.substr(12, 2 * size);
  }
  if (medium == "flash" && std::stoul(length) > 16) return medium + " " + operation + " " + where + " " + length;
  return line;
}

class FeatureWrite : public StoreTest {
 protected:
  void put(size_t index, const ByteVector& data) {
    store.DoWriteFeatureInfo(0x02000000 + static_cast<uint32_t>(index), static_cast<uint16_t>(data.size()),
                             data.data());
  }
  // What the write did to the board.
  Lines steps(size_t index, const ByteVector& data) {
    clearJournal();
    put(index, data);
    Lines lines = journalLines();
    std::transform(lines.begin(), lines.end(), lines.begin(), shortened);
    return lines;
  }
  ByteVector record(size_t index, size_t length) {
    ByteVector out(length);
    store.ScreenParaReg.read(index, out);
    return out;
  }
  void setSize(unsigned width, unsigned height) { setMirror(0x1EC, word(width) + word(height)); }
  static ByteVector storedSize() { return flash(0xC20000, 8); }
  static ByteVector sizeRecord(unsigned width, unsigned height) { return dword(width) + dword(height); }
};

TEST_F(FeatureWrite, LeavesTheBlockAloneWhenItWouldLeaveIt) {
  setMirror(0, repeated(512, 0x5A));
  for (const auto& [index, length] : std::vector<std::pair<size_t, size_t>>{
           {511, 2}, {512, 1}, {0, 513}, {0x100, 0x101}, {0xFFFF, 1}, {0xFFFF, 65535}, {0x28, 0}}) {
    EXPECT_EQ(steps(index, repeated(length, 0x11)), Lines{}) << index << " + " << length;
  }
  store.DoWriteFeatureInfo(0x02000028, 2, nullptr);
  EXPECT_EQ(mirror(0, 512), repeated(512, 0x5A));
}

TEST_F(FeatureWrite, GoesToMirrorBusAndFlash) {
  EXPECT_EQ(steps(0x60, bytes({1, 2, 3})), (Lines{"fpga w 0x00000060 3 010203", kSave}));
  EXPECT_EQ(mirror(0x60, 3), bytes({1, 2, 3}));
  EXPECT_EQ(flash(0xA3B160, 3), bytes({1, 2, 3}));
  // The bus ends at 0x1EF; the serial timeout never goes there.
  EXPECT_EQ(steps(0x1F9, bytes({7})), Lines{kSave});
  EXPECT_EQ(steps(0x3F, bytes({0})), Lines{kSave});
  EXPECT_EQ(steps(0x1E8, repeated(16, 0x0B)).front(), "fpga w 0x000001e8 8 0b0b0b0b0b0b0b0b");
  EXPECT_EQ(mirror(0x1E8, 16), repeated(16, 0x0B));
  EXPECT_EQ(fpga(0x1F0, 8), repeated(8, 0));
}

TEST_F(FeatureWrite, SetsThePowerOnTimeOfTheCards) {
  for (const auto& [value, seconds] : {std::pair{0x00, "0"}, {0x23, "0"}, {0x24, "1"}, {0xFF, "220"}})
    EXPECT_EQ(steps(0x21, bytes({value})).at(1), std::string("sh sysconfig set boot_screen ") + seconds);
  EXPECT_THAT(steps(0x21, bytes({0x30, 0})), Each(Not(HasSubstr("boot_screen"))));
}

TEST_F(FeatureWrite, ReportsSwitchesToTheDisplayDaemon) {
  ASSERT_EQ(apipc_init(taskIdentifier(kTaskKadrend), 0), 0);
  ASSERT_TRUE(StubUtil::getInstance()->creatIMDComm());
  const std::string qxt = "report 0x010a3900 ";
  EXPECT_EQ(steps(0x4A, bytes({7, 8})), (Lines{qxt + "4a000002 07", "fpga w 0x0000004a 2 0708", kSave}));
  EXPECT_EQ(steps(0x74, bytes({1})), (Lines{qxt + "74000002 01", "fpga w 0x00000074 1 01", kSave}));
  EXPECT_EQ(steps(0x9C, bytes({1, 2})), (Lines{"fpga w 0x0000009c 2 0102", qxt + "9c000002 0102", kSave}));
  EXPECT_EQ(steps(0x4B, bytes({1})), (Lines{"fpga w 0x0000004b 1 01", kSave}));
}

TEST_F(FeatureWrite, LowDelayNeedsGeneratorAnd3DOffInBypassMode) {
  const struct {
    int mode, generator, threeD;
    unsigned failingReads;
    bool accepted;
  } kCases[] = {{0, 1, 0, 0, true},
                {1, 0, 0x28, 0, true},
                {1, 1, 0x28, 0, false},
                {2, 0, 0x29, 0, false},
                {1, 0, 0x28, 3, false}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(::testing::Message() << test.mode << " " << test.generator << " " << test.threeD);
    setMirror(0x1F8, bytes({test.mode}));
    setFlash(0x00202A, bytes({test.generator}));
    setFlash(0x002400, bytes({test.threeD}));
    fail(vboard::Op::FlashRead, test.failingReads);
    EXPECT_EQ(steps(0x74, bytes({1})), test.accepted ? (Lines{"fpga w 0x00000074 1 01", kSave}) : Lines{});
    EXPECT_EQ(mirror(0x74, 1), bytes({test.accepted ? 1 : 0}));
  }
}

TEST_F(FeatureWrite, HostOffsetsReplaceTheDisplayDaemons) {
  setMirror(0x1F8, bytes({2}));
  setMirror(0x28, word(0) + word(300));
  EXPECT_EQ(steps(0x28, word(10)),
            (Lines{"fpga w 0x00000028 2 0a00", "fpga w 0x00000091 2 0000", "fpga w 0x000000ac 2 0000", kSave}));
  EXPECT_EQ(mirror(0x1F0, 9), dword(static_cast<uint32_t>(-10)) + dword(static_cast<uint32_t>(-300)) + bytes({1}));
  put(0x2A, word(0xFFFF));
  EXPECT_EQ(mirror(0x1F4, 4), dword(static_cast<uint32_t>(-65535)));

  setMirror(0x1F8, bytes({0}));
  EXPECT_EQ(steps(0x28, word(11)), (Lines{"fpga w 0x00000028 2 0b00", kSave})) << "in normal mode only stored";
}

TEST_F(FeatureWrite, DisplayDaemonsOffsetsMoveThePicture) {
  for (const uint8_t mark : {uint8_t{0x55}, uint8_t{0x54}}) {
    store.ScreenParaReg.write(0, bytes({9, mark, 9, 9, 9, 9}));
    setMirror(0x24, word(1920) + word(1080) + word(1) + word(2));
    setSize(1900, 1000);
    setMirror(0x1F8, bytes({1}));
    EXPECT_EQ(steps(0x1F0, dword(static_cast<uint32_t>(-100)) + dword(40)),
              (Lines{"fpga w 0x00000028 2 6400", "fpga w 0x00000091 2 0000", "fpga w 0x0000002a 2 2800",
                     "fpga w 0x000000ac 2 ffff", kSave}));
    EXPECT_EQ(mirror(0x1F8, 1), bytes({2}));
    EXPECT_EQ(mirror(0x1EC, 4), word(2020) + word(1000)) << "the height stays";
    EXPECT_EQ(mirror(0x28, 4), word(100) + word(2)) << "the mirror's Y stays";
    EXPECT_EQ(record(0, 6), bytes({mark == 0x55 ? 1 : 3, mark, 100, 0, 9, 9}));
  }
  put(0x1F0, dword(0) + dword(0));
  EXPECT_EQ(mirror(0x1EC, 4), word(1920) + word(1080)) << "0 is an offset like those below";

  setMirror(0x1F8, bytes({0}));
  EXPECT_EQ(steps(0x1F0, dword(1) + dword(2)), Lines{kSave}) << "in normal mode only stored";
  setMirror(0x1F8, bytes({1}));
  EXPECT_EQ(steps(0x1F0, dword(5)), Lines{kSave}) << "half of them is only stored";
}

TEST_F(FeatureWrite, RefusesDisplayOffsetsThatNoPictureHas) {
  setMirror(0x1F8, bytes({2}));
  setMirror(0x24, word(100) + word(100));
  setMirror(0x1F0, repeated(8, 0x5A));
  for (const int64_t bad : {int64_t{65536}, int64_t{-65536}, int64_t{INT32_MAX}, int64_t{INT32_MIN}, int64_t{-65436}}) {
    const ByteVector value = dword(static_cast<uint32_t>(bad));
    EXPECT_EQ(steps(0x1F0, value + dword(1)), Lines{}) << bad;
    EXPECT_EQ(steps(0x1F0, dword(1) + value), Lines{}) << bad;
  }
  EXPECT_EQ(mirror(0x1F0, 8), repeated(8, 0x5A)) << "both are refused";

  put(0x1F0, dword(65535) + dword(static_cast<uint32_t>(-65435)));
  EXPECT_EQ(fpga(0x28, 4), bytes({0xFF, 0xFF, 0x9B, 0xFF}));
  EXPECT_EQ(mirror(0x1EE, 2), word(65535));
}

TEST_F(FeatureWrite, SwitchesBetweenBypassAndNormal) {
  const struct {
    int value;
    int mode;
    const char* busOffsets;
  } kCases[] = {{0xA5, 1, "64000000"}, {0, 0, "00000000"}};
  for (const auto& test : kCases) {
    store.ScreenParaReg.write(0, bytes({9, 0x55, 9, 9, 9, 9, 9}));
    setMirror(0x28, word(100) + word(0));
    setMirror(0x1F0, repeated(9, 7));
    setSize(1920, 1080);
    setFlash(0xD17000, bytes({4}));
    EXPECT_EQ(
        steps(0x1F8, bytes({test.value})),
        (Lines{"fpga w 0x00000091 2 0000", "fpga w 0x000000ac 2 0000",
               std::string("fpga w 0x00000028 4 ") + test.busOffsets, kSave, "fpga w 0x00000028 4 00000000",
               "fpga w 0x000001ec 4 1c073804", "flash w 0x00c20000 8 1c07000038040000", "flash w 0x00d17000 1 05"}));
    EXPECT_EQ(mirror(0x1EC, 4), word(1820) + word(1080));
    EXPECT_EQ(mirror(0x28, 4), repeated(4, 0));
    EXPECT_EQ(mirror(0x1F0, 9), repeated(8, 0) + bytes({test.mode}));
    EXPECT_EQ(record(0, 7), bytes({1, 0x55, 0, 0, 0, 0, 9}));
  }
  EXPECT_EQ(steps(0x1F8, bytes({0xA4})), Lines{kSave});
}

TEST_F(FeatureWrite, ModeSwitchReducesASizeOnlyByASmallerOffset) {
  const struct { unsigned x, y, newWidth, newHeight; } kCases[] = {{99, 100, 1, 100}, {101, 30, 100, 70}};
  for (const auto& test : kCases) {
    setSize(100, 100);
    setMirror(0x28, word(test.x) + word(test.y));
    put(0x1F8, bytes({0xA5}));
    EXPECT_EQ(mirror(0x1EC, 4), word(test.newWidth) + word(test.newHeight));
    EXPECT_EQ(storedSize(), sizeRecord(test.newWidth, test.newHeight));
  }
  setSize(0, 100);
  put(0x1F8, bytes({0}));
  EXPECT_EQ(storedSize(), sizeRecord(100, 70)) << "a size of 0 is never stored";
}

TEST_F(FeatureWrite, DeviceRoleSetsTheRoleOfEveryPort) {
  const struct {
    int value;
    std::string text, mode, role;
    bool clears;
  } kCases[] = {{0xA5, "a5", "01", "80", true}, {0x5A, "5a", "00", "00", true}, {0x01, "01", "00", "00", false}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.text);
    store.NormalBackupStatus = 1;
    setFlash(0xC95000, repeated(5, 0x77));
    Lines expected = {"fpga w 0x0000009d 1 " + test.text, "flash w 0x00a60010 1 " + test.mode};
    for (uint32_t k = 0; k < 4; ++k) {
      for (const uint32_t base : {0x18U, 0x98U, 0x100U, 0x104U})
        expected.push_back("fpga w " + vboard::journalAddress(base + k) + " 1 " + test.role);
    }
    const std::string four = test.role + test.role + test.role + test.role;
    expected.insert(expected.end(), {"flash w 0x00a3b118 4 " + four, "flash w 0x00a3b198 4 " + four,
                                     "flash w 0x00a3b200 8 " + four + four, "flash w 0x00a3b19d 1 " + test.text});
    if (test.clears) expected.push_back("flash w 0x00c95000 4 00000000");
    expected.push_back(kSave);
    EXPECT_EQ(steps(0x9D, bytes({test.value})), expected);
    EXPECT_EQ(mirror(0x18, 4) + mirror(0x98, 4) + mirror(0x100, 8), fromHex(four + four + four + four));
    EXPECT_EQ(store.PbufMorSMode, fromHex(test.mode)[0]);
    EXPECT_EQ(store.NormalBackupStatus, test.clears ? 0 : 1);
  }
  EXPECT_EQ(steps(0x9D, bytes({0xA5, 0})), (Lines{"fpga w 0x0000009d 2 a500", kSave})) << "only a byte of its own";
}

TEST_F(FeatureWrite, PersistsTheScreenSizeThatTheWriteLeaves) {
  const struct {
    const char* what;
    size_t index;
    ByteVector data;
    int mode;
    unsigned x, y;
    ByteVector stored;
  } kCases[] = {
      {"a size", 0x1EC, word(1920) + word(1080), 0, 10, 20, sizeRecord(1920, 1080)},
      {"without the offsets of the bypass mode", 0x1EC, word(1920) + word(1080), 1, 10, 20, sizeRecord(1910, 1060)},
      {"unless one is too large", 0x1EC, word(1920) + word(1080), 1, 1920, 20, sizeRecord(1920, 1080)},
      {"or the other", 0x1EC, word(1920) + word(1080), 2, 10, 1081, sizeRecord(1920, 1080)},
      {"width and switch", 0x1EE, word(600), 0, 0, 0, sizeRecord(500, 600)},
      {"a write over the whole range", 0x1EB, repeated(8, 1), 0, 0, 0, sizeRecord(257, 257)},
      {"from below", 0x23, bytes({0x20, 0}), 0, 0, 0, sizeRecord(500, 300)},
      {"the exact width", 0x2D, bytes({0}), 0, 0, 0, sizeRecord(500, 300)},
      {"a new input outdates the size", 0x24, word(1366) + word(768), 0, 0, 0, sizeRecord(1365, 768)},
  };
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.what);
    setMirror(0x23, bytes({0x20}));
    setMirror(0x24, word(800) + word(600) + word(test.x) + word(test.y) + word(1365));
    setSize(500, 300);
    setMirror(0x1F8, bytes({test.mode}));
    setFlash(0xC20000, repeated(8, 0xEE));
    setFlash(0xD17000, bytes({0xFF}));
    put(test.index, test.data);
    EXPECT_EQ(storedSize(), test.stored);
    EXPECT_EQ(flash(0xD17000, 1), bytes({0})) << "counted";
  }
  setFlash(0xC20000, repeated(8, 0xEE));
  for (const auto& [index, length] : std::vector<std::pair<size_t, size_t>>{
           {0x23, 1}, {0x28, 4}, {0x22, 2}, {0x2E, 1}, {0x2A, 2}, {0x1EB, 1}, {0x1F0, 1}, {0x1E7, 5}})
    EXPECT_THAT(steps(index, repeated(length, 1)), Each(Not(HasSubstr("0x00c20000")))) << index;
}

TEST_F(FeatureWrite, TakesTheInputSizeWhileTheScreenHasNone) {
  EXPECT_EQ(steps(0x24, word(1366) + word(768)),
            (Lines{"fpga w 0x00000024 4 56050003", "fpga w 0x000001ec 4 00000000", kSave}))
      << "a width of 0 is not stored";
  EXPECT_EQ(steps(0x2C, word(1365)), (Lines{"fpga w 0x0000002c 2 5505", "flash w 0x00c20000 8 5505000000030000",
                                            "flash w 0x00d17000 1 01", kSave}));
  put(0x26, word(700));
  EXPECT_EQ(mirror(0x1EC, 4), word(1365) + word(700));
  EXPECT_EQ(storedSize(), sizeRecord(1365, 700));
  EXPECT_EQ(fpga(0x1EC, 4), repeated(4, 0)) << "in the mirror alone";
}

TEST_F(FeatureWrite, SelfTestSwitchIsNoHeight) {
  setSize(1920, 1080);
  EXPECT_EQ(steps(0x1EF, bytes({1})), Lines{});
  EXPECT_EQ(store.RWFPGATestflag(), 1);
  EXPECT_EQ(mirror(0x1EC, 4), word(1920) + word(1080));
  put(0x1EF, bytes({0}));
  put(0x1EE, word(0x0180));
  EXPECT_EQ(store.RWFPGATestflag(), 0) << "only when it is written alone";
}

TEST_F(FeatureWrite, BytesWithAnEffectOfTheirOwn) {
  EXPECT_EQ(steps(0x1DA, bytes({6})), (Lines{"fpga w 0x000001da 1 06", "flash w 0x00a3b2da 1 06", kSave}));
  EXPECT_EQ(steps(0x1D8, bytes({1})),
            (Lines{"fpga w 0x000001d8 1 01", "status 0x020001d8 01", "flash w 0x00a3b2d8 1 01", kSave}));
  EXPECT_EQ(steps(0xD4, bytes({1})), (Lines{"fpga w 0x000000d4 1 01", kSave, "sh sync"}));

  for (const auto& [value, expected] : {std::pair{1, 1}, {2, 0}}) {
    put(0x1E9, bytes({value}));
    EXPECT_EQ(store._gCorroentHighSpeed, expected);
  }
  EXPECT_FALSE(Tprocess_ctl::getInstance()->OptToNetEnableOnce);
  put(0x1DF, bytes({0}));
  EXPECT_TRUE(Tprocess_ctl::getInstance()->OptToNetEnableOnce);
}

TEST_F(FeatureWrite, SerialTimeoutIsTakenWithinItsRange) {
  const struct {
    int value;
    uint8_t expected;
    bool saved;
  } kCases[] = {{2, 2, true}, {2, 2, false}, {1, 2, false}, {120, 2, false}, {119, 119, true}};
  for (const auto& test : kCases) {
    SCOPED_TRACE(test.value);
    Brightness::DevComLinkState = 0;
    const Lines lines = steps(0x3F, bytes({test.value}));
    EXPECT_EQ(Brightness::UartDiscOvertime, test.expected);
    EXPECT_EQ(Brightness::DevComLinkState, 1);
    EXPECT_EQ(lines.size() > 1, test.saved);
    EXPECT_EQ(lines.back(), kSave);
    EXPECT_THAT(lines.front(), StartsWith(test.saved ? "flash w 0x00b8b000" : kSave));
  }
  setMirror(0x3F, bytes({77}));
  put(0x60, bytes({1}));
  EXPECT_EQ(Brightness::UartDiscOvertime, 77) << "with any write";
}

TEST_F(FeatureWrite, DateBytesSetTheClock) {
  const Lines lines = steps(0x11, bytes({0x26, 0x11, 0x16, 0x09, 0x58, 0x10}));
  EXPECT_EQ(lines.front(), "fpga w 0x00000011 6 261116095810");
  EXPECT_THAT(lines, Contains(StartsWith("clock set 2026-11-16 09:58:1")));
  EXPECT_EQ(lines[lines.size() - 2], "sh hwclock -w --localtime");
  EXPECT_EQ(lines.back(), kSave);

  setMirror(0x11, repeated(6, 0));  // a field that is not written comes from the clock
  EXPECT_THAT(steps(0x14, bytes({0x23})), Contains(StartsWith("clock set 2026-11-16 23:58:1")));
  EXPECT_THAT(steps(0x15, repeated(20, 0x05)), Contains(StartsWith("clock set 2026-11-16 23:05:0")))
      << "what lies behind the date is not of it";
  EXPECT_THAT(steps(0x11, bytes({0x26, 0x13, 0x16, 0x09, 0x58, 0x10})), Each(Not(HasSubstr("clock set"))));
  EXPECT_THAT(steps(0x10, repeated(7, 0x11)), Each(Not(HasSubstr("clock set"))));
}

}  // namespace
