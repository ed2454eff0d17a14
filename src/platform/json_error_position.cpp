#include "platform/json_error_position.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <string_view>
#include <vector>

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
  const char* text = nullptr;
  const char* const* furthest = nullptr;
  std::size_t maxDepth = 0;
  std::vector<std::size_t> opened;  // where each open bracket stands
  std::string problem;              // set when a callback stops the parse
  std::string token;                // the offending number, to place it
  std::size_t errorPos = 0;         // where parse_error places the fault
  std::string errorText;

  // simdjson takes any value inside the deepest level for too deep, not only
  // a bracket; such a fault is placed at the bracket the value stands in.
  std::size_t deepBracket = SIZE_MAX;
  bool scalar() {
    if (opened.size() < maxDepth) return true;
    problem = "nesting deeper than " + std::to_string(maxDepth) + " levels";
    deepBracket = opened.back();
    return false;
  }
  bool null() { return scalar(); }
  bool boolean(bool) { return scalar(); }
  bool number_integer(json::number_integer_t) { return scalar(); }
  bool number_unsigned(json::number_unsigned_t) { return scalar(); }
  bool number_float(json::number_float_t value, const json::string_t& literal) {
    if (!scalar()) return false;
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
  bool string(json::string_t&) { return scalar(); }
  bool binary(json::binary_t&) { return true; }
  bool key(json::string_t&) { return scalar(); }
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
    if (opened.size() >= maxDepth) {
      problem = "nesting deeper than " + std::to_string(maxDepth) + " levels";
      return false;
    }
    // the bracket is the last byte read
    opened.push_back(static_cast<std::size_t>(*furthest - text) - 1);
    return true;
  }
  bool leave() {
    opened.pop_back();
    return true;
  }
};

const char kHex[] = "0123456789abcdef";

std::string codePoint(unsigned cp) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", cp);
  return text;
}

std::string hexByte(unsigned char c) { return std::string("0x") + kHex[c >> 4] + kHex[c & 15]; }

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
      out += "\\x";
      out += kHex[c >> 4];
      out += kHex[c & 15];
    }
  }
  return out;
}

std::string lineAndColumn(Location at) {
  return "line " + std::to_string(at.line) + ", column " + std::to_string(at.column);
}

// `end`: past the offending token; 0 when only its start is known.
JsonError placed(const char* text, std::size_t len, std::size_t offset, std::size_t end, const std::string& what) {
  JsonError e;
  e.place.at = place(text, len, offset, end);
  e.reason = lineAndColumn(e.place.at) + ": " + what;
  return e;
}

struct Fault {
  bool found = false;
  std::size_t offset = 0;
  std::string what;
  std::size_t open = SIZE_MAX;  // the bracket a text that ends too early leaves open
  std::size_t end = 0;          // past the offending token, when known
};

// A file that is not UTF-8 shows it in its first bytes: a byte order mark,
// or the zero bytes that UTF-16 and UTF-32 give ASCII text.
std::string otherEncoding(const unsigned char* b, std::size_t len) {
  auto starts = [&](std::initializer_list<int> bytes) {
    if (len < bytes.size()) return false;
    std::size_t i = 0;
    for (int v : bytes)
      if (v >= 0 ? b[i++] != v : b[i++] == 0) return false;  // -1: any byte but zero
    return true;
  };
  const char* name = nullptr;
  if (starts({0xff, 0xfe, 0, 0}) || starts({-1, 0, 0, 0})) name = "UTF-32 (little-endian)";
  else if (starts({0, 0, 0xfe, 0xff}) || starts({0, 0, 0, -1})) name = "UTF-32 (big-endian)";
  else if (starts({0xff, 0xfe}) || starts({-1, 0, -1, 0})) name = "UTF-16 (little-endian)";
  else if (starts({0xfe, 0xff}) || starts({0, -1, 0, -1})) name = "UTF-16 (big-endian)";
  if (name == nullptr) return "";
  return std::string("the file is in ") + name + ", not UTF-8: save it as UTF-8";
}

