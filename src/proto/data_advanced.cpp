// The advanced configuration: every output port described by itself, without grouping or repetition.
#include <algorithm>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/screenwriters.h"

namespace TIRK_MCUC {

namespace {

constexpr int kInvalidPorts = static_cast<int>(0x80005011);

struct PortSizes {
  std::array<uint16_t, kDataPorts> width;
  std::array<uint16_t, kDataPorts> height;
  uint16_t widest;
  uint16_t highest;
};

PortSizes portSizes(const AdvancedRequest& request, CardSize card) {
  PortSizes sizes{};
  for (unsigned p = 0; p < kDataPorts; ++p) {
    sizes.width[p] = static_cast<uint16_t>(request.columns[p] * card.width);
    sizes.height[p] = static_cast<uint16_t>(request.rows[p] * card.height);
    sizes.widest = std::max(sizes.widest, sizes.width[p]);
    sizes.highest = std::max(sizes.highest, sizes.height[p]);
    TRACE_INFO("TempPortRightBorder: " << request.x[p] + sizes.width[p]
                                       << " TempPortBottomBorder: " << request.y[p] + sizes.height[p]);
  }
  return sizes;
}

// Everything that the calculation changes in the two register mirrors, as one unit.
void publishPorts(Data_Global& global, const AdvancedRequest& request, const PortSizes& sizes,
                  const ScreenRecord& record) {
  CMutexGuardT guard(global.m_mutex);
  auto& block = global.SendParameterReg;
  block.setWord(sendpara::kScreenWidthEven, evenWidth(sizes.widest));
  block.setWord(sendpara::kScreenHeightDvi, sizes.highest);
  block.setWord(sendpara::kScreenWidthExact, sizes.widest);
  block.setByte(sendpara::kReported4A, 0);
  for (uint8_t port = 0; port < kDataPorts; ++port) {
    global.PortWidthUpdate(port, sizes.width[port]);
    global.PortHeightUpdate(port, sizes.height[port]);
    global.PortOffsetXUpdate(port, request.x[port]);
    global.PortOffsetYUpdate(port, request.y[port]);
  }
  global.ScreenParaReg.write(0, record);
}

void calculateNumbers(const AdvancedRequest& request) {
  CardCounts counts;
  for (unsigned p = 0; p < kDataPorts; ++p) {
    counts[p] = static_cast<uint16_t>(request.rows[p] * request.columns[p]);
  }
  TRACE_INFO("========================= Begin calculate number para ===========================");
  auto table = numberTable().image();
  storeCardCounts(counts, table);
  numberTable().write(0, table);
  writeCardCounts(counts);
  TRACE_INFO("========================= Finish calculate number para ==========================");
}

// Requires a port below 10, a connect mode 0..7 and sizes that keep within 16 bits.
void layOutPort(uint8_t connectMode, unsigned port, uint32_t rows, uint32_t columns, CardSize card) {
  const uint32_t cards = rows * columns;
  const uint32_t n = std::max(cards, 1U);
  TRACE_INFO("CasMode " << connectMode << " RepTimes = " << kPortTableEntries / n << " n = " << n << " rows = " << rows
                        << " columns = " << columns);
  auto table = positionTable().copy<kPositionTablePortSize>(port * kPositionTablePortSize);
  if (cards != 0 && cards <= kPortTableEntries) {
    std::array<CardPosition, kPortTableEntries> positions;
    const std::span<CardPosition> list(positions.data(), cards);
    wirePort(connectMode, rows, columns, card, list);
    encodePortTable(list, table);
    positionTable().write(port * kPositionTablePortSize, table);
  }
  TRACE_INFO("ReceiveCardWidth = " << card.width << " ReceiveCardHeight = " << card.height);
  if (const int ret = writePortTable(port, table); ret != 0) {
    TRACE_ERROR("=== AdvCordinateCalc ===write position para of port " << port << " to FPGA failed! ret = " << ret);
  }
}

}  // namespace

bool Data_Global::advancedWithinLimits(const AdvancedRequest& request, CardSize card) {
  const AdvancedVerdict verdict = judgeAdvanced(request, card);
  if (verdict.valid()) return true;
  TRACE_ERROR("=== AdvCalcParaOfSenderInMosaicMode ===PortParaInvalid: total card num = "
              << verdict.totalCards << " port para = " << int{!verdict.portsValid});
  return false;
}

void Data_Global::AdvCalcParaGetSreenSize(const AdvancedRequest& request) {
  const CardSize card = cardSize();
  uint32_t width = 0;
  uint32_t height = 0;
  for (unsigned p = 0; p < kDataPorts; ++p) {
    const uint64_t right = request.x[p] + uint64_t{request.columns[p]} * card.width;
    const uint64_t bottom = request.y[p] + uint64_t{request.rows[p]} * card.height;
    if (right > kLargestSide || bottom > kLargestSide) {
      TRACE_ERROR("=== AdvCalcParaGetSreenSize ===port " << p << " leaves the largest screen");
      return;
    }
    width = std::max(width, static_cast<uint32_t>(right));
    height = std::max(height, static_cast<uint32_t>(bottom));
  }
  clearDisplayOffsets("=== AdvCalcParaGetSreenSize ===Clear XY_Offset failed! When Advanced LED configure ! ");
  TRACE_INFO("Advanced LED configure: ReceiveCardWidth = " << card.width << " ReceiveCardHeight = " << card.height);
  publishScreenSize(width, height);
  DebugForScreenZero(8, 0, "AdvCalcParaGetSreenSize, ADV calc screen!!");
  SaveParaToFlash(1);
  TRACE_INFO("===============================Storage Dvi Wide ADVcalc===================================");
  ChangeOutScreenPara(width, height);
}

int Data_Global::AdvCalcParaOfSenderInMosaicMode(const AdvancedRequest& request) {
  TRACE_INFO("===================== Begin Calculate Advanced LED configure =======================");
  if (!advancedWithinLimits(request, cardSize())) return kInvalidPorts;
  TRACE_INFO("=========================== Ready GetRecvCardSize_Env =========================");
  GetRecvCardSize_EnvNew();
  const CardSize card = cardSize();
  TRACE_INFO("ReceiveCardWidth = " << card.width << " ReceiveCardHeight = " << card.height);
  if (!advancedWithinLimits(request, card)) return kInvalidPorts;  // larger cards may leave the largest screen

  const PortSizes sizes = portSizes(request, card);
  const ScreenRecord record = calculatedScreenRecord(card);
  publishPorts(*this, request, sizes, record);
  const int driverRet =
      DriverUtil::getInstance()->WriteDataToFlash(flash::kScreenRecord.address, kScreenRecordLength, record.data());
  if (driverRet != 0) {
    TRACE_ERROR("=== AdvCalcParaOfSenderInMosaicMode ===write 02100001 to flash failed. driverRet = " << driverRet);
  }
  calculateNumbers(request);
  for (unsigned p = 0; p < kDataPorts; ++p) {
    layOutPort(request.connectMode[p], p, request.rows[p], request.columns[p], card);
  }
  SendMasterOrBackup(PbufMorSMode);
  writePortsAndRoles("AdvCalcParaOfSenderInMosaicMode");
  SaveParaToFlash(1);
  TRACE_INFO("===================== Finish Calculate Advanced LED configure ======================");
  return 0;
}

int Data_Global::AdvCordinateCalc(uint8_t, uint8_t connectMode, uint8_t port, uint16_t, uint16_t, uint16_t rows,
                                  uint16_t columns) {
  const CardSize card = cardSize();
  if (port >= kDataPorts || connectMode >= kConnectModes || uint64_t{columns} * card.width > kLargestSide ||
      uint64_t{rows} * card.height > kLargestSide) {
    TRACE_ERROR("=== AdvCordinateCalc ===invalid port para: port = " << port << " CasMode " << connectMode);
    return kInvalidPorts;
  }
  layOutPort(connectMode, port, rows, columns, card);
  return 0;
}

}  // namespace TIRK_MCUC
