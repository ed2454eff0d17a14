#include "support/no_dictionary.h"

#include "platform/tbx.h"

namespace support {

int noDictionary(const char* path, std::string_view checker) {
  tbx::cout << "[" << checker << "]: no dictionary found in file " << path << tbx::endl;
  return 1;
}

}  // namespace support
