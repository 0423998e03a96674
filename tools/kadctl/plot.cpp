#include "kadctl/plot.h"

#include <algorithm>
#include <cmath>

namespace kadctl {

std::string plotCurve(const std::vector<double>& values, int width, int height, const std::string& top,
                      const std::string& left, const std::string& right) {
  static const char* const kBlocks[] = {" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
  if (values.empty()) return "";
  std::vector<int> eighths;
  for (int column = 0; column < width; ++column) {
    const size_t at = static_cast<size_t>(column) * (values.size() - 1) / static_cast<size_t>(std::max(1, width - 1));
    eighths.push_back(static_cast<int>(std::lround(std::clamp(values[at], 0.0, 1.0) * height * 8)));
  }
  std::string out;
  for (int row = height - 1; row >= 0; --row) {
    std::string label = row == height - 1 ? top : row == 0 ? "0" : "";
    label.insert(0, label.size() < 7 ? 7 - label.size() : 0, ' ');
    out += label + " │";
    for (const int level : eighths) out += kBlocks[std::clamp(level - 8 * row, 0, 8)];
    out += "\n";
  }
  out += "        └";
  for (int column = 0; column < width; ++column) out += "─";
  const size_t gap = static_cast<size_t>(std::max(1, width - static_cast<int>(left.size() + right.size())));
  return out + "\n         " + left + std::string(gap, ' ') + right + "\n";
}

}  // namespace kadctl
