#include "support/suggest.h"

#include <algorithm>

#include "platform/location.h"

namespace support {

namespace {

// Names longer than this are no typing slip; they get no suggestion.
constexpr std::size_t kLongest = 256;

void decode(std::string_view text, std::u32string& out) {
  out.clear();
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    int length = 1;
    out.push_back(*p >= 0xC0 ? kit::config::decodeUtf8(p, end, length) : *p);
    p += length;
  }
}

std::size_t codePointCount(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

char fold(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool sameButCase(std::string_view a, std::string_view b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) { return fold(x) == fold(y); });
}

// Optimal string alignment over three rows of the table, given as scratch.
uint32_t alignment(const std::u32string& a, const std::u32string& b, uint32_t limit, std::vector<uint32_t> (&rows)[3]) {
  const std::size_t n = a.size(), m = b.size();
  if ((n > m ? n - m : m - n) > limit) return limit + 1;
  auto* before = &rows[0];
  auto* last = &rows[1];
  auto* row = &rows[2];
  for (auto* r : {before, last, row}) r->assign(m + 1, 0);
  for (std::size_t j = 0; j <= m; ++j) (*last)[j] = static_cast<uint32_t>(j);
  for (std::size_t i = 1; i <= n; ++i) {
    (*row)[0] = static_cast<uint32_t>(i);
    uint32_t least = (*row)[0];
    for (std::size_t j = 1; j <= m; ++j) {
      const uint32_t change = a[i - 1] == b[j - 1] ? 0 : 1;
      uint32_t best = std::min({(*last)[j] + 1, (*row)[j - 1] + 1, (*last)[j - 1] + change});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) best = std::min(best, (*before)[j - 2] + 1);
      (*row)[j] = best;
      least = std::min(least, best);
    }
    if (least > limit) return limit + 1;  // no later row comes back under it
    std::swap(before, last);
    std::swap(last, row);
  }
  return std::min((*last)[m], limit + 1);
}

}  // namespace

uint32_t editDistance(std::string_view left, std::string_view right, uint32_t limit) {
  std::u32string a, b;
  decode(left, a);
  decode(right, b);
  std::vector<uint32_t> rows[3];
  return alignment(a, b, limit, rows);
}

Nearest::Nearest(std::string_view w) : word(w) {
  decode(w, decoded);
  limit = static_cast<uint32_t>(std::max<std::size_t>(decoded.size(), 3) / 3);
}

void Nearest::offer(std::string_view candidate) {
  ++offered;
  if (candidate.empty() || candidate == word || word.empty() || decoded.size() > kLongest || candidate.size() > kLongest * 4)
    return;
  uint32_t rank = 0;
  if (!sameButCase(candidate, word)) {
    if (bestRank == 0) return;
    const uint32_t most = std::min(limit, bestRank == UINT32_MAX ? limit : bestRank - 1);
    // Most candidates differ too much in length to be near.
    const std::size_t n = decoded.size(), m = codePointCount(candidate);
    if ((n > m ? n - m : m - n) > most) return;
    decode(candidate, other);
    const uint32_t edits = alignment(decoded, other, most, rows);
    if (edits > most) return;
    rank = edits + 1;
  }
  if (rank < bestRank) {
    bestRank = rank;
    bestName = candidate;
    ambiguous = false;
  } else if (rank == bestRank && candidate != bestName) {
    ambiguous = true;
  }
}

}  // namespace support
