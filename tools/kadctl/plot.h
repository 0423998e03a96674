// Curves in the terminal.
#pragma once

#include <string>
#include <vector>

namespace kadctl {

// Columns of eighth blocks below each value 0..1, `height` rows, with the ends of both axes labelled.
std::string plotCurve(const std::vector<double>& values, int width, int height, const std::string& top,
                      const std::string& left, const std::string& right);

}  // namespace kadctl
