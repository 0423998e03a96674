#include <algorithm>
#include <array>
#include <cmath>
#include <map>

#include "kadctl/wallscene.h"

namespace kadctl {

namespace {

enum Direction : unsigned { kLeft = 1, kRight = 2, kUp = 4, kDown = 8 };

struct Cell {
  unsigned port = 0;
  unsigned directions = 0;  // where the wiring comes from and goes to
  bool start = false;
  bool end = false;
};
using Grid = std::map<std::pair<int, int>, Cell>;  // row, column

unsigned directionTo(const WallCard& from, const WallCard& to) {
  if (to.y == from.y) return to.x < from.x ? kLeft : kRight;
  return to.y < from.y ? kUp : kDown;
}

Grid makeGrid(const Wall& wall) {
  Grid grid;
  for (const bool linked : {false, true}) {
    for (const WallPort& port : wall.ports) {
      if (!port.carries() || port.linked != linked) continue;
      for (size_t i = 0; i < port.cards.size(); ++i) {
        const WallCard& card = port.cards[i];
        Cell cell{port.number, 0, i == 0, i + 1 == port.cards.size()};
        if (i > 0) cell.directions |= directionTo(card, port.cards[i - 1]);
        if (!cell.end) cell.directions |= directionTo(card, port.cards[i + 1]);
        grid[{card.y / wall.cardHeight, card.x / wall.cardWidth}] = cell;
      }
    }
  }
  return grid;
}

const char* middle(const Cell& cell) {
  if (cell.start) return "●";
  if (cell.end) return "■";
  switch (cell.directions) {
    case kLeft | kRight:
      return "─";
    case kUp | kDown:
      return "│";
    case kLeft | kUp:
      return "┘";
    case kLeft | kDown:
      return "┐";
    case kRight | kUp:
      return "└";
    case kRight | kDown:
      return "┌";
    default:
      return "·";
  }
}

// `width` characters for one card: 3 show the line through, 1 its middle.
std::string cellText(const Cell& cell, int width) {
  if (width == 1) return cell.start ? std::to_string(cell.port % 10) : middle(cell);
  std::string text = (cell.directions & kLeft) != 0 ? "─" : " ";
  if (cell.start) text = std::to_string(cell.port % 10);
  text += middle(cell);
  return text + ((cell.directions & kRight) != 0 ? "─" : " ");
}

std::string unusedText(const Wall& wall) {
  std::string ports;
  for (const WallPort& port : wall.ports) {
    if (port.unused) ports += " " + std::to_string(port.number);
  }
  return ports.empty() ? "" : "  not used: port" + ports + "\n";
}

std::string background(unsigned port) {
  const Colour colour = portColour(port, 0.80);
  const auto level = [](double value) { return std::to_string(std::lround(255 * value)); };
  return "\033[30;48;2;" + level(colour.red) + ";" + level(colour.green) + ";" + level(colour.blue) + "m";
}

}  // namespace

std::string toTerminal(const Wall& wall, bool colour, int columns) {
  const Grid grid = makeGrid(wall);
  int rows = 0;
  int across = 0;
  for (const auto& [place, cell] : grid) {
    rows = std::max(rows, place.first + 1);
    across = std::max(across, place.second + 1);
  }
  const int width = 3 * across + 2 <= columns ? 3 : 1;
  const int step = std::max(1, (across * width + columns - 1) / std::max(1, columns));  // cards a character
  std::string out = wallSummary(wall) + "\n\n";
  for (int row = 0; row < rows; row += step) {
    std::string line = "  ";
    for (int column = 0; column < across; column += step) {
      const auto found = grid.find({row, column});
      if (found == grid.end()) {
        line.append(static_cast<size_t>(width), ' ');
        continue;
      }
      const std::string text = step > 1 ? std::to_string(found->second.port % 10) : cellText(found->second, width);
      line += colour ? background(found->second.port) + text + "\033[0m" : text;
    }
    out += line.substr(0, line.find_last_not_of(' ') + 1) + "\n";
  }
  out += "\n";
  for (const WallPort& port : wall.ports) {
    if (!port.carries()) continue;
    out += "  " + (colour ? background(port.number) + "   \033[0m " : std::string()) + portSummary(port) + "\n";
  }
  out += unusedText(wall);
  if (step > 1) {
    const std::string cards = std::to_string(step) + " x " + std::to_string(step) + " cards";
    return out + "  a character stands for " + cards + ", its digit for their port\n";
  }
  out += std::string("  ") + (width == 1 ? "a digit: first card of that port" : "● first card") +
         ", ■ last card of a port\n";
  return out;
}

}  // namespace kadctl
