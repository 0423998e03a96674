// status, watch: the device on one screen, and every report as it arrives.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>

#include "kadctl/registernames.h"
#include "kadctl/session.h"
#include "kadctl/text.h"
#include "kadctl/wallscene.h"
#include "proto/sendparameter.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kScreenStatus = 0x02810000;

const char* configurationName(uint8_t status) {
  switch (status) {
    case 168:
      return "basic";
    case 184:
      return "advanced";
    case 200:
      return "software table";
    default:
      return "none";
  }
}

struct Status {
  Wall wall;
  std::vector<uint8_t> feature;
  uint8_t configuration;

  explicit Status(BusClient& bus)
      : wall(Wall::read(bus)),
        feature(bus.read(sendpara::kRegisterBase, sendpara::kSize)),
        configuration(bus.read(kScreenStatus, 1).at(0)) {}

  nlohmann::json toJson() const {
    nlohmann::json out = wall.toJson();
    out["configuration"] = configurationName(configuration);
    out["role"] = feature[sendpara::kDeviceRole] == 0xA5 ? "slave" : "master";
    out["fibreLink"] = feature[sendpara::kFiberLink];
    return out;
  }
  void print() const {
    std::cout << "screen         " << wallSummary(wall) << "\n"
              << "configuration  " << configurationName(configuration) << "\n"
              << "role           " << (feature[sendpara::kDeviceRole] == 0xA5 ? "slave" : "master") << "\n"
              << "fibre link     " << hexText(Bytes(feature).subspan(sendpara::kFiberLink, 1)) << "\n";
    for (const WallPort& port : wall.ports) {
      std::printf("port %u         %s, %s, %zu cards%s\n", port.number, port.linked ? "linked " : "no link",
                  port.backup ? "backup" : "master", port.cards.size(),
                  port.repeats >= 0 ? (", repeats port " + std::to_string(port.repeats)).c_str() : "");
    }
    std::fflush(stdout);
  }
};

struct WatchArguments {
  std::string as = "qxt";
  int count = 0;
  double seconds = 0;
};

std::string timeOfDay() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t seconds = std::chrono::system_clock::to_time_t(now);
  const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000;
  std::tm local{};
  ::localtime_r(&seconds, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(ms));
  return text;
}

void showReport(const Session& session, const Message& report) {
  const uint32_t address = report.frame.m_uiRegisterUnitAddress;
  const auto& data = report.frame.m_data;
  if (session.json) {
    std::cout << nlohmann::json{{"time", timeOfDay()},
                                {"address", address},
                                {"name", registerName(address)},
                                {"data", hexText(data)},
                                {"value", decodeValue(address, data)}}
              << std::endl;
    return;
  }
  const std::string name = registerName(address);
  const std::string value = decodeValue(address, data);
  std::cout << timeOfDay() << "  " << hexNumber(address) << "  " << hexText(data) << "  "
            << (name.empty() ? "register" : name) << (value.empty() ? "" : ": " + value) << std::endl;
}

void watch(Session& session, const WatchArguments& arguments) {
  const std::map<std::string, uint32_t> tasks = {{"qxt", kTaskQxt}, {"wpr", kTaskWpr}, {"frelld", kTaskFrelld}};
  const uint32_t task = tasks.at(arguments.as);
  if (BusClient::taken(session.board, task)) throw ClientError("another " + arguments.as + " is on the bus");
  BusClient listener(session.board, task);
  const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(arguments.seconds);
  for (int seen = 0; arguments.count == 0 || seen < arguments.count;) {
    if (const auto report = listener.receive(200)) {
      showReport(session, *report);
      ++seen;
    }
    if (arguments.seconds > 0 && std::chrono::steady_clock::now() > end) return;
  }
}

}  // namespace

void addStatusCommands(CLI::App& app, Session& session) {
  app.add_subcommand("status", "The device on one screen")->callback([&session] {
    const Status status(session.bus());
    if (session.json) {
      std::cout << status.toJson() << "\n";
    } else {
      status.print();
    }
  });
  auto arguments = std::make_shared<WatchArguments>();
  CLI::App* watching = app.add_subcommand("watch", "Every report as it arrives, with the register's name");
  watching->add_option("--as", arguments->as, "the peer whose reports are shown")
      ->check(CLI::IsMember({"qxt", "wpr", "frelld"}))
      ->capture_default_str();
  watching->add_option("--count", arguments->count, "end after so many reports");
  watching->add_option("--seconds", arguments->seconds, "end after so many seconds");
  watching->callback([&session, arguments] { watch(session, *arguments); });
}

}  // namespace kadctl
