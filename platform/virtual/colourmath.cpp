#include "virtual/colourmath.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace vboard {

namespace {

// SMPTE ST 2084.
constexpr double kM1 = 2610.0 / 16384;
constexpr double kM2 = 2523.0 / 32;
constexpr double kC1 = 3424.0 / 4096;
constexpr double kC2 = 2413.0 / 128;
constexpr double kC3 = 2392.0 / 128;
constexpr double kPqPeak = 10000;

// BT.2100 hybrid log-gamma.
constexpr double kHlgA = 0.17883277;
constexpr double kHlgB = 0.28466892;
constexpr double kHlgC = 0.55991073;

// BT.709.
constexpr double kKr = 0.2126;
constexpr double kKb = 0.0722;
constexpr double kKg = 1 - kKr - kKb;

uint16_t toLevel(double value) {
  return static_cast<uint16_t>(std::floor(65535 * std::min(1.0, value) + 0.5));
}

// BT.2390: from the knee start on, signals bend towards the display's peak.
double applyKnee(double signal, double kneeStart, double peak) {
  if (kneeStart < 1 && signal >= kneeStart) {
    const double t = (signal - kneeStart) / (1 - kneeStart);
    const double t2 = t * t;
    const double t3 = t2 * t;
    signal = (2 * t3 - 3 * t2 + 1) * kneeStart + (t3 - 2 * t2 + t) * (1 - kneeStart) + (-2 * t3 + 3 * t2) * peak;
  }
  return std::min(signal, peak);
}

using Matrix = std::array<std::array<double, 3>, 3>;

Matrix multiply(const Matrix& left, const Matrix& right) {
  Matrix out{};
  for (size_t row = 0; row < 3; ++row) {
    for (size_t column = 0; column < 3; ++column) {
      for (size_t k = 0; k < 3; ++k) out[row][column] += left[row][k] * right[k][column];
    }
  }
  return out;
}

constexpr Matrix diagonal(double y, double c) {
  return {{{y, 0, 0}, {0, c, 0}, {0, 0, c}}};
}

const Matrix kRgbToYcc = {{{kKr, kKg, kKb},
                           {-kKr / (2 * (1 - kKb)), -kKg / (2 * (1 - kKb)), 0.5},
                           {0.5, -kKg / (2 * (1 - kKr)), -kKb / (2 * (1 - kKr))}}};
const Matrix kYccToRgb = {
    {{1, 0, 2 * (1 - kKr)}, {1, -2 * (1 - kKb) * kKb / kKg, -2 * (1 - kKr) * kKr / kKg}, {1, 2 * (1 - kKb), 0}}};
// 12-bit codes of limited range: luma spans 3504, colour difference 3584.
constexpr double kFullRange = 4095;
constexpr double kLumaRange = 3504;
constexpr double kChromaRange = 3584;

enum class Format { FullRgb, LimitedYuv, FullYuv };

Format inputOf(COLORSPACECONVERT kind) {
  switch (kind) {
    case LYtoFR:
    case LYtoLY:
    case LYtoFY:
      return Format::LimitedYuv;
    case FYtoFR:
    case FYtoFY:
    case FYtoLY:
      return Format::FullYuv;
    default:
      return Format::FullRgb;
  }
}
Format outputOf(COLORSPACECONVERT kind) {
  switch (kind) {
    case FRtoLY:
    case LYtoLY:
    case FYtoLY:
      return Format::LimitedYuv;
    case FRtoFY:
    case FYtoFY:
    case LYtoFY:
      return Format::FullYuv;
    default:
      return Format::FullRgb;
  }
}

Matrix toYcc(Format format) {
  if (format == Format::FullRgb) return kRgbToYcc;
  return format == Format::LimitedYuv ? diagonal(kFullRange / kLumaRange, kFullRange / kChromaRange) : diagonal(1, 1);
}
Matrix fromYcc(Format format) {
  if (format == Format::FullRgb) return kYccToRgb;
  return format == Format::LimitedYuv ? diagonal(kLumaRange / kFullRange, kChromaRange / kFullRange) : diagonal(1, 1);
}
std::array<int16_t, 3> offsetsOf(Format format) {
  if (format == Format::FullRgb) return {0, 0, 0};
  return {static_cast<int16_t>(format == Format::LimitedYuv ? 256 : 0), 2048, 2048};
}

int16_t toCoefficient(double value) {
  return static_cast<int16_t>(std::clamp(std::floor(value * 4096 + 0.5), -32768.0, 32767.0));
}

}  // namespace

