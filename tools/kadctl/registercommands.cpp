// read, write, card: plain register access.
#include <algorithm>
#include <iostream>
#include <map>

#include "kadctl/session.h"
#include "kadctl/text.h"
#include "proto/registermap.h"

namespace kadctl {

namespace {

const std::map<std::string, uint8_t> kCardKinds = {{"recv", TIRK_MCUC::kDeviceRecvCard},
                                                   {"multi", TIRK_MCUC::kDeviceMultiCard},
                                                   {"dist", TIRK_MCUC::kDeviceDistribute},
                                                   {"3d", TIRK_MCUC::kDevice3DLauncher}};

void showBytes(const Session& session, uint32_t address, TIRK_MCUC::Bytes bytes) {
  if (session.json) {
    std::cout << nlohmann::json{{"address", address}, {"length", bytes.size()}, {"data", hexText(bytes)}} << "\n";
  } else {
    std::cout << hexDump(address, bytes);
  }
}

// The daemon answers a request to a register that no space holds with ack 0, unchanged.
void requireSpace(uint32_t address, const Target& target) {
  if (target.deviceType != TIRK_MCUC::kDeviceSendCard) return;
  const auto map = TIRK_MCUC::registerMap();
  const bool held = std::any_of(map.begin(), map.end(),
                                [address](const auto& entry) { return (address & entry.mask) == entry.base; });
  if (!held) throw ClientError("no register space holds " + hexNumber(address) + " (kadctl map lists them)");
}

void readRegisters(Session& session, const std::string& address, const std::string& length, const Target& target) {
  const uint32_t at = parseNumber(address);
  const auto count = static_cast<uint16_t>(parseNumber(length, 0xFFFF));
  const auto data = session.bus().read(at, count, target);
  requireSpace(at, target);
  showBytes(session, at, data);
}

void writeRegisters(Session& session, const std::string& address, const std::vector<std::string>& hex,
                    const Target& target) {
  const uint32_t at = parseNumber(address);
  const auto data = parseHex(hex);
  session.bus().write(at, data, target);
  requireSpace(at, target);
  if (session.json) std::cout << nlohmann::json{{"address", at}, {"written", data.size()}} << "\n";
}

struct CardArguments {
  std::string kind, port, board, address, length;
  std::vector<std::string> hex;

  Target target() const {
    return {kCardKinds.at(kind), static_cast<uint8_t>(parseNumber(port, 255)),
            static_cast<uint16_t>(parseNumber(board, 0xFFFF))};
  }
};

void addCard(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<CardArguments>();
  CLI::App* card = app.add_subcommand("card", "Read or write registers of a card behind an output port");
  card->add_option("KIND", arguments->kind, "recv, multi, dist or 3d")->required()->check(CLI::IsMember(kCardKinds));
  card->add_option("PORT", arguments->port, "output port 0..15; 255: all")->required();
  card->add_option("BOARD", arguments->board, "card on the port's chain; 0xFFFF: all")->required();
  card->require_subcommand(1);
  CLI::App* read = card->add_subcommand("read", "A hex dump");
  read->add_option("ADDR", arguments->address)->required();
  read->add_option("LEN", arguments->length)->required();
  read->callback(
      [&session, arguments] { readRegisters(session, arguments->address, arguments->length, arguments->target()); });
  CLI::App* write = card->add_subcommand("write", "Bytes in hexadecimal");
  write->add_option("ADDR", arguments->address)->required();
  write->add_option("HEX", arguments->hex)->required();
  write->callback(
      [&session, arguments] { writeRegisters(session, arguments->address, arguments->hex, arguments->target()); });
}

}  // namespace

void addRegisterCommands(CLI::App& app, Session& session) {
  auto arguments = std::make_shared<CardArguments>();
  CLI::App* read = app.add_subcommand("read", "Read registers: a hex dump");
  read->add_option("ADDR", arguments->address, "register address")->required();
  read->add_option("LEN", arguments->length, "number of bytes")->required();
  read->callback([&session, arguments] { readRegisters(session, arguments->address, arguments->length, {}); });
  CLI::App* write = app.add_subcommand("write", "Write registers: bytes in hexadecimal");
  write->add_option("ADDR", arguments->address, "register address")->required();
  write->add_option("HEX", arguments->hex, "bytes")->required();
  write->callback([&session, arguments] { writeRegisters(session, arguments->address, arguments->hex, {}); });
  addCard(app, session);
}

}  // namespace kadctl
