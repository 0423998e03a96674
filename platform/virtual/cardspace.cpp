#include "virtual/cardspace.h"

#include <algorithm>

namespace vboard {

namespace {

// Cuts [address, address + size) at the page borders: step(page index, offset in the page, offset in the data, length).
template <class Step>
void eachPage(uint32_t address, size_t size, Step step) {
  for (size_t done = 0; done < size;) {
    const uint64_t at = uint64_t{address} + done;
    const auto offset = static_cast<size_t>(at % CardSpace::kPageSize);
    const size_t length = std::min(size - done, CardSpace::kPageSize - offset);
    step(static_cast<uint32_t>(at / CardSpace::kPageSize), offset, done, length);
    done += length;
  }
}

}  // namespace

void CardSpace::read(uint32_t address, std::span<uint8_t> out) const {
  eachPage(address, out.size(), [&](uint32_t index, size_t offset, size_t done, size_t length) {
    const auto page = m_pages.find(index);
    const auto target = out.subspan(done, length);
    if (page == m_pages.end()) {
      std::fill(target.begin(), target.end(), uint8_t{0});
    } else {
      std::copy_n(page->second->data() + offset, length, target.begin());
    }
  });
}

void CardSpace::write(uint32_t address, std::span<const uint8_t> data) {
  eachPage(address, data.size(), [&](uint32_t index, size_t offset, size_t done, size_t length) {
    std::shared_ptr<Page>& page = m_pages[index];
    if (!page) {
      page = std::make_shared<Page>();
    } else if (page.use_count() > 1) {
      page = std::make_shared<Page>(*page);
    }
    std::copy_n(data.begin() + static_cast<std::ptrdiff_t>(done), length, page->data() + offset);
  });
}

bool CardSpace::holds(uint32_t address, std::span<const uint8_t> data) const {
  bool same = true;
  eachPage(address, data.size(), [&](uint32_t index, size_t offset, size_t done, size_t length) {
    const auto page = m_pages.find(index);
    const auto part = data.subspan(done, length);
    same =
        same && (page == m_pages.end() ? std::all_of(part.begin(), part.end(), [](uint8_t byte) { return byte == 0; })
                                       : std::equal(part.begin(), part.end(), page->second->data() + offset));
  });
  return same;
}

}  // namespace vboard
