// The mosaic calculation: from rows, columns, cards per port and connect mode to everything that the FPGA needs to
// drive such a screen.
#include <algorithm>
#include <cstdio>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/cardregisters.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/screenwriters.h"

namespace TIRK_MCUC {

namespace {

constexpr uint16_t kDefaultSide = 128;  // pixels, of a screen whose size is not known

using Roles = std::array<uint8_t, sendpara::kOutputPorts>;

ScreenRecord screenRecord(const MosaicGeometry& geometry) {
  ScreenRecord record = calculatedScreenRecord(geometry.card);
  record[screenpara::kRows] = static_cast<uint8_t>(geometry.request.rows);
  record[screenpara::kColumns] = static_cast<uint8_t>(geometry.request.columns);
  record[screenpara::kConnectMode] = geometry.request.connectMode;
  DWT_ENCWD(&record[screenpara::kCardsPerPort], geometry.request.cards);
  return record;
}

uint8_t deviceRole(const MosaicRequest& request) {
  return request.masterSlave != 0 ? kRoleBackup : uint8_t{0};
}

// Spare ports that have a link stand by for the port that they repeat.
Roles portRoles(const Data_Global& global, const MosaicGeometry& geometry) {
  Roles roles;
  roles.fill(deviceRole(geometry.request));
  if (global.NormalBackupStatus == 0) return roles;
  const uint16_t linked = global.GigaPhyLinkSta;
  for (unsigned port = geometry.UsedPortNum; port < kDataPorts; ++port) {
    if ((linked >> port & 1) != 0) roles[port] = kRoleBackup;
  }
  return roles;
}

// Everything that the calculation changes in the two register mirrors, as one unit.
void publishLayout(Data_Global& global, const MosaicGeometry& geometry, const ScreenRecord& record,
                   const Roles& roles) {
  CMutexGuardT guard(global.m_mutex);
  auto& block = global.SendParameterReg;
  block.setWord(sendpara::kScreenWidthEven, evenWidth(geometry.screenWidth()));
  block.setWord(sendpara::kScreenHeightDvi, geometry.screenHeight());
  block.setWord(sendpara::kScreenWidthExact, geometry.screenWidth());
  block.setByte(sendpara::kReported4A, 0);
  for (uint8_t port = 0; port < kDataPorts; ++port) {
    const PortRegion region = geometry.portRegion(port);
    global.PortWidthUpdate(port, region.width);
    global.PortHeightUpdate(port, region.height);
    global.PortOffsetXUpdate(port, region.x);
    global.PortOffsetYUpdate(port, region.y);
  }
  // More ports than tables end the calculation before it comes to the roles.
  if (geometry.UsedPortNum <= kDataPorts) {
    for (uint8_t port = 0; port < sendpara::kOutputPorts; ++port) global.PortMorSUpdate(port, roles[port]);
  }
  global.ScreenParaReg.write(0, record);
}

void saveScreenRecord(const ScreenRecord& record) {
  const int driverRet =
      DriverUtil::getInstance()->WriteDataToFlash(flash::kScreenRecord.address, kScreenRecordLength, record.data());
  if (driverRet != 0) {
    TRACE_ERROR("=== CalculateParaOfSenderInMosaicMode ===write 02100001 to flash failed. driverRet = " << driverRet);
    return;
  }
  for (unsigned i = 0; i < record.size(); ++i) TRACE_INFO("=== ScreenParaReg[" << i << "] = " << record[i]);
}

void logGeometry(const MosaicGeometry& geometry) {
  const char* const direction = linesAreRows(geometry.request.connectMode) ? "horizontal" : "vertical";
  TRACE_INFO(direction << " line: RowOrColInOnePort = " << geometry.RowOrColInOnePort
                       << " CardNumofOneCable = " << geometry.CardNumofOneCable);
  TRACE_INFO(" line: UsedPortNum = " << geometry.UsedPortNum
                                     << " LastPortRowOrColInOnePort = " << geometry.LastPortRowOrColInOnePort);
  TRACE_INFO(" line: PortWidth = " << geometry.PortWidth << " PortHeight = " << geometry.PortHeight);
  TRACE_INFO(" line: PortOffsetX = " << geometry.PortOffsetX << " PortOffsetY = " << geometry.PortOffsetY);
  TRACE_INFO(" line: LastPortWidth = " << geometry.LastPortWidth << " LastPortHeight = " << geometry.LastPortHeight);
  TRACE_INFO("The used port number = " << geometry.UsedPortNum << " connect mode = " << geometry.request.connectMode);
}

// The part of the number table that does not hold card counts stays what the FPGA has; while the self-test has its
// patterns there, what the mirror has.
void refreshNumberTable(std::array<uint8_t, kNumberTableSize>& table) {
  if (Data_Global::getInstance()->memoriesUnderTest()) return;
  for (const auto& block : kNumberTableBlocks) {
    if (block.fpgaAddress == fpga::kNumberCommon.address || block.fpgaAddress == fpga::kNumber12To15.address) continue;
    std::array<uint8_t, fpga::kNumber0To3.length> current{};
    const int ret = DriverUtil::getInstance()->FPGAC5_ReadDataBlock(
        0, 0, block.fpgaAddress, static_cast<uint32_t>(current.size()), current.data());
    if (ret == 0) {
      std::copy(current.begin(), current.end(), table.begin() + static_cast<std::ptrdiff_t>(block.offset));
    } else {
      TRACE_ERROR("=== CalculateParaOfSenderInMosaicMode ===read number para from FPGA failed! ret = " << ret);
    }
  }
}

void calculateNumbers(const MosaicGeometry& geometry) {
  CardCounts counts;
  for (unsigned port = 0; port < kDataPorts; ++port) counts[port] = geometry.cardCount(port);
  TRACE_INFO("========================= Begin calculate number para ===========================");
  auto table = numberTable().image();
  refreshNumberTable(table);
  storeCardCounts(counts, table);
  numberTable().write(0, table);
  writeCardCounts(counts);
  TRACE_INFO("========================= Finish calculate number para ==========================");
}

// The tables of the used ports, as far as there is room.
void calculateUsedTables(const MosaicGeometry& geometry, std::array<uint8_t, kPositionTableSize>& table) {
  const bool rowLines = linesAreRows(geometry.request.connectMode);
  std::array<CardPosition, kPortTableEntries> cards;
  const unsigned ports = std::min<unsigned>(geometry.UsedPortNum, kDataPorts);
  for (unsigned k = 0; k < ports; ++k) {
    const uint32_t rows = rowLines ? geometry.lineCount(k) : geometry.request.rows;
    const uint32_t columns = rowLines ? geometry.request.columns : geometry.lineCount(k);
    const std::span<CardPosition> list(cards.data(), size_t{rows} * columns);
    wirePort(geometry.request.connectMode, rows, columns, geometry.card, list);
    encodePortTable(list, MutableBytes(table).subspan(k * kPositionTablePortSize, kPositionTablePortSize));
  }
}

void repeatUsedTables(const MosaicGeometry& geometry, std::array<uint8_t, kPositionTableSize>& table) {
  const auto at = [&table](unsigned port) {
    return table.begin() + static_cast<std::ptrdiff_t>(port * kPositionTablePortSize);
  };
  for (unsigned port = geometry.UsedPortNum; port < kDataPorts; ++port) {
    std::copy_n(at(geometry.group(port)), kPositionTablePortSize, at(port));
  }
  char line[40];
  std::snprintf(line, sizeof line, "cacl 0x3000000 0x%02X end", geometry.UsedPortNum);
  TRACE_INFO(line);
}

// False when the screen uses more ports than there are tables.
bool calculatePositions(const MosaicGeometry& geometry) {
  TRACE_INFO("========================= Begin calculate position para =========================");
  auto table = positionTable().image();  // what the lists leave at a table's end stays
  calculateUsedTables(geometry, table);
  if (geometry.UsedPortNum > kDataPorts) {
    positionTable().write(0, table);
    TRACE_ERROR("ERROR:$$PortsTopoPara$$ out of memory!!!");
    TRACE_ERROR("k = " << kDataPorts << " i = " << 0 << " j = " << 0);
    return false;
  }
  if (geometry.request.connectMode == 1) TRACE_INFO("left up, v end...");
  if (geometry.request.connectMode == 7) TRACE_INFO("right down, h end...");
  repeatUsedTables(geometry, table);
  positionTable().write(0, table);
  for (unsigned port = 0; port < kDataPorts; ++port) {
    const int ret = writePortTable(port, Bytes(table).subspan(port * kPositionTablePortSize, kPositionTablePortSize));
    if (ret != 0) {
      TRACE_ERROR("=== CalculateParaOfSenderInMosaicMode ===write position para of port "
                  << port << " to FPGA failed! ret = " << ret);
    }
  }
  TRACE_INFO("======================== Finish calculate position para =========================");
  return true;
}

// The device's role, which spare ports may differ from.
void logRole(uint8_t role) {
  TRACE_INFO("========================= Begin calculate SlaveOrMaster para =========================");
  for (unsigned i = 0; i < 4; ++i) {
    TRACE_INFO("MasterSlaveVal 0x" << hex << static_cast<int>(sendpara::portRole(i)) << ": 0x" << hex << int{role});
  }
  TRACE_INFO("======================== Finish calculate SlaveOrMaster para =========================");
}

// False when the calculation ends here.
bool layOutScreen(Data_Global& global, const MosaicGeometry& geometry) {
  const ScreenRecord record = screenRecord(geometry);
  const Roles roles = portRoles(global, geometry);
  publishLayout(global, geometry, record, roles);
  saveScreenRecord(record);
  logGeometry(geometry);
  TRACE_INFO("======================== Begin calculate Port X or Y ============================");
  TRACE_INFO("======================== Finish calculate Port X or Y ===========================");
  calculateNumbers(geometry);
  if (!calculatePositions(geometry)) return false;
  logRole(deviceRole(geometry.request));
  return true;
}

// The first port 0..9 that can be asked, or kDataPorts.
unsigned firstLinkedPort(bool anyPort, unsigned linked) {
  for (unsigned port = 0; port < kDataPorts; ++port) {
    if (anyPort || (linked >> port & 1U) != 0) return port;
  }
  return kDataPorts;
}

}  // namespace

void Data_Global::CalculateParaOfSenderInMosaicMode(const MosaicRequest& request) {
  TRACE_INFO("=================== Begin CalculateParaOfSenderInMosaicMode ====================");
  const CardSize card = cardSize();
  if (!mosaicRequestValid(request, card)) {
    TRACE_ERROR("=== CalculateParaOfSenderInMosaicMode ===Invalid Parameter! "
                << "Row = " << request.rows << " Col = " << request.columns << " Num = " << request.cards
                << " connect mode = " << request.connectMode << " card = " << card.width << " x " << card.height);
  } else if (!layOutScreen(*this, MosaicGeometry(request, card))) {
    return;
  }
  SendParameterReg.setByte(sendpara::kCopperLink4To7, 0);
  writePortsAndRoles("CalculateParaOfSenderInMosaicMode");
  SaveParaToFlash(1);
  TRACE_INFO("=================== Finish CalculateParaOfSenderInMosaicMode ====================");
}

void Data_Global::CalculateParaGetSreenSize(const MosaicRequest& request) {
  const CardSize card = cardSize();
  uint32_t width = uint32_t{card.width} * request.columns;
  uint32_t height = uint32_t{card.height} * request.rows;
  if (width > kLargestSide || height > kLargestSide) {
    TRACE_ERROR("=== CalculateParaGetSreenSize ===screen too large: " << width << " x " << height);
    return;
  }
  clearDisplayOffsets("=== CalculateParaGetSreenSize ===Clear XY_Offset failed! When smart LED configure.");
  TRACE_INFO("===============================Storage Dvi Wide calc===================================");
  TRACE_INFO("DviWidth = " << width << " DviHeight = " << height);
  if (width == 0 || height == 0) {
    width = height = kDefaultSide;
    TRACE_INFO(" Change Kadrend Card : DVI_Width =" << width << "; DVI_Height =" << height);
  }
  writeScreenSizeToFlash(width, height);
  countScreenConfiguration();
  const auto size = publishScreenSize(width, height);
  DebugForScreenZero(7, 0, "CalculateParaGetSreenSize, calc screen!!");
  SaveParaToFlash(1);
  const int ret = DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, sendpara::kScreenWidth,
                                                                   static_cast<uint32_t>(size.size()), size.data());
  if (ret != 0) {
    TRACE_ERROR("=== CalculateParaGetSreenSize ===\n Write 0200_01EC to FPGA failed !!! ret = " << ret);
  }
}

