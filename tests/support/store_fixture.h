// The parameter store on a virtual board in the test's own process: StoreTest, and ReportingStoreTest where what it
// reports to its peers is to be heard, SpaceStoreTest with the register map and the worker.
#pragma once

#include <string>
#include <vector>

#include "proto/data_common.h"
#include "support/space_fixture.h"

namespace testing_support {

template <class Board>
class StoreVerbs : public Board {
 protected:
  StoreVerbs();

  // What the daemon did since the last clearJournal, without the data: "flash w 0x00a3b100 512", "sh sync". A failed
  // operation ends in " failed".
  static std::vector<std::string> operations();
  // Of those, the ones that begin with `prefix`.
  static std::vector<std::string> operations(const std::string& prefix);

  // A chain of cards behind the port, its link up, and the store told of it.
  void fitCards(unsigned port, uint16_t width, uint16_t height);
  void setScreenSize(uint16_t width, uint16_t height);

  ByteVector mirror(size_t offset, size_t length) const;
  void setMirror(size_t offset, const ByteVector& data) { store.SendParameterReg.write(offset, data); }
  // The n-th entry of a port's position table in the FPGA.
  static TIRK_MCUC::CardPosition position(unsigned port, unsigned n);

  TIRK_MCUC::Data_Global& store = *TIRK_MCUC::Data_Global::getInstance();
};
using StoreTest = StoreVerbs<BoardTest>;
using ReportingStoreTest = StoreVerbs<ReportingTest>;
using SpaceStoreTest = StoreVerbs<SpaceTest>;

// "fpga w 0x00000018 430", as operations() says it.
std::string operation(const char* device, uint32_t address, unsigned length);
// What saving the screen state writes, with or without the layout tag.
std::vector<std::string> saveOperations(bool tag);
// What a calculation writes first: its record, the ports' counts and positions.
std::vector<std::string> layoutOperations();
// Where the FPGA has port 0..9's card count.
uint32_t countAddress(uint32_t port);

}  // namespace testing_support
