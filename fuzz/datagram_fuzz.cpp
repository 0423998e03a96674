// A datagram through envelope, decode, dispatch, reply and the worker's handler, on a daemon that has served all the
// inputs before it: every frame that decodes gets one reply, whose lengths and checksum are right (the board checks
// them as it is sent), nothing stays queued, and no input takes more than 50 ms.
//
// Input: options (1), then the frame from its fourth byte on: labels, source, destination, device type, port, board
// (2), code, reserved, register address (4), valid data length (2), data. Tag, ack and checksum are put in.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "proto/data_common.h"
#include "support/daemon.h"
#include "support/input.h"
#include "support/verdict.h"

namespace {

using namespace fuzz;
using namespace TIRK_MCUC;

enum Option : uint8_t {
  kAsItIs = 0x01,         // the bytes are the whole datagram, envelope and all
  kWrongChecksum = 0x02,  // not repaired
  kPeerDaemon = 0x08,     // the sender is the screen-management daemon
  kRawLength = 0x10,      // the frame's length field stays as it is, whatever it carries
  kCycles = 0x20,         // then two cycles: what settles in one is computed in the next
};

// These options, of any sender, with such a checksum: cycles in which a reset that is due is made. One input in 1024,
// because a reset with the start that follows takes as long as forty others.
constexpr uint8_t kResetMask = 0xF7;
constexpr uint8_t kReset = 0x60;
constexpr uint8_t kResetSum = 0x07;  // bits that are 0

// These options, with cycles or without: the data are repeated up to the length that the frame says. Few inputs have
// them, so that long messages do not take all the time.
constexpr uint8_t kStretched = 0xC4;
constexpr size_t kFields = 15;  // of the header, from the labels on

using Header = std::array<uint8_t, kFrameHeaderLength>;

Header headerOf(Input& input) {
  Header header{};
  DWT_RENCWD(header.data(), PROTOCOL_HEADER_TAG_REQUEST);
  const auto fields = input.bytes(kFields);
  std::copy(fields.begin(), fields.end(), header.begin() + 3);
  return header;
}

size_t carriedLength(uint8_t options, const Header& header, size_t given) {
  const bool stretched = (options & ~kCycles) == kStretched && given != 0;
  return stretched ? std::max<size_t>(given, readWord(&header[16])) : given;
}

// The header, the data as often as they fit, and the checksum.
void fillFrame(uint8_t options, const Header& header, Bytes data, MutableBytes frame) {
  std::copy(header.begin(), header.end(), frame.begin());
  const MutableBytes carried = frame.subspan(kFrameHeaderLength, frame.size() - kShortestFrame);
  for (size_t at = 0; at < carried.size(); at += data.size()) {
    std::memcpy(&carried[at], data.data(), std::min(data.size(), carried.size() - at));
  }
  uint16_t sum = 0;
  MCUCMsg::CaculCheckout(frame.data(), 2, static_cast<int>(frame.size()) - 4, sum);
  DWT_ENCWD(&frame[frame.size() - 2], static_cast<uint16_t>(sum + ((options & kWrongChecksum) != 0 ? 1 : 0)));
}

std::vector<uint8_t> datagramOf(uint8_t options, Input& input) {
  if ((options & kAsItIs) != 0) {
    const auto bytes = input.rest();
    return {bytes.begin(), bytes.end()};
  }
  Header header = headerOf(input);
  const auto data = input.rest();
  const size_t carried = carriedLength(options, header, data.size());
  const bool write = header[10] == kCodeWrite;
  if (write && (options & kRawLength) == 0) DWT_ENCWD(&header[16], static_cast<uint16_t>(carried));
  const size_t length = std::min<size_t>(kShortestFrame + carried, TP_RECV_BUFFER_LENGTH);
  ipcHeaderInfo head;
  head.uiid = (options & kPeerDaemon) != 0 ? taskIdentifier(kTaskQxt) : kClientTask;
  head.size = static_cast<uint32_t>(length);
  head.smallLabel = 1;
  head.largeLabel = kLargeLabelFrame;
  head.payloadLength = static_cast<uint32_t>(length);
  std::vector<uint8_t> out(kEnvelopeLength + length);
  head.encode(MutableBytes(out).first<kEnvelopeLength>());
  fillFrame(options, header, data, MutableBytes(out).subspan(kEnvelopeLength));
  return out;
}

// The frame that the daemon has to answer; empty when it may not.
Bytes acceptedFrame(Bytes datagram) {
  if (datagram.size() < kEnvelopeLength) return {};
  const auto head = ipcHeaderInfo::decode(datagram.first<kEnvelopeLength>());
  if (head.largeLabel != kLargeLabelFrame || head.smallLabel > 1) return {};
  if (head.payloadLength > datagram.size() - kEnvelopeLength || head.payloadLength > TP_RECV_BUFFER_LENGTH) return {};
  const Bytes frame = datagram.subspan(kEnvelopeLength, head.payloadLength);
  if (frame.size() < kShortestFrame) return {};
  if (frame[10] == kCodeWrite && readWord(&frame[16]) > frame.size() - kShortestFrame) return {};
  return frame;
}

// Reads at these two offsets measure the bus with 655 350 transfers: that is what they are for.
bool measuresTheBus(Bytes frame) {
  const uint32_t address = readDword(&frame[12]);
  const uint32_t offset = address & 0xFFFF;
  return frame[6] == kDeviceSendCard && frame[10] == kCodeRead && address >> 16 == 0x0300 &&
         (offset == 0x1EE || offset == 0x1EF);
}

void checkReply(Bytes reply, Bytes request) {
  require(std::equal(request.begin() + 3, request.begin() + 8, reply.begin() + 3), "the reply is to this request");
  require(reply[10] == request[10], "the reply has the request's code");
  if (request[10] != kCodeRead) return;
  require(reply.size() <= size_t{kShortestFrame} + readWord(&request[16]), "a read returns what was asked for");
}

bool mayReset(uint8_t options, Bytes datagram) {
  return (options & kResetMask) == kReset && (datagram[datagram.size() - 2] & kResetSum) == 0;
}

void serve(Daemon& daemon, uint8_t options, const std::vector<uint8_t>& datagram, Bytes frame) {
  MemoryBoard& board = daemon.board();
  if (datagram.size() >= kEnvelopeLength) {
    board.expectReply(ipcHeaderInfo::decode(Bytes(datagram).first<kEnvelopeLength>()));
  }
  daemon.deliver(datagram);
  // An envelope that the fuzzer made may look like that of a report.
  const size_t replies = (options & kAsItIs) != 0 ? std::min<size_t>(board.replies, 1) : board.replies;
  require(frame.empty() || replies == 1, "every request gets one reply");
  if (!frame.empty()) checkReply(board.lastReply, frame);
  require(daemon.idle(), "what was queued is applied");
  if (!mayReset(options, datagram)) daemon.forgetReset();
  if ((options & kCycles) != 0) {
    daemon.cycle();
    daemon.cycle();
  }
  daemon.serveAgain();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Daemon& daemon = Daemon::instance();
  Input input(data, size);
  const uint8_t options = input.byte();
  const auto datagram = datagramOf(options, input);
  const Bytes frame = acceptedFrame(datagram);
  if (!frame.empty() && measuresTheBus(frame)) return -1;
  withinTime([&] { serve(daemon, options, datagram, frame); });
  return 0;
}
