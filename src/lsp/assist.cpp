#include "lsp/assist.h"

#include <algorithm>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "commands/command_table.h"
#include "driver/formats.h"
#include "engine/check.h"
#include "framework/check_fw_config.h"

namespace lsp {

namespace {

using nlohmann::json;
using support::Declaration;
using support::SymbolKind;

// --- Where the cursor is ----------------------------------------------------
// The text is mostly being typed when this is asked, so no parser would take
// it: strings and brackets are followed up to the cursor, which is all it
// takes to know the member or list entry there.

struct Frame {
  bool object = false;
  std::string key;  // the member this container is the value of; empty in a list or at the top
  enum Expect { Key, Colon, Value, Next } expect = Key;
  std::string pending;  // objects: the key last read
  std::vector<std::string> keys;
  std::vector<std::pair<std::string, std::string>> strings;  // members whose value is a string

  std::string_view string(std::string_view member) const {
    for (const auto& [k, v] : strings)
      if (k == member) return v;
    return {};
  }
};

struct Context {
  std::vector<Frame> frames;  // outermost first
  bool inString = false;
  std::size_t tokenStart = 0, tokenEnd = 0;  // the string at the cursor, quotes included; else the cursor
  enum class Slot { None, Key, Value } slot = Slot::None;

  const Frame* at(std::size_t up) const { return frames.size() > up ? &frames[frames.size() - 1 - up] : nullptr; }
  // The member whose value is at the cursor; empty for a list entry.
  std::string_view member() const { return slot == Slot::Value && frames.back().object ? std::string_view(frames.back().pending) : ""; }
};

// The end of the string that opens at `from`: its closing quote, or where the line ends.
std::size_t stringEnd(std::string_view text, std::size_t from) {
  std::size_t i = from + 1;
  while (i < text.size() && text[i] != '"' && text[i] != '\n') i += text[i] == '\\' ? 2 : 1;
  return std::min(i, text.size());
}

// Follows `text` from `from` to `to`; a bracket that would close the frame at
// depth `keep` ends the walk instead. Stops at a string that holds `to`; true when it does.
bool follow(Context& c, std::string_view text, std::size_t from, std::size_t to, std::size_t keep = 0) {
  for (std::size_t i = from; i < to; ++i) {
    const char ch = text[i];
    Frame* top = c.frames.empty() ? nullptr : &c.frames.back();
    if (ch == '"') {
      const std::size_t end = stringEnd(text, i);
      if (end >= to) {
        c.tokenStart = i;
        c.tokenEnd = end < text.size() && text[end] == '"' ? end + 1 : end;
        return true;
      }
      std::string content(text.substr(i + 1, end - i - 1));
      if (top != nullptr && top->object && top->expect == Frame::Key) {
        top->keys.push_back(content);
        top->pending = std::move(content);
        top->expect = Frame::Colon;
      } else if (top != nullptr) {
        if (top->object && top->expect == Frame::Value) top->strings.emplace_back(top->pending, std::move(content));
        top->expect = Frame::Next;
      }
      i = end;
    } else if (ch == '{' || ch == '[') {
      Frame frame;
      frame.object = ch == '{';
      frame.expect = frame.object ? Frame::Key : Frame::Value;
      if (top != nullptr) {
        if (top->object) frame.key = top->pending;
        top->expect = Frame::Next;
      }
      c.frames.push_back(std::move(frame));
    } else if (ch == '}' || ch == ']') {
      if (top == nullptr) continue;
      if (c.frames.size() == keep) return false;
      c.frames.pop_back();
    } else if (top == nullptr || ch == ' ' || ch == '\t' || ch == '\r' || ch == '\n') {
      continue;
    } else if (ch == ':') {
      top->expect = Frame::Value;
    } else if (ch == ',') {
      top->expect = top->object ? Frame::Key : Frame::Value;
    } else if (top->expect == Frame::Value) {
      top->expect = Frame::Next;  // a number or literal
    }
  }
  return false;
}

Context locate(std::string_view text, std::size_t cursor) {
  Context c;
  c.inString = follow(c, text, 0, cursor);
  if (!c.inString) c.tokenStart = c.tokenEnd = cursor;
  if (c.frames.empty()) return c;
  Frame& top = c.frames.back();
  if (top.object && top.expect == Frame::Key) c.slot = Context::Slot::Key;
  else if (top.expect == Frame::Value) c.slot = Context::Slot::Value;
  if (c.slot == Context::Slot::None) return c;
  // The rest of the object: what its other members say (the command an "app" is for).
  Context rest;
  rest.frames.emplace_back();
  rest.frames[0].object = top.object;
  rest.frames[0].expect = !c.inString ? top.expect : c.slot == Context::Slot::Key ? Frame::Colon : Frame::Next;
  follow(rest, text, c.tokenEnd, text.size(), 1);
  if (rest.frames.size() == 1) {
    for (std::string& k : rest.frames[0].keys) top.keys.push_back(std::move(k));
    for (auto& member : rest.frames[0].strings) top.strings.push_back(std::move(member));
  }
  return c;
}

// --- Positions --------------------------------------------------------------

std::size_t lineStart(std::string_view text, std::size_t offset) {
  const std::size_t nl = offset == 0 ? std::string_view::npos : text.rfind('\n', offset - 1);
  return nl == std::string_view::npos ? 0 : nl + 1;
}

json lspPosition(std::string_view text, std::size_t offset, Encoding encoding) {
  const std::size_t start = lineStart(text, offset);
  const auto line = static_cast<uint32_t>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(start), '\n'));
  std::size_t end = text.find('\n', start);
  if (end == std::string_view::npos) end = text.size();
  return {{"line", line}, {"character", columnOf(text.substr(start, end - start), offset - start, encoding)}};
}

