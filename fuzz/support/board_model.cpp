#include "support/board_model.h"

namespace fuzz {

namespace {

constexpr PlainSpace kSpaces[] = {
    {0x02300000, 4096, 512, 512, true},     // backup area
    {0x05000000, 65535, 4096, 4096, true},  // software table, first half; its last byte is a notice
    {0x05060000, 65536, 4096, 4096, true},  // second half
    {0x0F810000, 65536, 2048, 2048, true},  // device names, behind the records that the device keeps there
    {0x0F010000, 65536, 2048, 2048, true},  // flash copy of the cards' files
    {0x02810801, 255, 255, 255, true},  // shortcut record behind those of the ports; its page's first byte is a mark
    {0x03000000, 40960, 4096, 4096, false},  // position table
    {0x03100000, 768, 768, 768, false},      // number table
    {0x02100010, 16, 16, 16, false},         // the host's bytes of the screen record
    {0x02000180, 32, 32, 32, false},         // bytes of the feature block without a meaning
    {0xF1400000, 65536, 2048, 2048, false},  // FPGA memory that nothing else uses
};

}  // namespace

std::span<const PlainSpace> BoardModel::spaces() {
  return kSpaces;
}

void BoardModel::written(size_t space, uint32_t offset, Bytes data, bool faults) {
  auto& cells = m_spaces[space];
  for (size_t i = 0; i < data.size(); ++i) {
    const uint32_t at = offset + static_cast<uint32_t>(i);
    const auto found = cells.find(at);
    if (!faults) {
      cells[at] = {data[i], data[i]};
    } else if (found != cells.end() && found->second.value == found->second.other) {
      found->second.other = data[i];
    } else {
      cells.erase(at);  // more than two bytes are possible
    }
  }
}

bool BoardModel::reads(size_t space, uint32_t offset, Bytes data) {
  auto& cells = m_spaces[space];
  for (size_t i = 0; i < data.size(); ++i) {
    const uint32_t at = offset + static_cast<uint32_t>(i);
    const auto found = cells.find(at);
    if (found != cells.end() && data[i] != found->second.value && data[i] != found->second.other) return false;
    cells[at] = {data[i], data[i]};
  }
  return true;
}

void BoardModel::forgetUnkept() {
  for (size_t space = 0; space < m_spaces.size(); ++space) {
    if (!kSpaces[space].kept) m_spaces[space].clear();
  }
}

}  // namespace fuzz
