// The handlers of HDR, picture quality, warm-up and gamma tables.
#include <algorithm>
#include <array>

#include "driverutil.h"
#include "mcuctrace.h"
#include "pendingsave.h"
#include "process/proc_poll.h"
#include "process/processframe.h"
#include "process/tprocess.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/gammaranges.h"
#include "proto/interactionpayloads.h"

namespace TIRK_MCUC {

namespace {

constexpr uint32_t kGammaAddressMask = 0x0FFFFFFF;

// As applyRecord, for a payload of the interaction space's own: `effect(const uint8_t* payload)`.
template <class Effect>
int applyPayload(const HandlerWords& words, size_t needed, int length, const uint8_t* data, Effect effect) {
  if (!beginHandler(words, data)) return 0;
  if (length >= 0 && static_cast<size_t>(length) >= needed) {
    effect(data);
  } else {
    dropTruncated(words, length);
  }
  finishHandler(words);
  return 0;
}

void setCell(ParaCell cell, uint16_t value) {
  ParaTable[cell] = value;
}

void storeHdrRecord(int length, const uint8_t* data) {
  const uint32_t stored = std::min(static_cast<uint32_t>(length), flash::kHdr.length);
  const int ret = DriverUtil::getInstance()->WriteDataToFlash(flash::kHdr.address, stored, data);
  if (ret != 0) TRACE_ERROR("=== WriteToHCInteraction ===write to page program failed. driverRet = " << ret);
}

void storeGammaPiece(const GammaRange& range, uint32_t address, Bytes piece) {
  DriverUtil& driver = *DriverUtil::getInstance();
  if (piece.size() > range.end() - address) {
    TRACE_ERROR("=== Sprocess_SenderRGBGamma ===runs past its table, address = " << hex << address << " len = "
                                                                                 << static_cast<int>(piece.size()));
    return;
  }
  // The marker says that the table is complete; the last colour's loads the set.
  const bool completes = address + piece.size() == range.end();
  const SavePart parts[] = {{range.table.address + (address - range.first), piece},
                            {range.tag.address, Data_Global::IsNewFlashTag}};
  {
    const PendingSave pending(std::span<const SavePart>(parts, completes ? 2 : 1));
    const int ret = driver.WriteDataToFlash(parts[0].address, static_cast<uint32_t>(piece.size()), piece.data());
    if (ret != 0) TRACE_ERROR(range.writeFailed << ret);
    if (!completes) return;
    driver.WriteDataToFlash(range.tag.address, range.tag.length, Data_Global::IsNewFlashTag.data());
  }
  if (range.completesSet) Data_Global::getInstance()->SendGammaToFpga(range.set);
}

void storeGamma(const WriteRecord& record) {
  const uint32_t address = record.address & kGammaAddressMask;
  if (const GammaRange* range = gammaRangeAt(address)) storeGammaPiece(*range, address, record.data);
  if (const GammaValue* value = gammaValueAt(address, record.length)) {
    DriverUtil::getInstance()->WriteDataToFlash(value->stored.address, value->stored.length, record.data.data());
  }
}

}  // namespace

int Tprocess::Sprocess_HDR10(int length, uint8_t* data) {
  return applyPayload({"Sprocess_HDR10"}, HDRParaData::kLength, length, data,
                      [length](const uint8_t* payload) {
                        const HDRParaData hdr = HDRParaData::decode(payload);
                        TRACE_INFO("Sprocess_HDR10 enter:");
                        TRACE_INFO("Process key: "
                                   << " fScreenPeakLight: " << hdr.fScreenPeakLight
                                   << " fambientLight: " << hdr.fambientLight << " brightness: " << hdr.brightness
                                   << " pMinLum: " << hdr.pMinLum);
                        setCell(PbufHDRType, hdr.HDRType);
                        setCell(PbufScrPeakLight, hdr.fScreenPeakLight);
                        setCell(PbufAmbientLight, hdr.fambientLight);
                        setCell(PbufLowGrayEffect, hdr.pMinLum);
                        setCell(PbufHigGrayEffect, hdr.pdelta);
                        setCell(PbufBrightness, hdr.brightness);
                        Data_Global::getInstance()->SendCardHDRProcess(hdr.HDRType);
                        storeHdrRecord(length, payload);
                      });
}

int Tprocess::Sprocess_HLG(int length, uint8_t* data) {
  return applyPayload({"Sprocess_HLG"}, HDRParaData::kLength, length, data,
                      [length](const uint8_t* payload) {
                        const HDRParaData hdr = HDRParaData::decode(payload);
                        TRACE_INFO("Sprocess_HLG enter:");
                        TRACE_INFO("Process key: "
                                   << " HLGClass: " << hdr.HLGCalss);
                        setCell(PbufHDRType, hdr.HDRType);
                        setCell(PbufHLGClass, hdr.HLGCalss);
                        Data_Global::getInstance()->SendCardHDRProcess(hdr.HDRType);
                        storeHdrRecord(length, payload);
                      });
}

int Tprocess::Sprocess_PictureQualityCal(int length, uint8_t* data) {
  return applyPayload({"Sprocess_PictureQualityCal"}, CSCParaData::kLength, length, data,
                      [](const uint8_t* payload) {
                        const CSCParaData picture = CSCParaData::decode(payload);
                        TRACE_INFO("Sprocess_PictureQualityCal enter:");
                        TRACE_INFO("Process key: "
                                   << " Contrast: " << picture.Contrast << " Saturation: " << picture.Saturation
                                   << " Hue: " << picture.Hue);
                        setCell(PbufContrast, picture.Contrast);
                        setCell(PbufSaturation, picture.Saturation);
                        setCell(PbufHue, picture.Hue);
                        Data_Global::getInstance()->PictureQualityProcess(0);
                      });
}

int Tprocess::Sprocess_DisplayWarmUp(int length, uint8_t* data) {
  return applyPayload({"Sprocess_DoBackupInfo"}, kWarmUpPayloadLength, length, data, [](const uint8_t* payload) {
    const uint8_t mode = payload[0];
    const uint8_t time = payload[1];
    TRACE_INFO("Sprocess_DisplayWarmUp enter:");
    TRACE_INFO("Process key: DoBackupInfoKey  WarmUpMode: " << mode << " WarmUpTime: " << time);
    std::array<uint8_t, 6> record{};
    static_assert(flash::kWarmUp.length == record.size());
    std::copy(Data_Global::IsNewFlashTag.begin(), Data_Global::IsNewFlashTag.end(), record.begin());
    record[4] = mode;
    record[5] = time;
    Proc_Poll::getInstance()->ChangeParaForKeepWarmUpMode = mode;
    Proc_Poll::getInstance()->ParaForKeepWarmUpModeTimeData = time;
    const int ret =
        DriverUtil::getInstance()->WriteDataToFlash(flash::kWarmUp.address, flash::kWarmUp.length, record.data());
    if (ret != 0) TRACE_ERROR("=== WriteToBackupInfo ===Write DisplayWarmUp to flash failed. ret = " << ret);
  });
}

int Tprocess::Sprocess_SenderRGBGamma(int length, uint8_t* data) {
  return applyRecord({"Sprocess_SenderRGBGamma", "SenderRGBGammaKey"}, length, data, storeGamma);
}

}  // namespace TIRK_MCUC
