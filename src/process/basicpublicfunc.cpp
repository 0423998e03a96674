#include "process/basicpublicfunc.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "driverutil.h"
#include "envstore.h"
#include "mcucbytes.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "sysconfenv.h"

namespace TIRK_MCUC {

namespace {

constexpr size_t kBlockSize = flash::kBasicHardware.length;
using Block = std::array<uint8_t, kBlockSize>;

// Fields of the basic hardware block.
struct Field {
  size_t offset;
  size_t length;
};
constexpr Field kField2{2, 2};
constexpr Field kField7{7, 2};
constexpr Field kField10{10, 2};
constexpr Field kSerialNumber{0x16, 8};
constexpr Field kNetwork{0x3D, 7};
constexpr Field kNothing{0, 0};
static_assert(flash::kBasicHardware.address + kSerialNumber.offset == flash::kSerialNumber.address);

constexpr size_t kDateTextCapacity = 32;
constexpr unsigned long kEthernetSettleMs = 10;

// The field that a write of `length` bytes at `offset` changes.
Field fieldOf(int offset, int length) {
  if (offset == 2 && length == 2) return kField2;
  if (offset == 7 && length == 2) return kField7;
  if (offset == 10) return kField10;
  if (offset == 0 && length == static_cast<int>(kBlockSize)) return kSerialNumber;
  if (offset == 0x3D && length == 7) return kNetwork;
  return kNothing;
}

void storeSerialText(Bytes serial) {
  char text[17];
  std::snprintf(text, sizeof text, "%02x%02x%02x%02x%02x%02x%02x%02x", serial[0], serial[1], serial[2], serial[3],
                serial[4], serial[5], serial[6], serial[7]);
  EnvStore env;
  if (!env) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===open env failed");
  } else if (!env.set("device_sn", text)) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===set env device_sn failed");
  }
}

// `record`: 7 bytes, the Ethernet address in 1..6.
void storeEthernetAddress(Bytes record) {
  char command[80];
  std::snprintf(command, sizeof command, "/usr/pmx100/bin/fw_setenv ethaddr %02x:%02x:%02x:%02x:%02x:%02x", record[1],
                record[2], record[3], record[4], record[5], record[6]);
  if (const int status = runShell(command); status != 0)
    TRACE_ERROR("=== WriteHwBasicInfomation ===set ethaddr failed, status = " << status);
  Sleep(kEthernetSettleMs);

  EnvStore env;
  if (!env) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===When set ethaddr_set flag, open env failed !");
  } else if (!env.set("ethaddr_set", "1")) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===Set ethaddr_set flag failed !");
  } else {
    TRACE_INFO("Set ethaddr_set flag success. ");
  }
}

// Puts the write's field into the block and does what belongs to it. `data` are the bytes of the whole write.
void applyField(Field field, Bytes data, Block& block) {
  const Bytes bytes =
      field.offset == kSerialNumber.offset ? data.subspan(field.offset, field.length) : data.first(field.length);
  std::copy(bytes.begin(), bytes.end(), block.begin() + static_cast<std::ptrdiff_t>(field.offset));
  if (field.offset == kSerialNumber.offset) storeSerialText(bytes);
  if (field.offset == kNetwork.offset) storeEthernetAddress(bytes);
}

constexpr uint8_t toBcd(unsigned value) {
  return static_cast<uint8_t>(value % 100 / 10 << 4 | value % 10);
}
constexpr bool isBcd(uint8_t byte) {
  return byte >> 4 <= 9 && (byte & 0x0F) <= 9;
}
constexpr uint8_t fromBcd(uint8_t byte) {
  return static_cast<uint8_t>((byte >> 4) * 10 + (byte & 0x0F));
}

// Stores up to three fields of a text as BCD. A field that is no number leaves its byte.
void storeFields(std::string_view text, char separator, const char* const names[3], uint8_t out[3]) {
  for (int i = 0; i < 3 && !text.empty(); ++i) {
    const std::string_view token = text.substr(0, text.find(separator));
    text.remove_prefix(std::min(token.size() + 1, text.size()));
    unsigned value = 0;
    if (std::from_chars(token.data(), token.data() + token.size(), value).ec != std::errc{}) continue;
    out[i] = toBcd(value);
    TRACE_INFO("\tHard time " << names[i] << ": " << value);
  }
}

}  // namespace

BasicPublicFunc* BasicPublicFunc::getInstance() {
  static NoDestroy<BasicPublicFunc> instance;
  return &instance.get();
}

