// A brightness setup in words: the small text file that people write. Pure.
//
// A line holds a word and its values; `#` begins a comment. Brightness is 0..255 or N%, in the mixed modes N%.
//   mode schedule | sensor | mixed | black | hardware | off
//   node HH:MM BRIGHTNESS [ports 0,1-3] [components R G B VR]               schedule, at most 32, in order
//   node HH:MM (N% | sensor) [days mon-fri,sun | none] [disabled]           mixed modes, in order; days begin on Monday
//   sensor board | sensor PORT CARD ADDRESS                                 at most 8
//   dark LUX BRIGHTNESS, bright LUX BRIGHTNESS, steps N                     sensor mode: from dark to bright in N steps
//   lux LUX N%                                                              mixed modes, at most 32, in order
//   interval SECONDS, samples N, fallback N% | none                         mixed modes: how the sensors are read
//   on yes | no, allowed yes | no, gradual yes | no                         mixed modes
// "black" and "hardware" are mixed setups for a serial controller: what its silence brings is a black screen, or the
// mixed mode.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

#include "kadctl/brightnesssetup.h"

namespace kadctl {

const char* brightnessModeName(uint8_t mode);  // "off" for one that is none
uint8_t parseBrightnessMode(const std::string& name);
uint8_t parseBrightness(const std::string& text);  // 0..255 or N%. Throws ClientError, as the others do

// Throws ClientError with the line and what is wrong.
BrightnessSetup parseBrightnessFile(const std::string& text);
std::string brightnessFileText(const BrightnessSetup& setup);
nlohmann::json brightnessJson(const BrightnessSetup& setup);

}  // namespace kadctl
