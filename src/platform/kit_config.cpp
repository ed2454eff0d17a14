#include "platform/kit_config.h"

#include <simdjson.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "platform/batched_lists.h"
#include "platform/huge_pages.h"
#include "platform/json_error_position.h"
#include "platform/kit_document.h"
#include "platform/line_limit.h"
#include "platform/syntax_walk.h"
#include "platform/tbx.h"

namespace kit::config {

using simdjson::dom::element;
using simdjson::dom::element_type;
using ObjectIter = simdjson::dom::object::iterator;
using ArrayIter = simdjson::dom::array::iterator;

namespace {

constexpr uint32_t kSaturatedCount = 0xFFFFFF;  // the parser stops counting there
constexpr uint32_t kIndexedObjectSize = 16;     // objects this big get a key index
// A slot given back keeps no more than this of a larger file's parser room.
constexpr size_t kKeepBytes = size_t(16) << 20;
size_t gListBatchBytes = size_t(256) << 10;

// Equal bytes, compared with fixed-width loads: member keys are short, and a
// call to memcmp per key costs more than the comparison.
inline bool sameBytes(const char* a, const char* b, size_t n) {
  auto load64 = [](const char* p) { uint64_t v; std::memcpy(&v, p, 8); return v; };
  auto load32 = [](const char* p) { uint32_t v; std::memcpy(&v, p, 4); return v; };
  auto load16 = [](const char* p) { uint16_t v; std::memcpy(&v, p, 2); return v; };
  if (n >= 8) {
    for (size_t i = 0; i + 8 < n; i += 8)
      if (load64(a + i) != load64(b + i)) return false;
    return load64(a + n - 8) == load64(b + n - 8);
  }
  if (n >= 4) return load32(a) == load32(b) && load32(a + n - 4) == load32(b + n - 4);
  if (n >= 2) return load16(a) == load16(b) && load16(a + n - 2) == load16(b + n - 2);
  return n == 0 || *a == *b;
}

std::vector<std::unique_ptr<Slot>>& slotPool() {
  static std::vector<std::unique_ptr<Slot>> pool;
  return pool;
}

std::unique_ptr<Slot> takeSlot() {
  auto& pool = slotPool();
  if (pool.empty()) return std::make_unique<Slot>();
  std::unique_ptr<Slot> slot = std::move(pool.back());
  pool.pop_back();
  return slot;
}

}  // namespace

// ---- Slot ----

void Slot::releaseDocument() {
  if (parser.capacity() > kKeepBytes || parser.doc.capacity() > kKeepBytes)
    parser = simdjson::dom::parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
}

simdjson::error_code Slot::parse(const char* buf, size_t len, element& root) {
  // Room for a large document is allocated before the parse so that the
  // parser's buffers can be advised first. The parse allocates the rest.
  if (len >= (size_t(4) << 20) && len <= parser.max_capacity()) {
    if (parser.doc.capacity() < len) {
      if (simdjson::error_code err = parser.doc.allocate(len)) return err;
      // lower bounds of the parser's own sizes: 8 tape bytes and 1 string byte per input byte
      platform::adviseHugePages(parser.doc.tape.get(), len * 8);
      platform::adviseHugePages(parser.doc.string_buf.get(), len);
    }
    if (parser.capacity() < len) {
      if (simdjson::error_code err = parser.allocate(len, parser.max_depth())) return err;
      platform::adviseHugePages(parser.implementation->structural_indexes.get(), len * 4);
    }
  }
  return parser.parse(buf, len, false).get(root);
}

// ---- Tree ----

void Tree::clear() {
  for (Cursor& c : cursors) c = Cursor{};
  bigArraySizes.clear();
  keyIndex.clear();
  tapeMarks.clear();
  lastAsked = TapeMark{0, 0};
}

Value Tree::wrap(const element& e) {
  uint64_t raw[2];
  toRaw(e, raw);
  return Value(this, raw[0], raw[1]);
}

uint32_t Tree::arraySize(const simdjson::dom::array& a, size_t id) {
  uint32_t n = static_cast<uint32_t>(a.size());
  if (n < kSaturatedCount) return n;
  auto found = bigArraySizes.find(id);
  if (found != bigArraySizes.end()) return found->second;
  uint64_t count = 0;
  for (auto it = a.begin(), end = a.end(); it != end; ++it) ++count;
  uint32_t clamped = count > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(count);
  bigArraySizes.emplace(id, clamped);
  return clamped;
}

bool Tree::elementAt(const simdjson::dom::array& a, size_t id, uint32_t index, element& out) {
  Cursor* c = nullptr;
  for (Cursor& candidate : cursors)
    if (candidate.array == id) c = &candidate;
  if (c == nullptr || index < c->pos) {
    if (c == nullptr) {
      // The cursor nearest its array's start is the cheapest to rebuild; an
      // outer loop's cursor must survive the short arrays of its elements.
      c = &cursors[0];
      for (Cursor& candidate : cursors)
        if (candidate.pos < c->pos) c = &candidate;
    }
    c->array = id;
    c->pos = 0;
    c->it = a.begin();
  }
  const ArrayIter end = a.end();
  while (c->pos < index && c->it != end) {
    ++c->it;
    ++c->pos;
  }
  if (c->it == end) return false;
  out = *c->it;
  return true;
}

bool Tree::member(const simdjson::dom::object& o, size_t id, std::string_view key, element& out) {
  if (o.size() < kIndexedObjectSize) {
    for (auto field = o.begin(), end = o.end(); field != end; ++field) {
      if (field.key_length() == key.size() && sameBytes(field.key_c_str(), key.data(), key.size())) {
        out = field.value();
        return true;
      }
    }
    return false;
  }
  auto found = keyIndex.find(id);
  if (found == keyIndex.end()) {
    found = keyIndex.emplace(id, std::unordered_map<std::string_view, element>{}).first;
    for (auto field : o) found->second.emplace(field.key, field.value);  // first occurrence wins
  }
  auto hit = found->second.find(key);
  if (hit == found->second.end()) return false;
  out = hit->second;
  return true;
}

// ---- Document ----

Document::Document() { main.owner = this; }

Document::~Document() {
  if (slot) {
    try {
      slotPool().push_back(std::move(slot));
    } catch (...) {
      // a full pool only costs a later allocation
    }
  }
}

void Document::reset() {
  main.clear();
  main.parser = nullptr;
  main.text = nullptr;
  lists.clear();
  skeleton.clear();
  skeletonPieces.clear();
  text = nullptr;
  len = 0;
  lines.clear();
}

List* Document::listFor(const Tree* tree, size_t id) {
  if (tree != &main || lists.empty()) return nullptr;
  for (auto& list : lists)
    if (list->id == id) return list.get();
  return nullptr;
}

// ---- Value ----

Value Value::get(std::string_view key) const {
  if (m_doc == nullptr) return Value();
  element e = fromRaw<element>(m_raw);
  simdjson::dom::object o;
  if (e.get_object().get(o)) return Value();
  element child;
  if (List* list = m_doc->owner->listFor(m_doc, m_raw[1]); list != nullptr && list->members) {
    // Only a reader that does not walk the members at the same time may ask.
    for (size_t b = 0; memberBatch(*m_doc->owner, *list, b, o); ++b)
      if (!o.at_key(key).get(child)) return list->tree.wrap(child);
    return Value();
  }
  try {
    if (!m_doc->member(o, m_raw[1], key, child)) return Value();
  } catch (const std::bad_alloc&) {
    if (o.at_key(key).get(child)) return Value();
  }
  return m_doc->wrap(child);
}

bool Value::isDictionary() const { return m_doc != nullptr && fromRaw<element>(m_raw).is_object(); }

bool Value::isArray() const { return m_doc != nullptr && fromRaw<element>(m_raw).is_array(); }

uint32_t Value::size() const {
  if (m_doc == nullptr) return 0;
  simdjson::dom::array a;
  if (fromRaw<element>(m_raw).get_array().get(a)) return 0;
  if (List* list = m_doc->owner->listFor(m_doc, m_raw[1])) return list->layout.firsts.back();
  try {
    return m_doc->arraySize(a, m_raw[1]);
  } catch (const std::bad_alloc&) {
    return static_cast<uint32_t>(a.size());
  }
}

Value Value::at(uint32_t index) const {
  if (m_doc == nullptr) return Value();
  simdjson::dom::array a;
  if (fromRaw<element>(m_raw).get_array().get(a)) return Value();
  element child;
  if (List* list = m_doc->owner->listFor(m_doc, m_raw[1])) {
    if (!listEntry(*m_doc->owner, *list, index, child)) return Value();
    return list->tree.wrap(child);
  }
  if (!m_doc->elementAt(a, m_raw[1], index, child)) return Value();
  return m_doc->wrap(child);
}

int Value::getInt(int32_t& out) const {
  if (m_doc == nullptr) return 1;
  element e = fromRaw<element>(m_raw);
  if (e.type() != element_type::INT64) return 1;  // doubles and values past int64 never qualify
  int64_t v = 0;
  if (e.get_int64().get(v) || v < INT32_MIN || v > INT32_MAX) return 1;
  out = static_cast<int32_t>(v);
  return 0;
}

int Value::getString(std::string_view& out) const {
  if (m_doc == nullptr) return 1;
  std::string_view s;
  if (fromRaw<element>(m_raw).get_string().get(s)) return 1;
  out = s;
  return 0;
}

int Value::getString(std::string& out) const {
  std::string_view s;
  if (getString(s) != 0) return 1;
  out.assign(s);
  return 0;
}

int Value::getBool(bool& out) const {
  if (m_doc == nullptr) return 1;
  bool b = false;
  if (fromRaw<element>(m_raw).get_bool().get(b)) return 1;
  out = b;
  return 0;
}

bcf_iterator Value::begin() const {
  bcf_iterator it;
  simdjson::dom::object o;
  if (m_doc == nullptr || fromRaw<element>(m_raw).get_object().get(o)) return it;
  if (List* list = m_doc->owner->listFor(m_doc, m_raw[1]); list != nullptr && list->members) {
    if (!memberBatch(*m_doc->owner, *list, 0, o)) return end();
    it.m_doc = &list->tree;
  } else {
    it.m_doc = m_doc;
  }
  toRaw(o.begin(), it.m_raw);
  return it;
}

bcf_iterator Value::end() const {
  bcf_iterator it;
  simdjson::dom::object o;
  if (m_doc == nullptr || fromRaw<element>(m_raw).get_object().get(o)) return it;
  if (List* list = m_doc->owner->listFor(m_doc, m_raw[1]); list != nullptr && list->members) {
    it.m_doc = &list->tree;
    it.m_raw[1] = SIZE_MAX;  // past the last batch
    return it;
  }
  it.m_doc = m_doc;
  toRaw(o.end(), it.m_raw);
  return it;
}

// ---- bcf_iterator ----

bcf_iterator& bcf_iterator::operator++() {
  ObjectIter it = fromRaw<ObjectIter>(m_raw);
  ++it;
  toRaw(it, m_raw);
  List* list = m_doc->list;
  if (list != nullptr && list->members) {
    // The members of a large top-level object go on in the next batch.
    simdjson::dom::object o;
    if (list->root.get_object().get(o) || !(it == o.end())) return *this;
    if (memberBatch(*m_doc->owner, *list, list->batch + 1, o)) {
      toRaw(o.begin(), m_raw);
    } else {
      m_raw[0] = 0;
      m_raw[1] = SIZE_MAX;
    }
  }
  return *this;
}

std::string_view bcf_iterator::key() const { return fromRaw<ObjectIter>(m_raw).key(); }

Value bcf_iterator::value() const { return m_doc->wrap(fromRaw<ObjectIter>(m_raw).value()); }


// ---- JSONParser ----

namespace {

JsonError parseFailure(simdjson::error_code err, const char* buf, size_t len) {
  if (err == simdjson::MEMALLOC) return {"not enough memory to parse the file (" + std::to_string(len) + " bytes)", {}};
  if (err == simdjson::CAPACITY) return {"the file is too large to parse (" + std::to_string(len) + " bytes)", {}};
  JsonError where = describeJsonError(buf, len, kMaxDepth);
  if (where.reason.empty()) where.reason = simdjson::error_message(err);
  return where;
}

// A file too large for this machine is a failed file, not a crash.
template <class Body>
int outOfMemoryFails(Body&& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    tbx::ErrorStorage::record("not enough memory to parse the file");
    return 1;
  }
}

}  // namespace

