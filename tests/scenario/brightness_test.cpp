// The client sets the brightness up and shows it, and the cards of the whole daemon follow.
#include <cstdio>
#include <filesystem>

#include "driverutil.h"
#include "proto/cardregisters.h"
#include "proto/flashmap.h"
#include "support/daemon_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using ::testing::HasSubstr;

class BrightnessClient : public DaemonTest {
 protected:
  void SetUp() override {
    DaemonTest::SetUp();
    for (const char* port : {"0", "1"}) monitor(std::string("cards ") + port + " 3 64 64");
    const auto probe =
        kadctl::BusClient::request(kCodeRead, kCardGlobalBrightness, 1, {}, kadctl::Target{RecvCard, 1, 0});
    ASSERT_TRUE(waitUntil([&] { return ack(probe) == 0; }));  // the daemon has seen the links
  }
  // Waits until the last card has that brightness.
  bool come(int brightness) {
    return waitUntil(
        [&] { return std::stoi(monitorLine("card read recv 1 2 0x02000001 1"), nullptr, 16) == brightness; });
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

TEST_F(BrightnessClient, TheClientSetsItUpAndShowsIt) {
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
  EXPECT_THAT(runClient("brightness --mode schedule --node 'noon 1'", 2), HasSubstr("node noon 1: not HH:MM: noon"));
  EXPECT_GE(runClient("time '2026-03-04 14:00:01'"), "2026-03-04 14:00:01");
  EXPECT_GE(runClient("time '2026-03-04 14:00:31'"), "2026-03-04 14:00:31");  // another second of the same minute
  for (const char* output : {">/dev/full", ">&- 2>&- #"}) runClient(std::string("brightness ") + output, 1);
  const auto tasks = [this] {
    return std::distance(std::filesystem::directory_iterator(board() + "/bus"), std::filesystem::directory_iterator());
  };
  const auto before = tasks();
  runClient("brightness | :");
  EXPECT_EQ(tasks(), before) << "a client that is ended by a signal leaves the bus";
}

}  // namespace
}  // namespace testing_support
