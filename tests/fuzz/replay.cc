// Runs the fuzz target over files, or all files of folders, that are given as arguments: for
// compilers without a fuzzer, and for valgrind.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

static int replayed;

static void replay(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> bytes{std::istreambuf_iterator<char>(file), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
  ++replayed;
}

int main(int count, char **arguments) {
  for (int i = 1; i < count; ++i) {
    if (!std::filesystem::is_directory(arguments[i])) {
      replay(arguments[i]);
      continue;
    }
    for (const auto &entry : std::filesystem::directory_iterator(arguments[i]))
      replay(entry.path());
  }
  printf("%d inputs replayed\n", replayed);
  return replayed > 0 ? 0 : 1;
}
