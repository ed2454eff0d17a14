// The checks keep what they read of a list entry past the next entry; with
// entries parsed in batches that is only sound if nothing keeps a value
// itself. Every example and end-to-end case must print the same either way,
// with every file mapped, its text given back between the phases, when run
// again in the same process, and when checked from texts read beforehand.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "driver/directory_scan.h"
#include "driver/render.h"
#include "driver/run.h"
#include "platform/kit_config.h"
#include "platform/read_file.h"
#include "test_helpers.h"

namespace {

namespace fs = std::filesystem;

// Status, standard output and error of `run` in `dir`, with times masked.
template <class Run>
std::string printedIn(const fs::path& dir, Run run) {
  CapturedOutput captured;
  const fs::path before = fs::current_path();
  fs::current_path(dir);
  const int status = run();
  fs::current_path(before);
  static const std::regex time("time=[0-9]+\\[ms\\]");
  const std::string printed = captured.text("out") + "\n--\n" + captured.text("err");
  return std::to_string(status) + "\n" + std::regex_replace(printed, time, "time");
}

std::vector<const char*> argvOf(const std::vector<std::string>& args) {
  std::vector<const char*> argv{"cfgcheck"};
  for (const std::string& a : args) argv.push_back(a.c_str());
  return argv;
}

std::string runIn(const fs::path& dir, const std::vector<std::string>& args, size_t batchBytes, bool mapAll = false) {
  kit::config::setListBatchBytes(batchBytes);
  kit::config::setMapFrom(mapAll ? 1 : 0);
  const std::vector<const char*> argv = argvOf(args);
  std::string printed = printedIn(dir, [&] { return driver::run(static_cast<int>(argv.size()), argv.data()); });
  kit::config::setListBatchBytes(256 * 1024);
  kit::config::setMapFrom(0);
  return printed;
}

// The command line's run with every file read first and the check made where
// no file is to be found; empty for a command line that checks nothing.
std::string runFromTexts(const fs::path& dir, const std::vector<std::string>& args) {
  const std::vector<const char*> argv = argvOf(args);
  const driver::Options options = driver::readOptions(static_cast<int>(argv.size()), argv.data());
  if (options.ask != driver::Options::Ask::Check || !options.fault.empty()) return "";
  return printedIn(dir, [&] {
    driver::Output out;
    out.format = options.format;
    const engine::Sink sink = driver::sinkFor(out);
    support::ReportState scanState{options.format, {}, &sink};
    const support::ReportScope scan(scanState);
    engine::Options checks = driver::checkOptions(options);
    std::vector<std::string> paths;
    for (const driver::Input& input : options.inputs) {
      if (!input.isDirectory) paths.push_back(input.path);
      else if (driver::scanDirectory(input.path, paths) != 0) checks.unreadableDirectories.push_back(input.path);
    }
    std::vector<std::string> texts(paths.size()), reasons(paths.size());
    std::vector<engine::Source> sources;
    for (std::size_t i = 0; i < paths.size(); ++i) {
      kit::config::InputBuffer buffer;
      std::size_t len = 0;
      if (kit::config::readWholeFile(paths[i].c_str(), buffer, len, reasons[i])) texts[i].assign(buffer.data, len);
      sources.push_back(engine::Source{paths[i], texts[i], false, reasons[i]});
    }
    const ScratchDir nowhere;
    fs::current_path(nowhere.path);
    const int status = engine::check(sources, checks, sink);
    driver::finish(out, status);
    return status;
  });
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
  int fromTextRuns = 0;
  for (const auto& [dir, args] : runs) {
    const std::string whole = runIn(dir, args, 256 * 1024);
    EXPECT_EQ(runIn(dir, args, 1), whole) << dir;
    EXPECT_EQ(runIn(dir, args, 300), whole) << dir;
    EXPECT_EQ(runIn(dir, args, 300, true), whole) << dir;
    EXPECT_EQ(runIn(dir, args, 256 * 1024), whole) << dir;
    const std::string fromTexts = runFromTexts(dir, args);
    if (fromTexts.empty()) continue;
    EXPECT_EQ(fromTexts, whole) << dir;
    ++fromTextRuns;
  }
  EXPECT_GT(fromTextRuns, 40);
}

}  // namespace
