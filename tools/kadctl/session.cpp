#include "kadctl/session.h"

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

}  // namespace kadctl
