#include "lsp/protocol.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>

#include "driver/formats.h"
#include "engine/check.h"
#include "lsp/assist.h"
#include "lsp/code_actions.h"
#include "lsp/navigation.h"
#include "lsp/workspace.h"
#include "platform/tbx.h"

namespace lsp {

namespace {

using nlohmann::json;
using Clock = std::chrono::steady_clock;

// JSON-RPC and protocol error codes.
constexpr int kParseError = -32700;
constexpr int kInvalidRequest = -32600;
constexpr int kMethodNotFound = -32601;
constexpr int kInvalidParams = -32602;
constexpr int kNotInitialized = -32002;

struct Server {
  const Output& out;
  const ServerOptions& options;
  Workspace ws;
  Encoding encoding = Encoding::Utf16;
  enum class Stage { Fresh, Running, ShuttingDown } stage = Stage::Fresh;
  bool watchDynamically = false;
  bool sharedEditRange = false;  // completion items may share their range
  bool documentChanges = false;  // versioned edits in a workspace edit
  int nextId = 1;
  bool exited = false;
  std::optional<Clock::time_point> due;  // when the pending changes are checked
  Clock::time_point lastInput = Clock::now();
  Server(const Output& o, const ServerOptions& opts) : out(o), options(opts) {}
};

void log(const Server& s, std::string_view line) {
  if (s.options.log) s.options.log(line);
  else tbx::cerr << "[cfgcheck] " << line << tbx::endl;
}

void send(const Server& s, const json& message) {
  s.out(frame(message.dump(-1, ' ', false, json::error_handler_t::replace)));
}

void reply(const Server& s, const json& id, json result) {
  send(s, {{"jsonrpc", "2.0"}, {"id", id}, {"result", std::move(result)}});
}

void fail(const Server& s, const json& id, int code, std::string message) {
  send(s, {{"jsonrpc", "2.0"}, {"id", id}, {"error", {{"code", code}, {"message", std::move(message)}}}});
}

void notify(const Server& s, const char* method, json params) {
  send(s, {{"jsonrpc", "2.0"}, {"method", method}, {"params", std::move(params)}});
}

// Members of a given type; null when absent or of another type.
const json* member(const json& object, const char* key, json::value_t type) {
  if (!object.is_object()) return nullptr;
  auto it = object.find(key);
  if (it == object.end()) return nullptr;
  // integers read as numbers whatever their sign
  const bool integer = type == json::value_t::number_integer && it->is_number_integer();
  return integer || it->type() == type ? &*it : nullptr;
}
const json* object(const json& o, const char* key) { return member(o, key, json::value_t::object); }
const json* string(const json& o, const char* key) { return member(o, key, json::value_t::string); }
const json* integer(const json& o, const char* key) { return member(o, key, json::value_t::number_integer); }

std::optional<Position> position(const json& o) {
  const json* line = integer(o, "line");
  const json* character = integer(o, "character");
  if (line == nullptr || character == nullptr || *line < 0 || *character < 0) return std::nullopt;
  auto clamp = [](const json& n) { return n.get<uint64_t>() > UINT32_MAX ? UINT32_MAX : n.get<uint32_t>(); };
  return Position{clamp(*line), clamp(*character)};
}

void schedule(Server& s) {
  if (!s.due) s.due = Clock::now() + std::chrono::milliseconds(s.options.delayMs);
}

// --- Diagnostics ------------------------------------------------------------

// Our columns count from 1, the protocol's from 0.
json lspPosition(std::string_view text, uint32_t line, uint32_t column, uint32_t utf16, Encoding encoding) {
  column = column > 0 ? column - 1 : 0;
  utf16 = utf16 > 0 ? utf16 - 1 : 0;
  if (encoding == Encoding::Utf16) return {{"line", line}, {"character", utf16}};
  if (encoding == Encoding::Utf32) return {{"line", line}, {"character", column}};
  // UTF-8 columns are bytes: counted in the text.
  const std::size_t lineStart = offsetOf(text, Position{line, 0}, Encoding::Utf8);
  const std::size_t at = offsetOf(text, Position{line, column}, Encoding::Utf32);
  return {{"line", line}, {"character", at - lineStart}};
}

}  // namespace

json lspRange(std::string_view text, support::Location at, Encoding encoding) {
  if (at.line == 0) return {{"start", {{"line", 0}, {"character", 0}}}, {"end", {{"line", 0}, {"character", 0}}}};
  at = support::spanned(at);
  return {{"start", lspPosition(text, at.line - 1, at.column, at.utf16, encoding)},
          {"end", lspPosition(text, at.line - 1, at.endColumn, at.endUtf16, encoding)}};
}

namespace {

json range(const CheckedFile& file, support::Location at, Encoding encoding) { return lspRange(file.text, at, encoding); }

json diagnostic(const support::Finding& f, const CheckedFile& file, const std::vector<CheckedFile>& run,
                Encoding encoding) {
  json d{{"range", range(file, f.at, encoding)},
         {"severity", f.severity == support::Severity::Error ? 1 : 3},
         {"code", f.rule},
         {"source", "cfgcheck"},
         {"message", driver::fullMessage(f)}};
  if (const support::Rule* rule = support::findRule(f.rule)) d["codeDescription"] = {{"href", driver::ruleHelpUri(*rule)}};
  json related = json::array();
  for (const support::Related& r : f.related) {
    const CheckedFile* there = r.file == file.name ? &file : nullptr;
    for (const CheckedFile& other : run)
      if (there == nullptr && other.folder == file.folder && other.name == r.file) there = &other;
    if (there != nullptr)
      related.push_back({{"location", {{"uri", there->uri}, {"range", range(*there, r.at, encoding)}}}, {"message", r.message}});
  }
  if (!related.empty()) d["relatedInformation"] = std::move(related);
  if (json data = fixData(f); !data.is_null()) d["data"] = std::move(data);
  return d;
}

void publish(Server& s) {
  s.due.reset();
  const std::vector<CheckedFile> run = runDue(s.ws);
  for (const CheckedFile& file : run) {
    json diagnostics = json::array();
    for (const support::Finding& f : file.findings) diagnostics.push_back(diagnostic(f, file, run, s.encoding));
    json params{{"uri", file.uri}, {"diagnostics", std::move(diagnostics)}};
    if (file.version) params["version"] = *file.version;
    notify(s, "textDocument/publishDiagnostics", std::move(params));
  }
}

// --- Lifecycle --------------------------------------------------------------

// `{"cfgcheck": {"strict": true}}`; a section without `strict` restores the command line's default.
bool applySettings(Server& s, const json& settings) {
  const json* ours = object(settings, "cfgcheck");
  if (ours == nullptr) return false;
  const json* strict = member(*ours, "strict", json::value_t::boolean);
  const bool before = s.ws.strict;
  s.ws.strict = strict != nullptr ? strict->get<bool>() : s.options.strict;
  return s.ws.strict != before;
}

void initialize(Server& s, const json& id, const json& params) {
  const json* capabilities = object(params, "capabilities");
  if (capabilities == nullptr) return fail(s, id, kInvalidParams, "initialize needs its capabilities");
  s.encoding = Encoding::Utf16;
  if (const json* general = object(*capabilities, "general")) {
    const json* offered = member(*general, "positionEncodings", json::value_t::array);
    bool utf8 = false, utf32 = false;
    for (const json& e : offered != nullptr ? *offered : json::array()) {
      utf8 |= e == "utf-8";
      utf32 |= e == "utf-32";
    }
    s.encoding = utf8 ? Encoding::Utf8 : utf32 ? Encoding::Utf32 : Encoding::Utf16;
  }
  if (const json* workspace = object(*capabilities, "workspace"))
    if (const json* watched = object(*workspace, "didChangeWatchedFiles"))
      if (const json* dynamic = member(*watched, "dynamicRegistration", json::value_t::boolean))
        s.watchDynamically = dynamic->get<bool>();
  if (const json* document = object(*capabilities, "textDocument"))
    if (const json* completion = object(*document, "completion"))
      if (const json* list = object(*completion, "completionList"))
        if (const json* defaults = member(*list, "itemDefaults", json::value_t::array))
          for (const json& d : *defaults) s.sharedEditRange |= d == "editRange";
  if (const json* workspace = object(*capabilities, "workspace"))
    if (const json* edit = object(*workspace, "workspaceEdit"))
      s.documentChanges = edit->value("documentChanges", false) == true;
  if (const auto options = params.find("initializationOptions"); options != params.end()) applySettings(s, *options);
  static constexpr const char* kNames[] = {"utf-8", "utf-16", "utf-32"};
  s.stage = Server::Stage::Running;
  reply(s, id,
        {{"capabilities",
          {{"positionEncoding", kNames[static_cast<int>(s.encoding)]},
           {"textDocumentSync", {{"openClose", true}, {"change", 2}, {"save", {{"includeText", false}}}}},
           {"hoverProvider", true},
           {"completionProvider", {{"triggerCharacters", {"\""}}}},
           {"definitionProvider", true},
           {"referencesProvider", true},
           {"renameProvider", {{"prepareProvider", true}}},
           {"documentSymbolProvider", true},
           {"codeActionProvider", {{"codeActionKinds", {"quickfix"}}}}}},
         {"serverInfo", {{"name", "cfgcheck"}, {"version", driver::kVersion}}}});
}

// The known files of every folder, wherever the client looks.
void watchKnownFiles(Server& s) {
  if (!s.watchDynamically) return;
  json watcher{{"globPattern", "**/{framework,servicemgr,servicemgr_restart,uvkstartup}.json"}};
  send(s, {{"jsonrpc", "2.0"},
           {"id", s.nextId++},
           {"method", "client/registerCapability"},
           {"params",
            {{"registrations",
              {{{"id", "cfgcheck-known-files"},
                {"method", "workspace/didChangeWatchedFiles"},
                {"registerOptions", {{"watchers", {watcher}}}}}}}}}});
}

// --- Documents --------------------------------------------------------------

bool didOpen(Server& s, const json& params) {
  const json* doc = object(params, "textDocument");
  const json *uri = doc ? string(*doc, "uri") : nullptr, *text = doc ? string(*doc, "text") : nullptr;
  const json* version = doc ? integer(*doc, "version") : nullptr;
  if (uri == nullptr || text == nullptr || version == nullptr) return false;
  const json* language = string(*doc, "languageId");
  const std::string& name = uri->get_ref<const std::string&>();
  Document d;
  d.text = text->get<std::string>();
  d.version = version->get<int64_t>();
  d.json = (language != nullptr && *language == "json") || name.ends_with(".json");
  open(s.ws, name, std::move(d));
  return true;
}

bool didChange(Server& s, const json& params) {
  const json* doc = object(params, "textDocument");
  const json *uri = doc ? string(*doc, "uri") : nullptr, *version = doc ? integer(*doc, "version") : nullptr;
  const json* changes = member(params, "contentChanges", json::value_t::array);
  if (uri == nullptr || version == nullptr || changes == nullptr) return false;
  // All or nothing: a bad change leaves the text as it was.
  struct Edit {
    std::optional<Position> start, end;
    const std::string* text;
  };
  std::vector<Edit> edits;
  for (const json& change : *changes) {
    const json* text = string(change, "text");
    if (text == nullptr) return false;
    Edit edit{std::nullopt, std::nullopt, &text->get_ref<const std::string&>()};
    if (change.contains("range")) {
      const json* r = object(change, "range");
      const json *start = r ? object(*r, "start") : nullptr, *end = r ? object(*r, "end") : nullptr;
      if (start == nullptr || end == nullptr) return false;
      edit.start = position(*start);
      edit.end = position(*end);
      if (!edit.start || !edit.end) return false;
    }
    edits.push_back(edit);
  }
  auto it = s.ws.documents.find(uri->get<std::string>());
  if (it == s.ws.documents.end()) return true;  // not open: nothing to change
  std::string& text = it->second.text;
  for (const Edit& e : edits) {
    if (!e.start) {
      text = *e.text;
      continue;
    }
    std::size_t from = offsetOf(text, *e.start, s.encoding), to = offsetOf(text, *e.end, s.encoding);
    if (to < from) std::swap(from, to);
    text.replace(from, to - from, *e.text);
  }
  it->second.version = version->get<int64_t>();
  changed(s.ws, it->first);
  return true;
}

const json* documentUri(const json& params) {
  const json* doc = object(params, "textDocument");
  return doc ? string(*doc, "uri") : nullptr;
}

bool didClose(Server& s, const json& params) {
  const json* uri = documentUri(params);
  if (uri != nullptr) close(s.ws, uri->get<std::string>());
  return uri != nullptr;
}

bool didSave(Server& s, const json& params) {
  const json* uri = documentUri(params);
  if (uri == nullptr) return false;
  // Saving may have followed changes to the others that the client made on disk.
  const std::string path = uriPath(uri->get<std::string>());
  const std::size_t slash = path.rfind('/');
  for (const char* name : engine::knownFileNames())
    if (slash != std::string::npos) changedOnDisk(s.ws, pathUri(path.substr(0, slash + 1) + name));
  return true;
}

bool didChangeWatchedFiles(Server& s, const json& params) {
  const json* changes = member(params, "changes", json::value_t::array);
  if (changes == nullptr) return false;
  for (const json& change : *changes)
    if (const json* uri = string(change, "uri")) changedOnDisk(s.ws, uri->get<std::string>());
  return true;
}

bool didChangeConfiguration(Server& s, const json& params) {
  if (!params.is_object()) return false;
  if (const auto settings = params.find("settings"); settings != params.end() && applySettings(s, *settings))
    allDue(s.ws);
  return true;
}

// --- Hover and completion ----------------------------------------------------

// From the last run: a request checks nothing again, however large the system.
void assist(Server& s, const std::string& method, const json& id, const json& params) {
  const json* uri = documentUri(params);
  const json* at = object(params, "position");
  const std::optional<Position> where = at != nullptr ? position(*at) : std::nullopt;
  if (uri == nullptr || !where) return fail(s, id, kInvalidParams, method + " needs a document and a position");
  const std::string& name = uri->get_ref<const std::string&>();
  indexStale(s.ws);
  reply(s, id, method == "textDocument/hover" ? hover(s.ws, name, *where, s.encoding) : completion(s.ws, name, *where, s.encoding, s.sharedEditRange));
}

// --- Dispatch ---------------------------------------------------------------

void request(Server& s, const std::string& method, const json& id, const json& params) {
  if (s.stage == Server::Stage::Fresh && method != "initialize")
    return fail(s, id, kNotInitialized, "the server is not initialized");
  if (s.stage == Server::Stage::ShuttingDown) return fail(s, id, kInvalidRequest, "the server is shutting down");
  if (method == "initialize") {
    if (s.stage != Server::Stage::Fresh) return fail(s, id, kInvalidRequest, "the server is initialized already");
    if (!params.is_object()) return fail(s, id, kInvalidParams, "initialize takes an object");
    return initialize(s, id, params);
  }
  if (method == "shutdown") {
    // What was changed last is checked before the client goes.
    if (s.due) publish(s);
    s.stage = Server::Stage::ShuttingDown;
    return reply(s, id, nullptr);
  }
  if (method == "textDocument/hover" || method == "textDocument/completion") return assist(s, method, id, params);
  if (isNavigation(method)) {
    if (s.due) publish(s);  // the names as the client sees them now
    indexStale(s.ws);
    Answer a = navigate(s.ws, method, params, s.encoding, s.documentChanges);
    return a.error != 0 ? fail(s, id, a.error, std::move(a.message)) : reply(s, id, std::move(a.result));
  }
  if (method == "textDocument/codeAction") return reply(s, id, codeActions(params));
  fail(s, id, kMethodNotFound, "unknown method " + method);
}

void notification(Server& s, const std::string& method, const json& params) {
  if (method == "exit") {
    s.exited = true;
    return;
  }
  if (s.stage == Server::Stage::Fresh) return;
  using Handler = bool (*)(Server&, const json&);
  static const std::pair<const char*, Handler> kHandlers[] = {
      {"textDocument/didOpen", didOpen},
      {"textDocument/didChange", didChange},
      {"textDocument/didClose", didClose},
      {"textDocument/didSave", didSave},
      {"workspace/didChangeWatchedFiles", didChangeWatchedFiles},
      {"workspace/didChangeConfiguration", didChangeConfiguration},
  };
  if (method == "initialized") return watchKnownFiles(s);
  for (const auto& [name, handler] : kHandlers) {
    if (method != name) continue;
    if (!handler(s, params)) log(s, "ignored " + method + ": wrong params");
    if (anyDue(s.ws)) schedule(s);
    return;
  }
  // Anything else, $/cancelRequest and the other $/ notifications included, needs no answer.
}

void handle(Server& s, const std::string& body) {
  const json message = json::parse(body, nullptr, false);
  if (message.is_discarded()) return fail(s, nullptr, kParseError, "the message is not JSON");
  const json* method = string(message, "method");
  const bool hasId = message.is_object() && message.contains("id");
  const json id = hasId ? message["id"] : json(nullptr);
  const bool goodId = id.is_number_integer() || id.is_string() || id.is_null();
  // A response to our own request (the watcher's registration) needs nothing.
  if (hasId && goodId && method == nullptr && (message.contains("result") || message.contains("error"))) return;
  if (method == nullptr || !goodId) return fail(s, goodId ? id : json(nullptr), kInvalidRequest, "not a request");
  const auto params = message.find("params");
  const json none = json::object();
  const json& given = params != message.end() ? *params : none;
  if (!given.is_object() && !given.is_array()) {
    if (hasId) fail(s, id, kInvalidParams, "params must be an object or an array");
    return;
  }
  if (hasId) request(s, method->get<std::string>(), id, given);
  else notification(s, method->get<std::string>(), given);
}

}  // namespace

int serve(const Input& in, const Output& out, const ServerOptions& options) {
  Server s(out, options);
  s.ws.strict = options.strict;
  s.ws.readFile = options.readFile;
  Framer framer;
  std::string body;
  std::vector<char> buffer(64 * 1024);
  while (!s.exited) {
    const Take taken = take(framer, body);
    if (taken == Take::Message) {
      handle(s, body);
      continue;
    }
    if (taken == Take::Fault) {
      log(s, "dropped " + body);
      continue;
    }
    // Idle: the symbol index of the last check is built now.
    // The symbol index waits for a pause in the typing: built between two
    // keystrokes, it would hold up the second one's findings.
    int timeout = -1;
    if (anyStale(s.ws)) {
      const auto idle = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - s.lastInput).count();
      timeout = static_cast<int>(std::max<long long>(0, s.options.indexAfterMs - idle));
    }
    if (s.due) {
      const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*s.due - Clock::now()).count();
      if (left <= 0) {
        publish(s);
        continue;
      }
      // A burst is over once the input pauses: check then, not at the deadline.
      timeout = static_cast<int>(std::min<long long>(left, s.options.quietMs));
    }
    const long n = in.read(buffer.data(), buffer.size(), timeout);
    if (n == 0) break;
    if (n < 0 && s.due) publish(s);
    else if (n < 0) indexStale(s.ws);
    else {
      s.lastInput = Clock::now();
      feed(framer, buffer.data(), static_cast<std::size_t>(n));
    }
  }
  return s.stage == Server::Stage::ShuttingDown ? 0 : 1;
}

}  // namespace lsp
