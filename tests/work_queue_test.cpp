// The work queue: order, one item at a time, producers that never wait for a handler, and what ends it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

#include "mcucdatablock.h"
#include "mcucutil.h"
#include "process/tprocess_ctl.h"
#include "stub/mcuprocessthread.h"

namespace TIRK_MCUC {

namespace {
std::function<void(MCUProcessDataBlock*)> onItem;  // set before the worker starts
}  // namespace

// The key dispatch as this test scripts it: it stands in for the daemon's, which is then not linked in.
Tprocess_ctl::Tprocess_ctl() = default;
Tprocess_ctl* Tprocess_ctl::getInstance() {
  static NoDestroy<Tprocess_ctl> instance;
  return &instance.get();
}
void Tprocess_ctl::onProcessDealwith(MCUProcessDataBlock* block) {
  onItem(block);
}

namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;

std::unique_ptr<MCUProcessDataBlock> item(int key) {
  auto block = std::make_unique<MCUProcessDataBlock>();
  block->m_key = key;
  return block;
}

class WorkQueue : public ::testing::Test {
 protected:
  WorkQueue() {
    onItem = [this](MCUProcessDataBlock* block) { record(block->m_key); };
  }
  ~WorkQueue() override { EXPECT_TRUE(stop()) << "the worker still holds its share of the queue"; }

  void start() { ASSERT_EQ(m_worker->Init(), 0U); }
  // Asks the worker to end and waits until it let go of the queue.
  bool stop() {
    const std::weak_ptr<McuProcessThread> watch = m_worker;
    if (m_worker != nullptr) m_worker->Release();
    m_worker.reset();
    for (int i = 0; i < 1000 && !watch.expired(); ++i) std::this_thread::sleep_for(10ms);
    return watch.expired();
  }
  void add(int key) { m_worker->addMessageToList(item(key)); }
  // The worker is at item 1: its handler waits for the gate, then does `then`.
  void holdFirst(std::function<void()> then) {
    onItem = [this, then](MCUProcessDataBlock* block) {
      if (block->m_key == 1) {
        m_entered.set_value();
        m_gate.get_future().wait();
        then();
      }
      record(block->m_key);
    };
    start();
    add(1);
    m_entered.get_future().wait();
  }
  void record(int key) {
    const std::lock_guard lock(m_mutex);
    m_applied.push_back(key);
    m_changed.notify_all();
  }
  // Waits until so many items were applied.
  std::vector<int> applied(size_t count) {
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, 10s, [&] { return m_applied.size() >= count; });
    return m_applied;
  }

  std::shared_ptr<McuProcessThread> m_worker = std::make_shared<McuProcessThread>();
  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::vector<int> m_applied;
  std::promise<void> m_entered;
  std::promise<void> m_gate;
};

TEST_F(WorkQueue, AppliesWhatWasHeldFirstAndThenInOrderOfArrival) {
  std::vector<std::unique_ptr<MCUProcessDataBlock>> held;
  held.push_back(item(1));
  held.push_back(item(2));
  m_worker = std::make_shared<McuProcessThread>(std::move(held));
  add(3);
  start();
  add(4);
  EXPECT_THAT(applied(4), ElementsAre(1, 2, 3, 4));
}

TEST_F(WorkQueue, AppliesOneAtATimeAndKeepsEachProducersOrder) {
  constexpr int kProducers = 4;
  constexpr int kItems = 500;
  std::atomic<int> running{0};
  std::atomic<bool> overlapped{false};
  onItem = [&](MCUProcessDataBlock* block) {
    if (++running != 1) overlapped = true;
    record(block->m_key);
    --running;
  };
  start();
  std::vector<std::thread> producers;
  for (int p = 0; p < kProducers; ++p) {
    producers.emplace_back([this, p] {
      for (int i = 0; i < kItems; ++i) add(p * kItems + i);
    });
  }
  for (auto& producer : producers) producer.join();
  int next[kProducers] = {};
  const auto keys = applied(kProducers * kItems);
  ASSERT_TRUE(stop());  // the handler of the last item has returned from this frame
  for (const int key : keys) EXPECT_EQ(key % kItems, next[key / kItems]++);
  EXPECT_THAT(next, ::testing::Each(kItems));
  EXPECT_FALSE(overlapped);
}

