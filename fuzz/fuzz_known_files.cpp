// Arbitrary bytes as one of the four known files, beside sound companions, so
// that every content check and the transport report meet hostile data.
#include <cstdint>
#include <cstdlib>

#include "fuzz_support.h"
#include "platform/kit_config.h"
#include "platform/read_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzzing::Sandbox sandbox;
  if (size == 0) return 0;
  const unsigned which = data[0] % 4;
  const std::string path = sandbox.dir + "/" + fuzzing::kKnownFileNames[which];
  fuzzing::writeFile(path, reinterpret_cast<const char*>(data + 1), size - 1);
  std::vector<std::string> args;
  for (const char* name : fuzzing::kKnownFileNames) {
    args.push_back("--file");
    args.push_back(sandbox.dir + "/" + name);
  }
  args.push_back("--transport");
  if (data[0] & 4) args.push_back("--verbose");
  // A located format: every place the findings name is checked (fuzz_support.h).
  if (data[0] & 16) {
    args.push_back("--format");
    args.push_back(data[0] & 32 ? "gnu" : "sarif");
  }
  kit::config::setListBatchBytes(data[0] & 8 ? 16 : 256 * 1024);  // small inputs cut into batches too
  kit::config::setMapFrom(data[0] & 64 ? 1 : 0);  // small files mapped too
  int status = sandbox.run(args);
  if (status != 0 && status != 1) std::abort();
  const std::string& sound = sandbox.sound[which];
  fuzzing::writeFile(path, sound.data(), sound.size());
  return 0;
}
