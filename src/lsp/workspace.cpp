#include "lsp/workspace.h"

#include <filesystem>
#include <iterator>
#include <memory>

#include "driver/json_output.h"
#include "engine/check.h"
#include "platform/location.h"
#include "platform/read_file.h"

namespace lsp {

namespace {

std::string_view baseName(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

std::string folderOf(std::string_view path) {
  const std::size_t slash = path.rfind('/');
  return std::string(slash == std::string_view::npos ? std::string_view() : path.substr(0, slash));
}

// The folder whose system holds the file at `path`, or empty.
std::string systemFolder(const std::string& path) {
  if (path.empty() || knownIndex(baseName(path)) < 0) return {};
  return folderOf(path);
}

bool readFromDisk(const std::string& path, std::string& text) {
  std::error_code ec;
  if (!std::filesystem::is_regular_file(path, ec)) return false;
  auto buffer = std::make_unique<kit::config::InputBuffer>();
  std::size_t len = 0;
  std::string reason;
  if (!kit::config::readWholeFile(path.c_str(), *buffer, len, reason)) return false;
  text.assign(buffer->data, len);
  return true;
}

// What other documents are called in their one-file runs: no known name, so
// that only their syntax is checked, whatever their own name.
constexpr const char* kOtherName = "document";

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace

int knownIndex(std::string_view name) {
  for (std::size_t i = 0; i < engine::knownFileNames().size(); ++i)
    if (name == engine::knownFileNames()[i]) return static_cast<int>(i);
  return -1;
}

std::size_t offsetOf(std::string_view text, Position at, Encoding encoding) {
  std::size_t start = 0;
  for (uint32_t line = 0; line < at.line; ++line) {
    start = text.find('\n', start);
    if (start == std::string_view::npos) return text.size();
    ++start;
  }
  std::size_t end = text.find('\n', start);
  if (end == std::string_view::npos) end = text.size();
  if (end > start && text[end - 1] == '\r') --end;
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  std::size_t at_ = start;
  for (uint32_t units = 0; at_ < end && units < at.character;) {
    int length = 1;
    char32_t cp = p[at_];
    if (p[at_] >= 0xC0) cp = kit::config::decodeUtf8(p + at_, p + end, length);
    units += encoding == Encoding::Utf8 ? static_cast<uint32_t>(length)
             : encoding == Encoding::Utf16 && cp > 0xFFFF ? 2
                                                          : 1;
    at_ += static_cast<std::size_t>(length);
    // continuation bytes that follow no lead byte count as nothing
    while (at_ < end && (p[at_] & 0xC0) == 0x80) ++at_;
  }
  return at_ < end ? at_ : end;
}

uint32_t columnOf(std::string_view line, std::size_t offset, Encoding encoding) {
  if (offset > line.size()) offset = line.size();
  if (encoding == Encoding::Utf8) return static_cast<uint32_t>(offset);
  kit::config::Location at = kit::config::kTextStart;
  kit::config::advance(at, line.data(), line.data() + offset, line.data() + line.size());
  return (encoding == Encoding::Utf16 ? at.utf16 : at.column) - 1;
}

std::string uriPath(std::string_view uri) {
  constexpr std::string_view kScheme = "file://";
  if (uri.size() < kScheme.size() || !std::equal(kScheme.begin(), kScheme.end(), uri.begin(), [](char a, char b) {
        return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b - 'A' + 'a') : b);
      }))
    return {};
  uri.remove_prefix(kScheme.size());
  const std::size_t slash = uri.find('/');
  if (slash == std::string_view::npos) return {};
  const std::string_view host = uri.substr(0, slash);
  if (!host.empty() && host != "localhost") return {};
  uri = uri.substr(slash, uri.find_first_of("?#") - slash);
  std::string path;
  for (std::size_t i = 0; i < uri.size(); ++i) {
    if (uri[i] != '%') {
      path += uri[i];
      continue;
    }
    const int hi = i + 2 < uri.size() ? hexDigit(uri[i + 1]) : -1, lo = hi >= 0 ? hexDigit(uri[i + 2]) : -1;
    if (lo < 0 || (hi == 0 && lo == 0)) return {};
    path += static_cast<char>(hi * 16 + lo);
    i += 2;
  }
  return path;
}

std::string pathUri(std::string_view path) { return "file://" + driver::uriEscaped(path); }

void open(Workspace& ws, const std::string& uri, Document doc) {
  doc.path = uriPath(uri);
  const std::string folder = systemFolder(doc.path);
  ws.documents[uri] = std::move(doc);
  if (!folder.empty()) {
    ws.systems[folder];
    ws.dueSystems.insert(folder);
  } else if (ws.documents[uri].json) {
    ws.dueDocuments.insert(uri);
  }
}

void changed(Workspace& ws, const std::string& uri) {
  auto doc = ws.documents.find(uri);
  if (doc == ws.documents.end()) return;
  const std::string folder = systemFolder(doc->second.path);
  if (!folder.empty()) ws.dueSystems.insert(folder);
  else if (doc->second.json) ws.dueDocuments.insert(uri);
}

void close(Workspace& ws, const std::string& uri) {
  auto doc = ws.documents.find(uri);
  if (doc == ws.documents.end()) return;
  const std::string path = doc->second.path;
  const std::string folder = systemFolder(path);
  ws.documents.erase(doc);
  ws.dueDocuments.erase(uri);
  if (folder.empty()) {
    if (ws.reported.erase(uri) != 0) ws.cleared.push_back(uri);
    return;
  }
  System& system = ws.systems[folder];
  for (const auto& [other, d] : ws.documents)
    if (systemFolder(d.path) == folder) {
      // its text is the one on disk again
      system.diskRead[static_cast<std::size_t>(knownIndex(baseName(path)))] = false;
      ws.dueSystems.insert(folder);
      return;
    }
  // The last open file of its system: nobody looks at the others any more.
  for (const std::string& published : system.published)
    if (!published.empty()) ws.cleared.push_back(published);
  ws.systems.erase(folder);
  ws.dueSystems.erase(folder);
}

void changedOnDisk(Workspace& ws, const std::string& uri) {
  const std::string path = uriPath(uri);
  const std::string folder = systemFolder(path);
  auto system = ws.systems.find(folder);
  if (folder.empty() || system == ws.systems.end()) return;
  system->second.diskRead[static_cast<std::size_t>(knownIndex(baseName(path)))] = false;
  ws.dueSystems.insert(folder);
}

void allDue(Workspace& ws) {
  for (const auto& [folder, system] : ws.systems) ws.dueSystems.insert(folder);
  for (const auto& [uri, doc] : ws.documents)
    if (doc.json && systemFolder(doc.path).empty()) ws.dueDocuments.insert(uri);
}

bool anyDue(const Workspace& ws) { return !ws.dueSystems.empty() || !ws.dueDocuments.empty() || !ws.cleared.empty(); }

namespace {

// Runs the engine over a system's files, as a run in their folder would
// (by their bare names); `symbols`, when given, is filled.
void checkTexts(const Workspace& ws, const std::vector<CheckedFile>& files, support::SymbolIndex* symbols,
                const engine::Sink& sink) {
  std::vector<engine::Source> sources;
  for (const CheckedFile& file : files) {
    engine::Source source;
    source.path = file.name;
    source.text = file.text;
    sources.push_back(source);
  }
  engine::Options options;
  options.format = support::Format::Json;
  options.strict = ws.strict;
  options.partial = true;
  options.symbols = symbols;
  engine::check(std::span<const engine::Source>(sources), options, sink);
}

// The files of the system of `folder` in the engine's order, each an open
// document's text, else its text on disk (read once); no URI when neither.
std::vector<CheckedFile> systemFiles(Workspace& ws, const std::string& folder, System& system) {
  std::vector<CheckedFile> files;
  for (const char* name : engine::knownFilesInCheckOrder()) {
    const auto i = static_cast<std::size_t>(knownIndex(name));
    CheckedFile file;
    file.name = name;
    file.folder = folder;
    const std::string path = folder + "/" + file.name;
    for (const auto& [uri, doc] : ws.documents)
      if (doc.path == path) {
        file.uri = uri;
        file.text = doc.text;
        file.version = doc.version;
      }
    if (file.uri.empty()) {
      if (!system.diskRead[i]) {
        std::string text;
        const bool present = (ws.readFile ? ws.readFile : readFromDisk)(path, text);
        system.disk[i] = present ? std::optional<std::string>(std::move(text)) : std::nullopt;
        system.diskRead[i] = true;
      }
      if (system.disk[i]) {
        file.uri = pathUri(path);
        file.text = *system.disk[i];
      }
    }
    files.push_back(std::move(file));
  }
  return files;
}

// Checks the system of `folder`: every file of it that is open or on disk.
void checkSystem(Workspace& ws, const std::string& folder, std::vector<CheckedFile>& out) {
  System& system = ws.systems[folder];
  std::vector<CheckedFile> files;
  for (CheckedFile& file : systemFiles(ws, folder, system)) {
    const auto i = static_cast<std::size_t>(knownIndex(file.name));
    // A file gone, or known by another URI now, loses what it was given.
    if (!system.published[i].empty() && system.published[i] != file.uri) ws.cleared.push_back(system.published[i]);
    system.published[i] = file.uri;
    if (!file.uri.empty()) files.push_back(std::move(file));
  }
  engine::Sink sink;
  sink.finding = [&files](support::Finding&& f) {
    for (CheckedFile& file : files)
      if (file.name == f.file) file.findings.push_back(std::move(f));
  };
  checkTexts(ws, files, nullptr, sink);
  system.findings = {};
  for (CheckedFile& file : files) {
    system.findings[static_cast<std::size_t>(knownIndex(file.name))] = file.findings;
    out.push_back(std::move(file));
  }
  system.symbolsStale = true;
}

void checkDocument(Workspace& ws, const std::string& uri, std::vector<CheckedFile>& out) {
  auto doc = ws.documents.find(uri);
  if (doc == ws.documents.end()) return;
  CheckedFile file{uri, kOtherName, {}, doc->second.text, doc->second.version, {}};
  engine::Source source;
  source.path = kOtherName;
  source.text = file.text;
  engine::Options options;
  options.format = support::Format::Json;
  engine::Sink sink;
  sink.finding = [&file](support::Finding&& f) { file.findings.push_back(std::move(f)); };
  engine::check(std::span<const engine::Source>(&source, 1), options, sink);
  ws.reported.insert(uri);
  out.push_back(std::move(file));
}

}  // namespace

void indexStale(Workspace& ws) {
  for (auto& [folder, system] : ws.systems) {
    if (!system.symbolsStale) continue;
    system.symbolsStale = false;
    std::vector<CheckedFile> files = systemFiles(ws, folder, system);
    std::erase_if(files, [](const CheckedFile& file) { return file.uri.empty(); });
    system.symbols = support::SymbolIndex{};
    checkTexts(ws, files, &system.symbols, engine::Sink{});
  }
}

bool anyStale(const Workspace& ws) {
  for (const auto& [folder, system] : ws.systems)
    if (system.symbolsStale) return true;
  return false;
}

std::vector<CheckedFile> runDue(Workspace& ws) {
  std::vector<CheckedFile> out;
  for (const std::string& folder : ws.dueSystems) checkSystem(ws, folder, out);
  for (const std::string& uri : ws.dueDocuments) checkDocument(ws, uri, out);
  ws.dueSystems.clear();
  ws.dueDocuments.clear();
  // What was cleared and given findings again in the same run keeps them.
  std::vector<CheckedFile> cleared;
  for (const std::string& uri : ws.cleared) {
    bool given = false;
    for (const CheckedFile& file : out) given |= file.uri == uri;
    for (const CheckedFile& file : cleared) given |= file.uri == uri;
    if (!given) cleared.push_back(CheckedFile{uri, {}, {}, {}, std::nullopt, {}});
  }
  ws.cleared.clear();
  out.insert(out.begin(), std::make_move_iterator(cleared.begin()), std::make_move_iterator(cleared.end()));
  return out;
}

}  // namespace lsp
