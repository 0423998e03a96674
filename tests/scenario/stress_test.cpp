// Many clients at once, while the board changes around the daemon: nobody goes without a reply, nothing acknowledged is
// lost. Run under the thread sanitizer and with assertions this is also the test for races and for the lock order.
//
// KADREND_STRESS_STEPS: requests a client (150 without it).
#include <atomic>
#include <cstdlib>
#include <future>

#include "support/mixed_load.h"
#include "support/scenario_fixture.h"

namespace testing_support {
namespace {

int stepsOfAClient() {
  const char* text = std::getenv("KADREND_STRESS_STEPS");
  return text == nullptr ? 150 : std::atoi(text);
}

using StressTest = RunningDaemonTest;

TEST_F(StressTest, SixteenClientsAreServedWhileTheBoardChanges) {
  monitor("journal off");
  const int steps = stepsOfAClient();
  std::vector<std::unique_ptr<MixedLoadClient>> clients;
  for (unsigned i = 0; i < MixedLoadClient::kMostClients; ++i)
    clients.push_back(std::make_unique<MixedLoadClient>(board(), i));
  std::atomic<bool> over{false};
  auto changes = std::async(std::launch::async, [&] {
    BoardChanges around(board());
    while (!over) around.step();
  });
  std::vector<std::future<void>> loads;
  for (const auto& mixed : clients) {
    loads.push_back(std::async(std::launch::async, [&mixed, steps] {
      for (int i = 0; i < steps; ++i) mixed->step();
    }));
  }
  for (auto& load : loads) EXPECT_NO_THROW(load.get());
  over = true;
  EXPECT_NO_THROW(changes.get());

  size_t refused = 0;
  for (const auto& mixed : clients) {
    EXPECT_TRUE(waitUntil([&] { return mixed->ownBytesHold(); }, 60000)) << "an acknowledged write was lost";
    refused += mixed->refused();
  }
  // Most of the load is work that is done, not refused.
  EXPECT_LT(refused, static_cast<size_t>(steps) * clients.size() / 2);
  EXPECT_EQ(askRead(0x02500000, 4).ack, 0);
  std::printf("%zu requests, %zu of them refused\n", static_cast<size_t>(steps) * clients.size(), refused);
}

}  // namespace
}  // namespace testing_support
