// Every rule the checks report, by the ID of docs/rules.md; a test holds the
// two to the same IDs and titles. Checks name a rule by its symbol here.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace support {

enum class Severity : uint8_t { Error, Info };
enum class Family : uint8_t { Framework, ServiceManager, Restart, Uvk, Parse, Directory, Transport, Strict };

struct Rule {
  std::string_view id;
  Family family;
  std::string_view title;
  Severity severity;  // what a finding of the rule is
  bool editor;        // the editor schemas see it too
};

namespace rules {

inline constexpr Rule F1{"F1", Family::Framework, "The top level is an object", Severity::Error, true};
inline constexpr Rule F2{"F2", Family::Framework, "\"nodes\" is an object", Severity::Error, true};
inline constexpr Rule F3{"F3", Family::Framework, "\"procs\" is an array", Severity::Error, true};
inline constexpr Rule F4{"F4", Family::Framework, "A node name is declared once", Severity::Error, false};
inline constexpr Rule F5{"F5", Family::Framework, "A node entry is an object", Severity::Error, true};
inline constexpr Rule F6{"F6", Family::Framework, "Every target has a \"serializer\" string", Severity::Error, true};
inline constexpr Rule F7{"F7", Family::Framework, "A \"tcpip\" target has an \"address\" string", Severity::Error, true};
inline constexpr Rule F8{"F8", Family::Framework, "All tcp/ip targets of a section use one address", Severity::Error, false};
inline constexpr Rule F9{"F9", Family::Framework, "A \"resman\" target has a \"root_path\" string", Severity::Error, true};
inline constexpr Rule F10{"F10", Family::Framework, "Only the known process keys", Severity::Error, true};
inline constexpr Rule F11{"F11", Family::Framework, "\"priority\" is an integer", Severity::Error, true};
inline constexpr Rule F12{"F12", Family::Framework, "\"environment\" is an object", Severity::Error, true};
inline constexpr Rule F13{"F13", Family::Framework, "Every \"environment\" value is a string", Severity::Error, true};
inline constexpr Rule F14{"F14", Family::Framework, "Every process has a \"name\" string", Severity::Error, true};
inline constexpr Rule F15{"F15", Family::Framework, "A process name is declared once", Severity::Error, false};
inline constexpr Rule F16{"F16", Family::Framework, "Every process has a \"node\" string", Severity::Error, true};
inline constexpr Rule F17{"F17", Family::Framework, "A process's node is declared in \"nodes\"", Severity::Error, false};
inline constexpr Rule F18{"F18", Family::Framework, "Every process but the trace server has an integer \"id\"", Severity::Error, true};
inline constexpr Rule F19{"F19", Family::Framework, "A process id is used once", Severity::Error, false};
inline constexpr Rule F20{"F20", Family::Framework, "A target uses \"tcpip\" or \"resman\", not both", Severity::Error, true};
inline constexpr Rule F21{"F21", Family::Framework, "\"tcpip\" is an object", Severity::Error, true};
inline constexpr Rule F22{"F22", Family::Framework, "\"resman\" is an object", Severity::Error, true};
inline constexpr Rule F23{"F23", Family::Framework, "\"tcpip\" has an integer \"port\"", Severity::Error, true};
inline constexpr Rule F24{"F24", Family::Framework, "A process uses one port towards all nodes", Severity::Error, false};
inline constexpr Rule F25{"F25", Family::Framework, "A tcp/ip process names its own node", Severity::Error, true};
inline constexpr Rule F26{"F26", Family::Framework, "The own node of a tcp/ip process has a \"transport\"", Severity::Error, false};
inline constexpr Rule F27{"F27", Family::Framework, "The own node of a tcp/ip process has a \"comm\" section", Severity::Error, false};
inline constexpr Rule F28{"F28", Family::Framework, "The own node has an address towards the target", Severity::Error, false};
inline constexpr Rule F29{"F29", Family::Framework, "\"resman\" has a \"path\" string", Severity::Error, true};
inline constexpr Rule F30{"F30", Family::Framework, "A process uses one resource-manager path towards all nodes", Severity::Error, false};
inline constexpr Rule F31{"F31", Family::Framework, "No two processes share a tcp/ip connection", Severity::Error, false};
inline constexpr Rule F32{"F32", Family::Framework, "No two processes share a resource-manager connection", Severity::Error, false};
inline constexpr Rule F33{"F33", Family::Framework, "\"servicemgr\" is an object", Severity::Error, true};
inline constexpr Rule F34{"F34", Family::Framework, "A service-managed process has an \"exec\" string", Severity::Error, true};
inline constexpr Rule F35{"F35", Family::Framework, "\"servicemgr\" has one of the three forms", Severity::Error, true};
inline constexpr Rule F36{"F36", Family::Framework, "A single application has a \"name\" string", Severity::Error, true};
inline constexpr Rule F37{"F37", Family::Framework, "A single application's name is declared once", Severity::Error, false};
inline constexpr Rule F38{"F38", Family::Framework, "\"bundles\" is not empty", Severity::Error, true};
inline constexpr Rule F39{"F39", Family::Framework, "A bundle is an object", Severity::Error, true};
inline constexpr Rule F40{"F40", Family::Framework, "A bundle has a \"name\" string", Severity::Error, true};
inline constexpr Rule F41{"F41", Family::Framework, "A bundle's name is declared once", Severity::Error, false};
inline constexpr Rule F42{"F42", Family::Framework, "A bundle has a \"lib\" string", Severity::Error, true};
inline constexpr Rule F43{"F43", Family::Framework, "A bundle has an \"apps\" array", Severity::Error, true};
inline constexpr Rule F44{"F44", Family::Framework, "\"apps\" is not empty", Severity::Error, true};
inline constexpr Rule F45{"F45", Family::Framework, "Every application of a bundle is a string", Severity::Error, true};
inline constexpr Rule F46{"F46", Family::Framework, "An application is declared once", Severity::Error, false};
inline constexpr Rule F47{"F47", Family::Framework, "The trace server has a \"tracing\" object", Severity::Error, true};
inline constexpr Rule F48{"F48", Family::Framework, "The trace server names declared nodes only", Severity::Error, false};
inline constexpr Rule F49{"F49", Family::Framework, "The trace server's targets are objects", Severity::Error, true};
inline constexpr Rule F50{"F50", Family::Framework, "A sound file with --verbose", Severity::Info, false};
inline constexpr Rule S1{"S1", Family::ServiceManager, "The top level is an object", Severity::Error, true};
inline constexpr Rule S2{"S2", Family::ServiceManager, "\"startup\" and \"shutdown\" are arrays", Severity::Error, true};
inline constexpr Rule S3{"S3", Family::ServiceManager, "Every command has a \"cmd\" string", Severity::Error, true};
inline constexpr Rule S4{"S4", Family::ServiceManager, "\"cmd\" names a known command", Severity::Error, true};
inline constexpr Rule S5{"S5", Family::ServiceManager, "A command that needs one has an \"app\" string", Severity::Error, true};
inline constexpr Rule S6{"S6", Family::ServiceManager, "procstart, procstop and prockill name a declared process", Severity::Error, false};
inline constexpr Rule S7{"S7", Family::ServiceManager, "Other commands name a declared application", Severity::Error, false};
inline constexpr Rule S8{"S8", Family::ServiceManager, "\"ps_access\" is a string", Severity::Error, true};
inline constexpr Rule S9{"S9", Family::ServiceManager, "\"ps_access\" is PS_ACC_NONE, PS_ACC_READ or PS_ACC_READ_WRITE", Severity::Error, true};
inline constexpr Rule S10{"S10", Family::ServiceManager, "\"blocking\" is true or false", Severity::Error, true};
inline constexpr Rule S11{"S11", Family::ServiceManager, "\"timeout\" is an integer", Severity::Error, true};
inline constexpr Rule S12{"S12", Family::ServiceManager, "\"apprunmode\" is an integer", Severity::Error, true};
inline constexpr Rule S13{"S13", Family::ServiceManager, "\"sysrunmode\" is a string", Severity::Error, true};
inline constexpr Rule S14{"S14", Family::ServiceManager, "\"sysrunmode\" is RM_NORMAL, RM_DOWNLOAD or RM_DIAG", Severity::Error, true};
inline constexpr Rule S15{"S15", Family::ServiceManager, "A command carries only its own members", Severity::Error, true};
inline constexpr Rule S16{"S16", Family::ServiceManager, "sleep has an integer \"timeout\"", Severity::Error, true};
inline constexpr Rule S17{"S17", Family::ServiceManager, "set_sys_runmode has a \"sysrunmode\"", Severity::Error, true};
inline constexpr Rule S18{"S18", Family::ServiceManager, "set_app_runmode has an integer \"apprunmode\"", Severity::Error, true};
inline constexpr Rule S19{"S19", Family::ServiceManager, "set_ps_access, ps_flush and set_system_persistence have a valid \"ps_access\"", Severity::Error, true};
inline constexpr Rule S20{"S20", Family::ServiceManager, "inject_userevent's \"event\" is an integer", Severity::Error, true};
inline constexpr Rule S21{"S21", Family::ServiceManager, "trigger_systemevent has an \"event\"", Severity::Error, true};
inline constexpr Rule S22{"S22", Family::ServiceManager, "trigger_systemevent's \"event\" is a string", Severity::Error, true};
inline constexpr Rule S23{"S23", Family::ServiceManager, "trigger_systemevent's \"event\" is lowmem or startup_complete", Severity::Error, true};
inline constexpr Rule R1{"R1", Family::Restart, "The top level is an object", Severity::Error, true};
inline constexpr Rule R2{"R2", Family::Restart, "\"abort_on_reset\" is true or false", Severity::Error, true};
inline constexpr Rule R3{"R3", Family::Restart, "\"__default__\" holds only \"process\" and \"application\"", Severity::Error, true};
inline constexpr Rule R4{"R4", Family::Restart, "A policy names a declared process or application", Severity::Error, false};
inline constexpr Rule R5{"R5", Family::Restart, "\"restart_cnt\" is an integer, 0 or more", Severity::Error, true};
inline constexpr Rule R6{"R6", Family::Restart, "\"restart_cnt_reset_time\" is an integer, 0 or more", Severity::Error, true};
inline constexpr Rule R7{"R7", Family::Restart, "\"on_restart_failed\" is ignore or reset", Severity::Error, true};
inline constexpr Rule R8{"R8", Family::Restart, "\"enabled\" is true or false", Severity::Error, true};
inline constexpr Rule R9{"R9", Family::Restart, "A policy holds only the known keys", Severity::Error, true};
inline constexpr Rule R10{"R10", Family::Restart, "Event commands follow the command rules", Severity::Error, true};
inline constexpr Rule U1{"U1", Family::Uvk, "The top level is an object", Severity::Error, true};
inline constexpr Rule U2{"U2", Family::Uvk, "\"launcher\", \"on_shutdown\" and \"version\" are present", Severity::Error, true};
inline constexpr Rule U3{"U3", Family::Uvk, "Only the known top-level keys", Severity::Error, true};
inline constexpr Rule U4{"U4", Family::Uvk, "\"version\" is an integer, 0 or more", Severity::Error, true};
inline constexpr Rule U5{"U5", Family::Uvk, "\"default_startup_mode\" is a string", Severity::Error, true};
inline constexpr Rule U6{"U6", Family::Uvk, "\"default_startup_mode\" names a start-up list", Severity::Error, true};
inline constexpr Rule U7{"U7", Family::Uvk, "\"systracker\" is an object", Severity::Error, true};
inline constexpr Rule U8{"U8", Family::Uvk, "\"systracker\" has a \"filename\" string", Severity::Error, true};
inline constexpr Rule U9{"U9", Family::Uvk, "The switches are true or false", Severity::Error, true};
inline constexpr Rule U10{"U10", Family::Uvk, "\"domain_request_timeout\" is an integer, 1 or more", Severity::Error, true};
inline constexpr Rule U11{"U11", Family::Uvk, "Times and the dump port are integers", Severity::Error, true};
inline constexpr Rule U12{"U12", Family::Uvk, "Times and the dump port are 0 or more", Severity::Error, true};
inline constexpr Rule U13{"U13", Family::Uvk, "Top-level command lists follow the command rules", Severity::Error, true};
inline constexpr Rule U14{"U14", Family::Uvk, "\"launcher\" is an object", Severity::Error, true};
inline constexpr Rule U15{"U15", Family::Uvk, "A domain name is used once", Severity::Error, false};
inline constexpr Rule U16{"U16", Family::Uvk, "A domain is an object", Severity::Error, true};
inline constexpr Rule U17{"U17", Family::Uvk, "A domain's \"launcher\" is a string", Severity::Error, true};
inline constexpr Rule U18{"U18", Family::Uvk, "A domain's \"launcher\" is a declared application", Severity::Error, false};
inline constexpr Rule U19{"U19", Family::Uvk, "\"always_ack\" is true or false", Severity::Error, true};
inline constexpr Rule U20{"U20", Family::Uvk, "A domain's \"domain_request_timeout\" is an integer, 1 or more", Severity::Error, true};
inline constexpr Rule U21{"U21", Family::Uvk, "A domain holds only the known keys", Severity::Error, true};
inline constexpr Rule U22{"U22", Family::Uvk, "A domain's command lists follow the command rules", Severity::Error, true};
inline constexpr Rule U23{"U23", Family::Uvk, "\"restart_cnt\" and \"restart_cnt_reset_time\" are integers", Severity::Error, true};
inline constexpr Rule U24{"U24", Family::Uvk, "\"restart_cnt\" and \"restart_cnt_reset_time\" are 0 or more", Severity::Error, true};
inline constexpr Rule U25{"U25", Family::Uvk, "\"on_restart_failed\" is a string", Severity::Error, true};
inline constexpr Rule U26{"U26", Family::Uvk, "\"on_restart_failed\" is ignore or reset", Severity::Error, true};
inline constexpr Rule U27{"U27", Family::Uvk, "Only the known restart parameters", Severity::Error, true};
inline constexpr Rule P1{"P1", Family::Parse, "Every listed file parses", Severity::Error, false};
inline constexpr Rule P2{"P2", Family::Parse, "The content of a known file is checked only when every file parses", Severity::Info, false};
inline constexpr Rule D1{"D1", Family::Directory, "A directory given with --dir can be listed", Severity::Error, false};
inline constexpr Rule T1{"T1", Family::Transport, "The spawn connections of every process can be resolved", Severity::Error, false};
inline constexpr Rule T2{"T2", Family::Transport, "The single connections between two processes can be resolved", Severity::Info, false};
inline constexpr Rule K1{"K1", Family::Strict, "A key is written once in its object", Severity::Error, false};
inline constexpr Rule K2{"K2", Family::Strict, "A run checks at least one file", Severity::Error, false};
inline constexpr Rule K3{"K3", Family::Strict, "The content of every known file is checked", Severity::Error, false};
inline constexpr Rule K4{"K4", Family::Strict, "A known file is given once", Severity::Error, false};

}  // namespace rules

// Every rule, in the order of docs/rules.md.
std::span<const Rule* const> allRules();
// The rule of `id`, whatever its case, or null.
const Rule* findRule(std::string_view id);

}  // namespace support