// Length of the well-formed UTF-8 sequence at `p`, 0 when it is not one.
std::size_t utf8Length(const unsigned char* p, std::size_t avail, char32_t& cp) {
  std::size_t n = p[0] < 0x80 ? 1 : p[0] >= 0xc2 && p[0] < 0xe0 ? 2 : p[0] >= 0xe0 && p[0] < 0xf0 ? 3 : p[0] >= 0xf0 && p[0] < 0xf5 ? 4 : 0;
  if (n == 0 || n > avail) return 0;
  cp = n == 1 ? p[0] : p[0] & (0x3f >> (n - 1));
  for (std::size_t i = 1; i < n; ++i) {
    if ((p[i] & 0xc0) != 0x80) return 0;
    cp = (cp << 6) | (p[i] & 0x3f);
  }
  static const char32_t least[] = {0, 0, 0x80, 0x800, 0x10000};
  if (cp < least[n] || cp > 0x10ffff || (cp >= 0xd800 && cp < 0xe000)) return 0;
  return n;
}

struct Scan {
  const char* text;
  std::size_t len;
  std::size_t at;  // where the event parser placed the fault
  std::string context, detail, expected;
  const std::vector<std::size_t>& opened;

  int byte(std::size_t i) const { return i < len ? static_cast<unsigned char>(text[i]) : -1; }
  static bool space(int c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }
  static bool wordChar(int c) { return std::isalnum(c) || c == '_' || c == '$'; }
  std::size_t skipBack(std::size_t i) const {
    while (i > 0 && space(byte(i - 1))) --i;
    return i;
  }
  bool inObject() const { return !opened.empty() && text[opened.back()] == '{'; }
};

Fault at(std::size_t offset, std::string what, std::size_t end = 0) {
  return Fault{true, offset, std::move(what), SIZE_MAX, end};
}

// The bytes of the broken UTF-8 sequence that ends at `at`.
Fault badUtf8(const Scan& s) {
  // the byte that broke the sequence belongs to it unless it is ASCII
  std::size_t end = s.byte(s.at) >= 0x80 ? s.at + 1 : s.at;
  std::size_t start = end > 0 ? end - 1 : 0;
  while (start > 0 && end - start < 4 && (s.byte(start) & 0xc0) == 0x80 && s.byte(start - 1) >= 0x80) --start;
  std::string bytes;
  for (std::size_t i = start; i < end; ++i) {
    if (!bytes.empty()) bytes += ' ';
    bytes += hexByte(static_cast<unsigned char>(s.text[i]));
  }
  return at(start, std::string(end - start > 1 ? "invalid UTF-8: bytes " : "invalid UTF-8: byte ") + bytes, end);
}

Fault controlInString(const Scan& s) {
  int c = s.byte(s.at);
  switch (c) {
    case '\t': return at(s.at, "tab inside a string: write it as \\t");
    case '\n':
    case '\r': return at(s.at, "line break inside a string: close the string, or write the break as \\n");
    case '\b': return at(s.at, "backspace inside a string: write it as \\b");
    case '\f': return at(s.at, "form feed inside a string: write it as \\f");
  }
  std::string escape = std::string("\\u00") + kHex[c >> 4] + kHex[c & 15];
  return at(s.at, "control character " + codePoint(c) + " inside a string: write it as " + escape);
}

std::string_view wordAt(const Scan& s, std::size_t start) {
  std::size_t end = start;
  while (Scan::wordChar(s.byte(end))) ++end;
  return std::string_view(s.text + start, end - start);
}

