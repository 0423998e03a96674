#include "proto/registermap.h"

#include <algorithm>

#include "proto/registerspace.h"
#include "proto/tshl_ctl.h"

namespace TIRK_MCUC {

namespace {

// Whether a request to `base` can reach the sub-table entry, and the address that does.
bool reaches(const SpaceTraits& traits, const Fshl_cmd& entry, uint32_t base, uint32_t& address) {
  const bool byOffset = traits.keyMask == 0x0000FFFF;
  address = byOffset ? base + entry.RegisterAddr : base;
  return traits.keyMask == 0 || byOffset || (base & traits.keyMask) == entry.RegisterAddr;
}

void addSpace(std::vector<RegisterMapEntry>& map, const Fshl_cmd& top, const RegisterSpace& space) {
  const SpaceTraits& traits = space.traits();
  for (size_t i = 0; space.table()[i].cmd_str != nullptr; ++i) {
    const Fshl_cmd& entry = space.table()[i];
    uint32_t address = 0;
    if (!reaches(traits, entry, top.RegisterAddr, address)) continue;
    const RegisterDoc doc =
        traits.docs.empty() ? RegisterDoc{"", ""} : traits.docs[std::min(i, traits.docs.size() - 1)];
    map.push_back({top.RegisterAddr, Tshl_ctl::spaceMask(top.RegisterAddr), traits.keyMask, address, top.cmd_str,
                   top.cmd_exp, traits.className, entry.cmd_str, entry.cmd_exp, entry.cmdType, entry.cmdLen, doc.read,
                   doc.write});
  }
}

}  // namespace

std::vector<RegisterMapEntry> registerMap() {
  const Tshl_ctl& dispatcher = *Tshl_ctl::getInstance();
  std::vector<RegisterMapEntry> map;
  for (size_t i = 0; dispatcher.table()[i].cmd_str != nullptr; ++i)
    addSpace(map, dispatcher.table()[i], *dispatcher.space(i));
  return map;
}

}  // namespace TIRK_MCUC
