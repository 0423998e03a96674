// Power that fails while the flash is written. Each way of changing what is stored is run once, and what the flash and
// the note of the save hold is kept for every program operation: before it, with the first byte, half and all but one
// byte of it done, and after it. Each such board is started by the daemon itself. It must serve, and the flash must
// hold what the undisturbed run held after some whole number of saves: the last one done or the one under way.
#include <algorithm>
#include <fstream>
#include <set>

#include "pendingsave.h"
#include "proto/flashmap.h"
#include "support/daemon_fixture.h"
#include "support/sweep_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

constexpr const char* kSettings = "root/data/tirk/etc/sysconf/";

// The watched parts of a flash.
class FlashContents {
 public:
  FlashContents() = default;
  explicit FlashContents(const BoardImage& board) {
    for (const auto& [address, length] : BoardImage::watchedFlash()) m_ranges[address] = board.flash(address, length);
  }
  static FlashContents ofFile(const std::filesystem::path& image) {
    std::ifstream file(image, std::ios::binary);
    FlashContents contents;
    for (const auto& [address, length] : BoardImage::watchedFlash()) {
      ByteVector& bytes = contents.m_ranges[address];
      bytes.resize(length);
      file.seekg(address);
      file.read(reinterpret_cast<char*>(bytes.data()), length);
    }
    if (!file) throw std::runtime_error("the image cannot be read");
    return contents;
  }
  void putInto(const std::filesystem::path& image) const {
    std::fstream file(image, std::ios::binary | std::ios::in | std::ios::out);
    for (const auto& [address, bytes] : m_ranges) {
      file.seekp(address);
      file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    if (!file.flush()) throw std::runtime_error("the image cannot be written");
  }

  // The first `count` bytes of a program operation.
  void program(uint32_t address, const ByteVector& data, size_t count) {
    const auto range = std::prev(m_ranges.upper_bound(address));
    const size_t at = address - range->first;
    if (at + data.size() > range->second.size()) throw std::runtime_error("not watched");
    std::copy_n(data.begin(), count, range->second.begin() + static_cast<std::ptrdiff_t>(at));
  }

  // Empty, or where the two differ. What every start writes does not count: the counter and the block's version.
  std::string difference(const FlashContents& other) const {
    for (const auto& [first, bytes] : m_ranges) {
      const ByteVector& others = other.m_ranges.at(first);
      for (size_t i = 0; i < bytes.size(); ++i) {
        const auto address = static_cast<uint32_t>(first + i);
        if (bytes[i] == others[i] || address == flash::kScreenCounter.address || (address & ~0x1FU) == 0x1000) continue;
        char text[80];
        std::snprintf(text, sizeof text, "flash 0x%06x: %02x and %02x", address, bytes[i], others[i]);
        return text;
      }
    }
    return "";
  }

 private:
  std::map<uint32_t, ByteVector> m_ranges;
};

// What the loss of power leaves.
struct Remains {
  FlashContents flash;
  std::string note;  // what the file holds, "": there is none
};

// The board that is started anew, again and again: a daemon in a process of its own.
class NextStart : public DaemonTest {
 public:
  NextStart() : DaemonTest("fpga_load_ms = 0\n") {
    start();
    kill9();
  }
  void TestBody() override {}
  using DaemonTest::kill9;
  void put(const std::string& name, const std::string& text) const { m_directory.put(name, text); }
  std::filesystem::path file(const std::string& name) const { return m_directory.path() / name; }
  std::filesystem::path image() const { return file(std::string(kSettings) + "pmxpara"); }

  void powerOn(const Remains& remains) {
    kill9();
    remains.flash.putInto(image());
    m_directory.put(kNoteFile, remains.note);
    if (remains.note.empty()) std::filesystem::remove(file(kNoteFile));
    boot();
  }
  // A start that serves, and leaves no note behind.
  void boot() {
    ++starts;
    std::filesystem::remove(file("fpga"));
    std::filesystem::remove(file("root/etc/init.d/flag_fpgaload"));
    std::filesystem::remove_all(file("root/log"));
    start();
    ASSERT_TRUE(waitUntil([this] { return occurrences(log(), "Finish Restore FPGA") == 2; }));
    if (log().find("Warning:data_restore") != std::string::npos) ++mixtures;
    constexpr uint32_t kUnused = 0x02300FF0;  // of the backup space; a single byte needs no note
    const ByteVector present = read(kUnused, 1);
    for (const ByteVector& value : {ByteVector(1, static_cast<uint8_t>(~present[0])), present}) {
      write(kUnused, value);
      ASSERT_TRUE(waitUntil([&] { return read(kUnused, 1) == value; })) << "a write is not applied";
    }
    kill9();
    ASSERT_EQ(pendingNote(m_directory), "");
  }
  FlashContents flash() const { return FlashContents::ofFile(image()); }

