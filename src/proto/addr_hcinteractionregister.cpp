#include "proto/addr_hcinteractionregister.h"

#include "driverutil.h"
#include "envstore.h"
#include "mcuctrace.h"
#include "proto/cardregisters.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/interactionpayloads.h"

namespace TIRK_MCUC {

namespace {

constexpr uint32_t kBase = 0x02200000;
constexpr size_t kWriteLimit = 512;  // offset plus length stays below

// Offsets of the space.
enum Offset : uint32_t {
  kCommunicationMode = 0xC0,
  kHdrType = 0x117,
  kPeakLight = 0x118,
  kAmbientLight = 0x11A,
  kHlgClass = 0x129,
  kWarmUp = 0x12C,
  kLowGrey = 0x12E,
  kPicture = 0x13A
};
constexpr size_t kHdrShort = 4;
constexpr size_t kHdrLong = 25;
constexpr size_t kHdrLongLowGrey = 23;
constexpr size_t kPictureRead = 6;
constexpr size_t kPictureWrite = 4;
constexpr size_t kWarmUpLength = 2;

constexpr RegisterDoc kDocs[] = {
    {"HDR mode and parameters at 0x117, 0x129, 0x12E, warm-up at 0x12C, saturation, "
     "contrast and hue at 0x13A, communication mode at 0xC0.",
     "Sets them; HDR and picture quality are computed and sent to the FPGA."}};

int readFlash(uint32_t registerAddress, MutableBytes out) {
  return DriverUtil::getInstance()->ReadBytesFromFlash(registerAddress - flash::kFromInteractionSpace,
                                                       static_cast<uint32_t>(out.size()), out.data());
}

void putHdr(const InteractionParameters& p, MutableBytes out) {
  out[0] = p.HDRType;
  DWT_ENCWD(&out[1], p.fScreenPeakLight);
  out[3] = static_cast<uint8_t>(p.fambientLight);
}

void readHdrLong(const InteractionParameters& p, uint32_t address, MutableBytes out) {
  std::vector<uint8_t> record(out.size());
  if (readFlash(address, record) != 0) {
    TRACE_ERROR("=== ReadFromHCInteraction ===Can not Read Flash When Get the 25 Para From HCInteraction");
    return;
  }
  std::copy(record.begin(), record.end(), out.begin());
  putHdr(p, out);
  out[kHdrLongLowGrey] = p.pMinLum;
}

void readWarmUp(MutableBytes out) {
  constexpr uint32_t kModeInRecord = 4;
  if (DriverUtil::getInstance()->ReadBytesFromFlash(flash::kWarmUp.address + kModeInRecord, kWarmUpLength,
                                                    out.data()) != 0) {
    TRACE_ERROR("=== ReadFromHCInteraction ===Can not Read Flash When Get the warm-up Para From HCInteraction");
    std::fill(out.begin(), out.end(), uint8_t{0});
  }
}

void readCommunicationMode(uint32_t address, MutableBytes out) {
  if (readFlash(address, out) == 0) return;
  TRACE_ERROR("=== ReadFromHCInteraction ===Can not Read Flash When Get the devcom_mode Para From HCInteraction");
  out[0] = 0;
}

void readPicture(const InteractionParameters& p, MutableBytes out) {
  DWT_ENCWD(&out[0], p.Saturation);
  DWT_ENCWD(&out[2], p.Contrast);
  DWT_ENCWD(&out[4], p.Hue);
}

// The receiving cards' brightness in percent; the last one known when they cannot be asked.
uint8_t cardBrightnessPercent() {
  uint8_t raw = 0;
  if (DriverUtil::getInstance()->ReadCardPara(kCardGlobalBrightness, 0, 1, &raw, RecvCard) != 0) {
    return static_cast<uint8_t>(ParaTable[PbufBrightness].load());
  }
  const auto percent = static_cast<uint8_t>(raw * 100 / 255);
  TRACE_INFO("RecBuf = " << raw << " Brightness = " << percent);
  return percent;
}

void writeCommunicationMode(uint8_t value) {
  EnvStore env;
  if (!env) TRACE_ERROR("=== WriteToHCInteraction ===Openenv Faild");
  if (!env.set("devcom_mode", value == 0 ? "0" : value == 1 ? "1" : "2")) {
    TRACE_ERROR("=== WriteToHCInteraction ===Setenv devcom_mode Faild");
  }
}

bool isHdrOffset(uint32_t offset) {
  return offset == kHdrType || offset == kPeakLight || offset == kAmbientLight || offset == kLowGrey ||
         offset == kHlgClass;
}

// The picture and the warm-up write frame their queueing with the same lines.
int queuePictureKind(const IMD_proto3rd& request, _ValueChanged_Table key, Bytes payload) {
  TRACE_INFO("============================ Begin add PictureQualityCalKey message to list===========================");
  const int result = RegisterSpace::queuePayload(request, key, payload);
  TRACE_INFO("============================ Finish add PictureQualityCalKey message to list===========================");
  return result;
}

}  // namespace

const SpaceTraits Addr_HCInteractionRegister::kTraits{
    "Addr_HCInteractionRegister", kBase, 0xFFFF0000, nullptr, false, false, kDocs};

Fshl_cmd Addr_HCInteractionRegister::cmd_tblOffset[] = {
    registerEntry(kBase, "human-computer interaction info", "human-computer interaction info register", {1, 512},
                  DoHCInteraction),
    {}};

int Addr_HCInteractionRegister::DoHCInteraction(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromHCInteraction, WriteToHCInteraction);
}

