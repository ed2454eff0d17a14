#include "support/symbols.h"

#include <tuple>

#include "support/report.h"

namespace support {

namespace {

thread_local SymbolIndex* current = nullptr;

// Applications share one namespace whatever declares them, as the checks' set does.
char category(SymbolKind kind) {
  switch (kind) {
    case SymbolKind::Process: return 'p';
    case SymbolKind::Node: return 'n';
    default: return 'a';
  }
}

std::string key(char category, std::string_view name) {
  std::string k(1, category);
  k.append(name);
  return k;
}

}  // namespace

SymbolIndex* symbols() { return current; }

SymbolScope::SymbolScope(SymbolIndex* index) : previous(current) { current = index; }
SymbolScope::~SymbolScope() { current = previous; }

void SymbolIndex::declare(SymbolKind kind, std::string_view name, kit::config::Location at) {
  if (kind == SymbolKind::Process) process = name;
  if (kind == SymbolKind::Bundle) bundle = name;
  Declaration d{kind, std::string(name), currentFile(), at, {}, {}};
  if (kind != SymbolKind::Process && kind != SymbolKind::Node) d.process = process;
  if (kind == SymbolKind::BundleApp) d.bundle = bundle;
  declarations.push_back(std::move(d));
}

void SymbolIndex::declare(SymbolKind kind, const kit::config::Value& name) {
  std::string_view text;
  if (name.getString(text) == 0) {
    declare(kind, text, kit::config::locate(name));
  } else if (kind == SymbolKind::Process) {
    process.clear();  // its applications belong to no name
  }
}

void SymbolIndex::use(UseKind kind, std::string_view name, kit::config::Location at) {
  uses.push_back(Use{kind, std::string(name), currentFile(), at});
}

void SymbolIndex::use(UseKind kind, const kit::config::Value& name) {
  std::string_view text;
  if (name.getString(text) == 0) use(kind, text, kit::config::locate(name));
}

void SymbolIndex::useNodeKeys(const kit::config::Value& object) {
  for (auto it = object.begin(), end = object.end(); it != end; ++it)
    if (it.key() != "*") use(UseKind::Node, it.key(), kit::config::locateKey(it));
}

void SymbolIndex::commandList(std::string_view label, const kit::config::Value& list) {
  CommandList l{currentFile(), {}, std::string(label), {}, kit::config::locate(list), {}};
  if (scopeFile == l.file) {
    l.scope = scope;
    l.scopeAt = scopeAt;
  }
  commandLists.push_back(std::move(l));
}

void SymbolIndex::commandEntry(uint32_t number, const kit::config::Value& entry, const kit::config::Value& cmd,
                               const kit::config::Value& app) {
  if (commandLists.empty()) return;
  CommandEntry e{number, {}, {}, kit::config::locate(entry), {}};
  e.end = e.at;
  for (const kit::config::Value* value : {&cmd, &app}) {
    std::string_view text;
    if (value->getString(text) != 0) continue;
    (value == &cmd ? e.cmd : e.app) = text;
    const kit::config::Location at = kit::config::locate(*value);
    if (std::tie(at.line, at.column) > std::tie(e.end.line, e.end.column)) e.end = at;
  }
  commandLists.back().entries.push_back(std::move(e));
}

void SymbolIndex::enter(std::string_view name, kit::config::Location at) {
  scope = name;
  scopeAt = at;
  scopeFile = currentFile();
}

void SymbolIndex::resolve() {
  std::unordered_map<std::string, uint32_t> first;
  for (uint32_t i = 0; i < declarations.size(); ++i)
    first.try_emplace(key(category(declarations[i].kind), declarations[i].name), i);
  auto find = [&](char c, const std::string& name) {
    auto found = first.find(key(c, name));
    return found == first.end() ? Use::kUnresolved : found->second;
  };
  for (Use& u : uses) {
    switch (u.kind) {
      case UseKind::Process: u.declaration = find('p', u.name); break;
      case UseKind::Application: u.declaration = find('a', u.name); break;
      case UseKind::Node: u.declaration = find('n', u.name); break;
      case UseKind::ProcessOrApplication:
        u.declaration = find('p', u.name);
        if (u.declaration == Use::kUnresolved) u.declaration = find('a', u.name);
        break;
    }
  }
}

}  // namespace support
