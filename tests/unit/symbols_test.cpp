// The symbol index of a run over the broken example: what stands at each
// place, and what a use resolves to.
#include <gtest/gtest.h>

#include <filesystem>

#include "engine/check.h"
#include "support/symbols.h"
#include "test_helpers.h"

namespace {

namespace fs = std::filesystem;

const char* const kKinds[] = {"process", "singleapp", "bundle", "bundleapp", "node"};
const char* const kUses[] = {"process", "application", "process-or-application", "node"};

// Every declaration and use standing at the place, one per line.
std::string at(const support::SymbolIndex& index, const std::string& file, uint32_t line, uint32_t column) {
  auto here = [&](const std::string& f, kit::config::Location l) {
    return fs::path(f).filename() == file && l.line == line && l.column == column;
  };
  auto named = [](const support::Declaration& d) { return kKinds[int(d.kind)] + (" " + d.name); };
  std::string found;
  for (const support::Declaration& d : index.declarations) {
    if (!here(d.file, d.at)) continue;
    found += named(d) + (d.process.empty() ? "" : " in " + d.process) + (d.bundle.empty() ? "" : "/" + d.bundle) + "\n";
  }
  for (const support::Use& u : index.uses) {
    if (!here(u.file, u.at)) continue;
    found += std::string("uses ") + kUses[int(u.kind)] + " " + u.name + " -> ";
    if (u.declaration == support::Use::kUnresolved) {
      found += "nothing\n";
    } else {
      const support::Declaration& d = index.declarations[u.declaration];
      found += named(d) + " at " + fs::path(d.file).filename().string() + ":" + std::to_string(d.at.line) + "\n";
    }
  }
  return found;
}

TEST(Symbols, BrokenExample) {
  std::vector<std::string> paths, texts;
  std::vector<engine::Source> sources;
  for (const char* file : engine::knownFileNames()) {
    paths.push_back(std::string("broken/") + file);
    texts.push_back(readFile(std::string(CFGCHECK_SOURCE_DIR) + "/examples/" + paths.back()));
  }
  for (std::size_t i = 0; i < paths.size(); ++i) sources.push_back(engine::Source{paths[i], texts[i], false, {}});
  support::SymbolIndex index;
  engine::Options options;
  options.symbols = &index;
  engine::check(sources, options, engine::Sink{});
  EXPECT_EQ(support::symbols(), nullptr);

  struct Row {
    const char* file;
    uint32_t line, column;
    const char* expected;
  } rows[] = {
      {"framework.json", 63, 15, "process audiomgr\n"},
      {"framework.json", 64, 15, ""},  // an exec spelt like its process
      {"framework.json", 75, 50, "singleapp audio in audiomgr\n"},
      {"framework.json", 93, 21, "bundle navigation in navcore\n"},
      {"framework.json", 93, 71, "bundleapp route in navcore/navigation\n"},
      {"framework.json", 72, 11, "uses node ic -> node ic at framework.json:16\n"},
      {"framework.json", 57, 11, "uses node gateway -> nothing\n"},
      {"framework.json", 184, 15, "uses node rear -> nothing\n"},
      {"servicemgr.json", 9, 34, "uses process audiomgr -> process audiomgr at framework.json:63\n"},
      {"servicemgr.json", 10, 29, "uses application audio -> singleapp audio at framework.json:75\n"},
      {"servicemgr.json", 11, 28, "uses application audiomgr -> nothing\n"},
      // Names declared twice resolve to their first declaration.
      {"servicemgr.json", 17, 28, "uses application route -> bundleapp route at framework.json:93\n"},
      {"servicemgr.json", 20, 34, "uses process media -> process media at framework.json:119\n"},
      {"servicemgr_restart.json", 7, 3, "uses process-or-application audiomgr -> process audiomgr at framework.json:63\n"},
      {"servicemgr_restart.json", 24, 3, "uses process-or-application telephony -> singleapp telephony at framework.json:139\n"},
      {"servicemgr_restart.json", 19, 3, "uses process-or-application navi -> nothing\n"},
      {"uvkstartup.json", 16, 19, "uses application hmi -> nothing\n"},
      {"uvkstartup.json", 28, 19, "uses application navigation -> bundle navigation at framework.json:93\n"},
      {"uvkstartup.json", 21, 32, "uses application notifications -> nothing\n"},
  };
  for (const Row& row : rows)
    EXPECT_EQ(at(index, row.file, row.line, row.column), row.expected) << row.file << ":" << row.line << ":" << row.column;
}

}  // namespace
