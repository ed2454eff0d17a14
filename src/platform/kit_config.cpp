#include "platform/kit_config.h"

#include <fcntl.h>
#include <sys/mman.h>
#ifdef __SSE2__
#include <emmintrin.h>
#endif
#include <sys/stat.h>
#include <unistd.h>

#include <simdjson.h>

#include <algorithm>
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
// A slot given to the other parser keeps no more than this of the first one's
// buffers: checks hold a document while name sets grow, and a full check of a
// large system must stay within a few times its largest file.
constexpr size_t kKeepBytes = size_t(16) << 20;
size_t gListBatchBytes = size_t(256) << 10;

// A reusable parser and input buffer. Parsing many files in a row reuses
// their allocations, which is most of the cost for small files.
struct Slot {
  simdjson::dom::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  simdjson::ondemand::parser syntax{simdjson::SIMDJSON_MAXSIZE_BYTES};  // allocates on first use
  char* buffer = nullptr;
  size_t capacity = 0;  // usable bytes before the padding
  // Strings are unescaped here one at a time, so the streaming parser's own
  // string buffer (the size of the file) is never touched.
  uint8_t* scratch = nullptr;
  size_t scratchCapacity = 0;
  ~Slot() {
    std::free(buffer);
    std::free(scratch);
  }
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
  bool reserveScratch(size_t bytes) {
    if (bytes <= scratchCapacity) return true;
    std::free(scratch);
    scratch = static_cast<uint8_t*>(std::malloc(bytes + simdjson::SIMDJSON_PADDING));
    scratchCapacity = scratch != nullptr ? bytes : 0;
    return scratch != nullptr;
  }
  // Gives back the pages of a larger earlier file beyond the `len` bytes in use.
  void trimBuffer(size_t len) {
    constexpr uintptr_t kPage = 4096;
    uintptr_t from = (reinterpret_cast<uintptr_t>(buffer) + len + simdjson::SIMDJSON_PADDING + kPage - 1) & ~(kPage - 1);
    uintptr_t to = (reinterpret_cast<uintptr_t>(buffer) + capacity) & ~(kPage - 1);
    if (to > from && to - from >= kKeepBytes / 4) ::madvise(reinterpret_cast<void*>(from), to - from, MADV_DONTNEED);
  }
  void releaseStreaming() {
    if (syntax.capacity() > kKeepBytes) syntax = simdjson::ondemand::parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  }
  void releaseDocument() {
    if (parser.capacity() > kKeepBytes || parser.doc.capacity() > kKeepBytes)
      parser = simdjson::dom::parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
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

// Where the entries of one large list, a member of the top-level object, lie
// in the text. Batch b is the text from cuts[b] to cuts[b + 1], both ends
// included: the list's brackets or the commas between its entries, which
// become brackets while the batch is parsed. It holds entries firsts[b] up to
// firsts[b + 1]; the last of firsts is the number of entries.
struct ListLayout {
  uint32_t ordinal = 0;  // place among the top-level members
  std::vector<size_t> cuts;
  std::vector<uint32_t> firsts;
};

struct Layout {
  std::vector<ListLayout> lists;
};

// The file a layout was taken from, as far as stat tells: a file that was
// rewritten since has another size, modification or change time.
struct FileIdentity {
  dev_t dev = 0;
  ino_t ino = 0;
  off_t size = -1;
  timespec mtime{};
  timespec ctime{};
  bool operator==(const FileIdentity& o) const {
    return dev == o.dev && ino == o.ino && size == o.size && mtime.tv_sec == o.mtime.tv_sec &&
           mtime.tv_nsec == o.mtime.tv_nsec && ctime.tv_sec == o.ctime.tv_sec && ctime.tv_nsec == o.ctime.tv_nsec;
  }
};

// Layouts found by the syntax check of large files, so that the content check
// that reads the same file next needs no second walk over it.
std::vector<std::pair<FileIdentity, Layout>>& layoutCache() {
  static std::vector<std::pair<FileIdentity, Layout>> cache;
  return cache;
}

}  // namespace

// One parsed tree, the file's or a batch's, and the indexes built over it.
struct Tree {
  Document* owner = nullptr;

