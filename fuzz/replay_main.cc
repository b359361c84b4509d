// Runs a fuzz target over every file of the given files and directories, so
// the corpus (seeds and the inputs of past crashes) is replayed by the
// ordinary test suite, with any compiler.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int *argc, char ***argv);

namespace {

void RunFile(const std::filesystem::path &path, unsigned &count) {
  std::ifstream in(path, std::ios::binary);
  std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  // A copy of exactly the input's size, so that reads past its end are caught.
  std::vector<uint8_t> data(bytes.begin(), bytes.end());
  LLVMFuzzerTestOneInput(data.empty() ? nullptr : data.data(), data.size());
  ++count;
}

}  // namespace

int main(int argc, char **argv) {
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  unsigned count = 0;
  for (int i = 1; i < argc; ++i) {
    const std::filesystem::path root(argv[i]);
    if (std::filesystem::is_directory(root)) {
      for (const auto &entry : std::filesystem::recursive_directory_iterator(root)) {
        if (entry.is_regular_file()) RunFile(entry.path(), count);
      }
    } else if (std::filesystem::exists(root)) {
      RunFile(root, count);
    } else {
      std::fprintf(stderr, "replay: no such corpus: %s\n", argv[i]);
      return 1;
    }
  }
  std::printf("replayed %u inputs\n", count);
  return count > 0 ? 0 : 1;
}
