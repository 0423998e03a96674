// Network settings and the status store, as the daemon sees them. The machine's own network is left alone.
#include "netinfo.h"
#include "stinfo.h"
#include "virtual/board.h"

using namespace vboard;

extern "C" {

int netinfo_set_eth_mode(int mode) {
  const int code = board().journal.record([&] { return "net mode " + std::to_string(mode); },
                                          [&] { return board().env.set("eth_mode", std::to_string(mode)); });
  board().activity.touch();
  return code;
}

int netinfo_set_curr_ip(const char* address, const char* netmask, const char* gateway) {
  if (address == nullptr || netmask == nullptr || gateway == nullptr) return -1;
  const int code = board().journal.record(
      [&] { return std::string("net ip ") + address + " " + netmask + " " + gateway; },
      [&] {
        Env& env = board().env;
        const bool stored =
            env.set("ipaddr", address) == 0 && env.set("netmask", netmask) == 0 && env.set("gatewayip", gateway) == 0;
        return stored ? 0 : -1;
      });
  board().activity.touch();
  return code;
}

int st_info_op(int operation, uint32_t address, uint32_t length, const uint8_t* data) {
  constexpr int kStore = 1;
  if (data == nullptr) return -1;
  return board().journal.record(
      [&] {
        return "status " + journalAddress(address) + journalHex({data, length});
      },
      [&] {
        return operation == kStore ? board().status.set(address, {data, length}) : -1;
      });
}

}  // extern "C"
