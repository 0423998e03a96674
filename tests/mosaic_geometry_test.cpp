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

TEST(MosaicGeometry, EveryCardOfTheGridHangsOnExactlyOneUsedPort) {
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
      for (const CardPosition& position : portCards(g, port)) {
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

TEST(MosaicGeometry, NeighboursInAChainAreNeighboursOnTheWall) {
  for (const Screen& screen : randomScreens(1000)) {
    const MosaicGeometry g(screen.request, screen.card);
    for (unsigned port : {0U, g.UsedPortNum - 1}) {
      const auto cards = portCards(g, port);
      ASSERT_EQ(cards.size(), g.cardCount(port)) << screen;
      for (size_t i = 1; i < cards.size(); ++i) ASSERT_TRUE(adjacent(cards[i - 1], cards[i], screen.card)) << screen;
    }
  }
}

TEST(MosaicGeometry, AFullPortHoldsAtLeastTheCardsAskedForAndNoMoreThanALineBeyond) {
  for (const Screen& screen : randomScreens(1000)) {
    const MosaicGeometry g(screen.request, screen.card);
    const unsigned line = linesAreRows(screen.request.connectMode) ? screen.request.columns : screen.request.rows;
    EXPECT_GE(g.CardNumofOneCable, screen.request.cards) << screen;
    EXPECT_LT(g.CardNumofOneCable, screen.request.cards + line) << screen;
    EXPECT_GE(g.LastPortCardNumofOneCable, line) << screen;
    EXPECT_LE(g.LastPortCardNumofOneCable, g.CardNumofOneCable) << screen;
    EXPECT_LE(g.UsedPortNum, 16U) << screen;
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

// 4 x 6 cards of 128 x 128, 10 a port, rows from the top left.
TEST(MosaicGeometry, WorkedExample) {
  const MosaicGeometry g({4, 6, 10, 0, 0}, {128, 128});
  EXPECT_EQ(g.RowOrColInOnePort, 2U);
  EXPECT_EQ(g.CardNumofOneCable, 12U);
  EXPECT_EQ(g.UsedPortNum, 2U);
  EXPECT_EQ(g.LastPortRowOrColInOnePort, 2U);
  EXPECT_EQ(g.LastPortCardNumofOneCable, 12U);
  EXPECT_EQ(g.PortOffsetX, 0);
  EXPECT_EQ(g.PortOffsetY, 256);
  for (unsigned port = 0; port < kDataPorts; ++port) {
    EXPECT_EQ(g.portRegion(port), (PortRegion{0, static_cast<uint16_t>(port % 2 * 256), 768, 256})) << port;
    EXPECT_EQ(g.cardCount(port), 12) << port;
  }
  Table table(4096, 0xEE);
  encodePortTable(portCards(g, 0), table);
  const Table firstLists = {
      0x00, 0x00, 0,    0, 0x80, 0x00, 0,    0, 0x00, 0x01, 0,    0, 0x80, 0x01, 0,    0,
      0x00, 0x02, 0,    0, 0x80, 0x02, 0,    0, 0x80, 0x02, 0x80, 0, 0x00, 0x02, 0x80, 0,
      0x80, 0x01, 0x80, 0, 0x00, 0x01, 0x80, 0, 0x80, 0x00, 0x80, 0, 0x00, 0x00, 0x80, 0,
  };
  for (size_t repeat = 0; repeat < 85; ++repeat) {
    ASSERT_TRUE(std::equal(firstLists.begin(), firstLists.end(), table.begin() + static_cast<long>(48 * repeat)));
  }
  EXPECT_EQ(Table(table.end() - 16, table.end()), Table(16, 0xEE)) << "the last four entries keep their contents";
}

TEST(MosaicGeometry, EachModeStartsAtItsCornerAndRunsItsWay) {
  struct Case {
    uint8_t mode;
    std::vector<CardPosition> wiring;  // of 2 rows x 3 columns of 10 x 20 pixels
  };
  const Case cases[] = {
      {0, {{0, 0}, {10, 0}, {20, 0}, {20, 20}, {10, 20}, {0, 20}}},
      {1, {{0, 0}, {0, 20}, {10, 20}, {10, 0}, {20, 0}, {20, 20}}},
      {2, {{20, 0}, {10, 0}, {0, 0}, {0, 20}, {10, 20}, {20, 20}}},
      {3, {{20, 0}, {20, 20}, {10, 20}, {10, 0}, {0, 0}, {0, 20}}},
      {4, {{0, 20}, {10, 20}, {20, 20}, {20, 0}, {10, 0}, {0, 0}}},
      {5, {{0, 20}, {0, 0}, {10, 0}, {10, 20}, {20, 20}, {20, 0}}},
      {6, {{20, 20}, {10, 20}, {0, 20}, {0, 0}, {10, 0}, {20, 0}}},
      {7, {{20, 20}, {20, 0}, {10, 0}, {10, 20}, {0, 20}, {0, 0}}},
  };
  for (const Case& c : cases) EXPECT_EQ(wired(c.mode, 2, 3, {10, 20}), c.wiring) << "mode " << int{c.mode};
}

TEST(MosaicGeometry, PortsThatAdvanceBackwardsBeginBehindTheLastPort) {
  // 7 columns, 3 a port: ports of 3, 3 and 1 columns from the right.
  const MosaicGeometry right({2, 7, 6, 3, 0}, {100, 50});
  ASSERT_EQ(right.UsedPortNum, 3U);
  ASSERT_EQ(right.LastPortWidth, 100);
  std::vector<unsigned> x;
  for (unsigned port = 0; port < kDataPorts; ++port) x.push_back(right.portRegion(port).x);
  EXPECT_THAT(x, ElementsAre(400, 100, 0, 400, 100, 0, 400, 100, 0, 400));
  EXPECT_EQ(right.cardCount(5), 2) << "port 5 repeats the last port";
  EXPECT_EQ(right.cardCount(9), 6);

  // 7 rows, 2 a port: 4 ports, the last with 1 row, at the top.
  for (const auto& [mode, portNine] : {std::pair<uint8_t, unsigned>{4, 50 + 100}, {0, 100}}) {
    const MosaicGeometry g({7, 4, 8, mode, 0}, {100, 50});
    ASSERT_EQ(g.UsedPortNum, 4U);
    ASSERT_EQ(g.LastPortHeight, 50);
    EXPECT_EQ(g.portRegion(9).y, portNine) << "mode " << int{mode};
    EXPECT_EQ(g.portRegion(9), g.portRegion(1)) << "mode " << int{mode};
  }
}

TEST(MosaicGeometry, OneCardAndOneColumn) {
  const MosaicGeometry one({1, 1, 1, 0, 0}, {1920, 1080});
  EXPECT_EQ(one.UsedPortNum, 1U);
  for (unsigned port = 0; port < kDataPorts; ++port) EXPECT_EQ(one.portRegion(port), (PortRegion{0, 0, 1920, 1080}));

  const MosaicGeometry columns({3, 4, 3, 1, 0}, {128, 64});
  EXPECT_EQ(columns.RowOrColInOnePort, 1U);
  EXPECT_EQ(columns.CardNumofOneCable, 3U);
  EXPECT_EQ(columns.UsedPortNum, 4U);
  EXPECT_EQ(columns.PortOffsetX, 128);
  EXPECT_EQ(columns.group(9), 1U);
}

TEST(MosaicGeometry, MoreUsedPortsThanTablesKeepAllOffsetsAtZero) {
  const MosaicGeometry g({11, 2, 2, 0, 0}, {64, 32});
  ASSERT_EQ(g.UsedPortNum, 11U);
  for (unsigned port = 0; port < kDataPorts; ++port) {
    EXPECT_EQ(g.portRegion(port), (PortRegion{0, 0, 128, 32}));
    EXPECT_EQ(g.cardCount(port), 2);
  }
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
      {"nothing at all", {0, 0, 0, 0, 0}, card, false},
      {"mode 7", {4, 4, 4, 7, 0}, card, true},
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
  EXPECT_EQ(evenWidth(0), 0);
  EXPECT_EQ(evenWidth(767), 768);
  EXPECT_EQ(evenWidth(768), 768);
  EXPECT_EQ(evenWidth(65533), 65534);
  EXPECT_EQ(evenWidth(65535), 65534);
}

TEST(AdvancedLimits, CardsAPortCardsInAllModesAndBorders) {
  const CardSize card{64, 32};
  const auto uniform = [](uint16_t rows, uint16_t columns) {
    AdvancedRequest request;
    request.rows.fill(rows);
    request.columns.fill(columns);
    return request;
  };
  EXPECT_TRUE(judgeAdvanced(uniform(12, 17), card).valid()) << "2040 in all";
  EXPECT_FALSE(judgeAdvanced(uniform(5, 41), card).valid()) << "2050 in all";
  EXPECT_EQ(judgeAdvanced(uniform(5, 41), card).totalCards, 2050U);
  EXPECT_TRUE(judgeAdvanced(uniform(5, 41), card).portsValid);

  AdvancedRequest request = uniform(1, 1);
  request.rows[9] = 16;
  request.columns[9] = 32;
  EXPECT_TRUE(judgeAdvanced(request, card).valid()) << "512 on a port";
  request.columns[9] = 33;
  EXPECT_FALSE(judgeAdvanced(request, card).portsValid) << "528 on a port";

  request = uniform(1, 1);
  request.connectMode[3] = 8;
  EXPECT_FALSE(judgeAdvanced(request, card).valid());
  request = uniform(1, 1);
  request.x[4] = 65535 - 64;
  request.y[4] = 65535 - 32;
  EXPECT_TRUE(judgeAdvanced(request, card).valid()) << "borders at 65 535";
  ++request.y[4];
  EXPECT_FALSE(judgeAdvanced(request, card).valid()) << "bottom border beyond";
  request.y[4] = 0;
  ++request.x[4];
  EXPECT_FALSE(judgeAdvanced(request, card).valid()) << "right border beyond";
  EXPECT_FALSE(judgeAdvanced(uniform(65535, 65535), card).valid()) << "a total beyond 32 bits";
}

}  // namespace
}  // namespace TIRK_MCUC
