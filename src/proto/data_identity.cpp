// The device's identity in the environment store: serial number and model identifier, and the factory network address.
#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "driverutil.h"
#include "envstore.h"
#include "mcuctrace.h"
#include "netinfo.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"

namespace TIRK_MCUC {

namespace {

using SerialNumber = std::array<uint8_t, flash::kSerialNumber.length>;

constexpr SerialNumber kDefaultSerialNumber{0x13, 0x03, 0x0D, 0x00, 0xFF, 0xFF, 0xFF, 0xFF};
constexpr const char* kDefaultSerialText = "13030d00ffffffff";
constexpr const char* kNoSerialText = "0000000000000000";
constexpr size_t kSerialTextLength = 2 * std::tuple_size_v<SerialNumber>;
constexpr size_t kModelTextLength = 4;

constexpr const char* kFactoryAddress = "192.168.0.10";
constexpr const char* kFactoryNetmask = "255.255.255.0";
constexpr const char* kFactoryGateway = "192.168.0.1";

// Rewritten only when it differs: the record is looked at on every read of the hardware information.
void storeSerialNumber(const SerialNumber& serial) {
  auto* driver = DriverUtil::getInstance();
  const auto [address, length, contents] = flash::kSerialNumber;
  SerialNumber stored{};
  if (driver->ReadBytesFromFlash(address, length, stored.data()) == 0 && stored == serial) return;
  if (const int result = driver->WriteDataToFlash(address, length, serial.data()); result != 0)
    TRACE_ERROR("=== SNTransfer ===Write SN to flash failed! ret = " << result);
}

void setDefaultSerialText(EnvStore& env) {
  if (!env.set("device_sn", kDefaultSerialText)) TRACE_ERROR("=== SNTransfer ===setenv faild");
}

// Makes environment and flash record agree. The serial number that both now hold, or nothing when the store could not
// be opened or holds a text that is none.
std::optional<SerialNumber> transferSerialNumber(bool setWhenAbsent) {
  TRACE_INFO("================================ Begin SN transfer ==============================");
  std::optional<SerialNumber> serial;
  {
    EnvStore env;
    if (!env) {
      TRACE_ERROR("=== SNTransfer ===Error when openning env!");
      return std::nullopt;
    }
    const auto text = env.get("device_sn");
    if (!text) {
      TRACE_ERROR("=== SNTransfer ===The SN_ADDR at env is not exist, set the default SN_ADDR now. ");
      if (setWhenAbsent) setDefaultSerialText(env);
      serial = kDefaultSerialNumber;
    } else if (*text == kNoSerialText) {
      TRACE_INFO("The SN_ADDR at env is equal to SN_0, set the default SN_ADDR now.");
      setDefaultSerialText(env);
      serial = kDefaultSerialNumber;
    } else if (text->size() != kSerialTextLength) {
      TRACE_ERROR("=== SNTransfer ===The SN_ADDR at env is not of 16 characters, ignored. length = " << text->size());
    } else {
      TRACE_INFO("The SN_ADDR at env is already exist.");
      TRACE_INFO("The SN_ADDR at env is not equal to SN_0, won't change it.");
      Data_Global::ASCII2Hex(text->c_str(), static_cast<int>(kSerialTextLength), serial.emplace().data());
    }
    if (serial) storeSerialNumber(*serial);
  }
  TRACE_INFO("================================ Finish SN transfer =============================");
  return serial;
}

uint8_t nibble(char character) {
  if (character >= '0' && character <= '9') return static_cast<uint8_t>(character - '0');
  if (character >= 'a' && character <= 'f') return static_cast<uint8_t>(character - 'a' + 10);
  if (character >= 'A' && character <= 'F') return static_cast<uint8_t>(character - 'A' + 10);
  return 0;
}

bool storeFactoryAddress() {
  EnvStore env;
  if (!env) {
    TRACE_ERROR("=== SetIPVersion ===Set IP, but openenv failed! ");
    return false;
  }
  if (!env.set("gatewayip", kFactoryGateway)) {
    TRACE_ERROR("=== SetIPVersion ===Set IP, but set gatewayip failed! ");
    return false;
  }
  if (!env.set("ipaddr", kFactoryAddress)) {
    TRACE_ERROR("=== SetIPVersion ===Set IP, but set ipaddr failed! ");
    return false;
  }
  return true;
}

}  // namespace

int Data_Global::ASCII2Hex(const char* text, int length, uint8_t* out) {
  for (int i = 0; i < length; ++i) {
    const uint8_t value = nibble(text[i]);
    if (i % 2 == 0) {
      out[i / 2] = static_cast<uint8_t>(value << 4);
    } else {
      out[i / 2] |= value;
    }
  }
  return 0;
}

void Data_Global::SNTransfer() {
  transferSerialNumber(true);
}

void Data_Global::GetEnvSNPara(uint8_t out[8]) {
  if (const auto serial = transferSerialNumber(false)) std::copy(serial->begin(), serial->end(), out);
}

void Data_Global::GetEnvModelIDPara(uint8_t out[2]) {
  std::optional<std::string> text;
  {
    EnvStore env;
    text = env.get("device_modelid");
    if (!env) {
      TRACE_ERROR("=== ModelID ===Error when openning env!");
    } else if (!text) {
      TRACE_ERROR("=== SNTransfer ===The SN_ADDR at env is not exist, set the default SN_ADDR now. ");
    } else if (text->size() != kModelTextLength) {
      TRACE_ERROR("=== ModelID ===device_modelid is not of 4 characters, ignored. length = " << text->size());
      text.reset();
    }
  }
  if (text) {
    std::array<uint8_t, 2> model{};
    ASCII2Hex(text->c_str(), static_cast<int>(kModelTextLength), model.data());
    out[0] = model[1];
    out[1] = model[0];
  }
  TRACE_INFO("================================ Finish ModelID transfer =============================");
}

int Data_Global::SetIPVersion() {
  if (!storeFactoryAddress()) return -1;
  if (const int result = netinfo_set_eth_mode(0); result != 0) TRACE_ERROR("set static status:" << result);
  const int result = netinfo_set_curr_ip(kFactoryAddress, kFactoryNetmask, kFactoryGateway);
  if (result != 0) TRACE_ERROR("set curip error:" << result);
  return result;
}

}  // namespace TIRK_MCUC
