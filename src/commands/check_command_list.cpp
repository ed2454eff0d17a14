#include "commands/check_command_list.h"

#include <initializer_list>
#include <string>

#include "framework/fw_state.h"
#include "support/report.h"
#include "support/symbols.h"

namespace commands {

using kit::config::Location;
using kit::config::locate;
using kit::config::Value;
using support::locateOr;

namespace {

// Where a finding stands; every finding of an entry marks its result.
struct Reporter {
  std::string_view label;
  uint32_t number;
  std::string_view tag;
  int result = 0;

  // "<tag>: <parts>in '<label>' at cmd-no <number>"
  template <typename... Parts>
  void inList(const support::Rule& rule, Location at, const Parts&... parts) {
    result = 1;
    support::error(rule, at, support::kAsk, tag, ": ", parts..., "in '", label, "' at cmd-no ", number);
  }
  // "<what> for cmd <cmd> in '<label>' ...": a finding that names the command.
  void forCmd(const support::Rule& rule, Location at, std::string_view what, std::string_view cmd) {
    inList(rule, at, what, " for cmd ", cmd, " ");
  }
  // A finding about a misspelt `word`, with its likely meaning among `each`'s names.
  template <class Each, typename... Parts>
  void misspelt(const support::Rule& rule, Location at, std::string_view word, const Each& each, const Parts&... parts) {
    result = 1;
    support::misspelt(rule, at, word, each, support::kAsk, tag, ": ", parts..., "in '", label, "' at cmd-no ", number);
  }
  void illegalValue(const support::Rule& rule, const Value& value, std::string_view key) {
    inList(rule, locate(value), "illegal value for '", key, "' ");
  }
};

// The members an entry's checks read, each at its first occurrence. One walk
// over the entry finds them all; command lists hold most of a system's entries.
struct Members {
  Value cmd, app, psAccess, event, blocking, timeout, apprunmode, sysrunmode;

