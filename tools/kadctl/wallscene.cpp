#include "kadctl/wallscene.h"

#include <algorithm>
#include <cmath>

namespace kadctl {

namespace {

constexpr double kMargin = 28;
constexpr double kTitleHeight = 34;
constexpr double kLegendRow = 22;
constexpr double kLargestWidth = 1240;
constexpr double kLargestHeight = 900;
constexpr double kSmallestWidth = 560;  // room for the legend's texts
constexpr Colour kInk{0.13, 0.13, 0.16};
constexpr Colour kPaper{1, 1, 1};
constexpr Colour kPale{0.62, 0.62, 0.66};

std::string plural(size_t count, const std::string& word) {
  return std::to_string(count) + " " + word + (count == 1 ? "" : "s");
}

// Places screen pixels on the picture.
struct Placing {
  double scale;
  double left;
  double top;
  double x(int pixel) const { return left + pixel * scale; }
  double y(int pixel) const { return top + pixel * scale; }
};

class WallPainter {
 public:
  WallPainter(const Wall& wall, const Placing& placing, Scene& scene)
      : m_wall(wall), m_placing(placing), m_scene(scene) {}

  void paintPort(const WallPort& port) {
    paintCards(port);
    paintWiring(port);
    paintRegion(port);
  }

 private:
  double cardWidth() const { return m_wall.cardWidth * m_placing.scale; }
  double cardHeight() const { return m_wall.cardHeight * m_placing.scale; }
  double smallSide() const { return std::min(cardWidth(), cardHeight()); }

  void paintCards(const WallPort& port) {
    const Colour fill = port.linked ? portColour(port.number, 0.80) : portColour(port.number, 0.94);
    const double gap = std::min(1.5, smallSide() * 0.06);
    for (size_t i = 0; i < port.cards.size(); ++i) {
      const WallCard& card = port.cards[i];
      const double x = m_placing.x(card.x);
      const double y = m_placing.y(card.y);
      m_scene.shapes.push_back(Rectangle{x + gap / 2, y + gap / 2, cardWidth() - gap, cardHeight() - gap, fill,
                                         portColour(port.number, 0.55), gap > 0.8 ? 0.8 : 0.3, !port.linked});
      if (smallSide() >= 26) {
        m_scene.shapes.push_back(Label{x + 5, y + 13, 10, std::to_string(i + 1), portColour(port.number, 0.35)});
      }
    }
  }

  std::pair<double, double> centre(const WallCard& card) const {
    return {m_placing.x(card.x) + cardWidth() / 2, m_placing.y(card.y) + cardHeight() / 2};
  }

  void paintWiring(const WallPort& port) {
    Line line{{}, portColour(port.number, 0.38), std::clamp(smallSide() * 0.06, 0.6, 4.0)};
    for (const WallCard& card : port.cards) line.points.push_back(centre(card));
    const double radius = std::clamp(smallSide() * 0.16, 1.6, 12.0);
    const auto [startX, startY] = line.points.front();
    const auto [endX, endY] = line.points.back();
    m_scene.shapes.push_back(std::move(line));
    m_scene.shapes.push_back(Rectangle{endX - radius * 0.6, endY - radius * 0.6, radius * 1.2, radius * 1.2,
                                       portColour(port.number, 0.38), portColour(port.number, 0.38), 0});
    m_scene.shapes.push_back(Disc{startX, startY, radius, kPaper, portColour(port.number, 0.30)});
    if (radius >= 5) {
      m_scene.shapes.push_back(Label{startX, startY + radius * 0.45, radius * 1.25, std::to_string(port.number),
                                     portColour(port.number, 0.25), true, true});
    }
  }

  void paintRegion(const WallPort& port) {
    int right = 0;
    int bottom = 0;
    for (const WallCard& card : port.cards) {
      right = std::max(right, card.x + m_wall.cardWidth);
      bottom = std::max(bottom, card.y + m_wall.cardHeight);
    }
    Rectangle frame{m_placing.x(port.x),
                    m_placing.y(port.y),
                    (right - port.x) * m_placing.scale,
                    (bottom - port.y) * m_placing.scale,
                    kPaper,
                    portColour(port.number, 0.30),
                    2,
                    !port.linked,
                    1};
    frame.opacity = 0;  // an outline
    m_scene.shapes.push_back(frame);
    if (smallSide() >= 32) return;  // the first card's disc holds the port's number
    const double x = m_placing.x((port.x + right) / 2);
    const double y = m_placing.y((port.y + bottom) / 2);
    m_scene.shapes.push_back(Disc{x, y, 10, kPaper, portColour(port.number, 0.30)});
    m_scene.shapes.push_back(
        Label{x, y + 4.5, 12, std::to_string(port.number), portColour(port.number, 0.25), true, true});
  }

