// Everything that changes what the daemon stores, in the test's own process, to be run again and again with one thing
// going wrong at another place each time.
#pragma once

#include <functional>
#include <iosfwd>
#include <memory>
#include <span>
#include <vector>

#include "mcucmutex.h"
#include "support/board_image.h"
#include "support/store_fixture.h"

namespace testing_support {

constexpr unsigned long kOneOperation = 3;  // calls: the driver tries three times
constexpr unsigned long kForEver = 1'000'000;

// Runs `work` with `count` calls of `op` failing from the k-th on, and whether it came to that.
bool disturbed(vboard::Op op, unsigned long k, unsigned long count, const std::function<void()>& work);
// Whether nobody holds it. The locks are recursive: ask on a thread that takes none.
bool isFree(TIRK_MCUC::CMutexThreadBase& mutex);

// A daemon with a wall of four cards over two ports. Its FPGA is loaded, its peers listen, its worker has nothing to
// do. What the flag thread would do is done by layOut and putBack.
class ScenarioTest : public SpaceStoreTest {
 public:
  using SpaceStoreTest::read;
  using SpaceStoreTest::send;
  using SpaceStoreTest::write;
  using SpaceStoreTest::writeRequest;

  void idle();    // waits until what was queued is applied, and takes what was reported off the bus
  void layOut();  // the deferred calculation, when one is due
  void putBack(const BoardImage& image);  // and brings the mirrors in step, as a load of the FPGA does
  void writeBasic(uint8_t rows, uint8_t columns, uint16_t cards, uint8_t mode);
  ByteVector edid(uint16_t width, uint16_t height);  // at 60 Hz

 protected:
  ScenarioTest();

 private:
  std::vector<std::unique_ptr<ReportListener>> m_peers;
};

// Both steps are requests and what follows from them.
struct Scenario {
  const char* name;
  std::function<void(ScenarioTest&)> prepare;  // the state before, from a board that was put back
  std::function<void(ScenarioTest&)> run;
  bool asksCardSize = false;
};
void PrintTo(const Scenario& scenario, std::ostream* out);

// Every kind of save, the calculations, an EDID, a replay, a reload.
std::span<const Scenario> scenarios();

}  // namespace testing_support
