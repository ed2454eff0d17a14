#include "uvk/check_launcher_config.h"

#include <string>

#include "commands/check_command_list.h"
#include "framework/fw_state.h"
#include "support/report.h"
#include "support/symbols.h"
#include "support/name_set.h"
#include "uvk/check_restart_param.h"

namespace uvk {

using kit::config::locate;
using kit::config::locateKey;
using kit::config::Value;
using support::kAsk;

int checkLauncherConfig(const Value& launcher) {
  if (!launcher.isDictionary()) {
    support::error(support::rules::U14, locate(launcher), "[checkUVKStartup]: ", "launcher-configuration is not a dictionary");
    return 1;
  }
  support::NameSet domains;
  int result = 0;
  for (auto it = launcher.begin(), end = launcher.end(); it != end; ++it) {
    std::string_view name = it.key();
    Value settings = it.value();
    bool repeated = !domains.insert(name, [&] { return kit::config::anchorKey(it); });
    if (repeated) {
      support::duplicate(support::rules::U15, locateKey(it), domains.firstPlace(name), kAsk, "UVK::launcher: '", name,
                         "' is defined more than once");
    }
    if (!settings.isDictionary()) {
      support::error(support::rules::U16, locate(settings), kAsk, "UVK::launcher: '", name, "' is not a dictionary");
      result = 1;
    } else if (repeated) {
      result = 1;
    } else {
      if (support::SymbolIndex* index = support::symbols()) index->enter(name, locateKey(it));
      result |= checkLauncherDomain(settings, name);
    }
  }
  if (support::SymbolIndex* index = support::symbols()) index->enter({}, {});
  return result;
}

int checkLauncherDomain(const Value& settings, std::string_view domain) {
  int result = 0;
  for (auto it = settings.begin(), end = settings.end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (key == "on_start" || key == "on_restart") {
      // Findings name the list, not the domain.
      result |= commands::checkCommandList(value, key, "UVK");
      continue;
    }
    if (key == "restart_param") {
      result |= checkRestartParam(value, domain);
      continue;
    }
    if (key == "launcher") {
      if (support::SymbolIndex* index = support::symbols()) index->use(support::UseKind::Application, value);
      std::string application;
      if (value.getString(application) != 0) {
        support::error(support::rules::U17, locate(value), kAsk, "UVK::launcher: launcher for '", key, "' is not a string for '", domain,
                       "'");
      } else if (!framework::ApplicationNames.contains(application)) {
        support::misspelt(support::rules::U18, locate(value), application, [](const auto& offer) { framework::ApplicationNames.forEach(offer); },
                          kAsk, "UVK::launcher: launcher application '", application, "' for domain '", domain,
                          "' is not a configured application");
      } else {
        continue;
      }
    } else if (key == "always_ack") {
      bool ack = false;
      if (value.getBool(ack) == 0) continue;
      support::error(support::rules::U19, locate(value), kAsk, "UVK::launcher: illegal value for pameter 'always_ack' for domain '", domain,
                     "'");
    } else if (key == "domain_request_timeout") {
      int32_t timeout = -1;
      if (value.getInt(timeout) == 0 && timeout > 0) continue;
      support::error(support::rules::U20, locate(value), kAsk, "UVK: '", key, "' is not an integer value or less or equal than 0 in domain '",
                     domain, "'");
    } else {
      support::misspelt(support::rules::U21, locateKey(it), key,
                        support::among({"on_start", "on_restart", "restart_param", "launcher", "always_ack", "domain_request_timeout"}),
                        kAsk, "UVK: '", key, "' is an undefined entry in domain '", domain, "'");
    }
    result = 1;
  }
  return result;
}

}  // namespace uvk
