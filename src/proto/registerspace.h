// The one pattern of the register spaces.
//
// A space is a class Addr_X : public RegisterSpaceOf<Addr_X> with
//   static const SpaceTraits kTraits;                 // name, base, key mask, and what it words differently
//   static Fshl_cmd cmd_tblOffset[];                  // its sub-table, ended by an all-zero entry
//   static int DoX(IMD_proto3rd*, Fshl_cmd*, int);    // { return readOrWrite(request, ReadX, WriteX); }
//   static int ReadX(IMD_proto3rd*);                  // appends the reply data
//   static int WriteX(IMD_proto3rd*);                 // applies, or queues with queueWriteRecord
// The base owns the map, the lookup, the length and access check, the refusals with their ack, the queueing of a write
// record with its lines, and the print-out. It runs for one request at a time, on a thread of the peer link, and never
// waits for the worker.
//
// Refusals: a result of 4 to 7 sets the request's ack to 4; a read that the device failed does so too, whatever its
// result, through refuse(). Nothing is queued, stored or changed by a refused request.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "mcucutil.h"
#include "process/processkeys.h"
#include "proto/registertypes.h"

namespace TIRK_MCUC {

// What a register does, for people: one sentence each, shown by the register map.
struct RegisterDoc {
  const char* read;   // what a read returns
  const char* write;  // what a write does
};

struct SpaceTraits {
  const char* className;                   // "Addr_RGBGammaRegister": between the marks of its refusal line
  uint32_t baseRegisterAddr;               // shown by Ssh_print
  uint32_t keyMask;                        // what is kept of the request address for the lookup; 0: there is none
  const char* invalidAccess = nullptr;     // the whole lookup-failure line where it is not the family's
  bool logsKeyAndMap = false;              // writes "RegisterAddr = ", " map size = " before the lookup
  bool listsMap = false;                   // writes the map's size and entries before the lookup
  std::span<const RegisterDoc> docs = {};  // one a sub-table entry, in its order; the last stands for those that follow
  // Whether an answer at the address may take longer than a few accesses to the board; null: never.
  bool (*pauses)(uint32_t address) = nullptr;
};

// The lines of one queued write.
struct QueueTexts {
  const char*
      begin;  // "============================ Begin add SenderRGBGammaKey message to list==========================="
  const char* invalid;  // "=== WriterRGBGammaInfomation ===invalid data"
  const char* finish;
  bool hexadecimalPrefix = false;  // " Register: 0x", " len: 0x" instead of " Register: ", " len: "
};

// A sub-table entry, readable and writable like all of them.
constexpr Fshl_cmd registerEntry(uint32_t address, const char* name, const char* description, Fcmd_len length,
                                 int (*doIt)(IMD_proto3rd*, Fshl_cmd*, int)) {
  return {address, name, description, kReadWrite, length, {}, nullptr, doIt, nullptr, Ssh_checkFun};
}

class RegisterSpace {
 public:
  RegisterSpace(const SpaceTraits& traits, Fshl_cmd* table);
  virtual ~RegisterSpace() = default;
  RegisterSpace(const RegisterSpace&) = delete;
  RegisterSpace& operator=(const RegisterSpace&) = delete;

  int initMap();                      // 0; fills the map from the table
  int handle(IMD_proto3rd* request);  // lookup, check, Do; sets the ack of a refusal
  virtual int print() const;          // one line an entry on standard output, in key order; 0
  const Fshl_cmd* table() const { return m_table; }
  const SpaceTraits& traits() const { return m_traits; }
  uint32_t base() const { return m_baseRegisterAddr; }

  // --- for the spaces
  using Half = int (*)(IMD_proto3rd*);
  // Null request 4; code 0 read, 1 write, any other -1.
  static int readOrWrite(IMD_proto3rd* request, Half read, Half write);
  // Queues the request's write record under `key`: 0; 4 for a null request, no memory or no worker; 6 for a record
  // above 65 535 bytes; 7 and `texts.invalid` for a write without data.
  static int queueWriteRecord(IMD_proto3rd* request, _ValueChanged_Table key, const QueueTexts& texts);
  // Queues a payload of the space's own: 0; 4 when there is no memory or no worker; 6 for one above 65 535 bytes.
  static int queuePayload(const IMD_proto3rd& request, _ValueChanged_Table key, Bytes payload);
  // Sets the ack to 4 and returns `result`.
  static int refuse(IMD_proto3rd* request, int result);

 protected:
  virtual void beforeLookup(uint32_t key) const;  // the lines some spaces write before the lookup
  virtual void afterDo(int) const {}              // given the result of the Do operation
  const MAP_INT_Fshl_cmd& map() const { return m_mapProtoOffsetShl; }
  // Gives a refusal (4 to 7) its ack; returns `result`. For a space that answers without its sub-table.
  static int settle(IMD_proto3rd* request, int result);

 private:
  const SpaceTraits& m_traits;
  Fshl_cmd* m_table;
  uint32_t m_baseRegisterAddr = 0;
  MAP_INT_Fshl_cmd m_mapProtoOffsetShl;
};

// The class-level face of a space.
template <class Space>
class RegisterSpaceOf : public RegisterSpace {
 public:
  static Space* getInstance() {
    static NoDestroy<Space> instance;
    return &instance.get();
  }
  static int Ssh_cmd(IMD_proto3rd* msgIMD, Fshl_cmd*, int) { return getInstance()->handle(msgIMD); }
  static int Ssh_print(IMD_proto3rd*) { return getInstance()->print(); }

 protected:
  RegisterSpaceOf() : RegisterSpace(Space::kTraits, Space::cmd_tblOffset) {}
};

// Reads `length` reply bytes: a local buffer, filled by `source(buffer)`, appended when that returns 0. A length of 0
// calls nothing and returns 0. Otherwise the source's result, with the ack set to 4.
template <class Source>
int readThrough(IMD_proto3rd* request, Source source) {
  const size_t length = request->proto.m_usValidDataLength;
  if (length == 0) return kDone;
  std::vector<uint8_t> buffer(length);
  if (const int result = source(MutableBytes(buffer)); result != kDone) return RegisterSpace::refuse(request, result);
  request->appendData(buffer);
  return kDone;
}

}  // namespace TIRK_MCUC
