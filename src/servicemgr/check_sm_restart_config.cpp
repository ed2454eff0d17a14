#include "servicemgr/check_sm_restart_config.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>

#include "commands/check_command_list.h"
#include "framework/fw_state.h"
#include "support/no_dictionary.h"
#include "support/report.h"
#include "support/symbols.h"

namespace servicemgr {

using kit::config::locate;
using kit::config::locateKey;
using kit::config::Value;
using support::kAsk;

namespace {

constexpr std::string_view kEvents[] = {"default", "failed", "watchdog", "died", "stopped", "error"};

bool isEvent(std::string_view key) { return std::find(std::begin(kEvents), std::end(kEvents), key) != std::end(kEvents); }

// Offers every key a policy may hold.
constexpr auto policyKeys = [](const auto& offer) {
  for (std::string_view key : kEvents) offer(key);
  for (std::string_view key : {"restart_cnt", "restart_cnt_reset_time", "on_restart_failed", "enabled"}) offer(key);
};

// Offers every process and application.
constexpr auto processesAndApplications = [](const auto& offer) {
  framework::ProcessNames.forEach(offer);
  framework::ApplicationNames.forEach(offer);
};

// A count or time that must be a non-negative 32-bit integer.
bool isCount(const Value& value) {
  int32_t count = -1;
  return value.getInt(count) == 0 && count >= 0;
}

}  // namespace

int checkRestartPolicy(const Value& policy, std::string_view name) {
  int result = 0;
  for (auto it = policy.begin(), end = policy.end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (isEvent(key)) {
      // A policy may leave an event without commands; only a real list is checked.
      Value commands = value.get("commands");
      if (commands.isArray()) result |= commands::checkCommandList(commands, key, "SMRestart");
      continue;
    }
    if (key == "restart_cnt" || key == "restart_cnt_reset_time") {
      if (isCount(value)) continue;
      support::error(key == "restart_cnt" ? support::rules::R5 : support::rules::R6, locate(value), kAsk, "SMRestart: (", name, ") '", key,
                     "' value invalid or less than 0");
    } else if (key == "on_restart_failed") {
      std::string text;
      if (value.getString(text) != 0 || text == "ignore" || text == "reset") continue;
      support::misspelt(support::rules::R7, locate(value), text, support::among({"ignore", "reset"}), kAsk, "SMRestart: (", name,
                        ") 'on_restart_failed' has illegal value '", text, "'");
    } else if (key == "enabled") {
      bool enabled = false;
      if (value.getBool(enabled) == 0) continue;
      support::error(support::rules::R8, locate(value), kAsk, "SMRestart: (", name, ") 'enabled' value is not a boolean");
    } else {
      support::misspelt(support::rules::R9, locateKey(it), key, policyKeys, kAsk, "SMRestart: (", name,
                        ") undefined entry '", key, "'");
    }
    result = 1;
  }
  return result;
}

int checkSMRestartconfig(const char* path, const kit::config::Value& root) {
  if (!root.isDictionary()) return support::noDictionary(support::rules::R1, path, "checkSMRestartconfig", kit::config::locate(root));
  const kit::config::Dictionary* top = &root;
  int result = 0;
  for (auto it = top->begin(), end = top->end(); it != end; ++it) {
    std::string_view key = it.key();
    Value value = it.value();
    if (key == "abort_on_reset") {
      bool abort = false;
      if (value.getBool(abort) != 0) {
        support::error(support::rules::R2, locate(value), kAsk, "SMRestart: entry 'abort_on_reset' is not a boolean value");
        result = 1;
      }
    } else if (key == "__default__") {
      for (auto d = value.begin(), last = value.end(); d != last; ++d) {
        std::string_view kind = d.key();
        if (kind == "process" || kind == "application") {
          if (support::SymbolIndex* index = support::symbols()) index->enter("__default__/" + std::string(kind), locateKey(d));
          result |= checkRestartPolicy(d.value(), "__default__/" + std::string(kind));
        } else {
          support::misspelt(support::rules::R3, locateKey(d), kind, support::among({"process", "application"}), kAsk,
                            "SMRestart: undefine entry '", kind, "' in __default__ block");
          result = 1;
        }
      }
    } else if (framework::ProcessNames.contains(key) || framework::ApplicationNames.contains(key)) {
      if (support::SymbolIndex* index = support::symbols()) {
        index->use(support::UseKind::ProcessOrApplication, key, locateKey(it));
        index->enter(key, locateKey(it));
      }
      result |= checkRestartPolicy(value, key);
    } else {
      if (support::SymbolIndex* index = support::symbols()) index->use(support::UseKind::ProcessOrApplication, key, locateKey(it));
      support::misspelt(support::rules::R4, locateKey(it), key, processesAndApplications, kAsk,
                        "SMRestart: '", key, "' is not a configured process or application name");
      result = 1;
    }
  }
  return result;
}

}  // namespace servicemgr
