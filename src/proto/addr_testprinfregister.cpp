#include "proto/addr_testprinfregister.h"

#include <algorithm>

#include "driverutil.h"
#include "mcuctrace.h"
#include "proto/fpgamap.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {{"the FPGA's bytes at the address without its top digit",
                                  "writes the FPGA there at once; 25 bytes at 0x01200000 switch the test pattern on"}};
constexpr Fcmd_len kLengths{1, 2048};
constexpr uint32_t kSpaceEnd = 0x02000000;  // FPGA address after the last of 0xF1000000's
constexpr uint8_t kTestPatternOn = 0x01;

uint32_t fpgaAddressOf(const ThirdProtoMCUCMsg& proto) {
  return proto.m_uiRegisterUnitAddress & 0x0FFFFFFF;
}

// 0; 6 for a length outside 1..2048; 5 when address plus length leave the space.
int checkRange(const ThirdProtoMCUCMsg& proto) {
  const int32_t length = proto.m_usValidDataLength;
  if (length < kLengths.cmdLenMin || length > kLengths.cmdLenMax) {
    TRACE_ERROR("=== TestPrintfInfomation ===Unsupportd register max/min length. len = " << length);
    return kBadLength;
  }
  if (fpgaAddressOf(proto) + static_cast<uint32_t>(length) > kSpaceEnd) {
    TRACE_ERROR("=== TestPrintfInfomation ===Invalid addr+len, return! address = "
                << hex << proto.m_uiRegisterUnitAddress << " len = " << length);
    return kOutsideSpace;
  }
  return kDone;
}

int writeFpga(uint32_t address, Bytes data) {
  const int ret =
      DriverUtil::getInstance()->FPGAC5_WriteDataBlock(0, 0, address, static_cast<uint32_t>(data.size()), data.data());
  if (ret == 0) return kDone;
  TRACE_ERROR("=== Write FPGA test Reg failed ,Reg :  " << hex << address << " ret = " << ret);
  return kUnknown;
}

}  // namespace

const SpaceTraits Addr_TestPrinfRegister::kTraits{
    .className = "Addr_TestPrinfRegister", .baseRegisterAddr = 0xF0000000, .keyMask = 0, .docs = kDocs};
Fshl_cmd Addr_TestPrinfRegister::cmd_tblOffset[] = {
    registerEntry(0xF0000000, "testprintf", "testprintf Infomation", kLengths, REG_TestPrintfInfomation), {}};

int Addr_TestPrinfRegister::Ssh_cmd(IMD_proto3rd* msgIMD, Fshl_cmd*, int argument) {
  return settle(msgIMD, REG_TestPrintfInfomation(msgIMD, nullptr, argument));
}

int Addr_TestPrinfRegister::REG_TestPrintfInfomation(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadTestPrintfInfomation, WriteTestPrintfInfomation);
}

int Addr_TestPrinfRegister::ReadTestPrintfInfomation(IMD_proto3rd* request) {
  if (const int result = checkRange(request->proto); result != kDone) return result;
  const uint32_t address = fpgaAddressOf(request->proto);
  TRACE_INFO("=== Read FPGA test Reg :  " << hex << address << " len :" << request->proto.m_usValidDataLength);
  return readThrough(request, [address](MutableBytes out) {
    const int ret =
        DriverUtil::getInstance()->FPGAC5_ReadDataBlock(0, 0, address, static_cast<uint32_t>(out.size()), out.data());
    if (ret == 0) return int{kDone};
    TRACE_ERROR("=== ReadTestPrintfInfomation ===Read FPGA test Reg failed! ret = " << ret);
    return int{kRefused};
  });
}

int Addr_TestPrinfRegister::WriteTestPrintfInfomation(IMD_proto3rd* request) {
  if (const int result = checkRange(request->proto); result != kDone) return result;
  const Bytes data =
      request->data().first(std::min<size_t>(request->data().size(), request->proto.m_usValidDataLength));
  if (data.empty()) {
    TRACE_ERROR("=== WriteTestPrintfInfomation ===invalid data");
    return kAccessDenied;
  }
  const uint32_t address = fpgaAddressOf(request->proto);
  if (const int result = writeFpga(address, data); result != kDone) return result;
  if (address != fpga::kTestPatternData.address || data.size() != fpga::kTestPatternData.length) return kDone;
  TRACE_INFO("============================ Test Partten ===========================");
  return writeFpga(fpga::kTestPattern.address, {&kTestPatternOn, 1});
}

}  // namespace TIRK_MCUC
