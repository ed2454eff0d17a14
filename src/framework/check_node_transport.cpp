#include "framework/check_node_transport.h"

#include <string>

#include "framework/fw_state.h"
#include "platform/tbx.h"

namespace framework {

namespace {

constexpr std::string_view kLoopback = "127.0.0.1";

// Reads `member`/`field` of a target whose `member` is a dictionary; true
// when it was read. A member that is no dictionary is none of our business.
bool readSetting(const kit::config::Value& target, const char* member, const char* field, std::string& out,
                 const char* label, std::string_view node, bool& error) {
  kit::config::Value settings = target.get(member);
  if (!settings.isDictionary()) return false;
  if (settings.get(field).getString(out) == 0) return true;
  tbx::cout << "  ?  " << label << " settings for node " << node << ": " << member << " has no '" << field << "'"
            << tbx::endl;
  error = true;
  return false;
}

}  // namespace

int checkNodeTransportSection(const kit::config::Dictionary& section, const char* label) {
  std::string reference;
  bool error = false;
  for (auto it = section.begin(), end = section.end(); it != end; ++it) {
    std::string_view node = it.key();
    kit::config::Value target = it.value();
    std::string text;
    if (target.get("serializer").getString(text) != 0) {
      tbx::cout << "  ?  " << label << " settings for node " << node << " has no serializer setting" << tbx::endl;
      error = true;
    }
    if (readSetting(target, "tcpip", "address", text, label, node, error)) {
      if (reference.empty() || text == reference || text == kLoopback || reference == kLoopback) {
        if (reference.empty()) reference = text;
        // Once the section is wrong its reference address proves nothing.
        if (!error && Verbose) tbx::cout << "!  tcpip " << reference << " from node " << node << tbx::endl;
      } else {
        tbx::cout << reference << ' ' << text << tbx::endl;
        tbx::cout << "  ?  " << label << " settings for node " << node << " have different ip's" << tbx::endl;
        error = true;
      }
    }
    if (readSetting(target, "resman", "root_path", text, label, node, error) && Verbose)
      tbx::cout << "!  resman " << text << " from node " << node << tbx::endl;
  }
  return error ? 1 : 0;
}

}  // namespace framework
