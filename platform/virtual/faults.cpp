#include "virtual/faults.h"

namespace vboard {

namespace {
constexpr std::string_view kNames[] = {"fpga-read",  "fpga-write", "flash-read", "flash-write", "card-read",
                                       "card-write", "ipc-send",   "env-open",   "env-get",     "env-set",
                                       "edid-set",   "edid-get",   "light",      "flash-init",  "shell"};
static_assert(std::size(kNames) == static_cast<size_t>(Op::kCount));
}  // namespace

std::optional<Op> opFromName(std::string_view name) {
  for (size_t i = 0; i < std::size(kNames); ++i) {
    if (kNames[i] == name) return static_cast<Op>(i);
  }
  return std::nullopt;
}

void Faults::set(Op op, unsigned long count, int code, unsigned long skip) {
  const std::lock_guard guard(m_mutex);
  m_pending[static_cast<size_t>(op)] = {count, skip, code};
  m_armed = false;
  for (const Pending& pending : m_pending) m_armed = m_armed || pending.count != 0;
}

int Faults::next(Op op) {
  if (!armed()) return 0;
  const std::lock_guard guard(m_mutex);
  Pending& pending = m_pending[static_cast<size_t>(op)];
  if (pending.count == 0) return 0;
  if (pending.skip != 0) {
    --pending.skip;
    return 0;
  }
  --pending.count;
  return pending.code;
}

unsigned long Faults::left(Op op) {
  const std::lock_guard guard(m_mutex);
  return m_pending[static_cast<size_t>(op)].count;
}

}  // namespace vboard
