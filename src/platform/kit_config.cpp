#include "platform/kit_config.h"

#include <fcntl.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

#include <simdjson.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "platform/huge_pages.h"
#include "platform/json_error_position.h"
#include "platform/tbx.h"

namespace kit::config {

using simdjson::dom::element;
using simdjson::dom::element_type;
using ObjectIter = simdjson::dom::object::iterator;
using ArrayIter = simdjson::dom::array::iterator;

// Values and iterators carry the parser's handle as two plain words so that
// the header stays free of the parser's types.
static_assert(sizeof(element) == 16 && std::is_trivially_copyable_v<element>);
static_assert(sizeof(ObjectIter) == 16 && std::is_trivially_copyable_v<ObjectIter>);

namespace {

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

constexpr uint32_t kSaturatedCount = 0xFFFFFF;  // the parser stops counting there
constexpr uint32_t kIndexedObjectSize = 16;     // objects this big get a key index
constexpr size_t kMaxDepth = 1024;

// A reusable parser and input buffer. Parsing many files in a row reuses
// their allocations, which is most of the cost for small files.
struct Slot {
  simdjson::dom::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  simdjson::ondemand::parser syntax{simdjson::SIMDJSON_MAXSIZE_BYTES};  // allocates on first use
  char* buffer = nullptr;
  size_t capacity = 0;  // usable bytes before the padding
  ~Slot() { std::free(buffer); }
  bool reserve(size_t bytes) {
    if (bytes <= capacity) return true;
    size_t want = capacity == 0 ? 4096 : capacity;
    while (want < bytes) want = want > (SIZE_MAX / 4) ? bytes : want * 2;
    void* grown = std::realloc(buffer, want + simdjson::SIMDJSON_PADDING);
    if (grown == nullptr) return false;
    buffer = static_cast<char*>(grown);
    capacity = want;
    platform::adviseHugePages(buffer, capacity);
    return true;
  }
  // Room for a large document, allocated before the parse so that the
  // parser's buffers can be advised first. The parse allocates the rest.
  simdjson::error_code prepare(size_t bytes) {
    if (bytes < (size_t(4) << 20) || bytes > parser.max_capacity()) return simdjson::SUCCESS;
    if (parser.doc.capacity() < bytes) {
      if (simdjson::error_code err = parser.doc.allocate(bytes)) return err;
      // lower bounds of the parser's own sizes: 8 tape bytes and 1 string byte per input byte
      platform::adviseHugePages(parser.doc.tape.get(), bytes * 8);
      platform::adviseHugePages(parser.doc.string_buf.get(), bytes);
    }
    if (parser.capacity() < bytes) {
      if (simdjson::error_code err = parser.allocate(bytes, parser.max_depth())) return err;
      platform::adviseHugePages(parser.implementation->structural_indexes.get(), bytes * 4);
    }
    return simdjson::SUCCESS;
  }
  simdjson::error_code parse(const char* buf, size_t len, simdjson::dom::element& root) {
    simdjson::error_code err = prepare(len);
    if (!err) err = parser.parse(buf, len, false).get(root);
    return err;
  }
};

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

}  // namespace

struct Document {
  std::unique_ptr<Slot> slot;

  // Sequential at(i) over the same array must not walk from the start each time.
  struct Cursor {
    size_t array = SIZE_MAX;
    uint32_t pos = 0;
    ArrayIter it;
  };
  Cursor cursors[4];
  std::unordered_map<size_t, uint32_t> bigArraySizes;
  std::unordered_map<size_t, std::unordered_map<std::string_view, element>> keyIndex;

  ~Document() {
    if (slot) {
      try {
        slotPool().push_back(std::move(slot));
      } catch (...) {
        // a full pool only costs a later allocation
      }
    }
  }

  Value wrap(const element& e) {
    uint64_t raw[2];
    toRaw(e, raw);
    return Value(this, raw[0], raw[1]);
  }