// A word where a value or a key should be: a word of another language, or text without quotes.
Fault word(const Scan& s, std::size_t start) {
  std::string w(wordAt(s, start));
  std::size_t end = start + w.size();
  std::string lower;
  for (char c : w) lower += static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (s.context == "object key") return at(start, "unquoted key '" + printable(w, 40) + "': keys take double quotes", end);
  bool sign = start > 0 && (s.text[start - 1] == '-' || s.text[start - 1] == '+');
  if (lower == "nan" || lower == "infinity" || lower == "inf") {
    if (sign) --start;
    return at(start, "'" + printable(std::string_view(s.text + start, end - start), 40) +
                         "' is not a JSON number: JSON has no NaN or Infinity",
              end);
  }
  const char* meant = lower == "true" ? "true" : lower == "false" ? "false"
                    : lower == "none" || lower == "null" || lower == "nil" || lower == "undefined" ? "null" : nullptr;
  for (const char* literal : {"true", "false", "null"})
    if (meant == nullptr && std::string_view(literal).substr(0, lower.size()) == lower) meant = literal;
  if (meant != nullptr && w != meant) return at(start, "'" + printable(w, 40) + "' is not JSON: write " + meant, end);
  return at(start, "unquoted text '" + printable(w, 40) + "': strings take double quotes", end);
}

// Two scalars side by side lack the comma between them; a bracket after a
// value is more often a stray one, and is placed where it stands.
bool scalarStart(int c) { return c == '"' || c == '-' || Scan::wordChar(c); }

// Where a comma belongs: right after the previous value.
Fault missingComma(const Scan& s, std::size_t tokenStart) {
  return at(s.skipBack(tokenStart), s.inObject() ? "missing ',' between two members" : "missing ',' between two elements");
}

std::string ourExpectation(const Scan& s) {
  if (s.expected == "'}'") return "',' or '}'";
  if (s.expected == "']'") return "',' or ']'";
  if (s.expected == "':'") return "':'";
  if (s.expected == "string literal") return "a key in double quotes";
  if (s.expected == "end of input") return "the end of the file";
  return "a value";
}

// A character that starts no token.
Fault badCharacter(const Scan& s) {
  int c = s.byte(s.at);
  if (c == '/' || c == '#') return at(s.at, "comment: JSON has no comments");
  if (c == '\'') return at(s.at, "single quotes: JSON strings and keys take double quotes");
  if (c == '+') return at(s.at, "'+' before a number: JSON numbers take no plus sign");
  if (c == '.') return at(s.at, "number without a digit before its '.'");
  if (c >= 0 && c < 0x20) return at(s.at, "control character " + codePoint(c) + " outside a string");
  if (c >= 0x80) {
    char32_t cp = 0;
    if (utf8Length(reinterpret_cast<const unsigned char*>(s.text + s.at), s.len - s.at, cp) == 0) return badUtf8(s);
    return at(s.at, "unexpected character " + codePoint(cp));
  }
  if (s.context == "object separator") return at(s.at, "missing ':' after the key");
  std::size_t start = s.at;
  if (!Scan::wordChar(c) && start > 0 && std::isalpha(s.byte(start - 1))) --start;  // a literal cut short
  while (start > 0 && std::isalpha(s.byte(start - 1))) --start;
  if (std::isdigit(s.byte(start - 1))) {
    std::string w = printable(std::string_view(s.text + start, 1), 4);
    if (s.byte(start - 1) == '0' && (c == 'x' || c == 'X'))
      return at(start - 1, "hexadecimal number: JSON numbers are decimal", start + wordAt(s, start).size());
    return at(start, "'" + w + "' right after a number");
  }
  if (std::isalpha(s.byte(start))) {
    bool afterValue = s.expected == "'}'" || s.expected == "']'";
    Fault f = word(s, start);
    if (afterValue && f.what.rfind("unquoted", 0) == 0)
      return at(start, "unexpected text '" + printable(wordAt(s, start), 40) + "': expected " + ourExpectation(s),
                start + wordAt(s, start).size());
    return f;
  }
  return at(s.at, "unexpected character '" + printable(std::string_view(s.text + s.at, 1), 4) + "'");
}

// Whether what follows a closing bracket at `i` may follow a value: else the
// bracket is a stray one, not the end of a list with a trailing comma.
bool closesValue(const Scan& s, std::size_t i) {
  while (Scan::space(s.byte(i))) ++i;
  int c = s.byte(i);
  return c < 0 || c == ',' || c == '}' || c == ']';
}