void releaseSyntaxRoom() { releaseSyntaxWalker(); }

void setListBatchBytes(size_t bytes) { gListBatchBytes = bytes == 0 ? 1 : bytes; }

JSONParser::JSONParser(Lists lists) : m_lists(lists) {}
JSONParser::~JSONParser() = default;

int JSONParser::load(const char* path, std::string_view given, bool padded, uint32_t maxLineLength, const char*& buf,
                     size_t& len) {
  std::string reason;
  m_fault = ParseFault{};
  if (!m_doc) m_doc = std::make_unique<Document>();
  m_doc->reset();
  if (!m_doc->slot) m_doc->slot = takeSlot();
  Slot& slot = *m_doc->slot;
  len = 0;
  if (path != nullptr) {
    if (!readWholeFile(path, slot.input, len, reason)) {
      tbx::ErrorStorage::record(reason);
      return 1;
    }
    m_doc->text = slot.input.data;
  } else if (padded) {
    // Batches are parsed in place with their cut bytes changed for the moment.
    m_doc->text = const_cast<char*>(given.data());
    len = given.size();
  } else {
    if (!slot.input.reserve(given.size())) {
      tbx::ErrorStorage::record("not enough memory to read the file (" + std::to_string(given.size()) + " bytes)");
      return 1;
    }
    if (!given.empty()) std::memcpy(slot.input.data, given.data(), given.size());
    len = given.size();
    std::memset(slot.input.data + len, 0, simdjson::SIMDJSON_PADDING);
    slot.input.trim(len);
    m_doc->text = slot.input.data;
  }
  if (len >= 3 && std::memcmp(m_doc->text, "\xEF\xBB\xBF", 3) == 0) {  // byte-order mark
    m_doc->text += 3;
    len -= 3;
  }
  m_doc->len = len;
  buf = m_doc->text;
  if (lineTooLong(buf, len, maxLineLength, reason, m_fault.at)) {
    tbx::ErrorStorage::record(reason);
    return 1;
  }
  return 0;
}

