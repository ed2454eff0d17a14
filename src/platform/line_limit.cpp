#include "platform/line_limit.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <cstring>

namespace kit::config {

namespace {

// Finds the first line longer than `limit`. Every file is scanned whole, so
// line feeds are found sixteen bytes at a time.
bool findLongLine(const char* buf, size_t len, uint32_t limit, size_t& lineStart) {
  size_t start = 0;
  auto tooLong = [&](size_t lf) {
    size_t end = lf > start && buf[lf - 1] == '\r' ? lf - 1 : lf;
    if (end - start > limit) return true;
    start = lf + 1;
    return false;
  };
  size_t i = 0;
#ifdef __SSE2__
  const __m128i newline = _mm_set1_epi8('\n');
  if (limit >= 64) {
    // Lines between two line feeds of one 64-byte block are shorter than the
    // limit, so only a block's first line feed ends a line worth measuring.
    for (; i + 64 <= len; i += 64) {
      uint64_t mask = 0;
      for (unsigned k = 0; k < 4; ++k) {
        __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + i + 16 * k));
        mask |= uint64_t(unsigned(_mm_movemask_epi8(_mm_cmpeq_epi8(chunk, newline)))) << (16 * k);
      }
      if (mask == 0) continue;
      if (tooLong(i + __builtin_ctzll(mask))) {
        lineStart = start;
        return true;
      }
      start = i + 64 - __builtin_clzll(mask);
    }
  }
  for (; i + 16 <= len; i += 16) {
    __m128i chunk = _mm_loadu_si128(reinterpret_cast<const __m128i*>(buf + i));
    for (unsigned mask = _mm_movemask_epi8(_mm_cmpeq_epi8(chunk, newline)); mask != 0; mask &= mask - 1) {
      if (tooLong(i + __builtin_ctz(mask))) {
        lineStart = start;
        return true;
      }
    }
  }
#endif
  for (; i < len; ++i) {
    if (buf[i] == '\n' && tooLong(i)) {
      lineStart = start;
      return true;
    }
  }
  lineStart = start;
  return len - start > limit;  // the last line, without a line feed
}

}  // namespace

bool lineTooLong(const char* buf, size_t len, uint32_t limit, std::string& reason, Location& at) {
  size_t start = 0;
  if (limit == 0 || !findLongLine(buf, len, limit, start)) return false;
  const void* lf = std::memchr(buf + start, '\n', len - start);
  size_t stop = lf ? static_cast<const char*>(lf) - buf : len;
  if (lf != nullptr && stop > start && buf[stop - 1] == '\r') --stop;
  // Bytes, not characters: the limit is on what the system's reader buffers.
  at = place(buf, len, start + limit, start + limit);
  reason = "line " + std::to_string(at.line) + " is " + std::to_string(stop - start) + " bytes long, more than the limit of " +
           std::to_string(limit) + " bytes";
  return true;
}

}  // namespace kit::config
