// Sorted sets of declared names and ids. Inserting tells whether the key was
// new, which is how the checks find names defined twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <string_view>

namespace support {

// Reports an exhausted heap through the global error handler and retries,
// so that no allocation failure escapes as an exception.
void* allocateOrReport(std::size_t bytes);
void release(void* p) noexcept;

// Test hook: the next `count` allocations of the name sets fail once each.
void injectAllocationFailures(unsigned count);

template <class T>
struct RetryAllocator {
  using value_type = T;
  RetryAllocator() = default;
  template <class U>
  RetryAllocator(const RetryAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) { return static_cast<T*>(allocateOrReport(n * sizeof(T))); }
  void deallocate(T* p, std::size_t) noexcept { release(p); }
  template <class U>
  bool operator==(const RetryAllocator<U>&) const noexcept { return true; }
};

using Key = std::basic_string<char, std::char_traits<char>, RetryAllocator<char>>;

// Tree nodes of one set, carved from large blocks. Nodes sit densely in the
// order they were inserted, and a set of a hundred thousand names is given
// back as about a hundred blocks. Nodes are never removed one by one.
class NodeArena {
 public:
  NodeArena() = default;
  NodeArena(const NodeArena&) = delete;
  NodeArena& operator=(const NodeArena&) = delete;
  ~NodeArena() { release(); }

  void* allocate(std::size_t bytes) {
    bytes = (bytes + 15) & ~std::size_t(15);
    if (bytes > m_left) grow(bytes);
    void* p = m_next;
    m_next += bytes;
    m_left -= bytes;
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
// std::string_view the same order, at memcmp speed.
inline std::string_view asCString(std::string_view key) {
  const void* nul = key.empty() ? nullptr : std::memchr(key.data(), '\0', key.size());
  return nul == nullptr ? key : key.substr(0, static_cast<const char*>(nul) - key.data());
}

// Unsigned byte order, eight bytes a step: names share long prefixes, and a
// call to memcmp per tree level costs more than the comparison.
struct KeyLess {
  using is_transparent = void;
  bool operator()(std::string_view a, std::string_view b) const noexcept {
    std::size_t n = a.size() < b.size() ? a.size() : b.size();
    std::size_t i = 0;
    for (; i + 8 <= n; i += 8) {
      uint64_t x, y;
      std::memcpy(&x, a.data() + i, 8);
      std::memcpy(&y, b.data() + i, 8);
      if (x != y) return __builtin_bswap64(x) < __builtin_bswap64(y);
    }
    for (; i < n; ++i)
      if (a[i] != b[i]) return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[i]);
    return a.size() < b.size();
  }
};

class NameSet {
 public:
  // True when the key was added, false when an equal key was there already.
  bool insert(std::string_view key) {
    key = asCString(key);
    auto at = m_set.lower_bound(key);
    if (at != m_set.end() && std::string_view(*at) == key) return false;
    m_set.emplace_hint(at, key);
    return true;
  }
  bool contains(std::string_view key) const { return m_set.find(asCString(key)) != m_set.end(); }
  std::size_t size() const { return m_set.size(); }
  void destroy() {
    m_set.clear();
    m_arena.release();
  }

 private:
  NodeArena m_arena;  // declared first: it outlives the tree
  std::set<Key, KeyLess, ArenaAllocator<Key>> m_set{ArenaAllocator<Key>(&m_arena)};
};

class IntSet {
 public:
  bool insert(int32_t key) { return m_set.insert(key).second; }
  bool contains(int32_t key) const { return m_set.find(key) != m_set.end(); }
  std::size_t size() const { return m_set.size(); }
  void destroy() {
    m_set.clear();
    m_arena.release();
  }

 private:
  NodeArena m_arena;
  std::set<int32_t, std::less<int32_t>, ArenaAllocator<int32_t>> m_set{ArenaAllocator<int32_t>(&m_arena)};
};

}  // namespace support
