#include "support/mixed_load.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

namespace testing_support {

using namespace TIRK_MCUC;

namespace {

constexpr int kPatienceMs = 60000;
constexpr uint16_t kOwnLength = 24;
constexpr uint32_t kFactoryReset = 0x01000002;
constexpr uint32_t kScreenFields = 0x02810011;

// Where anybody writes: outside every client's own bytes.
struct Range {
  uint32_t address;
  uint32_t span;  // offsets 0..span-1
  uint16_t most;  // bytes a write
};
constexpr Range kShared[] = {
    {0x0000000A, 1, 2},     {0x00010000, 8, 8},      {0x01000000, 1, 1},      {0x01000001, 1, 1},
    {0x01000004, 1, 1},     {0x01000005, 1, 1},      {0x01000018, 1, 1},      {0x01000020, 1, 4},
    {0x010000FF, 1, 1},     {0x02000000, 512, 16},   {0x02100000, 32, 16},    {0x02200118, 1, 2},
    {0x02200117, 1, 8},     {0x0220012C, 1, 2},      {0x0220013A, 1, 6},      {0x02300800, 1024, 64},
    {0x02400000, 1, 16},    {0x02700000, 512, 16},   {0x02810400, 1024, 128}, {0x03000000, 32768, 512},
    {0x03100000, 512, 128}, {0x05008000, 4096, 512}, {0x05060000, 512, 64},   {0x08000000, 1, 256},
    {0x0A000000, 512, 64},  {0x0A000000, 1, 3},      {0x0E000000, 4096, 64},  {0x0E100000, 4096, 64},
    {0x0E200000, 4096, 64}, {0x0F000801, 4096, 128}, {0x0F800100, 512, 64},   {0x12010000, 48, 8},
    {0x18001000, 1, 256},   {0xF0000200, 64, 20},
};

}  // namespace

MixedLoadClient::MixedLoadClient(const std::string& board, unsigned number)
    : m_client(board), m_random(number + 1), m_registers(registerMap()) {
  std::erase_if(m_registers, [](const RegisterMapEntry& entry) { return entry.address == kFactoryReset; });
  // The flash through the worker in two spaces, and the FPGA's memory at once.
  for (const uint32_t space : {0x02300000U, 0x05004000U, 0xF1000000U}) m_own.push_back({space + number * 64, {}});
}

std::vector<uint8_t> MixedLoadClient::randomBytes(size_t count) {
  std::vector<uint8_t> bytes(count);
  std::generate(bytes.begin(), bytes.end(), [this] { return static_cast<uint8_t>(m_random()); });
  return bytes;
}

kadctl::Message MixedLoadClient::ask(uint8_t code, uint32_t address, uint16_t length, const std::vector<uint8_t>& data,
                                     const kadctl::Target& target) {
  auto reply = m_client.ask(kadctl::BusClient::request(code, address, length, data, target), kPatienceMs);
  if (!reply || !reply->checksumRight) {
    char text[64];
    std::snprintf(text, sizeof text, "no right reply to %s of 0x%08x", code == kCodeRead ? "a read" : "a write",
                  address);
    throw std::runtime_error(text);
  }
  if (reply->frame.m_ucAck != kAckOk) ++m_refused;
  return std::move(*reply);
}

void MixedLoadClient::step() {
  const uint32_t dice = below(100);
  if (dice < 40) return readSomewhere();
  if (dice < 70) return writeSomewhere();
  if (dice < 88) return writeOwn();
  if (dice < 98) return askCard();
  layOut();
}

void MixedLoadClient::readSomewhere() {
  const RegisterMapEntry& entry = m_registers[below(static_cast<uint32_t>(m_registers.size()))];
  const auto least = static_cast<uint32_t>(entry.length.cmdLenMin);
  const uint32_t most = std::min(static_cast<uint32_t>(entry.length.cmdLenMax), least + 600);
  const auto length = static_cast<uint16_t>(least + below(most - least + 1));
  const uint32_t offset = (entry.keyMask & 0xFFFF) == 0 ? below(256) : 0;
  ask(kCodeRead, entry.address + offset, length, {});
}

void MixedLoadClient::writeSomewhere() {
  const Range& range = kShared[below(std::size(kShared))];
  const size_t length = range.most == 256 ? 256 : 1 + below(range.most);
  ask(kCodeWrite, range.address + below(range.span), static_cast<uint16_t>(length), randomBytes(length));
}

void MixedLoadClient::writeOwn() {
  OwnBytes& own = m_own[below(static_cast<uint32_t>(m_own.size()))];
  std::vector<uint8_t> bytes = randomBytes(kOwnLength);
  if (ask(kCodeWrite, own.address, kOwnLength, bytes).frame.m_ucAck == kAckOk) own.acknowledged = std::move(bytes);
}

void MixedLoadClient::askCard() {
  const kadctl::Target card{static_cast<uint8_t>(kDeviceRecvCard + below(3)), static_cast<uint8_t>(below(4)),
                            static_cast<uint16_t>(below(3))};
  if (below(2) == 0) {
    ask(kCodeRead, 0x02000000 + below(64), static_cast<uint16_t>(1 + below(300)), {}, card);
  } else {
    const size_t length = 1 + below(300);
    ask(kCodeWrite, 0x02000100 + below(64), static_cast<uint16_t>(length), randomBytes(length), card);
  }
}

void MixedLoadClient::layOut() {
  const auto rows = static_cast<uint8_t>(1 + below(3)), columns = static_cast<uint8_t>(1 + below(3));
  const auto cabinets = static_cast<uint8_t>(rows * columns);
  ask(kCodeWrite, kScreenFields, 9, {static_cast<uint8_t>(below(8)), 0, 0, 0, 0, rows, columns, cabinets, 0});
}

bool MixedLoadClient::ownBytesHold() {
  return std::all_of(m_own.begin(), m_own.end(), [this](const OwnBytes& own) {
    return own.acknowledged.empty() || ask(kCodeRead, own.address, kOwnLength, {}).frame.m_data == own.acknowledged;
  });
}

void BoardChanges::step() {
  const auto below = [this](uint32_t limit) { return std::to_string(m_random() % limit); };
  const std::string changes[] = {
      "cards " + below(4) + " " + below(4) + " 128 64",
      "link copper " + below(16),
      "link fiber1 " + below(16),
      "light board " + below(4000),
      "light card 0 0 0 " + below(4000),
      "clock set 2031-03-1" + below(3) + " 23:59:59",  // one of three days, shortly before it ends
  };
  m_monitor.command(changes[m_random() % std::size(changes)]);
}

}  // namespace testing_support
