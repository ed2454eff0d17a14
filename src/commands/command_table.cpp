#include "commands/command_table.h"

#include <algorithm>
#include <array>

namespace commands {

namespace {

// "shutdown" is an alias of "wait_jobs_finished" and shares its code; code 20
// was retired and belongs to no command.
constexpr Command kCommands[] = {
    // name                     code  allowed members                                 app in                  rule
    {"sleep",                    1,  Timeout,                                          AppIn::NoApp,           Rule::TimeoutRequired},
    {"init",                     2,  App | Apprunmode | PsAccess | Timeout | Blocking, AppIn::Applications,    Rule::None},
    {"run",                      3,  App | Timeout | Blocking,                         AppIn::Applications,    Rule::None},
    {"stop",                     4,  App | Timeout | Blocking,                         AppIn::Applications,    Rule::None},
    {"set_sys_runmode",          5,  Timeout | Blocking | Sysrunmode,                  AppIn::NoApp,           Rule::SysrunmodeRequired},
    {"set_app_runmode",          6,  App | Timeout | Blocking | Apprunmode,            AppIn::Applications,    Rule::ApprunmodeRequired},
    {"set_ps_access",            7,  App | PsAccess,                                   AppIn::Applications,    Rule::PsAccessRequired},
    {"wait_initialized",         8,  App | Timeout | Blocking,                         AppIn::Applications,    Rule::None},
    {"wait_running",             9,  App | Timeout | Blocking,                         AppIn::Applications,    Rule::None},
    {"wait_stopped",            10,  App | Timeout | Blocking,                         AppIn::Applications,    Rule::None},
    {"procstart",               11,  App | Params | Timeout | Blocking,                AppIn::Processes,       Rule::None},
    {"procstop",                12,  App | Timeout | Blocking,                         AppIn::Processes,       Rule::None},
    {"prockill",                13,  App | Timeout | Blocking,                         AppIn::Processes,       Rule::None},
    {"ps_flush",                14,  App | PsAccess | Timeout | Blocking,              AppIn::Applications,    Rule::PsAccessRequired},
    {"inject_userevent",        15,  Event,                                            AppIn::NoApp,           Rule::IntegerEvent},
    {"disable_persistence",     16,  Timeout,                                          AppIn::NoApp,           Rule::None},
    {"restore_persistence",     17,  Timeout,                                          AppIn::NoApp,           Rule::None},
    {"set_system_persistence",  18,  PsAccess | Timeout,                               AppIn::NoApp,           Rule::PsAccessRequired},
    {"wait_jobs_finished",      19,  Timeout,                                          AppIn::NoApp,           Rule::None},
    {"shutdown",                19,  Timeout,                                          AppIn::NoApp,           Rule::None},
    {"trigger_systemevent",     21,  App | Blocking | Event,                           AppIn::Applications,    Rule::SystemEvent},
};

constexpr std::pair<std::string_view, Param> kParamNames[] = {
    {"app", App},         {"apprunmode", Apprunmode}, {"ps_access", PsAccess}, {"timeout", Timeout},
    {"blocking", Blocking}, {"sysrunmode", Sysrunmode}, {"event", Event},       {"params", Params},
};

constexpr int32_t kMaxCode = 21;

constexpr auto sortedByName() {
  std::array<const Command*, std::size(kCommands)> index{};
  for (std::size_t i = 0; i < index.size(); ++i) index[i] = &kCommands[i];
  std::sort(index.begin(), index.end(), [](const Command* a, const Command* b) { return a->name < b->name; });
  return index;
}

constexpr auto kByName = sortedByName();

constexpr auto paramsByCode() {
  std::array<ParamSet, kMaxCode + 1> sets{};
  for (const Command& c : kCommands) sets[c.code] = c.params;
  return sets;
}

constexpr auto kParamsByCode = paramsByCode();

// Commands sharing a code must agree on their members, since lookups go by code.
constexpr bool codesAgree() {
  for (const Command& c : kCommands)
    if (kParamsByCode[c.code] != c.params) return false;
  return true;
}
static_assert(codesAgree());

}  // namespace

const Command* findCommand(std::string_view name) {
  auto it = std::lower_bound(kByName.begin(), kByName.end(), name,
                             [](const Command* c, std::string_view n) { return c->name < n; });
  return it != kByName.end() && (*it)->name == name ? *it : nullptr;
}

std::span<const Command> allCommands() { return kCommands; }
std::span<const std::pair<std::string_view, Param>> allParams() { return kParamNames; }

ParamSet parameterSet(int32_t code) { return code >= 0 && code <= kMaxCode ? kParamsByCode[code] : 0; }

ParamSet paramBit(std::string_view key) {
  for (const auto& [name, bit] : kParamNames)
    if (name == key) return bit;
  return 0;
}

}  // namespace commands
