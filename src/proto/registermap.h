// The register map for people and tools: what the dispatcher and its spaces say about themselves. Makes the spaces'
// singletons, and touches no device.
#pragma once

#include <cstdint>
#include <vector>

#include "proto/registertypes.h"

namespace TIRK_MCUC {

struct RegisterMapEntry {
  uint32_t base;          // of the space, as the dispatcher knows it
  uint32_t mask;          // addresses that agree with `base` under it reach the space
  uint32_t keyMask;       // what the space keeps of an address for its own lookup; 0: it has none
  uint32_t address;       // of the register
  const char* spaceName;  // the dispatcher's words
  const char* spaceDescription;
  const char* className;
  const char* name;  // the space's words
  const char* description;
  int32_t access;      // kReadable | kWritable
  Fcmd_len length;     // accepted data lengths
  const char* reads;   // what a read returns
  const char* writes;  // what a write does
};

// One entry a register, in the order of the dispatcher's table and of the spaces' own.
std::vector<RegisterMapEntry> registerMap();

}  // namespace TIRK_MCUC
