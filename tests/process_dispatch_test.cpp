// The process-key dispatch: which handler a key reaches, with what, under which lock, and what a failing one leaves.
#include <chrono>
#include <future>
#include <stdexcept>

#include "driverutil.h"
#include "process/tprocess_ctl.h"
#include "support/board_fixture.h"

using namespace TIRK_MCUC;
using namespace testing_support;

namespace {

MCUProcessDataBlock item(uint32_t key, const ByteVector& payload) {
  MCUProcessDataBlock block;
  block.m_key = static_cast<int32_t>(key);
  EXPECT_TRUE(block.setData(payload.data(), static_cast<int>(payload.size())));
  return block;
}

ByteVector received;
int receivedLength = -1;

int takePayload(int length, uint8_t* data) {
  receivedLength = length;
  received.assign(data, data + length);
  return 1;
}
int throwStandard(int, uint8_t*) {
  throw std::runtime_error("out of luck");
}
int throwOther(int, uint8_t*) {
  throw 7;
}

class ProcessDispatchTest : public BoardTest {
 protected:
  ProcessDispatchTest() {
    DriverUtil::getInstance()->initialize();
    EXPECT_EQ(m_control->initialize(), 1);
    clearJournal();
  }
  void dispatch(uint32_t key, const ByteVector& payload = {}) {
    auto block = item(key, payload);
    m_control->onProcessDealwith(&block);
  }
  Tprocess_ctl* m_control = Tprocess_ctl::getInstance();
};

TEST_F(ProcessDispatchTest, KeysWithoutHandlerAreIgnoredWithoutALine) {
  const std::string before = log();
  for (const uint32_t key : {1U, 20U, 30U, 199U, 0xFFFFFFFFU}) dispatch(key, bytes({1, 2, 3, 4, 5, 6, 7, 8}));
  dispatch(28, bytes({1}));  // the one handler that does nothing
  EXPECT_EQ(log(), before);
  EXPECT_EQ(journal(), "");
}

TEST_F(ProcessDispatchTest, AHandlerGetsTheItemsLengthAndBytes) {
  const Fprocess_cmd command{28, 1, HwBasicinfoKey, "", takePayload};
  for (const ByteVector& payload : {bytes({5}), bytes({0, 0, 0, 1, 2, 0, 9, 8})}) {
    auto block = item(0, payload);
    Tprocess_ctl::apply(&command, block);
    EXPECT_EQ(receivedLength, static_cast<int>(payload.size()));
    EXPECT_EQ(received, payload);
  }
}

TEST_F(ProcessDispatchTest, AHandlersExceptionIsLoggedAndGoesNoFurther) {
  auto block = item(5, {});
  const Fprocess_cmd standard{28, 1, DoFeatureInfoKey, "", throwStandard};
  const Fprocess_cmd other{28, 1, DoFeatureInfoKey, "", throwOther};
  const Fprocess_cmd none{28, 1, DoFeatureInfoKey, "", nullptr};
  EXPECT_NO_THROW(Tprocess_ctl::apply(&standard, block));
  EXPECT_EQ(logged("the handler of key 5 failed: out of luck"), 1U);
  EXPECT_NO_THROW(Tprocess_ctl::apply(&other, block));
  EXPECT_EQ(logged("the handler of key 5 failed."), 1U);
  Tprocess_ctl::apply(&none, block);
  EXPECT_EQ(logged("=== onProcessDealwith ===: Invalid key!"), 1U);
}

// While the flag thread calculates or resets, an item waits.
TEST_F(ProcessDispatchTest, AnItemWaitsForTheDispatchMutex) {
  m_control->m_mutex.Lock();
  auto worker = std::async(std::launch::async, [this] { dispatch(6); });
  EXPECT_EQ(worker.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  m_control->m_mutex.UnLock();
  worker.get();
  EXPECT_EQ(logged("Sprocess_Correction enter:"), 1U);
}

}  // namespace
