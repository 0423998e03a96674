// What every command shares: the board's directory, the form of the output, and the clients, made when first needed.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "kadctl/busclient.h"
#include "kadctl/clienterror.h"
#include "kadctl/monitorclient.h"

namespace kadctl {

class Session {
 public:
  std::string board = "./board";
  bool json = false;

  BusClient& bus();
  MonitorClient& monitor();

  void renew();  // drops the clients: the daemon may have been restarted

  // A flash byte, through the device-name space.
  uint8_t flashByte(uint32_t flashAddress);

  // Polls the condition until it holds; false after the time is up.
  bool until(const std::function<bool()>& condition, int timeoutMs);
  // Waits until every write acknowledged so far has been applied: writes are applied in order, so it writes a mark to a
  // register without any effect and reads until the mark is there. `tick` is called between the reads, 20 ms apart.
  // Throws ClientError after the time is up.
  void barrier(int timeoutMs = 10000, const std::function<void()>& tick = {});

 private:
  std::unique_ptr<BusClient> m_bus;
  std::unique_ptr<MonitorClient> m_monitor;
};

// Each adds its commands; a command's callback throws ClientError when it cannot be done.
void addRegisterCommands(CLI::App& app, Session& session);  // read, write, card
void addScreenCommands(CLI::App& app, Session& session);    // screen, layout
void addStatusCommands(CLI::App& app, Session& session);    // status, watch
void addMonitorCommand(CLI::App& app, Session& session);    // monitor
void addDeviceCommands(CLI::App& app, Session& session);    // map, time, reset, selftest
void addColourCommands(CLI::App& app, Session& session);    // gamma, hdr, pattern
void addEdidCommand(CLI::App& app, Session& session);       // edid
void addRvCommand(CLI::App& app, Session& session);         // rv
void addBrightnessCommand(CLI::App& app, Session& session);

}  // namespace kadctl
