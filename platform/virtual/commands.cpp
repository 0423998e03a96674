#include "virtual/commands.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <mutex>
#include <thread>
#include <vector>

#include "virtual/board.h"
#include "virtual/bus.h"
#include "virtual/cards.h"
#include "virtual/inputs.h"
#include "virtual/lights.h"
#include "virtual/text.h"
#include "virtual/words.h"

namespace vboard {

namespace {

constexpr uint32_t kAnyNumber = 0xFFFFFFFF;
constexpr size_t kReadPiece = 64U << 10;
constexpr uint32_t kLongestCardRead = 16U << 20;
constexpr int64_t kIdlePatienceMs = 30000;
constexpr int64_t kMicroseconds = 1'000'000;

void require(int result, const char* failure) {
  if (result != 0) throw CommandError(std::string(failure) + " (" + std::to_string(result) + ")");
}

// --- memories

// One line of hexadecimal digits, however long, in pieces.
template <class Memory>
void readMemory(const Memory& memory, uint32_t size, Words& words, Answer& answer) {
  uint32_t address = words.number("ADDR", 0, size - 1);
  uint32_t left = words.number("LEN", 1, size);
  words.end();
  if (left > size - address) throw CommandError("ADDR and LEN leave the " + std::to_string(size) + " bytes");
  std::vector<uint8_t> bytes;
  while (left != 0) {
    bytes.resize(std::min<size_t>(left, kReadPiece));
    require(memory.read(address, bytes), "cannot be read");
    answer.text(hexText(bytes));
    address += static_cast<uint32_t>(bytes.size());
    left -= static_cast<uint32_t>(bytes.size());
  }
  answer.line("");
}

template <class Memory>
void writeMemory(Memory& memory, uint32_t size, Words& words) {
  const uint32_t address = words.number("ADDR", 0, size - 1);
  const std::vector<uint8_t> bytes = words.hex("HEX");
  words.end();
  if (bytes.size() > size - address) throw CommandError("ADDR and HEX leave the " + std::to_string(size) + " bytes");
  require(memory.write(address, bytes), "cannot be written");
}

void fpgaRead(Words& words, Answer& answer) {
  readMemory(board().fpga, Fpga::kSize, words, answer);
}

void fpgaWrite(Words& words, Answer&) {
  writeMemory(board().fpga, Fpga::kSize, words);
  require(board().cards->noteLinks(), "cannot be stored");
}

void flashRead(Words& words, Answer& answer) {
  readMemory(board().flash, Flash::kSize, words, answer);
}

void flashWrite(Words& words, Answer&) {
  writeMemory(board().flash, Flash::kSize, words);
}

// --- environment

void envGet(Words& words, Answer& answer) {
  const std::string key(words.next("KEY"));
  words.end();
  const auto value = board().env.get(key);
  if (!value) throw CommandError("no such key");
  answer.line(*value);
}

void envSet(Words& words, Answer&) {
  const std::string key(words.next("KEY"));
  const std::string value(words.rest("VALUE"));
  require(board().env.set(key, value), "cannot be stored");
}

void envUnset(Words& words, Answer&) {
  const std::string key(words.next("KEY"));
  words.end();
  require(board().env.unset(key), "no such key");
}

// --- cards

CardAddress cardAddress(Words& words) {
  const auto kind = cardKindFromName(words.next("KIND"));
  if (!kind) throw CommandError("KIND must be recv, multi, dist or 3d");
  CardAddress card;
  card.kind = *kind;
  card.port = static_cast<uint8_t>(words.number("PORT", 0, kAllPorts));
  card.board = static_cast<uint16_t>(words.number("BOARD", 0, kAllBoards));
  return card;
}

void cards(Words& words, Answer&) {
  const uint32_t port = words.number("PORT", 0, kOutputPorts - 1);
  const auto count = static_cast<uint16_t>(words.number("COUNT", 0, kAllBoards));
  uint32_t width = 0, height = 0;
  if (count != 0 || !words.empty()) {
    width = words.number("WIDTH", 0, UINT16_MAX);
    height = words.number("HEIGHT", 0, UINT16_MAX);
  }
  words.end();
  require(board().cards->setChain(port, count, static_cast<uint16_t>(width), static_cast<uint16_t>(height)),
          "cannot be stored");
}

void cardRead(Words& words, Answer& answer) {
  const CardAddress card = cardAddress(words);
  const uint32_t address = words.number("ADDR", 0, kAnyNumber);
  std::vector<uint8_t> bytes(words.number("LEN", 1, kLongestCardRead));
  words.end();
  require(board().cards->read(card, address, bytes), "no such card, or no link to it");
  answer.line(hexText(bytes));
}

void cardWrite(Words& words, Answer&) {
  const CardAddress card = cardAddress(words);
  const uint32_t address = words.number("ADDR", 0, kAnyNumber);
  const std::vector<uint8_t> bytes = words.hex("HEX");
  words.end();
  require(board().cards->write(card, address, bytes), "cannot be written");
}

void link(Words& words, Answer&) {
  const std::string_view name = words.next("copper, fiber1 or fiber2");
  Link link = Link::Copper;
  if (name == "fiber1") {
    link = Link::Fiber1;
  } else if (name == "fiber2") {
    link = Link::Fiber2;
  } else if (name != "copper") {
    throw CommandError("a link is copper, fiber1 or fiber2");
  }
  const auto mask = static_cast<uint16_t>(words.number("MASK", 0, UINT16_MAX));
  words.end();
  require(board().cards->setLink(link, mask), "cannot be stored");
}

// --- light, inputs

// A number, or the word that stands for none.
std::optional<uint16_t> rawValue(Words& words, std::string_view none) {
  std::optional<uint16_t> raw;
  if (words.peek() == none) {
    words.next("RAW");
  } else {
    raw = static_cast<uint16_t>(words.number("RAW", 0, UINT16_MAX));
  }
  words.end();
  return raw;
}

void lightBoard(Words& words, Answer&) {
  require(board().lights->setBoard(rawValue(words, "fail")), "cannot be stored");
}

void lightCard(Words& words, Answer&) {
  const uint32_t port = words.number("PORT", 0, kOutputPorts - 1);
  const auto card = static_cast<uint16_t>(words.number("BOARD", 0, kAllBoards - 1));
  const auto sensor = static_cast<uint8_t>(words.number("SENSOR", 0, UINT8_MAX));
  require(board().cards->setSensor(port, card, sensor, rawValue(words, "off")), "cannot be stored");
}

void input(Words& words, Answer& answer) {
  const auto slot = static_cast<int>(words.number("SLOT", 0, Inputs::kSlots - 1));
  words.end();
  answer.line(board().inputs->text(slot));
}

// --- clock

void clock(Words& words, Answer& answer) {
  words.end();
  answer.line(Clock::text(board().clock.nowUs()));
}

// The time that the text says in local time, whole and valid: what it names is what a clock set to it shows.
int64_t timeOf(const std::string& text) {
  tm local = {};
  const char* const end = ::strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &local);
  local.tm_isdst = -1;
  const bool whole = end != nullptr && *end == '\0';
  const int64_t microseconds = whole ? static_cast<int64_t>(::mktime(&local)) * kMicroseconds : -1;
  if (Clock::text(microseconds) != text) throw CommandError("no time of the form YYYY-MM-DD HH:MM:SS");
  return microseconds;
}

void clockSet(Words& words, Answer&) {
  std::string text(words.next("YYYY-MM-DD"));
  text.append(" ").append(words.next("HH:MM:SS"));
  words.end();
  require(board().clock.set(timeOf(text)), "cannot be stored");
}

// --- faults, journal, bus

void fail(Words& words, Answer&) {
  const auto op = opFromName(words.next("OP"));
  if (!op) throw CommandError("no such OP");
  const uint32_t count = words.number("COUNT", 0, kAnyNumber);
  const int code = words.empty() ? -1 : words.signedNumber("CODE");
  words.end();
  if (code == 0) throw CommandError("CODE must not be 0");
  board().faults.set(*op, count, code);
}

void journalOn(Words& words, Answer&) {
  words.end();
  board().journal.setOn(true);
}

void journalOff(Words& words, Answer&) {
  words.end();
  board().journal.setOn(false);
}

void journalClear(Words& words, Answer&) {
  words.end();
  board().journal.clear();
}

void journalShow(Words& words, Answer& answer) {
  words.end();
  std::string text;
  {
    // Operations whose effect is seen have their line: one that is under way is waited for. The answer is not: a client
    // that does not read must not hold up the daemon.
    const std::lock_guard order(board().journal.order());
    text = board().journal.text();
  }
  answer.text(text);
}

void bus(Words& words, Answer& answer) {
  words.end();
  const Bus::Counters counters = board().bus->counters();
  answer.line("received " + std::to_string(counters.received));
  answer.line("sent " + std::to_string(counters.sent));
  answer.line("refused " + std::to_string(counters.refused));
  answer.line("dropped " + std::to_string(counters.dropped));
}

void idle(Words& words, Answer&) {
  const int64_t wantedMs = words.number("MS", 0, kAnyNumber);
  words.end();
  const auto now = [] {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  };
  for (const int64_t end = now() + kIdlePatienceMs;;) {
    // A message that nobody has taken yet is activity to come.
    const int64_t quietMs = board().bus->pending() ? 0 : board().activity.quietMs();
    if (quietMs >= wantedMs) return;
    const int64_t leftMs = end - now();
    if (leftMs <= 0) throw CommandError("busy");
    std::this_thread::sleep_for(std::chrono::milliseconds(std::min(wantedMs - quietMs, leftMs)));
  }
}

void reboot(Words& words, Answer& answer) {
  words.end();
  answer.afterwards = rebootBoard;
}

void help(Words& words, Answer& answer);

struct Command {
  std::string_view name;       // one or two words
  std::string_view arguments;  // as help shows them
  void (*run)(Words&, Answer&);
};

constexpr Command kCommands[] = {
    {"help", "", help},
    {"fpga read", "ADDR LEN", fpgaRead},
    {"fpga write", "ADDR HEX", fpgaWrite},
    {"flash read", "ADDR LEN", flashRead},
    {"flash write", "ADDR HEX", flashWrite},
    {"env get", "KEY", envGet},
    {"env set", "KEY VALUE", envSet},
    {"env unset", "KEY", envUnset},
    {"cards", "PORT COUNT WIDTH HEIGHT", cards},
    {"card read", "recv|multi|dist|3d PORT BOARD ADDR LEN", cardRead},
    {"card write", "recv|multi|dist|3d PORT BOARD ADDR HEX", cardWrite},
    {"link", "copper|fiber1|fiber2 MASK", link},
    {"light board", "RAW|fail", lightBoard},
    {"light card", "PORT BOARD SENSOR RAW|off", lightCard},
    {"input", "SLOT", input},
    {"clock set", "YYYY-MM-DD HH:MM:SS", clockSet},
    {"clock", "", clock},
    {"fail", "OP COUNT [CODE]", fail},
    {"journal on", "", journalOn},
    {"journal off", "", journalOff},
    {"journal clear", "", journalClear},
    {"journal show", "", journalShow},
    {"bus", "", bus},
    {"idle", "MS", idle},
    {"reboot", "", reboot},
};

void help(Words& words, Answer& answer) {
  words.end();
  for (const Command& command : kCommands) {
    answer.line(std::string(command.name) + (command.arguments.empty() ? "" : " ") + std::string(command.arguments));
  }
}

// Takes the command's name off the words; null when there is none of that name. A name of two words that begins with
// another's only one stands before it.
const Command* select(Words& words) {
  for (const Command& command : kCommands) {
    Words rest = words;
    bool matches = true;
    for (Words name(command.name); matches && !name.empty();) {
      matches = !rest.empty() && rest.next("") == name.next("");
    }
    if (!matches) continue;
    words = rest;
    return &command;
  }
  return nullptr;
}

}  // namespace

void Answer::line(std::string_view line) {
  text(line);
  text("\n");
}

std::string runCommand(std::string_view line, Answer& answer) {
  try {
    Words words(line);
    const Command* command = select(words);
    if (command == nullptr) throw CommandError("unknown command, \"help\" lists them");
    command->run(words, answer);
    return {};
  } catch (const CommandError& error) {
    return error.what();
  }
}

}  // namespace vboard
