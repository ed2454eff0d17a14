#include "platform/location.h"

#include <algorithm>
#include <cstring>
#include <iterator>

namespace kit::config {

namespace {

struct WidthRange {
  char32_t first, last;
  int width;
};

constexpr WidthRange kWidths[] = {
#include "platform/display_width_table.inc"
};

}  // namespace

char32_t decodeUtf8(const unsigned char* p, const unsigned char* end, int& length) {
  const unsigned char lead = *p;
  length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  char32_t cp = lead & (0x3F >> (length - 1));
  for (int i = 1; i < length; ++i) {
    if (p + i >= end || (p[i] & 0xC0) != 0x80) {
      length = 1;
      return 0xFFFD;
    }
    cp = cp << 6 | (p[i] & 0x3F);
  }
  return cp;
}

int displayWidth(char32_t cp) {
  if (cp < kWidths[0].first) return 1;
  auto it = std::upper_bound(std::begin(kWidths), std::end(kWidths), cp,
                             [](char32_t c, const WidthRange& r) { return c < r.first; });
  if (it == std::begin(kWidths) || cp > (it - 1)->last) return 1;
  return (it - 1)->width;
}

void advance(Location& at, const char* from, const char* to, const char* end) {
  const auto* p = reinterpret_cast<const unsigned char*>(from);
  const auto* stop = reinterpret_cast<const unsigned char*>(to);
  const auto* limit = reinterpret_cast<const unsigned char*>(end);
  // Eight plain ASCII bytes at a time (no tab, no line feed): each is a
  // column in every unit. Names and keys are mostly such text.
  constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
  auto holds = [](uint64_t w, unsigned char b) {
    const uint64_t x = w ^ (kOnes * b);
    return ((x - kOnes) & ~x & kHighs) != 0;
  };
  for (; p < stop; ++p) {
    while (stop - p >= 8) {
      uint64_t w;
      std::memcpy(&w, p, sizeof w);
      if ((w & kHighs) != 0 || holds(w, '\t') || holds(w, '\n')) break;
      at.column += 8;
      at.utf16 += 8;
      at.display += 8;
      p += 8;
    }
    if (p == stop) break;
    const unsigned char c = *p;
    if (c == '\n') {
      ++at.line;
      at.column = at.display = at.utf16 = 1;
    } else if (c == '\t') {
      ++at.column;
      ++at.utf16;
      at.display = (at.display - 1) / 8 * 8 + 9;
    } else if (c < 0x80) {
      ++at.column;
      ++at.utf16;
      ++at.display;
    } else if (c >= 0xC0) {
      int length = 1;
      const char32_t cp = decodeUtf8(p, limit, length);
      ++at.column;
      at.utf16 += cp > 0xFFFF ? 2 : 1;
      at.display += static_cast<uint32_t>(displayWidth(cp));
    }
  }
}

void spanTo(Location& at, const char* from, const char* to, const char* end) {
  if (to <= from) to = from < end ? from + 1 : from;
  const void* lf = std::memchr(from, '\n', static_cast<size_t>(to - from));
  if (lf != nullptr) to = static_cast<const char*>(lf);
  Location past = at;
  advance(past, from, to, end);
  if (past.column == at.column) {  // at a line's end or the text's
    ++past.column;
    ++past.display;
    ++past.utf16;
  }
  at.endColumn = past.column;
  at.endDisplay = past.display;
  at.endUtf16 = past.utf16;
}

size_t tokenLength(const char* from, const char* end) {
  if (from >= end) return 0;
  const char* p = from;
  if (*p == '"') {
    for (++p; p < end; ++p) {
      if (*p == '\\') ++p;
      else if (*p == '"') return static_cast<size_t>(p + 1 - from);
    }
    return static_cast<size_t>(end - from);
  }
  if (*p == '{' || *p == '[' || *p == '}' || *p == ']') return 1;
  while (p < end && *p != ',' && *p != '}' && *p != ']' && *p != ':' && *p != ' ' && *p != '\t' && *p != '\n' &&
         *p != '\r')
    ++p;
  return static_cast<size_t>(p - from);
}

void LineIndex::build(const char* text, size_t len) {
  clear();
  starts.push_back(0);
  wraps.push_back(0);
  for (const char* q = text; (q = static_cast<const char*>(std::memchr(q, '\n', text + len - q))) != nullptr;) {
    const size_t start = static_cast<size_t>(++q - text);
    while ((start >> 32) >= wraps.size()) wraps.push_back(starts.size());
    starts.push_back(static_cast<uint32_t>(start));
  }
  built = true;
}

void LineIndex::clear() {
  starts.clear();
  wraps.clear();
  built = false;
}

size_t LineIndex::lineOf(size_t offset, size_t& lineStart) const {
  // The lines that start in the offset's 4 GiB are [first, last).
  const size_t wrap = std::min(offset >> 32, wraps.size() - 1);
  const size_t first = wraps[wrap];
  const size_t last = wrap + 1 < wraps.size() ? wraps[wrap + 1] : starts.size();
  const auto low = static_cast<uint32_t>(wrap == offset >> 32 ? offset : UINT32_MAX);
  // Lines [0, line) start at or before the offset; the first starts at 0.
  const size_t line = static_cast<size_t>(std::upper_bound(starts.begin() + first, starts.begin() + last, low) - starts.begin());
  const size_t lineWrap = static_cast<size_t>(std::upper_bound(wraps.begin(), wraps.end(), line - 1) - wraps.begin()) - 1;
  lineStart = lineWrap << 32 | starts[line - 1];
  return line;
}

Location place(const char* text, size_t len, size_t start, size_t end, const LineIndex* index) {
  if (start > len) return Location{};
  size_t line = 1;
  size_t lineStart = 0;
  if (index != nullptr) {
    line = index->lineOf(start, lineStart);
  } else {
    for (const char* q = text; (q = static_cast<const char*>(std::memchr(q, '\n', text + start - q))) != nullptr; ++q) {
      ++line;
      lineStart = static_cast<size_t>(q - text) + 1;
    }
  }
  Location at{static_cast<uint32_t>(std::min<size_t>(line, UINT32_MAX)), 1, 1, 1};
  advance(at, text + lineStart, text + start, text + len);
  spanTo(at, text + start, text + std::min(end, len), text + len);
  return at;
}

}  // namespace kit::config
