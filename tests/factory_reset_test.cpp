// The factory reset: what it prepares, in which order, and what it survives.
#include <filesystem>
#include <fstream>

#include "driverutil.h"
#include "proto/data_common.h"
#include "support/allocations.h"
#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using Lines = std::vector<std::string>;

constexpr const char* kFactoryImage = "root/data/tirk/etc/sysconf/pmxpara_factory";
constexpr const char* kPreparedImage = "root/data/tirk/etc/sysconf/pmxpara_factory_tmp";

class FactoryReset : public BoardTest {
 protected:
  void SetUp() override {
    ASSERT_TRUE(DriverUtil::getInstance()->initialize());
    ASSERT_EQ(vboard::board().cards->setChain(0, 2, 192, 144), 0);
    linkState().copper = 1;
    // The running flash and the factory image differ in every byte that a reset may keep.
    setFlash(0x00201A, bytes({0x7D}));
    setFlash(0x003000, repeated(46080, 0x5C));
    setFlash(0xD14000, bytes({1, 2, 3, 4, 5}));
    setFlash(0xE00000, bytes({6, 7, 8, 9, 10}));
    setFlash(0xD17000, bytes({0xFF}));
    for (const uint32_t address : {0x00201AU, 0x003000U, 0x003000U + 46079, 0xD14000U, 0xE00000U})
      inFile(kFactoryImage, address, 0x31);
    inFile(kFactoryImage, 0xD17000, 0x77);
    for (const char* name : {"RvCfgFile_0.rcfgx", "RvCfgFile_31.rcfgx", "RvCfgFile_32.rcfgx", "AllCabCfgFileName"})
      m_directory.put(std::string("root/data/tirk/etc/qxt/cabCfg/") + name, "x");
    m_directory.put("root/usr/pmx100/bin/wpr/bin/Configure/system.ini", "x");
    m_directory.put("root/root/.config/Tirkon/Gromel.ini", "x");
    clearJournal();
  }
  void inFile(const char* image, uint32_t address, uint8_t value) const {
    std::fstream file(m_directory.path() / image, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(address).put(static_cast<char>(value));
    ASSERT_TRUE(file.good());
  }
  ByteVector prepared(uint32_t address, size_t length) const { return fileBytes(kPreparedImage, address, length); }
  ByteVector fileBytes(const char* image, uint32_t address, size_t length) const {
    std::ifstream file(m_directory.path() / image, std::ios::binary);
    ByteVector out(length);
    file.seekg(address).read(reinterpret_cast<char*>(out.data()), static_cast<std::streamsize>(length));
    EXPECT_TRUE(file.good()) << image;
    return out;
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(m_directory.path() / name); }
  bool cabinetFile(const std::string& name) const { return exists("root/data/tirk/etc/qxt/cabCfg/" + name); }
  static int reset(uint8_t type) { return Data_Global::getInstance()->ReturnFactory(type); }
  static uint8_t rebootState() { return Data_Global::getInstance()->RebootRF; }
};

const Lines kCommon = {
    "sh cp /data/tirk/etc/sysconf/pmxpara_factory /data/tirk/etc/sysconf/pmxpara_factory_tmp",
    "sh rm -r /usr/pmx100/bin/wpr/bin/Configure/system.ini",
    "sh rm -r /root/.config/Tirkon/Gromel.ini",
    "card r recv 0 0 0x02000017 4",
    "sh sync",
    "card w recv 255 65535 0x02000001 1 99",
    "card w recv 255 65535 0x02000102 1 00",
    "card w recv 255 65535 0x02000101 1 01",
    "card w recv 255 65535 0x02000101 1 00",
    "card w recv 255 65535 0x02000100 1 00",
    "factory w 0x00c20000 8 c000000090000000",
    "factory w 0x00d17000 1 00",
    "factory w 0x00c20008 8 c000000090000000",
    "factory w 0x00c20030 4 00010101",
    "factory w 0x00b99016 3 010101",
    "factory w 0x00b8b000 4096 " + std::string(128, '0') + "...",
};
const Lines kEnd = {"sh sysconfig set boot_screen 0", "sh sync", "fpga w 0x000001de 1 00"};

Lines operator+(Lines left, const Lines& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

TEST_F(FactoryReset, Type0KeepsTheDhcpSwitchAlone) {
  EXPECT_EQ(reset(0), 0);
  EXPECT_EQ(journalLines(), kCommon + Lines{"factory w 0x0000201a 1 7d"} + kEnd);
  EXPECT_EQ(prepared(0xC20000, 16), bytes({192, 0, 0, 0, 144, 0, 0, 0, 192, 0, 0, 0, 144, 0, 0, 0}));
  EXPECT_EQ(prepared(0x003000, 1), bytes({0x31})) << "the factory's own";
  EXPECT_EQ(prepared(0xD14000, 1), bytes({0x31}));
  EXPECT_FALSE(cabinetFile("AllCabCfgFileName"));
  EXPECT_FALSE(cabinetFile("RvCfgFile_0.rcfgx"));
  EXPECT_FALSE(cabinetFile("RvCfgFile_31.rcfgx"));
  EXPECT_TRUE(cabinetFile("RvCfgFile_32.rcfgx")) << "behind the numbered files";
  EXPECT_FALSE(exists("root/usr/pmx100/bin/wpr/bin/Configure/system.ini"));
  EXPECT_FALSE(exists("root/root/.config/Tirkon/Gromel.ini"));
  EXPECT_EQ(rebootState(), 1);
}

TEST_F(FactoryReset, Type1RestoresTheNetworkAddress) {
  EXPECT_EQ(reset(1), 0);
  const Lines network = {"env set gatewayip 192.168.0.1", "env set ipaddr 192.168.0.10", "net mode 0",
                         "net ip 192.168.0.10 255.255.255.0 192.168.0.1"};
  EXPECT_EQ(journalLines(), network + kCommon + Lines{"factory w 0x0000201a 1 00"} + kEnd);
  EXPECT_EQ(logged("Set IP successfully! "), 1U);
  EXPECT_FALSE(cabinetFile("AllCabCfgFileName"));
}

TEST_F(FactoryReset, Type2KeepsScenesNamesAndCabinetFiles) {
  EXPECT_EQ(reset(2), 0);
  std::string scene;
  for (int i = 0; i < 64; ++i) scene += "5c";
  const Lines kept = {"factory w 0x0000201a 1 7d", "factory w 0x00003000 46080 " + scene + "...",
                      "factory w 0x00d14000 4 01020304", "factory w 0x00e00000 4 06070809"};
  EXPECT_EQ(journalLines(), kCommon + kept + kEnd);
  EXPECT_EQ(prepared(0x003000, 46080), repeated(46080, 0x5C));
  EXPECT_EQ(prepared(0xE00000, 4), bytes({6, 7, 8, 9}));
  for (const char* name : {"AllCabCfgFileName", "RvCfgFile_0.rcfgx", "RvCfgFile_31.rcfgx"})
    EXPECT_TRUE(cabinetFile(name)) << name;
}

TEST_F(FactoryReset, ScreenIsOneCardOfTheDefaultSizeWithoutCards) {
  linkState().copper = 0;
  EXPECT_EQ(reset(0), 0);
  EXPECT_EQ(prepared(0xC20000, 8), bytes({128, 0, 0, 0, 128, 0, 0, 0}));
}

TEST_F(FactoryReset, StopsBeforeAnythingWhenMemoryIsShort) {
  const struct {
    size_t size;
    const char* line;
  } kBuffers[] = {{46080, "=== malloc frelld_scene_para err! "},
                  {768, "=== malloc rename_buff err! "},
                  {1 << 20, "=== malloc rvFile_buff err! "},
                  {4096, "=== malloc AutoLightPara err! "}};
  Data_Global::getInstance()->RebootRF = 2;
  for (const auto& buffer : kBuffers) {
    SCOPED_TRACE(buffer.line);
    {
      const RefusedAllocations one(buffer.size, buffer.size);
      EXPECT_EQ(reset(1), -1);
    }
    EXPECT_EQ(journal(), "");
    EXPECT_EQ(logged(buffer.line), 1U);
  }
  EXPECT_EQ(rebootState(), 2) << "its caller decides";
  EXPECT_FALSE(exists(kPreparedImage));
  EXPECT_TRUE(cabinetFile("AllCabCfgFileName"));
}

}  // namespace
