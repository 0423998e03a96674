#include "proto/addr_edidspaceregister.h"

#include <algorithm>
#include <array>

#include "mcuctrace.h"
#include "process/inputSource.h"
#include "proto/data_common.h"

namespace TIRK_MCUC {

namespace {

constexpr RegisterDoc kDocs[] = {
    {"the first 128 or all 256 bytes of the EDID that the selected input presents; a read of one byte detects the "
     "input boards anew and returns no data",
     "queues an EDID of 128 or 256 bytes for the selected input (key 19)"}};
constexpr uint32_t kEdidRegister = 0x08000000;
constexpr size_t kEdidSize = 256;

constexpr QueueTexts kQueueTexts{
    "============================ Begin add DoFeatureInfoKey message to list===========================",
    "=== WriteFeatureInfomation ===invalid data",
    "============================ Finish add DoFeatureInfoKey message to list==========================="};

int readEdid(MutableBytes out) {
  const int input =
      InputSource::selectedGroup(Data_Global::getInstance()->SendParameterReg.byte(sendpara::kInputSource));
  TRACE_INFO("Read Input source ID is" << input);
  std::array<uint8_t, kEdidSize> edid{};
  if (const int ret = InputSource::getInstance()->ReadEDIDInfo(input, edid.data()); ret != 0) {
    TRACE_ERROR("=== ReadFromEDIDSpace ===Read EDID failed! ret = " << ret);
    return kRefused;
  }
  std::copy_n(edid.begin(), out.size(), out.begin());
  TRACE_INFO("Read Input EDID is" << HexText<1024>(out));
  return kDone;
}

}  // namespace

const SpaceTraits Addr_EDIDSpaceRegister::kTraits{
    .className = "Addr_EDIDSpaceRegister", .baseRegisterAddr = 0x08000000, .keyMask = 0xFFFF0000, .docs = kDocs};
Fshl_cmd Addr_EDIDSpaceRegister::cmd_tblOffset[] = {
    registerEntry(0x08000000, "edid space info", "edid space info register", {0, 2048}, DoEDIDSpace), {}};

int Addr_EDIDSpaceRegister::DoEDIDSpace(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromEDIDSpace, WriteToEDIDSpace);
}

int Addr_EDIDSpaceRegister::ReadFromEDIDSpace(IMD_proto3rd* request) {
  TRACE_INFO("========================== Begin Read EDIDSpace ===========================");
  const uint16_t length = request->proto.m_usValidDataLength;
  int result = kOutsideSpace;
  if (request->proto.m_uiRegisterUnitAddress == kEdidRegister) {
    if (length == 1) {
      InputSource::getInstance()->InputBoardInit();
      result = kDone;
    } else if (length == 0 || length == kEdidSize / 2 || length == kEdidSize) {
      result = readThrough(request, readEdid);
    }
  }
  if (result == kOutsideSpace) {
    TRACE_ERROR("=== ReadFromEDIDSpace ===Invalid addr+len, return! address = "
                << hex << request->proto.m_uiRegisterUnitAddress << "len = " << length);
  }
  if (result == kDone) TRACE_INFO("========================== Finish Read EDIDSpace ==========================");
  return result;
}

int Addr_EDIDSpaceRegister::WriteToEDIDSpace(IMD_proto3rd* request) {
  return queueWriteRecord(request, DoEDIDSpaceKey, kQueueTexts);
}

}  // namespace TIRK_MCUC
