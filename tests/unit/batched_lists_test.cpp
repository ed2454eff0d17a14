// The checks keep what they read of a list entry past the next entry; with
// entries parsed in batches that is only sound if nothing keeps a value
// itself. Every example and end-to-end case must print the same either way,
// and with every file mapped, its text given back between the phases.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "driver/run.h"
#include "framework/fw_state.h"
#include "platform/kit_config.h"
#include "platform/read_file.h"
#include "test_helpers.h"

namespace {

namespace fs = std::filesystem;

// Runs cfgcheck in `dir`, returning status, standard output and error with times masked.
std::string runIn(const fs::path& dir, const std::vector<std::string>& args, size_t batchBytes, bool mapAll = false) {
  CapturedOutput captured;
  const fs::path before = fs::current_path();
  fs::current_path(dir);
  std::vector<const char*> argv{"cfgcheck"};
  for (const std::string& a : args) argv.push_back(a.c_str());
  kit::config::setListBatchBytes(batchBytes);
  kit::config::setMapFrom(mapAll ? 1 : 0);
  framework::resetState();
  int status = driver::run(static_cast<int>(argv.size()), argv.data());
  kit::config::setListBatchBytes(256 * 1024);
  kit::config::setMapFrom(0);
  fs::current_path(before);
  static const std::regex time("time=[0-9]+\\[ms\\]");
  const std::string printed = captured.text("out") + "\n--\n" + captured.text("err");
  return std::to_string(status) + "\n" + std::regex_replace(printed, time, "time");
}

TEST(BatchedLists, EveryCasePrintsTheSameWhenListsAreCut) {
  const fs::path root = CFGCHECK_SOURCE_DIR;
  std::vector<std::pair<fs::path, std::vector<std::string>>> runs;
  for (const char* example : {"sound", "broken"})
    runs.push_back({root / "examples" / example, {"--dir", ".", "--verbose", "--transport"}});
  for (const auto& entry : fs::directory_iterator(root / "tests/e2e")) {
    if (fs::exists(entry.path() / "setup")) continue;  // inputs made at run time
    std::vector<std::string> args;
    std::istringstream lines(readFile(entry.path() / "args"));
    for (std::string line; std::getline(lines, line);) args.push_back(line);
    runs.push_back({entry.path(), args});
  }
  ASSERT_GT(runs.size(), 50u);
  for (const auto& [dir, args] : runs) {
    const std::string whole = runIn(dir, args, 256 * 1024);
    EXPECT_EQ(runIn(dir, args, 1), whole) << dir;
    EXPECT_EQ(runIn(dir, args, 300), whole) << dir;
    EXPECT_EQ(runIn(dir, args, 300, true), whole) << dir;
  }
}

}  // namespace