json lspRange(std::string_view text, std::size_t from, std::size_t to, Encoding encoding) {
  return {{"start", lspPosition(text, from, encoding)}, {"end", lspPosition(text, to, encoding)}};
}

// A place of our own (1-based code points) as byte offsets of `text`.
std::pair<std::size_t, std::size_t> offsets(std::string_view text, support::Location at) {
  at = support::spanned(at);
  const uint32_t line = at.line > 0 ? at.line - 1 : 0;
  return {offsetOf(text, Position{line, at.column > 0 ? at.column - 1 : 0}, Encoding::Utf32),
          offsetOf(text, Position{line, at.endColumn > 0 ? at.endColumn - 1 : 0}, Encoding::Utf32)};
}

// --- What the system knows --------------------------------------------------

// A known file of a checked system: the editor's text when it is open, else the one on disk.
struct Subject {
  std::string_view text;
  const System* system = nullptr;
  int file = -1;  // index among the known files
  std::string_view name;
};

Subject subject(const Workspace& ws, const std::string& uri) {
  Subject s;
  auto doc = ws.documents.find(uri);
  const std::string path = doc != ws.documents.end() ? doc->second.path : uriPath(uri);
  const std::size_t slash = path.rfind('/');
  if (slash == std::string::npos) return s;
  const int file = knownIndex(std::string_view(path).substr(slash + 1));
  auto system = ws.systems.find(path.substr(0, slash));
  if (file < 0 || system == ws.systems.end()) return s;
  const auto i = static_cast<std::size_t>(file);
  if (doc != ws.documents.end()) s.text = doc->second.text;
  else if (system->second.disk[i]) s.text = *system->second.disk[i];
  else return s;
  s.system = &system->second;
  s.file = file;
  s.name = engine::knownFileNames()[i];
  return s;
}

bool holds(support::Location at, uint32_t line, uint32_t column) {
  at = support::spanned(at);
  return at.line == line && at.column <= column && column <= at.endColumn;
}

std::string code(std::string_view s) { return "`" + std::string(s) + "`"; }

std::string describe(const support::SymbolIndex& index, uint32_t which) {
  const Declaration& d = index.declarations[which];
  std::string out;
  auto facts = [&] {
    for (const auto& f : index.facts)
      if (f.declaration == which) out += "\n- " + f.label + ": " + code(f.value);
  };
  switch (d.kind) {
    case SymbolKind::Node:
      out = "**node** " + code(d.name);
      facts();
      break;
    case SymbolKind::Process: {
      out = "**process** " + code(d.name);
      facts();
      std::string apps;
      for (const Declaration& a : index.declarations)
        if ((a.kind == SymbolKind::SingleApp || a.kind == SymbolKind::BundleApp) && a.process == d.name)
          apps += (apps.empty() ? "" : ", ") + code(a.name) + (a.bundle.empty() ? "" : " (" + a.bundle + ")");
      if (!apps.empty()) out += "\n- applications: " + apps;
      break;
    }
    case SymbolKind::Bundle:
      out = "**bundle** " + code(d.name) + " of process " + code(d.process);
      break;
    default:
      out = "**application** " + code(d.name) + ", run by process " + code(d.process);
      if (!d.bundle.empty()) out += " in bundle " + code(d.bundle);
  }
  return out;
}

