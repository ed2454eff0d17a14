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

// strcmp order: unsigned bytes up to the first difference or terminator.
struct StrcmpLess {
  using is_transparent = void;
  static int compare(std::string_view a, std::string_view b) {
    std::size_t n = a.size() < b.size() ? a.size() : b.size();
    for (std::size_t i = 0; i < n; ++i) {
      unsigned char x = static_cast<unsigned char>(a[i]);
      unsigned char y = static_cast<unsigned char>(b[i]);
      if (x != y) return x < y ? -1 : 1;
      if (x == 0) return 0;
    }
    unsigned char x = a.size() > n ? static_cast<unsigned char>(a[n]) : 0;
    unsigned char y = b.size() > n ? static_cast<unsigned char>(b[n]) : 0;
    return x == y ? 0 : (x < y ? -1 : 1);
  }
  bool operator()(std::string_view a, std::string_view b) const { return compare(a, b) < 0; }
};

class NameSet {
 public:
  // True when the key was added, false when an equal key was there already.
  bool insert(std::string_view key) { return m_set.emplace(key).second; }
  bool contains(std::string_view key) const { return m_set.find(key) != m_set.end(); }
  std::size_t size() const { return m_set.size(); }
  void destroy() { m_set.clear(); }

 private:
  std::set<Key, StrcmpLess, RetryAllocator<Key>> m_set;
};

class IntSet {
 public:
  bool insert(int32_t key) { return m_set.insert(key).second; }
  bool contains(int32_t key) const { return m_set.find(key) != m_set.end(); }
  std::size_t size() const { return m_set.size(); }
  void destroy() { m_set.clear(); }

 private:
  std::set<int32_t, std::less<int32_t>, RetryAllocator<int32_t>> m_set;
};

}  // namespace support
