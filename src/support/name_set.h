// Sorted sets of declared names and ids. Inserting tells whether the key was
// new, which is how the checks find names defined twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <new>
#include <set>
#include <string_view>

namespace support {

// Reports an exhausted heap through the global error handler and retries,
// so that no allocation failure escapes as an exception.
void* allocateOrReport(std::size_t bytes);
void release(void* p) noexcept;

// Test hook: the next `count` allocations of the name sets fail once each.
void injectAllocationFailures(unsigned count);

// Tree nodes and key copies of one set, carved from large blocks. Nodes sit
// densely in the order they were inserted, and a set of a hundred thousand
// names is given back as a dozen blocks. Nothing is removed one by one.
class NodeArena {
 public:
  NodeArena() = default;
  NodeArena(const NodeArena&) = delete;
  NodeArena& operator=(const NodeArena&) = delete;
  ~NodeArena() { release(); }

  // `align` is a power of two up to 16; a fresh block starts 16-aligned.
  void* allocate(std::size_t bytes, std::size_t align = 16) {
    std::size_t pad = (0 - reinterpret_cast<std::uintptr_t>(m_next)) & (align - 1);
    if (pad + bytes > m_left) {
      grow(bytes);
      pad = 0;
    }
    void* p = m_next + pad;
    m_next += pad + bytes;
    m_left -= pad + bytes;
    return p;
  }
  void release() noexcept;

 private:
  void grow(std::size_t bytes);

  struct Block {
    Block* previous;
  };
  Block* m_last = nullptr;
  char* m_next = nullptr;
  std::size_t m_left = 0;
  std::size_t m_blockBytes = 0;  // size of the next block
};

template <class T>
struct ArenaAllocator {
  using value_type = T;
  NodeArena* arena;
  explicit ArenaAllocator(NodeArena* a) noexcept : arena(a) {}
  template <class U>
  ArenaAllocator(const ArenaAllocator<U>& other) noexcept : arena(other.arena) {}
  T* allocate(std::size_t n) { return static_cast<T*>(arena->allocate(n * sizeof(T))); }
  void deallocate(T*, std::size_t) noexcept {}
  template <class U>
  bool operator==(const ArenaAllocator<U>& other) const noexcept { return arena == other.arena; }
};

// Keys are compared as C strings: in strcmp order, and a key ends at its first
// NUL byte. Cutting keys there makes the plain unsigned byte order of
// std::string_view the same order.
inline std::string_view asCString(std::string_view key) {
  const void* nul = key.empty() ? nullptr : std::memchr(key.data(), '\0', key.size());
  return nul == nullptr ? key : key.substr(0, static_cast<const char*>(nul) - key.data());
}

// A key as the tree holds it: its first eight bytes as one big-endian word,
// zero-padded, and the bytes after them. Names of a set mostly differ within
// their first eight bytes, so a tree level costs one integer comparison.
struct NameKey {
  uint64_t head = 0;
  mutable const char* tail = nullptr;  // bytes 8 to size; the set's own copy once inserted
  uint32_t size = 0;

  static NameKey of(std::string_view text) {
    NameKey key;
    key.size = static_cast<uint32_t>(text.size());
    unsigned char bytes[8] = {};
    if (!text.empty()) std::memcpy(bytes, text.data(), text.size() < 8 ? text.size() : 8);
    std::memcpy(&key.head, bytes, 8);
    key.head = __builtin_bswap64(key.head);
    key.tail = text.size() > 8 ? text.data() + 8 : nullptr;
    return key;
  }
};

// Unsigned byte order. Without NUL bytes in keys, equal heads with either key
// of eight bytes or fewer mean the shorter is a prefix of the longer.
struct KeyLess {
  bool operator()(const NameKey& a, const NameKey& b) const noexcept {
    if (a.head != b.head) return a.head < b.head;
    if (a.size <= 8 || b.size <= 8) return a.size < b.size;
    std::size_t n = (a.size < b.size ? a.size : b.size) - 8;
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
      uint64_t x, y;
      std::memcpy(&x, a.tail + i, 8);
      std::memcpy(&y, b.tail + i, 8);
      if (x != y) return __builtin_bswap64(x) < __builtin_bswap64(y);
    }
    for (; i < n; ++i)
      if (a.tail[i] != b.tail[i]) return static_cast<unsigned char>(a.tail[i]) < static_cast<unsigned char>(b.tail[i]);
    return a.size < b.size;
  }
};

