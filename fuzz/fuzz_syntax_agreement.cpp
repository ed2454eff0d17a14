// A file nothing looks into is checked by the streaming parser, the known
// files by the document parser. Both must give every input the same verdict
// and the same reason, or a file's fate would depend on its name. A file
// whose large lists are parsed in batches must read as one parsed whole.
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz_support.h"
#include "platform/kit_config.h"
#include "render_value.h"

namespace {
// The reason, and the place the driver gives its finding, which must be the one the reason names.
std::string takeReason(const kit::config::JSONParser& parser) {
  const char* reason = tbx::ErrorStorage::reason();
  std::string text = reason != nullptr ? reason : "";
  tbx::ErrorStorage::ack();
  const kit::config::ParseFault& f = parser.fault();
  if (f.at.line != 0 &&
      text.rfind("line " + std::to_string(f.at.line) + ", column " + std::to_string(f.at.column) + ": ", 0) != 0)
    std::abort();
  return text;
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzzing::Sandbox sandbox;
  const std::string path = sandbox.dir + "/any.json";
  fuzzing::writeFile(path, reinterpret_cast<const char*>(data), size);
  // no line limit: it is applied before either parser and would hide them
  kit::config::JSONParser parser;
  kit::config::Dictionary* dict = nullptr;
  kit::config::Array* array = nullptr;
  int document = parser.parseFile(path.c_str(), dict, array, 0);
  std::string documentReason = takeReason(parser);
  const std::string whole = document == 0 && dict != nullptr ? render(*dict) : "";
  // tiny batches, so that small inputs are cut too; the syntax walk lays the cuts
  kit::config::setListBatchBytes(1 + size % 61);
  int streaming = parser.checkSyntax(path.c_str(), 0);
  std::string streamingReason = takeReason(parser);
  int batched = parser.parseFile(path.c_str(), dict, array, 0);
  std::string batchedReason = takeReason(parser);
  const std::string pieces = batched == 0 && dict != nullptr ? render(*dict) : "";
  kit::config::setListBatchBytes(256 * 1024);
  if (document != streaming || documentReason != streamingReason) std::abort();
  if (batched != document || batchedReason != documentReason || pieces != whole) std::abort();
  return 0;
}
