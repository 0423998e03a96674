// The picture of a wall as a list of shapes, and its writers. Pure but for the files.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "kadctl/wall.h"

namespace kadctl {

struct Colour {
  double red = 0, green = 0, blue = 0;  // 0..1
};
// One hue a port, far from its neighbours' hues.
Colour portColour(unsigned port, double lightness);

struct Rectangle {
  double x, y, width, height;
  Colour fill;
  Colour stroke;
  double strokeWidth = 1;
  bool dashed = false;
  double opacity = 1;
};
struct Line {
  std::vector<std::pair<double, double>> points;
  Colour colour;
  double width = 1;
};
struct Disc {
  double x, y, radius;
  Colour fill;
  Colour stroke;
};
struct Label {
  double x, y, size;  // baseline; size in picture units
  std::string text;
  Colour colour;
  bool centred = false;
  bool bold = false;
};
using Shape = std::variant<Rectangle, Line, Disc, Label>;

struct Scene {
  double width = 0, height = 0;
  std::vector<Shape> shapes;
};

// Cards at their true proportion, the wiring order as a line with its start marked, and a legend.
Scene drawWall(const Wall& wall);

std::string toSvg(const Scene& scene);
void writePng(const Scene& scene, const std::string& file);  // throws ClientError

// The wall in characters; with ANSI colours or without. `columns`: the terminal's width.
std::string toTerminal(const Wall& wall, bool colour, int columns);

// "port 0: 12 cards, 768 x 256 at 0,0, linked; also on 2 4 6 8".
std::string portSummary(const WallPort& port);
std::string wallSummary(const Wall& wall);

}  // namespace kadctl
