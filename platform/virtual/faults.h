// Fault injection: COUNT calls of an operation fail with a code, the next ones or those that follow `skip` good calls.
// Any thread.
#pragma once

#include <array>
#include <atomic>
#include <mutex>
#include <optional>
#include <string_view>

namespace vboard {

enum class Op {
  FpgaRead,
  FpgaWrite,
  FlashRead,
  FlashWrite,
  CardRead,
  CardWrite,
  IpcSend,
  EnvOpen,
  EnvGet,
  EnvSet,
  EdidSet,
  EdidGet,
  Light,
  FlashInit,
  Shell,
  kCount
};

std::optional<Op> opFromName(std::string_view name);  // "fpga-read", ...

class Faults {
 public:
  void set(Op op, unsigned long count, int code, unsigned long skip = 0);  // count 0 clears
  int next(Op op);  // one call of the daemon: 0, or the code with which it must fail
  bool armed() const { return m_armed.load(std::memory_order_relaxed); }  // whether calls may have to fail
  unsigned long left(Op op);                                              // calls that have still to fail

 private:
  struct Pending {
    unsigned long count = 0;
    unsigned long skip = 0;
    int code = -1;
  };
  std::atomic<bool> m_armed{false};  // some count may not be 0
  std::mutex m_mutex;
  std::array<Pending, static_cast<size_t>(Op::kCount)> m_pending;
};

}  // namespace vboard
