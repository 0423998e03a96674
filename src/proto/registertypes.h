// What dispatcher and register spaces share: results, and the entries of the register map. Used on the IPC receive
// thread.
#pragma once

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

}  // namespace TIRK_MCUC