  const Wall& m_wall;
  const Placing& m_placing;
  Scene& m_scene;
};

void paintLegend(const Wall& wall, double top, Scene& scene) {
  double y = top;
  for (const WallPort& port : wall.ports) {
    if (!port.carries()) continue;
    scene.shapes.push_back(Rectangle{kMargin, y - 11, 16, 13, portColour(port.number, port.linked ? 0.80 : 0.94),
                                     portColour(port.number, 0.30), 1.5, !port.linked});
    scene.shapes.push_back(Label{kMargin + 26, y, 13, portSummary(port), kInk});
    y += kLegendRow;
  }
  scene.shapes.push_back(Disc{kMargin + 8, y - 5, 6, kPaper, kInk});
  scene.shapes.push_back(Label{kMargin + 26, y, 13,
                               "first card of a port; the line runs in wiring order to the square; "
                               "dashed: no link",
                               kPale});
}

size_t legendRows(const Wall& wall) {
  size_t rows = 1;
  for (const WallPort& port : wall.ports) rows += port.carries() ? 1 : 0;
  return rows;
}

}  // namespace

Colour portColour(unsigned port, double lightness) {
  // Golden-angle steps, saturation 62 %.
  const double hue = std::fmod(210.0 + 137.508 * port, 360.0) / 60.0;
  const double chroma = (1 - std::abs(2 * lightness - 1)) * 0.62;
  const double second = chroma * (1 - std::abs(std::fmod(hue, 2.0) - 1));
  const double base = lightness - chroma / 2;
  double rgb[3] = {0, 0, 0};
  const int sextant = static_cast<int>(hue) % 6;
  static constexpr int kFirst[] = {0, 1, 1, 2, 2, 0};
  static constexpr int kSecond[] = {1, 0, 2, 1, 0, 2};
  rgb[kFirst[sextant]] = chroma;
  rgb[kSecond[sextant]] = second;
  return {rgb[0] + base, rgb[1] + base, rgb[2] + base};
}

std::string portSummary(const WallPort& port) {
  std::string text = "port " + std::to_string(port.number) + ": " + plural(port.cards.size(), "card") + ", " +
                     std::to_string(port.width) + " x " + std::to_string(port.height) + " at " +
                     std::to_string(port.x) + "," + std::to_string(port.y);
  text += port.linked ? ", linked" : ", no link";
  if (port.backup) text += ", backup";
  if (!port.repeated.empty()) {
    text += "; also on port";
    for (const unsigned other : port.repeated) text += " " + std::to_string(other);
  }
  return text;
}

std::string wallSummary(const Wall& wall) {
  size_t ports = 0;
  for (const WallPort& port : wall.ports) ports += port.carries() ? 1 : 0;
  return std::to_string(wall.width) + " x " + std::to_string(wall.height) + " pixels, " +
         plural(wall.cardCount(), "card") + " of " + std::to_string(wall.cardWidth) + " x " +
         std::to_string(wall.cardHeight) + " on " + plural(ports, "port");
}

Scene drawWall(const Wall& wall) {
  Scene scene;
  const int right = std::max({wall.width, wall.right(), 1});
  const int bottom = std::max({wall.height, wall.bottom(), 1});
  const double scale = std::min(kLargestWidth / right, kLargestHeight / bottom);
  const Placing placing{scale, kMargin, kMargin + kTitleHeight};
  const double legendTop = placing.top + bottom * scale + 32;
  // Whole pixels, so that the paper covers the last row and column of an image.
  scene.width = std::ceil(std::max(right * scale, kSmallestWidth) + 2 * kMargin);
  scene.height = std::ceil(legendTop + static_cast<double>(legendRows(wall)) * kLegendRow);
  scene.shapes.push_back(Rectangle{0, 0, scene.width, scene.height, kPaper, kPaper, 0});
  scene.shapes.push_back(Label{kMargin, kMargin + 12, 17, wallSummary(wall), kInk, false, true});
  scene.shapes.push_back(
      Rectangle{placing.left, placing.top, wall.width * scale, wall.height * scale, {0.95, 0.95, 0.96}, kPale, 1});
  WallPainter painter(wall, placing, scene);
  // What has no link lies below what has.
  for (const bool linked : {false, true}) {
    for (const WallPort& port : wall.ports) {
      if (port.carries() && port.linked == linked) painter.paintPort(port);
    }
  }
  paintLegend(wall, legendTop, scene);
  return scene;
}

}  // namespace kadctl
