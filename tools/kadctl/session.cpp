#include "kadctl/session.h"

#include <chrono>
#include <thread>

#include "proto/flashmap.h"

namespace kadctl {

BusClient& Session::bus() {
  if (!m_bus) m_bus = std::make_unique<BusClient>(board);
  return *m_bus;
}

MonitorClient& Session::monitor() {
  if (!m_monitor) m_monitor = std::make_unique<MonitorClient>(board);
  return *m_monitor;
}

uint8_t Session::flashByte(uint32_t flashAddress) {
  return bus().read(flashAddress + TIRK_MCUC::flash::kFromDeviceNameSpace, 1).at(0);
}

void Session::renew() {
  m_bus.reset();
  m_monitor.reset();
}

bool Session::until(const std::function<bool()>& condition, int timeoutMs) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

void Session::barrier(int timeoutMs, const std::function<void()>& tick) {
  constexpr uint32_t kMarkRegister = 0x0210001F;  // the last byte of the screen record's space, in memory only
  const auto mark = static_cast<uint8_t>(bus().read(kMarkRegister, 1).at(0) + 1);
  bus().write(kMarkRegister, std::vector<uint8_t>{mark});
  const bool applied = until(
      [&] {
        if (tick) tick();
        return bus().read(kMarkRegister, 1).at(0) == mark;
      },
      timeoutMs);
  if (!applied) throw ClientError("the daemon has not applied what it acknowledged");
}

}  // namespace kadctl
