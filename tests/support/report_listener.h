// A peer daemon in the test's own process: it hears what the daemon under test reports to its task.
#pragma once

#include <string>
#include <vector>

#include "kadctl/busclient.h"
#include "support/board_fixture.h"

namespace testing_support {

struct Report {
  uint32_t address;
  ByteVector data;
  bool operator==(const Report&) const = default;
};
void PrintTo(const Report& report, std::ostream* out);

// A board on whose bus the daemon reports: the flash is open, what sends reports runs, the worker does not.
class ReportingTest : public BoardTest {
 protected:
  ReportingTest();
};

class ReportListener {
 public:
  // `task`: the peer's task number. Requires that the daemon has opened its bus.
  ReportListener(const std::string& boardDirectory, uint32_t task) : m_client(boardDirectory, task) {}

  std::vector<Report> take();               // what was reported since the last call, in order
  std::vector<kadctl::Message> messages();  // the same, with envelope and whole frame
  uint32_t task() const { return m_client.task(); }

 private:
  kadctl::BusClient m_client;
};

}  // namespace testing_support
