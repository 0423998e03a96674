#include "proto/addr_coordinatescanboardregister.h"

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/fpgamap.h"
#include "proto/mirrorrefresh.h"
#include "proto/transferspeed.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"bytes of the position table from the FPGA; at offsets 0x1EF and 0x1EE the bus is measured first, with transfers "
     "of "
     "the read's length",
     "queues a change of the position table (key 16)"}};
constexpr uint32_t kWriteTestOffset = 0x1EF;
constexpr uint32_t kReadTestOffset = 0x1EE;

constexpr QueueTexts kQueueTexts{
    "============================ Begin add PositionNetPortKey message to list===========================",
    "=== WriteToPosNetPort ===invalid data",
    "============================ Finish add PositionNetPortKey message to list==========================="};

uint32_t offsetOf(uint32_t address) {
  return address & 0xFFFFF;
}

bool measuresTheBus(uint32_t address) {
  return offsetOf(address) == kWriteTestOffset || offsetOf(address) == kReadTestOffset;
}

int speedTest(uint32_t offset, size_t length, const MirrorRefresh& mirror) {
  if (offset == kReadTestOffset) return measureTransferSpeed(TransferDirection::Read, length);
  if (offset != kWriteTestOffset) return kDone;
  if (mirror.idle()) return measureTransferSpeed(TransferDirection::Write, length);
  // It would write back what a handler is just replacing.
  TRACE_ERROR("=== WirteFromPosNetPort ===write test refused while a write is applied");
  return kRefused;
}

int readPositions(uint32_t offset, MutableBytes out) {
  const MirrorRefresh mirror;
  GuardedBytes<kPositionTableSize>& table = positionTable();
  if (Data_Global::getInstance()->memoriesUnderTest()) {
    table.read(offset, out);
    return kDone;
  }
  const int tested = speedTest(offset, out.size(), mirror);
  if (tested == kRefused) return tested;
  const int ret = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, fpga::kPosition.address + offset,
                                                                  static_cast<uint32_t>(out.size()), out.data());
  if (ret != 0) {
    TRACE_ERROR("=== ReadFromPosNetPort ===Read FPGA Posi Info failed! ret = " << ret);
    return kUnknown;
  }
  if (mirror.allowed()) table.write(offset, out);
  return tested;
}

}  // namespace

const SpaceTraits Addr_CoordinateScanBoardRegister::kTraits{.className = "Addr_CoordinateScanBoardRegister",
                                                            .baseRegisterAddr = 0x03000000,
                                                            .keyMask = 0xFFFF0000,
                                                            .docs = kDocs,
                                                            .pauses = measuresTheBus};
Fshl_cmd Addr_CoordinateScanBoardRegister::cmd_tblOffset[] = {
    registerEntry(0x03000000, "pos port", "Position of Net Port", {0, 65537}, DoPosNetPort), {}};

int Addr_CoordinateScanBoardRegister::DoPosNetPort(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromPosNetPort, WriteToPosNetPort);
}

int Addr_CoordinateScanBoardRegister::ReadFromPosNetPort(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read PosNetPort ===========================");
  const uint32_t offset = offsetOf(request->proto.m_uiRegisterUnitAddress);
  const uint32_t length = request->proto.m_usValidDataLength;
  if (offset + length > kPositionTableSize) {
    TRACE_ERROR("=== ReadFromPosNetPort ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << "len = " << length);
    return kOutsideSpace;
  }
  if (measuresTheBus(offset) && length > kTransferSpeedScratch) {
    TRACE_ERROR("=== ReadFromPosNetPort ===transfer test of more than 16384 bytes, len = " << length);
    return kBadLength;
  }
  const int result = readThrough(request, [offset](MutableBytes out) { return readPositions(offset, out); });
  if (result == kDone) TRACE_INFO("========================== Finish Read PosNetPort ==========================");
  return result;
}

int Addr_CoordinateScanBoardRegister::WriteToPosNetPort(IMD_proto3rd* request) {
  return queueWriteRecord(request, PositionNetPortKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
