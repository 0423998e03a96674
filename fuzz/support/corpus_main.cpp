// Runs a fuzzer over the files of its corpus, without libFuzzer: NAME_corpus FILE_OR_DIRECTORY...
// Fails when there is none: a corpus that has gone is no corpus that passes.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace {

namespace fs = std::filesystem;

bool runFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes(std::istreambuf_iterator<char>(file), {});
  if (!file) return false;
  std::fprintf(stderr, "%s\n", path.c_str());  // the last one told is the one that fails
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char* argv[]) {
  size_t count = 0;
  for (int i = 1; i < argc; ++i) {
    if (!fs::is_directory(argv[i])) {
      count += runFile(argv[i]) ? 1 : 0;
      continue;
    }
    for (const auto& entry : fs::recursive_directory_iterator(argv[i])) {
      if (entry.is_regular_file() && runFile(entry.path())) ++count;
    }
  }
  std::fprintf(stderr, "%zu inputs\n", count);
  return count == 0 ? 1 : 0;
}