std::string describe(const commands::Command& c) {
  using commands::Rule;
  std::string out = "**command** " + code(c.name) + " (code " + std::to_string(c.code) + ")";
  std::string params;
  for (const auto& [name, bit] : commands::allParams())
    if ((c.params & bit) != 0) params += (params.empty() ? "" : ", ") + code(name);
  out += "\n- parameters: " + (params.empty() ? std::string("none") : params);
  static constexpr std::pair<Rule, std::string_view> kRequired[] = {
      {Rule::TimeoutRequired, "`timeout`"},       {Rule::SysrunmodeRequired, "`sysrunmode`"},
      {Rule::ApprunmodeRequired, "`apprunmode`"}, {Rule::PsAccessRequired, "`ps_access`"},
      {Rule::IntegerEvent, "`event`, an integer"}, {Rule::SystemEvent, "`event`, `lowmem` or `startup_complete`"}};
  std::string required = c.app != commands::AppIn::NoApp ? "`app`" : "";
  for (const auto& [rule, text] : kRequired)
    if (c.rule == rule) required += (required.empty() ? "" : ", ") + std::string(text);
  if (!required.empty()) out += "\n- requires: " + required;
  if (c.app == commands::AppIn::Processes) out += "\n- `app`: a process of framework.json";
  if (c.app == commands::AppIn::Applications) out += "\n- `app`: an application of framework.json";
  return out;
}

// --- Completion -------------------------------------------------------------

// The protocol's CompletionItemKind values we give.
enum ItemKind { Function = 3, Property = 10, Module = 9, Class = 7, Interface = 8, EnumMember = 20 };

struct Items {
  const Context& c;
  json range;
  bool shared;  // the client takes one range for all items
  json list = json::array();
  std::unordered_set<std::string_view> seen;

  void add(std::string_view label, ItemKind kind) {
    if (!seen.insert(label).second) return;
    json item{{"label", label}, {"kind", kind}};
    // Within a string its content is replaced by the label; elsewhere a string is written.
    std::string text;
    if (!c.inString) text = json(label).dump() + (c.slot == Context::Slot::Key ? ": " : "");
    if (shared && !text.empty()) item["textEditText"] = std::move(text);
    else if (!shared) item["textEdit"] = {{"range", range}, {"newText", text.empty() ? json(label) : json(std::move(text))}};
    list.push_back(std::move(item));
  }
  void add(std::initializer_list<std::string_view> labels, ItemKind kind) {
    for (std::string_view l : labels) add(l, kind);
  }
  void names(const System& system, bool processes, bool applications, bool nodes) {
    for (const Declaration& d : system.symbols.declarations) {
      if (d.kind == SymbolKind::Process && processes) add(d.name, Module);
      if ((d.kind == SymbolKind::SingleApp || d.kind == SymbolKind::BundleApp) && applications) add(d.name, Class);
      if (d.kind == SymbolKind::Node && nodes) add(d.name, Interface);
    }
  }
};

bool isEvent(std::string_view key) {
  for (std::string_view e : {"default", "failed", "watchdog", "died", "stopped", "error"})
    if (key == e) return true;
  return false;
}

// A command entry: an object in a list, outside the framework file.
bool inCommand(const Context& c, std::string_view file) {
  return file != "framework.json" && c.frames.size() >= 2 && c.frames.back().object && !c.at(1)->object;
}

void values(Items& items, const Context& c, const Subject& s) {
  const std::string_view member = c.member();
  const Frame& top = c.frames.back();
  if (inCommand(c, s.name)) {
    const commands::Command* command = commands::findCommand(top.string("cmd"));
    if (member == "cmd") {
      for (const commands::Command& each : commands::allCommands()) items.add(each.name, Function);
    } else if (member == "app") {
      const bool processes = command == nullptr || command->app == commands::AppIn::Processes;
      const bool applications = command == nullptr || command->app == commands::AppIn::Applications;
      items.names(*s.system, processes, applications, false);
    } else if (member == "sysrunmode") {
      items.add({"RM_NORMAL", "RM_DOWNLOAD", "RM_DIAG"}, EnumMember);
    } else if (member == "ps_access") {
      items.add({"PS_ACC_NONE", "PS_ACC_READ", "PS_ACC_READ_WRITE"}, EnumMember);
    } else if (member == "event" && (command == nullptr || command->rule == commands::Rule::SystemEvent)) {
      items.add({"lowmem", "startup_complete"}, EnumMember);
    }
  } else if (member == "on_restart_failed") {
    items.add({"ignore", "reset"}, EnumMember);
  } else if (member == "node" && s.name == "framework.json" && c.frames.size() == 3 && c.at(1)->key == "procs") {
    items.names(*s.system, false, false, true);
  } else if (member == "launcher" && s.name == "uvkstartup.json" && c.frames.size() == 3) {
    items.names(*s.system, false, true, false);
  }
}

