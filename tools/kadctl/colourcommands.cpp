// gamma, hdr, pattern: the picture's transfer curves and the test patterns.
#include <array>
#include <cmath>
#include <iostream>
#include <sstream>

#include "kadctl/plot.h"
#include "kadctl/session.h"
#include "kadctl/text.h"
#include "proto/gammaranges.h"
#include "proto/interactionpayloads.h"
#include "proto/patterngeometry.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr const char* kChannelNames[] = {"red", "green", "blue"};
constexpr size_t kTableBytes = 8192;
constexpr size_t kTableEntries = 4096;
constexpr uint16_t kPiece = 1024;
constexpr uint32_t kInteraction = 0x02200000;
constexpr uint32_t kPatternSpace = 0x12010000;
constexpr int kPlotWidth = 64;
constexpr int kPlotHeight = 12;

// Of red, green, blue: where the table of that depth begins.
uint32_t gammaTable(size_t channel, int depth) {
  return kGammaRanges[channel + (depth == 10 ? 3 : 0)].first;
}

std::vector<uint16_t> readCurve(BusClient& bus, uint32_t base) {
  std::vector<uint16_t> curve;
  for (size_t at = 0; at < kTableBytes; at += kPiece) {
    const auto piece = bus.read(base + static_cast<uint32_t>(at), kPiece);
    for (size_t i = 0; i + 1 < piece.size(); i += 2) curve.push_back(readWord(&piece[i]));
  }
  return curve;
}

std::string plot(const std::vector<uint16_t>& curve) {
  std::vector<double> values;
  values.reserve(curve.size());
  for (const uint16_t level : curve) values.push_back(level / 65535.0);
  return plotCurve(values, kPlotWidth, kPlotHeight, "65535", "0", std::to_string(curve.size() - 1));
}

void showCurves(Session& session) {
  std::array<std::vector<uint16_t>, 3> curves;
  for (size_t i = 0; i < 3; ++i) curves[i] = readCurve(session.bus(), gammaTable(i, 12));
  if (session.json) {
    nlohmann::json out;
    for (size_t i = 0; i < 3; ++i) out[kChannelNames[i]] = curves[i];
    std::cout << out << "\n";
    return;
  }
  const bool equal = curves[0] == curves[1] && curves[1] == curves[2];
  for (size_t i = 0; i < (equal ? 1 : 3); ++i) {
    std::cout << (equal ? "red, green and blue" : kChannelNames[i]) << "\n" << plot(curves[i]);
  }
}

// 1024 or 4096 levels 0..65535, white space between them.
std::vector<uint8_t> readLevels(const std::string& name) {
  std::istringstream text(readFile(name));
  std::vector<uint16_t> levels;
  try {
    for (std::string word; text >> word;) levels.push_back(static_cast<uint16_t>(parseNumber(word, 0xFFFF)));
  } catch (const CLI::ValidationError& error) {
    throw ClientError(name + ": " + error.what());
  }
  if (levels.size() != kTableEntries / 4 && levels.size() != kTableEntries) {
    throw ClientError(name + " holds " + std::to_string(levels.size()) + " levels, not 1024 or 4096");
  }
  std::vector<uint8_t> table(kTableBytes);
  for (size_t i = 0; i < kTableEntries; ++i) DWT_ENCWD(&table[2 * i], levels[i * levels.size() / kTableEntries]);
  return table;
}

void loadGamma(Session& session, const std::vector<std::string>& files, int depth) {
  if (files.size() != 1 && files.size() != 3) throw CLI::ValidationError("give one file for all colours, or three");
  std::vector<std::vector<uint8_t>> tables;
  tables.reserve(files.size());
  for (const std::string& name : files) tables.push_back(readLevels(name));
  for (size_t channel = 0; channel < 3; ++channel) {
    const auto& table = tables[files.size() == 1 ? 0 : channel];
    const uint32_t base = gammaTable(channel, depth);
    for (size_t at = 0; at < kTableBytes; at += kPiece) {
      session.bus().write(base + static_cast<uint32_t>(at), Bytes(table).subspan(at, kPiece));
    }
  }
  session.barrier();
  showCurves(session);
}

