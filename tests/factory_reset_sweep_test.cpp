// The factory reset with the k-th call of each operation of the board failing, for one whole operation and for ever.
// Until the reboot the flash in use stays as it is, whatever fails; the image that the reboot will take is the
// factory's but for its patches, each of which is there whole or not at all; and the next reset makes the image it
// always makes.
#include <cstring>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/flashmap.h"
#include "support/sweep_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

constexpr const char* kOps[] = {"flash-read", "flash-write", "fpga-read", "fpga-write", "card-read",
                                "card-write", "env-open",    "env-set",   "shell"};
constexpr const char* kSettings = "root/data/tirk/etc/sysconf/";

// What a reset patches.
constexpr flash::Area kPatched[] = {flash::kScreenSize,
                                    flash::kScreenCounter,
                                    flash::kCardSize,
                                    flash::kShortcutForWpr,
                                    flash::kShortcutRowsColumnsCards,
                                    {flash::kBrightness.address, 4096, ""},
                                    flash::kDhcpSwitch,
                                    flash::kVideoScene,
                                    {flash::kDeviceNames.address, 4, ""},
                                    {flash::kRvFiles.address, 4, ""}};

class FactoryResetSweep : public ScenarioTest, public ::testing::WithParamInterface<int> {
 protected:
  FactoryResetSweep() {
    setFlash(flash::kDhcpSwitch.address, bytes({0x7D}));
    setFlash(flash::kVideoScene.address, ByteVector(flash::kVideoScene.length, 0x5C));
    setFlash(flash::kDeviceNames.address, bytes({1, 2, 3, 4}));
    setFlash(flash::kRvFiles.address, bytes({5, 6, 7, 8}));
    m_used = image("pmxpara");
    m_factory = image("pmxpara_factory");
  }

  std::string image(const char* name) const { return m_directory.get(std::string(kSettings) + name); }
  void reset() {
    std::filesystem::remove(m_directory.path() / kSettings / "pmxpara_factory_tmp");
    EXPECT_EQ(store.ReturnFactory(static_cast<uint8_t>(GetParam())), 0);
    EXPECT_EQ(store.RebootRF, 1);
    store.RebootRF = 0;
    idle();
  }
  // Empty, or what is wrong with the image for the reboot.
  std::string wrongWithPrepared() const {
    std::string prepared = image("pmxpara_factory_tmp");
    if (prepared.empty()) return "";  // the reboot keeps the flash in use
    if (prepared.size() != m_factory.size()) return "it is not whole";
    for (const auto& area : kPatched) {
      // A card that does not answer counts as one of another size.
      const bool size = area.address == flash::kScreenSize.address || area.address == flash::kCardSize.address;
      const auto is = prepared.substr(area.address, area.length);
      if (is != m_factory.substr(area.address, area.length) && is != m_prepared.substr(area.address, area.length) &&
          !size) {
        return "a patch is neither there nor missing";
      }
      std::memcpy(&prepared[area.address], &m_factory[area.address], area.length);
    }
    return prepared == m_factory ? "" : "something else was changed";
  }

  std::string m_used;
  std::string m_factory;
  std::string m_prepared;
};

TEST_P(FactoryResetSweep, PreparesAWholeImageOrNone) {
  reset();
  m_prepared = image("pmxpara_factory_tmp");
  ASSERT_NE(m_prepared, m_factory);
  ASSERT_EQ(wrongWithPrepared(), "");
  const size_t descriptors = openDescriptors();
  unsigned long runs = 0;
  for (const char* name : kOps) {
    for (const unsigned long count : {kOneOperation, kForEver}) {
      for (unsigned long k = 1; disturbed(*vboard::opFromName(name), k, count, [this] { reset(); }); ++k) {
        SCOPED_TRACE(std::string(name) + ", call " + std::to_string(k) + ", " + std::to_string(count) + " times");
        ++runs;
        ASSERT_EQ(wrongWithPrepared(), "");
        ASSERT_TRUE(image("pmxpara") == m_used) << "the flash in use has changed";
        ASSERT_EQ(openDescriptors(), descriptors);
      }
    }
  }
  reset();
  EXPECT_TRUE(image("pmxpara_factory_tmp") == m_prepared) << "the reset after all the failed ones makes another image";
  EXPECT_GT(runs, 0U);
  std::printf("factory reset %d: %lu disturbed runs\n", GetParam(), runs);
}

INSTANTIATE_TEST_SUITE_P(Type, FactoryResetSweep, ::testing::Values(0, 1, 2));

}  // namespace
}  // namespace testing_support
