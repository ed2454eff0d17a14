#include "support/no_dictionary.h"

#include <string>

#include "support/report.h"

namespace support {

int noDictionary(const Rule& rule, const char* path, std::string_view checker, kit::config::Location at) {
  error(rule, at, "[" + std::string(checker) + "]: ", "no dictionary found in file ", path);
  return 1;
}

}  // namespace support
