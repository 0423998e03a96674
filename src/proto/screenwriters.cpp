#include "proto/screenwriters.h"

#include <cassert>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

namespace {

constexpr uint32_t kNumberStride = 0x20;      // bytes of a port in the number table
constexpr uint32_t kPositionBlock = 1024;     // one FPGA write
constexpr size_t kNumberOffset8To11 = 0x200;  // in the number table

size_t countOffset(size_t port) {
  return port < 8 ? kNumberStride * port : kNumberOffset8To11 + kNumberStride * (port - 8);
}

uint32_t countAddress(uint32_t port) {
  if (port < 4) return fpga::kNumber0To3.address + kNumberStride * port;
  if (port < 8) return fpga::kNumber4To7.address + kNumberStride * (port - 4);
  return fpga::kNumber8To11.address + kNumberStride * (port - 8);
}

}  // namespace

ScreenRecord calculatedScreenRecord(CardSize card) {
  ScreenRecord record{};
  record[screenpara::kKind] = screenpara::kCalculated;
  record[screenpara::kValid] = screenpara::kValidMark;
  DWT_ENCWD(&record[screenpara::kCardWidth], card.width);
  DWT_ENCWD(&record[screenpara::kCardHeight], card.height);
  return record;
}

void storeCardCounts(const CardCounts& counts, MutableBytes table) {
  assert(table.size() == kNumberTableSize);
  for (size_t port = 0; port < counts.size(); ++port) {
    DWT_ENCWD(&table[countOffset(port)], counts[port]);
    TRACE_INFO("Weite CardNumEachPort " << static_cast<unsigned>(port) << " : addr Para: " << counts[port]);
  }
}

CardCounts storedCardCounts(Bytes table) {
  assert(table.size() == kNumberTableSize);
  CardCounts counts;
  for (size_t port = 0; port < counts.size(); ++port) counts[port] = readWord(&table[countOffset(port)]);
  return counts;
}

void writeCardCounts(const CardCounts& counts) {
  DriverUtil* const driver = DriverUtil::getInstance();
  int failed = 0;
  for (uint32_t port = 0; port < counts.size(); ++port) {
    const uint32_t address = countAddress(port);
    uint8_t count[2];
    DWT_ENCWD(count, counts[port]);
    if (const int ret = driver->FPGAC5_WriteOneWord(0, 0, address, count[0]); ret != 0) failed = ret;
    if (const int ret = driver->FPGAC5_WriteOneWord(0, 0, address + 1, count[1]); ret != 0) failed = ret;
  }
  if (failed != 0) TRACE_ERROR("=== CardNumEachPort ===write to FPGA failed! ret = " << failed);
}

int writePortTable(unsigned port, Bytes table) {
  assert(port < kPositionTablePorts && table.size() == kPositionTablePortSize);
  const uint32_t start = fpga::kPosition.address + static_cast<uint32_t>(kPositionTablePortSize) * port;
  int failed = 0;
  for (uint32_t offset = 0; offset < table.size(); offset += kPositionBlock) {
    const int ret =
        DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, start + offset, kPositionBlock, table.data() + offset);
    if (ret != 0) failed = ret;
  }
  return failed;
}

void writePortsAndRoles(const char* operation) {
  constexpr auto& area = fpga::kPortsAndRoles;
  const auto block = Data_Global::getInstance()->SendParameterReg.copy<area.length>(area.address);
  const int ret = DriverUtil::getInstance()->WriteFPGABusBlock(area.address, block.data(), area.length);
  if (ret != 0) TRACE_ERROR("=== " << operation << " ===write port para to FPGA failed! ret = " << ret);
}

void clearDisplayOffsets(const char* failure) {
  static constexpr std::array<uint8_t, 4> kZero{};
  const int ret = DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, sendpara::kOffsetX,
                                                                   static_cast<uint32_t>(kZero.size()), kZero.data());
  if (ret != 0) TRACE_ERROR(failure);
  Data_Global::getInstance()->SendParameterReg.write(sendpara::kOffsetX, kZero);
}

std::array<uint8_t, 4> publishScreenSize(uint32_t width, uint32_t height) {
  assert(width <= kLargestSide && height <= kLargestSide);
  std::array<uint8_t, 4> size;
  DWT_ENCWD(&size[0], static_cast<uint16_t>(width));
  DWT_ENCWD(&size[2], static_cast<uint16_t>(height));
  Data_Global* const global = Data_Global::getInstance();
  CMutexGuardT guard(global->m_mutex);
  global->SendParameterReg.write(sendpara::kScreenWidth, size);
  global->SendParameterReg.write(sendpara::kScreenWidthEven, size);
  return size;
}

}  // namespace TIRK_MCUC
