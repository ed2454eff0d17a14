// Feeds every file of the folders given to a fuzz target's entry point, without
// libFuzzer, so that inputs that once failed are replayed by every build.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "test_helpers.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

int main(int argc, char** argv) {
  std::vector<std::filesystem::path> inputs;
  for (int i = 1; i < argc; ++i)
    for (const auto& entry : std::filesystem::directory_iterator(argv[i]))
      if (entry.is_regular_file() && entry.path().filename().string()[0] != '.') inputs.push_back(entry.path());
  std::sort(inputs.begin(), inputs.end());
  for (const auto& path : inputs) {
    std::printf("%s\n", path.c_str());
    std::fflush(stdout);  // names the input should it crash
    const std::string data = readFile(path);
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(data.data()), data.size());
  }
  std::printf("%zu inputs replayed\n", inputs.size());
  return 0;
}
