#include <atomic>
#include <cstring>
#include <filesystem>
#include <thread>
#include <vector>

#include "boardaccess.h"
#include "support/board_fixture.h"
#include "virtual/cards.h"

namespace testing_support {
namespace {

using vboard::board;
using vboard::CardAddress;
using vboard::CardKind;
using vboard::Cards;
using vboard::kAllBoards;
using vboard::kAllPorts;
using vboard::Link;

constexpr CardAddress recv(unsigned port, uint16_t card) {
  return {CardKind::Receiving, static_cast<uint8_t>(port), card};
}
constexpr CardAddress multi(unsigned port, uint16_t card) {
  return {CardKind::MultiFunction, static_cast<uint8_t>(port), card};
}
constexpr CardAddress kEveryRecv = recv(kAllPorts, kAllBoards);

class VirtualCards : public BoardTest {
 protected:
  static Cards& cards() { return *board().cards; }
  // What the card holds; empty when it cannot be read.
  static ByteVector read(const CardAddress& card, uint32_t address, size_t length) {
    ByteVector out(length, 0xEE);
    return cards().read(card, address, out) == 0 ? out : ByteVector();
  }
  static void write(const CardAddress& card, uint32_t address, const ByteVector& data) {
    EXPECT_EQ(cards().write(card, address, data), 0);
  }
  // As the next process finds it.
  static void reopen() {
    board().cards.reset();
    board().cards = std::make_unique<Cards>();
  }
  std::filesystem::path file() const { return m_directory.path() / "cards"; }

