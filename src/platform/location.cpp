#include "platform/location.h"

#include <algorithm>
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
  for (; p < stop; ++p) {
    const unsigned char c = *p;
    if (c == '\n') {
      ++at.line;
      at.column = at.display = 1;
    } else if (c == '\t') {
      ++at.column;
      at.display = (at.display - 1) / 8 * 8 + 9;
    } else if (c < 0x80) {
      ++at.column;
      ++at.display;
    } else if (c >= 0xC0) {
      int length = 1;
      ++at.column;
      at.display += static_cast<uint32_t>(displayWidth(decodeUtf8(p, limit, length)));
    }
  }
}

}  // namespace kit::config