void BasicPublicFunc::SetHwBasicinfo(int offset, int length, const uint8_t* data) {
  TRACE_INFO("============================ Begin Write HWBasic Info ===========================");
  const Field field = fieldOf(offset, length);
  if (data == nullptr || length < 0 || (offset == 10 && length < 2)) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===invalid data, nothing is written. offset = " << offset
                                                                                            << " length = " << length);
    return;
  }
  auto* driver = DriverUtil::getInstance();
  Block block{};
  if (const int result = driver->ReadBytesFromFlash(flash::kBasicHardware.address, kBlockSize, block.data());
      result != 0) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===Read HWBasic Info failed, nothing is written. ret = " << result);
    return;
  }
  if (field.length != 0) applyField(field, {data, static_cast<size_t>(length)}, block);

  if (const int result = driver->WriteDataToFlash(flash::kBasicHardware.address, kBlockSize, block.data());
      result != 0) {
    TRACE_ERROR("=== WriteHwBasicInfomation ===Write HWBasic Info failed, ret = " << result);
  } else {
    Data_Preset::getInstance()->BasicHardWareReg.write(field.offset, Bytes(block).subspan(field.offset, field.length));
  }
  TRACE_INFO("===== ======================= Finish Write HWBasic Info ===========================");
}

int BasicPublicFunc::GetHwBasicinfo(int offset, int length, uint8_t* out) {
  if (out == nullptr || length < 0) return -1;
  TRACE_INFO("flash addr:" << offset);
  const uint32_t within = static_cast<uint32_t>(offset) & 0xFFFFFF;
  return DriverUtil::getInstance()->ReadBytesFromFlash(flash::kBasicHardware.address + within,
                                                       static_cast<uint32_t>(length), out);
}

void BasicPublicFunc::GetHwTime(uint8_t out[6]) {
  static constexpr const char* kDateNames[3] = {"year", "mon", "day"};
  static constexpr const char* kTimeNames[3] = {"hour", "min", "sec"};
  char text[kDateTextCapacity] = {};
  if (const int result = sysconf_get_date_ymd(text); result != 0) {
    TRACE_ERROR("=== ReadFromFeatureInfo ===get date ymd error = " << result);
  } else {
    storeFields({text, strnlen(text, sizeof text)}, '-', kDateNames, out);
  }
  std::fill(std::begin(text), std::end(text), '\0');
  if (const int result = sysconf_get_date_hms(text); result != 0) {
    TRACE_ERROR("=== ReadFromFeatureInfo ===get date hms error = " << result);
  } else {
    storeFields({text, strnlen(text, sizeof text)}, ':', kTimeNames, out + 3);
  }
}

bool BasicPublicFunc::SetHwTime(const uint8_t bcd[6]) {
  std::array<uint8_t, 6> fields{};
  if (!std::all_of(bcd, bcd + 6, isBcd)) {
    TRACE_ERROR("=== SetHwTime ===not a BCD date and time: " << HexText<32>({bcd, 6}));
    return false;
  }
  std::transform(bcd, bcd + 6, fields.begin(), fromBcd);
  const auto [year, month, day, hour, minute, second] = fields;
  if (month == 0 || month > 12 || day == 0 || day > 31) {
    TRACE_ERROR("=== SetHwTime ===not a date, month = " << month << " day = " << day);
    return false;
  }
  TRACE_INFO("Set system date year-month-day: " << 2000 + year << "-" << month << "-" << day);
  TRACE_INFO("                hour:min:sec: " << hour << ":" << minute << ":" << second);

  auto* driver = DriverUtil::getInstance();
  driver->WriteDate(year, month, day);
  driver->WriteTime(hour, minute, second);
  driver->WriteWeekday(CalcWeekday(bcd[0], bcd[1], bcd[2]));

  auto* store = Data_Global::getInstance();
  store->sync_hwtime_flag = 1;
  TRACE_INFO("---------------. ret = " << store->sync_hwtime_flag.load());
  if (const int status = runShell("hwclock -w --localtime"); status != 0)
    TRACE_ERROR("=== SetHwTime ===hwclock failed, status = " << status);
  return true;
}

uint8_t BasicPublicFunc::CalcWeekday(uint8_t year, uint8_t month, uint8_t day) {
  int y = 2000 + fromBcd(year);
  int m = fromBcd(month);
  if (m == 1 || m == 2) {
    m += 12;
    --y;
  }
  const int w = (fromBcd(day) + 2 * m + 3 * (m + 1) / 5 + y + y / 4 - y / 100 + y / 400 + 1) % 7;
  return static_cast<uint8_t>(w == 0 ? 7 : w);
}

}  // namespace TIRK_MCUC
