// Where something stands in a text, in the units its readers count.
#pragma once

#include <cstddef>
#include <cstdint>

namespace kit::config {

// Line and columns from 1; {0, 0, 0} when unknown. `column` counts code
// points (a tab is one); `display` is the column GNU tools and editors show:
// tab stops every 8, East Asian wide characters 2, combining marks 0.
struct Location {
  uint32_t line = 0;
  uint32_t column = 0;
  uint32_t display = 0;
};

inline constexpr Location kTextStart{1, 1, 1};

// The code point of the UTF-8 sequence at `p` (whose lead byte is 0xC0 or
// more) and its length; a sequence cut short is U+FFFD of length 1.
char32_t decodeUtf8(const unsigned char* p, const unsigned char* end, int& length);
// Columns a code point takes on a terminal: 0, 1 or 2.
int displayWidth(char32_t cp);

// Moves `at` over the bytes [from, to) of a text that ends at `end`. A code
// point cut by `to` is counted whole; its continuation bytes count as
// nothing, so the walk can go on from `to`.
void advance(Location& at, const char* from, const char* to, const char* end);

}  // namespace kit::config
