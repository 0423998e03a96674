// The geometry of mosaic screens: properties over many random requests, and the cases that are easy to get wrong.
#include "proto/mosaicgeometry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <set>
#include <vector>

namespace TIRK_MCUC {
namespace {

using ::testing::ElementsAre;

using Table = std::vector<uint8_t>;

struct Screen {
  MosaicRequest request;
  CardSize card;
};

std::ostream& operator<<(std::ostream& out, const Screen& s) {
  return out << s.request.rows << " x " << s.request.columns << ", " << s.request.cards << " a port, mode "
             << int{s.request.connectMode} << ", cards " << s.card.width << " x " << s.card.height;
}

std::vector<CardPosition> wired(uint8_t mode, uint32_t rows, uint32_t columns, CardSize card) {
  std::vector<CardPosition> out(rows * columns);
  wirePort(mode, rows, columns, card, out);
  return out;
}

// The cards of a port of the screen, relative to its region.
std::vector<CardPosition> portCards(const MosaicGeometry& g, unsigned port) {
  const bool rowLines = linesAreRows(g.request.connectMode);
  return wired(g.request.connectMode, rowLines ? g.lineCount(port) : g.request.rows,
               rowLines ? g.request.columns : g.lineCount(port), g.card);
}

std::vector<Screen> randomScreens(size_t count) {
  std::mt19937 random(20240513);
  const auto pick = [&random](unsigned low, unsigned high) {
    return std::uniform_int_distribution<unsigned>(low, high)(random);
  };
  std::vector<Screen> screens;
  while (screens.size() < count) {
    const unsigned rows = pick(1, 40), columns = pick(1, 40), grid = rows * columns;
    const unsigned cards = pick((grid + 15) / 16, grid);
    const Screen screen{{static_cast<uint16_t>(rows), static_cast<uint16_t>(columns), static_cast<uint16_t>(cards),
                         static_cast<uint8_t>(pick(0, 7)), 0},
                        {static_cast<uint16_t>(pick(1, 1024)), static_cast<uint16_t>(pick(1, 1024))}};
    if (mosaicRequestValid(screen.request, screen.card)) screens.push_back(screen);
  }
  return screens;
}

// Two cards side by side or one above the other.
bool adjacent(const CardPosition& a, const CardPosition& b, CardSize card) {
  const int dx = std::abs(a.x - b.x), dy = std::abs(a.y - b.y);
  return (dx == card.width && dy == 0) || (dx == 0 && dy == card.height);
}

TEST(MosaicGeometry, EveryCardOfTheGridHangsOnExactlyOneUsedPortBesideTheOneBefore) {
  for (const Screen& screen : randomScreens(3000)) {
    const MosaicGeometry g(screen.request, screen.card);
    if (g.UsedPortNum > kDataPorts) continue;
    std::set<std::pair<unsigned, unsigned>> placed;
    size_t cards = 0;
    for (unsigned port = 0; port < g.UsedPortNum; ++port) {
      const PortRegion region = g.portRegion(port);
      ASSERT_LE(region.x + (g.isLast(port) && g.LastPortWidth ? g.LastPortWidth : region.width), g.screenWidth())
          << screen;
      ASSERT_LE(region.y + (g.isLast(port) && g.LastPortHeight ? g.LastPortHeight : region.height), g.screenHeight())
          << screen;
      const auto chain = portCards(g, port);
      ASSERT_EQ(chain.size(), g.cardCount(port)) << screen;
      for (size_t i = 1; i < chain.size(); ++i) ASSERT_TRUE(adjacent(chain[i - 1], chain[i], screen.card)) << screen;
      for (const CardPosition& position : chain) {
        ASSERT_LE(position.x + screen.card.width, region.width) << screen;
        ASSERT_LE(position.y + screen.card.height, region.height) << screen;
        const unsigned x = region.x + position.x, y = region.y + position.y;
        ASSERT_EQ(x % screen.card.width, 0U) << screen;
        ASSERT_EQ(y % screen.card.height, 0U) << screen;
        placed.insert({x / screen.card.width, y / screen.card.height});
        ++cards;
      }
    }
    const size_t grid = size_t{screen.request.rows} * screen.request.columns;
    EXPECT_EQ(cards, grid) << screen;
    EXPECT_EQ(placed.size(), grid) << screen;
    EXPECT_LT(placed.rbegin()->first, screen.request.columns) << screen;
  }
}

TEST(MosaicGeometry, TheListRepeatsAsOftenAsItFitsAndLeavesTheRest) {
  for (const uint32_t cards : {1U, 2U, 3U, 7U, 340U, 512U, 513U, 1023U, 1024U}) {
    std::vector<CardPosition> list(cards);
    for (uint32_t i = 0; i < cards; ++i) {
      list[i] = {static_cast<uint16_t>(i * 51), static_cast<uint16_t>(65535 - i * 17)};
    }
    Table table(4096, 0xEE);
    encodePortTable(list, table);
    const size_t repeats = 1024 / cards;
    for (size_t entry = 0; entry < 1024; ++entry) {
      const uint8_t* at = &table[4 * entry];
      if (entry < repeats * cards) {
        ASSERT_EQ(readWord(at), list[entry % cards].x) << cards << " cards, entry " << entry;
        ASSERT_EQ(readWord(at + 2), list[entry % cards].y) << cards << " cards, entry " << entry;
      } else {
        ASSERT_EQ(readDword(at), 0xEEEEEEEE) << cards << " cards, entry " << entry;
      }
    }
  }
  Table untouched(4096, 0xEE);
  encodePortTable({}, untouched);
  encodePortTable(std::vector<CardPosition>(1025), untouched);
  EXPECT_EQ(untouched, Table(4096, 0xEE));
}

TEST(MosaicGeometry, EachModeStartsAtItsCornerAndRunsItsWay) {
  const std::pair<uint8_t, std::vector<CardPosition>> cases[] = {
      // of 2 rows x 3 columns of 10 x 20 pixels
      {0, {{0, 0}, {10, 0}, {20, 0}, {20, 20}, {10, 20}, {0, 20}}},
      {1, {{0, 0}, {0, 20}, {10, 20}, {10, 0}, {20, 0}, {20, 20}}},
      {2, {{20, 0}, {10, 0}, {0, 0}, {0, 20}, {10, 20}, {20, 20}}},
      {3, {{20, 0}, {20, 20}, {10, 20}, {10, 0}, {0, 0}, {0, 20}}},
      {4, {{0, 20}, {10, 20}, {20, 20}, {20, 0}, {10, 0}, {0, 0}}},
      {5, {{0, 20}, {0, 0}, {10, 0}, {10, 20}, {20, 20}, {20, 0}}},
      {6, {{20, 20}, {10, 20}, {0, 20}, {0, 0}, {10, 0}, {20, 0}}},
      {7, {{20, 20}, {20, 0}, {10, 0}, {10, 20}, {0, 20}, {0, 0}}},
  };
  for (const auto& [mode, wiring] : cases) EXPECT_EQ(wired(mode, 2, 3, {10, 20}), wiring) << "mode " << int{mode};
}

TEST(MosaicGeometry, WhatCannotBeLaidOutIsInvalid) {
  const CardSize card{128, 128};
  struct Case {
    const char* what;
    MosaicRequest request;
    CardSize card;
    bool valid;
  };
  const Case cases[] = {
      {"no rows", {0, 4, 4, 0, 0}, card, false},
      {"no columns", {4, 0, 4, 0, 0}, card, false},
      {"no cards", {4, 4, 0, 0, 0}, card, false},
      {"mode 8", {4, 4, 4, 8, 0}, card, false},
      {"M as large as the grid", {4, 4, 16, 0, 0}, card, true},
      {"M beyond the grid", {4, 4, 17, 0, 0}, card, false},
      {"16 M just enough", {16, 10, 10, 0, 0}, card, true},
      {"16 M too small", {23, 7, 10, 0, 0}, card, false},
      {"no width", {4, 4, 4, 0, 0}, {0, 128}, false},
      {"no height", {4, 4, 4, 0, 0}, {128, 0}, false},
      {"widest", {1, 5, 5, 0, 0}, {13107, 1}, true},
      {"too wide", {1, 5, 5, 0, 0}, {13108, 1}, false},
      {"highest", {5, 1, 5, 0, 0}, {1, 13107}, true},
      {"too high", {5, 1, 5, 0, 0}, {1, 13108}, false},
      {"1024 on a port", {32, 32, 1024, 0, 0}, {64, 64}, true},
      {"1025 on a port", {25, 41, 1025, 0, 0}, {64, 64}, false},
      {"a line more than 1024", {41, 26, 1015, 0, 0}, {64, 64}, false},
      {"products beyond 32 bits", {65535, 65535, 65535, 0, 0}, {65535, 65535}, false},
  };
  for (const Case& c : cases) EXPECT_EQ(mosaicRequestValid(c.request, c.card), c.valid) << c.what;
}

TEST(MosaicGeometry, WidthIsRoundedUpToEvenWithinItsRegister) {
  for (const auto& [width, even] : {std::pair{0, 0}, {767, 768}, {768, 768}, {65533, 65534}, {65535, 65534}})
    EXPECT_EQ(evenWidth(static_cast<uint16_t>(width)), even);
}

TEST(AdvancedLimits, CardsAPortCardsInAllModesAndBorders) {
  struct Port {
    uint16_t rows = 1, columns = 1;
    uint8_t mode = 0;
    uint16_t x = 0, y = 0;
  };
  const struct {
    const char* what;
    Port port, others;
    bool portValid, valid;
  } cases[] = {
      {"2040 in all", {12, 17}, {12, 17}, true, true},
      {"2050 in all", {5, 41}, {5, 41}, true, false},
      {"a total beyond 32 bits", {65535, 65535}, {65535, 65535}, false, false},
      {"512 on a port", {16, 32}, {}, true, true},
      {"528 on a port", {16, 33}, {}, false, false},
      {"no such mode", {1, 1, 8}, {}, false, false},
      {"borders at 65 535", {1, 1, 0, 65535 - 64, 65535 - 32}, {}, true, true},
      {"bottom border beyond", {1, 1, 0, 0, 65535 - 31}, {}, false, false},
      {"right border beyond", {1, 1, 0, 65535 - 63, 0}, {}, false, false},
  };
  for (const auto& c : cases) {
    AdvancedRequest request;
    for (size_t i = 0; i < request.rows.size(); ++i) {
      const Port& port = i == 9 ? c.port : c.others;
      request.rows[i] = port.rows, request.columns[i] = port.columns, request.connectMode[i] = port.mode;
      request.x[i] = port.x, request.y[i] = port.y;
    }
    const auto verdict = judgeAdvanced(request, {64, 32});
    EXPECT_EQ(verdict.portsValid, c.portValid) << c.what;
    EXPECT_EQ(verdict.valid(), c.valid) << c.what;
  }
}

}  // namespace
}  // namespace TIRK_MCUC
