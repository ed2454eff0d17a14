// Which declared or allowed name a misspelt one most likely meant: one that
// differs from it in case alone, else the one fewest edits away (inserting,
// deleting or changing a character, or swapping two side by side), at most a
// third of its length (at least one edit). Two candidates as near as each
// other mean no answer: a guess that may be wrong is no help.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace support {

// Edits between `a` and `b`, counted in code points; `limit + 1` when more than `limit`.
uint32_t editDistance(std::string_view a, std::string_view b, uint32_t limit);

// Offer every candidate to one of these, then ask for the best.
struct Nearest {
  explicit Nearest(std::string_view word);
  void offer(std::string_view candidate);
  // The one nearest candidate, or empty when none is near enough or two are equally near.
  std::string_view best() const { return ambiguous ? std::string_view() : bestName; }

  std::string_view word;
  std::u32string decoded;
  uint32_t limit = 0;
  std::size_t offered = 0;  // candidates, for the run's budget
  uint32_t bestRank = UINT32_MAX;  // 0: the same but for case; otherwise edits + 1
  std::string_view bestName;
  bool ambiguous = false;
  // Scratch, kept from one candidate to the next.
  std::u32string other;
  std::vector<uint32_t> rows[3];
};

// The nearest of the names `each(offer)` offers, or empty; `offered` counts them.
template <class Each>
std::string nearest(std::string_view word, const Each& each, std::size_t& offered) {
  Nearest n(word);
  each([&n](std::string_view candidate) { n.offer(candidate); });
  offered += n.offered;
  return std::string(n.best());
}

}  // namespace support
