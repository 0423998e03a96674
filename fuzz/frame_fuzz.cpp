// Arbitrary datagrams through the envelope, the frame codec and the write record: nothing is read or written out of
// bounds, and what was decoded encodes to the same bytes.
#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "proto/writerecord.h"
#include "stub/mcucmessagestruct.h"

namespace {

using namespace TIRK_MCUC;

void require(bool holds) {
  if (!holds) std::abort();
}

void checkEnvelope(std::span<const uint8_t, kEnvelopeLength> wire) {
  std::array<uint8_t, kEnvelopeLength> again{};
  ipcHeaderInfo::decode(wire).encode(again);
  require(std::equal(again.begin(), again.end(), wire.begin()));
}

// The reply to a decoded request, and its way back.
void checkReply(ThirdProtoMCUCMsg frame) {
  std::vector<uint8_t> reply(frame.EncodedLength());
  const int length = frame.Encode(reply.data(), static_cast<int>(reply.size()));
  require(length == static_cast<int>(reply.size()));
  require(MCUCMsg::Checkout(reply.data(), length));
  ThirdProtoMCUCMsg again;
  require(again.Decode(reply.data(), length) == 0);
  require(again.m_usCheckout == frame.m_usCheckout);
  require(again.m_uiRegisterUnitAddress == frame.m_uiRegisterUnitAddress);
  require(again.m_usBoardAddress == frame.m_usBoardAddress);
  if (again.m_ucCode == kCodeWrite && again.m_ucReserved == 0xFF) require(again.m_data == frame.m_data);
}

void checkFrame(Bytes wire) {
  const int length = static_cast<int>(wire.size());
  MCUCMsg::Checkout(wire.data(), length);
  ThirdProtoMCUCMsg frame;
  if (frame.Decode(wire.data(), length) != 0) return;
  require(frame.m_data.size() == (frame.m_ucCode == kCodeWrite ? frame.m_usValidDataLength : 0U));
  checkReply(frame);
  const auto record = encodeWriteRecord(frame.m_uiRegisterUnitAddress, frame.m_usValidDataLength, frame.m_data);
  const auto decoded = decodeWriteRecord(record);
  require(decoded.has_value() == (frame.m_data.size() == frame.m_usValidDataLength));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes datagram(data, size);
  decodeWriteRecord(datagram);
  checkFrame(datagram);
  if (size < kEnvelopeLength) return 0;
  checkEnvelope(datagram.first<kEnvelopeLength>());
  checkFrame(datagram.subspan(kEnvelopeLength));
  return 0;
}
