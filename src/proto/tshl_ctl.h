// The register dispatcher: the register map of this card, and forwarding to the cards behind the output ports.
// Everything here runs for one request at a time, on a thread of the peer link; the map is read-only after initialize.
#pragma once

#include <array>
#include <cstdint>
#include <map>

#include "stub/mcucmessagestruct.h"

namespace TIRK_MCUC {

// Results of dispatcher and register spaces.
enum RegisterResult : int {
  kDone = 0,
  kUnknown = -1,      // unknown register or code; some device failures
  kRefused = 4,       // null request, failure, refused write, unknown base
  kOutsideSpace = 5,  // offset plus length outside the space
  kBadLength = 6,
  kAccessDenied = 7  // access not allowed, or a write without data
};

struct Fcmd_len {
  int32_t cmdLenMin = 1;
  int32_t cmdLenMax = 512;
};
struct Fdev_func_tbl {
  uint32_t addr = 0;
  int32_t dev_type = 0;
  int32_t type = 0;
};
struct Fcheck_func {
  int32_t cmdType;
  Fcmd_len cmdLen;
};
enum enum_Active { DISABLE = 0, ENABLE = 1 };

constexpr int32_t kReadable = 0x01;
constexpr int32_t kWritable = 0x10;
constexpr int32_t kReadWrite = kReadable | kWritable;

// One register-map entry; a null cmd_str ends a table.
struct Fshl_cmd {
  uint32_t RegisterAddr = 0;
  const char* cmd_str = nullptr;
  const char* cmd_exp = nullptr;
  int32_t cmdType = 0;
  Fcmd_len cmdLen;
  Fdev_func_tbl dev_tbl;
  ThirdProtoMCUCMsg* paras = nullptr;
  int (*called_fun)(IMD_proto3rd* request, Fshl_cmd* entry, int argument) = nullptr;
  int (*print_fun)(IMD_proto3rd* request) = nullptr;
  int (*check_fun)(Fcheck_func* check, IMD_proto3rd* request) = nullptr;
};
struct Fshl_cmdMap {
  uint32_t NO = 0;  // index in its table
  Fshl_cmd* cmd = nullptr;
};
using MAP_INT_Fshl_cmd = std::map<uint32_t, Fshl_cmdMap>;

// 0 accepted, 6 bad length, 7 access not allowed; the refusals after an Error line.
int Ssh_checkFun(Fcheck_func* check, IMD_proto3rd* request);

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