int Addr_HCInteractionRegister::ReadFromHCInteraction(IMD_proto3rd* request) {
  const InteractionParameters& p = getInstance()->m_parameters;
  const uint32_t address = request->proto.m_uiRegisterUnitAddress;
  const uint32_t offset = address & 0xFFF;
  const size_t length = request->proto.m_usValidDataLength;
  std::vector<uint8_t> out(length);
  if (offset == kHdrType && length == kHdrShort) putHdr(p, out);
  if (offset == kHdrType && length == kHdrLong) readHdrLong(p, address, out);
  if (offset == kLowGrey) out[0] = p.pMinLum;
  if (offset == kHlgClass) out[0] = p.HLGCalss;
  if (offset == kPicture && length == kPictureRead) readPicture(p, out);
  if (offset == kWarmUp && length == kWarmUpLength) readWarmUp(out);
  if ((address & 0xFFFF) == kCommunicationMode && length == 1) readCommunicationMode(address, out);
  request->appendData(out);
  return kDone;
}

int Addr_HCInteractionRegister::WriteToHCInteraction(IMD_proto3rd* request) {
  TRACE_INFO("=========================== Begin Write HCInter Info =============================");
  if (request == nullptr) {
    TRACE_ERROR("=== IMD_proto3rd ===:, msgIMD is invalid, return.");
    return kRefused;
  }
  Addr_HCInteractionRegister& space = *getInstance();
  const uint32_t offset = request->proto.m_uiRegisterUnitAddress & 0xFFFF;
  const Bytes data = request->data();
  if (offset + data.size() >= kWriteLimit) {
    TRACE_ERROR("=== ReadFromPosNetPort ===Invalid addr+len, return! address = " << offset << "len = "
                                                                                 << static_cast<int>(data.size()));
    return refuse(request, kOutsideSpace);
  }
  int result = kDone;
  if (!data.empty()) {
    if (isHdrOffset(offset)) result = space.writeHdr(request);
    if (offset == kPicture && data.size() == kPictureWrite) result = space.writePicture(request);
    if (offset == kWarmUp && data.size() == kWarmUpLength) result = queuePictureKind(*request, WarmUpKey, data);
    if (offset == kCommunicationMode) writeCommunicationMode(data[0]);
  }
  if (result != kDone) return refuse(request, result);
  request->SyncWrite = 1;
  TRACE_INFO("=========================== Finish Write HCInter Info ============================");
  return kDone;
}

int Addr_HCInteractionRegister::writeHdr(IMD_proto3rd* request) {
  const uint32_t offset = request->proto.m_uiRegisterUnitAddress & 0xFFFF;
  const Bytes data = request->data();
  if (offset == kPeakLight && data.size() < 2) {
    TRACE_ERROR("=== WriteToHCInteraction ===the peak luminance needs 2 bytes");
    return kBadLength;
  }
  InteractionParameters p = m_parameters;
  if (offset == kHdrType) p.HDRType = data[0];
  TRACE_INFO("HDRType " << p.HDRType);
  HDRParaData payload;
  payload.HDRType = p.HDRType;
  const bool hdr10 = p.HDRType == kHdrTypeHdr10;
  if (hdr10) {
    TRACE_INFO("============================ Begin add HDR10Key message to list===========================");
    if (offset == kPeakLight) p.fScreenPeakLight = readWord(data.data());
    if (offset == kAmbientLight) p.fambientLight = data[0];
    if (offset == kLowGrey) p.pMinLum = data[0];
    payload.brightness = cardBrightnessPercent();
    payload.fScreenPeakLight = p.fScreenPeakLight;
    payload.fambientLight = p.fambientLight;
    payload.pMinLum = p.pMinLum;
    payload.pdelta = p.pdelta;
  } else {
    TRACE_INFO("============================ Begin add HLGKey message to list===========================");
    if (offset == kHlgClass) p.HLGCalss = data[0];
    payload.HLGCalss = p.HLGCalss;
  }
  if (const int result = queuePayload(*request, hdr10 ? HDR10Key : HLGKey, payload.encode()); result != kDone) {
    return result;
  }
  m_parameters = p;
  TRACE_INFO("============================ Finish add HDR10Key or HLGKey message to list===========================");
  return kDone;
}

int Addr_HCInteractionRegister::writePicture(IMD_proto3rd* request) {
  const Bytes data = request->data();
  const CSCParaData payload{data[0], data[1], readWord(&data[2])};
  const int result = queuePictureKind(*request, PictureQualityCalKey, payload.encode());
  if (result != kDone) return result;
  m_parameters.Saturation = payload.Saturation;
  m_parameters.Contrast = payload.Contrast;
  m_parameters.Hue = payload.Hue;
  return kDone;
}

}  // namespace TIRK_MCUC
