#include <gtest/gtest.h>

#include "commands/check_command_list.h"
#include "framework/fw_state.h"
#include "platform/tbx.h"
#include "test_helpers.h"

namespace {

// Runs the list check on `json`'s "list" with the given registries and gives
// back what it printed.
std::string check(const std::string& json, int& result) {
  ScratchDir dir;
  kit::config::JSONParser parser;
  kit::config::Dictionary* dict = nullptr;
  kit::config::Array* array = nullptr;
  EXPECT_EQ(parser.parseFile(dir.write("l.json", json).c_str(), dict, array, 0), 0);
  CapturedOutput captured;
  result = commands::checkCommandList(dict->get("list"), "startup", "SM");
  return captured.text("out");
}

struct CommandList : ::testing::Test {
  void SetUp() override {
    framework::ProcessNames.insert("proc");
    framework::ApplicationNames.insert("app");
  }
  void TearDown() override { framework::resetState(); }
};

TEST_F(CommandList, ProcessCommandsLookUpProcessesOnly) {
  int result = -1;
  EXPECT_EQ(check(R"({"list": [{"cmd": "procstart", "app": "proc"}, {"cmd": "run", "app": "app"},
                               {"cmd": "procstop", "app": "app"}, {"cmd": "stop", "app": "proc"}]})",
                  result),
            "  ?  SM: 'app' is an undefined process for cmd procstop in 'startup' at cmd-no 3\n"
            "  ?  SM: 'proc' is an undefined application for cmd stop in 'startup' at cmd-no 4\n");
  EXPECT_EQ(result, 1);
}

TEST_F(CommandList, SoundAndEmptyListsPrintNothing) {
  int result = -1;
  EXPECT_EQ(check(R"({"list": []})", result), "");
  EXPECT_EQ(result, 0);
  EXPECT_EQ(check(R"({"list": [{"cmd": "prockill", "app": "proc", "timeout": 5, "blocking": false},
                               {"cmd": "inject_userevent", "event": -1}, {"cmd": "shutdown"}]})",
                  result),
            "");
  EXPECT_EQ(result, 0);
}

}  // namespace
