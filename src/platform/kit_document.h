// Inside the value interface: the parsed documents behind kit::config values.
// Only the files of the value interface include this.
#pragma once

#include <simdjson.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "platform/kit_config.h"
#include "platform/read_file.h"

namespace kit::config {

struct Document;
struct List;

// A reusable input buffer and document parser. Parsing many files in a row
// reuses their allocations, which is most of the cost for small files.
struct Slot {
  InputBuffer input;
  simdjson::dom::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};

  // Gives back the parser's room of a much larger earlier file.
  void releaseDocument();
  simdjson::error_code parse(const char* buf, size_t len, simdjson::dom::element& root);
};

// One parsed tree, the file's or a batch's of a large list, and the indexes
// built over it.
struct Tree {
  Document* owner = nullptr;
  List* list = nullptr;  // the large list whose batches this tree holds, if any
  // Where the tree's text lies: the parser that read it (its structural index
  // gives where each value starts) and the file offset of the text's first
  // byte. The file's own tree may have been read from a skeleton instead.
  const simdjson::dom::parser* parser = nullptr;
  const char* text = nullptr;
  size_t fileOffset = 0;

  // Sequential at(i) over the same array must not walk from the start each time.
  struct Cursor {
    size_t array = SIZE_MAX;
    uint32_t pos = 0;
    simdjson::dom::array::iterator it;
  };
  Cursor cursors[4];
  std::unordered_map<size_t, uint32_t> bigArraySizes;
  std::unordered_map<size_t, std::unordered_map<std::string_view, simdjson::dom::element>> keyIndex;
  // Positions: tape entries with the structural each starts at, one every
  // so often, so that values asked for in any order cost a short walk.
  struct TapeMark {
    size_t tape;
    uint32_t structural;
  };
  std::vector<TapeMark> tapeMarks;
  TapeMark lastAsked{0, 0};  // the entry asked for last; asking in order walks on from it

  void clear();
  Value wrap(const simdjson::dom::element& e);
  uint32_t arraySize(const simdjson::dom::array& a, size_t id);
  bool elementAt(const simdjson::dom::array& a, size_t id, uint32_t index, simdjson::dom::element& out);
  bool member(const simdjson::dom::object& o, size_t id, std::string_view key, simdjson::dom::element& out);
};

struct Document {
  std::unique_ptr<Slot> slot;
  Tree main;
  char* text = nullptr;  // the file, in the slot's buffer, after a byte-order mark
  size_t len = 0;
  std::vector<char> skeleton;  // the file without its large lists' entries
  // Skeleton offset where each piece of the file starts in it, and the
  // piece's file offset.
  std::vector<std::pair<size_t, size_t>> skeletonPieces;
  std::vector<std::unique_ptr<List>> lists;
  // Positions: built on the first one asked.
  LineIndex lines;

  Document();
  ~Document();
  void reset();
  List* listFor(const Tree* tree, size_t id);
};

// Values and iterators carry the parser's handle as two plain words so that
// the public header stays free of the parser's types.
static_assert(sizeof(simdjson::dom::element) == 16 && std::is_trivially_copyable_v<simdjson::dom::element>);
static_assert(sizeof(simdjson::dom::object::iterator) == 16 &&
              std::is_trivially_copyable_v<simdjson::dom::object::iterator>);

template <class T>
T fromRaw(const uint64_t raw[2]) {
  T t;
  std::memcpy(static_cast<void*>(&t), raw, sizeof t);
  return t;
}

template <class T>
void toRaw(const T& t, uint64_t raw[2]) {
  std::memcpy(raw, static_cast<const void*>(&t), sizeof t);
}

// What the value interface lets its own files see of a value.
struct ValueAccess {
  static Tree* tree(const Value& v) { return v.m_doc; }
  static const uint64_t* raw(const Value& v) { return v.m_raw; }
  static Tree* tree(const bcf_iterator& it) { return it.m_doc; }
  static const uint64_t* raw(const bcf_iterator& it) { return it.m_raw; }
};

}  // namespace kit::config
