#include <cmath>
#include <cstdio>

#include "kadctl/wallscene.h"

namespace kadctl {

namespace {

std::string number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.2f", value);
  return text;
}

std::string hexColour(const Colour& colour) {
  char text[8];
  const auto level = [](double value) { return static_cast<unsigned>(std::lround(255 * value)) & 0xFF; };
  std::snprintf(text, sizeof text, "#%02x%02x%02x", level(colour.red), level(colour.green), level(colour.blue));
  return text;
}

struct SvgWriter {
  std::string out;

  void operator()(const Rectangle& r) {
    out += "<rect x=\"" + number(r.x) + "\" y=\"" + number(r.y) + "\" width=\"" + number(r.width) + "\" height=\"" +
           number(r.height) + "\" fill=\"" + (r.opacity > 0 ? hexColour(r.fill) : "none") + "\"";
    if (r.strokeWidth > 0) {
      out += " stroke=\"" + hexColour(r.stroke) + "\" stroke-width=\"" + number(r.strokeWidth) + "\"";
      if (r.dashed) out += " stroke-dasharray=\"4 3\"";
    }
    out += "/>\n";
  }
  void operator()(const Line& line) {
    out += "<polyline fill=\"none\" stroke-linejoin=\"round\" stroke=\"" + hexColour(line.colour) +
           "\" stroke-width=\"" + number(line.width) + "\" points=\"";
    for (const auto& [x, y] : line.points) out += number(x) + "," + number(y) + " ";
    out += "\"/>\n";
  }
  void operator()(const Disc& disc) {
    out += "<circle cx=\"" + number(disc.x) + "\" cy=\"" + number(disc.y) + "\" r=\"" + number(disc.radius) +
           "\" fill=\"" + hexColour(disc.fill) + "\" stroke=\"" + hexColour(disc.stroke) +
           "\" stroke-width=\"1.5\"/>\n";
  }
  void operator()(const Label& label) {
    out += "<text x=\"" + number(label.x) + "\" y=\"" + number(label.y) + "\" font-size=\"" + number(label.size) +
           "\" fill=\"" + hexColour(label.colour) + "\"" + (label.centred ? " text-anchor=\"middle\"" : "") +
           (label.bold ? " font-weight=\"bold\"" : "") + ">" + label.text + "</text>\n";
  }
};

}  // namespace

std::string toSvg(const Scene& scene) {
  SvgWriter writer;
  writer.out = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + number(scene.width) + "\" height=\"" +
               number(scene.height) + "\" viewBox=\"0 0 " + number(scene.width) + " " + number(scene.height) +
               "\" font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\">\n";
  for (const Shape& shape : scene.shapes) std::visit(writer, shape);
  return writer.out + "</svg>\n";
}

}  // namespace kadctl
