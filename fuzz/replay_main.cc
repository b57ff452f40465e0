// A driver that runs a fuzz target once on each file it is given (or on each file in each folder
// given), for builds without libFuzzer: the suite replays the seed corpus and every input that once
// broke a target.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> files;
  for (int i = 1; i < argc; ++i) {
    std::error_code error;
    if (std::filesystem::is_directory(argv[i], error)) {
      for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i], error)) {
        if (entry.is_regular_file()) files.push_back(entry.path());
      }
    } else if (std::filesystem::is_regular_file(argv[i], error)) {
      files.emplace_back(argv[i]);
    }
  }
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs replayed\n", files.size());
  return 0;
}
