#include "support/temporary_directory.h"

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <system_error>

namespace testing_support {

namespace fs = std::filesystem;

TemporaryDirectory::TemporaryDirectory() {
  std::string pattern = (fs::temp_directory_path() / "kadrend-test-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary directory");
  m_path = pattern;
}

TemporaryDirectory::~TemporaryDirectory() {
  std::error_code ignored;
  // A worker that a test has left running may make the journal anew while the directory is emptied.
  for (int attempt = 0; attempt < 100 && fs::exists(m_path, ignored); ++attempt) fs::remove_all(m_path, ignored);
}

void TemporaryDirectory::put(const std::string& name, const std::string& text) const {
  const fs::path file = m_path / name;
  fs::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << text;
}

std::string TemporaryDirectory::get(const std::string& name) const {
  std::ifstream file(m_path / name, std::ios::binary | std::ios::ate);
  if (!file) return "";
  std::string text(static_cast<size_t>(file.tellg()), '\0');
  file.seekg(0);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  return text;
}

std::string logText(const fs::path& boardDirectory) {
  std::error_code none;
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(boardDirectory / "root/log", none)) files.insert(entry.path());
  std::string text;
  for (const auto& path : files) {
    std::ifstream file(path, std::ios::binary);
    text.append(std::istreambuf_iterator<char>(file), {});
  }
  return text;
}

std::string pendingNote(const TemporaryDirectory& boardDirectory) {
  if (!fs::is_regular_file(boardDirectory.path() / kNoteFile)) return "";
  std::string text = boardDirectory.get(kNoteFile);
  if (!text.starts_with("KPN2")) text.clear();
  return text;
}

size_t occurrences(const std::string& text, const std::string& needle) {
  size_t count = 0;
  for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + needle.size())) ++count;
  return count;
}

}  // namespace testing_support
