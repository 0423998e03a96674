// The whole daemon follows a day's brightness, as the cards receive it; and the client sets it up.
#include <cstdio>
#include <memory>

#include "driverutil.h"
#include "proto/flashmap.h"
#include "support/brightness_fixture.h"
#include "support/daemon_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::HasSubstr;

constexpr uint32_t kSpace = 0x0A000000;
constexpr int kPorts = 2, kCards = 3;

class BrightnessDay : public DaemonTest {
 protected:
  void SetUp() override {
    DaemonTest::SetUp();
    for (int port = 0; port < kPorts; ++port) {
      monitor("cards " + std::to_string(port) + " " + std::to_string(kCards) + " 64 64");
    }
    const kadctl::Target lastPort{RecvCard, kPorts - 1, 0};
    const auto probe = kadctl::BusClient::request(kCodeRead, kCardGlobalBrightness, 1, {}, lastPort);
    ASSERT_TRUE(waitUntil([&] { return ack(probe) == 0; }));  // the daemon has seen the links
  }
  void configure(const ByteVector& block) {
    constexpr size_t kPiece = 400;
    for (size_t at = 0; at < block.size(); at += kPiece) {
      const auto from = block.begin() + static_cast<std::ptrdiff_t>(at);
      write(kSpace + static_cast<uint32_t>(at),
            {from, from + static_cast<std::ptrdiff_t>(std::min(kPiece, block.size() - at))});
    }
  }
  // Waits until every card has that brightness.
  ::testing::AssertionResult come(int brightness) {
    std::vector<int> values;
    const bool there = waitUntil([&] {
      values.clear();
      for (int card = 0; card < kPorts * kCards; ++card) {
        values.push_back(std::stoi(monitorLine("card read recv " + std::to_string(card / kCards) + " " +
                                               std::to_string(card % kCards) + " 0x02000001 1"),
                                   nullptr, 16));
      }
      return values == std::vector<int>(kPorts * kCards, brightness);
    });
    if (there) return ::testing::AssertionSuccess();
    return ::testing::AssertionFailure() << ::testing::PrintToString(values);
  }
  // Runs the client on this board: its output.
  std::string runClient(const std::string& arguments, int status = 0) {
    const std::string line = shellCommand(KADREND_KADCTL) + "-b '" + board() + "' " + arguments + " 2>&1";
    std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(line.c_str(), "r"), ::pclose);
    std::string output;
    for (int c = std::fgetc(pipe.get()); c != EOF; c = std::fgetc(pipe.get())) output += static_cast<char>(c);
    EXPECT_EQ(::pclose(pipe.release()), status << 8) << arguments << "\n" << output;
    return output;
  }
};

TEST_F(BrightnessDay, AMixedModeOutlivesTheDaemon) {
  monitor("clock set 2026-03-04 12:00:00");
  monitor("light board 0x812C");  // 600 lux
  MixedBlock block;
  block.nodes = {{0x06, 0x00, 50}, {0x18, 0x00, 0, true}, {0x23, 0x00, 10}};
  block.sensors = {{1, 0, 0, 0}};
  block.luxMap = {{100, 10}, {1100, 60}};
  configure(block.bytes());
  ASSERT_TRUE(come(127));
  monitor("card write recv 255 0xFFFF 0x02000001 00");
  restart();
  EXPECT_TRUE(come(127));
  monitor("clock set 2026-03-04 17:59:59");
  EXPECT_TRUE(come(89));
  monitor("light board fail");
  monitor("clock set 2026-03-04 22:59:59");
  EXPECT_TRUE(come(25));
  write(kSpace, bytes({0}));
  settle();
  restart();
  monitor("card write recv 255 0xFFFF 0x02000001 77");
  monitor("clock set 2026-03-05 06:00:00");
  settle(2500);
  EXPECT_TRUE(come(0x77));
}

TEST_F(BrightnessDay, TheClientSetsItUpAndShowsIt) {
  monitor("clock set 2026-03-04 12:00:00");
  EXPECT_THAT(runClient("brightness 50%"), HasSubstr("brightness   127 (50 %)"));
  EXPECT_TRUE(come(127));
  EXPECT_EQ(flash(flash::kCardBrightness.address, 1), bytes({127}));

  const std::string schedule = "mode schedule\nnode 08:00 200 ports 0,1\nnode 20:00 64 ports 0\n";
  m_directory.put("evening", schedule);
  EXPECT_THAT(runClient("brightness --file '" + board() + "/evening'"),
              HasSubstr("next change  Wed 20:00, in 8 h 0 min: 64"));
  EXPECT_TRUE(come(200));
  EXPECT_EQ(runClient("brightness --show"), schedule);

  monitor("light board 0x80C8");
  monitor("light card 1 3 2 100");
  const std::string shown = runClient(
      "brightness --mode mixed --node '06:00 40% days sat,sun' --node '09:00 sensor' --sensor board --sensor '1 3 2' "
      "--lux '0 0%' --lux '600 100%' --line 'gradual no' --line 'interval 1'");
  EXPECT_THAT(
      shown,
      HasSubstr("sensor       board: 400 lux\nsensor       port 1 card 3 sensor 2: 200 lux\nby the light 127 (50 %)"));
  EXPECT_TRUE(come(127));
  EXPECT_THAT(runClient("--json brightness"), HasSubstr("\"lux\":400"));

  EXPECT_THAT(runClient("brightness --mode off"), HasSubstr("mode         off\n"));
  EXPECT_THAT(runClient("brightness --mode mixed"), HasSubstr("mode         mixed\n"));  // from what is stored
  EXPECT_THAT(runClient("brightness 256", 2), HasSubstr("256 is above 255"));
  m_directory.put("broken", "mode schedule\nnode noon 1\n");
  EXPECT_THAT(runClient("brightness --file '" + board() + "/broken'", 1), HasSubstr("line 2: not HH:MM: noon"));
}

}  // namespace
}  // namespace testing_support
