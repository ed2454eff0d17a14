// What the server knows of the client's files: the open documents, the
// systems they belong to, and the checks run over them.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/report.h"
#include "support/symbols.h"

namespace lsp {

// How the client counts the characters of a position.
enum class Encoding { Utf8, Utf16, Utf32 };

struct Position {
  uint32_t line = 0;
  uint32_t character = 0;
};

// The byte offset of `at` in `text` (a character past its line's end is the
// line's end; a line past the text's end is its end).
std::size_t offsetOf(std::string_view text, Position at, Encoding encoding);
// The column (0-based, in `encoding`) of the byte `offset` of its line.
uint32_t columnOf(std::string_view line, std::size_t offset, Encoding encoding);

// file:// URIs and the paths they name; empty for any other URI.
std::string uriPath(std::string_view uri);
std::string pathUri(std::string_view path);

struct Document {
  std::string text;
  int64_t version = 0;
  std::string path;  // empty: no file (an unsaved buffer)
  bool json = false;  // the client says it is JSON
};

// The four known files of one folder; each is an open document's text, else
// its text on disk (read when first needed and again when it changes).
struct System {
  std::array<std::optional<std::string>, 4> disk;  // none: not on disk
  std::array<bool, 4> diskRead{};
  std::array<std::string, 4> published;  // the URI last given findings, per file
  // Of the last run's texts; built after the diagnostics are out, when the
  // input is idle or a request needs it, so that an edit's findings wait
  // for nothing but the checks.
  support::SymbolIndex symbols;
  bool symbolsStale = false;
  std::array<std::vector<support::Finding>, 4> findings;  // of the last run, per file
};

// One file's findings of a run, for the client.
struct CheckedFile {
  std::string uri;
  std::string name;    // as the findings name it
  std::string folder;  // of its system; empty for another document
  std::string text;
  std::optional<int64_t> version;  // an open document's
  std::vector<support::Finding> findings;
};

struct Workspace {
  bool strict = false;
  std::map<std::string, Document> documents;  // by URI
  std::map<std::string, System> systems;      // by folder
  std::set<std::string> dueSystems;           // folders to check again
  std::set<std::string> dueDocuments;         // other documents to check again
  std::set<std::string> reported;             // other documents' URIs given findings
  std::vector<std::string> cleared;           // URIs whose findings are gone
  // Reads a file not open; false when there is none. The command line's reader by default.
  std::function<bool(const std::string& path, std::string& text)> readFile;
};

// The index of `name` among the four known files; -1 for any other name.
int knownIndex(std::string_view name);

void open(Workspace& ws, const std::string& uri, Document doc);
void close(Workspace& ws, const std::string& uri);
// The document's text or version changed.
void changed(Workspace& ws, const std::string& uri);
// A file changed on disk (saved, or seen by the client's watcher).
void changedOnDisk(Workspace& ws, const std::string& uri);
// Every system and document is checked again (the settings changed).
void allDue(Workspace& ws);
bool anyDue(const Workspace& ws);
// Brings every system's symbol index up to the texts last checked.
void indexStale(Workspace& ws);
bool anyStale(const Workspace& ws);

// Runs the checks that are due; every file that has findings or had them.
std::vector<CheckedFile> runDue(Workspace& ws);

}  // namespace lsp
