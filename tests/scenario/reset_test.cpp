// A factory reset from the command to the first start after its reboot: what it keeps, removes, tells, and refuses.
#include <filesystem>

#include "proto/flashmap.h"
#include "proto/sendparameter.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using kadctl::BusClient;
using namespace ::testing;

constexpr uint32_t kResetCommand = 0x01000002;
constexpr const char* kCardFiles = "root/data/tirk/etc/qxt/cabCfg/";
constexpr const char* kSettings[] = {"root/usr/pmx100/bin/wpr/bin/Configure/system.ini",
                                     "root/root/.config/Tirkon/Gromel.ini"};

class ResetTest : public RunningDaemonTest {
 protected:
  bool there(const std::string& name) const { return std::filesystem::exists(m_directory.path() / name); }
};

struct ResetType {
  uint8_t type;
  uint8_t dhcp;    // afterwards; it was 1
  bool keepsUser;  // scenes, device names, card files
};

class ResetTypeTest : public ResetTest, public ::testing::WithParamInterface<ResetType> {};

TEST_P(ResetTypeTest, GoesThroughTheRebootToAWallOfOneCard) {
  const ResetType reset = GetParam();
  BusClient screenDaemon(board(), kTaskQxt);
  monitor("cards 3 2 96 48");
  ASSERT_TRUE(heard(screenDaemon, "0x02100006 60003000"));
  setFlash(flash::kDhcpSwitch.address, {1});
  setFlash(flash::kVideoScene.address, ByteVector(46080, 0xAA));
  setFlash(flash::kWarmUp.address, {1, 2, 3, 4, 5});
  setFlash(flash::kRvFiles.address, {6, 7, 8, 9, 10});
  setFlash(flash::kBackup.address, {0x77});
  setFlash(flash::kBrightness.address, {0x5B});
  setFlash(flash::kScreenCounter.address, {41});
  for (const char* name : {"AllCabCfgFileName", "RvCfgFile_0.rcfgx", "RvCfgFile_31.rcfgx", "RvCfgFile_32.rcfgx"}) {
    m_directory.put(kCardFiles + std::string(name), "x");
  }
  for (const char* name : kSettings) m_directory.put(name, "x");
  monitor("journal clear");

  EXPECT_EQ(askWrite(kResetCommand, {reset.type}), (Reply{0, 0, {}}));
  EXPECT_TRUE(heard(screenDaemon, "0x01000002 " + toHex(ByteVector{reset.type})));
  ASSERT_TRUE(waitLogged("Error", ">>>>>>>>>>>>>>>>>>>>>>>>>reboot begin>>>>>>>>>>>>>>>"));
  EXPECT_FALSE(client().ask(BusClient::request(kCodeRead, 0x02300000, 1, {}, {}), 300)) << "dropped";
  ASSERT_TRUE(waitLogged("Info", "============================= Finish return factory :1"));
  ASSERT_TRUE(waitLogged("Info", "Return to factory successfully! reboot in 5 seconds..."));
  EXPECT_GE(logged("Info", "....... Device Reset To Factory ing...... , return."), 1U);
  EXPECT_EQ(monitorLine("card read recv 3 1 0x02000001 1"), "99") << "the cards are reset at once";
  EXPECT_EQ(flash(flash::kBackup.address, 1), ByteVector{0x77}) << "the flash with the reboot";
  waitReboot();
  EXPECT_THAT(journal(), IsSupersetOf({"sh fpga w s 0x1eb 0x0", "sh reboot -f"}));
  ready();
  EXPECT_EQ(monitorLine("env get firstboot"), "0");
  EXPECT_EQ(flash(flash::kBackup.address, 1), ByteVector{0}) << "the factory image";
  EXPECT_EQ(flash(flash::kDhcpSwitch.address, 1), ByteVector{reset.dhcp});
  EXPECT_EQ(flash(flash::kBrightness.address, 1), ByteVector{0});
  EXPECT_EQ(flash(flash::kVideoScene.address + 46079, 1), ByteVector{static_cast<uint8_t>(reset.keepsUser ? 0xAA : 0)});
  EXPECT_EQ(flash(flash::kWarmUp.address, 5), reset.keepsUser ? (ByteVector{1, 2, 3, 4, 0}) : ByteVector(5, 0));
  EXPECT_EQ(flash(flash::kRvFiles.address, 5), reset.keepsUser ? (ByteVector{6, 7, 8, 9, 0xFF}) : ByteVector(5, 0xFF));
  EXPECT_EQ(there(kCardFiles + std::string("AllCabCfgFileName")), reset.keepsUser);
  EXPECT_EQ(there(kCardFiles + std::string("RvCfgFile_0.rcfgx")), reset.keepsUser);
  EXPECT_EQ(there(kCardFiles + std::string("RvCfgFile_31.rcfgx")), reset.keepsUser);
  EXPECT_TRUE(there(kCardFiles + std::string("RvCfgFile_32.rcfgx"))) << "none of the numbered ones";
  for (const char* name : kSettings) EXPECT_FALSE(there(name)) << name;
  EXPECT_EQ(fpga(sendpara::kScreenWidthEven, 4), word(96) + word(48));
  EXPECT_EQ(flash(flash::kScreenRecord.address, 15), fromHex("01550000000060003000010100") + word(1));
  EXPECT_EQ(askRead(22, 8).data, fromHex("13030d00ffffffff")) << "the device is still who it was";
  EXPECT_TRUE(heard(screenDaemon, "0x14000000 02"));
}

INSTANTIATE_TEST_SUITE_P(Types, ResetTypeTest,
                         ::testing::Values(ResetType{0, 1, false}, ResetType{1, 0, false}, ResetType{2, 1, true}),
                         [](const auto& parameter) { return "Type" + std::to_string(parameter.param.type); });

}  // namespace
}  // namespace testing_support
