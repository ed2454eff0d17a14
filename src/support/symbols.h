// Where each name of the known files is declared and where it is used, for
// tools that answer "go to definition" and "find references". Only a run
// that installs an index records into it; the others pay one null test.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/kit_config.h"

namespace support {

enum class SymbolKind : uint8_t { Process, SingleApp, Bundle, BundleApp, Node };

// What a use may name: restart policy keys take a process or an application.
enum class UseKind : uint8_t { Process, Application, ProcessOrApplication, Node };

struct Declaration {
  SymbolKind kind;
  std::string name;
  std::string file;
  kit::config::Location at;  // the name string; a node's key
  std::string process;       // applications: the process that runs them
  std::string bundle;        // bundle apps: their bundle
};

struct Use {
  UseKind kind;
  std::string name;
  std::string file;
  kit::config::Location at;
  static constexpr uint32_t kUnresolved = UINT32_MAX;
  uint32_t declaration = kUnresolved;  // index into SymbolIndex::declarations
};

// A command list and its entries, for an outline. The scope is the restart
// policy or launcher domain that holds the list; empty for a top-level list.
struct CommandEntry {
  uint32_t number;
  std::string cmd, app;
  kit::config::Location at, end;  // the entry's '{' and the later of its cmd and app
};
struct CommandList {
  std::string file, scope, label;
  kit::config::Location scopeAt, at;  // the scope's key; the list's '['
  std::vector<CommandEntry> entries;
};

struct SymbolIndex {
  std::vector<Declaration> declarations;
  std::vector<Use> uses;
  std::vector<CommandList> commandLists;

  // The `name` string at `at` of the current file; a value that is no string declares nothing.
  void declare(SymbolKind kind, std::string_view name, kit::config::Location at);
  void declare(SymbolKind kind, const kit::config::Value& name);
  void use(UseKind kind, std::string_view name, kit::config::Location at);
  void use(UseKind kind, const kit::config::Value& name);
  // Every key of `object` but `*` names a node.
  void useNodeKeys(const kit::config::Value& object);
  // A command list, then each of its entries as it is checked.
  void commandList(std::string_view label, const kit::config::Value& list);
  void commandEntry(uint32_t number, const kit::config::Value& entry, const kit::config::Value& cmd,
                    const kit::config::Value& app);
  // The lists checked until the next `enter` belong to `scope`; an empty one is the top level.
  void enter(std::string_view scope, kit::config::Location at);
  // Points each use at the first declaration of its name; after the checks.
  void resolve();

  // The process and bundle whose applications are being declared: the
  // framework file declares them before their applications.
  std::string process, bundle;
  std::string scope, scopeFile;
  kit::config::Location scopeAt;
};

// The index of the current run, or null when the run wants none.
SymbolIndex* symbols();

// Installs `index` for the scope's life.
struct SymbolScope {
  explicit SymbolScope(SymbolIndex* index);
  ~SymbolScope();
  SymbolScope(const SymbolScope&) = delete;
  SymbolScope& operator=(const SymbolScope&) = delete;
  SymbolIndex* previous;
};

}  // namespace support
