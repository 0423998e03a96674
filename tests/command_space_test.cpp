// The command space: what each command does at once, what it queues, and which requests it refuses.
#include "proto/addr_hardwareprogrammablebrightnessadjust.h"
#include "proto/data_common.h"
#include "support/space_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;
using namespace ::testing;

namespace {

constexpr uint32_t kSort = 0x01000000;
constexpr uint32_t kSave = 0x01000001;
constexpr uint32_t kReset = 0x01000002;
constexpr uint32_t kTestPoint = 0x01000003;
constexpr uint32_t kReload = 0x01000004;
constexpr uint32_t kChipErase = 0x01000005;
constexpr uint32_t kMapping = 0x01000018;
constexpr uint32_t kDebug = 0x01000020;
constexpr uint32_t kReloadCards = 0x010000FF;
constexpr uint32_t kCommands[] = {kSort,      kSave,    kReset, kTestPoint,  kReload,
                                  kChipErase, kMapping, kDebug, kReloadCards};

class CommandSpace : public SpaceTest {
 protected:
  Data_Global* m_store = Data_Global::getInstance();
};

TEST_F(CommandSpace, SortSetsBothAddresses) {
  EXPECT_EQ(write(kSort, bytes({0xC8, 9})), done());
  EXPECT_EQ(m_store->LocalAddr, 0xC8);
  EXPECT_EQ(Addr_HardWareBrightnessAdjust::LocalAddr, 0xC8);
  EXPECT_THAT(applied(), IsEmpty());
}

TEST_F(CommandSpace, ACommandIsQueuedWithItsFirstByteAlone) {
  EXPECT_EQ(write(kSave, bytes({1, 2, 3})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_SaveSendCardPara"));
  EXPECT_EQ(write(kReloadCards, bytes({1})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_SaveSendCardPara"));
  EXPECT_EQ(write(kReload, bytes({1})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_ReloadSendCardProgram"));
  EXPECT_EQ(write(kMapping, bytes({2, 5})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_doMappingForSender"));
  EXPECT_THAT(did("card w"), ElementsAre("card w recv 255 65535 0x01000088 1 ff"));
}

TEST_F(CommandSpace, WhatIsNoCommandHasNoEffect) {
  EXPECT_EQ(write(kChipErase, bytes({1})), done());
  EXPECT_EQ(write(kDebug, ByteVector(512)), done());
  EXPECT_EQ(write(kReset, bytes({3})), refused(4));
  for (uint32_t command : kCommands) EXPECT_EQ(read(command, 512), done()) << std::hex << command;
  EXPECT_THAT(applied(), IsEmpty());
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(m_store->RebootRF, 0);
}

TEST_F(CommandSpace, AResetIsMarkedAndAnnouncedBeforeItIsQueued) {
  ReportListener qxt(m_directory.path().string(), kTaskQxt);
  fail(vboard::Op::Shell, 1);  // a mark that cannot be set does not stop it
  EXPECT_EQ(write(kReset, bytes({2})), done());
  EXPECT_THAT(applied(), ElementsAre("Sprocess_ReturnFactorySet"));
  EXPECT_THAT(did("sh"), ElementsAre("sh sysconfig set factory_enable 1 failed -1", "sh sysconfig set returnfactory 1",
                                     "sh sysconfig set firstboot 1", "sh killall frelld"));
  EXPECT_THAT(qxt.take(), ElementsAre(Report{0x01000002, bytes({2})}));
  EXPECT_EQ(m_store->RebootRF, 3);
  EXPECT_EQ(m_store->ResetMode, 2);
  EXPECT_TRUE(journalLines().back().starts_with("ipc s "));
}

TEST_F(CommandSpace, TheTestPointAddressIsBigEndian) {
  EXPECT_EQ(write(kTestPoint, bytes({0x01, 0x23, 0x45, 0x67, 0x89, 0xFF})), done());
  EXPECT_THAT(journalLines(), ElementsAre("fpga w 0x01234567 1 89"));
  clearJournal();
  EXPECT_EQ(write(kTestPoint, bytes({0, 0, 4, 0})), refused(6));
  EXPECT_EQ(journal(), "");
  fail(vboard::Op::FpgaWrite, 3);
  EXPECT_EQ(write(kTestPoint, bytes({0, 0, 4, 0, 1})).result, -1);
}

}  // namespace
