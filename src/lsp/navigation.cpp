#include "lsp/navigation.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>

#include "engine/check.h"

namespace lsp {

namespace {

using nlohmann::json;
using support::Declaration;
using support::Location;
using support::SymbolKind;
using support::Use;

constexpr int kInvalidParams = -32602;
constexpr int kRequestFailed = -32803;

Answer ok(json result) { return Answer{std::move(result), 0, {}}; }

// One of the four files as the client sees it now.
struct File {
  std::string uri;
  std::string_view text;
  std::optional<int64_t> version;  // an open document's
};

// Where a request points: a system's file and a place in it.
struct Place {
  const System* system = nullptr;
  std::string folder;
  std::string name;  // the file's known name
  uint32_t line = 0, column = 0;  // as our locations count
};

File fileOf(const Workspace& ws, const Place& at, const std::string& name) {
  const std::string path = at.folder + "/" + name;
  for (const auto& [uri, doc] : ws.documents)
    if (doc.path == path) return File{uri, doc.text, doc.version};
  const int i = knownIndex(name);
  if (i < 0 || !at.system->disk[static_cast<std::size_t>(i)]) return File{pathUri(path), {}, std::nullopt};
  return File{pathUri(path), *at.system->disk[static_cast<std::size_t>(i)], std::nullopt};
}

// The file and position of a request's params; no system when the file is none of ours.
std::optional<Place> placeOf(const Workspace& ws, const json& params, bool withPosition, Encoding encoding) {
  if (!params.is_object() || !params.contains("textDocument") || !params["textDocument"].is_object()) return std::nullopt;
  const json& uri = params["textDocument"].value("uri", json());
  if (!uri.is_string()) return std::nullopt;
  Place at;
  const std::string path = uriPath(uri.get<std::string>());
  const std::size_t slash = path.rfind('/');
  if (slash != std::string::npos && knownIndex(std::string_view(path).substr(slash + 1)) >= 0) {
    at.folder = path.substr(0, slash);
    at.name = path.substr(slash + 1);
    auto system = ws.systems.find(at.folder);
    if (system != ws.systems.end()) at.system = &system->second;
  }
  if (!withPosition) return at;
  const json& position = params.value("position", json());
  if (!position.is_object() || !position.value("line", json()).is_number_unsigned() ||
      !position.value("character", json()).is_number_unsigned())
    return std::nullopt;
  const Position p{position["line"].get<uint32_t>(), position["character"].get<uint32_t>()};
  if (at.system == nullptr) return at;
  const File file = fileOf(ws, at, at.name);
  const std::size_t lineStart = offsetOf(file.text, Position{p.line, 0}, encoding);
  const std::size_t offset = offsetOf(file.text, p, encoding);
  const std::string_view line = file.text.substr(lineStart, file.text.find('\n', lineStart) - lineStart);
  at.line = p.line + 1;
  at.column = columnOf(line, offset - lineStart, Encoding::Utf32) + 1;
  return at;
}

// Applications and bundles share one namespace, as the checks' set does.
int group(SymbolKind kind) { return kind == SymbolKind::Process ? 0 : kind == SymbolKind::Node ? 2 : 1; }
bool same(const Declaration& a, const Declaration& b) { return group(a.kind) == group(b.kind) && a.name == b.name; }

bool covers(const Location& token, const std::string& file, const Place& at) {
  return file == at.name && token.line == at.line && token.column <= at.column && at.column <= token.endColumn;
}

// The declaration named at the place: by a declaration, or a use that resolves.
const Declaration* target(const Place& at) {
  const support::SymbolIndex& index = at.system->symbols;
  for (const Declaration& d : index.declarations)
    if (covers(d.at, d.file, at)) return &d;
  for (const Use& u : index.uses)
    if (covers(u.at, u.file, at)) return u.declaration == Use::kUnresolved ? nullptr : &index.declarations[u.declaration];
  return nullptr;
}

// Every place that names the target's symbol, declarations first, per file.
std::map<std::string, std::vector<Location>> occurrences(const support::SymbolIndex& index, const Declaration& symbol,
                                                         bool declarations) {
  std::map<std::string, std::vector<Location>> found;
  if (declarations)
    for (const Declaration& d : index.declarations)
      if (same(d, symbol)) found[d.file].push_back(d.at);
  for (const Use& u : index.uses)
    if (u.declaration != Use::kUnresolved && same(index.declarations[u.declaration], symbol)) found[u.file].push_back(u.at);
  return found;
}

// The files of a system in the order the engine reads them.
std::vector<std::string> fileOrder() {
  const auto names = engine::knownFilesInCheckOrder();
  return {names.begin(), names.end()};
}

json locationOf(const File& file, Location at, Encoding encoding) {
  return {{"uri", file.uri}, {"range", lspRange(file.text, at, encoding)}};
}

Answer definition(const Workspace& ws, const Place& at, Encoding encoding) {
  const Declaration* symbol = target(at);
  if (symbol == nullptr) return {};
  // Uses resolve to the first declaration of their name.
  for (const Declaration& d : at.system->symbols.declarations)
    if (same(d, *symbol)) return ok(locationOf(fileOf(ws, at, d.file), d.at, encoding));
  return {};
}

json locations(const Workspace& ws, const Place& at, const std::map<std::string, std::vector<Location>>& found,
               Encoding encoding) {
  json result = json::array();
  for (const std::string& name : fileOrder()) {
    auto it = found.find(name);
    if (it == found.end()) continue;
    const File file = fileOf(ws, at, name);
    for (const Location& l : it->second) result.push_back(locationOf(file, l, encoding));
  }
  return result;
}

// An undeclared name's references are the places that name it alike, a
// node's the other nodes, anything else's the processes and applications.
Answer undeclaredReferences(const Workspace& ws, const Place& at, Encoding encoding) {
  const support::SymbolIndex& index = at.system->symbols;
  auto here = std::find_if(index.uses.begin(), index.uses.end(), [&](const Use& u) { return covers(u.at, u.file, at); });
  if (here == index.uses.end()) return ok(nullptr);
  const bool node = here->kind == support::UseKind::Node;
  std::map<std::string, std::vector<Location>> found;
  for (const Use& u : index.uses)
    if (u.declaration == Use::kUnresolved && u.name == here->name && (u.kind == support::UseKind::Node) == node)
      found[u.file].push_back(u.at);
  return ok(locations(ws, at, found, encoding));
}

Answer references(const Workspace& ws, const Place& at, const json& params, Encoding encoding) {
  const Declaration* symbol = target(at);
  if (symbol == nullptr) return undeclaredReferences(ws, at, encoding);
  const json& context = params.value("context", json::object());
  const bool declarations = context.is_object() && context.value("includeDeclaration", false) == true;
  return ok(locations(ws, at, occurrences(at.system->symbols, *symbol, declarations), encoding));
}

const char* what(SymbolKind kind) {
  switch (kind) {
    case SymbolKind::Process: return "a process";
    case SymbolKind::Node: return "a node";
    case SymbolKind::Bundle: return "a bundle";
    default: return "an application";
  }
}

Answer prepareRename(const Workspace& ws, const Place& at, Encoding encoding) {
  const support::SymbolIndex& index = at.system->symbols;
  const Declaration* symbol = target(at);
  if (symbol == nullptr) return {};
  for (const Declaration& d : index.declarations)
    if (covers(d.at, d.file, at)) return ok({{"range", lspRange(fileOf(ws, at, d.file).text, d.at, encoding)}, {"placeholder", d.name}});
  for (const Use& u : index.uses)
    if (covers(u.at, u.file, at)) return ok({{"range", lspRange(fileOf(ws, at, u.file).text, u.at, encoding)}, {"placeholder", u.name}});
  return {};
}

// Why `name` may not replace the symbol's; empty when it may.
std::string refusal(const support::SymbolIndex& index, const Declaration& symbol, const std::string& name) {
  if (name.empty()) return "the new name is empty";
  if (symbol.kind == SymbolKind::Node && name == "*") return "'*' stands for every other node and names none";
  if (name == symbol.name) return {};
  for (const Declaration& d : index.declarations)
    if (group(d.kind) == group(symbol.kind) && d.name == name)
      return "'" + name + "' is already declared as " + what(d.kind) + " in " + d.file;
  // A restart policy names a process before an application of the same name.
  for (const Use& u : index.uses) {
    if (u.kind != support::UseKind::ProcessOrApplication || u.declaration == Use::kUnresolved) continue;
    const Declaration& named = index.declarations[u.declaration];
    const bool taken = symbol.kind == SymbolKind::Process ? named.name == name && group(named.kind) == 1 : same(named, symbol);
    if (!taken) continue;
    for (const Declaration& d : index.declarations)
      if (d.name == name && group(d.kind) != group(symbol.kind) && group(d.kind) != 2)
        return "'" + name + "' is already declared as " + what(d.kind) + " in " + d.file +
               ", and a restart policy would name the other";
  }
  return {};
}

Answer rename(const Workspace& ws, const Place& at, const json& params, Encoding encoding, bool documentChanges) {
  const json& newName = params.value("newName", json());
  if (!newName.is_string()) return {nullptr, kInvalidParams, "rename needs a newName"};
  const Declaration* symbol = target(at);
  if (symbol == nullptr) return {nullptr, kRequestFailed, "there is no process, application, bundle or node to rename here"};
  const std::string name = newName.get<std::string>();
  if (std::string why = refusal(at.system->symbols, *symbol, name); !why.empty()) return {nullptr, kRequestFailed, why};
  // The string is written anew, quotes and all: the old one may have had escapes.
  const std::string text = json(name).dump(-1, ' ', false, json::error_handler_t::replace);
  auto found = occurrences(at.system->symbols, *symbol, true);
  json changes = json::object(), documents = json::array();
  for (const std::string& file : fileOrder()) {
    auto it = found.find(file);
    if (it == found.end()) continue;
    std::vector<Location>& places = it->second;
    auto key = [](const Location& l) { return std::tie(l.line, l.column); };
    std::sort(places.begin(), places.end(), [&](const Location& a, const Location& b) { return key(a) < key(b); });
    places.erase(std::unique(places.begin(), places.end(), [&](const Location& a, const Location& b) { return key(a) == key(b); }),
                 places.end());
    const File f = fileOf(ws, at, file);
    json edits = json::array();
    for (const Location& l : places) edits.push_back({{"range", lspRange(f.text, l, encoding)}, {"newText", text}});
    const json version = f.version ? json(*f.version) : json(nullptr);
    documents.push_back({{"textDocument", {{"uri", f.uri}, {"version", version}}}, {"edits", edits}});
    changes[f.uri] = std::move(edits);
  }
  if (documentChanges) return ok({{"documentChanges", std::move(documents)}});
  return ok({{"changes", std::move(changes)}});
}

// --- Outline ----------------------------------------------------------------

// Protocol symbol kinds.
enum Kind { kModule = 2, kPackage = 4, kClass = 5, kFunction = 12, kArray = 18, kObject = 19, kEvent = 24 };

struct Outline {
  std::string_view text;
  Encoding encoding;

