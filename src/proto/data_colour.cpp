// Gamma tables, HDR curves, colour-space conversion and test patterns.
#include <array>

#include "colourcalc.h"
#include "driverutil.h"
#include "mcuctrace.h"
#include "mcucutil.h"
#include "proto/data_common.h"
#include "proto/flashmap.h"
#include "proto/fpgamap.h"
#include "proto/gammacurve.h"
#include "proto/gammaranges.h"
#include "proto/patterngeometry.h"

namespace TIRK_MCUC {

namespace {

constexpr uint8_t kHdr10 = 'X';
constexpr uint8_t kHlg = 'x';
constexpr uint8_t kHdrBitWidth = 10;
constexpr uint8_t kHdrGammaMark = 0x5A;
constexpr uint8_t kHdrOn = 0x58;
constexpr uint8_t kHdrOff = 0xFF;
constexpr uint8_t kPatternStrobe = 0xA8;
constexpr unsigned long kStrobeMs = 1;

DriverUtil& driver() {
  return *DriverUtil::getInstance();
}
uint8_t lowByte(ParaCell cell) {
  return static_cast<uint8_t>(ParaTable[cell].load());
}

void writeFpga(uint32_t address, Bytes bytes) {
  driver().FPGAC5_WriteDataBlock(0, 0, address, static_cast<uint32_t>(bytes.size()), bytes.data());
}

// Whether the channel's stored table is complete.
bool tagValid(const GammaRange& channel) {
  std::array<uint8_t, 4> tag{};
  return driver().ReadBytesFromFlash(channel.tag.address, channel.tag.length, tag.data()) == 0 &&
         tag == Data_Global::IsNewFlashTag;
}

void loadChannel(const GammaRange& channel, bool stored) {
  GammaTable table;
  const bool read = stored && driver().ReadBytesFromFlash(channel.table.address, kGammaTableSize, table.data()) == 0;
  if (stored && !read)
    TRACE_ERROR("=== SendGammaToFpga ===Read gamma table from flash failed, the built-in one is used");
  writeFpga(channel.memory.address, read ? table : GammaTable_x());
}

void dumpBlock(const char* what, Bytes block) {
  TRACE_INFO(what << HexText<256>(block));
}

void computePixelInterval(MutableBytes block) {
  TRACE_INFO("0x01 == gHardwareScreenGenReg[0x20] :Chose---> Pixel interval patterns");
  const auto word = [block](size_t at) { return readWord(block.data() + at); };
  uint16_t phaseX = 0;
  uint16_t phaseY = 0;
  if (pixelPhases(static_cast<int16_t>(word(pattern::kFirstPixelX)), static_cast<int16_t>(word(pattern::kFirstPixelY)),
                  word(pattern::kPixelIntervalX), word(pattern::kPixelIntervalY), phaseX, phaseY)) {
    TRACE_INFO("TempPixelPatternIntervalX " << phaseX);
  } else {
    TRACE_INFO("negative offset or out of range, invalid parameter");
  }
  DWT_ENCWD(block.data() + pattern::kPixelPhaseX, phaseX);
  DWT_ENCWD(block.data() + pattern::kPixelPhaseY, phaseY);
}

void putBlockStart(MutableBytes block, int first, size_t size, size_t count, size_t phase) {
  const BlockStart start = blockStart(first, readWord(block.data() + size));
  DWT_ENCWD(block.data() + count, start.count);
  DWT_ENCWD(block.data() + phase, start.phase);
}

void computeBlockInterval(MutableBytes block) {
  TRACE_INFO("0x02 == gHardwareScreenGenReg[0x20] : ----->Block interval patterns");
  const auto firstX = static_cast<int16_t>(readWord(block.data() + pattern::kFirstPixelX));
  const auto firstY = static_cast<int16_t>(readWord(block.data() + pattern::kFirstPixelY));
  TRACE_INFO((firstX < 0 ? "negative offset and its absolute value is less than one block" : "Else ------"));
  putBlockStart(block, firstX, pattern::kBlockWidth, pattern::kBlockCountX, pattern::kBlockPhaseX);
  TRACE_INFO((firstY < 0 ? "TempFirstPixelPosY & 0x8000 : negative offset and its absolute value is less than one block"
                         : "TempFirstPixelPosY & 0x8000 Else ------"));
  putBlockStart(block, firstY, pattern::kBlockHeight, pattern::kBlockCountY, pattern::kBlockPhaseY);
}

void strobePattern() {
  const uint32_t strobe = fpga::kPatternGenerator.address + pattern::kStrobe;
  driver().FPGAC5_WriteOneWord(0, 0, strobe, kPatternStrobe);
  Sleep(kStrobeMs);
  driver().FPGAC5_WriteOneWord(0, 0, strobe, 0);
}

}  // namespace

void Data_Global::SendGammaToFpga(uint8_t set) {
  for (const GammaRange& channel : kGammaRanges) {
    if ((channel.set == kGammaSet12Bit) != (set == kGammaSet12Bit)) continue;
    const bool stored = tagValid(channel);
    if (ParaTable[PbufHDRType] == 0) loadChannel(channel, stored);
  }
}

void Data_Global::SendCardHDRProcess(uint8_t kind) {
  if (kind != kHdr10 && kind != kHlg) {
    const uint8_t depth = lowByte(PbufSendcardBitDepth);
    SendGammaToFpga(depth);
    driver().FPGAC5_WriteOneWord(0, 0, fpga::kHdrBitDepth.address, depth);
    driver().FPGAC5_WriteOneWord(0, 0, sendpara::kHdrMark, kHdrOff);
    TRACE_INFO("Finish Deft RGBGAMMA Sendto FPGA,the SendcardBitDepth is  " << depth);
    return;
  }
  GammaTable table;
  if (kind == kHdr10) {
    TRACE_INFO("============================= Begin HDR10 Calculate ===============================");
    HDR10GammaCalculation(ParaTable[PbufScrPeakLight], ParaTable[PbufAmbientLight], lowByte(PbufBrightness),
                          kHdrBitWidth, lowByte(PbufLowGrayEffect), lowByte(PbufHigGrayEffect), table.data());
    TRACE_INFO("============================= Finish HDR10  Calculate ==============================");
  } else {
    TRACE_INFO("============================= Begin HLG Calculate ===============================");
    HLGGammaCalculation(lowByte(PbufHLGClass), table.data());
    TRACE_INFO("============================= Finish HLG Calculate ==============================");
  }
  for (const fpga::Area& memory : {fpga::kGammaRed, fpga::kGammaGreen, fpga::kGammaBlue})
    writeFpga(memory.address, table);
  driver().FPGAC5_WriteOneWord(0, 0, fpga::kHdrBitDepth.address, kHdrGammaMark);
  SendParameterReg.setByte(sendpara::kHdrMark, kHdrOn);
  driver().FPGAC5_WriteOneWord(0, 0, sendpara::kHdrMark, kHdrOn);
  TRACE_INFO("Finish HDR RGBGAMMA Sendto FPGA");
}

void Data_Global::PictureQualityProcess(uint8_t argument) {
  TRACE_INFO("============================= Begin CSC Calculate ===============================");
  std::array<uint8_t, 32> block{};
  const auto compute = [&](COLORSPACECONVERT kind) {
    PictureQualityCalculation(kind, ParaTable[PbufSaturation], ParaTable[PbufContrast], ParaTable[PbufHue], argument,
                              block.data());
  };
  compute(FRtoFR);
  writeFpga(fpga::kColourFullRgb.address, block);
  dumpBlock(" Full RGB to Full RGB CscPara:", block);
  compute(LYtoFR);
  writeFpga(fpga::kColourLimitedYuv.address, block);
  dumpBlock(" Limit YUV to Full RGB CscPara:", block);
  TRACE_INFO("============================= Finish HDR10 or HLG Calculate ==============================");
}

void Data_Global::ScreenPatternGenProcess() {
  TRACE_INFO("============================= Begin ScreenPatternGenProcess ===============================");
  auto block = HardwareScreenGenReg.image();
  driver().FPGAC5_ReadDataBlock(0, 0, sendpara::kScreenWidthExact, 2, block.data() + pattern::kScreenWidth);
  driver().FPGAC5_ReadDataBlock(0, 0, sendpara::kScreenHeightDvi, 2, block.data() + pattern::kScreenHeight);
  dumpBlock("Fpga Write date:", Bytes(block).subspan(pattern::kScreenWidth, 4));
  if (block[pattern::kIntervalKind] == pattern::kPixelInterval) computePixelInterval(block);
  if (block[pattern::kIntervalKind] == pattern::kBlockInterval) computeBlockInterval(block);
  block[pattern::kStrobe] = 0;
  HardwareScreenGenReg.write(0, block);
  dumpBlock(" HardwareScreenGenReg:", Bytes(block).first(64));
  constexpr size_t kAfterStrobe = pattern::kStrobe + 1;
  writeFpga(fpga::kPatternGenerator.address, Bytes(block).first(pattern::kStrobe));
  writeFpga(fpga::kPatternGenerator.address + kAfterStrobe,
            Bytes(block).subspan(kAfterStrobe, pattern::kBlockSize - kAfterStrobe));
  strobePattern();
  TRACE_INFO("============================= Finish ScreenPatternGenProcess ==============================");
}

}  // namespace TIRK_MCUC