  uint32_t arraySize(const simdjson::dom::array& a, size_t id) {
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

  bool elementAt(const simdjson::dom::array& a, size_t id, uint32_t index, element& out) {
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

  bool member(const simdjson::dom::object& o, size_t id, std::string_view key, element& out) {
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
};

// ---- Value ----

Value Value::get(std::string_view key) const {
  if (m_doc == nullptr) return Value();
  element e = fromRaw<element>(m_raw);
  simdjson::dom::object o;
  if (e.get_object().get(o)) return Value();
  element child;
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
  it.m_doc = m_doc;
  toRaw(o.begin(), it.m_raw);
  return it;
}

bcf_iterator Value::end() const {
  bcf_iterator it;
  simdjson::dom::object o;
  if (m_doc == nullptr || fromRaw<element>(m_raw).get_object().get(o)) return it;
  it.m_doc = m_doc;
  toRaw(o.end(), it.m_raw);
  return it;
}

// ---- bcf_iterator ----

bcf_iterator& bcf_iterator::operator++() {
  ObjectIter it = fromRaw<ObjectIter>(m_raw);
  ++it;
  toRaw(it, m_raw);
  return *this;
}

std::string_view bcf_iterator::key() const { return fromRaw<ObjectIter>(m_raw).key(); }

Value bcf_iterator::value() const { return m_doc->wrap(fromRaw<ObjectIter>(m_raw).value()); }

// ---- JSONParser ----

namespace {

// Finds the first line longer than `limit`. A line is the bytes between line
// feeds, without the line feed and a carriage return right before it. Every
// file is scanned whole, so line feeds are found sixteen bytes at a time.
bool findLongLine(const char* buf, size_t len, uint32_t limit, size_t& lineStart) {
  size_t start = 0;
  auto tooLong = [&](size_t lf) {
    size_t end = lf > start && buf[lf - 1] == '\r' ? lf - 1 : lf;
    if (end - start > limit) return true;
    start = lf + 1;
    return false;
  };
  size_t i = 0;
#ifdef __SSE2__
  const __m128i newline = _mm_set1_epi8('\n');
  for (; i + 16 <= len; i += 16) {
    __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + i));
    for (unsigned mask = _mm_movemask_epi8(_mm_cmpeq_epi8(chunk, newline)); mask != 0; mask &= mask - 1) {
      if (tooLong(i + __builtin_ctz(mask))) {
        lineStart = start;
        return true;
      }
    }
  }
#endif
  for (; i < len; ++i) {
    if (buf[i] == '\n' && tooLong(i)) {
      lineStart = start;
      return true;
    }
  }
  lineStart = start;
  return len - start > limit;  // the last line, without a line feed
}

std::string longLineReason(const char* buf, size_t len, size_t start, uint32_t limit) {
  uint64_t line = 1;
  for (const char* q = buf; (q = static_cast<const char*>(std::memchr(q, '\n', buf + start - q))) != nullptr; ++q)
    ++line;
  const void* lf = std::memchr(buf + start, '\n', len - start);
  size_t stop = lf ? static_cast<const char*>(lf) - buf : len;
  if (lf != nullptr && stop > start && buf[stop - 1] == '\r') --stop;
  return "line " + std::to_string(line) + " is " + std::to_string(stop - start) +
         " characters long, more than the limit of " + std::to_string(limit);
}

// Reads the whole file into the slot's buffer. Directories and devices are
// refused; pipes are read to their end.
bool loadFile(const char* path, Slot& slot, size_t& len, std::string& reason) {
  struct stat st {};
  if (::stat(path, &st) != 0) {
    reason = std::string("can't read file: ") + std::strerror(errno);
    return false;
  }
  if (S_ISDIR(st.st_mode)) {
    reason = "can't read file: it is a directory";
    return false;
  }
  if (S_ISCHR(st.st_mode) || S_ISBLK(st.st_mode)) {
    reason = "can't read file: it is a device";
    return false;
  }
  int fd = ::open(path, O_RDONLY | O_CLOEXEC);
  if (fd < 0) {
    reason = std::string("can't read file: ") + std::strerror(errno);
    return false;
  }
  size_t expected = S_ISREG(st.st_mode) ? static_cast<size_t>(st.st_size) : 0;
  len = 0;
  bool ok = true;
  for (;;) {
    size_t want = len + (expected > len ? expected - len : 0) + 1;  // one byte more to see the end
    if (want < len + 65536 && !S_ISREG(st.st_mode)) want = len + 65536;
    if (!slot.reserve(want)) {
      reason = "not enough memory to read the file (" + std::to_string(want) + " bytes)";
      ok = false;
      break;
    }
    ssize_t got = ::read(fd, slot.buffer + len, slot.capacity - len);
    if (got < 0) {
      if (errno == EINTR) continue;
      reason = std::string("can't read file: ") + std::strerror(errno);
      ok = false;
      break;
    }
    if (got == 0) break;
    len += static_cast<size_t>(got);
  }
  ::close(fd);
  if (ok) std::memset(slot.buffer + len, 0, simdjson::SIMDJSON_PADDING);
  return ok;
}

std::unique_ptr<Slot> takeSlot() {
  auto& pool = slotPool();
  if (pool.empty()) return std::make_unique<Slot>();
  std::unique_ptr<Slot> slot = std::move(pool.back());
  pool.pop_back();
  return slot;
}

std::string parseFailureReason(simdjson::error_code err, const char* buf, size_t len) {
  if (err == simdjson::MEMALLOC) return "not enough memory to parse the file (" + std::to_string(len) + " bytes)";
  if (err == simdjson::CAPACITY) return "the file is too large to parse (" + std::to_string(len) + " bytes)";
  std::string where = describeJsonError(buf, len, kMaxDepth);
  if (!where.empty()) return where;
  return simdjson::error_message(err);
}

}  // namespace

JSONParser::JSONParser() = default;
JSONParser::~JSONParser() = default;

int JSONParser::load(const char* path, uint32_t maxLineLength, const char*& buf, size_t& len) {
  std::string reason;
  if (!m_doc) m_doc = std::make_unique<Document>();
  if (!m_doc->slot) m_doc->slot = takeSlot();
  Slot& slot = *m_doc->slot;
  len = 0;
  if (path == nullptr || !loadFile(path, slot, len, reason)) {
    tbx::ErrorStorage::record(reason);
    return 1;
  }
  buf = slot.buffer;
  if (len >= 3 && std::memcmp(buf, "\xEF\xBB\xBF", 3) == 0) {  // byte-order mark
    buf += 3;
    len -= 3;
  }
  size_t lineStart = 0;
  if (maxLineLength != 0 && findLongLine(buf, len, maxLineLength, lineStart)) {
    tbx::ErrorStorage::record(longLineReason(buf, len, lineStart, maxLineLength));
    return 1;
  }
  return 0;
}

int JSONParser::fail(int err, const char* buf, size_t len) {
  auto code = static_cast<simdjson::error_code>(err);
  tbx::ErrorStorage::record(parseFailureReason(code, buf, len));
  // After a failed allocation a parser believes it has the room it was
  // refused and would write through a null pointer on its next use.
  if (code == simdjson::MEMALLOC) m_doc->slot.reset();
  return 1;
}

int JSONParser::parseFile(const char* path, Dictionary*& dict, Array*& array, uint32_t maxLineLength) {
  dict = nullptr;
  array = nullptr;
  m_top = Value();
  try {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, maxLineLength, buf, len) != 0) return 1;
    element root;
    if (simdjson::error_code err = m_doc->slot->parse(buf, len, root)) return fail(err, buf, len);
    m_top = m_doc->wrap(root);
    if (root.is_object()) dict = &m_top;
    else if (root.is_array()) array = &m_top;
    return 0;
  } catch (const std::bad_alloc&) {
    tbx::ErrorStorage::record("not enough memory to parse the file");
    return 1;
  }
}

