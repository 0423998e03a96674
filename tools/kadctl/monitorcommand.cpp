// monitor: one line to the virtual board's console.
#include <iostream>

#include "kadctl/session.h"

namespace kadctl {

void addMonitorCommand(CLI::App& app, Session& session) {
  auto words = std::make_shared<std::vector<std::string>>();
  CLI::App* monitor = app.add_subcommand("monitor", "One line to the virtual board's monitor console");
  monitor->add_option("LINE", *words, "the command (\"help\" lists them)")->required();
  monitor->callback([&session, words] {
    std::string line;
    for (const std::string& word : *words) line += (line.empty() ? "" : " ") + word;
    const auto answer = session.monitor().command(line);
    if (session.json) {
      std::cout << nlohmann::json(answer) << "\n";
    } else {
      for (const std::string& text : answer) std::cout << text << "\n";
    }
  });
}

}  // namespace kadctl
