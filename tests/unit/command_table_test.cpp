#include <gtest/gtest.h>

#include "commands/command_table.h"

using namespace commands;

TEST(CommandTable, EveryNameIsFoundWithItsCode) {
  const std::pair<const char*, int32_t> names[] = {
      {"sleep", 1},          {"init", 2},                    {"run", 3},
      {"stop", 4},           {"set_sys_runmode", 5},         {"set_app_runmode", 6},
      {"set_ps_access", 7},  {"wait_initialized", 8},        {"wait_running", 9},
      {"wait_stopped", 10},  {"procstart", 11},              {"procstop", 12},
      {"prockill", 13},      {"ps_flush", 14},               {"inject_userevent", 15},
      {"disable_persistence", 16}, {"restore_persistence", 17}, {"set_system_persistence", 18},
      {"wait_jobs_finished", 19},  {"shutdown", 19},          {"trigger_systemevent", 21},
  };
  for (const auto& [name, code] : names) {
    const Command* c = findCommand(name);
    ASSERT_NE(c, nullptr) << name;
    EXPECT_EQ(c->code, code) << name;
    EXPECT_EQ(c->params, parameterSet(code)) << name;
  }
}

TEST(CommandTable, NamesMatchExactly) {
  for (const char* name : {"Sleep", "SLEEP", "sleep ", " sleep", "", "slee", "sleeps", "cmd"})
    EXPECT_EQ(findCommand(name), nullptr) << '"' << name << '"';
}