  unsigned starts = 0;
  unsigned mixtures = 0;  // starts that told of saves that do not belong together
};

// How much of a program operation is done when the power fails.
std::set<size_t> cutsOf(size_t length) {
  return {0, std::min<size_t>(1, length), length / 2, length - 1, length};
}

class PowerLoss : public ScenarioTest, public ::testing::WithParamInterface<Scenario> {
 protected:
  struct Program {
    uint32_t address;
    ByteVector data;
    std::string file;  // of the note, as it stands while the operation runs
    bool noted;
  };

  void record() {
    GetParam().prepare(*this);
    idle();
    m_states.assign(1, FlashContents(BoardImage::take()));
    m_fileBefore = m_directory.get(kNoteFile);
    vboard::board().flash.programming = [this](uint32_t address, vboard::Bytes data) {
      const bool noted = !pendingNote(m_directory).empty();
      m_programs.push_back({address, {data.begin(), data.end()}, m_directory.get(kNoteFile), noted});
    };
    GetParam().run(*this);
    idle();
    vboard::board().flash.programming = nullptr;
    for (const Program& each : m_programs) {
      m_states.push_back(m_states.back());
      m_states.back().program(each.address, each.data, each.data.size());
    }
    ASSERT_EQ(m_states.back().difference(FlashContents(BoardImage::take())), "");
    ASSERT_EQ(pendingNote(m_directory), "") << "the save is done, its note is not gone";
  }

  bool sameSave(size_t n, size_t m) const {
    return m_programs[n].noted && m_programs[m].noted && m_programs[n].file == m_programs[m].file;
  }
  // The operations that belong to the same save end before this one.
  size_t endOfSave(size_t n) const {
    size_t end = n + 1;
    while (m_programs[n].noted && end < m_programs.size() && sameSave(n, end)) ++end;
    return end;
  }

  void cut(size_t n, size_t count) {
    const Program& program = m_programs[n];
    SCOPED_TRACE("operation " + std::to_string(n) + " of " + std::to_string(m_programs.size()) + ", " +
                 std::to_string(count) + " bytes of " + std::to_string(program.data.size()));
    Remains remains{m_states[n], program.file};
    remains.flash.program(program.address, program.data, count);
    m_next.powerOn(remains);
    const FlashContents now = m_next.flash();
    if (program.noted) {
      EXPECT_EQ(now.difference(m_states[endOfSave(n)]), "") << "the save that was under way is not done";
    } else if (now.difference(m_states[n]) != "") {
      EXPECT_EQ(now.difference(m_states[n + 1]), "") << "neither as before nor as after the write";
    }
    ++m_cuts;
  }

  // The power fails before the first operation, while the note is written over what the file held, its beginning or its
  // end first; and after the last, before the note is gone for good. And a note beside another flash.
  void cutNote(size_t first) {
    const std::string& file = m_programs[first].file;
    SCOPED_TRACE("note in a file of " + std::to_string(file.size()) + " bytes");
    std::string before = first == 0 ? m_fileBefore : m_programs[first - 1].file;
    before.resize(file.size());
    const auto [inFile, inBefore] = std::mismatch(file.rbegin(), file.rend(), before.rbegin());
    const auto changed = static_cast<size_t>(file.rend() - inFile);
    for (const size_t count : {size_t{1}, changed / 2, changed - 1}) {
      for (const std::string& mixed :
           {file.substr(0, count) + before.substr(count), before.substr(0, count) + file.substr(count)}) {
        if (mixed == file) continue;  // whole after all
        m_next.powerOn({m_states[first], mixed});
        EXPECT_EQ(m_next.flash().difference(m_states[first]), "") << "from a note that is not whole, at " << count;
        ++m_noteCuts;
      }
    }
    const FlashContents& after = m_states[endOfSave(first)];
    m_next.powerOn({after, file});
    EXPECT_EQ(m_next.flash().difference(after), "");
    const size_t length = m_programs[first].data.size();
    FlashContents other = after;
    other.program(m_programs[first].address, ByteVector(length, 0xEE), length);
    m_next.powerOn({other, file});
    EXPECT_EQ(m_next.flash().difference(other), "") << "the note of another flash was used";
    m_noteCuts += 2;
  }

