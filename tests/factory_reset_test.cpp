// The factory reset: what it prepares, in which order, and what it survives.
#include <filesystem>

#include "support/allocations.h"
#include "support/store_fixture.h"

namespace {

using namespace TIRK_MCUC;
using namespace testing_support;
using Lines = std::vector<std::string>;

constexpr const char* kPreparedImage = "root/data/tirk/etc/sysconf/pmxpara_factory_tmp";

class FactoryReset : public StoreTest {
 protected:
  FactoryReset() {
    fitCards(0, 192, 144);
    arrange();
  }
  void arrange() const {
    setFlash(0x00201A, bytes({0x7D}));
    setFlash(0x003000, repeated(46080, 0x5C));
    setFlash(0xD14000, bytes({1, 2, 3, 4, 5}));
    setFlash(0xE00000, bytes({6, 7, 8, 9, 10}));
    setFlash(0xD17000, bytes({0xFF}));
    for (const char* file : {"usr/pmx100/bin/wpr/bin/Configure/system.ini", "root/.config/Tirkon/Gromel.ini", kList})
      m_directory.put(std::string("root/") + file, "x");
    clearJournal();
  }
  ByteVector prepared(uint32_t address, size_t length) const {
    const std::string image = m_directory.get(kPreparedImage).substr(address, length);
    return {image.begin(), image.end()};
  }
  bool exists(const std::string& name) const { return std::filesystem::exists(m_directory.path() / name); }

  static constexpr const char* kList = "data/tirk/etc/qxt/cabCfg/AllCabCfgFileName";
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

TEST_F(FactoryReset, EachTypeKeepsWhatIsItsOwn) {
  std::string scene;
  for (int i = 0; i < 64; ++i) scene += "5c";
  const struct {
    uint8_t type;
    Lines before, kept;
  } cases[] = {{0, {}, {"factory w 0x0000201a 1 7d"}},
               {1,
                {"env set gatewayip 192.168.0.1", "env set ipaddr 192.168.0.10", "net mode 0",
                 "net ip 192.168.0.10 255.255.255.0 192.168.0.1"},
                {"factory w 0x0000201a 1 00"}},
               {2,
                {},
                {"factory w 0x0000201a 1 7d", "factory w 0x00003000 46080 " + scene + "...",
                 "factory w 0x00d14000 4 01020304", "factory w 0x00e00000 4 06070809"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(int{c.type});
    arrange();
    EXPECT_EQ(store.ReturnFactory(c.type), 0);
    EXPECT_EQ(journalLines(), c.before + kCommon + c.kept + kEnd);
    EXPECT_EQ(prepared(0xC20000, 16), littleEndian32({192, 144, 192, 144}));
    EXPECT_EQ(store.RebootRF, 1);
  }
}

TEST_F(FactoryReset, ScreenIsOneCardOfTheDefaultSizeWithoutCards) {
  linkState().copper = 0;
  EXPECT_EQ(store.ReturnFactory(0), 0);
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
  store.RebootRF = 2;
  for (const auto& buffer : kBuffers) {
    SCOPED_TRACE(buffer.line);
    {
      const RefusedAllocations one(buffer.size, buffer.size);
      EXPECT_EQ(store.ReturnFactory(1), -1);
    }
    EXPECT_EQ(journal(), "");
    EXPECT_EQ(logged(buffer.line), 1U);
  }
  EXPECT_EQ(store.RebootRF, 2) << "its caller decides";
  EXPECT_FALSE(exists(kPreparedImage));
  EXPECT_TRUE(exists(std::string("root/") + kList));
}

}  // namespace
