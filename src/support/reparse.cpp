#include "support/reparse.h"

#include "platform/tbx.h"

namespace support {

const kit::config::Dictionary* reparse(kit::config::JSONParser& parser, const char* path, std::string_view checker) {
  kit::config::Dictionary* dict = nullptr;
  kit::config::Array* array = nullptr;
  if (parser.parseFile(path, dict, array, 0) != 0) {
    tbx::cout << "[" << checker << "]: error in parsing file " << path << tbx::endl;
    tbx::cout << "[" << checker << "]: reason = " << tbx::ErrorStorage::reason() << tbx::endl;
    return nullptr;
  }
  if (dict == nullptr) tbx::cout << "[" << checker << "]: no dictionary found in file " << path << tbx::endl;
  return dict;
}

}  // namespace support
