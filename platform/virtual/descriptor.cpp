#include "virtual/descriptor.h"

#include <unistd.h>

namespace vboard {

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  if (this != &other) {
    if (m_fd >= 0) ::close(m_fd);
    m_fd = other.release();
  }
  return *this;
}

Descriptor::~Descriptor() {
  if (m_fd >= 0) ::close(m_fd);
}

}  // namespace vboard
