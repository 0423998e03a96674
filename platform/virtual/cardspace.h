// A card's register space: 32-bit byte-addressed, zero at power-on, sparse. Spaces share the pages in which they agree,
// so that thousands of cards that were all told the same take little more memory than one. Not thread-safe.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <span>

namespace vboard {

class CardSpace {
 public:
  static constexpr uint32_t kPageSize = 512;
  using Page = std::array<uint8_t, kPageSize>;
  using Pages = std::map<uint32_t, std::shared_ptr<Page>>;  // by address / kPageSize

  // All require that address + size does not exceed 2^32. A copy shares its pages until one of the two is written.
  void read(uint32_t address, std::span<uint8_t> out) const;
  void write(uint32_t address, std::span<const uint8_t> data);
  bool holds(uint32_t address, std::span<const uint8_t> data) const;  // writing it would change nothing

  const Pages& pages() const { return m_pages; }
  void setPage(uint32_t index, std::shared_ptr<Page> page) { m_pages[index] = std::move(page); }

 private:
  Pages m_pages;
};

}  // namespace vboard
