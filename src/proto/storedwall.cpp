#include "proto/storedwall.h"

#include "proto/data_common.h"
#include "proto/shortcutrecord.h"

namespace TIRK_MCUC {

namespace {

constexpr const char* kNotLaidOut = "the wall that was last requested is not laid out";
constexpr const char* kTablesDiffer = "the stored port tables are of another wall than the screen record";

CardSize cardSizeOf(const ScreenRecord& record) {
  return {readWord(&record[screenpara::kCardWidth]), readWord(&record[screenpara::kCardHeight])};
}

const char* mixtureInBasicWall(Bytes area, const ScreenRecord& record, const CardCounts& stored) {
  shortcut::BasicRecord basic{};
  std::copy_n(area.begin(), shortcut::kStoredBasic, basic.begin());
  const MosaicRequest request = shortcut::basicRequest(basic, 0);
  if (!mosaicRequestValid(request, cardSizeOf(record))) return nullptr;
  const MosaicRequest laidOut{record[screenpara::kRows], record[screenpara::kColumns],
                              readWord(&record[screenpara::kCardsPerPort]), record[screenpara::kConnectMode], 0};
  if (request != laidOut) return kNotLaidOut;
  const MosaicGeometry geometry(request, cardSizeOf(record));
  if (geometry.UsedPortNum > kDataPorts) return nullptr;
  for (unsigned port = 0; port < kDataPorts; ++port) {
    if (stored[port] != geometry.cardCount(port)) return kTablesDiffer;
  }
  return nullptr;
}

const char* mixtureInAdvancedWall(Bytes area, const CardCounts& stored) {
  const AdvancedRequest request = shortcut::advancedRequest(area);
  for (unsigned port = 0; port < kDataPorts; ++port) {
    if (stored[port] != request.rows[port] * request.columns[port]) return kNotLaidOut;
  }
  return nullptr;
}

}  // namespace

const char* mixtureInStoredWall(Bytes request, const ScreenRecord& record, Bytes numbers) {
  if (record[screenpara::kKind] != screenpara::kCalculated) return nullptr;
  const CardCounts stored = storedCardCounts(numbers);
  if (request[shortcut::kStatus] == kLedConfigBasic) return mixtureInBasicWall(request, record, stored);
  if (request[shortcut::kStatus] == kLedConfigAdvanced) return mixtureInAdvancedWall(request, stored);
  return nullptr;
}

}  // namespace TIRK_MCUC
