#include "kadctl/wall.h"

#include <algorithm>

#include "proto/fpgamap.h"
#include "proto/screentables.h"
#include "proto/sendparameter.h"

namespace kadctl {

using namespace TIRK_MCUC;

namespace {

constexpr uint32_t kPositionSpace = 0x03000000;
constexpr uint32_t kNumberSpace = 0x03100000;
constexpr uint32_t kScreenEchoSpace = 0x02100000;
constexpr uint32_t kFpgaSpace = 0xF0000000;  // the FPGA's bytes as they are; reading them changes nothing
constexpr size_t kNumberPortLength = 32;

// Card count of a port: 0..7 from the table's start, 8 and 9 behind the common part.
size_t countOffset(unsigned port) {
  return port < 8 ? kNumberPortLength * port : 0x200 + kNumberPortLength * (port - 8);
}

// What the FPGA holds of the feature block, and the fibre words behind it.
constexpr size_t kFpgaBytes = fpga::kFiberBelowLink.address + fpga::kFiberBelowLink.length;

// Copper: link nibbles of four ports each. Fibre: a word for each optical port, bit p for port p.
bool isLinked(const std::vector<uint8_t>& fpgaBytes, unsigned port) {
  static constexpr size_t kNibbles[] = {sendpara::kCopperLink0To3, sendpara::kCopperLink4To7,
                                        sendpara::kCopperLink8To15, sendpara::kCopperLink8To15 + 1};
  const uint8_t* fibers = fpgaBytes.data() + fpga::kFiberBelowLink.address;
  return (fpgaBytes[kNibbles[port / 4]] >> (port % 4) & 1) != 0 ||
         ((readWord(fibers) | readWord(fibers + 2)) >> port & 1) != 0;
}

// What the configuration leaves out the device describes as one card at the origin. Behind a port without link, and
// below another port's card, that is no card.
void markUnused(std::array<WallPort, Wall::kPorts>& ports) {
  constexpr WallCard kOrigin{};
  const bool covered = std::any_of(ports.begin(), ports.end(), [&](const WallPort& port) {
    return port.cards.size() > 1 && std::find(port.cards.begin(), port.cards.end(), kOrigin) != port.cards.end();
  });
  for (WallPort& port : ports) {
    port.unused = covered && !port.linked && port.cards.size() == 1 && port.cards[0] == kOrigin;
  }
}

void markRepeats(std::array<WallPort, Wall::kPorts>& ports) {
  for (WallPort& port : ports) {
    for (WallPort& earlier : ports) {
      if (earlier.number >= port.number) break;
      const bool same = earlier.carries() && !port.unused && earlier.cards == port.cards && earlier.x == port.x &&
                        earlier.y == port.y;
      if (!same) continue;
      port.repeats = static_cast<int>(earlier.number);
      earlier.repeated.push_back(port.number);
      break;
    }
  }
}

}  // namespace

Wall Wall::read(BusClient& bus) {
  Wall wall;
  const auto feature = bus.read(kFpgaSpace, kFpgaBytes);
  const auto record = bus.read(kScreenEchoSpace, 15);
  const auto numbers = bus.read(kNumberSpace, kNumberTableSize);
  const auto word = [&feature](size_t at) { return int{readWord(feature.data() + at)}; };
  // An advanced configuration leaves its size in the daemon's block alone.
  const auto size = bus.read(sendpara::kRegisterBase + sendpara::kScreenWidth, 4);
  wall.width = readWord(&size[0]);
  wall.height = readWord(&size[2]);
  wall.cardWidth = readWord(record.data() + 6);
  wall.cardHeight = readWord(record.data() + 8);
  for (unsigned p = 0; p < kPorts; ++p) {
    WallPort& port = wall.ports[p];
    const size_t block = sendpara::portBlock(p);
    port.number = p;
    port.width = word(block);
    port.height = word(block + 2);
    port.x = word(block + 4);
    port.y = word(block + 6);
    port.linked = isLinked(feature, p);
    port.backup = feature[sendpara::portRole(p)] == 0x80;
    const size_t count = std::min<size_t>(readWord(numbers.data() + countOffset(p)), kPositionTableEntries);
    if (count == 0) continue;
    const auto entries =
        bus.read(kPositionSpace + static_cast<uint32_t>(kPositionTablePortSize * p), static_cast<uint16_t>(4 * count));
    for (size_t i = 0; i < count; ++i) {
      port.cards.push_back({port.x + readWord(entries.data() + 4 * i), port.y + readWord(entries.data() + 4 * i + 2)});
    }
  }
  markUnused(wall.ports);
  markRepeats(wall.ports);
  return wall;
}

bool Wall::empty() const {
  return cardCount() == 0 || cardWidth == 0 || cardHeight == 0;
}

size_t Wall::cardCount() const {
  size_t count = 0;
  for (const WallPort& port : ports) count += port.carries() ? port.cards.size() : 0;
  return count;
}

int Wall::right() const {
  int edge = 0;
  for (const WallPort& port : ports) {
    for (const WallCard& card : port.cards) edge = std::max(edge, card.x + cardWidth);
  }
  return edge;
}

int Wall::bottom() const {
  int edge = 0;
  for (const WallPort& port : ports) {
    for (const WallCard& card : port.cards) edge = std::max(edge, card.y + cardHeight);
  }
  return edge;
}

nlohmann::json Wall::toJson() const {
  nlohmann::json out{{"width", width},           {"height", height},     {"cardWidth", cardWidth},
                     {"cardHeight", cardHeight}, {"cards", cardCount()}, {"ports", nlohmann::json::array()}};
  for (const WallPort& port : ports) {
    nlohmann::json entry{{"port", port.number},      {"x", port.x},           {"y", port.y},
                         {"width", port.width},      {"height", port.height}, {"linked", port.linked},
                         {"backup", port.backup},    {"unused", port.unused}, {"cards", nlohmann::json::array()},
                         {"repeated", port.repeated}};
    if (port.repeats >= 0) entry["repeats"] = port.repeats;
    for (const WallCard& card : port.cards) entry["cards"].push_back({card.x, card.y});
    out["ports"].push_back(std::move(entry));
  }
  return out;
}

}  // namespace kadctl
