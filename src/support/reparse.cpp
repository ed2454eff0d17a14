#include "support/reparse.h"

#include "platform/tbx.h"
#include "support/report.h"

namespace support {

const kit::config::Dictionary* reparse(kit::config::JSONParser& parser, const char* path, std::string_view checker) {
  kit::config::Dictionary* dict = nullptr;
  kit::config::Array* array = nullptr;
  const std::string tag = "[" + std::string(checker) + "]: ";
  if (parser.parseFile(path, dict, array, 0) != 0) {
    const char* reason = tbx::ErrorStorage::reason();
    support::Finding f = support::finding("P1", {}, tag, "error in parsing file ", path);
    f.trailer = tag + "reason = " + (reason != nullptr ? reason : "");
    support::report(std::move(f));
    return nullptr;
  }
  // The top-level rule of each file is its first: F1, S1, R1, U1.
  static constexpr std::pair<std::string_view, std::string_view> kTopRules[] = {
      {"checkFWConfig", "F1"}, {"checkSMconfig", "S1"}, {"checkSMRestartconfig", "R1"}, {"checkUVKStartup", "U1"}};
  std::string_view rule = "P1";
  for (const auto& [name, id] : kTopRules)
    if (name == checker) rule = id;
  if (dict == nullptr) support::error(rule, kit::config::Location{}, tag, "no dictionary found in file ", path);
  return dict;
}

}  // namespace support