  explicit Members(const Value& entry) {
    for (auto it = entry.begin(), end = entry.end(); it != end; ++it) {
      Value* slot = nullptr;
      std::string_view key = it.key();
      switch (paramBit(key)) {
        case App: slot = &app; break;
        case PsAccess: slot = &psAccess; break;
        case Event: slot = &event; break;
        case Blocking: slot = &blocking; break;
        case Timeout: slot = &timeout; break;
        case Apprunmode: slot = &apprunmode; break;
        case Sysrunmode: slot = &sysrunmode; break;
        default: slot = key == "cmd" ? &cmd : nullptr; break;
      }
      if (slot != nullptr && !slot->isPresent()) *slot = it.value();
    }
  }
};

// An enumerated string member as kept for the command's own rule: empty when
// it is absent, not a string or not one of `choices`.
// `rules` names the rule of a value that is no string, then of one outside the choices.
std::string_view readChoice(const Value& value, std::string_view key, std::initializer_list<std::string_view> choices,
                            std::pair<const support::Rule&, const support::Rule&> rules, Reporter& report) {
  std::string_view text;
  if (value.getString(text) != 0) {
    if (value.isPresent()) report.illegalValue(rules.first, value, key);
    return {};
  }
  for (std::string_view choice : choices)
    if (text == choice) return text;
  report.misspelt(rules.second, locate(value), text, support::among(choices), "illegal value '", text, "' for '", key, "' ");
  return {};
}

}  // namespace

int checkCommandList(const Value& list, std::string_view label, std::string_view tag, const Value& owner) {
  if (!list.isArray()) {
    support::error(support::rules::S2, support::locateOr(list, owner), support::kAsk, tag, ": '", label, "' is not an array");
    return 1;
  }
  if (support::SymbolIndex* index = support::symbols()) index->commandList(label, list);
  int result = 0;
  for (uint32_t i = 0; i < list.size(); ++i) result |= checkCommand(list.at(i), label, i + 1, tag);
  return result;
}

int checkCommand(const Value& entry, std::string_view label, uint32_t number, std::string_view tag) {
  Reporter report{label, number, tag};
  const Members members(entry);
  if (support::SymbolIndex* index = support::symbols()) index->commandEntry(number, entry, members.cmd, members.app);

  std::string_view cmd;
  if (members.cmd.getString(cmd) != 0) {
    report.inList(support::rules::S3, locateOr(members.cmd, entry), "'cmd' missing ");
    return 1;
  }
  const Command* command = findCommand(cmd);
  if (command == nullptr) {
    auto commandNames = [](const auto& offer) {
      for (const Command& c : allCommands()) offer(c.name);
    };
    report.misspelt(support::rules::S4, locate(members.cmd), cmd, commandNames, "undefined 'cmd' '", cmd, "' ");
    return 1;
  }

  // Every "app" is read as a string; no other form of it is exempt.
  std::string_view app;
  bool hasApp = members.app.getString(app) == 0;
  if (!hasApp && command->app != AppIn::NoApp) {
    support::error(support::rules::S5, locateOr(members.app, entry), support::kAsk, tag, ": 'app' missing in '", label, "' at cmd '",
                   cmd, "' at line ", number);
    return 1;
  }
  if (support::SymbolIndex* index = support::symbols(); index != nullptr && command->app != AppIn::NoApp)
    index->use(command->app == AppIn::Processes ? support::UseKind::Process : support::UseKind::Application, members.app);
  if (command->app == AppIn::Processes && !framework::ProcessNames.contains(app)) {
    report.misspelt(support::rules::S6, locate(members.app), app, [](const auto& offer) { framework::ProcessNames.forEach(offer); },
                    "'" + std::string(app) + "' is an undefined process", " for cmd ", cmd, " ");
  } else if (command->app == AppIn::Applications && !framework::ApplicationNames.contains(app)) {
    report.misspelt(support::rules::S7, locate(members.app), app, [](const auto& offer) { framework::ApplicationNames.forEach(offer); },
                    "'" + std::string(app) + "' is an undefined application", " for cmd ", cmd, " ");
  }

  // The value rules hold for every entry carrying the member, allowed or not.
  std::string_view psAccess =
      readChoice(members.psAccess, "ps_access", {"PS_ACC_NONE", "PS_ACC_READ", "PS_ACC_READ_WRITE"}, {support::rules::S8, support::rules::S9}, report);

  std::string_view event;
  const Value& eventValue = members.event;
  if (eventValue.isPresent() && eventValue.getString(event) != 0 && command->rule == Rule::SystemEvent) {
    report.inList(support::rules::S22, locate(eventValue), "illegal value type for 'event' ");
  }

  bool flag = false;
  if (members.blocking.isPresent() && members.blocking.getBool(flag) != 0) report.illegalValue(support::rules::S10, members.blocking, "blocking");

  int32_t integer = 0;
  if (members.timeout.isPresent() && members.timeout.getInt(integer) != 0) report.illegalValue(support::rules::S11, members.timeout, "timeout");
  if (members.apprunmode.isPresent() && members.apprunmode.getInt(integer) != 0)
    report.illegalValue(support::rules::S12, members.apprunmode, "apprunmode");

  std::string_view sysrunmode =
      readChoice(members.sysrunmode, "sysrunmode", {"RM_NORMAL", "RM_DOWNLOAD", "RM_DIAG"}, {support::rules::S13, support::rules::S14}, report);

  report.result |= checkCommandParameters(parameterSet(command->code), entry, cmd, label, number, tag);

  switch (command->rule) {
    case Rule::None:
      break;
    case Rule::TimeoutRequired:
      if (members.timeout.getInt(integer) != 0)
        report.forCmd(support::rules::S16, locateOr(members.timeout, entry), "'timeout' missing or illegal", cmd);
      break;
    case Rule::SysrunmodeRequired:
      if (sysrunmode.empty()) report.forCmd(support::rules::S17, locateOr(members.sysrunmode, entry), "'runmode' missing", cmd);
      break;
    case Rule::ApprunmodeRequired:
      if (members.apprunmode.getInt(integer) != 0)
        report.forCmd(support::rules::S18, locateOr(members.apprunmode, entry), "'apprunmode' missing", cmd);
      break;
    case Rule::PsAccessRequired:
      if (psAccess.empty())
        report.forCmd(support::rules::S19, locateOr(members.psAccess, entry), "'ps_access' missing/invalid value 'ps_access'", cmd);
      break;
    case Rule::IntegerEvent:
      if (eventValue.isPresent() && eventValue.getInt(integer) != 0) report.illegalValue(support::rules::S20, eventValue, "event");
      break;
    case Rule::SystemEvent:
      if (event.empty()) {
        report.forCmd(support::rules::S21, locateOr(eventValue, entry), "'event' missing", cmd);
      } else if (event != "lowmem" && event != "startup_complete") {
        report.misspelt(support::rules::S23, locate(eventValue), event, support::among({"lowmem", "startup_complete"}),
                        "'" + std::string(event) + "' is an invalid value for 'event'", " for cmd ", cmd, " ");
      }
      break;
  }
  return report.result;
}

int checkCommandParameters(ParamSet allowed, const Value& entry, std::string_view cmd, std::string_view label,
                           uint32_t number, std::string_view tag) {
  Reporter report{label, number, tag};
  for (auto it = entry.begin(), end = entry.end(); it != end; ++it) {
    std::string_view key = it.key();
    if (key == "cmd" || (paramBit(key) & allowed) != 0) continue;
    auto allowedKeys = [allowed](const auto& offer) {
      for (const auto& [name, bit] : allParams())
        if ((bit & allowed) != 0) offer(name);
    };
    report.misspelt(support::rules::S15, kit::config::locateKey(it), key, allowedKeys, "'", key, "' is an undefined parameter for cmd '",
                    cmd, "' ");
  }
  return report.result;
}

}  // namespace commands
