#include "kadctl/registernames.h"

#include <bit>
#include <cstdio>

#include "kadctl/text.h"
#include "proto/sendparameter.h"

namespace kadctl {

using namespace TIRK_MCUC;

namespace {

std::string portsOf(uint32_t mask, unsigned first, const char* word) {
  std::string ports;
  for (unsigned bit = 0; bit < 16; ++bit) {
    if ((mask >> bit & 1) != 0) ports += " " + std::to_string(first + bit);
  }
  if (ports.empty()) return std::string("no port ") + word;
  return (std::popcount(mask) == 1 ? "port" : "ports") + ports + " " + word;
}

std::string rolesOf(Bytes value, unsigned first) {
  std::string text;
  for (size_t i = 0; i < value.size(); ++i) {
    text += (text.empty() ? "" : ", ") + std::to_string(first + i) + (value[i] == 0x80 ? " backup" : " master");
  }
  return text;
}

std::string sizeOf(Bytes value) {
  if (value.size() < 4) return "";
  return std::to_string(readWord(value.data())) + " x " + std::to_string(readWord(value.data() + 2)) + " pixels";
}

std::string offsetsOf(Bytes value) {
  if (value.size() < 8) return "";
  return "X " + std::to_string(static_cast<int32_t>(readDword(value.data()))) + ", Y " +
         std::to_string(static_cast<int32_t>(readDword(value.data() + 4)));
}

struct Register {
  uint32_t address;
  const char* name;
  std::string (*decode)(Bytes value);
};

std::string hexByte(Bytes value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%02X", value.empty() ? 0U : value[0]);
  return text;
}
std::string percentOf(Bytes value) {
  return value.empty() ? "" : brightnessText(value[0]);
}
std::string roleOf(Bytes value) {
  return value.empty() ? "" : value[0] == 0xA5 ? "slave" : "master";
}

constexpr uint32_t feature(size_t offset) {
  return sendpara::kRegisterBase + static_cast<uint32_t>(offset);
}

const Register kRegisters[] = {
    {0x01000002, "reboot notice", hexByte},
    {0x01000088, "receiving-card mapping", hexByte},
    {0x02000001, "receiving-card brightness", percentOf},
    {feature(sendpara::kRoles0To3), "roles, ports 0-3", [](Bytes v) { return rolesOf(v, 0); }},
    {feature(sendpara::kRedundancy0To3), "redundancy, ports 0-3",
     [](Bytes v) { return portsOf(v[0] & 15U, 0, "set"); }},
    {feature(sendpara::kCopperLink0To3), "copper link, ports 0-3",
     [](Bytes v) { return portsOf(v[0] & 15U, 0, "linked"); }},
    {feature(sendpara::kReported4A), "feature byte 0x4A", hexByte},
    {feature(sendpara::kLowDelay), "low-delay switch", hexByte},
    {feature(sendpara::kRoles4To7), "roles, ports 4-7", [](Bytes v) { return rolesOf(v, 4); }},
    {feature(sendpara::kCorrection), "correction switch", hexByte},
    {feature(sendpara::kDeviceRole), "device role", roleOf},
    {feature(sendpara::kRedundancy4To7), "redundancy, ports 4-7",
     [](Bytes v) { return portsOf(v[0] & 15U, 4, "set"); }},
    {feature(sendpara::kCopperLink4To7), "copper link, ports 4-7",
     [](Bytes v) { return portsOf(v[0] & 15U, 4, "linked"); }},
    {feature(sendpara::kRoles8To15), "roles, ports 8-15", [](Bytes v) { return rolesOf(v, 8); }},
    {feature(sendpara::kRedundancy8To15), "redundancy, ports 8-15",
     [](Bytes v) { return v.size() < 2 ? "" : portsOf((v[0] & 15U) | (v[1] & 15U) << 4, 8, "set"); }},
    {feature(sendpara::kCopperLink8To15), "copper link, ports 8-15",
     [](Bytes v) { return v.size() < 2 ? "" : portsOf((v[0] & 15U) | (v[1] & 15U) << 4, 8, "linked"); }},
    {feature(sendpara::kFiberLink), "fibre link state", hexByte},
    {feature(sendpara::kOpticalMode), "fibre redundancy and copy state", hexByte},
    {feature(sendpara::kFiberToNet), "fibre-to-net state, byte 0", hexByte},
    {feature(sendpara::kFiberToNet + 1), "fibre-to-net state, byte 1", hexByte},
    {feature(sendpara::kQxtOffsetX), "display offsets", offsetsOf},
    {0x02100006, "receiving-card size", sizeOf},
    {0x02810000, "configuration byte", hexByte},
    {0x02810008, "bandwidth", [](Bytes v) { return v.size() < 2 ? "" : std::to_string(readWord(v.data())); }},
    {0x0FF00000, "configuration-file notice 0", hexByte},
    {0x0FF00001, "configuration-file notice 1", hexByte},
    {0x13000300, "date and time", nullptr},
    {0x14000000, "daemon loaded", hexByte},
};

// On the bus these are status words of the fibre ports, one report a byte.
constexpr uint32_t kFiber1Word = 0x020001F2;
constexpr uint32_t kFiber2Word = 0x020001F4;
constexpr uint32_t kOpticalRedundancy = 0x020001F6;
constexpr uint32_t kOpticalRedundancyEnd = 0x020001FC;

const Register* find(uint32_t address) {
  for (const Register& entry : kRegisters) {
    if (entry.address == address) return &entry;
  }
  return nullptr;
}

}  // namespace

std::string registerName(uint32_t address) {
  if (const Register* entry = find(address)) return entry->name;
  if (address >= kFiber1Word && address < kFiber2Word)
    return "link behind fibre 1, ports " + std::string(address == kFiber1Word ? "0-7" : "8-15");
  if (address >= kFiber2Word && address < kOpticalRedundancy) {
    return "link behind fibre 2, ports " + std::string(address == kFiber2Word ? "0-7" : "8-15");
  }
  if (address >= kOpticalRedundancy && address < kOpticalRedundancyEnd) {
    return "optical redundancy, byte " + std::to_string(address - kOpticalRedundancy);
  }
  return "";
}

std::string decodeValue(uint32_t address, Bytes value) {
  if (value.empty()) return "";
  if (const Register* entry = find(address)) return entry->decode != nullptr ? entry->decode(value) : "";
  if (address >= kFiber1Word && address < kOpticalRedundancy) {
    return portsOf(value[0], (address & 1) != 0 ? 8 : 0, "linked");
  }
  return "";
}

}  // namespace kadctl
