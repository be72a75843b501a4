// Runs a target over the files of a folder, for compilers without a fuzzer.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/target.h"

int main(int argc, char** argv) {
  int files = 0;
  for (int k = 1; k < argc; ++k) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[k])) {
      std::ifstream file(entry.path(), std::ios::binary);
      const std::string bytes(std::istreambuf_iterator<char>(file), {});
      LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
      ++files;
    }
  }
  std::printf("%d files, reached %zu times\n", files, reached);
  return reached > 0 ? 0 : 1;
}
