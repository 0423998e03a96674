#include "proto/addr_plugincardinforegister.h"

namespace TIRK_MCUC {

namespace {
constexpr RegisterDoc kDocs[] = {{"no data", "nothing"}};
}

const SpaceTraits Addr_PluginCardInfoRegister::kTraits{
    .className = "Addr_PluginCardInfoRegister", .baseRegisterAddr = 0x00010000, .keyMask = 0xFFFF0000, .docs = kDocs};
Fshl_cmd Addr_PluginCardInfoRegister::cmd_tblOffset[] = {
    registerEntry(0x00010000, "plugin card info", "plugin card info register", {1, 512}, DoPluginCardInfo), {}};

int Addr_PluginCardInfoRegister::DoPluginCardInfo(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromPluginCardInfo, WriteToPluginCardInfo);
}

int Addr_PluginCardInfoRegister::ReadFromPluginCardInfo(IMD_proto3rd*) {
  return kDone;
}

int Addr_PluginCardInfoRegister::WriteToPluginCardInfo(IMD_proto3rd*) {
  return kDone;
}

}  // namespace TIRK_MCUC
