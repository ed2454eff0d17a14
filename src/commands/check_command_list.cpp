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

// An enumerated string member as kept for the command's own rule: empty when
// it is absent, not a string or not one of `choices`.
std::string readChoice(const Value& entry, std::string_view key, std::initializer_list<std::string_view> choices,
                       Reporter& report) {
  Value value = entry.get(key);
  std::string text;
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

  std::string cmd;
  if (entry.get("cmd").getString(cmd) != 0) {
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
  std::string app;
  bool hasApp = entry.get("app").getString(app) == 0;
  if (!hasApp && command->app != AppIn::NoApp) {
    report.start() << "'app' missing in '" << label << "' at cmd '" << cmd << "' at line " << number << tbx::endl;
    return 1;
  }
  if (command->app == AppIn::Processes && !framework::ProcessNames.contains(app)) {
    report.forCmd("'" + app + "' is an undefined process", cmd);
  } else if (command->app == AppIn::Applications && !framework::ApplicationNames.contains(app)) {
    report.forCmd("'" + app + "' is an undefined application", cmd);
  }

  // The value rules hold for every entry carrying the member, allowed or not.
  std::string psAccess = readChoice(entry, "ps_access", {"PS_ACC_NONE", "PS_ACC_READ", "PS_ACC_READ_WRITE"}, report);

  std::string event;
  Value eventValue = entry.get("event");
  if (eventValue.isPresent() && eventValue.getString(event) != 0 && command->rule == Rule::SystemEvent) {
    report.start() << "illegal value type for 'event' ";
    report.inList();
  }

  bool flag = false;
  Value blocking = entry.get("blocking");
  if (blocking.isPresent() && blocking.getBool(flag) != 0) report.illegalValue("blocking");

  int32_t integer = 0;
  for (std::string_view key : {"timeout", "apprunmode"}) {
    Value value = entry.get(key);
    if (value.isPresent() && value.getInt(integer) != 0) report.illegalValue(key);
  }

  std::string sysrunmode = readChoice(entry, "sysrunmode", {"RM_NORMAL", "RM_DOWNLOAD", "RM_DIAG"}, report);

  report.result |= checkCommandParameters(parameterSet(command->code), entry, cmd, label, number, tag);

  switch (command->rule) {
    case Rule::None:
      break;
    case Rule::TimeoutRequired:
      if (entry.get("timeout").getInt(integer) != 0) report.forCmd("'timeout' missing or illegal", cmd);
      break;
    case Rule::SysrunmodeRequired:
      if (sysrunmode.empty()) report.forCmd("'runmode' missing", cmd);
      break;
    case Rule::ApprunmodeRequired:
      if (entry.get("apprunmode").getInt(integer) != 0) report.forCmd("'apprunmode' missing", cmd);
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
        report.forCmd("'" + event + "' is an invalid value for 'event'", cmd);
      }
      break;
  }
  return report.result;
}

int checkCommandParameters(ParamSet allowed, const Value& entry, std::string_view cmd, std::string_view label,
                           uint32_t number, std::string_view tag) {
  Reporter report{label, number, tag};
  for (auto it = entry.begin(); it != entry.end(); ++it) {
    std::string_view key = it.key();
    if (key == "cmd" || (paramBit(key) & allowed) != 0) continue;
    report.start() << "'" << key << "' is an undefined parameter for cmd '" << cmd << "' ";
    report.inList();
  }
  return report.result;
}

}  // namespace commands