int Data_Global::GetRecvCardSize_EnvNew() {
  TRACE_INFO("=========================== Begin GetRecvCardSize_Env =========================");
  const unsigned copper = GigaPhyLinkSta;
  const unsigned fiber = unsigned{Fiber1BelowLinkStatus_buff} | unsigned{Fiber2BelowLinkStatus_buff};
  DriverUtil* const driver = DriverUtil::getInstance();
  const uint8_t optical = driver->FPGAC5_ReadOneWord(0, 0, sendpara::kFiberLink);
  OptModuleLinkSta = optical;
  TRACE_INFO("Detect Opt link status = " << optical);
  const bool opticalUp = (optical & 0xA0) != 0 && (optical & 0x0F) != 0;
  if (!opticalUp && (copper | fiber) == 0) {
    setCardSize(kDefaultCardSize);
    TRACE_INFO("=========================== Finish GetRecvCardSize_Env =========================");
    return -1;
  }
  const unsigned port = firstLinkedPort(opticalUp, copper | fiber);
  if (port == kDataPorts) return -1;  // only ports without a table are linked
  std::array<uint8_t, 4> answer{};
  const int ret = driver->ReadCardPara(kCardSizeRegister, port, uint16_t{0}, uint16_t{4}, answer.data(), RecvCard);
  if (ret != 0) {
    setCardSize(kDefaultCardSize);
    TRACE_ERROR("=== Read receive card failed, return ====");
    return -1;
  }
  const CardSize size{readWord(&answer[0]), readWord(&answer[2])};
  if (size.width == 0 || size.height == 0) {
    TRACE_ERROR("=== Read receive card Fail, ReceiveCardWidth&Height 0 ====");
    return -1;
  }
  setCardSize(size);
  TRACE_INFO("=== Read receive card OK, ReceiveCardWidth= " << size.width << " ReceiveCardHeight= " << size.height);
  return 0;
}

}  // namespace TIRK_MCUC
