#include "proto/addr_numberfuncardportregister.h"

#include <algorithm>
#include <array>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/mirrorrefresh.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {{"bytes of the 768-byte number table, from its five FPGA blocks",
                                  "queues a change of the table; the FPGA blocks that hold it are rewritten (key 17)"}};

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoNumberFunCardPortKey message to list===========================",
    "=== WriteToNumberFunCardPort ===invalid data",
    "============================ Finish add DoNumberFunCardPortKey message to list==========================="};

// Up to this many bytes only the blocks that hold them are transferred, above it all five.
constexpr size_t kFewBytes = 2;

uint32_t offsetOf(const IMD_proto3rd& request) {
  return request.proto.m_uiRegisterUnitAddress & 0xFFFF;
}

bool outside(const IMD_proto3rd& request, const char* text) {
  if (offsetOf(request) + request.proto.m_usValidDataLength <= kNumberTableSize) return false;
  TRACE_ERROR(text << hex << request.proto.m_uiRegisterUnitAddress << "len = " << request.proto.m_usValidDataLength);
  return true;
}

// Reads the blocks that `length` bytes from `offset` need into `table` and, all of them or none, into the mirror.
int readBlocks(size_t offset, size_t length, std::array<uint8_t, kNumberTableSize>& table) {
  const auto needed = [=](const NumberTableBlock& block) {
    return length > kFewBytes || (offset < block.offset + block.length && block.offset < offset + length);
  };
  const MirrorRefresh mirror;
  if (Data_Global::getInstance()->memoriesUnderTest()) {
    table = numberTable().image();
    return kDone;
  }
  for (const NumberTableBlock& block : kNumberTableBlocks) {
    if (!needed(block)) continue;
    const int ret = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(
        0, 0, block.fpgaAddress, static_cast<uint32_t>(block.length), &table[block.offset]);
    if (ret == 0) continue;
    TRACE_ERROR("=== ReadFromNumberFunCardPort ===Read FPGA NumberFunCardPort Info failed! ret = " << ret);
    return kRefused;
  }
  if (!mirror.allowed()) return kDone;
  for (const NumberTableBlock& block : kNumberTableBlocks)
    if (needed(block)) numberTable().write(block.offset, Bytes(table).subspan(block.offset, block.length));
  return kDone;
}

}  // namespace

const SpaceTraits Addr_NumberFunCardPortRegister::kTraits{.className = "Addr_NumberFunCardPortRegister",
                                                          .baseRegisterAddr = 0x03100000,
                                                          .keyMask = 0xFFFF0000,
                                                          .docs = kDocs};
Fshl_cmd Addr_NumberFunCardPortRegister::cmd_tblOffset[] = {
    registerEntry(0x03100000, "number of function card port", "number of function card port", {0, 2048},
                  DoNumberFunCardPort),
    {}};

int Addr_NumberFunCardPortRegister::DoNumberFunCardPort(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromNumberFunCardPort, WriteToNumberFunCardPort);
}

int Addr_NumberFunCardPortRegister::ReadFromNumberFunCardPort(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read NumberFunCardPort ===========================");
  if (outside(*request, "=== ReadFromNumberFunCardPort ===Invalid addr+len, return! address = ")) return kOutsideSpace;
  const int result = readThrough(request, [offset = offsetOf(*request)](MutableBytes out) {
    std::array<uint8_t, kNumberTableSize> table{};
    if (const int ret = readBlocks(offset, out.size(), table); ret != kDone) return ret;
    std::copy_n(&table[offset], out.size(), out.begin());
    return int{kDone};
  });
  if (result == kDone)
    TRACE_INFO("========================== Finish Read NumberFunCardPort ==========================");
  return result;
}

int Addr_NumberFunCardPortRegister::WriteToNumberFunCardPort(IMD_proto3rd* request) {
  if (outside(*request, "=== WriteToNumberFunCardPort ===Invalid addr+len, return! address = ")) return kOutsideSpace;
  return queueWriteRecord(request, DoNumberFunCardPortKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
