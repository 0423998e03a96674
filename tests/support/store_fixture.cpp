#include "support/store_fixture.h"

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <stdexcept>

#include "driverutil.h"
#include "virtual/cards.h"

namespace testing_support {

using namespace TIRK_MCUC;

template <class Board>
StoreVerbs<Board>::StoreVerbs() {
  if (!DriverUtil::getInstance()->initialize()) throw std::runtime_error("flash");
  this->clearJournal();
}

template <class Board>
std::vector<std::string> StoreVerbs<Board>::operations() {
  std::vector<std::string> out;
  for (const std::string& line : Board::journalLines()) {
    std::istringstream text(line);
    std::string device, verb, address, length;
    text >> device >> verb >> address >> length;
    if (device != "fpga" && device != "flash" && device != "factory") {
      out.push_back(line);
      continue;
    }
    const bool failed = line.find(" failed ") != std::string::npos;
    out.push_back(device + " " + verb + " " + address + " " + length + (failed ? " failed" : ""));
  }
  return out;
}

template <class Board>
std::vector<std::string> StoreVerbs<Board>::operations(const std::string& prefix) {
  auto out = operations();
  std::erase_if(out, [&prefix](const std::string& line) { return line.compare(0, prefix.size(), prefix) != 0; });
  return out;
}

template <class Board>
void StoreVerbs<Board>::fitCards(unsigned port, uint16_t width, uint16_t height) {
  if (vboard::board().cards->setChain(port, 1, width, height) != 0) throw std::runtime_error("cards");
  store.GigaPhyLinkSta |= static_cast<uint16_t>(1U << port);
}

template <class Board>
void StoreVerbs<Board>::setScreenSize(uint16_t width, uint16_t height) {
  store.SendParameterReg.setWord(sendpara::kScreenWidth, width);
  store.SendParameterReg.setWord(sendpara::kScreenHeight, height);
}

template <class Board>
ByteVector StoreVerbs<Board>::mirror(size_t offset, size_t length) const {
  ByteVector out(length);
  store.SendParameterReg.read(offset, out);
  return out;
}

template <class Board>
CardPosition StoreVerbs<Board>::position(unsigned port, unsigned n) {
  const auto entry = Board::fpga(0x600000 + 0x1000 * port + 4 * n, 4);
  return {readWord(&entry[0]), readWord(&entry[2])};
}

template class StoreVerbs<BoardTest>;
template class StoreVerbs<ReportingTest>;
template class StoreVerbs<SpaceTest>;

std::string operation(const char* device, uint32_t address, unsigned length) {
  char text[64];
  std::snprintf(text, sizeof text, "%s w 0x%08x %u", device, address, length);
  return text;
}

std::vector<std::string> saveOperations(bool tag) {
  std::vector<std::string> out{operation("flash", 0xA3B100, 512), operation("flash", 0xA61000, 512)};
  if (tag) out.push_back(operation("flash", 0xB88000, 4));
  out.push_back(operation("flash", 0xA3C000, 40960));
  out.push_back(operation("flash", 0xA5C000, 768));
  out.push_back("sh sync");
  return out;
}

std::vector<std::string> layoutOperations() {
  std::vector<std::string> out{operation("flash", 0xC20040, 15)};
  for (uint32_t port = 0; port < 10; ++port) {
    out.push_back(operation("fpga", countAddress(port), 1));
    out.push_back(operation("fpga", countAddress(port) + 1, 1));
  }
  for (uint32_t block = 0; block < 40; ++block) out.push_back(operation("fpga", 0x600000 + 1024 * block, 1024));
  return out;
}

uint32_t countAddress(uint32_t port) {
  return port < 4 ? 0x500000 + 0x20 * port : port < 8 ? 0x501000 + 0x20 * (port - 4) : 0x502000 + 0x20 * (port - 8);
}

}  // namespace testing_support
