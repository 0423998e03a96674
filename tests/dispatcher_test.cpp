// The dispatcher: which addresses reach which space, what is refused, and the register map that it shows.
#include <set>

#include "proto/registermap.h"
#include "proto/registerspace.h"
#include "support/space_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

using Dispatcher = SpaceTest;

const Answer kNoSpace{4, 0, {}};

TEST_F(Dispatcher, ASpaceOwnsItsUpperHalfAndFourOwnTheirTopByte) {
  for (uint32_t address : {0x00000000U, 0x0000FFFFU, 0x0001FFFFU, 0x0100FFFFU, 0x0200FFFFU, 0x02101234U, 0x0220FFFFU,
                           0x0230FFFFU, 0x0240FFFFU, 0x0270FFFFU, 0x0281FFFFU, 0x0300FFFFU, 0x0310FFFFU, 0x05000010U,
                           0x05060010U, 0x0800FFFFU, 0x0A00FFFFU, 0x0E123456U, 0x0EFFFFFFU, 0x0F000000U, 0x0FFFFFFFU,
                           0x1201FFFFU, 0x1800FFFFU, 0x1820FFFFU, 0xF0ABCDEFU, 0xF1FFFFFFU})
    EXPECT_NE(read(address, 65535), kNoSpace) << std::hex << address;
  EXPECT_EQ(logged("Invalid register address!"), 0U);

  const uint32_t kNowhere[] = {0x00020000, 0x01010000, 0x02010000, 0x02110000, 0x02500000, 0x02800000, 0x02820000,
                               0x03010000, 0x05010000, 0x05070000, 0x08010000, 0x0A010000, 0x0D000000, 0x10000000,
                               0x12000000, 0x12020000, 0x18010000, 0x18210000, 0xEF000000, 0xF2000000, 0xFFFFFFFF};
  for (uint32_t address : kNowhere) {
    EXPECT_EQ(read(address, 1), kNoSpace) << std::hex << address;
    EXPECT_EQ(write(address, bytes({1})), kNoSpace) << std::hex << address;
  }
  EXPECT_EQ(logged("=== Ssh_StartSendCard ===Ssh_StartSendCard: Invalid register address!"), 2 * std::size(kNowhere));
  EXPECT_EQ(Tshl_ctl::getInstance()->Ssh_StartSendCard(nullptr), 4);
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(Dispatcher, TheCheckTakesLengthBeforeAccess) {
  const struct {
    int access;
    Fcmd_len length;
    uint8_t code;
    uint16_t asked;
    int result;
  } kCases[] = {{0x11, {}, 0, 1, 0}, {0x11, {}, 1, 512, 0}, {0x11, {}, 0, 0, 6},   {0x11, {}, 0, 513, 6},
                {0x01, {}, 1, 1, 7}, {0x10, {}, 0, 1, 7},   {0x01, {}, 1, 513, 6}, {0x11, {}, 2, 1, 7}};
  for (const auto& test : kCases) {
    Fcheck_func check{test.access, test.length};
    auto request = readRequest(0, test.asked);
    request.proto.m_ucCode = test.code;
    EXPECT_EQ(Ssh_checkFun(&check, &request), test.result) << test.access << " " << int{test.code} << " " << test.asked;
  }
}

// Each row of the map stands for what a request gets.
TEST_F(Dispatcher, TheMapTellsWhatIsThere) {
  const auto map = registerMap();
  std::set<uint32_t> addresses;
  std::set<uint32_t> bases;
  for (const RegisterMapEntry& entry : map) {
    SCOPED_TRACE(::testing::Message() << std::hex << entry.address << " " << entry.className);
    EXPECT_TRUE(addresses.insert(entry.address).second);
    bases.insert(entry.base);
    EXPECT_EQ(entry.address & entry.mask, entry.base);
    if (entry.length.cmdLenMin > 0) {
      EXPECT_EQ(read(entry.address, static_cast<uint16_t>(entry.length.cmdLenMin - 1)), refused(6));
    }
    if (entry.length.cmdLenMax < 65535) {
      EXPECT_EQ(read(entry.address, static_cast<uint16_t>(entry.length.cmdLenMax + 1)), refused(6));
      EXPECT_EQ(write(entry.address, ByteVector(static_cast<size_t>(entry.length.cmdLenMax) + 1)), refused(6));
    }
    auto strange = readRequest(entry.address, static_cast<uint16_t>(entry.length.cmdLenMin));
    strange.proto.m_ucCode = 2;
    EXPECT_THAT(send(strange).result, AnyOf(7, -1));
  }
  EXPECT_EQ(bases.size(), 23U);
  EXPECT_EQ(map.size(), 23U + 8 + 2);  // nine commands; two registers in each program space
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(Dispatcher, AKeyWithoutARegisterIsRefused) {
  const Answer kUnknownKey{-1, 4, {}};
  EXPECT_EQ(read(0x01000006, 1), kUnknownKey);
  EXPECT_EQ(write(0x010000FE, bytes({1})), kUnknownKey);
  EXPECT_EQ(read(0x18000001, 256), kUnknownKey);
  EXPECT_THAT(applied(), IsEmpty());
}

}  // namespace
