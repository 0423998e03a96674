// A temporary virtual board in the test's own process, with all trace levels on.
//
// The board and the daemon's singletons are made once a process: ctest runs each test in a process of its own; by hand,
// run one test at a time (--gtest_filter).
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "proto/tshl_ctl.h"
#include "stub/mcucmessagestruct.h"
#include "support/bytes.h"
#include "support/temporary_directory.h"
#include "virtual/board.h"

namespace testing_support {

class BoardTest : public ::testing::Test {
 protected:
  // `config` is board.conf; the journal is on and the FPGA loads never by itself, unless it says otherwise.
  explicit BoardTest(const std::string& config = "journal = on\nfpga_load_ms = -1\n");

  // The board's back door: no faults, journal or read-only registers.
  static ByteVector fpga(uint32_t address, size_t length);
  static void setFpga(uint32_t address, const ByteVector& bytes);
  static ByteVector flash(uint32_t address, size_t length);
  static void setFlash(uint32_t address, const ByteVector& bytes);
  static std::string env(const std::string& key);  // "" when absent
  static void setEnv(const std::string& key, const std::string& value);
  static void fail(vboard::Op op, unsigned long count, int code = -1) { vboard::board().faults.set(op, count, code); }
  static std::string journal() { return vboard::board().journal.text(); }
  static std::vector<std::string> journalLines();
  // Of those, the ones that begin with `prefix`.
  static std::vector<std::string> did(const std::string& prefix);
  static void clearJournal() { vboard::board().journal.clear(); }
  std::string log() const { return logText(m_directory.path()); }
  size_t logged(const std::string& text) const { return occurrences(log(), text); }

  static void setZone(const char* zone);
  // The board's clock, "YYYY-MM-DD HH:MM:SS" in local time.
  static void setClock(const std::string& text);

  // Requests to the dispatcher, as intake would hand them over; `sender` is the whole task identifier.
  static TIRK_MCUC::IMD_proto3rd readRequest(uint32_t address, uint16_t length, uint32_t sender = 0x010C0001);
  static TIRK_MCUC::IMD_proto3rd writeRequest(uint32_t address, const ByteVector& data, uint32_t sender = 0x010C0001);

  TemporaryDirectory m_directory;
};

}  // namespace testing_support
