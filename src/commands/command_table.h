// The service manager's command vocabulary: which "cmd" names exist, which
// members each command may carry, and where its "app" must be declared.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <utility>

namespace commands {

// Members an entry may carry besides "cmd", one bit each.
using ParamSet = uint32_t;
enum Param : ParamSet {
  App = 1u << 0,
  Apprunmode = 1u << 1,
  PsAccess = 1u << 2,
  Timeout = 1u << 3,
  Blocking = 1u << 4,
  Sysrunmode = 1u << 5,
  Event = 1u << 6,
  Params = 1u << 7,
};

// Which registry the "app" of a command is looked up in; NoApp commands
// take none.
enum class AppIn { NoApp, Applications, Processes };

// The rule a command adds on top of the value rules every entry obeys.
enum class Rule { None, TimeoutRequired, SysrunmodeRequired, ApprunmodeRequired, PsAccessRequired, IntegerEvent, SystemEvent };

struct Command {
  std::string_view name;
  int32_t code;
  ParamSet params;
  AppIn app;
  Rule rule;
};

// Every command, and every member with its bit.
std::span<const Command> allCommands();
std::span<const std::pair<std::string_view, Param>> allParams();

// The command named exactly `name`, or null.
const Command* findCommand(std::string_view name);

// The members allowed for commands of `code`; empty for an unused code.
ParamSet parameterSet(int32_t code);

// Every command, in the order of their codes.
std::span<const Command> allCommands();

// Every member but "cmd" with its bit.
std::span<const std::pair<std::string_view, Param>> paramNames();

// The bit of member `key`, or 0 when no command takes such a member.
ParamSet paramBit(std::string_view key);

}  // namespace commands
