// screen, layout: configure the wall, and show it as the FPGA holds it.
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>
#include <thread>

#include "kadctl/session.h"
#include "kadctl/text.h"
#include "kadctl/wallscene.h"
#include "proto/flashmap.h"

namespace kadctl {

namespace {

using namespace TIRK_MCUC;

constexpr uint32_t kShortcutSpace = 0x02810000;
constexpr uint32_t kBasicRecord = kShortcutSpace + 16;    // offsets 16..25 of the record
constexpr uint32_t kPortRecords = kShortcutSpace + 0x50;  // 64 bytes a port
constexpr uint32_t kPortRecordLength = 64;
constexpr uint32_t kScreenEcho = 0x02100000;
constexpr uint8_t kSubmit = 0xB9;
constexpr uint8_t kStatusAdvanced = 184;

void sleepMs(int ms) {
  std::this_thread::sleep_for(std::chrono::milliseconds(ms));
}

bool terminalColour() {
  return ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
}

int terminalColumns() {
  winsize size{};
  if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return 100;
}

void showWall(Session& session) {
  const Wall wall = Wall::read(session.bus());
  if (session.json) {
    std::cout << wall.toJson() << "\n";
  } else if (wall.empty()) {
    std::cout << "no wall has been laid out\n";
  } else {
    std::cout << toTerminal(wall, terminalColour(), terminalColumns());
  }
}

// The daemon lays a screen out 200 to 400 ms after the last write; the wall is there once two readings agree.
void waitForStableWall(Session& session) {
  sleepMs(450);
  Wall last = Wall::read(session.bus());
  const bool stable = session.until(
      [&] {
        sleepMs(60);
        Wall now = Wall::read(session.bus());
        const bool same = now == last;
        last = std::move(now);
        return same;
      },
      5000);
  if (!stable) throw ClientError("the wall keeps changing");
}

struct ScreenArguments {
  std::string rows, columns, cards, mode;
  std::vector<std::string> ports;
};

void configureBasic(Session& session, const ScreenArguments& arguments) {
  const auto rows = static_cast<uint8_t>(parseNumber(arguments.rows, 255));
  const auto columns = static_cast<uint8_t>(parseNumber(arguments.columns, 255));
  const auto cards = static_cast<uint16_t>(parseNumber(arguments.cards, 0xFFFF));
  const auto mode = static_cast<uint8_t>(parseNumber(arguments.mode, 7));
  std::vector<uint8_t> record(10);
  record[1] = mode;
  record[6] = rows;
  record[7] = columns;
  DWT_ENCWD(record.data() + 8, cards);
  session.bus().write(kBasicRecord, record);
  waitForStableWall(session);
  const auto echo = session.bus().read(kScreenEcho, 15);
  const bool laidOut = echo[1] == 0x55 && echo[10] == rows && echo[11] == columns && echo[12] == mode &&
                       readWord(echo.data() + 13) == cards;
  if (!laidOut) {
    throw ClientError("the daemon did not lay the screen out: " + arguments.rows + " x " + arguments.columns +
                      " with " + arguments.cards + " cards a port in mode " + arguments.mode +
                      " is not possible (CARDS: at most ROWS x COLS)");
  }
}

// "P:ROWS,COLS,X,Y,MODE" as the port and its record.
std::pair<unsigned, std::vector<uint8_t>> parsePort(const std::string& text) {
  std::vector<std::string> fields;
  std::string field;
  std::istringstream parts(text);
  if (!std::getline(parts, field, ':')) throw CLI::ValidationError("no port in " + text);
  const unsigned port = parseNumber(field, 9);
  while (std::getline(parts, field, ',')) fields.push_back(field);
  if (fields.size() != 5 || text.ends_with(',')) throw CLI::ValidationError("not P:ROWS,COLS,X,Y,MODE: " + text);
  std::vector<uint8_t> record(kPortRecordLength);
  record[6] = static_cast<uint8_t>(parseNumber(fields[0], 255));
  record[7] = static_cast<uint8_t>(parseNumber(fields[1], 255));
  DWT_ENCWD(record.data() + 10, static_cast<uint16_t>(parseNumber(fields[2], 0xFFFF)));
  DWT_ENCWD(record.data() + 12, static_cast<uint16_t>(parseNumber(fields[3], 0xFFFF)));
  record[1] = static_cast<uint8_t>(parseNumber(fields[4], 7));
  return {port, record};
}

void configureAdvanced(Session& session, const ScreenArguments& arguments) {
  std::vector<std::vector<uint8_t>> records(Wall::kPorts, std::vector<uint8_t>(kPortRecordLength));
  std::set<unsigned> given;
  for (const std::string& text : arguments.ports) {
    auto [port, record] = parsePort(text);
    if (!given.insert(port).second) throw CLI::ValidationError("port " + std::to_string(port) + " is given twice");
    records[port] = std::move(record);
  }
  for (unsigned port = 0; port < Wall::kPorts; ++port) {
    session.bus().write(kPortRecords + kPortRecordLength * port, records[port]);
  }
  const uint8_t counter = session.flashByte(flash::kScreenCounter.address);
  session.bus().write(kShortcutSpace, std::vector<uint8_t>{kSubmit});
  const bool taken = session.until(
      [&] {
        return session.flashByte(flash::kScreenCounter.address) != counter &&
               session.bus().read(kShortcutSpace, 1).at(0) == kStatusAdvanced;
      },
      3000);
  if (!taken) throw ClientError("the daemon did not take the port records (at most 512 cards a port, 2048 in all)");
  waitForStableWall(session);
}

void configureScreen(Session& session, const ScreenArguments& arguments) {
  if (arguments.ports.empty() ? arguments.mode.empty() : !arguments.rows.empty()) {
    throw CLI::ValidationError("give ROWS COLS CARDS MODE, or --port for each port");
  }
  if (arguments.ports.empty()) {
    configureBasic(session, arguments);
  } else {
    configureAdvanced(session, arguments);
  }
  showWall(session);
}

struct LayoutArguments {
  std::string svg, png;
};

void showLayout(Session& session, const LayoutArguments& arguments) {
  showWall(session);
  if (arguments.svg.empty() && arguments.png.empty()) return;
  const Wall wall = Wall::read(session.bus());
  if (wall.empty()) throw ClientError("no wall has been laid out: no picture written");
  const Scene scene = drawWall(wall);
  if (!arguments.svg.empty()) {
    std::ofstream file(arguments.svg);
    file << toSvg(scene);
    if (!file.flush()) throw ClientError("cannot write " + arguments.svg);
  }
  if (!arguments.png.empty()) writePng(scene, arguments.png);
}

}  // namespace

void addScreenCommands(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<ScreenArguments>();
  CLI::App* screen = app.add_subcommand("screen", "Configure the wall, wait until it is laid out, show it");
  screen->add_option("ROWS", arguments->rows, "rows of cards");
  screen->add_option("COLS", arguments->columns, "columns of cards");
  screen->add_option("CARDS", arguments->cards, "cards on a port's cable");
  screen->add_option("MODE", arguments->mode, "connect mode 0..7");
  screen->add_option("--port", arguments->ports, "P:ROWS,COLS,X,Y,MODE: the advanced configuration, port by port");
  screen->callback([&session, arguments] { configureScreen(session, *arguments); });

  auto files = std::make_shared<LayoutArguments>();
  CLI::App* layout = app.add_subcommand("layout", "The wall as it is: a picture in the terminal or a file");
  layout->add_option("--svg", files->svg, "write the picture as SVG");
  layout->add_option("--png", files->png, "write the picture as PNG");
  layout->callback([&session, files] { showLayout(session, *files); });
}

}  // namespace kadctl
