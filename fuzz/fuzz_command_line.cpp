// Arbitrary command lines: NUL-separated arguments, run in a directory that
// holds a sound system and a few awkward entries.
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <sys/stat.h>

#include "fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzzing::Sandbox sandbox = [] {
    fuzzing::Sandbox box;
    mkdir((box.dir + "/sub.json").c_str(), 0755);
    fuzzing::writeFile(box.dir + "/broken.json", "{\"a\":", 5);
    if (chdir(box.dir.c_str()) != 0) std::abort();
    return box;
  }();
  std::vector<std::string> args;
  std::string current;
  for (size_t i = 0; i < size && args.size() < 64; ++i) {
    if (data[i] == 0) {
      args.push_back(current);
      current.clear();
    } else {
      current.push_back(static_cast<char>(data[i]));
    }
  }
  if (args.size() < 64) args.push_back(current);
  int status = sandbox.run(args);
  if (status != 0 && status != 1 && status != -1) std::abort();
  return 0;
}
