// edid: what an input offers to its source.
#include <cmath>
#include <filesystem>
#include <iostream>

#include "edidapi.h"
#include "kadctl/session.h"
#include "kadctl/text.h"
#include "process/edid.h"
#include "proto/sendparameter.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kEdidSpace = 0x08000000;
constexpr uint32_t kInputSelector = sendpara::kRegisterBase + sendpara::kInputSource;
constexpr uint8_t kSelectorOfInput[] = {97, 98, 80};

// Selects an input for the EDID space, and gives the selection back at the end.
class InputSelection {
 public:
  InputSelection(Session& session, unsigned input)
      : m_session(session), m_before(session.bus().read(kInputSelector, 1)) {
    select(kSelectorOfInput[input]);
  }
  ~InputSelection() {
    try {
      select(m_before.at(0));
    } catch (const std::exception&) {
      // The daemon is gone; there is nothing to give back.
    }
  }
  InputSelection(const InputSelection&) = delete;
  InputSelection& operator=(const InputSelection&) = delete;

 private:
  void select(uint8_t value) {
    if (m_session.bus().read(kInputSelector, 1).at(0) == value) return;
    m_session.bus().write(kInputSelector, std::vector<uint8_t>{value});
    m_session.barrier();
  }

  Session& m_session;
  std::vector<uint8_t> m_before;
};

std::vector<uint8_t> edidForMode(const VideoMode& mode) {
  edid_request_t request{};
  request.option = EDID_OPTION_DVI;
  std::vector<uint8_t> base(kEdidLength);
  std::vector<uint8_t> edid(kEdidLength);
  ModifyEDID_API.generate(&request, base.data());
  if (ResT_calEDID_by_model_new(base.data(), edid.data(), mode.h, mode.v, mode.r) != 0) {
    throw ClientError("an EDID cannot hold this mode");
  }
  return edid;
}

std::vector<uint8_t> edidFromFile(const std::string& name) {
  if (!std::filesystem::exists(name)) throw ClientError("cannot read " + name + " (or give WIDTHxHEIGHT@HZ)");
  const std::string bytes = readFile(name);
  std::vector<uint8_t> edid(bytes.begin(), bytes.end());
  if (edid.size() != kEdidBlockLength && edid.size() != kEdidLength) {
    throw ClientError(name + " is " + std::to_string(edid.size()) + " bytes long, not 128 or 256");
  }
  if (ResT_verify_EDID(edid.data(), static_cast<int>(edid.size())) == 0) {
    throw ClientError(name + " is no valid EDID (header or checksum)");
  }
  return edid;
}

std::optional<VideoMode> parseMode(const std::string& text) {
  int h = 0;
  int v = 0;
  double hz = 0;
  char rest = 0;
  if (std::sscanf(text.c_str(), "%dx%d@%lf%c", &h, &v, &hz, &rest) != 3) return std::nullopt;
  if (h <= 0 || h > 0xFFFF || v <= 0 || v > 0xFFFF || !(hz > 0 && hz <= 655)) {
    throw CLI::ValidationError("no video mode: " + text);
  }
  return VideoMode{static_cast<uint16_t>(h), static_cast<uint16_t>(v), static_cast<uint16_t>(std::lround(hz * 100))};
}

std::string manufacturer(const std::vector<uint8_t>& edid) {
  const uint16_t code = DWT_MAKEWD(edid[8], edid[9]);
  std::string name;
  for (const int shift : {10, 5, 0}) name += static_cast<char>('A' - 1 + (code >> shift & 31));
  return name;
}

// Text of the descriptor with this tag, without its line feed and padding.
std::string descriptorText(const std::vector<uint8_t>& edid, uint8_t tag) {
  for (size_t at = kEdidFirstDescriptor; at < kEdidExtensionCount; at += kEdidDescriptorLength) {
    if (readWord(&edid[at]) != 0 || edid[at + 3] != tag) continue;
    std::string text(edid.begin() + static_cast<std::ptrdiff_t>(at) + 5,
                     edid.begin() + static_cast<std::ptrdiff_t>(at + kEdidDescriptorLength));
    return text.substr(0, text.find('\n'));
  }
  return "";
}

