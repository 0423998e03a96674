// The note of a save, where the loss of power does not come into it: when there is none, what happens when it cannot be
// written or its save cannot be done again, and that it never undoes what came after it.
#include <gtest/gtest.h>

#include <filesystem>

#include "driverutil.h"
#include "support/store_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

class PendingSave : public StoreTest {
 protected:
  static constexpr const char* kNote = "root/data/tirk/etc/sysconf/pmxpara_pending";
  static constexpr uint32_t kPlace = 0xC30100;

  // Writes, and tells the note that stood meanwhile; "" when there was none.
  std::string noteOf(const ByteVector& data) {
    std::string note;
    vboard::board().flash.programming = [&](uint32_t, vboard::Bytes) {
      if (std::filesystem::is_regular_file(notePath())) note = m_directory.get(kNote);
    };
    EXPECT_EQ(driver.WriteDataToFlash(kPlace, static_cast<uint32_t>(data.size()), data.data()), 0);
    vboard::board().flash.programming = nullptr;
    EXPECT_EQ(flash(kPlace, data.size()), data);
    EXPECT_FALSE(std::filesystem::is_regular_file(notePath()));
    return note;
  }
  std::filesystem::path notePath() const { return m_directory.path() / kNote; }

  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(PendingSave, OnlyWhatCouldBeTornIsNoted) {
  const ByteVector data = repeated(600, 0x42);
  EXPECT_NE(noteOf(data), "");
  EXPECT_EQ(noteOf(data), "") << "nothing changes";
  ByteVector changed = data;
  changed[300] = 0;
  EXPECT_EQ(noteOf(changed), "") << "one byte changes";
  changed[301] = changed[310] = 0;
  EXPECT_EQ(noteOf(changed).size(), 12U + 8 + 2 * 10 + 4) << "the stretch that changes, old and new";
  const std::string line = operation("flash", kPlace, 600);
  EXPECT_EQ(operations(), (std::vector<std::string>{line, line, line, line}));
}

TEST_F(PendingSave, ANoteThatCannotBeWrittenIsOneLineAndNoHindrance) {
  std::filesystem::create_directory(notePath());
  EXPECT_EQ(noteOf(repeated(600, 0x42)), "");
  EXPECT_EQ(logged("the save can not be noted and goes on without!"), 1U);
}

TEST_F(PendingSave, ASaveThatCannotBeDoneAgainIsKeptUntilSomethingElseIsSavedThere) {
  const ByteVector before = flash(kPlace, 600);
  const ByteVector data = repeated(600, 0x42);
  const std::string note = noteOf(data);
  setFlash(kPlace, before);
  m_directory.put(kNote, note);
  fail(vboard::Op::FlashWrite, 3);
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(m_directory.get(kNote), note);
  EXPECT_EQ(logged("redo failed!"), 1U);

  // A single byte is saved without a note. It must not be undone.
  ByteVector later = before;
  later[5] ^= 1;
  noteOf(later);
  EXPECT_FALSE(std::filesystem::exists(notePath()));
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(flash(kPlace, 600), later);

  setFlash(kPlace, before);
  m_directory.put(kNote, note);
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(flash(kPlace, 600), data);
  EXPECT_EQ(logged("a save that was cut short is done again"), 1U);
}

}  // namespace
}  // namespace testing_support
