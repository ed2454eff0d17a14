#include "platform/syntax_walk.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>

namespace kit::config {

namespace od = simdjson::ondemand;

namespace {

// The parser counts the document itself as a level and asserts, in builds
// with its development checks, that a walk stays within its depth; our own
// count of 1024 levels must be what stops a deep file.
constexpr size_t kParserDepth = kMaxDepth + 2;

// One streaming parser for the run: walks never overlap.
struct Walker {
  od::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  // Strings are unescaped here one at a time, so the parser's own string
  // buffer (the size of the file) is never touched.
  std::unique_ptr<uint8_t[]> scratch;
  size_t scratchCapacity = 0;

  bool reserveScratch(size_t bytes) {
    if (bytes <= scratchCapacity) return true;
    scratch.reset(new (std::nothrow) uint8_t[bytes + simdjson::SIMDJSON_PADDING]);
    scratchCapacity = scratch ? bytes : 0;
    return scratch != nullptr;
  }
  void release() {
    parser = od::parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
    scratch.reset();
    scratchCapacity = 0;
  }
};

Walker& walker() {
  static Walker w;
  return w;
}

simdjson::error_code readString(Walker& w, od::raw_json_string raw) {
  uint8_t* dst = w.scratch.get();
  std::string_view text;
  return w.parser.unescape(raw, dst).get(text);
}

// `depth` counts the containers around the value and the value itself. The
// document parser takes a value of any kind at depth 1025 for too deep, but
// not the closing bracket of an empty container at depth 1024.
simdjson::error_code readAll(Walker& w, od::value value, size_t depth) {
  if (depth > kMaxDepth) return simdjson::DEPTH_ERROR;
  od::json_type type;
  if (auto err = value.type().get(type)) return err;
  switch (type) {
    case od::json_type::array: {
      od::array array;
      if (auto err = value.get_array().get(array)) return err;
      for (auto item : array) {
        od::value element;
        if (auto err = item.get(element)) return err;
        if (auto err = readAll(w, element, depth + 1)) return err;
      }
      return simdjson::SUCCESS;
    }
    case od::json_type::object: {
      od::object object;
      if (auto err = value.get_object().get(object)) return err;
      for (auto item : object) {
        od::field field;
        if (auto err = std::move(item).get(field)) return err;
        if (auto err = readString(w, field.key())) return err;
        if (auto err = readAll(w, field.value(), depth + 1)) return err;
      }
      return simdjson::SUCCESS;
    }
    case od::json_type::number: {
      od::number number;
      return value.get_number().get(number);
    }
    case od::json_type::string: {
      od::raw_json_string raw;
      if (auto err = value.get_raw_json_string().get(raw)) return err;
      return readString(w, raw);
    }
    case od::json_type::boolean: {
      bool flag;
      return value.get_bool().get(flag);
    }
    case od::json_type::null: {
      bool isNull = false;
      if (auto err = value.is_null().get(isNull)) return err;
      return isNull ? simdjson::SUCCESS : simdjson::N_ATOM_ERROR;
    }
  }
  return simdjson::TAPE_ERROR;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

// The last byte before `p` that is no blank.
size_t lastTokenByte(const char* buf, const char* p) {
  while (p > buf && isBlank(p[-1])) --p;
  return static_cast<size_t>(p - buf) - 1;
}

// Reads a list that is a member of the top level and notes where batches of
// about `batchBytes` of its entries begin and end.
simdjson::error_code readList(Walker& w, od::document& doc, od::value value, const char* buf, size_t batchBytes,
                              ListLayout& layout) {
  const char* open = nullptr;
  if (auto err = value.current_location().get(open)) return err;
  od::array array;
  if (auto err = value.get_array().get(array)) return err;
  std::vector<size_t> cuts{static_cast<size_t>(open - buf)};
  std::vector<uint32_t> firsts{0};
  uint32_t count = 0;
  for (auto item : array) {
    od::value element;
    if (auto err = item.get(element)) return err;
    const char* start = nullptr;
    if (auto err = element.current_location().get(start)) return err;
    if (count > 0 && static_cast<size_t>(start - buf) - cuts.back() >= batchBytes) {
      cuts.push_back(lastTokenByte(buf, start));  // the comma before this entry
      firsts.push_back(count);
    }
    if (auto err = readAll(w, element, 3)) return err;
    if (count == UINT32_MAX) return simdjson::CAPACITY;
    ++count;
  }
  const char* next = nullptr;  // the token after the list
  if (auto err = doc.current_location().get(next)) return err;
  cuts.push_back(lastTokenByte(buf, next));
  firsts.push_back(count);
  if (cuts.size() > 2) {
    layout.cuts = std::move(cuts);
    layout.firsts = std::move(firsts);
  }
  return simdjson::SUCCESS;
}

simdjson::error_code walk(Walker& w, const char* buf, size_t len, bool& scalar, Layout* layout, size_t batchBytes) {
  if (!w.reserveScratch(len)) return simdjson::MEMALLOC;
  if (w.parser.max_depth() != kParserDepth || w.parser.capacity() < len) {
    // Room to spare: a next file a little larger reuses the pages this one
    // touched instead of having fresh ones zeroed. Untouched room costs nothing.
    size_t capacity = std::max(len, w.parser.capacity());
    if (capacity <= simdjson::SIMDJSON_MAXSIZE_BYTES / 2) capacity = std::bit_ceil(capacity);
    if (auto err = w.parser.allocate(capacity, kParserDepth)) return err;
  }
  od::document doc;
  if (auto err = w.parser.iterate(buf, len, len + simdjson::SIMDJSON_PADDING).get(doc)) return err;
  od::json_type type;
  if (auto err = doc.type().get(type)) return err;
  // The streaming parser's readers of a top-level scalar let some trailing
  // bytes through ("false" and a control byte).
  if (type != od::json_type::array && type != od::json_type::object) {
    scalar = true;
    return simdjson::SUCCESS;
  }
  if (layout != nullptr && type == od::json_type::object) {
    const char* open = buf;
    while (isBlank(*open)) ++open;
    std::vector<size_t> memberCuts{static_cast<size_t>(open - buf)};
    std::vector<uint32_t> memberFirsts{0};
    od::object object;
    if (auto err = doc.get_object().get(object)) return err;
    uint32_t ordinal = 0;
    for (auto item : object) {
      od::field field;
      if (auto err = std::move(item).get(field)) return err;
      const char* key = field.key().raw() - 1;  // its opening quote
      if (ordinal > 0 && static_cast<size_t>(key - buf) - memberCuts.back() >= batchBytes) {
        memberCuts.push_back(lastTokenByte(buf, key));  // the comma before this member
        memberFirsts.push_back(ordinal);
      }
      if (auto err = readString(w, field.key())) return err;
      od::value value = field.value();
      od::json_type memberType;
      if (auto err = value.type().get(memberType)) return err;
      if (memberType == od::json_type::array) {
        ListLayout list;
        list.ordinal = ordinal;
        if (auto err = readList(w, doc, value, buf, batchBytes, list)) return err;
        if (!list.cuts.empty()) layout->lists.push_back(std::move(list));
      } else if (auto err = readAll(w, value, 2)) {
        return err;
      }
      if (ordinal == UINT32_MAX) return simdjson::CAPACITY;
      ++ordinal;
    }
    if (layout->lists.empty() && memberCuts.size() > 1) {
      memberCuts.push_back(lastTokenByte(buf, buf + len));  // the closing brace
      memberFirsts.push_back(ordinal);
      layout->members.cuts = std::move(memberCuts);
      layout->members.firsts = std::move(memberFirsts);
    }
  } else {
    od::value root;
    if (auto err = doc.get_value().get(root)) return err;
    if (auto err = readAll(w, root, 1)) return err;
  }
  // The streaming parser stops after the top-level value; anything left is an error.
  const char* rest = nullptr;
  if (!doc.current_location().get(rest)) return simdjson::TRAILING_CONTENT;
  return simdjson::SUCCESS;
}

}  // namespace

simdjson::error_code walkSyntax(const char* buf, size_t len, bool& scalar, Layout* layout, size_t batchBytes) {
  scalar = false;
  return walk(walker(), buf, len, scalar, layout, batchBytes);
}

void releaseSyntaxWalker() { walker().release(); }

}  // namespace kit::config
