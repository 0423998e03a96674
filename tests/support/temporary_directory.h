// A directory of the test's own, removed with what is in it at the end.
#pragma once

#include <filesystem>
#include <string>

namespace testing_support {

class TemporaryDirectory {
 public:
  TemporaryDirectory();
  ~TemporaryDirectory();
  TemporaryDirectory(const TemporaryDirectory&) = delete;
  TemporaryDirectory& operator=(const TemporaryDirectory&) = delete;

  const std::filesystem::path& path() const { return m_path; }
  void put(const std::string& name, const std::string& text) const;  // makes the file's directories
  std::string get(const std::string& name) const;                    // "" when it is not there

 private:
  std::filesystem::path m_path;
};

// The texts of all log files below a board's directory, oldest name first.
std::string logText(const std::filesystem::path& boardDirectory);

// The file for the note of a save below a board's directory, and the note in it: "" when no save is under way.
constexpr const char* kNoteFile = "root/data/tirk/etc/sysconf/pmxpara_pending";
std::string pendingNote(const TemporaryDirectory& boardDirectory);

// How often `needle` stands in `text`.
size_t occurrences(const std::string& text, const std::string& needle);

}  // namespace testing_support