void keys(Items& items, const Context& c, const Subject& s) {
  const Frame& top = c.frames.back();
  const std::size_t depth = c.frames.size();
  if (inCommand(c, s.name)) {
    items.add("cmd", Property);
    const commands::Command* command = commands::findCommand(top.string("cmd"));
    for (const auto& [name, bit] : commands::allParams())
      if (command == nullptr || (command->params & bit) != 0) items.add(name, Property);
  } else if (s.name == "framework.json" && depth == 3 && c.at(1)->key == "procs") {
    for (const char* key : framework::kProcessKeys) items.add(key, Property);
  } else if (s.name == "servicemgr_restart.json") {
    const bool policy = (depth == 2 && top.key != "__default__") || (depth == 3 && c.at(1)->key == "__default__");
    if (depth == 1) {
      items.add({"abort_on_reset", "__default__"}, Property);
      items.names(*s.system, true, true, false);
    } else if (depth == 2 && top.key == "__default__") {
      items.add({"process", "application"}, Property);
    } else if (policy) {
      items.add({"restart_cnt", "restart_cnt_reset_time", "on_restart_failed", "enabled", "default", "failed", "watchdog",
                 "died", "stopped", "error"},
                Property);
    } else if (isEvent(top.key)) {
      items.add("commands", Property);
    }
  } else if (s.name == "uvkstartup.json" && top.key == "restart_param") {
    items.add({"restart_cnt", "restart_cnt_reset_time", "on_restart_failed"}, Property);
  }
}

}  // namespace

json hover(const Workspace& ws, const std::string& uri, Position at, Encoding encoding) {
  const Subject s = subject(ws, uri);
  if (s.system == nullptr) return nullptr;
  const std::string_view text = s.text;
  const std::size_t offset = offsetOf(text, at, encoding);
  const std::size_t start = lineStart(text, offset);
  std::size_t lineEnd = text.find('\n', start);
  if (lineEnd == std::string_view::npos) lineEnd = text.size();
  const uint32_t line = at.line + 1, column = columnOf(text.substr(start, lineEnd - start), offset - start, Encoding::Utf32) + 1;

  std::string contents;
  std::optional<support::Location> place;
  const support::SymbolIndex& index = s.system->symbols;
  for (uint32_t i = 0; i < index.declarations.size() && !place; ++i)
    if (index.declarations[i].file == s.name && holds(index.declarations[i].at, line, column)) {
      contents = describe(index, i);
      place = index.declarations[i].at;
    }
  for (const support::Use& u : index.uses)
    if (!place && u.file == s.name && holds(u.at, line, column) && u.declaration != support::Use::kUnresolved) {
      contents = describe(index, u.declaration);
      place = u.at;
    }
  std::pair<std::size_t, std::size_t> span;
  if (place) span = offsets(text, *place);
  if (!place) {
    const Context c = locate(text, offset);
    const bool closed = c.tokenEnd > c.tokenStart + 1 && text[c.tokenEnd - 1] == '"';
    if (c.inString && c.member() == "cmd" && inCommand(c, s.name))
      if (const commands::Command* command =
              commands::findCommand(text.substr(c.tokenStart + 1, c.tokenEnd - c.tokenStart - (closed ? 2 : 1)))) {
        contents = describe(*command);
        span = {c.tokenStart, c.tokenEnd};
      }
  }
  for (const support::Finding& f : s.system->findings[static_cast<std::size_t>(s.file)]) {
    const support::Rule* rule = support::findRule(f.rule);
    if (rule == nullptr || !holds(f.at, line, column)) continue;
    if (contents.empty()) span = offsets(text, f.at);
    contents += (contents.empty() ? "" : "\n\n---\n\n") + std::string(driver::ruleEntry(*rule));
  }
  if (contents.empty()) return nullptr;
  return {{"contents", {{"kind", "markdown"}, {"value", contents}}}, {"range", lspRange(text, span.first, span.second, encoding)}};
}

json completion(const Workspace& ws, const std::string& uri, Position at, Encoding encoding, bool sharedRange) {
  const Subject s = subject(ws, uri);
  if (s.system == nullptr) return nullptr;
  const std::string_view text = s.text;
  const Context c = locate(text, offsetOf(text, at, encoding));
  if (c.slot == Context::Slot::None) return nullptr;
  std::size_t from = c.tokenStart, to = c.tokenEnd;
  if (c.inString) {
    ++from;
    if (to > from && text[to - 1] == '"') --to;
  }
  Items items{c, lspRange(text, from, to, encoding), sharedRange, json::array(), {}};
  // Keys the object has already are not offered again.
  if (c.slot == Context::Slot::Key) items.seen.insert(c.frames.back().keys.begin(), c.frames.back().keys.end());
  if (c.slot == Context::Slot::Value) values(items, c, s);
  else keys(items, c, s);
  json list{{"isIncomplete", false}, {"items", std::move(items.list)}};
  if (sharedRange) list["itemDefaults"] = {{"editRange", std::move(items.range)}};
  return list;
}

}  // namespace lsp