void addGamma(CLI::App& app, Session& session) {
  CLI::App* gamma = app.add_subcommand("gamma", "The gamma curves in use, and new ones from files");
  gamma->require_subcommand(1);
  gamma->add_subcommand("show", "A plot of the curves")->callback([&session] { showCurves(session); });
  auto files = std::make_shared<std::vector<std::string>>();
  auto depth = std::make_shared<int>(10);
  CLI::App* load = gamma->add_subcommand("load", "Load curves: one file for all colours, or red, green and blue");
  load->add_option("FILE", *files, "1024 or 4096 levels 0..65535")->required();
  load->add_option("--depth", *depth, "the set: 10 or 12 bit")->check(CLI::IsMember({10, 12}))->capture_default_str();
  load->callback([&session, files, depth] { loadGamma(session, *files, *depth); });
}

struct HdrArguments {
  std::string kind, peak, ambient, low, hlgClass;
};

struct InteractionWrite {
  uint32_t offset;
  std::vector<uint8_t> data;
};

void setHdr(Session& session, const HdrArguments& arguments) {
  const bool forHdr10 = !arguments.peak.empty() || !arguments.ambient.empty() || !arguments.low.empty();
  if (forHdr10 && arguments.kind != "hdr10") throw CLI::ValidationError("--peak, --ambient and --low go with hdr10");
  if (!arguments.hlgClass.empty() && arguments.kind != "hlg") throw CLI::ValidationError("--class goes with hlg");
  if (arguments.kind.empty()) return;
  const uint8_t type = arguments.kind == "hdr10" ? kHdrTypeHdr10 : arguments.kind == "hlg" ? 'x' : 0;
  std::vector<InteractionWrite> writes{{0x117, {type}}};
  if (!arguments.peak.empty()) {
    std::vector<uint8_t> peak(2);
    DWT_ENCWD(peak.data(), static_cast<uint16_t>(parseNumber(arguments.peak, 10000)));
    writes.push_back({0x118, peak});
  }
  const auto addByte = [&writes](uint32_t offset, const std::string& text, uint32_t most) {
    if (!text.empty()) writes.push_back({offset, {static_cast<uint8_t>(parseNumber(text, most))}});
  };
  addByte(0x11A, arguments.ambient, 255);
  addByte(0x12E, arguments.low, 255);
  addByte(0x129, arguments.hlgClass, 20);
  for (const auto& [offset, data] : writes) session.bus().write(kInteraction + offset, data);
  session.barrier();
}

void showHdr(Session& session) {
  const auto head = session.bus().read(kInteraction + 0x117, 4);
  const uint8_t low = session.bus().read(kInteraction + 0x12E, 1).at(0);
  const uint8_t hlgClass = session.bus().read(kInteraction + 0x129, 1).at(0);
  const auto picture = session.bus().read(kInteraction + 0x13A, 6);
  const char* mode = head[0] == kHdrTypeHdr10 ? "HDR10" : head[0] == 'x' ? "HLG" : "off";
  if (session.json) {
    std::cout << nlohmann::json{{"mode", mode},
                                {"peak", readWord(&head[1])},
                                {"ambient", head[3]},
                                {"low", low},
                                {"class", hlgClass},
                                {"saturation", readWord(&picture[0])},
                                {"contrast", readWord(&picture[2])},
                                {"hue", readWord(&picture[4])},
                                {"curve", readCurve(session.bus(), gammaTable(0, 12))}}
              << "\n";
    return;
  }
  std::cout << "mode        " << mode << "\npeak        " << readWord(&head[1]) << " cd/m2\nambient     "
            << int{head[3]} << " lux\nlow grey    " << int{low} << "\nHLG class   " << int{hlgClass} << "\nsaturation  "
            << readWord(&picture[0]) << ", contrast " << readWord(&picture[2]) << ", hue " << readWord(&picture[4])
            << "\n\n"
            << plot(readCurve(session.bus(), gammaTable(0, 12)));
}