  // The board access library's operations, with a header as the daemon builds it.
  static RECVCARD_MESG_T header(uint8_t type, uint8_t port, uint16_t card, uint8_t code, uint32_t address,
                                const ByteVector& data, size_t length) {
    RECVCARD_MESG_T out{type, port, card, code, 0, address, static_cast<uint16_t>(length), 0, 0};
    uint8_t image[12];
    std::memcpy(image, &out, sizeof image);
    unsigned sum = 0;
    for (const uint8_t byte : image) sum += byte;
    for (const uint8_t byte : data) sum += byte;
    out.checksum = static_cast<uint16_t>(sum);
    return out;
  }
  static int daemonRead(uint8_t type, uint8_t port, uint16_t card, uint32_t address, ByteVector& out) {
    const RECVCARD_MESG_T request = header(type, port, card, 0, address, {}, out.size());
    return ReadFPGAformRecvCard(1, &request, port, out.data());
  }
  static int daemonWrite(uint8_t type, uint8_t port, uint16_t card, uint32_t address, const ByteVector& data) {
    const RECVCARD_MESG_T request = header(type, port, card, 1, address, data, data.size());
    return WriteFPGAToRecvCard(1, &request, port, data.data());
  }
};

TEST_F(VirtualCards, AChainAnswersItsSizeAndItsRegisters) {
  EXPECT_EQ(read(recv(3, 0), 0, 1), ByteVector());
  ASSERT_EQ(cards().setChain(3, 2, 0x0180, 0x0040), 0);
  EXPECT_EQ(read(recv(3, 1), 0x02000015, 8), bytes({0, 0, 0x80, 0x01, 0x40, 0x00, 0, 0}));
  EXPECT_EQ(read(recv(3, 1), 0x02000018, 2), bytes({0x01, 0x40}));
  write(recv(3, 1), 0x02000016, bytes({1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(read(recv(3, 1), 0x02000016, 6), bytes({1, 0x80, 0x01, 0x40, 0x00, 6}));  // the size is the card's own
  EXPECT_EQ(read(recv(3, 0), 0x02000016, 1), bytes({0}));
  for (const CardAddress& absent : {recv(3, 2), recv(2, 0), recv(16, 0), recv(3, kAllBoards), recv(kAllPorts, 0)}) {
    EXPECT_EQ(read(absent, 0, 1), ByteVector()) << absent.port << " " << absent.board;
    write(absent, 0x100, bytes({9}));
  }
  ASSERT_EQ(cards().setChain(3, 0, 0, 0), 0);
  EXPECT_EQ(read(recv(3, 0), 0, 1), ByteVector());
}

TEST_F(VirtualCards, AddressesReachTheWholeSpaceAndNotBeyond) {
  cards().setChain(0, 1, 1, 1);
  const ByteVector long_(3000, 0x77);
  write(recv(0, 0), 0xFFFFFFFF - 2999, long_);
  EXPECT_EQ(read(recv(0, 0), 0xFFFFFFFF - 2999, 3000), long_);
  EXPECT_EQ(read(recv(0, 0), 0xFFFFFFFF - 3001, 3), bytes({0, 0, 0x77}));
  EXPECT_EQ(cards().write(recv(0, 0), 0xFFFFFFFF, bytes({1, 2})), -1);
  EXPECT_EQ(read(recv(0, 0), 0xFFFFFFFF, 2), ByteVector());
  EXPECT_EQ(read(recv(0, 0), 0xFFFFFFFF, 1), bytes({0x77}));
}

TEST_F(VirtualCards, BroadcastsReachWhatTheyName) {
  for (const unsigned port : {0U, 1U, 15U}) cards().setChain(port, 3, 128, 128);
  const auto image = [] {
    std::string out;
    for (const unsigned port : {0U, 1U, 15U}) {
      for (uint16_t card = 0; card < 3; ++card) out += std::to_string(read(recv(port, card), 0x1FF, 2)[1]);
      out += ' ';
    }
    return out;
  };
  write(kEveryRecv, 0x1FF, bytes({9, 1}));
  EXPECT_EQ(image(), "111 111 111 ");
  write(recv(1, 1), 0x200, bytes({2}));
  EXPECT_EQ(image(), "111 121 111 ");
  write(recv(15, kAllBoards), 0x200, bytes({3}));
  EXPECT_EQ(image(), "111 121 333 ");
  write(recv(kAllPorts, 2), 0x200, bytes({4}));
  EXPECT_EQ(image(), "114 124 334 ");
  write(kEveryRecv, 0x1FF, bytes({8}));  // another byte of what the cards share
  EXPECT_EQ(image(), "114 124 334 ");
  cards().setChain(0, 3, 128, 128);  // newly powered
  EXPECT_EQ(image(), "000 124 334 ");
  write(kEveryRecv, 0x200, bytes({5}));
  EXPECT_EQ(image(), "555 555 555 ");
  EXPECT_EQ(read(recv(0, 0), 0x1FF, 1), bytes({0}));
  EXPECT_EQ(read(recv(1, 0), 0x1FF, 1), bytes({8}));
}

TEST_F(VirtualCards, OtherKindsAreThereOnceTheyAreWritten) {
  for (const CardKind kind : {CardKind::MultiFunction, CardKind::Distribution, CardKind::Launcher3D}) {
    const CardAddress card{kind, 4, 7}, everyCard{kind, kAllPorts, kAllBoards};
    write(everyCard, 0x10, bytes({1}));  // nobody is there
    EXPECT_EQ(read(card, 0x10, 1), ByteVector());
    write(card, 0x20, bytes({0}));
    EXPECT_EQ(read(card, 0x10, 2), bytes({0, 0}));
    write(everyCard, 0x10, bytes({2}));
    EXPECT_EQ(read(card, 0x10, 1), bytes({2}));
    EXPECT_EQ(read({kind, 4, 8}, 0x10, 1), ByteVector());
  }
}

TEST_F(VirtualCards, SensorsAnswerTheirQuery) {
  constexpr uint32_t kQuery = 0x06000000;
  const auto query = [](int sensor) { return bytes({sensor, 0, 0, 0, 0x55, 0xAA, 1, 2, 0x80, 0xFF, 0x81}); };
  ASSERT_EQ(cards().setSensor(2, 5, 1, 0x012C), 0);
  ASSERT_EQ(cards().setSensor(2, 5, 3, 0xFFFF), 0);
  EXPECT_EQ(read(multi(2, 5), kQuery, 5), bytes({0, 0, 0, 0, 0}));  // not asked yet
  write(multi(2, 5), kQuery, query(1));
  EXPECT_EQ(read(multi(2, 5), kQuery, 5), bytes({1, 2, 0x81, 0x2C, 0xAF}));
  EXPECT_EQ(read(multi(2, 5), kQuery + 2, 2), bytes({0x81, 0x2C}));
  write(multi(2, 5), kQuery, query(3));
  EXPECT_EQ(read(multi(2, 5), kQuery, 4), bytes({1, 2, 0xFF, 0xFF}));
  for (const int silent : {0, 2}) {
    write(multi(2, 5), kQuery, query(silent));
    EXPECT_NE(read(multi(2, 5), kQuery, 2), bytes({1, 2})) << silent;
  }
  reopen();
  write({CardKind::MultiFunction, kAllPorts, kAllBoards}, kQuery, query(1));
  EXPECT_EQ(read(multi(2, 5), kQuery, 2), bytes({1, 2}));
  ASSERT_EQ(cards().setSensor(2, 5, 1, std::nullopt), 0);
  EXPECT_NE(read(multi(2, 5), kQuery, 2), bytes({1, 2}));

  // A query to all reaches a card of which nothing is known but its sensor.
  ASSERT_EQ(cards().setSensor(9, 0, 0, 5), 0);
  write({CardKind::MultiFunction, 9, kAllBoards}, kQuery, query(0));
  EXPECT_EQ(read(multi(9, 0), kQuery, 4), bytes({1, 2, 0x80, 5}));
}

TEST_F(VirtualCards, LinksAreStatusRegistersAndCarryReads) {
  cards().setChain(0, 1, 8, 8);
  cards().setChain(9, 1, 8, 8);
  EXPECT_EQ(fpga(0x1F, 1), bytes({1}));
  EXPECT_EQ(fpga(0x126, 2), bytes({2, 0}));
  EXPECT_EQ(fpga(0xF05100, 4), bytes({1, 0, 2, 0}));
  setFpga(0x9F, bytes({0xA0}));
  cards().setLink(Link::Copper, 0x8421);
  EXPECT_EQ(fpga(0x1F, 1), bytes({1}));
  EXPECT_EQ(fpga(0x9F, 1), bytes({0xA2}));
  EXPECT_EQ(fpga(0x126, 2), bytes({4, 8}));
  EXPECT_EQ(fpga(0xF05100, 4), bytes({1, 2, 4, 8}));
  EXPECT_EQ(read(recv(9, 0), 0, 1), ByteVector());
  cards().setLink(Link::Fiber1, 0x0201);
  EXPECT_EQ(fpga(0x1F2, 4), bytes({0x01, 0x02, 0, 0}));
  EXPECT_EQ(fpga(0xF04000, 4), bytes({0x01, 0x02, 0, 0}));
  EXPECT_EQ(read(recv(9, 0), 0, 1), bytes({0}));
  cards().setLink(Link::Fiber1, 0);
  cards().setLink(Link::Fiber2, 0x0200);
  EXPECT_EQ(fpga(0x1F2, 4), bytes({0, 0, 0x00, 0x02}));
  EXPECT_EQ(fpga(0xF04000, 4), bytes({0, 0, 0x00, 0x02}));
  EXPECT_EQ(read(recv(9, 0), 0, 1), bytes({0}));

  setFpga(0x1F4, bytes({0, 0}));
  setFpga(0xF04002, bytes({0, 0}));
  cards().noteLinks();
  EXPECT_EQ(read(recv(9, 0), 0, 1), ByteVector());
  write(recv(9, 0), 0, bytes({3}));  // what is written goes out all the same
  setFpga(0x127, bytes({0}));
  setFpga(0x126, bytes({2}));
  cards().noteLinks();
  EXPECT_EQ(read(recv(9, 0), 0, 1), bytes({3}));
}

TEST_F(VirtualCards, EverythingSurvivesTheProcess) {
  cards().setChain(0, 40, 96, 64);
  cards().setChain(1, 1, 7, 9);
  write(kEveryRecv, 0x02000001, bytes({0x64}));
  write(recv(0, 17), 0x02000001, bytes({0x32, 0x33}));
  write(multi(3, 1), 0xFFFFFFF0, bytes({5, 6}));
  cards().setLink(Link::Fiber2, 0x0003);
  for (int pass = 0; pass < 2; ++pass) {  // from the log, then from what the first pass made of it
    reopen();
    EXPECT_EQ(read(recv(0, 39), 0x02000017, 4), bytes({96, 0, 64, 0}));
    EXPECT_EQ(read(recv(0, 40), 0, 1), ByteVector());
    EXPECT_EQ(read(recv(1, 0), 0x02000017, 4), bytes({7, 0, 9, 0}));
    EXPECT_EQ(read(recv(0, 16), 0x02000001, 2), bytes({0x64, 0}));
    EXPECT_EQ(read(recv(0, 17), 0x02000001, 2), bytes({0x32, 0x33}));
    EXPECT_EQ(read(recv(1, 0), 0x02000001, 1), bytes({0x64}));
    EXPECT_EQ(read(multi(3, 1), 0xFFFFFFF0, 2), bytes({5, 6}));
  }
  // Cards that were equal are written apart again.
  write(recv(0, 16), 0x02000001, bytes({0x11}));
  EXPECT_EQ(read(recv(0, 15), 0x02000001, 1), bytes({0x64}));
}

TEST_F(VirtualCards, APowerOnClearsRegistersAndKeepsChainsAndLinks) {
  cards().setChain(6, 2, 32, 16);
  cards().setSensor(6, 0, 0, 9);
  cards().setLink(Link::Fiber1, 0x0100);
  write(recv(6, 1), 0x50, bytes({1}));
  write(multi(6, 3), 0x50, bytes({1}));
  board().fpga.clear();
  reopen();  // killed here
  cards().clearRegisters();
  for (int pass = 0; pass < 2; ++pass) {
    EXPECT_EQ(read(recv(6, 1), 0x50, 1), bytes({0}));
    EXPECT_EQ(read(multi(6, 3), 0x50, 1), bytes({0}));
    EXPECT_EQ(read(recv(6, 1), 0x02000017, 4), bytes({32, 0, 16, 0}));
    EXPECT_EQ(fpga(0x9F, 1), bytes({4}));
    EXPECT_EQ(fpga(0x1F2, 2), bytes({0, 1}));
    reopen();
  }
}

// The file as a process leaves it that is killed in the middle of a write: whole records count, the rest does not.
TEST_F(VirtualCards, ACutRecordIsDroppedAndADamagedFileIsRefused) {
  cards().setChain(0, 1, 8, 8);
  const auto before = std::filesystem::file_size(file());
  write(recv(0, 0), 0x100, bytes({1, 2, 3}));
  const auto after = std::filesystem::file_size(file());
  const std::string whole = m_directory.get("cards");
  for (auto size = before; size <= after; ++size) {
    m_directory.put("cards", whole.substr(0, static_cast<size_t>(size)));
    reopen();
    EXPECT_EQ(read(recv(0, 0), 0x100, 3), size < after ? bytes({0, 0, 0}) : bytes({1, 2, 3})) << size;
    write(recv(0, 0), 0x200, bytes({7}));
    reopen();
    EXPECT_EQ(read(recv(0, 0), 0x200, 1), bytes({7})) << size;
  }
  std::string flipped = whole;
  flipped.back() = static_cast<char>(flipped.back() ^ 1);
  m_directory.put("cards", flipped);
  reopen();
  EXPECT_EQ(read(recv(0, 0), 0x100, 3), bytes({0, 0, 0}));

  for (const std::string& other : {std::string("something else"), std::string("cards 2\n")}) {
    m_directory.put("cards", other);
    EXPECT_THROW(Cards(), std::runtime_error) << other;
  }
  for (const std::string& start : {std::string(), whole.substr(0, 5)}) {
    m_directory.put("cards", start);
    EXPECT_NO_THROW(reopen());
    EXPECT_EQ(read(recv(0, 0), 0, 1), ByteVector());
  }
}

TEST_F(VirtualCards, AWallThatIsToldTheSameCostsLittle) {
  for (unsigned port = 0; port < 10; ++port) cards().setChain(port, 512, 128, 128);
  const auto size = [this] { return std::filesystem::file_size(file()); };
  auto before = size();
  const ByteVector block = repeated(512, 0x3C);
  write(kEveryRecv, 0x1000, block);
  EXPECT_LT(size() - before, 600U);
  before = size();
  for (int i = 0; i < 100; ++i) write(kEveryRecv, 0x1000, block);
  EXPECT_EQ(size(), before);
  for (uint32_t i = 0; i < 2000; ++i) write(kEveryRecv, 0x100000 + 512 * i, block);  // 1 MiB to 5120 cards
  reopen();
  EXPECT_LT(size(), 3U << 20);
  EXPECT_EQ(read(recv(9, 511), 0x100000 + 512 * 1999, 512), block);
}

TEST_F(VirtualCards, TheLogOfAYearOfChangesIsReplaced) {
  cards().setChain(0, 2, 8, 8);
  const ByteVector first = repeated(512, 1), second = repeated(512, 2);
  uintmax_t longest = 0;
  for (int i = 0; i < 80000; ++i) {
    write(recv(0, 0), 0x100, i % 2 == 0 ? first : second);
    if (i % 1000 == 0) longest = std::max(longest, std::filesystem::file_size(file()));
  }
  EXPECT_GT(longest, 20U << 20);
  EXPECT_LT(longest, 40U << 20);
  EXPECT_LT(std::filesystem::file_size(file()), longest);
  reopen();
  EXPECT_EQ(read(recv(0, 0), 0x100, 512), second);
}

TEST_F(VirtualCards, AWriteIsSeenWholeByOtherThreads) {
  for (const unsigned port : {0U, 1U}) cards().setChain(port, 64, 8, 8);
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  for (const CardAddress& to : {kEveryRecv, recv(1, kAllBoards), recv(1, 63)}) {
    writers.emplace_back([&stop, to] {
      for (uint8_t value = 0; !stop; ++value) write(to, 0x1F0, repeated(32, value));
    });
  }
  std::thread links([&stop] {
    for (uint16_t mask = 0; !stop; ++mask) cards().setLink(Link::Fiber1, mask);
  });
  bool whole = true;
  for (int i = 0; i < 2000 && whole; ++i) {
    const ByteVector seen = read(recv(1, 63), 0x1F0, 32);
    whole = seen.size() == 32 && seen == repeated(32, seen[0]);
  }
  EXPECT_TRUE(whole);
  stop = true;
  for (std::thread& writer : writers) writer.join();
  links.join();
}

TEST_F(VirtualCards, TheDaemonsTransactionsAreCheckedAndJournalled) {
  cards().setChain(1, 2, 8, 8);
  clearJournal();
  ByteVector out(2, 0xEE);
  EXPECT_EQ(daemonWrite(1, 255, 0xFFFF, 0x01000000, bytes({0xFF, 0xFE})), 0);
  EXPECT_EQ(daemonRead(1, 1, 1, 0x01000000, out), 0);
  EXPECT_EQ(out, bytes({0xFF, 0xFE}));
  EXPECT_EQ(daemonRead(1, 1, 2, 0x01000000, out), -1);
  EXPECT_EQ(daemonWrite(3, 5, 9, 0x10, repeated(65, 0xAB)), 0);
  EXPECT_EQ(daemonRead(3, 5, 9, 0x10, out), -1);  // it is there, its port has no link
  cards().setLink(Link::Fiber2, 1U << 5);
  EXPECT_EQ(daemonRead(3, 5, 9, 0x10, out), 0);
  fail(vboard::Op::CardRead, 1, -5);
  fail(vboard::Op::CardWrite, 1, 9);
  EXPECT_EQ(daemonRead(1, 1, 0, 0x01000000, out), -5);
  EXPECT_EQ(daemonWrite(4, 1, 0, 0x01000000, bytes({1})), 9);
  EXPECT_EQ(read({CardKind::Launcher3D, 1, 0}, 0x01000000, 1), ByteVector());
  std::string hex;
  for (int i = 0; i < 64; ++i) hex += "ab";
  const std::vector<std::string> expected = {
      "card w recv 255 65535 0x01000000 2 fffe", "card r recv 1 1 0x01000000 2",
      "card r recv 1 2 0x01000000 2 failed -1",  "card w dist 5 9 0x00000010 65 " + hex + "...",
      "card r dist 5 9 0x00000010 2 failed -1",  "card r dist 5 9 0x00000010 2",
      "card r recv 1 0 0x01000000 2 failed -5",  "card w 3d 1 0 0x01000000 1 01 failed 9"};
  EXPECT_EQ(journalLines(), expected);
}

TEST_F(VirtualCards, ABadHeaderFails) {
  cards().setChain(0, 1, 8, 8);
  const ByteVector data = bytes({0xFF, 0xFF});
  RECVCARD_MESG_T write = header(1, 0, 0, 1, 0x01000000, data, 2);
  EXPECT_EQ(write.checksum, 515);
  ByteVector out(2);
  const auto broken = [&](auto change) {
    RECVCARD_MESG_T request = write;
    change(request);
    return WriteFPGAToRecvCard(1, &request, 0, data.data());
  };
  EXPECT_EQ(broken([](auto& request) { request.checksum ^= 1; }), -1);
  EXPECT_EQ(broken([](auto& request) { request.code = 0, --request.checksum; }), -1);
  EXPECT_EQ(broken([](auto& request) { request.DeviceType = 0, --request.checksum; }), -1);
  EXPECT_EQ(broken([](auto& request) { request.DeviceType = 5, request.checksum += 4; }), -1);
  EXPECT_EQ(broken([](auto& request) { request.RegisterAddr = 0x00010000; }), 0);  // the sum is blind to it
  EXPECT_EQ(WriteFPGAToRecvCard(1, nullptr, 0, data.data()), -1);
  EXPECT_EQ(WriteFPGAToRecvCard(1, &write, 0, nullptr), -1);
  EXPECT_EQ(ReadFPGAformRecvCard(1, &write, 0, out.data()), -1);
  EXPECT_EQ(read(recv(0, 0), 0x01000000, 2), bytes({0, 0}));
  EXPECT_EQ(WriteFPGAToRecvCard(1, &write, 0, data.data()), 0);
  EXPECT_EQ(read(recv(0, 0), 0x01000000, 2), data);
}

}  // namespace
}  // namespace testing_support