// A token the grammar does not allow where it stands.
Fault badToken(const Scan& s) {
  int c = s.byte(s.at);
  if (c < 0) {
    if (!s.opened.empty()) {
      // placed where more text was expected; the bracket goes along as data
      std::size_t open = s.opened.back();
      Fault f = at(s.len, std::string("the file ends before the '") + s.text[open] + "' of " +
                              lineAndColumn(place(s.text, s.len, open, open + 1)) + " is closed");
      f.open = open;
      return f;
    }
    return at(s.at, s.len == 0 ? "empty file: a JSON file holds one value" : "no value: the file holds only white space");
  }
  std::size_t before = s.skipBack(s.at);
  if ((c == '}' || c == ']') && before > 0 && s.text[before - 1] == ',' && closesValue(s, s.at + 1))
    return at(before - 1, std::string("trailing comma before '") + static_cast<char>(c) + "'");
  if (std::isdigit(c) && s.byte(s.at - 1) == '0' && !std::isdigit(s.byte(s.at - 2))) {
    std::size_t start = s.byte(s.at - 2) == '-' ? s.at - 2 : s.at - 1;
    std::size_t end = s.at;
    while (std::isdigit(s.byte(end))) ++end;
    return at(start, "leading zero in the number " + std::string(s.text + start, end - start), end);
  }
  if (s.context == "object key" && c != '"') {
    if (Scan::wordChar(c) || c == '-') return word(s, s.at);
  }
  if (s.context == "object separator") return at(s.at, "missing ':' after the key");
  if ((s.expected == "'}'" || s.expected == "']'") && scalarStart(c)) return missingComma(s, s.at);
  if (s.expected == "'}'" && c == ']') return at(s.at, "']' where the object needs its '}'");
  if (s.expected == "']'" && c == '}') return at(s.at, "'}' where the array needs its ']'");
  if (s.expected == "end of input") {
    if (c == '}' || c == ']') return at(s.at, std::string("'") + static_cast<char>(c) + "' with nothing open to close");
    return at(s.at, "more text after the JSON value");
  }
  return at(s.at, "unexpected '" + printable(std::string_view(s.text + s.at, 1), 4) + "': expected " + ourExpectation(s));
}

// What the event parser's message says, in the words of the mistake.
Fault classify(const Scan& s) {
  const std::string& d = s.detail;
  if (d == "invalid string: missing closing quote") {
    std::size_t quote = s.at;
    // the opening quote is the last one no backslash escapes
    for (std::size_t i = s.at; i-- > 0;) {
      std::size_t slashes = 0;
      while (slashes < i && s.text[i - 1 - slashes] == '\\') ++slashes;
      if (s.text[i] == '"' && slashes % 2 == 0) {
        quote = i;
        break;
      }
    }
    return at(quote, "string never closed: the file ends before its closing quote", s.len);
  }
  if (d.rfind("invalid string: control character", 0) == 0) return controlInString(s);
  if (d == "invalid string: ill-formed UTF-8 byte") return badUtf8(s);
  if (d == "invalid string: forbidden character after backslash") {
    int c = s.byte(s.at);
    if (c < 0) return at(s.at - 1, "backslash at the end of the file");
    if (c > 0x20 && c < 0x7f)
      return at(s.at - 1, std::string("unknown escape '\\") + static_cast<char>(c) + "' in a string", s.at + 1);
    return at(s.at - 1, "backslash before byte " + hexByte(static_cast<unsigned char>(c)) + " in a string", s.at + 1);
  }
  if (d.rfind("invalid BOM", 0) == 0) return at(0, "broken byte order mark: a UTF-8 one is EF BB BF");
  if (d.rfind("invalid string: '\\u'", 0) == 0) return at(s.at, "'\\u' in a string needs four hex digits");
  if (d.rfind("invalid string: surrogate", 0) == 0) return at(s.at, "unpaired UTF-16 surrogate escape in a string");
  if (d.rfind("invalid number", 0) == 0) {
    if (d.find("after '-'") != std::string::npos && std::isalpha(s.byte(s.at))) return word(s, s.at);  // -Infinity
    const char* what = d.find("after '-'") != std::string::npos ? "'-' not followed by a digit"
                     : d.find("after '.'") != std::string::npos ? "no digit after the decimal point"
                                                                : "no digit in the exponent";
    return at(s.at, what);
  }
  if (d.rfind("unexpected ", 0) == 0) return badToken(s);
  return badCharacter(s);
}

