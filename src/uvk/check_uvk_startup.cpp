#include "uvk/check_uvk_startup.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "commands/check_command_list.h"
#include "support/no_dictionary.h"
#include "support/report.h"
#include "uvk/check_launcher_config.h"

namespace uvk {

using kit::config::locate;
using kit::config::Value;
using support::kAsk;

namespace {

enum class Rule {
  Launcher,     // checkLauncherConfig
  CommandList,  // labelled with its key, tagged "UVK::" + key
  Systracker,   // a dictionary with a string "filename"
  StartupMode,  // names one of the start-up lists
  Bool,         // boolean, reported as "bool value"
  Boolean,      // boolean, reported as "boolean value"
  Version,      // integer, 0 or more
  Positive,     // integer, more than 0
  NotNegative,  // integer, 0 or more, with separate type and range reports
};

struct TopEntry {
  std::string_view key;
  Rule rule;
  bool required;
  std::string_view item = {};  // the name reports use, when not the key
};

// Sorted by key for the lookup; required entries are reported missing in this order.
constexpr TopEntry kTopEntries[] = {
    {"default_startup_mode", Rule::StartupMode, false},
    {"dm_supervision_enabled", Rule::Boolean, false},
    {"domain_request_timeout", Rule::Positive, false},
    {"hmi_errordump_port", Rule::NotNegative, false},
    {"hmi_supervision_ms", Rule::NotNegative, false},
    {"irc_disabled", Rule::Bool, false},
    {"launcher", Rule::Launcher, true},
    {"on_fastshutdown", Rule::CommandList, false},
    {"on_postdomain", Rule::CommandList, false},
    {"on_restart", Rule::CommandList, false},
    {"on_shutdown", Rule::CommandList, true},
    {"on_startup_download", Rule::CommandList, false},
    {"on_startup_kt_production", Rule::CommandList, false},
    {"on_startup_normal", Rule::CommandList, false},
    {"send_indication_unrecoverable", Rule::Boolean, false},
    {"systracker", Rule::Systracker, false},
    {"uvksystem_expected_sec", Rule::NotNegative, false},
    {"version", Rule::Version, true},
    // Its reports keep their established spelling "occ".
    {"wait_for_ooc", Rule::Bool, false, "wait_for_occ"},
    {"wait_for_ooc_timeout_ms", Rule::NotNegative, false},
};

static_assert(std::is_sorted(std::begin(kTopEntries), std::end(kTopEntries),
                             [](const TopEntry& a, const TopEntry& b) { return a.key < b.key; }));

const TopEntry* findTopEntry(std::string_view key) {
  auto it = std::lower_bound(std::begin(kTopEntries), std::end(kTopEntries), key,
                             [](const TopEntry& e, std::string_view k) { return e.key < k; });
  return it != std::end(kTopEntries) && it->key == key ? it : nullptr;
}

bool isStartupMode(std::string_view mode) {
  return mode == "on_startup_normal" || mode == "on_startup_download" || mode == "on_startup_kt_production";
}

// Returns 1 when the entry's value breaks its rule, after reporting it.
int checkTopEntry(const TopEntry& entry, const Value& value) {
  std::string_view item = entry.item.empty() ? entry.key : entry.item;
  auto at = [&value] { return locate(value); };  // placed only for a finding
  int32_t number = 0;
  switch (entry.rule) {
    case Rule::Launcher:
      return checkLauncherConfig(value);
    case Rule::CommandList:
      return commands::checkCommandList(value, entry.key, "UVK::" + std::string(entry.key));
    case Rule::Systracker: {
      std::string filename;
      if (!value.isDictionary()) {
        support::error(support::rules::U7, at(), kAsk, "UVK: item 'systracker' is not a dictionary");
      } else if (value.get("filename").getString(filename) != 0) {
        support::error(support::rules::U8, support::locateOr(value.get("filename"), value), kAsk,
                       "UVK: missing entry 'filename' in item 'systracker'");
      } else {
        return 0;
      }
      return 1;
    }
    case Rule::StartupMode: {
      std::string mode;
      if (value.getString(mode) != 0) {
        support::error(support::rules::U5, at(), kAsk, "UVK: item '", item, "' is not a string");
      } else if (!isStartupMode(mode)) {
        support::misspelt(support::rules::U6, at(), mode, support::among({"on_startup_normal", "on_startup_download", "on_startup_kt_production"}),
                          kAsk, "UVK: item '", item, "' contains an undefined value '", mode, "'");
      } else {
        return 0;
      }
      return 1;
    }
    case Rule::Bool:
    case Rule::Boolean: {
      bool flag = false;
      if (value.getBool(flag) == 0) return 0;
      support::error(support::rules::U9, at(), kAsk, "UVK: item '", item,
                     entry.rule == Rule::Bool ? "' is not a bool value" : "' is not a boolean value");
      return 1;
    }
    case Rule::Version:
      number = -1;
      if (value.getInt(number) == 0 && number >= 0) return 0;
      support::error(support::rules::U4, at(), kAsk, "UVK: item '", item, "' missing or less than 0");
      return 1;
    case Rule::Positive:
      number = -1;
      if (value.getInt(number) == 0 && number > 0) return 0;
      support::error(support::rules::U10, at(), kAsk, "UVK: item '", item, "' is not an integer value or less or equal than 0");
      return 1;
    case Rule::NotNegative:
      if (value.getInt(number) != 0) {
        support::error(support::rules::U11, at(), kAsk, "UVK: item '", item, "' is not an integer value");
      } else if (number < 0) {
        support::error(support::rules::U12, at(), kAsk, "UVK: item '", item, "' is a negative value");
      } else {
        return 0;
      }
      return 1;
  }
  return 0;
}

}  // namespace

int checkUVKStartup(const char* path, const kit::config::Value& root) {
  if (!root.isDictionary()) return support::noDictionary(support::rules::U1, path, "checkUVKStartup", kit::config::locate(root));
  const kit::config::Dictionary* top = &root;
  std::array<bool, std::size(kTopEntries)> seen{};
  int result = 0;
  for (auto it = top->begin(); it != top->end(); ++it) {
    const TopEntry* entry = findTopEntry(it.key());
    if (entry == nullptr) {
      auto topKeys = [](const auto& offer) {
        for (const TopEntry& e : kTopEntries) offer(e.key);
      };
      support::misspelt(support::rules::U3, kit::config::locateKey(it), it.key(), topKeys, "[checkUVKStartup]: ", "undefined entry '",
                        it.key(), "' found");
      result = 1;
      continue;
    }
    // A required entry counts as present even when its value is wrong.
    seen[entry - kTopEntries] = true;
    result |= checkTopEntry(*entry, it.value());
  }
  for (std::size_t i = 0; i < std::size(kTopEntries); ++i) {
    if (!kTopEntries[i].required || seen[i]) continue;
    support::error(support::rules::U2, locate(*top), "[checkUVKStartup]: ", "entry '", kTopEntries[i].key, "' is missing");
    result = 1;
  }
  return result;
}

}  // namespace uvk
