// Where something stands in a text, in the units its readers count.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kit::config {

// Line and columns from 1; {0, 0, 0} when unknown. `column` counts code
// points (a tab is one); `display` is the column GNU tools and editors show:
// tab stops every 8, East Asian wide characters 2, combining marks 0;
// `utf16` counts UTF-16 code units (a code point above U+FFFF is 2), as
// language clients do.
// The end columns stand just past the token judged there, on the same line:
// no token spans lines. 0 when unknown.
struct Location {
  uint32_t line = 0;
  uint32_t column = 0;
  uint32_t display = 0;
  uint32_t utf16 = 0;
  uint32_t endColumn = 0;
  uint32_t endDisplay = 0;
  uint32_t endUtf16 = 0;
};

inline constexpr Location kTextStart{1, 1, 1, 1};

// The code point of the UTF-8 sequence at `p` (whose lead byte is 0xC0 or
// more) and its length; a sequence cut short is U+FFFD of length 1.
char32_t decodeUtf8(const unsigned char* p, const unsigned char* end, int& length);
// Columns a code point takes on a terminal: 0, 1 or 2.
int displayWidth(char32_t cp);

// Moves `at` over the bytes [from, to) of a text that ends at `end`. A code
// point cut by `to` is counted whole; its continuation bytes count as
// nothing, so the walk can go on from `to`.
void advance(Location& at, const char* from, const char* to, const char* end);
// Sets the end columns of `at`, which stands at `from`, past the token
// [from, to), or past one character when the token is empty. A line break
// ends the token.
void spanTo(Location& at, const char* from, const char* to, const char* end);

// The bytes of the JSON token that starts at `from`: a string with its
// quotes, a number or literal, a single bracket.
size_t tokenLength(const char* from, const char* end);

// Where the lines of a text start, found once in one pass.
struct LineIndex {
  // Offsets modulo 2^32, and the first line of each further 4 GiB, so that
  // a line costs 4 bytes.
  std::vector<uint32_t> starts;
  std::vector<size_t> wraps;
  bool built = false;

  void build(const char* text, size_t len);
  void clear();
  // The line (from 1) that holds `offset`, and where it starts.
  size_t lineOf(size_t offset, size_t& lineStart) const;
};

// The place of the token [start, end) of `text`; an empty token is one
// character. With `index` null the lines before are counted on the spot.
Location place(const char* text, size_t len, size_t start, size_t end, const LineIndex* index = nullptr);

}  // namespace kit::config