int JSONParser::fail(int err, const char* buf, size_t len) {
  auto code = static_cast<simdjson::error_code>(err);
  JsonError failure = parseFailure(code, buf, len);
  tbx::ErrorStorage::record(failure.reason);
  m_fault = failure.place;
  // After a failed allocation a parser believes it has the room it was
  // refused and would write through a null pointer on its next use.
  if (code == simdjson::MEMALLOC) m_doc->slot.reset();
  return 1;
}

int JSONParser::parseFile(const char* path, Dictionary*& dict, Array*& array, uint32_t maxLineLength) {
  if (path == nullptr) path = "";
  return parse(path, {}, false, dict, array, maxLineLength);
}

int JSONParser::parseText(std::string_view text, bool padded, Dictionary*& dict, Array*& array, uint32_t maxLineLength) {
  return parse(nullptr, text, padded, dict, array, maxLineLength);
}

int JSONParser::parse(const char* path, std::string_view text, bool padded, Dictionary*& dict, Array*& array,
                      uint32_t maxLineLength) {
  dict = nullptr;
  array = nullptr;
  m_top = Value();
  int rc = outOfMemoryFails([&]() -> int {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, text, padded, maxLineLength, buf, len) != 0) return 1;
    Layout layout;
    if (m_lists != Whole && len > gListBatchBytes) {
      // The streaming walk judges the whole text and finds where lists can be cut.
      bool scalar = false;
      if (simdjson::error_code err = walkSyntax(buf, len, scalar, &layout, gListBatchBytes)) return fail(err, buf, len);
      if (m_lists != BatchedMembers) layout.members = ListLayout{};
    }
    element root;
    simdjson::error_code err;
    if (layout.lists.empty() && layout.members.cuts.empty()) {
      err = m_doc->slot->parse(buf, len, root);
      m_doc->main.text = buf;
    } else {
      err = parseSkeleton(*m_doc, layout, root);
    }
    if (err) return fail(err, buf, len);
    m_doc->main.parser = &m_doc->slot->parser;
    m_top = m_doc->main.wrap(root);
    if (root.is_object()) dict = &m_top;
    else if (root.is_array()) array = &m_top;
    return 0;
  });
  if (rc != 0 && m_doc) m_doc->reset();
  return rc;
}

void JSONParser::giveBackText() const {
  if (m_doc && m_doc->slot) m_doc->slot->input.giveBack();
}

int JSONParser::checkSyntax(const char* path, uint32_t maxLineLength) {
  if (path == nullptr) path = "";
  return syntax(path, {}, false, maxLineLength);
}

int JSONParser::checkTextSyntax(std::string_view text, bool padded, uint32_t maxLineLength) {
  return syntax(nullptr, text, padded, maxLineLength);
}

int JSONParser::syntax(const char* path, std::string_view text, bool padded, uint32_t maxLineLength) {
  m_top = Value();
  return outOfMemoryFails([&]() -> int {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, text, padded, maxLineLength, buf, len) != 0) return 1;
    Slot& slot = *m_doc->slot;
    slot.releaseDocument();
    bool scalar = false;
    simdjson::error_code err = walkSyntax(buf, len, scalar, nullptr, 0);
    element root;
    if (!err && scalar) err = slot.parse(buf, len, root);
    if (err) return fail(err, buf, len);
    return 0;
  });
}

const char* const FWKeys::NAMEKEY = "name";
const char* const FWKeys::NODEKEY = "node";
const char* const FWKeys::PROCARRAY = "procs";

}  // namespace kit::config
