// What every command shares: the board's directory, the form of the output, and the clients, made when first needed.
#pragma once

#include <CLI/CLI.hpp>
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

  // The flash byte addresses that a register of the device-name space reads.
  uint8_t flashByte(uint32_t flashAddress);

 private:
  std::unique_ptr<BusClient> m_bus;
  std::unique_ptr<MonitorClient> m_monitor;
};

// Each adds its commands; a command's callback throws ClientError when it cannot be done.
void addRegisterCommands(CLI::App& app, Session& session);  // read, write, card
void addScreenCommands(CLI::App& app, Session& session);    // screen, layout
void addStatusCommands(CLI::App& app, Session& session);    // status, watch
void addMonitorCommand(CLI::App& app, Session& session);    // monitor

}  // namespace kadctl
