// kadctl: the command-line client of kadrend. Exit status 0; 1 when the daemon refused or did not answer; 2 for usage.
#include <cstdio>
#include <iostream>

#include "kadctl/boundnames.h"
#include "kadctl/session.h"
#include "standardstreams.h"

namespace {

std::string usageMessage(const CLI::App* app, const CLI::Error& error) {
  std::string text = error.what();
  const auto left = app->remaining(true);
  if (text == "A subcommand is required" && !left.empty()) text = "there is no command " + left.front();
  return "kadctl: " + text + "\nkadctl --help and kadctl COMMAND --help tell more.\n";
}

void flushOutput() {
  std::cout.flush();
  if (!std::cout || std::ferror(stdout) != 0) throw kadctl::ClientError("cannot write the output");
}

int run(int argc, char** argv) {
  CLI::App app("Asks and sets a kadrend device over its bus", "kadctl");
  kadctl::Session session;
  app.add_option("-b,--board", session.board, "the board's directory")->envname("KADREND_BOARD")->capture_default_str();
  app.add_flag("--json", session.json, "output for programs");
  app.set_version_flag("--version", "kadctl " KADCTL_VERSION);
  app.require_subcommand(1);
  app.failure_message(usageMessage);
  app.footer(
      "ADDR, LEN and numbers are decimal or 0x-hexadecimal, HEX is pairs of hexadecimal digits.\n"
      "Exit status: 0 done; 1 the daemon refused or did not answer, or a file failed, why on standard error; 2 usage.");
  app.fallthrough();
  kadctl::addRegisterCommands(app, session);
  kadctl::addScreenCommands(app, session);
  kadctl::addStatusCommands(app, session);
  kadctl::addMonitorCommand(app, session);
  kadctl::addDeviceCommands(app, session);
  kadctl::addColourCommands(app, session);
  kadctl::addEdidCommand(app, session);
  kadctl::addRvCommand(app, session);
  kadctl::addBrightnessCommand(app, session);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error) != 0) return 2;
  }
  flushOutput();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  TIRK_MCUC::holdStandardStreams();
  kadctl::dropNamesAtSignals();
  try {
    return run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "kadctl: " << error.what() << "\n";
    return 1;
  }
}