  json symbol(const std::string& name, Kind kind, Location at) const {
    const json r = lspRange(text, at, encoding);
    return {{"name", name}, {"kind", kind}, {"range", r}, {"selectionRange", r}, {"children", json::array()}};
  }
};

// Stretches each symbol's range over its children's (a process's
// applications may come before its name); a leaf loses its empty list.
void stretch(json& symbol) {
  auto at = [](const json& p) { return std::pair(p["line"].get<uint32_t>(), p["character"].get<uint32_t>()); };
  if (!symbol.contains("children")) return;
  if (symbol["children"].empty()) {
    symbol.erase("children");
    return;
  }
  json& range = symbol["range"];
  for (json& child : symbol["children"]) {
    stretch(child);
    if (at(child["range"]["start"]) < at(range["start"])) range["start"] = child["range"]["start"];
    if (at(child["range"]["end"]) > at(range["end"])) range["end"] = child["range"]["end"];
  }
}

json declarationsOutline(const support::SymbolIndex& index, const std::string& file, const Outline& o) {
  json out = json::array();
  json* process = nullptr;
  json* bundle = nullptr;
  std::string processName, bundleName;
  for (const Declaration& d : index.declarations) {
    if (d.file != file) continue;
    static constexpr Kind kKinds[] = {kClass, kFunction, kPackage, kFunction, kModule};
    json s = o.symbol(d.name, kKinds[static_cast<int>(d.kind)], d.at);
    const bool inProcess = process != nullptr && !d.process.empty() && d.process == processName;
    if (d.kind == SymbolKind::BundleApp && bundle != nullptr && inProcess && d.bundle == bundleName) {
      bundle->at("children").push_back(std::move(s));
    } else if ((d.kind == SymbolKind::SingleApp || d.kind == SymbolKind::Bundle) && inProcess) {
      process->at("children").push_back(std::move(s));
      bundle = d.kind == SymbolKind::Bundle ? &process->at("children").back() : nullptr;
      bundleName = d.name;
    } else {
      out.push_back(std::move(s));
      process = d.kind == SymbolKind::Process ? &out.back() : nullptr;
      processName = d.name;
      bundle = nullptr;
    }
  }
  return out;
}

json commandsOutline(const support::SymbolIndex& index, const std::string& file, const Outline& o) {
  json out = json::array();
  std::string scope;
  for (const support::CommandList& list : index.commandLists) {
    if (list.file != file) continue;
    json l = o.symbol(list.label, kArray, list.at);
    for (const support::CommandEntry& e : list.entries) {
      std::string name = std::to_string(e.number) + ":";
      for (const std::string* part : {&e.cmd, &e.app})
        if (!part->empty()) name += " " + *part;
      json entry = o.symbol(name, kEvent, e.at);
      entry["range"]["end"] = lspRange(o.text, e.end, o.encoding)["end"];
      entry["selectionRange"] = entry["range"];
      l["children"].push_back(std::move(entry));
    }
    if (list.scope.empty()) {
      out.push_back(std::move(l));
      scope.clear();
      continue;
    }
    if (out.empty() || list.scope != scope) out.push_back(o.symbol(list.scope, kObject, list.scopeAt));
    scope = list.scope;
    out.back()["children"].push_back(std::move(l));
  }
  return out;
}

Answer documentSymbols(const Workspace& ws, const Place& at, Encoding encoding) {
  const support::SymbolIndex& index = at.system->symbols;
  const File file = fileOf(ws, at, at.name);
  const Outline o{file.text, encoding};
  json out = declarationsOutline(index, at.name, o);
  for (json& s : commandsOutline(index, at.name, o)) out.push_back(std::move(s));
  for (json& s : out) stretch(s);
  return ok(std::move(out));
}

}  // namespace

bool isNavigation(const std::string& method) {
  return method == "textDocument/definition" || method == "textDocument/references" || method == "textDocument/prepareRename" ||
         method == "textDocument/rename" || method == "textDocument/documentSymbol";
}

Answer navigate(const Workspace& ws, const std::string& method, const json& params, Encoding encoding, bool documentChanges) {
  const bool outline = method == "textDocument/documentSymbol";
  const std::optional<Place> at = placeOf(ws, params, !outline, encoding);
  if (!at) return {nullptr, kInvalidParams, method + " needs a textDocument" + (outline ? "" : " and a position")};
  if (at->system == nullptr) return ok(outline ? json::array() : json(nullptr));
  if (outline) return documentSymbols(ws, *at, encoding);
  if (method == "textDocument/definition") return definition(ws, *at, encoding);
  if (method == "textDocument/references") return references(ws, *at, params, encoding);
  if (method == "textDocument/prepareRename") return prepareRename(ws, *at, encoding);
  return rename(ws, *at, params, encoding, documentChanges);
}

}  // namespace lsp
