// Whatever fails, and whenever: each way of changing what is stored, with the k-th call of each operation of the board
// failing - once, for one whole operation with its retries, for ever - for every k until none is left to fail. After
// each: the daemon serves, its locks are free, nothing has leaked, what each write stores is stored whole or not at
// all, and the same requests without a fault lead to what they always lead to.
#include <algorithm>
#include <set>
#include <thread>

#include "process/tprocess_ctl.h"
#include "proto/flashmap.h"
#include "support/sweep_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;
using vboard::Op;

constexpr const char* kOps[] = {"fpga-read",  "fpga-write", "flash-read", "flash-write", "card-read",
                                "card-write", "ipc-send",   "env-open",   "env-get",     "env-set",
                                "edid-set",   "edid-get",   "light",      "shell"};
constexpr unsigned long kOnce = 1;
constexpr size_t kAllowedGrowth = 16384;  // of the test's own texts

// What the writes of an undisturbed run leave in each stretch of the flash: before, and after each write to it.
// Stretches are cut where one write's bytes begin or end, so that each is written whole or not at all.
class Contents {
 public:
  explicit Contents(BoardImage before) : m_before(std::move(before)) {}
  void note(uint32_t address, vboard::Bytes data) {
    m_writes.push_back({address, {data.begin(), data.end()}});
    m_edges.insert(address);
    m_edges.insert(address + static_cast<uint32_t>(data.size()));
  }
  const BoardImage& before() const { return m_before; }
  bool empty() const { return m_writes.empty(); }

  // Empty when each stretch of `image` holds one of its contents and nothing else has changed.
  std::string strangeIn(const BoardImage& image) const {
    for (const auto& [address, length] : BoardImage::watchedFlash()) {
      if (m_before.flash(address, length) == image.flash(address, length)) continue;
      for (uint32_t begin = address, end = 0; begin < address + length; begin = end) {
        const auto edge = m_edges.upper_bound(begin);
        end = edge == m_edges.end() ? address + length : std::min(*edge, address + length);
        const ByteVector found = image.flash(begin, end - begin);
        if (found != m_before.flash(begin, end - begin) && !possible(begin, found)) return describe(begin, found);
      }
    }
    return "";
  }

 private:
  struct Write {
    uint32_t address;
    ByteVector data;
  };
  bool possible(uint32_t begin, const ByteVector& found) const {
    return std::any_of(m_writes.begin(), m_writes.end(), [&](const Write& write) {
      if (begin < write.address || begin + found.size() > write.address + write.data.size()) return false;
      return std::equal(found.begin(), found.end(), write.data.begin() + (begin - write.address));
    });
  }
  static std::string describe(uint32_t begin, const ByteVector& found) {
    char text[96];
    std::snprintf(text, sizeof text, "flash 0x%06x, %zu bytes, holds what no undisturbed run writes: ", begin,
                  found.size());
    std::string out = text;
    for (size_t i = 0; i < std::min<size_t>(found.size(), 32); ++i) {
      std::snprintf(text, sizeof text, "%02x", found[i]);
      out += text;
    }
    return out;
  }

  BoardImage m_before;
  std::vector<Write> m_writes;
  std::set<uint32_t> m_edges;
};

class FaultSweep : public ScenarioTest, public ::testing::WithParamInterface<Scenario> {
 protected:
  void SetUp() override { m_base = BoardImage::take(); }

  void prepare() {
    putBack(m_base);
    GetParam().prepare(*this);
    idle();
  }
  void run() {
    GetParam().run(*this);
    idle();
  }
  // What an undisturbed run writes and leaves.
  void rehearse() {
    prepare();
    Contents contents(BoardImage::take());
    vboard::board().flash.programming = [&contents](uint32_t address, vboard::Bytes data) {
      contents.note(address, data);
    };
    run();
    vboard::board().flash.programming = nullptr;
    m_after = BoardImage::take();
    m_contents.emplace(std::move(contents));
  }

  bool disturbedRun(Op op, unsigned long k, unsigned long count) {
    prepare();
    EXPECT_EQ(m_contents->before().difference(BoardImage::take()), "");
    return disturbed(op, k, count, [this] { run(); });
  }
  void expectServing() {
    // The locks are recursive: only another thread can tell that they are free.
    std::thread([] {
      EXPECT_TRUE(isFree(Tprocess_ctl::getInstance()->m_mutex));
      EXPECT_TRUE(isFree(Data_Global::getInstance()->m_mutex));
    }).join();
    const auto present = read(0x03100140, 2);
    ASSERT_EQ(present.result, 0);
    auto changed = present.data;
    changed[0] ^= 0xFF;
    for (const auto& value : {changed, present.data}) {
      EXPECT_EQ(write(0x03100140, value), done());
      idle();
      EXPECT_EQ(read(0x03100140, 2), done(value));
    }
    EXPECT_EQ(read(0x02100000, 15).result, 0);
  }
  void expectSound(Op op) {
    // Cards that do not answer count as cards of another size: what is stored is another wall then.
    const bool otherWall = GetParam().asksCardSize && op == Op::CardRead;
    if (!otherWall) {
      EXPECT_EQ(m_contents->strangeIn(BoardImage::take()), "");
    }
    expectServing();
    // The counter of screen configurations goes on where it was: for the comparison it starts again.
    setFlash(flash::kScreenCounter.address, m_contents->before().flash(flash::kScreenCounter.address, 1));
    run();
    EXPECT_EQ(m_after.difference(BoardImage::take()), "") << "after the same requests without a fault";
  }

  // Each k with one way of failing: the number of runs that were disturbed.
  unsigned long sweep(const char* name, unsigned long count) {
    const Op op = *vboard::opFromName(name);
    unsigned long k = 1;
    for (; disturbedRun(op, k, count); ++k) {
      SCOPED_TRACE(std::string(name) + ", call " + std::to_string(k) + ", " + std::to_string(count) + " times");
      expectSound(op);
      if (HasFailure()) break;
    }
    return k - 1;
  }

  BoardImage m_base;
  BoardImage m_after;
  std::optional<Contents> m_contents;
};

TEST_P(FaultSweep, LeavesTheDaemonSoundWhateverFails) {
  rehearse();
  rehearse();  // what is made at the first use is there from now on
  const size_t memory = allocatedBytes();
  const size_t descriptors = openDescriptors();
  unsigned long runs = 0;
  std::string calls;
  for (const char* op : kOps) {
    for (const unsigned long count : {kOnce, kOneOperation, kForEver}) {
      const unsigned long disturbedRuns = sweep(op, count);
      if (HasFailure()) return;
      runs += disturbedRuns;
      if (count == kOnce && disturbedRuns != 0) calls += std::string(" ") + op + " " + std::to_string(disturbedRuns);
    }
  }
  rehearse();
  EXPECT_GT(runs, 0U);
  EXPECT_EQ(openDescriptors(), descriptors);
  EXPECT_LE(allocatedBytes(), memory + kAllowedGrowth);
  std::printf("%s: %lu disturbed runs; calls of an undisturbed one:%s; memory %+zd bytes\n", GetParam().name, runs,
              calls.c_str(), static_cast<ssize_t>(allocatedBytes() - memory));
}

INSTANTIATE_TEST_SUITE_P(Every, FaultSweep, ::testing::ValuesIn(scenarios().begin(), scenarios().end()),
                         [](const auto& scenario) { return std::string(scenario.param.name); });

}  // namespace
}  // namespace testing_support
