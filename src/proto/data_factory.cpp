// The factory reset: prepares the image that the following reboot puts in place of the parameter flash.
#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <new>

#include "driverutil.h"
#include "mcucbytes.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "pendingsave.h"
#include "proto/cardregisters.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/rvfiletable.h"
#include "proto/sendparameter.h"

namespace TIRK_MCUC {

namespace {

enum ResetType : uint8_t { kResetAddress = 1, kResetKeepingRecords = 2 };

constexpr size_t kDeviceNameBuffer = 768;
constexpr size_t kRvFileBuffer = 1 << 20;
constexpr size_t kBrightnessBuffer = 4096;
constexpr uint32_t kKeptOfNames = 4;    // bytes of the device-name record that survive
constexpr uint32_t kKeptOfRvFiles = 4;  // bytes of the configuration file header that survive

constexpr unsigned long kSettleMs = 5;

constexpr const char* kCommands[] = {
    "cp /data/tirk/etc/sysconf/pmxpara_factory /data/tirk/etc/sysconf/pmxpara_factory_tmp",
    "rm -r /usr/pmx100/bin/wpr/bin/Configure/system.ini", "rm -r /root/.config/Tirkon/Gromel.ini"};

constexpr int kNumberedFiles = 32;  // 0..31

// What resets all receiving cards, in order.
struct CardWrite {
  uint32_t address;
  uint8_t value;
};
constexpr CardWrite kCardReset[] = {
    {kCardGlobalBrightness, 0x99}, {0x02000102, 0}, {0x02000101, 1}, {0x02000101, 0}, {kCardScreenBlack, 0}};

// The screen of the image: one card, and the shortcut record that goes with it.
constexpr std::array<uint8_t, 4> kOneCardForWpr{0x00, 0x01, 0x01, 0x01};
constexpr std::array<uint8_t, 3> kOneCard{0x01, 0x01, 0x01};

class FactoryReset {
 public:
  FactoryReset(Data_Global& store, uint8_t type) : m_store(store), m_type(type) {}
  int perform();

 private:
  // A zeroed buffer for a record and whether the record was read into it.
  struct Kept {
    std::unique_ptr<uint8_t[]> bytes;
    bool read = false;
  };

  // What the image gets, in order.
  struct Patches {
    std::array<SavePart, 10> parts;
    size_t count = 0;
    size_t kept = 0;  // from here on: the records that survive
    void add(const flash::Area& area, Bytes data) { parts[count++] = {area.address, data}; }
    std::span<const SavePart> all() const { return std::span(parts).first(count); }
    std::span<const SavePart> screen() const { return all().first(kept); }
    std::span<const SavePart> records() const { return all().subspan(kept); }
  };

  bool allocate();
  void resetAddress();
  void readKeptRecords();
  void prepareImage();
  void learnCardSize();
  void resetCards();
  Patches patches();
  void patchImage(std::span<const SavePart> patches);
  void restoreKeptRecords(std::span<const SavePart> patches);
  void removeConfigurationFiles();
  void closeOutput();
  void release();