void showEdid(const Session& session, unsigned input, const std::vector<uint8_t>& edid) {
  const auto d = decodeDescriptor(&edid[kEdidFirstDescriptor]);
  const unsigned horizontalTotal = d.HorizActivePixels + d.HorizBlankingPixels;
  const unsigned verticalTotal = d.VertActiveLines + d.VertBlankingLines;
  const double refresh = static_cast<double>(d.PixelClock) / horizontalTotal / verticalTotal;
  const bool valid = ResT_verify_EDID(edid.data()) == 1;
  if (session.json) {
    std::cout << nlohmann::json{{"input", input},
                                {"manufacturer", manufacturer(edid)},
                                {"name", descriptorText(edid, 0xFC)},
                                {"width", d.HorizActivePixels},
                                {"height", d.VertActiveLines},
                                {"refresh", refresh},
                                {"clock", d.PixelClock},
                                {"valid", valid},
                                {"edid", hexText(edid)}}
              << "\n";
    return;
  }
  std::printf("input %u offers %s (%s, EDID %d.%d%s)\n", input, descriptorText(edid, 0xFC).c_str(),
              manufacturer(edid).c_str(), edid[18], edid[19], valid ? "" : ", NOT VALID");
  std::printf("preferred mode  %u x %u at %.3f Hz\n", d.HorizActivePixels, d.VertActiveLines, refresh);
  std::printf("pixel clock     %.2f MHz, line rate %.3f kHz\n", d.PixelClock / 1e6,
              d.PixelClock / 1e3 / horizontalTotal);
  std::printf("horizontal      %u active, %u blanking: front porch %u, sync %u, back porch %d\n", d.HorizActivePixels,
              d.HorizBlankingPixels, d.HorizSyncOffset, d.HorizSyncPulseWidth,
              d.HorizBlankingPixels - d.HorizSyncOffset - d.HorizSyncPulseWidth);
  std::printf("vertical        %u active, %u blanking: front porch %u, sync %u, back porch %d\n", d.VertActiveLines,
              d.VertBlankingLines, d.VertSyncOffset, d.VertSyncPulseWidth,
              d.VertBlankingLines - d.VertSyncOffset - d.VertSyncPulseWidth);
  std::fflush(stdout);
}

void edidOf(Session& session, unsigned input, const std::string& wanted) {
  std::vector<uint8_t> edid;
  if (!wanted.empty()) {
    const auto mode = parseMode(wanted);
    edid = mode ? edidForMode(*mode) : edidFromFile(wanted);
  }
  const InputSelection selection(session, input);
  if (!edid.empty()) {
    const auto target = modeOfEdid(edid.data());
    if (!target) throw ClientError(wanted + " holds no video mode");
    session.bus().write(kEdidSpace, edid);
    session.barrier();
    const auto now = session.bus().ask(BusClient::request(kCodeRead, kEdidSpace, kEdidLength, {}, {}));
    const bool taken = now && now->frame.m_ucAck == kAckOk && modeOfEdid(now->frame.m_data.data()) == target;
    if (!taken) throw ClientError("input " + std::to_string(input) + " did not take it (DVI and HDMI 1.4 inputs do)");
  }
  const auto reply = session.bus().ask(BusClient::request(kCodeRead, kEdidSpace, kEdidLength, {}, {}));
  if (!reply) throw ClientError("the daemon did not answer");
  if (reply->frame.m_ucAck != kAckOk) {
    throw ClientError("input " + std::to_string(input) + " is not fitted, or no EDID was loaded into it");
  }
  showEdid(session, input, reply->frame.m_data);
}

}  // namespace

void addEdidCommand(CLI::App& app, Session& session) {
  auto input = std::make_shared<std::string>();
  auto wanted = std::make_shared<std::string>();
  CLI::App* edid = app.add_subcommand("edid", "Show or set what an input offers to its source");
  edid->add_option("INPUT", *input, "input 0..2")->required();
  edid->add_option("MODE", *wanted, "WIDTHxHEIGHT@HZ, or a file of 128 or 256 bytes");
  edid->callback([&session, input, wanted] { edidOf(session, parseNumber(*input, 2), *wanted); });
}

}  // namespace kadctl