// A std::set whose nodes live in an arena. Its values need no destruction and
// its allocator frees nothing, so the tree is never walked to be torn down:
// the arena gives its blocks back.
template <class T, class Less>
class ArenaSet {
 public:
  using Tree = std::set<T, Less, ArenaAllocator<T>>;
  ArenaSet() { new (&m_tree) Tree(ArenaAllocator<T>(&m_arena)); }
  ArenaSet(const ArenaSet&) = delete;
  ArenaSet& operator=(const ArenaSet&) = delete;
  ~ArenaSet() {}
  void reset() {
    m_arena.release();
    new (&m_tree) Tree(ArenaAllocator<T>(&m_arena));
  }
  Tree& tree() { return m_tree; }
  const Tree& tree() const { return m_tree; }
  NodeArena& arena() { return m_arena; }

 private:
  NodeArena m_arena;  // declared first: it outlives the tree
  union {
    Tree m_tree;
  };
};

class NameSet {
 public:
  // True when the key was added, false when an equal key was there already.
  bool insert(std::string_view key) {
    key = asCString(key);
    auto& tree = m_set.tree();
    const std::size_t before = tree.size();
    // Names are often declared in order; then the hint makes this constant time.
    auto at = tree.emplace_hint(tree.end(), NameKey::of(key));
    if (tree.size() == before) return false;
    if (key.size() > 8) {
      char* copy = static_cast<char*>(m_set.arena().allocate(key.size() - 8, 1));
      std::memcpy(copy, key.data() + 8, key.size() - 8);
      at->tail = copy;  // same bytes, so the order is unchanged
    }
    return true;
  }
  bool contains(std::string_view key) const {
    NameKey probe = NameKey::of(asCString(key));
    const auto& tree = m_set.tree();
    // Command lists tend to name the same application several times in a
    // row, and to go through the processes in the order they were declared.
    if (m_lastFound != tree.end()) {
      if (same(*m_lastFound, probe)) return true;
      auto next = std::next(m_lastFound);
      if (next != tree.end() && same(*next, probe)) {
        m_lastFound = next;
        return true;
      }
    }
    auto at = tree.find(probe);
    if (at == tree.end()) return false;
    m_lastFound = at;
    return true;
  }
  std::size_t size() const { return m_set.tree().size(); }
  void destroy() {
    m_set.reset();
    m_lastFound = m_set.tree().end();
  }

 private:
  static bool same(const NameKey& a, const NameKey& b) {
    return a.head == b.head && a.size == b.size && (a.size <= 8 || std::memcmp(a.tail, b.tail, a.size - 8) == 0);
  }
  ArenaSet<NameKey, KeyLess> m_set;
  mutable ArenaSet<NameKey, KeyLess>::Tree::const_iterator m_lastFound = m_set.tree().end();
};

class IntSet {
 public:
  bool insert(int32_t key) {
    auto& tree = m_set.tree();
    const std::size_t before = tree.size();
    tree.emplace_hint(tree.end(), key);  // ids are often declared in order
    return tree.size() != before;
  }
  bool contains(int32_t key) const { return m_set.tree().count(key) != 0; }
  std::size_t size() const { return m_set.tree().size(); }
  void destroy() { m_set.reset(); }

 private:
  ArenaSet<int32_t, std::less<int32_t>> m_set;
};

}  // namespace support
