// Card transactions of the board access library over the virtual board's cards.
#include <string>

#include "boardaccess.h"
#include "virtual/board.h"
#include "virtual/cards.h"

namespace {

using vboard::board;
using vboard::Bytes;
using vboard::CardAddress;
using vboard::CardKind;
using vboard::MutableBytes;

enum Code : uint8_t { kRead = 0, kWrite = 1 };

unsigned byteSum(uint32_t value) {
  return (value & 0xFF) + (value >> 8 & 0xFF) + (value >> 16 & 0xFF) + (value >> 24);
}

uint16_t checksum(const RECVCARD_MESG_T& header, Bytes data) {
  unsigned sum = byteSum(header.DeviceType) + byteSum(header.ProtAddr) + byteSum(header.BoardAddr) +
                 byteSum(header.code) + byteSum(header.PacketType) + byteSum(header.RegisterAddr) +
                 byteSum(header.length);
  for (const uint8_t byte : data) sum += byte;
  return static_cast<uint16_t>(sum);
}

bool acceptable(const RECVCARD_MESG_T& header, Code code, Bytes data) {
  return header.DeviceType >= 1 && header.DeviceType <= vboard::kCardKinds && header.code == code &&
         header.checksum == checksum(header, data);
}

// "card r KIND PORT BOARD ADDR LEN".
std::string text(const char* operation, const RECVCARD_MESG_T& header, uint8_t port) {
  return std::string("card ") + operation + " " + vboard::cardKindName(header.DeviceType) + " " + std::to_string(port) +
         " " + std::to_string(header.BoardAddr) + " " + vboard::journalAddress(header.RegisterAddr) + " " +
         std::to_string(header.length);
}

int readCard(const RECVCARD_MESG_T& header, uint8_t port, MutableBytes out) {
  if (const int fault = board().faults.next(vboard::Op::CardRead); fault != 0) return fault;
  if (!acceptable(header, kRead, {})) return -1;
  const CardAddress from{static_cast<CardKind>(header.DeviceType), port, header.BoardAddr};
  return board().cards->readFromDaemon(from, header.RegisterAddr, out);
}

int writeCard(const RECVCARD_MESG_T& header, uint8_t port, Bytes data) {
  if (const int fault = board().faults.next(vboard::Op::CardWrite); fault != 0) return fault;
  if (!acceptable(header, kWrite, data)) return -1;
  const CardAddress to{static_cast<CardKind>(header.DeviceType), port, header.BoardAddr};
  return board().cards->write(to, header.RegisterAddr, data);
}

}  // namespace

extern "C" {

int ReadFPGAformRecvCard(int, const RECVCARD_MESG_T* header, uint8_t port, uint8_t* data) {
  if (header == nullptr || (data == nullptr && header->length != 0)) return -1;
  return board().journal.record([&] { return text("r", *header, port); },
                                [&] {
                                  return readCard(*header, port, {data, header->length});
                                });
}

int WriteFPGAToRecvCard(int, const RECVCARD_MESG_T* header, uint8_t port, const uint8_t* data) {
  if (header == nullptr || (data == nullptr && header->length != 0)) return -1;
  const Bytes bytes(data, header->length);
  const int result = board().journal.record([&] { return text("w", *header, port) + vboard::journalHex(bytes); },
                                            [&] { return writeCard(*header, port, bytes); });
  board().activity.touch();
  return result;
}

}  // extern "C"
