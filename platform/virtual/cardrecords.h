// The records of the cards' log: each changes a CardWall when it is replayed. Pure but for the wall. Not thread-safe.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "virtual/cardwall.h"
#include "virtual/links.h"

namespace vboard {

using RecordBytes = std::vector<uint8_t>;

// A chain brings its copper link with it.
RecordBytes chainRecord(unsigned port, uint16_t count, uint16_t width, uint16_t height);
RecordBytes sensorRecord(unsigned port, uint16_t board, uint8_t sensor, std::optional<uint16_t> raw);
RecordBytes writeRecord(const CardAddress& to, uint32_t address, std::span<const uint8_t> data);
RecordBytes clearRecord();
RecordBytes linksRecord(const LinkMasks& links);

// Records that make an empty wall equal to this one. What cards share is one record.
void snapshot(const CardWall& wall, const std::function<void(std::span<const uint8_t>)>& put);

// Carries records out, in the order of their log.
class CardReplay {
 public:
  explicit CardReplay(CardWall& wall) : m_wall(wall) {}
  bool apply(std::span<const uint8_t> record);        // false: it makes no sense
  const LinkMasks& links() const { return m_links; }  // the last that were recorded

 private:
  bool applySnapshot(std::span<const uint8_t> record);

  CardWall& m_wall;
  LinkMasks m_links;
  std::vector<std::shared_ptr<CardSpace::Page>> m_pages;  // of a snapshot, in order
  std::vector<CardWall::SpacePointer> m_spaces;
};

}  // namespace vboard
