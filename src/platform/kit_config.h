// Stand-in for the framework's JSON component: a parser object that owns one
// parsed document, and the value interface the checks read it through.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "platform/location.h"
#include "platform/run_scope.h"

namespace kit::config {

struct Document;
struct Tree;
struct ValueAccess;
class bcf_iterator;

// Where a failed parse found the fault: unknown when the file could not be
// read or the fault has no place. A text that ends too early also names the
// innermost bracket it leaves open.
struct ParseFault {
  Location at;
  Location open;
  char bracket = 0;  // '{' or '[' at `open`; 0 when none is left open
};

// One JSON value of a parsed document, or the absent value. Cheap to copy;
// valid while the parser that produced it lives, except an entry of a large
// top-level list (see parseFile): that one until the list is read elsewhere,
// a few hundred KB away, or another large list of any file is read.
class Value {
 public:
  Value() = default;  // the absent value

  // The member `key`; absent for a missing key or a value that is no object.
  // With repeated keys the first occurrence wins.
  Value get(std::string_view key) const;
  bool isPresent() const { return m_doc != nullptr; }
  bool isDictionary() const;
  bool isArray() const;
  // Number of elements of an array; 0 for anything else.
  uint32_t size() const;
  // Element `index` of an array; absent when out of range or no array.
  Value at(uint32_t index) const;

  // Each returns 0 when the value has that kind and was read into `out`.
  // An integer must be written without fraction or exponent and fit 32 bits.
  int getInt(int32_t& out) const;
  int getString(std::string& out) const;
  // The same without a copy; the text lives as long as the parser.
  int getString(std::string_view& out) const;
  int getBool(bool& out) const;

  // Entries of an object in file order, repeated keys included; equal
  // iterators for anything else.
  bcf_iterator begin() const;
  bcf_iterator end() const;

 private:
  friend class bcf_iterator;
  friend struct Tree;
  friend struct ValueAccess;
  Value(Tree* tree, uint64_t raw0, uint64_t raw1) : m_doc(tree), m_raw{raw0, raw1} {}

  Tree* m_doc = nullptr;
  uint64_t m_raw[2] = {0, 0};  // the parser's own element handle
};

using Dictionary = Value;
using Array = Value;

// One entry of an object walk.
struct Entry {
  std::string_view key;
  Value value;
};

class bcf_iterator {
 public:
  bool operator==(const bcf_iterator& other) const { return m_raw[1] == other.m_raw[1]; }
  bool operator!=(const bcf_iterator& other) const { return m_raw[1] != other.m_raw[1]; }
  bcf_iterator& operator++();
  std::string_view key() const;
  Value value() const;
  Entry operator*() const { return Entry{key(), value()}; }

 private:
  friend class Value;
  friend struct ValueAccess;
  Tree* m_doc = nullptr;
  uint64_t m_raw[2] = {0, 0};  // the parser's own iterator
};

class JSONParser {
 public:
  // A caller that keeps values from the entries of large lists while it reads
  // other entries asks for `Whole` documents (see parseFile). A caller that
  // reads the top-level object only by walking its members once, in order,
  // may have those parsed in batches too (`BatchedMembers`).
  enum Lists { Batched, Whole, BatchedMembers };
  explicit JSONParser(Lists lists = Batched);
  ~JSONParser();
  JSONParser(const JSONParser&) = delete;
  JSONParser& operator=(const JSONParser&) = delete;

  // Reads and parses `path`. Returns 0 on success; otherwise the reason is in
  // tbx::ErrorStorage. `dict` is set to the top-level object, or null when the
  // top level is something else. A line longer than `maxLineLength` bytes
  // (0: no limit) fails the parse.
  // For a `Batched` parser, a large file whose top level is an object has
  // the entries of its large lists (arrays that are members of the top level)
  // parsed a few hundred KB at a time as they are read, so that the document
  // never has to be held whole: its memory is that of the file plus the rest
  // of the document.
  int parseFile(const char* path, Dictionary*& dict, Array*& array, uint32_t maxLineLength);
  // The same verdict and reason as parseFile, without building the document:
  // for a file nothing will look into, at about half the memory.
  int checkSyntax(const char* path, uint32_t maxLineLength);
  // The same over a text in memory, the file's bytes. A `padded` text has
  // simdjson::SIMDJSON_PADDING zeros after it and may be written to during the
  // parse and while values are read (each byte is put back at once); it is
  // parsed in place and must live as long as the document. Any other is copied.
  int parseText(std::string_view text, bool padded, Dictionary*& dict, Array*& array, uint32_t maxLineLength);
  int checkTextSyntax(std::string_view text, bool padded, uint32_t maxLineLength);
  // Gives the pages of a mapped file's text back to the page cache; what
  // reads the text again faults them back in. The values live elsewhere.
  void giveBackText() const;
  // The top-level value of the last parse, whatever its kind; absent after a
  // failure.
  const Value& root() const { return m_top; }
  // Where the last parse failed; unknown after a success.
  const ParseFault& fault() const { return m_fault; }

 private:
  // Reads `path` (or takes `text` when it is null) and applies the line limit.
  int load(const char* path, std::string_view text, bool padded, uint32_t maxLineLength, const char*& buf, size_t& len);
  int parse(const char* path, std::string_view text, bool padded, Dictionary*& dict, Array*& array, uint32_t maxLineLength);
  int syntax(const char* path, std::string_view text, bool padded, uint32_t maxLineLength);
  int fail(int err, const char* buf, size_t len);

  std::unique_ptr<Document> m_doc;
  Value m_top;
  ParseFault m_fault;
  Lists m_lists;
};

// Syntax checks keep their room from one file to the next, since fresh memory
// is slow to come by; a run gives it back when its files are all read.
void releaseSyntaxRoom();

// Bytes of a top-level list parsed at a time (default 256 KiB). Tests set it
// small to take that path with small files.
void setListBatchBytes(size_t bytes);

// Positions cost a walk over the file; a run that prints none leaves them off.
struct ValueSettings {
  bool positionsWanted = false;
};
using ValueScope = platform::RunScope<ValueSettings>;
void setPositionsWanted(bool on);
bool positionsWanted();
// Where `value` stands, from its first character to past its last: a
// string with its quotes, a number or literal whole, an object or array as
// its opening bracket. Unknown for the absent value or with positions off.
// Cheapest when asked in file order.
Location locate(const Value& value);
// Where the key of the iterator's current entry stands, as a string.
Location locateKey(const bcf_iterator& entry);

// Where a value starts in its file, cheap to take: the line and columns are
// worked out only when shown. Valid while the value's parser lives; none
// with positions off.
struct Anchor {
  Document* doc = nullptr;
  uint64_t offset = 0;
};
Anchor anchor(const Value& value);
Anchor anchorKey(const bcf_iterator& entry);
Location locate(const Anchor& anchor);

struct FWKeys {
  static const char* const NAMEKEY;
  static const char* const NODEKEY;
  static const char* const PROCARRAY;
};

}  // namespace kit::config