TEST_F(WorkQueue, WithoutRoomTheIntakeWaitsAndAHandlerDoesNot) {
  constexpr int kLast = 1'000'000;
  holdFirst([this] { add(kLast); });
  m_worker->waitForRoom();  // there is
  std::vector<uint8_t> payload(MCUProcessDataBlock::kCapacity);
  const size_t most = McuProcessThread::kMostBytes / payload.size() + 1;
  for (size_t i = 0; i < most; ++i) {  // though a handler runs
    auto block = item(2);
    ASSERT_TRUE(block->setData(payload.data(), static_cast<int>(payload.size())));
    m_worker->addMessageToList(std::move(block));
  }
  EXPECT_EQ(m_worker->pending(), most + 1);
  auto intake = std::async(std::launch::async, [worker = m_worker] { worker->waitForRoom(); });
  EXPECT_EQ(intake.wait_for(50ms), std::future_status::timeout);
  m_gate.set_value();
  EXPECT_EQ(intake.wait_for(10s), std::future_status::ready);
  const auto order = applied(most + 2);
  ASSERT_EQ(order.size(), most + 2);
  EXPECT_EQ(order.front(), 1);
  EXPECT_EQ(order.back(), kLast) << "what a handler queues comes after what was there";
}

TEST_F(WorkQueue, WhoWaitsForRoomIsLetGoWhenTheWorkerEnds) {
  for (size_t i = 0; i < McuProcessThread::kMostItems; ++i) add(2);  // no worker yet
  auto intake = std::async(std::launch::async, [worker = m_worker] { worker->waitForRoom(); });
  EXPECT_EQ(intake.wait_for(50ms), std::future_status::timeout);
  m_worker->Release();
  EXPECT_EQ(intake.wait_for(10s), std::future_status::ready);
}

TEST_F(WorkQueue, EndsAfterTheItemItIsAtAndFreesTheRest) {
  holdFirst([] {});
  add(2);
  m_worker->Release();
  m_gate.set_value();
  EXPECT_TRUE(stop());
  EXPECT_THAT(applied(1), ElementsAre(1));
}

template <class Block>
class DataBlock : public ::testing::Test {
 public:
  static constexpr int kMost = std::is_same_v<Block, MCUCDataBlock> ? 65536 : 65535;
};
using DataBlocks = ::testing::Types<MCUProcessDataBlock, MCUCDataBlock>;
TYPED_TEST_SUITE(DataBlock, DataBlocks);

TYPED_TEST(DataBlock, TakesAPayloadUpToItsCapacityOrStaysAsItWas) {
  const std::vector<uint8_t> source(70000, 0xA5);
  TypeParam block;
  ASSERT_TRUE(block.setData(source.data(), TestFixture::kMost));
  EXPECT_EQ(block.getDataLen(), TestFixture::kMost);
  EXPECT_EQ(block.getData()[TestFixture::kMost - 1], 0xA5);
  ASSERT_TRUE(block.setData(source.data(), 3));

  EXPECT_FALSE(block.setData(source.data(), TestFixture::kMost + 1));
  EXPECT_FALSE(block.setData(source.data(), -1));
  EXPECT_FALSE(block.setData(nullptr, 1));
  EXPECT_EQ(block.getDataLen(), 3);
  EXPECT_EQ(block.m_data.size(), 3U);
  EXPECT_TRUE(block.setData(nullptr, 0));
  EXPECT_EQ(block.getDataLen(), 0);
}

}  // namespace
}  // namespace TIRK_MCUC
