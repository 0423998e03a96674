#include "proto/addr_cabinetrotationregister.h"

#include "mcuctrace.h"

namespace TIRK_MCUC {

namespace {
constexpr RegisterDoc kDocs[] = {{"no data", "nothing"}};
}

const SpaceTraits Addr_CabinetRotationRegister::kTraits{
    .className = "Addr_CabinetRotationRegister", .baseRegisterAddr = 0x02700000, .keyMask = 0xFFFF0000, .docs = kDocs};
Fshl_cmd Addr_CabinetRotationRegister::cmd_tblOffset[] = {
    registerEntry(0x02700000, "cabinet rotation", "cabinet rotation register", {1, 69632}, DoCabinetRotation), {}};

int Addr_CabinetRotationRegister::DoCabinetRotation(IMD_proto3rd* request, Fshl_cmd*, int) {
  return readOrWrite(request, ReadFromCabinetRotation, WriteToCabinetRotation);
}

int Addr_CabinetRotationRegister::ReadFromCabinetRotation(IMD_proto3rd*) {
  return kDone;
}

int Addr_CabinetRotationRegister::WriteToCabinetRotation(IMD_proto3rd*) {
  return kDone;
}

void Addr_CabinetRotationRegister::beforeLookup(uint32_t key) const {
  TRACE_INFO("Ssh_cmd: addr = " << hex << key);
}

void Addr_CabinetRotationRegister::afterDo(int result) const {
  if (result != kDone) TRACE_ERROR("=== Addr_CabinetRotationRegister ===call fun failed, result = " << result);
}

}  // namespace TIRK_MCUC
