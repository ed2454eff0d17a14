#include "commands/check_command_list.h"

#include <initializer_list>
#include <string>

#include "framework/fw_state.h"
#include "platform/tbx.h"

namespace commands {

using kit::config::Value;

namespace {

// Where a finding stands; every finding of an entry marks its result.
struct Reporter {
  std::string_view label;
  uint32_t number;
  std::string_view tag;
  int result = 0;

  tbx::ostream& start() {
    result = 1;
    return tbx::cout << "  ?  " << tag << ": ";
  }
  // Closes the line with the list and the element's position.
  void inList() { tbx::cout << "in '" << label << "' at cmd-no " << number << tbx::endl; }
  // "<what> for cmd <cmd> in '<label>' ...": a finding that names the command.
  void forCmd(std::string_view what, std::string_view cmd) {
    start() << what << " for cmd " << cmd << " ";
    inList();
  }
  void illegalValue(std::string_view key) {
    start() << "illegal value for '" << key << "' ";
    inList();
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
std::string_view readChoice(const Value& value, std::string_view key, std::initializer_list<std::string_view> choices,
                       Reporter& report) {
  std::string_view text;
  if (value.getString(text) != 0) {
    if (value.isPresent()) report.illegalValue(key);
    return {};
  }
  for (std::string_view choice : choices)
    if (text == choice) return text;
  report.start() << "illegal value '" << text << "' for '" << key << "' ";
  report.inList();
  return {};
}

}  // namespace

int checkCommandList(const Value& list, std::string_view label, std::string_view tag) {
  if (!list.isArray()) {
    tbx::cout << "  ?  " << tag << ": '" << label << "' is not an array" << tbx::endl;
    return 1;
  }
  int result = 0;
  for (uint32_t i = 0; i < list.size(); ++i) result |= checkCommand(list.at(i), label, i + 1, tag);
  return result;
}

int checkCommand(const Value& entry, std::string_view label, uint32_t number, std::string_view tag) {
  Reporter report{label, number, tag};
  const Members members(entry);

  std::string_view cmd;
  if (members.cmd.getString(cmd) != 0) {
    report.start() << "'cmd' missing ";
    report.inList();
    return 1;
  }
  const Command* command = findCommand(cmd);
  if (command == nullptr) {
    report.start() << "undefined 'cmd' '" << cmd << "' ";
    report.inList();
    return 1;
  }

  // Every "app" is read as a string; no other form of it is exempt.
  std::string_view app;
  bool hasApp = members.app.getString(app) == 0;
  if (!hasApp && command->app != AppIn::NoApp) {
    report.start() << "'app' missing in '" << label << "' at cmd '" << cmd << "' at line " << number << tbx::endl;
    return 1;
  }
  if (command->app == AppIn::Processes && !framework::ProcessNames.contains(app)) {
    report.forCmd("'" + std::string(app) + "' is an undefined process", cmd);
  } else if (command->app == AppIn::Applications && !framework::ApplicationNames.contains(app)) {
    report.forCmd("'" + std::string(app) + "' is an undefined application", cmd);
  }

  // The value rules hold for every entry carrying the member, allowed or not.
  std::string_view psAccess = readChoice(members.psAccess, "ps_access", {"PS_ACC_NONE", "PS_ACC_READ", "PS_ACC_READ_WRITE"}, report);

  std::string_view event;
  const Value& eventValue = members.event;
  if (eventValue.isPresent() && eventValue.getString(event) != 0 && command->rule == Rule::SystemEvent) {
    report.start() << "illegal value type for 'event' ";
    report.inList();
  }

  bool flag = false;
  if (members.blocking.isPresent() && members.blocking.getBool(flag) != 0) report.illegalValue("blocking");

  int32_t integer = 0;
  if (members.timeout.isPresent() && members.timeout.getInt(integer) != 0) report.illegalValue("timeout");
  if (members.apprunmode.isPresent() && members.apprunmode.getInt(integer) != 0) report.illegalValue("apprunmode");

  std::string_view sysrunmode = readChoice(members.sysrunmode, "sysrunmode", {"RM_NORMAL", "RM_DOWNLOAD", "RM_DIAG"}, report);

  report.result |= checkCommandParameters(parameterSet(command->code), entry, cmd, label, number, tag);

  switch (command->rule) {
    case Rule::None:
      break;
    case Rule::TimeoutRequired:
      if (members.timeout.getInt(integer) != 0) report.forCmd("'timeout' missing or illegal", cmd);
      break;
    case Rule::SysrunmodeRequired:
      if (sysrunmode.empty()) report.forCmd("'runmode' missing", cmd);
      break;
    case Rule::ApprunmodeRequired:
      if (members.apprunmode.getInt(integer) != 0) report.forCmd("'apprunmode' missing", cmd);
      break;
    case Rule::PsAccessRequired:
      if (psAccess.empty()) report.forCmd("'ps_access' missing/invalid value 'ps_access'", cmd);
      break;
    case Rule::IntegerEvent:
      if (eventValue.isPresent() && eventValue.getInt(integer) != 0) report.illegalValue("event");
      break;
    case Rule::SystemEvent:
      if (event.empty()) {
        report.forCmd("'event' missing", cmd);
      } else if (event != "lowmem" && event != "startup_complete") {
        report.forCmd("'" + std::string(event) + "' is an invalid value for 'event'", cmd);
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
    report.start() << "'" << key << "' is an undefined parameter for cmd '" << cmd << "' ";
    report.inList();
  }
  return report.result;
}

}  // namespace commands
