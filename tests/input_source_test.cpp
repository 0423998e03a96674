// Video inputs: detection and names, the EDID that each presents, and the modes kept in flash.
#include "driverutil.h"
#include "process/edid.h"
#include "process/inputSource.h"
#include "support/board_fixture.h"
#include "virtual/inputs.h"

using namespace TIRK_MCUC;
using namespace testing_support;

namespace {

constexpr uint32_t kModes = 0x200000;
constexpr size_t kModesLength = 72;

class InputBoards : public BoardTest {
 protected:
  explicit InputBoards(const std::string& fitted) : BoardTest("journal = on\nfpga_load_ms = -1\n" + fitted) {
    DriverUtil::getInstance()->initialize();
    clearJournal();
  }
  // The mode that the EDID of the board in that slot presents; none while none was loaded.
  static std::optional<VideoMode> presented(int slot) {
    const auto input = vboard::board().inputs->at(slot);
    return input && input->edid ? modeOfEdid(input->edid->data()) : std::nullopt;
  }
  // The EDID that an input was given for that mode.
  Edid edidFor(const VideoMode& mode) {
    m_inputs.EDIDSetByMode(0, mode.h, mode.v, mode.r);
    Edid edid{};
    if (m_inputs.ReadEDIDInfo(0, edid.data()) != 0) throw std::runtime_error("no EDID");
    return edid;
  }
  static void storeModes(const std::vector<VideoMode>& modes) {
    ByteVector wire;
    for (const VideoMode& mode : modes) wire = wire + littleEndian({mode.h, mode.v, mode.r});
    setFlash(kModes, wire);
  }
  void store(int group, const Edid& edid, int length = kEdidLength) {
    m_inputs.EDIDCommStorage(group, edid.data(), length);
  }
  InputSource& m_inputs = *InputSource::getInstance();
};

class AllKinds : public InputBoards {
 protected:
  AllKinds()
      : InputBoards(
            "input 0 = dvi\ninput 1 = hdmi14\ninput 2 = ddvi\ninput 3 = dvi\ninput 4 = hdmi14\n"
            "input 5 = sdi3g\ninput 6 = vga\n") {}
};

TEST_F(AllKinds, AreCountedAndNamedByKind) {
  for (size_t run = 1; run <= 2; ++run) {  // a later run starts afresh
    m_inputs.InputBoardInit();
    for (const char* line : {"Source group = 0 code = 0 name = DVI\n", "Source group = 1 code = 97 name = HDMI1.4-1\n",
                             "Source group = 2 code = 81 name = DUAL_DVI-1\n", "Source group = 3 code = 1 name = DVI\n",
                             "Source group = 4 code = 98 name = HDMI1.4-2\n", "Source group = 5 code = 48 name = SDI\n",
                             "Source group = 6 code = 32 name = VGA\n"})
      EXPECT_EQ(logged(line), run) << line;
  }
  EXPECT_EQ(logged("Source group = 7"), 0U);
  EXPECT_EQ(logged("Input Total = 7"), 2U);
}

TEST_F(AllKinds, AnInputThatTakesNoEdidEndsTheStartUpPass) {
  storeModes(std::vector<VideoMode>(7, {1920, 1080, 6000}));
  m_inputs.InputBoardInit();
  EXPECT_EQ(presented(1), (VideoMode{1920, 1080, 6000}));
  EXPECT_EQ(presented(3), std::nullopt) << "behind the dual DVI";
}

TEST_F(AllKinds, GroupsWithoutASourceAreLeftAlone) {
  m_inputs.InputBoardInit();
  Edid edid;
  edid.fill(0xEE);
  for (const int group : {-1, 2, 5, 6, 7, 8, 9}) {  // without a board, or one that takes no EDID
    m_inputs.EDIDSetByMode(group, 1920, 1080, 6000);
    EXPECT_EQ(m_inputs.ReadEDIDInfo(group, edid.data()), -1) << group;
  }
  EXPECT_EQ(journal(), "");
  EXPECT_EQ(m_inputs.ReadEDIDInfo(0, edid.data()), -1) << "none was loaded";
  EXPECT_THAT(edid, ::testing::Each(0xEE));
}

class TwoDviOneHdmi : public InputBoards {
 protected:
  TwoDviOneHdmi() : InputBoards("input 0 = dvi\ninput 3 = hdmi14\ninput 5 = dvi\n") {}
};

TEST_F(TwoDviOneHdmi, StoredModesAreAppliedAtTheStart) {
  storeModes({{1920, 1080, 5994}, {0xFFFF, 0xFFFF, 0xFFFF}, {1280, 720, 5000}});
  m_inputs.InputBoardInit();
  EXPECT_EQ(presented(0), (VideoMode{1920, 1080, 5994}));
  EXPECT_EQ(presented(3), std::nullopt) << "no mode was ever stored";
  EXPECT_EQ(presented(5), (VideoMode{1280, 720, 5000}));
}

TEST_F(TwoDviOneHdmi, ModesThatAreUnsetOrCannotBeReadAreSkipped) {
  storeModes({{0, 1080, 6000}, {1920, 0, 6000}, {1920, 1080, 0xFFFF}});
  m_inputs.InputBoardInit();
  storeModes({{1920, 1080, 6000}, {1920, 1080, 6000}, {1920, 1080, 6000}});
  fail(vboard::Op::FlashRead, 3);
  m_inputs.InputBoardInit();
  EXPECT_THAT(did("edid w"), ::testing::IsEmpty());
}

TEST_F(TwoDviOneHdmi, TheMonitorNameIsThatOfTheConnector) {
  m_inputs.InputBoardInit();
  for (const auto& [group, name] : {std::pair{0, "TIRK DUAL_DVI"}, {1, "TIRK HDMI1.4\n"}}) {
    m_inputs.EDIDSetByMode(group, 1920, 1080, 6000);
    Edid edid{};
    ASSERT_EQ(m_inputs.ReadEDIDInfo(group, edid.data()), 0);
    EXPECT_EQ(std::string(edid.begin() + 77, edid.begin() + 90), name);
  }
}

TEST_F(TwoDviOneHdmi, AHostsEdidIsStoredInItsGroupsEntryAndApplied) {
  m_inputs.InputBoardInit();
  const VideoMode kModesOfHosts[] = {{1920, 1080, 6000}, {1920, 1080, 5994}, {3840, 2160, 2997}, {1280, 800, 5000}};
  for (const VideoMode& mode : kModesOfHosts) {
    const Edid edid = edidFor(mode);
    setFlash(kModes, repeated(kModesLength, 0xA5));
    m_inputs.InputBoardInit();  // reads them
    store(2, edid);
    EXPECT_EQ(flash(kModes, kModesLength),
              repeated(12, 0xA5) + littleEndian({mode.h, mode.v, mode.r}) + repeated(54, 0xA5))
        << mode.h << "@" << mode.r;
    EXPECT_EQ(presented(5), mode);
  }
}

TEST_F(TwoDviOneHdmi, AnEdidOf128BytesIsTakenWhenItAnnouncesNoMore) {
  m_inputs.InputBoardInit();
  Edid edid = edidFor({1280, 720, 6000});
  store(1, edid, 128);
  EXPECT_EQ(presented(3), std::nullopt);
  edid[kEdidExtensionCount] = 0;
  setBlockChecksum(edid);
  store(1, edid, 128);
  EXPECT_EQ(presented(3), (VideoMode{1280, 720, 6000}));
}

TEST_F(TwoDviOneHdmi, ABadEdidChangesNothing) {
  m_inputs.InputBoardInit();
  const Edid good = edidFor({1920, 1080, 6000});
  using Changes = std::vector<std::pair<size_t, uint8_t>>;
  const struct {
    const char* what;
    Changes changes;
    bool checksum = true;
    int group = 0, length = 256;
  } kCases[] = {
      {"header", {{0, 1}}},
      {"extension checksum", {{200, 1}}},
      {"checksum", {{60, 1}}, false},
      {"length", {}, true, 0, 127},
      {"clock", {{54, 0}, {55, 0}}},
      {"width", {{56, 0}, {58, good[58] & 0x0F}}},
      {"height", {{59, 0}, {61, good[61] & 0x0F}}},
      {"refresh", {{55, 0xFF}, {61, 0}, {59, 9}}},
      {"group below", {}, true, -1},
      {"group above", {}, true, 9},
  };
  clearJournal();
  for (const auto& test : kCases) {
    Edid edid = good;
    for (const auto& [at, value] : test.changes) edid[at] = value;
    if (test.checksum) setBlockChecksum(edid);
    store(test.group, edid, test.length);
    EXPECT_EQ(journal(), "") << test.what;
  }
  EXPECT_EQ(logged(", nothing changed"), std::size(kCases));
}

TEST_F(TwoDviOneHdmi, AFailingFlashLosesNoOtherGroupsMode) {
  m_inputs.InputBoardInit();
  const Edid first = edidFor({1920, 1080, 6000});
  const Edid second = edidFor({1280, 720, 6000});
  fail(vboard::Op::FlashWrite, 3, 7);
  store(1, first);
  EXPECT_EQ(presented(3), (VideoMode{1920, 1080, 6000})) << "is applied all the same";
  store(2, second);  // writes both
  EXPECT_EQ(flash(kModes + 6, 12), bytes({0x80, 0x07, 0x38, 0x04, 0x70, 0x17, 0x00, 0x05, 0xD0, 0x02, 0x70, 0x17}));
}

TEST_F(TwoDviOneHdmi, ModesThatWereNeverReadAreNotOverwritten) {
  storeModes({{640, 480, 6000}, {800, 600, 6000}, {1024, 768, 6000}});
  fail(vboard::Op::FlashRead, 3);
  m_inputs.InputBoardInit();
  const Edid edid = edidFor({1920, 1080, 6000});
  fail(vboard::Op::FlashRead, 3);
  clearJournal();
  store(0, edid);
  EXPECT_EQ(journal(), "");
  store(0, edid);
  EXPECT_EQ(flash(kModes + 6, 6), bytes({0x20, 0x03, 0x58, 0x02, 0x70, 0x17})) << "the second group's";
}

}  // namespace
