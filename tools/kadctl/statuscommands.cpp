// status, watch: the device on one screen, and every report as it arrives.
#include <chrono>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <map>
#include <optional>

#include "kadctl/registernames.h"
#include "kadctl/session.h"
#include "kadctl/text.h"
#include "kadctl/wallscene.h"
#include "proto/cardregisters.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/sendparameter.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kScreenStatus = 0x02810000;
constexpr uint32_t kHardwareSpace = 0x00000000;
constexpr uint32_t kFpgaSpace = 0xF0000000;

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

std::string portList(const Wall& wall, bool (*holds)(const WallPort&)) {
  std::string text;
  for (const WallPort& port : wall.ports) {
    if (holds(port)) text += (text.empty() ? "" : " ") + std::to_string(port.number);
  }
  return text.empty() ? "none" : text;
}

// The first linked port's first card says how bright the cards are; empty when none can be asked.
std::optional<uint8_t> cardBrightness(BusClient& bus, const Wall& wall) {
  for (const WallPort& port : wall.ports) {
    if (!port.linked) continue;
    const Target card{kDeviceRecvCard, static_cast<uint8_t>(port.number), 0};
    const auto reply = bus.ask(BusClient::request(kCodeRead, kCardGlobalBrightness, 1, {}, card));
    if (reply && reply->frame.m_ucAck == kAckOk) return reply->frame.m_data.at(0);
  }
  return std::nullopt;
}

struct Status {
  Wall wall;
  std::vector<uint8_t> feature;   // as the daemon holds it
  std::vector<uint8_t> hardware;  // the basic hardware block
  std::vector<uint8_t> fpga;      // as the FPGA holds it
  uint8_t configuration;
  uint8_t counter;
  std::optional<uint8_t> brightness;

  explicit Status(Session& session)
      : wall(Wall::read(session.bus())),
        feature(session.bus().read(sendpara::kRegisterBase, sendpara::kBusEnd)),
        hardware(session.bus().read(kHardwareSpace, 32)),
        fpga(session.bus().read(kFpgaSpace, 0x200)),
        configuration(session.bus().read(kScreenStatus, 1).at(0)),
        counter(session.flashByte(flash::kScreenCounter.address)),
        brightness(cardBrightness(session.bus(), wall)) {}

  std::string role() const { return feature[sendpara::kDeviceRole] == kDeviceSlave ? "slave" : "master"; }
  std::string model() const { return hexText(std::vector<uint8_t>{hardware[3], hardware[2]}); }
  std::string version() const { return hexText(Bytes(hardware).subspan(4, 5)); }
  std::string serial() const { return hexText(Bytes(hardware).subspan(22, 8)); }
  bool restored() const { return wall.cardCount() > 0; }  // the FPGA forgets its card counts without power
  unsigned redundancy() const {
    const auto nibble = [this](size_t at) { return fpga[at] & 15U; };
    return nibble(sendpara::kRedundancy0To3) | nibble(sendpara::kRedundancy4To7) << 4 |
           nibble(sendpara::kRedundancy8To15) << 8 | nibble(sendpara::kRedundancy8To15 + 1) << 12;
  }
  uint16_t fibre(size_t which) const { return readWord(&fpga[fpga::kFiberBelowLink.address + 2 * which]); }

  nlohmann::json toJson() const {
    nlohmann::json out = wall.toJson();
    out["configuration"] = configurationName(configuration);
    out["configurations"] = counter;
    out["role"] = role();
    out["redundancy"] = redundancy();
    out["fibre"] = {{"state", fpga[sendpara::kFiberLink]}, {"ports1", fibre(0)}, {"ports2", fibre(1)}};
    out["restored"] = restored();
    out["model"] = model();
    out["version"] = version();
    out["serial"] = serial();
    if (brightness) out["brightness"] = *brightness;
    return out;
  }
  void print() const {
    std::printf("device         model %s, version %s, serial number %s, %s\n", model().c_str(), version().c_str(),
                serial().c_str(), role().c_str());
    std::printf("restore        %s\n", restored() ? "parameters are in the FPGA" : "the FPGA holds no wall");
    std::printf("screen         %s\n", wall.empty() ? "none laid out" : wallSummary(wall).c_str());
    std::printf("configuration  %s, %u since start\n", configurationName(configuration), counter);
    std::printf("brightness     %s\n", brightness ? brightnessText(*brightness).c_str() : "no card answers");
    std::printf("links          ports %s\n", portList(wall, [](const WallPort& p) { return p.linked; }).c_str());
    std::printf("redundancy     mask 0x%04X\n", redundancy());
    std::printf("fibre          state 0x%02X, ports behind fibre 1 0x%04X, fibre 2 0x%04X\n",
                fpga[sendpara::kFiberLink], fibre(0), fibre(1));
    std::printf("backup ports   %s\n", portList(wall, [](const WallPort& p) { return p.backup; }).c_str());
    for (const WallPort& port : wall.ports) {
      if (port.carries()) std::printf("               %s\n", portSummary(port).c_str());
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
  // Not by <chrono>: on 32-bit boards its library has a clock that ends in 2038.
  timespec now{};
  ::clock_gettime(CLOCK_REALTIME, &now);
  std::tm local{};
  ::localtime_r(&now.tv_sec, &local);
  char text[32];
  std::snprintf(text, sizeof text, "%02d:%02d:%02d.%03d", local.tm_hour, local.tm_min, local.tm_sec,
                static_cast<int>(now.tv_nsec / 1000000));
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
  for (int seen = 0; std::cout && (arguments.count == 0 || seen < arguments.count);) {
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
    const Status status(session);
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
  watching->add_option("--count", arguments->count, "end after so many reports")->check(CLI::Range(1, 1'000'000));
  watching->add_option("--seconds", arguments->seconds, "end after so many seconds")->check(CLI::Range(0.001, 1e6));
  watching->callback([&session, arguments] { watch(session, *arguments); });
}

}  // namespace kadctl
