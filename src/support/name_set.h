// Sets of declared names and ids. Inserting tells whether the key was new,
// which is how the checks find names defined twice.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

#include "platform/kit_config.h"

namespace support {

// Reports an exhausted heap through the global error handler and retries,
// so that no allocation failure escapes as an exception.
void* allocateOrReport(std::size_t bytes);
void release(void* p) noexcept;

// Test hook: the next `count` allocations of the name sets fail once each.
void injectAllocationFailures(unsigned count);

// Key copies of one set, carved from large blocks: a set of a hundred
// thousand names is given back as a dozen blocks.
class KeyArena {
 public:
  KeyArena() = default;
  KeyArena(const KeyArena&) = delete;
  KeyArena& operator=(const KeyArena&) = delete;
  ~KeyArena() { release(); }

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

// Keys are compared as C strings: a key ends at its first NUL byte.
inline std::string_view asCString(std::string_view key) {
  const void* nul = key.empty() ? nullptr : std::memchr(key.data(), '\0', key.size());
  return nul == nullptr ? key : key.substr(0, static_cast<const char*>(nul) - key.data());
}

// An all-zero block from allocateOrReport with room for `count` slots after
// its first cache-line boundary, so that no slot straddles two lines.
void* allocateTable(std::size_t count, std::size_t slotBytes);
inline void* cacheLineAligned(void* block) {
  return reinterpret_cast<void*>((reinterpret_cast<std::uintptr_t>(block) + 63) & ~std::uintptr_t(63));
}

// Open addressing with linear probing over a power-of-two table kept at most
// three quarters full. Names arrive in any order, and a lookup then costs the
// one or two cache lines of its probe instead of a tree walk. Nothing is
// removed one by one. A Slot is all zero when empty and tells its hash.
// Where each key was declared first may be kept beside the slots, for the
// finding of a repeat: only runs that show positions ask for it.
template <class Slot>
class SlotTable {
 public:
  SlotTable() = default;
  SlotTable(const SlotTable&) = delete;
  SlotTable& operator=(const SlotTable&) = delete;
  ~SlotTable() { release(); }

  // The slot that `match` accepts, or the empty slot where it would go.
  template <class Match>
  Slot* probe(uint32_t hash, Match match) const {
    for (uint32_t i = hash & m_mask;; i = (i + 1) & m_mask) {
      Slot* slot = m_slots + i;
      if (slot->empty() || match(*slot)) return slot;
    }
  }
  bool isEmpty() const { return m_size == 0; }
  std::size_t size() const { return m_size; }
  // Makes room for one more slot; call before probing for an insert.
  void reserveOne() {
    if (m_slots == nullptr || (std::size_t(m_size) + 1) * 4 > (std::size_t(m_mask) + 1) * 3) grow();
  }
  // Room for `count` slots at once, without the tables of every size on the way.
  void reserve(std::size_t count) {
    std::size_t slots = 16;
    while (count * 4 > slots * 3) slots *= 2;
    if (m_slots == nullptr || slots > std::size_t(m_mask) + 1) grow(slots);
  }
  template <class Visit>
  void forEach(Visit visit) const {
    for (std::size_t i = 0; m_slots != nullptr && i <= m_mask; ++i)
      if (!m_slots[i].empty()) visit(m_slots[i]);
  }
  void fill(Slot* slot, const Slot& value) {
    *slot = value;
    ++m_size;
  }
  void setPlace(const Slot* slot, const kit::config::Anchor& place) {
    if (m_places == nullptr) m_places = static_cast<kit::config::Anchor*>(allocateTable(std::size_t(m_mask) + 1, sizeof place));
    m_places[slot - m_slots] = place;
  }
  // The place kept for a filled slot; none when no place was kept.
  kit::config::Location placeOf(const Slot* slot) const {
    return m_places == nullptr ? kit::config::Location{} : kit::config::locate(m_places[slot - m_slots]);
  }
  void release() noexcept {
    support::release(m_places);
    m_places = nullptr;
    support::release(m_block);
    m_block = nullptr;
    m_slots = nullptr;
    m_mask = 0;
    m_size = 0;
  }

 private:
  void grow(std::size_t count = 0) {
    if (count == 0) count = m_slots == nullptr ? 16 : (std::size_t(m_mask) + 1) * 2;
    void* oldBlock = m_block;
    Slot* old = m_slots;
    kit::config::Anchor* oldPlaces = m_places;
    const std::size_t oldCount = old == nullptr ? 0 : std::size_t(m_mask) + 1;
    m_block = allocateTable(count, sizeof(Slot));
    m_slots = static_cast<Slot*>(cacheLineAligned(m_block));
    m_mask = static_cast<uint32_t>(count - 1);
    if (oldPlaces != nullptr) m_places = static_cast<kit::config::Anchor*>(allocateTable(count, sizeof *m_places));
    for (std::size_t i = 0; i < oldCount; ++i) {
      if (old[i].empty()) continue;
      Slot* slot = probe(old[i].hash(), [](const Slot&) { return false; });
      *slot = old[i];
      if (oldPlaces != nullptr) m_places[slot - m_slots] = oldPlaces[i];
    }
    support::release(oldPlaces);
    support::release(oldBlock);
  }