  Data_Global& m_store;
  const uint8_t m_type;
  Kept m_videoScene;
  Kept m_deviceNames;
  Kept m_rvFiles;
  std::unique_ptr<uint8_t[]> m_brightness;
  std::array<uint8_t, 8> m_sizeRecord{};
  uint8_t m_dhcp = 0;
  bool m_dhcpKnown = true;
  uint8_t m_counter = 0;
  bool m_counterKnown = false;
};

bool allocateZeroed(std::unique_ptr<uint8_t[]>& buffer, size_t size, const char* failure) {
  try {
    buffer = std::make_unique<uint8_t[]>(size);
    return true;
  } catch (const std::bad_alloc&) {
    TRACE_ERROR(failure);
    return false;
  }
}

void run(const char* command) {
  if (const int status = runShell(command); status != 0)
    TRACE_ERROR("=== ReturnFactory ===shell command failed: " << command << " status = " << status);
}

bool readRecord(uint32_t address, uint32_t length, uint8_t* out, const char* failure) {
  if (DriverUtil::getInstance()->ReadBytesFromFlash(address, length, out) == 0) return true;
  TRACE_ERROR(failure);
  return false;
}

void apply(const SavePart& patch) {
  const int result = DriverUtil::getInstance()->WriteDataToFactoryTmpFlash(
      patch.address, static_cast<uint32_t>(patch.data.size()), patch.data.data());
  if (result != 0)
    TRACE_ERROR("=== ReturnFactory ===Write factory image failed, addr = " << hex << patch.address
                                                                           << " ret = " << result);
}

std::array<uint8_t, 8> sizeRecord(CardSize size) {
  std::array<uint8_t, 8> record{};
  DWT_ENCDW(&record[0], size.width);
  DWT_ENCDW(&record[4], size.height);
  return record;
}

int FactoryReset::perform() {
  TRACE_INFO("=============== Begin return factory, the type = " << m_type << " ==============================");
  if (!allocate()) return -1;
  if (m_type == kResetAddress) {
    resetAddress();
  } else {
    readKeptRecords();
  }
  {
    PendingReset pending;
    prepareImage();
    learnCardSize();
    resetCards();
    const Patches all = patches();
    pending.notePatches(all.all());
    patchImage(all.screen());
    if (m_type == kResetKeepingRecords) restoreKeptRecords(all.records());
  }
  if (m_type != kResetKeepingRecords) removeConfigurationFiles();
  closeOutput();
  release();
  m_store.RebootRF = 1;
  TRACE_INFO("============================= Finish return factory :" << m_store.RebootRF.load()
                                                                     << "=============================");
  return 0;
}

bool FactoryReset::allocate() {
  return allocateZeroed(m_videoScene.bytes, flash::kVideoScene.length, "=== malloc frelld_scene_para err! ") &&
         allocateZeroed(m_deviceNames.bytes, kDeviceNameBuffer, "=== malloc rename_buff err! ") &&
         allocateZeroed(m_rvFiles.bytes, kRvFileBuffer, "=== malloc rvFile_buff err! ") &&
         allocateZeroed(m_brightness, kBrightnessBuffer, "=== malloc AutoLightPara err! ");
}

void FactoryReset::resetAddress() {
  if (m_store.SetIPVersion() == 0) {
    TRACE_INFO("Set IP successfully! ");
  } else {
    TRACE_ERROR("=== ReturnFactory ===Set IP failed! ");
  }
}

void FactoryReset::readKeptRecords() {
  m_dhcpKnown = readRecord(flash::kDhcpSwitch.address, flash::kDhcpSwitch.length, &m_dhcp,
                           "=== ReturnFactory ===Read from flash failed when reading DHCP Para ! ");
  TRACE_INFO("read DHCP Para!!" << m_dhcp);
  TRACE_INFO("read frelld_scene_para!!");
  m_videoScene.read = readRecord(flash::kVideoScene.address, flash::kVideoScene.length, m_videoScene.bytes.get(),
                                 "=== ReturnFactory ===Read from flash failed when reading frelld_scene_para ! ");
  m_deviceNames.read = readRecord(flash::kDeviceNames.address, kKeptOfNames, m_deviceNames.bytes.get(),
                                  "=== DevNameFileAddr ===Read from flash failed when reading DevNameFile ! ");
  m_rvFiles.read = readRecord(flash::kRvFiles.address, kKeptOfRvFiles, m_rvFiles.bytes.get(),
                              "=== RVConfigFileAddr ===Read from flash failed when reading RvFile ! ");
}

void FactoryReset::prepareImage() {
  for (const char* command : kCommands) run(command);
}

void FactoryReset::learnCardSize() {
  m_store.GetRecvCardSize_EnvNew();
  const CardSize size = m_store.cardSize();
  m_sizeRecord = sizeRecord(size);
  TRACE_INFO("=======ReturnFactory=======, read and write flash ScreenSize = CardSize =" << size.width << " x "
                                                                                         << size.height);
  TRACE_INFO("============================= Wrtie buff_get[0] = " << size.width << " buff_get[1]=" << size.height
                                                                  << " =============================");
  m_counterKnown = readRecord(flash::kScreenCounter.address, flash::kScreenCounter.length, &m_counter,
                              "=== ReturnFactory ===Read from flash failed when reading CfgScreenStatusPara ! ");
  TRACE_INFO("=======ReturnFactory======= After w flash ,read ScreenSize and CardSize :");
  uint32_t stored[2] = {};
  m_store.Read_ScreenSize_FromFlash(stored);
  m_store.Read_CardSize_FromFlash(stored);
}

void FactoryReset::resetCards() {
  run("sync");
  Sleep(kSettleMs);
  for (const CardWrite& write : kCardReset) {
    const int result =
        DriverUtil::getInstance()->SendCardPara(write.address, kAllPorts, kAllCards, 1, &write.value, RecvCard);
    if (result != 0)
      TRACE_ERROR("=== ReturnFactory ===Reset receiving cards failed, addr = " << hex << write.address
                                                                               << " ret = " << result);
    Sleep(kSettleMs);
  }
}

// What could not be read from the flash stays as the factory image has it.
FactoryReset::Patches FactoryReset::patches() {
  Patches out;
  out.add(flash::kScreenSize, m_sizeRecord);
  if (m_counterKnown) {
    ++m_counter;
    out.add(flash::kScreenCounter, {&m_counter, 1});
  }
  out.add(flash::kCardSize, m_sizeRecord);
  out.add(flash::kShortcutForWpr, kOneCardForWpr);
  out.add(flash::kShortcutRowsColumnsCards, kOneCard);
  out.add(flash::kBrightness, {m_brightness.get(), kBrightnessBuffer});
  if (m_dhcpKnown) out.add(flash::kDhcpSwitch, {&m_dhcp, 1});
  out.kept = out.count;
  if (m_type != kResetKeepingRecords) return out;
  if (m_videoScene.read) out.add(flash::kVideoScene, {m_videoScene.bytes.get(), flash::kVideoScene.length});
  if (m_deviceNames.read) out.add(flash::kDeviceNames, {m_deviceNames.bytes.get(), kKeptOfNames});
  if (m_rvFiles.read) out.add(flash::kRvFiles, {m_rvFiles.bytes.get(), kKeptOfRvFiles});
  return out;
}

void FactoryReset::patchImage(std::span<const SavePart> patches) {
  for (const SavePart& patch : patches) {
    apply(patch);
    if (patch.address != flash::kScreenCounter.address) continue;
    TRACE_INFO("============================= Wrtie CfgScreenStatusPara = " << m_counter
                                                                            << " =============================");
  }
  TRACE_INFO("============================= Finish return factory =============================");
}

void FactoryReset::restoreKeptRecords(std::span<const SavePart> patches) {
  TRACE_INFO("====== write frelld_scene_para!! =============");
  for (const SavePart& patch : patches) apply(patch);
  TRACE_INFO("============================= Rname & FvFile Delate success! =============================");
}

void FactoryReset::removeConfigurationFiles() {
  auto* driver = DriverUtil::getInstance();
  if (driver->RemoveRvFile(kRvNameList, kRvFileByName) != 0)
    TRACE_ERROR("=== ReturnFactory ===Remove " << kRvNameList << " failed! ");
  driver->RemoveOtherRvFile(0, kNumberedFiles);
}

void FactoryReset::closeOutput() {
  run("sysconfig set boot_screen 0");
  run("sync");
  TRACE_INFO("-----Send FPGA 0x0000_01de << 0x00 FPGA Out Close----");
  if (const int result = DriverUtil::getInstance()->FPGAC5_WriteOneWord(0, 0, sendpara::kOutputSwitch, 0); result != 0)
    TRACE_ERROR("=== ReturnFactory ===Close FPGA output failed, ret = " << result);
}

void FactoryReset::release() {
  m_videoScene.bytes.reset();
  m_deviceNames.bytes.reset();
  m_rvFiles.bytes.reset();
  m_brightness.reset();
  TRACE_INFO("============================= Free Buffer: =======================");
}

}  // namespace

int Data_Global::ReturnFactory(uint8_t type) {
  return FactoryReset(*this, type).perform();
}

}  // namespace TIRK_MCUC
