// EDIDs: what a host writes is verified, gives a mode, and from the mode an EDID is made that is valid itself. And
// modes of any size, as they may stand in the flash.
//
// Input: what (1), then a mode (6 bytes), or an EDID of 128 or 256 bytes; what is missing is that of a valid one.
#include <algorithm>
#include <array>

#include "edidapi.h"
#include "process/edid.h"
#include "process/inputSource.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;

enum What : uint8_t {
  kMode = 0x01,
  kShort = 0x02,          // 128 bytes
  kWrongChecksum = 0x04,  // the sums are not repaired
  kDvi = 0x08,            // the base that is changed, and that the EDID is compared with
};

Edid baseOf(uint8_t what) {
  const edid_request_t request{(what & kDvi) != 0 ? uint32_t{EDID_OPTION_DVI} : uint32_t{EDID_OPTION_HDMI}, {}};
  Edid base{};
  require(ModifyEDID_API.generate(&request, base.data()) == 0, "there is a base EDID");
  return base;
}

void repair(Edid& edid) {
  for (const size_t start : {size_t{0}, kEdidBlockLength}) {
    uint8_t sum = 0;
    for (size_t i = start; i < start + kEdidChecksum; ++i) sum = static_cast<uint8_t>(sum + edid[i]);
    edid[start + kEdidChecksum] = static_cast<uint8_t>(-sum);
  }
}

void checkMade(const Edid& base, const VideoMode& mode) {
  Edid made{};
  const Edid before = made;
  if (ResT_calEDID_by_model_new(base.data(), made.data(), mode.h, mode.v, mode.r) != 0) {
    require(made == before, "what cannot be made leaves its place alone");
    return;
  }
  require(ResT_verify_EDID(made.data()) == 1, "what is made is valid");
  const auto again = modeOfEdid(made.data());
  require(again.has_value(), "what is made has a mode");
  require(again->v == mode.v && again->h <= mode.h && mode.h - again->h < 8, "it has the size that was asked for");
}

// Through the register space's own operation, into the input and back.
void checkStored(const Edid& edid, int length) {
  Daemon::instance();
  auto* const inputs = InputSource::getInstance();
  for (int group = 0; group < 3; ++group) {
    inputs->EDIDCommStorage(group, edid.data(), length);
    Edid loaded{};
    if (inputs->ReadEDIDInfo(group, loaded.data()) == 0) {
      require(ResT_verify_EDID(loaded.data()) == 1, "an input presents a valid EDID");
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Input input(data, size);
  const uint8_t what = input.byte();
  const Edid base = baseOf(what);
  if ((what & kMode) != 0) {
    const uint16_t h = input.word();
    const uint16_t v = input.word();
    checkMade(base, {h, v, input.word()});
    return 0;
  }
  Edid edid = base;
  const auto bytes = input.bytes(edid.size());
  std::copy(bytes.begin(), bytes.end(), edid.begin());
  if ((what & kWrongChecksum) == 0) repair(edid);
  const int length = static_cast<int>((what & kShort) != 0 ? kEdidBlockLength : kEdidLength);
  if (ResT_verify_EDID(edid.data(), length) == 1) {
    if (const auto mode = modeOfEdid(edid.data())) checkMade(base, *mode);
    if (length == static_cast<int>(kEdidLength)) checkMade(edid, {1920, 1080, 6000});
  }
  withinTime([&] { checkStored(edid, length); });
  return 0;
}