  void* m_block = nullptr;
  Slot* m_slots = nullptr;
  kit::config::Anchor* m_places = nullptr;
  uint32_t m_mask = 0;
  uint32_t m_size = 0;
};

inline uint32_t nameHash(std::string_view key) {
  const uint64_t h = std::hash<std::string_view>{}(key);
  return static_cast<uint32_t>(h ^ (h >> 32));
}

// `stored` holds `storedSizePlusOne - 1` bytes; an empty view may hold no pointer.
inline bool sameName(uint32_t storedSizePlusOne, const char* stored, std::string_view key) {
  return storedSizePlusOne == key.size() + 1 && (key.empty() || std::memcmp(stored, key.data(), key.size()) == 0);
}

class NameSet {
 public:
  // True when the key was added, false when an equal key was there already.
  // With positions wanted, `place()` (an Anchor) is kept for firstPlace.
  template <class Place>
  bool insert(std::string_view key, Place place) {
    const Slot* slot = nullptr;
    if (!insertSlot(key, slot)) return false;
    if (kit::config::positionsWanted()) m_table.setPlace(slot, place());
    return true;
  }
  bool insert(std::string_view key) {
    const Slot* slot = nullptr;
    return insertSlot(key, slot);
  }
  // Where the key was inserted first, when a place was kept.
  kit::config::Location firstPlace(std::string_view key) const {
    if (m_table.isEmpty()) return {};
    key = asCString(key);
    const Slot* slot = m_table.probe(hashOf(key), Same{key, hashOf(key)});
    return slot->empty() ? kit::config::Location{} : m_table.placeOf(slot);
  }
  bool contains(std::string_view key) const {
    if (m_table.isEmpty()) return false;
    key = asCString(key);
    const uint32_t hash = hashOf(key);
    return !m_table.probe(hash, Same{key, hash})->empty();
  }
  std::size_t size() const { return m_table.size(); }
  // Every key, in no particular order.
  template <class Visit>
  void forEach(Visit visit) const {
    m_table.forEach([&visit](const Slot& slot) { visit(std::string_view(slot.key(), slot.sizePlusOne - 1)); });
  }
  void reserve(std::size_t count) { m_table.reserve(count); }
  void destroy() {
    m_table.release();
    m_keys.release();
  }

 private:
  // Most names fit the slot itself, so a hit reads one cache line.
  static constexpr std::size_t kInline = 24;
  struct Slot {
    uint32_t hashBits;
    uint32_t sizePlusOne;  // 0: empty
    char bytes[kInline];   // the key, or a pointer to its copy when longer
    bool empty() const { return sizePlusOne == 0; }
    uint32_t hash() const { return hashBits; }
    const char* key() const {
      if (sizePlusOne - 1 <= kInline) return bytes;
      const char* copy;
      std::memcpy(&copy, bytes, sizeof copy);
      return copy;
    }
  };
  struct Same {
    std::string_view key;
    uint32_t hash;
    bool operator()(const Slot& slot) const {
      return slot.hashBits == hash && sameName(slot.sizePlusOne, slot.key(), key);
    }
  };
  static uint32_t hashOf(std::string_view key) { return nameHash(key); }

  // Adds the key; `filled` is its slot.
  bool insertSlot(std::string_view key, const Slot*& filled) {
    key = asCString(key);
    const uint32_t hash = hashOf(key);
    m_table.reserveOne();
    Slot* slot = m_table.probe(hash, Same{key, hash});
    if (!slot->empty()) return false;
    Slot value{hash, static_cast<uint32_t>(key.size()) + 1, {}};
    if (key.size() <= kInline) {
      if (!key.empty()) std::memcpy(value.bytes, key.data(), key.size());  // an empty view may hold no pointer
    } else {
      char* copy = static_cast<char*>(m_keys.allocate(key.size(), 1));
      std::memcpy(copy, key.data(), key.size());
      std::memcpy(value.bytes, &copy, sizeof copy);
    }
    m_table.fill(slot, value);
    filled = slot;
    return true;
  }

  SlotTable<Slot> m_table;
  KeyArena m_keys;
};

class IntSet {
 public:
  // As NameSet::insert.
  template <class Place>
  bool insert(int32_t key, Place place) {
    m_table.reserveOne();
    Slot* slot = m_table.probe(hashOf(key), Same{key});
    if (!slot->empty()) return false;
    m_table.fill(slot, Slot{static_cast<uint32_t>(key), 1});
    if (kit::config::positionsWanted()) m_table.setPlace(slot, place());
    return true;
  }
  bool insert(int32_t key) {
    return insert(key, [] { return kit::config::Anchor{}; });
  }
  kit::config::Location firstPlace(int32_t key) const {
    if (m_table.isEmpty()) return {};
    const Slot* slot = m_table.probe(hashOf(key), Same{key});
    return slot->empty() ? kit::config::Location{} : m_table.placeOf(slot);
  }
  bool contains(int32_t key) const { return !m_table.isEmpty() && !m_table.probe(hashOf(key), Same{key})->empty(); }
  std::size_t size() const { return m_table.size(); }
  void reserve(std::size_t count) { m_table.reserve(count); }
  void destroy() { m_table.release(); }

 private:
  struct Slot {
    uint32_t key;
    uint32_t used;
    bool empty() const { return used == 0; }
    uint32_t hash() const { return hashOf(static_cast<int32_t>(key)); }
  };
  struct Same {
    int32_t key;
    bool operator()(const Slot& slot) const { return slot.key == static_cast<uint32_t>(key); }
  };
  // Ids are often consecutive; the multiplication spreads them over the table.
  static uint32_t hashOf(int32_t key) {
    return static_cast<uint32_t>((uint64_t(static_cast<uint32_t>(key)) * 0x9E3779B97F4A7C15ull) >> 32);
  }

  SlotTable<Slot> m_table;
};

}  // namespace support