namespace {

namespace od = simdjson::ondemand;

// Reads every value, key and string escape, which is what makes the streaming
// parser check all of the text: it validates only what is read.
simdjson::error_code readAll(od::value value, size_t depth) {
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
        if (auto err = readAll(element, depth + 1)) return err;
      }
      return simdjson::SUCCESS;
    }
    case od::json_type::object: {
      od::object object;
      if (auto err = value.get_object().get(object)) return err;
      for (auto item : object) {
        od::field field;
        std::string_view key;
        if (auto err = std::move(item).get(field)) return err;
        if (auto err = field.unescaped_key().get(key)) return err;
        if (auto err = readAll(field.value(), depth + 1)) return err;
      }
      return simdjson::SUCCESS;
    }
    case od::json_type::number: {
      od::number number;
      return value.get_number().get(number);
    }
    case od::json_type::string: {
      std::string_view text;
      return value.get_string().get(text);
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

// Reads a document whose top level is an array or an object. Anything else is
// left to the document parser (`scalar`): the streaming parser's readers of a
// top-level scalar let some trailing bytes through ("false" and a control byte).
simdjson::error_code readDocument(od::parser& parser, const char* buf, size_t len, bool& scalar) {
  scalar = false;
  od::document doc;
  if (auto err = parser.iterate(buf, len, len + simdjson::SIMDJSON_PADDING).get(doc)) return err;
  od::json_type type;
  if (auto err = doc.type().get(type)) return err;
  if (type != od::json_type::array && type != od::json_type::object) {
    scalar = true;
    return simdjson::SUCCESS;
  }
  od::value root;
  if (auto err = doc.get_value().get(root)) return err;
  if (auto err = readAll(root, 1)) return err;
  // The streaming parser stops after the top-level value; anything left is an error.
  const char* rest = nullptr;
  if (!doc.current_location().get(rest)) return simdjson::TRAILING_CONTENT;
  return simdjson::SUCCESS;
}

}  // namespace

int JSONParser::checkSyntax(const char* path, uint32_t maxLineLength) {
  m_top = Value();
  try {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, maxLineLength, buf, len) != 0) return 1;
    Slot& slot = *m_doc->slot;
    bool scalar = false;
    simdjson::error_code err = readDocument(slot.syntax, buf, len, scalar);
    element root;
    if (!err && scalar) err = slot.parse(buf, len, root);
    if (err) return fail(err, buf, len);
    return 0;
  } catch (const std::bad_alloc&) {
    tbx::ErrorStorage::record("not enough memory to parse the file");
    return 1;
  }
}

const char* const FWKeys::NAMEKEY = "name";
const char* const FWKeys::NODEKEY = "node";
const char* const FWKeys::PROCARRAY = "procs";

}  // namespace kit::config
