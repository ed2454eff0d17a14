#include "framework/check_node_transport.h"

#include <string>

#include "framework/fw_state.h"
#include "support/report.h"

namespace framework {

namespace {

constexpr std::string_view kLoopback = "127.0.0.1";

using kit::config::locate;

// Reads `member`/`field` of a target whose `member` is a dictionary; true
// when it was read, with `at` its value (placed only for a finding). A member that is no dictionary
// is none of our business.
bool readSetting(const kit::config::Value& target, const char* member, const char* field, const support::Rule& rule,
                 std::string& out, kit::config::Value& at, const char* label, std::string_view node, bool& error) {
  kit::config::Value settings = target.get(member);
  if (!settings.isDictionary()) return false;
  kit::config::Value value = settings.get(field);
  if (value.getString(out) == 0) {
    at = value;
    return true;
  }
  support::error(rule, support::locateOr(value, settings), support::kAsk, label, " settings for node ", node, ": ",
                 member, " has no '", field, "'");
  error = true;
  return false;
}

}  // namespace

int checkNodeTransportSection(const kit::config::Dictionary& section, const char* label) {
  std::string reference;
  kit::config::Value at;
  bool error = false;
  for (auto it = section.begin(), end = section.end(); it != end; ++it) {
    std::string_view node = it.key();
    kit::config::Value target = it.value();
    std::string text;
    kit::config::Value serializer = target.get("serializer");
    if (serializer.getString(text) != 0) {
      support::error(support::rules::F6, support::locateOr(serializer, target), support::kAsk, label, " settings for node ", node,
                     " has no serializer setting");
      error = true;
    }
    if (readSetting(target, "tcpip", "address", support::rules::F7, text, at, label, node, error)) {
      if (reference.empty() || text == reference || text == kLoopback || reference == kLoopback) {
        if (reference.empty()) reference = text;
        // Once the section is wrong its reference address proves nothing.
        if (!error && Verbose) support::info(support::rules::F50, locate(at), support::kInfo, "tcpip ", reference, " from node ", node);
      } else {
        support::Finding f = support::finding(support::rules::F8, locate(at), support::kAsk, label, " settings for node ", node,
                                              " have different ip's");
        f.aside = reference + ' ' + text;
        support::report(std::move(f));
        error = true;
      }
    }
    if (readSetting(target, "resman", "root_path", support::rules::F9, text, at, label, node, error) && Verbose)
      support::info(support::rules::F50, locate(at), support::kInfo, "resman ", text, " from node ", node);
  }
  return error ? 1 : 0;
}

}  // namespace framework