void addHdr(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<HdrArguments>();
  CLI::App* hdr = app.add_subcommand("hdr", "Show or set the HDR mode, with the curve that results");
  hdr->add_option("MODE", arguments->kind, "hdr10, hlg or off")->check(CLI::IsMember({"hdr10", "hlg", "off"}));
  hdr->add_option("--peak", arguments->peak, "HDR10: peak luminance of the screen, cd/m2");
  hdr->add_option("--ambient", arguments->ambient, "HDR10: ambient light, lux");
  hdr->add_option("--low", arguments->low, "HDR10: low-grey effect");
  hdr->add_option("--class", arguments->hlgClass, "HLG: class 0..20");
  hdr->callback([&session, arguments] {
    setHdr(session, *arguments);
    showHdr(session);
  });
}

struct PatternArguments {
  std::string selector;
  std::vector<int> pixel, block, first;
};

void putPair(std::vector<uint8_t>& registers, size_t at, const std::vector<int>& pair) {
  for (size_t i = 0; i < 2; ++i) DWT_ENCWD(&registers[at + 2 * i], static_cast<uint16_t>(pair[i]));
}

void runPattern(Session& session, const PatternArguments& arguments) {
  const bool geometry = !arguments.pixel.empty() || !arguments.block.empty() || !arguments.first.empty();
  if (geometry && arguments.selector.empty()) throw CLI::ValidationError("give SELECTOR with the pattern's geometry");
  if (!arguments.selector.empty()) {
    std::vector<uint8_t> registers(pattern::kBlockSize);
    registers[1] = static_cast<uint8_t>(parseNumber(arguments.selector, 255));
    if (!arguments.first.empty()) putPair(registers, pattern::kFirstPixelX, arguments.first);
    if (!arguments.pixel.empty()) {
      registers[pattern::kIntervalKind] = pattern::kPixelInterval;
      putPair(registers, pattern::kPixelIntervalX, arguments.pixel);
    }
    if (!arguments.block.empty()) {
      registers[pattern::kIntervalKind] = pattern::kBlockInterval;
      putPair(registers, pattern::kBlockWidth, arguments.block);
    }
    session.bus().write(kPatternSpace, registers);
    session.barrier();
  }
  const auto now = session.bus().read(kPatternSpace, pattern::kBlockSize);
  const auto word = [&now](size_t at) { return readWord(&now[at]); };
  if (session.json) {
    std::cout << nlohmann::json{{"selector", now[1]}, {"registers", hexText(now)}} << "\n";
    return;
  }
  std::cout << "pattern " << int{now[1]} << " on " << word(pattern::kScreenWidth) << " x "
            << word(pattern::kScreenHeight) << " pixels\n";
  if (now[pattern::kIntervalKind] == pattern::kPixelInterval) {
    std::cout << "pixel interval " << word(pattern::kPixelIntervalX) << " x " << word(pattern::kPixelIntervalY)
              << ", phase " << word(pattern::kPixelPhaseX) << ", " << word(pattern::kPixelPhaseY) << "\n";
  } else if (now[pattern::kIntervalKind] == pattern::kBlockInterval) {
    std::cout << "blocks of " << word(pattern::kBlockWidth) << " x " << word(pattern::kBlockHeight) << ", count "
              << word(pattern::kBlockCountX) << ", " << word(pattern::kBlockCountY) << ", phase "
              << word(pattern::kBlockPhaseX) << ", " << word(pattern::kBlockPhaseY) << "\n";
  }
  std::cout << hexDump(kPatternSpace, now);
}

void addPattern(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<PatternArguments>();
  CLI::App* patterns = app.add_subcommand("pattern", "Show or start a test pattern");
  patterns->add_option("SELECTOR", arguments->selector, "pattern number 0..255");
  CLI::Option* pixel =
      patterns->add_option("--pixel", arguments->pixel, "pixel interval X Y")->expected(2)->check(CLI::Range(0, 65535));
  patterns->add_option("--block", arguments->block, "block width and height")
      ->expected(2)
      ->check(CLI::Range(0, 65535))
      ->excludes(pixel);
  patterns->add_option("--first", arguments->first, "first pixel X Y")->expected(2)->check(CLI::Range(-32768, 32767));
  patterns->callback([&session, arguments] { runPattern(session, *arguments); });
}

}  // namespace

void addColourCommands(CLI::App& app, Session& session) {
  addGamma(app, session);
  addHdr(app, session);
  addPattern(app, session);
}

}  // namespace kadctl
