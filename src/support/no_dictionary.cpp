#include "support/no_dictionary.h"

#include <string>
#include <utility>

#include "support/report.h"

namespace support {

int noDictionary(const char* path, std::string_view checker, kit::config::Location at) {
  // The top-level rule of each file is its first.
  static constexpr std::pair<std::string_view, std::string_view> kTopRules[] = {
      {"checkFWConfig", "F1"}, {"checkSMconfig", "S1"}, {"checkSMRestartconfig", "R1"}, {"checkUVKStartup", "U1"}};
  std::string_view rule = "F1";
  for (const auto& [name, id] : kTopRules)
    if (name == checker) rule = id;
  error(rule, at, "[" + std::string(checker) + "]: ", "no dictionary found in file ", path);
  return 1;
}

}  // namespace support
