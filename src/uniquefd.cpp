#include "uniquefd.h"

#include <unistd.h>

namespace TIRK_MCUC {

void UniqueFd::close() {
  if (m_fd >= 0) ::close(m_fd);
  m_fd = -1;
}

}  // namespace TIRK_MCUC
