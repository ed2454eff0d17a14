#include "platform/json_error_position.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstring>
#include <iterator>
#include <string_view>

namespace kit::config {

namespace {

// Input iterator that records how far the parser has read, so that a fault
// found in a callback can be placed.
struct TrackingIter {
  using iterator_category = std::forward_iterator_tag;
  using value_type = char;
  using difference_type = std::ptrdiff_t;
  using pointer = const char*;
  using reference = const char&;

  const char* p = nullptr;
  const char** furthest = nullptr;

  reference operator*() const { return *p; }
  TrackingIter& operator++() {
    ++p;
    if (p > *furthest) *furthest = p;
    return *this;
  }
  TrackingIter operator++(int) {
    TrackingIter old = *this;
    ++*this;
    return old;
  }
  bool operator==(const TrackingIter& o) const { return p == o.p; }
  bool operator!=(const TrackingIter& o) const { return p != o.p; }
};

using json = nlohmann::json;

struct Sax {
  std::size_t maxDepth = 0;
  std::size_t depth = 0;
  std::string problem;      // set when a callback stops the parse
  std::string token;        // the offending number, to place it
  std::size_t errorPos = 0; // where parse_error places the fault
  std::string errorText;

  bool null() { return true; }
  bool boolean(bool) { return true; }
  bool number_integer(json::number_integer_t) { return true; }
  bool number_unsigned(json::number_unsigned_t) { return true; }
  bool number_float(json::number_float_t value, const json::string_t& literal) {
    if (literal.find_first_of(".eE") == std::string::npos) {
      problem = "integer too large for 64 bits";
    } else if (!std::isfinite(value)) {
      problem = "number out of range";
    } else {
      return true;
    }
    token = literal;
    return false;
  }
  bool string(json::string_t&) { return true; }
  bool binary(json::binary_t&) { return true; }
  bool key(json::string_t&) { return true; }
  bool start_object(std::size_t) { return enter(); }
  bool end_object() { return leave(); }
  bool start_array(std::size_t) { return enter(); }
  bool end_array() { return leave(); }
  bool parse_error(std::size_t position, const std::string& lastToken, const nlohmann::detail::exception& ex) {
    if (ex.id == 406) {  // a number past the range of a double
      problem = "number out of range";
      token = lastToken;
      return false;
    }
    errorText = ex.what();
    std::size_t back = tokenLength(errorText, lastToken);
    errorPos = position >= back ? position - back : 0;
    return false;
  }

  // How far back from the parser's position the fault starts: a bad character
  // is the last one read; an unexpected token starts its own length back.
  static std::size_t tokenLength(const std::string& what, const std::string& lastToken) {
    if (what.find("; last read: '") != std::string::npos) return 1;
    if (what.find("unexpected string literal") != std::string::npos ||
        what.find("unexpected number literal") != std::string::npos)
      return lastToken.size();
    if (what.find("unexpected false literal") != std::string::npos) return 5;
    if (what.find("unexpected true literal") != std::string::npos ||
        what.find("unexpected null literal") != std::string::npos)
      return 4;
    return 1;  // a structural character, or the end of the input
  }

  bool enter() {
    if (++depth <= maxDepth) return true;
    problem = "nesting deeper than " + std::to_string(maxDepth) + " levels";
    return false;
  }
  bool leave() {
    --depth;
    return true;
  }
};

// Keeps a reason on one readable line whatever the input held.
std::string printable(std::string_view text, std::size_t maxLen) {
  std::string out;
  for (unsigned char c : text) {
    if (out.size() >= maxLen) {
      out += "...";
      break;
    }
    if (c >= 0x20 && c < 0x7f) {
      out += static_cast<char>(c);
    } else {
      static const char hex[] = "0123456789abcdef";
      out += "\\x";
      out += hex[c >> 4];
      out += hex[c & 15];
    }
  }
  return out;
}

// Shortens nlohmann's "...; last read: '<token>'" tail, which can hold a whole line.
std::string shortenMessage(const std::string& what) {
  std::string msg = what;
  std::size_t colon = msg.find(": ", msg.find("column"));
  if (msg.rfind("[json.exception", 0) == 0 && colon != std::string::npos) msg = msg.substr(colon + 2);
  const std::string tail = "; last read: '";
  std::size_t at = msg.find(tail);
  if (at != std::string::npos) {
    std::size_t from = at + tail.size();
    std::size_t close = msg.rfind("'; expected");
    if (close == std::string::npos || close < from) close = msg.size() > from && msg.back() == '\'' ? msg.size() - 1 : msg.size();
    std::string rest = close < msg.size() ? msg.substr(close + 1) : std::string();
    msg = msg.substr(0, at) + tail + printable(msg.substr(from, close - from), 40) + "'" + rest;
  }
  return printable(msg, 400);
}

std::string place(const char* text, std::size_t offset, const std::string& what) {
  std::size_t line = 1;
  std::size_t lineStart = 0;
  for (const char* q = text; (q = static_cast<const char*>(std::memchr(q, '\n', text + offset - q))) != nullptr; ++q) {
    ++line;
    lineStart = static_cast<std::size_t>(q - text) + 1;
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(offset - lineStart + 1) + ": " + what;
}

struct Fault {
  bool found = false;
  std::size_t offset = 0;
  std::string what;
};

Fault locate(const char* text, std::size_t len, std::size_t maxDepth) {
  const char* furthest = text;
  TrackingIter first{text, &furthest};
  TrackingIter last{text + len, &furthest};
  Sax sax;
  sax.maxDepth = maxDepth;
  Fault fault;
  try {
    if (json::sax_parse(first, last, &sax, json::input_format_t::json, true, false)) return fault;
  } catch (const std::exception& e) {
    fault.what = std::string("not enough memory to locate the fault: ") + e.what();
    return fault;
  }
  fault.found = true;
  if (!sax.errorText.empty()) {
    fault.offset = sax.errorPos > len ? len : sax.errorPos;
    fault.what = shortenMessage(sax.errorText);
    return fault;
  }
  fault.offset = static_cast<std::size_t>(furthest - text);
  if (!sax.token.empty()) {
    std::size_t start = std::string_view(text, fault.offset).rfind(sax.token);
    if (start != std::string_view::npos) fault.offset = start;
    fault.what = sax.problem + ": " + printable(sax.token, 40);
    return fault;
  }
  if (fault.offset > 0) --fault.offset;  // the bracket that went too deep
  fault.what = sax.problem;
  return fault;
}

}  // namespace

std::string describeJsonError(const char* text, std::size_t len, std::size_t maxDepth) {
  // nlohmann takes a NUL byte for the end of the input, so it is shown only
  // what comes before the first one; a fault found no earlier is the NUL itself.
  const void* nul = std::memchr(text, '\0', len);
  if (nul != nullptr) len = static_cast<std::size_t>(static_cast<const char*>(nul) - text);
  Fault fault = locate(text, len, maxDepth);
  if (nul != nullptr && (!fault.found || fault.offset >= len)) return place(text, len, "unexpected NUL byte");
  if (!fault.found) return fault.what;
  return place(text, fault.offset, fault.what);
}

}  // namespace kit::config
