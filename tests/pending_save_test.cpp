// The note of a save, where the loss of power does not come into it: when there is none, what happens when it cannot be
// written or its save cannot be done again, and that it never undoes what came after it. And which notes are whole and
// fit a flash.
#include <filesystem>
#include <random>

#include "driverutil.h"
#include "savenote.h"
#include "support/store_fixture.h"

namespace testing_support {
namespace {

using namespace TIRK_MCUC;

class PendingSave : public StoreTest {
 protected:
  static constexpr uint32_t kPlace = 0xC30100;

  // Writes, and tells the note that stood meanwhile; "" when there was none.
  std::string noteOf(const ByteVector& data) {
    std::string note;
    vboard::board().flash.programming = [&](uint32_t, vboard::Bytes) { note = pendingNote(m_directory); };
    EXPECT_EQ(driver.WriteDataToFlash(kPlace, static_cast<uint32_t>(data.size()), data.data()), 0);
    vboard::board().flash.programming = nullptr;
    EXPECT_EQ(flash(kPlace, data.size()), data);
    EXPECT_EQ(pendingNote(m_directory), "");
    return note;
  }
  std::filesystem::path notePath() const { return m_directory.path() / kNoteFile; }

  DriverUtil& driver = *DriverUtil::getInstance();
};

TEST_F(PendingSave, OnlyWhatCouldBeTornIsNoted) {
  const ByteVector data = repeated(600, 0x42);
  const size_t length = noteOf(data).size();
  EXPECT_LT(length, 600U + 60) << "the new bytes, and checksums of the old ones";
  EXPECT_EQ(noteOf(data), "") << "nothing changes";
  ByteVector changed = data;
  changed[300] = 0;
  EXPECT_EQ(noteOf(changed), "") << "one byte changes";
  changed[301] = changed[310] = 0;
  const std::string note = noteOf(changed);
  const auto noted = decodeNote({reinterpret_cast<const uint8_t*>(note.data()), note.size()});
  ASSERT_TRUE(noted && noted->changes.size() == 1);
  EXPECT_EQ(noted->changes[0].address, kPlace + 301);
  EXPECT_EQ(noted->changes[0].becomes.size(), 10U) << "the stretch that changes";
  const std::string line = operation("flash", kPlace, 600);
  EXPECT_EQ(operations(), (std::vector<std::string>{line, line, line, line}));
}

TEST_F(PendingSave, ANoteThatCannotBeWrittenIsOneLineAndNoHindrance) {
  std::filesystem::remove(notePath());  // it is open: the next save finds that it is not there any more
  std::filesystem::create_directory(notePath());
  EXPECT_EQ(noteOf(repeated(600, 0x42)), "");
  EXPECT_EQ(logged("the save can not be noted and goes on without!"), 1U);
}

TEST_F(PendingSave, ASaveThatCannotBeDoneAgainIsKeptUntilSomethingElseIsSavedThere) {
  const ByteVector before = flash(kPlace, 600);
  const ByteVector data = repeated(600, 0x42);
  const std::string note = noteOf(data);
  setFlash(kPlace, before);
  m_directory.put(kNoteFile, note);
  fail(vboard::Op::FlashWrite, 3);
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(pendingNote(m_directory), note);
  EXPECT_EQ(logged("redo failed!"), 1U);

  // A single byte is saved without a note. It must not be undone.
  ByteVector later = before;
  later[5] ^= 1;
  noteOf(later);
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(flash(kPlace, 600), later);

  setFlash(kPlace, before);
  m_directory.put(kNoteFile, note);
  EXPECT_TRUE(driver.initialize());
  EXPECT_EQ(flash(kPlace, 600), data);
  EXPECT_EQ(logged("a save that was cut short is done again"), 1U);
}

// A note in memory, of a stretch that changes nearly everywhere.
class SaveNote : public ::testing::TestWithParam<size_t> {
 protected:
  static constexpr uint32_t kStart = 0x12F3;  // in the middle of a block

  SaveNote() {
    std::mt19937 random(7);
    for (ByteVector* bytes : {&m_was, &m_becomes}) {
      bytes->resize(GetParam());
      for (uint8_t& byte : *bytes) byte = static_cast<uint8_t>(random());
    }
    const auto eighth = static_cast<std::ptrdiff_t>(GetParam() / 8);
    std::fill(m_was.begin() + eighth, m_was.begin() + 4 * eighth, uint8_t{0xFF});
    std::fill(m_becomes.begin() + eighth, m_becomes.begin() + 2 * eighth, uint8_t{0xFF});
    m_was.front() = m_was.back() = 1;
    m_becomes.front() = m_becomes.back() = 2;
    m_file = fileOf(m_was, m_becomes);
  }
  static ByteVector fileOf(const ByteVector& was, const ByteVector& becomes) {
    const SavePart part{kStart, becomes};
    const auto note = makeNote(NoteKind::save, {&part, 1}, readerOf(was));
    ByteVector file = note->head;
    for (const SavePart& change : note->changes) file.insert(file.end(), change.data.begin(), change.data.end());
    return file;
  }
  static NoteReader readerOf(const ByteVector& flash) {
    return [&flash](uint32_t address, MutableBytes out) {
      std::copy_n(flash.begin() + (address - kStart), out.size(), out.begin());
      return true;
    };
  }
  // The flash when the power fails so many bytes after the beginning.
  ByteVector cut(size_t at) const {
    ByteVector flash = m_was;
    std::copy_n(m_becomes.begin(), at, flash.begin());
    return flash;
  }
  bool fits(const ByteVector& flash) const { return decodeNote(m_file)->changes.at(0).fits(readerOf(flash)); }

  ByteVector m_was;
  ByteVector m_becomes;
  ByteVector m_file;
};

TEST_P(SaveNote, FitsWhatACutLeavesAndNothingElse) {
  const size_t length = GetParam();
  for (size_t at = 0; at <= length; ++at) ASSERT_TRUE(fits(cut(at))) << at;
  for (const size_t at : {size_t{0}, length / 2, length}) {
    for (size_t i = 0; i < length; ++i) {
      const bool torn = length > kNoteBlock && at != 0 && at != length;
      if (torn && (kStart + i) / kNoteBlock == (kStart + at) / kNoteBlock) continue;  // not known
      if (at == length && i + 1 == at && length > kNoteBlock) continue;               // as if cut before it
      ByteVector flash = cut(at);
      while (flash[i] == m_was[i] || flash[i] == m_becomes[i]) ++flash[i];
      ASSERT_FALSE(fits(flash)) << "byte " << i << " of a flash cut at " << at;
    }
  }
}

TEST_P(SaveNote, IsWholeOrNone) {
  ASSERT_TRUE(decodeNote(m_file));
  const ByteVector other = fileOf(m_becomes, m_was);
  for (size_t i = 0; i < m_file.size(); ++i) {
    ASSERT_FALSE(decodeNote(Bytes(m_file).first(i))) << i;
    ByteVector file = m_file;
    file[i] ^= static_cast<uint8_t>(1 << i % 8);
    ASSERT_FALSE(decodeNote(file)) << i;
    file = m_file;
    std::copy_n(other.begin(), i + 1, file.begin());
    ASSERT_TRUE(file == other || file == m_file || !decodeNote(file)) << "the first " << i + 1 << " bytes of another";
  }
}

INSTANTIATE_TEST_SUITE_P(Lengths, SaveNote, ::testing::Values(12, 256, 257, 1500));

}  // namespace
}  // namespace testing_support