  std::vector<Program> m_programs;
  std::vector<FlashContents> m_states;  // before the first operation, after it, after the second ...
  std::string m_fileBefore;
  NextStart m_next;
  unsigned m_cuts = 0;
  unsigned m_noteCuts = 0;
};

TEST_P(PowerLoss, LeavesEachSaveDoneOrUndone) {
  record();
  for (size_t n = 0; n < m_programs.size() && !HasFailure(); ++n) {
    for (const size_t count : cutsOf(m_programs[n].data.size())) cut(n, count);
    if (m_programs[n].noted && (n == 0 || !sameSave(n - 1, n))) cutNote(n);
  }
  EXPECT_EQ(m_cuts + m_noteCuts, m_next.starts);
  const unsigned mixtures = m_next.mixtures;
  m_next.powerOn({m_states.back(), ""});
  EXPECT_EQ(m_next.mixtures, mixtures) << "what was stored as a whole is taken for a mixture";
  std::printf("%s: %zu program operations, %u cuts in the flash, %u around notes, %u mixtures recognised\n",
              GetParam().name, m_programs.size(), m_cuts, m_noteCuts, mixtures);
}

// The power fails while a factory reset prepares the image for its reboot. A board that ignores the image goes on as it
// was; one that takes it at power-on has the whole reset done.
class PowerLossInReset : public ScenarioTest, public ::testing::WithParamInterface<int> {
 protected:
  struct Patch {
    std::string image;  // the prepared image before it
    std::string note;
    uint32_t address;
    ByteVector data;
  };

  PowerLossInReset() {
    setFlash(flash::kVideoScene.address, ByteVector(flash::kVideoScene.length, 0x5C));
    setFlash(flash::kDeviceNames.address, bytes({1, 2, 3, 4}));
    setFlash(flash::kRvFiles.address, bytes({5, 6, 7, 8}));
  }
  std::string prepared() const { return m_directory.get(std::string(kSettings) + "pmxpara_factory_tmp"); }

  void record() {
    vboard::board().flash.patching = [this](uint32_t address, vboard::Bytes data) {
      m_patches.push_back({prepared(), pendingNote(m_directory), address, {data.begin(), data.end()}});
    };
    ASSERT_EQ(store.ReturnFactory(static_cast<uint8_t>(GetParam())), 0);
    vboard::board().flash.patching = nullptr;
    ASSERT_EQ(pendingNote(m_directory), "");
    m_used = FlashContents(BoardImage::take());
    m_next.put(kPrepared, prepared());
    m_whole = FlashContents::ofFile(m_next.file(kPrepared));
  }

  // Both kinds of boards.
  void powerOn(const std::string& image, const std::string& note, const FlashContents& whenTaken) {
    for (const bool takesImage : {false, true}) {
      SCOPED_TRACE(takesImage ? "the board takes the image" : "the board ignores the image");
      m_next.kill9();
      m_used.putInto(m_next.image());
      m_next.put(kPrepared, image);
      m_next.put(kNoteFile, note);
      if (takesImage) m_next.put("rebooting", "");
      m_next.boot();
      EXPECT_EQ(m_next.flash().difference(takesImage ? whenTaken : m_used), "");
      EXPECT_FALSE(std::filesystem::exists(m_next.file(kPrepared)));
    }
  }

  static constexpr const char* kPrepared = "root/data/tirk/etc/sysconf/pmxpara_factory_tmp";
  std::vector<Patch> m_patches;
  FlashContents m_used;
  FlashContents m_whole;
  NextStart m_next;
};

TEST_P(PowerLossInReset, LeavesTheDeviceAsItWasOrReset) {
  record();
  unsigned cuts = 0;
  for (const Patch& patch : m_patches) {
    for (const size_t count : {size_t{0}, patch.data.size() / 2, patch.data.size()}) {
      SCOPED_TRACE("patch at " + std::to_string(patch.address) + ", " + std::to_string(count) + " bytes");
      std::string image = patch.image;
      std::copy_n(patch.data.begin(), count, image.begin() + static_cast<std::ptrdiff_t>(patch.address));
      powerOn(image, patch.note, m_whole);
      ++cuts;
    }
    if (HasFailure()) return;
  }
  // While the image is copied: what there is of it is no image, and no board takes it.
  std::string note;
  {
    const PendingReset pending;
    note = pendingNote(m_directory);
  }
  powerOn(m_patches[0].image.substr(0, 1 << 20), note, m_used);
  std::printf("factory reset %d: %zu patches, %u cuts, %u starts\n", GetParam(), m_patches.size(), cuts + 1,
              m_next.starts);
}

INSTANTIATE_TEST_SUITE_P(Type, PowerLossInReset, ::testing::Values(0, 1, 2));

INSTANTIATE_TEST_SUITE_P(Every, PowerLoss, ::testing::ValuesIn(scenarios().begin(), scenarios().end()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

}  // namespace
}  // namespace testing_support