  // Sequential at(i) over the same array must not walk from the start each time.
  struct Cursor {
    size_t array = SIZE_MAX;
    uint32_t pos = 0;
    ArrayIter it;
  };
  Cursor cursors[4];
  std::unordered_map<size_t, uint32_t> bigArraySizes;
  std::unordered_map<size_t, std::unordered_map<std::string_view, element>> keyIndex;

  void clear() {
    for (Cursor& c : cursors) c = Cursor{};
    bigArraySizes.clear();
    keyIndex.clear();
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

namespace {

// A large list of the file, standing in the document as an empty array and
// read one batch at a time.
struct List {
  size_t id = 0;  // the empty array's handle in the file's tree
  ListLayout layout;
  simdjson::dom::parser parser{simdjson::SIMDJSON_MAXSIZE_BYTES};
  Tree tree;
  size_t batch = SIZE_MAX;  // the one parsed now
  simdjson::dom::array entries;
  size_t entriesId = 0;
};

}  // namespace

struct Document {
  std::unique_ptr<Slot> slot;
  Tree main;
  char* text = nullptr;  // the file, in the slot's buffer
  std::vector<char> skeleton;  // the file without its large lists' entries
  std::vector<std::unique_ptr<List>> lists;
  FileIdentity identity;  // of the file read last

  Document() { main.owner = this; }
  ~Document() {
    if (slot) {
      try {
        slotPool().push_back(std::move(slot));
      } catch (...) {
        // a full pool only costs a later allocation
      }
    }
  }

  void reset() {
    main.clear();
    lists.clear();
    skeleton.clear();
    text = nullptr;
  }

  List* listFor(const Tree* tree, size_t id) {
    if (tree != &main) return nullptr;
    for (auto& list : lists)
      if (list->id == id) return list.get();
    return nullptr;
  }

  bool entry(List& list, uint32_t index, element& out) {
    const std::vector<uint32_t>& firsts = list.layout.firsts;
    if (index >= firsts.back()) return false;
    size_t b = list.batch;
    if (b == SIZE_MAX || index < firsts[b] || index >= firsts[b + 1])
      b = static_cast<size_t>(std::upper_bound(firsts.begin(), firsts.end(), index) - firsts.begin()) - 1;
    if (b != list.batch) {
      list.batch = SIZE_MAX;
      list.tree.clear();
      char* open = text + list.layout.cuts[b];
      char* close = text + list.layout.cuts[b + 1];
      const char before = *open, after = *close;
      *open = '[';
      *close = ']';
      // The document keeps copies of the strings; the text is restored at once.
      element root;
      simdjson::error_code err = list.parser.parse(open, static_cast<size_t>(close - open) + 1, false).get(root);
      *open = before;
      *close = after;
      if (err || root.get_array().get(list.entries)) return false;
      uint64_t raw[2];
      toRaw(root, raw);
      list.entriesId = raw[1];
      list.batch = b;
    }
    return list.tree.elementAt(list.entries, list.entriesId, index - firsts[b], out);
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
    if (!m_doc->owner->entry(*list, index, child)) return Value();
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
  if (limit >= 64) {
    // Lines between two line feeds of one 64-byte block are shorter than the
    // limit, so only a block's first line feed ends a line worth measuring.
    for (; i + 64 <= len; i += 64) {
      uint64_t mask = 0;
      for (unsigned k = 0; k < 4; ++k) {
        __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + i + 16 * k));
        mask |= uint64_t(unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(chunk, newline)))) << (16 * k);
      }
      if (mask == 0) continue;
      if (tooLong(i + __builtin_ctzll(mask))) {
        lineStart = start;
        return true;
      }
      start = i + 64 - __builtin_clzll(mask);
    }
  }
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
// refused; pipes are read to their end. `identity` is set for a regular file
// read whole.
bool loadFile(const char* path, Slot& slot, size_t& len, std::string& reason, FileIdentity& identity) {
  identity = FileIdentity{};
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
  struct stat opened {};
  bool regular = ::fstat(fd, &opened) == 0 && S_ISREG(opened.st_mode);
  size_t expected = regular ? static_cast<size_t>(opened.st_size) : 0;
  len = 0;
  bool ok = true;
  for (;;) {
    size_t want = len + (expected > len ? expected - len : 0) + 1;  // one byte more to see the end
    if (want < len + 65536 && !regular) want = len + 65536;
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
  if (!ok) return false;
  std::memset(slot.buffer + len, 0, simdjson::SIMDJSON_PADDING);
  slot.trimBuffer(len);
  if (regular && len == expected)
    identity = FileIdentity{opened.st_dev, opened.st_ino, opened.st_size, opened.st_mtim, opened.st_ctim};
  return true;
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

namespace od = simdjson::ondemand;

struct Walk {
  od::parser& parser;
  uint8_t* scratch;  // room for the longest string, reused for each
};

simdjson::error_code readString(Walk& walk, od::raw_json_string raw) {
  uint8_t* dst = walk.scratch;
  std::string_view text;
  return walk.parser.unescape(raw, dst).get(text);
}

// Reads every value, key and string escape, which is what makes the streaming
// parser check all of the text: it validates only what is read.
simdjson::error_code readAll(Walk& walk, od::value value, size_t depth) {
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
        if (auto err = readAll(walk, element, depth + 1)) return err;
      }
      return simdjson::SUCCESS;
    }
    case od::json_type::object: {
      od::object object;
      if (auto err = value.get_object().get(object)) return err;
      for (auto item : object) {
        od::field field;
        if (auto err = std::move(item).get(field)) return err;
        if (auto err = readString(walk, field.key())) return err;
        if (auto err = readAll(walk, field.value(), depth + 1)) return err;
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
      return readString(walk, raw);
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

// Cuts fall on the list's brackets and on commas between its entries.
bool soundCuts(const std::vector<size_t>& cuts, const char* buf, size_t len) {
  if (cuts.size() < 2 || cuts.back() >= len || buf[cuts.front()] != '[' || buf[cuts.back()] != ']') return false;
  for (size_t b = 1; b + 1 < cuts.size(); ++b)
    if (buf[cuts[b]] != ',') return false;
  return true;
}

// The last byte before `p` that is no blank.
size_t lastTokenByte(const char* buf, const char* p) {
  while (p > buf && isBlank(p[-1])) --p;
  return static_cast<size_t>(p - buf) - 1;
}

// Reads a list that is a member of the top level and notes where batches of
// about gListBatchBytes of its entries begin and end. `layout` stays empty
// for a list that fits in one batch.
simdjson::error_code readList(Walk& walk, od::document& doc, od::value value, const char* buf, ListLayout& layout) {
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
    if (count > 0 && static_cast<size_t>(start - buf) - cuts.back() >= gListBatchBytes) {
      cuts.push_back(lastTokenByte(buf, start));  // the comma before this entry
      firsts.push_back(count);
    }
    if (auto err = readAll(walk, element, 3)) return err;
    if (count == UINT32_MAX) return simdjson::CAPACITY;
    ++count;
  }
  const char* next = nullptr;  // the token after the list
  if (auto err = doc.current_location().get(next)) return err;
  cuts.push_back(lastTokenByte(buf, next));
  firsts.push_back(count);
  if (cuts.size() > 2 && soundCuts(cuts, buf, static_cast<size_t>(next - buf))) {
    layout.cuts = std::move(cuts);
    layout.firsts = std::move(firsts);
  }
  return simdjson::SUCCESS;
}

// Reads a document whose top level is an array or an object. Anything else is
// left to the document parser (`scalar`): the streaming parser's readers of a
// top-level scalar let some trailing bytes through ("false" and a control byte).
// With `layout`, the large lists of a top-level object are noted in it.
simdjson::error_code readDocument(Slot& slot, const char* buf, size_t len, bool& scalar, Layout* layout) {
  scalar = false;
  if (!slot.reserveScratch(len)) return simdjson::MEMALLOC;
  Walk walk{slot.syntax, slot.scratch};
  od::document doc;
  if (auto err = slot.syntax.iterate(buf, len, len + simdjson::SIMDJSON_PADDING).get(doc)) return err;
  od::json_type type;
  if (auto err = doc.type().get(type)) return err;
  if (type != od::json_type::array && type != od::json_type::object) {
    scalar = true;
    return simdjson::SUCCESS;
  }
  if (layout != nullptr && type == od::json_type::object) {
    od::object object;
    if (auto err = doc.get_object().get(object)) return err;
    uint32_t ordinal = 0;
    for (auto item : object) {
      od::field field;
      if (auto err = std::move(item).get(field)) return err;
      if (auto err = readString(walk, field.key())) return err;
      od::value value = field.value();
      od::json_type memberType;
      if (auto err = value.type().get(memberType)) return err;
      if (memberType == od::json_type::array) {
        ListLayout list;
        list.ordinal = ordinal;
        if (auto err = readList(walk, doc, value, buf, list)) return err;
        if (!list.cuts.empty()) layout->lists.push_back(std::move(list));
      } else if (auto err = readAll(walk, value, 2)) {
        return err;
      }
      ++ordinal;
    }
  } else {
    od::value root;
    if (auto err = doc.get_value().get(root)) return err;
    if (auto err = readAll(walk, root, 1)) return err;
  }
  // The streaming parser stops after the top-level value; anything left is an error.
  const char* rest = nullptr;
  if (!doc.current_location().get(rest)) return simdjson::TRAILING_CONTENT;
  return simdjson::SUCCESS;
}

// Timestamps are coarse: a file rewritten in place within one tick keeps its
// identity, so the cut bytes are looked at before the layout is trusted.
bool cutsHold(const Layout& layout, const char* buf, size_t len) {
  for (const ListLayout& list : layout.lists)
    if (!soundCuts(list.cuts, buf, len)) return false;
  return true;
}

const Layout* findLayout(const FileIdentity& identity, const char* buf, size_t len) {
  if (identity.size < 0) return nullptr;
  for (auto& [id, layout] : layoutCache())
    if (id == identity) return cutsHold(layout, buf, len) ? &layout : nullptr;
  return nullptr;
}

void keepLayout(const FileIdentity& identity, Layout&& layout) {
  // An empty layout is kept too: it spares the content check a walk that would find no lists.
  if (identity.size < 0) return;
  auto& cache = layoutCache();
  for (auto& [id, kept] : cache) {
    if (id.dev == identity.dev && id.ino == identity.ino) {
      id = identity;
      kept = std::move(layout);
      return;
    }
  }
  if (cache.size() >= 16) cache.erase(cache.begin());
  cache.emplace_back(identity, std::move(layout));
}

}  // namespace

void setListBatchBytes(size_t bytes) {
  gListBatchBytes = bytes == 0 ? 1 : bytes;
  layoutCache().clear();
}

JSONParser::JSONParser(Lists lists) : m_lists(lists) {}
JSONParser::~JSONParser() = default;

int JSONParser::load(const char* path, uint32_t maxLineLength, const char*& buf, size_t& len) {
  std::string reason;
  if (!m_doc) m_doc = std::make_unique<Document>();
  m_doc->reset();
  if (!m_doc->slot) m_doc->slot = takeSlot();
  Slot& slot = *m_doc->slot;
  len = 0;
  if (path == nullptr || !loadFile(path, slot, len, reason, m_doc->identity)) {
    tbx::ErrorStorage::record(reason);
    return 1;
  }
  m_doc->text = slot.buffer;
  if (len >= 3 && std::memcmp(slot.buffer, "\xEF\xBB\xBF", 3) == 0) {  // byte-order mark
    m_doc->text += 3;
    len -= 3;
  }
  buf = m_doc->text;
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

namespace {

// Parses the file without the entries of its large lists, each list an empty
// array there, and ties those arrays to their lists.
simdjson::error_code parseSkeleton(Document& doc, const Layout& layout, size_t len, element& root) {
  const char* text = doc.text;
  size_t from = 0;
  size_t maxBatch = 0;
  for (const ListLayout& list : layout.lists) {
    doc.skeleton.insert(doc.skeleton.end(), text + from, text + list.cuts.front() + 1);
    from = list.cuts.back();
    for (size_t b = 0; b + 1 < list.cuts.size(); ++b) maxBatch = std::max(maxBatch, list.cuts[b + 1] - list.cuts[b] + 1);
  }
  doc.skeleton.insert(doc.skeleton.end(), text + from, text + len);
  const size_t skeletonLen = doc.skeleton.size();
  doc.skeleton.resize(skeletonLen + simdjson::SIMDJSON_PADDING, '\0');
  if (auto err = doc.slot->parse(doc.skeleton.data(), skeletonLen, root)) return err;
  simdjson::dom::object top;
  if (auto err = root.get_object().get(top)) return err;
  auto list = layout.lists.begin();
  uint32_t ordinal = 0;
  for (auto field : top) {
    if (list == layout.lists.end()) break;
    if (ordinal++ != list->ordinal) continue;
    if (!field.value.is_array()) return simdjson::TAPE_ERROR;
    auto entry = std::make_unique<List>();
    uint64_t raw[2];
    toRaw(field.value, raw);
    entry->id = raw[1];
    entry->layout = *list++;
    entry->tree.owner = &doc;
    // Batches are parsed into the same room, so a value kept past its batch
    // reads another entry's data rather than freed memory.
    if (auto err = entry->parser.allocate(maxBatch)) return err;
    doc.lists.push_back(std::move(entry));
  }
  return list == layout.lists.end() ? simdjson::SUCCESS : simdjson::TAPE_ERROR;
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

int JSONParser::parseFile(const char* path, Dictionary*& dict, Array*& array, uint32_t maxLineLength) {
  dict = nullptr;
  array = nullptr;
  m_top = Value();
  int rc = outOfMemoryFails([&]() -> int {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, maxLineLength, buf, len) != 0) return 1;
    Slot& slot = *m_doc->slot;
    const Layout* layout = nullptr;
    Layout walked;
    if (m_lists == Batched && len > gListBatchBytes) {
      layout = findLayout(m_doc->identity, buf, len);
      if (layout == nullptr) {
        bool scalar = false;
        if (simdjson::error_code err = readDocument(slot, buf, len, scalar, &walked)) return fail(err, buf, len);
        layout = &walked;
      }
    }
    slot.releaseStreaming();
    element root;
    simdjson::error_code err = layout != nullptr && !layout->lists.empty() ? parseSkeleton(*m_doc, *layout, len, root)
                                                                          : slot.parse(buf, len, root);
    if (err) return fail(err, buf, len);
    m_top = m_doc->main.wrap(root);
    if (root.is_object()) dict = &m_top;
    else if (root.is_array()) array = &m_top;
    return 0;
  });
  if (rc != 0 && m_doc) m_doc->reset();
  return rc;
}

int JSONParser::checkSyntax(const char* path, uint32_t maxLineLength) {
  m_top = Value();
  return outOfMemoryFails([&]() -> int {
    const char* buf = nullptr;
    size_t len = 0;
    if (load(path, maxLineLength, buf, len) != 0) return 1;
    Slot& slot = *m_doc->slot;
    slot.releaseDocument();
    bool scalar = false;
    Layout layout;
    simdjson::error_code err = readDocument(slot, buf, len, scalar, len > gListBatchBytes ? &layout : nullptr);
    element root;
    if (!err && scalar) err = slot.parse(buf, len, root);
    if (err) return fail(err, buf, len);
    keepLayout(m_doc->identity, std::move(layout));
    return 0;
  });
}

namespace {
bool s_positionsWanted = false;
}

void setPositionsWanted(bool on) { s_positionsWanted = on; }
bool positionsWanted() { return s_positionsWanted; }
Location locate(const Value&) { return Location{}; }
Location locateKey(const bcf_iterator&) { return Location{}; }

const char* const FWKeys::NAMEKEY = "name";
const char* const FWKeys::NODEKEY = "node";
const char* const FWKeys::PROCARRAY = "procs";

}  // namespace kit::config