double pqToLuminance(double signal) {
  const double power = std::pow(std::clamp(signal, 0.0, 1.0), 1 / kM2);
  return kPqPeak * std::pow(std::max(power - kC1, 0.0) / (kC2 - kC3 * power), 1 / kM1);
}

double luminanceToPq(double luminance) {
  const double power = std::pow(std::clamp(luminance / kPqPeak, 0.0, 1.0), kM1);
  return std::pow((kC1 + kC2 * power) / (1 + kC3 * power), kM2);
}

std::vector<uint16_t> hdr10Levels(const Hdr10Parameters& p) {
  const size_t levels = size_t{1} << std::clamp(p.bitWidth, 1U, 12U);
  const double peak = std::clamp(p.peakLuminance * std::clamp(p.brightness, 1U, 100U) / 100.0, 1.0, kPqPeak);
  const double top = luminanceToPq(peak);
  const double kneeStart = std::clamp(top - (top - (1.5 * top - 0.5)) * p.highGreyEffect / 140.0, 0.0, top);
  const double ambient = static_cast<double>(p.ambientLight) * p.lowGreyEffect;
  const double lift = ambient == 0 ? 0 : luminanceToPq(std::min(ambient / 90000, peak / 100));
  std::vector<uint16_t> out(levels);
  for (size_t k = 1; k < levels; ++k) {
    double signal = applyKnee(static_cast<double>(k) / static_cast<double>(levels - 1), kneeStart, top);
    signal += lift * std::pow(1 - signal, 4);
    out[k] = std::max(out[k - 1], toLevel(pqToLuminance(signal) / peak));
  }
  return out;
}

std::vector<uint16_t> hlgLevels(unsigned hlgClass) {
  const double gamma = 1 + 0.05 * std::min(hlgClass, 20U);
  std::vector<uint16_t> out(1024);
  for (size_t k = 0; k < out.size(); ++k) {
    const double signal = static_cast<double>(k) / 1023;
    const double scene = signal <= 0.5 ? signal * signal / 3 : (std::exp((signal - kHlgC) / kHlgA) + kHlgB) / 12;
    out[k] = toLevel(std::pow(std::min(1.0, scene), gamma));
  }
  return out;
}

ColourConversion colourConversion(COLORSPACECONVERT kind, unsigned saturation, unsigned contrast, unsigned hue) {
  const double s = std::min(saturation, 100U) / 50.0;
  const double c = std::min(contrast, 100U) / 50.0;
  const double angle = (hue % 360) * std::numbers::pi / 180;
  const double cosine = s * c * std::cos(angle);
  const double sine = s * c * std::sin(angle);
  const Matrix adjustment = {{{c, 0, 0}, {0, cosine, -sine}, {0, sine, cosine}}};
  const Matrix matrix = multiply(fromYcc(outputOf(kind)), multiply(adjustment, toYcc(inputOf(kind))));
  ColourConversion out{};
  for (size_t i = 0; i < 9; ++i) out.coefficients[i] = toCoefficient(matrix[i / 3][i % 3]);
  out.outputOffsets = offsetsOf(outputOf(kind));
  for (size_t i = 0; i < 3; ++i) out.inputOffsets[i] = static_cast<int16_t>(-offsetsOf(inputOf(kind))[i]);
  return out;
}

}  // namespace vboard
