#include "virtual/inputs.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "virtual/files.h"
#include "virtual/text.h"

namespace vboard {

namespace {

constexpr std::string_view kTypeNames[] = {"dvi", "ddvi", "hdmi14", "sdi3g", "vga"};  // in the order of en_if_t
constexpr uint32_t kFirstId = 0x100;                                                  // of slot 0

std::string edidName(int slot) {
  return "inputs/edid" + std::to_string(slot);
}

std::optional<Edid> loadEdid(int slot) {
  const auto bytes = readFile(boardFile(edidName(slot)));
  if (!bytes && errno == ENOENT) return std::nullopt;
  if (!bytes) throw std::runtime_error("cannot read \"" + edidName(slot) + "\": " + systemError());
  Edid edid;
  if (bytes->size() != edid.size()) {
    throw std::runtime_error("\"" + edidName(slot) + "\" has " + std::to_string(bytes->size()) + " bytes, not 256");
  }
  std::memcpy(edid.data(), bytes->data(), edid.size());
  return edid;
}

}  // namespace

std::optional<en_if_t> inputTypeFromName(std::string_view name) {
  const auto* const found = std::find(std::begin(kTypeNames), std::end(kTypeNames), name);
  if (found == std::end(kTypeNames)) return std::nullopt;
  return static_cast<en_if_t>(found - std::begin(kTypeNames));
}

std::string_view inputTypeName(en_if_t type) {
  return kTypeNames[static_cast<size_t>(type)];
}

Inputs::Inputs(const Config& config) {
  if (makeDirectory(boardFile("inputs")) != 0) throw std::runtime_error("cannot make \"inputs\": " + systemError());
  for (const Config::Input& input : config.inputs) {
    m_slots.at(static_cast<size_t>(input.slot)) =
        Input{input.type, kFirstId + static_cast<uint32_t>(input.slot), loadEdid(input.slot)};
  }
}

std::optional<Inputs::Input> Inputs::at(int slot) const {
  if (slot < 0 || slot >= kSlots) return std::nullopt;
  const std::lock_guard guard(m_mutex);
  return m_slots[static_cast<size_t>(slot)];
}

std::string Inputs::text(int slot) const {
  const auto input = at(slot);
  if (!input) return "none";
  std::string text = std::string(inputTypeName(input->type)) + " " + std::to_string(input->id);
  if (input->edid) text += "\n" + hexText(*input->edid);
  return text;
}

int Inputs::slotOf(uint32_t id) const {
  if (id < kFirstId || id - kFirstId >= kSlots) return -1;
  const int slot = static_cast<int>(id - kFirstId);
  return at(slot) ? slot : -1;
}

int Inputs::setEdid(int slot, const Edid& edid) {
  if (!at(slot)) return -1;
  const std::lock_guard guard(m_mutex);
  const std::string_view bytes(reinterpret_cast<const char*>(edid.data()), edid.size());
  if (replaceFile(boardFile(edidName(slot)), bytes) != 0) return -1;
  m_slots[static_cast<size_t>(slot)]->edid = edid;
  return 0;
}

}  // namespace vboard