// "syntax error while parsing <context> - <detail>; last read: '...'; expected <expected>"
Scan split(const char* text, std::size_t len, std::size_t offset, const std::string& what,
           const std::vector<std::size_t>& opened) {
  Scan s{text, len, offset, "", "", "", opened};
  auto between = [&](const std::string& from, std::size_t start) {
    std::size_t a = what.find(from, start);
    return a == std::string::npos ? std::string::npos : a + from.size();
  };
  std::size_t ctx = between("while parsing ", 0);
  std::size_t dash = ctx == std::string::npos ? std::string::npos : what.find(" - ", ctx);
  if (dash == std::string::npos) return s;
  s.context = what.substr(ctx, dash - ctx);
  // a bad character's message quotes it after "last read"; the lexer's own
  // message may hold "; expected" too
  std::size_t lastRead = what.find("; last read: '", dash);
  std::size_t exp = what.rfind("; expected ");
  if (exp != std::string::npos && (exp < dash || (lastRead != std::string::npos && exp < lastRead))) exp = std::string::npos;
  std::size_t end = std::min({lastRead, exp, what.size()});
  s.detail = what.substr(dash + 3, end - dash - 3);
  if (exp != std::string::npos) s.expected = what.substr(exp + 11);
  return s;
}

// `cut`: the text was cut short at a NUL byte.
Fault locate(const char* text, std::size_t len, std::size_t maxDepth, bool cut) {
  const char* furthest = text;
  TrackingIter first{text, &furthest};
  TrackingIter last{text + len, &furthest};
  Sax sax;
  sax.text = text;
  sax.furthest = &furthest;
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
    if (cut && fault.offset >= len) return at(len, "unexpected NUL byte");
    return classify(split(text, len, fault.offset, sax.errorText, sax.opened));
  }
  fault.offset = static_cast<std::size_t>(furthest - text);
  if (!sax.token.empty()) {
    std::size_t start = std::string_view(text, fault.offset).rfind(sax.token);
    if (start != std::string_view::npos) {
      fault.offset = start;
      fault.end = start + sax.token.size();
    }
    fault.what = sax.problem + ": " + printable(sax.token, 40);
    return fault;
  }
  if (sax.deepBracket != SIZE_MAX) fault.offset = sax.deepBracket;
  else if (fault.offset > 0) --fault.offset;  // the bracket that went too deep
  fault.what = sax.problem;
  return fault;
}

}  // namespace

JsonError describeJsonError(const char* text, std::size_t len, std::size_t maxDepth) {
  std::string encoding = otherEncoding(reinterpret_cast<const unsigned char*>(text), len);
  if (!encoding.empty()) return placed(text, len, 0, 0, encoding);
  // The reader skips one mark before the text; the event parser would skip this one too.
  if (len >= 3 && std::memcmp(text, "\xEF\xBB\xBF", 3) == 0)
    return placed(text, len, 0, 3, "second byte-order mark: a file may start with one only");
  // nlohmann takes a NUL byte for the end of the input, so it is shown only
  // what comes before the first one; a fault found no earlier is the NUL itself.
  const void* nul = std::memchr(text, '\0', len);
  if (nul != nullptr) len = static_cast<std::size_t>(static_cast<const char*>(nul) - text);
  Fault fault = locate(text, len, maxDepth, nul != nullptr);
  if (nul != nullptr && !fault.found) return placed(text, len, len, 0, "unexpected NUL byte");
  if (!fault.found) return JsonError{fault.what, ParseFault{}};
  JsonError e = placed(text, len, fault.offset, fault.end, fault.what);
  if (fault.open != SIZE_MAX) {
    e.place.open = place(text, len, fault.open, fault.open + 1);
    e.place.bracket = text[fault.open];
  }
  return e;
}

}  // namespace kit::config
