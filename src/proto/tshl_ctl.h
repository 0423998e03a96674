// The register dispatcher: the register map of this card, and forwarding to the cards behind the output ports.
// Everything here runs for one request at a time, on a thread of the peer link; the map is read-only after initialize.
#pragma once

#include <array>
#include <cstdint>

#include "proto/registertypes.h"

namespace TIRK_MCUC {

class RegisterSpace;

class Tshl_ctl {
 public:
  static Tshl_ctl* getInstance();
  Tshl_ctl(const Tshl_ctl&) = delete;
  Tshl_ctl& operator=(const Tshl_ctl&) = delete;

  bool initialize();                                                             // true; builds the map
  const std::array<Fshl_cmd, 71>& table() const { return cmd_root; }             // for kadctl and the documents
  const RegisterSpace* space(size_t index) const { return m_spaces.at(index); }  // of a table entry
  // What of an address selects its space: the top byte for spaces that own all of it, else the top 16 bits.
  static uint32_t spaceMask(uint32_t address);
  bool pauses(uint32_t address) const;  // whether the address's space may pause before it answers there

  // Dispatch by device type 0, 1, 2, 3, 4. Read data and ack go into the request.
  int Ssh_StartSendCard(IMD_proto3rd* request);
  int Ssh_StartScanCard(IMD_proto3rd* request);
  int Ssh_StartMultiCard(IMD_proto3rd* request);
  int Ssh_StartDistribute(IMD_proto3rd* request);
  int Ssh_Start3DLauncher(IMD_proto3rd* request);
  // Whether an output port (0..15; 255: all) has a copper or optical link, by the FPGA's link words.
  bool PortLinkVerify(int port);

 private:
  template <class T>
  friend class NoDestroy;
  Tshl_ctl();
  template <class Space>
  void add(uint32_t base, const char* name, const char* description);

  std::array<Fshl_cmd, 71> cmd_root;
  std::array<const RegisterSpace*, 71> m_spaces{};  // beside cmd_root
  size_t m_used = 0;
  MAP_INT_Fshl_cmd m_mapProtoShl;
};

}  // namespace TIRK_MCUC
