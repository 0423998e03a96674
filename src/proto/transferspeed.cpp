#include "proto/transferspeed.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdio>

#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/fpgamap.h"
#include "proto/registertypes.h"

namespace TIRK_MCUC {

namespace {

constexpr int kMeasurements = 10;
constexpr int kAttempts = 65535;

struct Words {
  const char* start;
  const char* stop;
  const char* failure;
  const char* figures;
};
constexpr Words kWriteWords{"=================start write UDP test=================== ",
                            "==================stop write UDP test=================== ",
                            "=== WirteFromPosNetPort ===Read FPGA Posi Info failed! ret = ",
                            "!!!!!!!!!!!!!!!!!!!!!!!!!!!发送%d ,速度%.2f MB/s,time %.2f s\n"};
constexpr Words kReadWords{"=================start Read UDP test=================== ",
                           "==================stop Read UDP test=================== ",
                           "=== ReadFromPosNetPort ===Read FPGA Posi Info failed! ret = ",
                           "!!!!!!!!!!!!!!!!!!!接收%d ,速度%.2f MB/s,time %.2f s\n"};

int transfer(TransferDirection direction, MutableBytes data) {
  auto* const driver = DriverUtil::getInstance();
  const auto length = static_cast<uint32_t>(data.size());
  return direction == TransferDirection::Write
             ? driver->FPGAC5_WriteDataBlock(0, 0, fpga::kPosition.address, length, data.data())
             : driver->FPGAC5_ReadDataBlock(0, 0, fpga::kPosition.address, length, data.data());
}

int measure(TransferDirection direction, const Words& words, MutableBytes data) {
  const int64_t start = monotonicMs();
  int failures = 0;
  int lastFailure = 0;
  for (int i = 0; i < kAttempts; ++i) {
    const int ret = transfer(direction, data);
    if (ret == 0) continue;
    ++failures;
    lastFailure = ret;
  }
  const auto elapsedMs = static_cast<double>(std::max<int64_t>(monotonicMs() - start, 1));
  const auto kibibytes = static_cast<double>(int64_t{kAttempts} * static_cast<int64_t>(data.size())) / 1024;
  std::printf(words.figures, kAttempts, kibibytes / elapsedMs, elapsedMs / 1000);
  if (failures == 0) return kDone;
  TRACE_ERROR(words.failure << lastFailure << " failures = " << failures);
  return kUnknown;
}

}  // namespace

int measureTransferSpeed(TransferDirection direction, size_t length) {
  assert(length > 0 && length <= kTransferSpeedScratch);
  const Words& words = direction == TransferDirection::Write ? kWriteWords : kReadWords;
  for (int i = 0; i < 4; ++i) TRACE_INFO(words.start);
  std::array<uint8_t, kTransferSpeedScratch> scratch{};
  const auto data = MutableBytes(scratch).first(length);
  int result = kDone;
  // What is written must be what is there.
  if (const int ret = direction == TransferDirection::Write ? transfer(TransferDirection::Read, data) : 0; ret != 0) {
    TRACE_ERROR(kReadWords.failure << ret);
    result = kUnknown;
  } else {
    for (int i = 0; i < kMeasurements; ++i)
      if (measure(direction, words, data) != kDone) result = kUnknown;
  }
  for (int i = 0; i < 4; ++i) TRACE_INFO(words.stop);
  return result;
}

}  // namespace TIRK_MCUC
