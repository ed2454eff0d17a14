// The line formats: one line per finding, written as it is found.
#include <cctype>

#include "driver/formats.h"
#include "platform/tbx.h"

namespace driver {

namespace {

constexpr char kHex[] = "0123456789abcdef";

void hexEscape(std::string& out, const char* form, unsigned char c) {
  out += form;
  out += kHex[c >> 4];
  out += kHex[c & 15];
}

// "path:line:column", the column as `gnu` or the other formats count it.
std::string where(const std::string& file, support::Location at, bool gnu) {
  const uint32_t column = gnu && at.display != 0 ? at.display : at.column;
  return visible(file) + ':' + std::to_string(at.line) + ':' + std::to_string(column);
}

// A GitHub runner reads a line as a workflow command when it begins with
// "::" after white space (as .NET trims it) or holds "##[" anywhere.
bool whiteInDotNet(char32_t cp) {
  return cp == ' ' || cp == 0xA0 || cp == 0x1680 || (cp >= 0x2000 && cp <= 0x200A) || cp == 0x2028 ||
         cp == 0x2029 || cp == 0x202F || cp == 0x205F || cp == 0x3000;
}

// GitHub's escaping of a command's data; a property also escapes ':' and ','.
std::string githubEscape(std::string_view text, bool property) {
  std::string out;
  for (char c : visible(text)) {
    if (c == '%') out += "%25";
    else if (property && c == ':') out += "%3A";
    else if (property && c == ',') out += "%2C";
    else out += c;
  }
  return out;
}

void githubCommand(std::string_view kind, const std::string& file, support::Location at, std::string_view title,
                   const std::string& message) {
  std::string properties;
  if (!file.empty()) properties += ",file=" + githubEscape(file, true);
  if (!file.empty() && at.line != 0) properties += ",line=" + std::to_string(at.line) + ",col=" + std::to_string(at.column);
  if (!title.empty()) properties += ",title=" + githubEscape(title, true);
  tbx::cout << "::" << kind;
  if (!properties.empty()) tbx::cout << ' ' << std::string_view(properties).substr(1);
  tbx::cout << "::" << githubEscape(message, false) << tbx::endl;
}

void gnuLine(const std::string& file, support::Location at, std::string_view kind, std::string_view message,
             std::string_view rule) {
  std::string line;
  // A place an editor can open, or the program's own message form.
  if (file.empty() || at.line == 0) {
    line = "cfgcheck: ";
    line.append(kind).append(": ");
    if (!file.empty()) line += visible(file) + ": ";
  } else {
    line = where(file, at, true) + ": ";
    line.append(kind).append(": ");
  }
  line += visible(message);
  line.append(" [").append(rule).append("]");
  tbx::cout << inert(std::move(line)) << tbx::endl;
}

}  // namespace

std::string visible(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    unsigned char next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (c < 0x20 || c == 0x7f) {
      hexEscape(out, "\\x", c);
    } else if (c == 0xc2 && next >= 0x80 && next <= 0x9f) {
      hexEscape(out, "\\u00", next);
      ++i;
    } else if (c == 0xe2 && next == 0x80 && i + 2 < text.size() && (text[i + 2] == '\xa8' || text[i + 2] == '\xa9')) {
      // line and paragraph separators: some readers break lines there
      hexEscape(out, "\\u20", static_cast<unsigned char>(text[i + 2]) - 0x80);
      i += 2;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string inert(std::string line) {
  std::size_t lead = 0;
  while (lead < line.size()) {
    const unsigned char c = static_cast<unsigned char>(line[lead]);
    if (c == ' ') {
      ++lead;
      continue;
    }
    if (c < 0xc0) break;
    const auto* p = reinterpret_cast<const unsigned char*>(line.data()) + lead;
    int length = 1;
    if (!whiteInDotNet(kit::config::decodeUtf8(p, p + (line.size() - lead), length))) break;
    lead += static_cast<std::size_t>(length);
  }
  if (line.compare(lead, 2, "::") == 0) line.replace(lead, 1, "\\x3a");
  for (std::size_t at = line.find("##["); at != std::string::npos; at = line.find("##[", at)) line.replace(at + 2, 1, "\\x5b");
  return line;
}

std::string fullMessage(const support::Finding& f) {
  std::string out = f.message;
  for (const std::string* extra : {&f.aside, &f.trailer})
    if (!extra->empty()) out += " (" + *extra + ")";
  return out;
}

std::string didYouMean(const support::Suggestion& s) { return "Did you mean '" + s.text + "'?"; }

std::string suggestionSentences(const support::Finding& f) {
  std::string out;
  for (const support::Suggestion& s : f.suggestions) out += ' ' + didYouMean(s);
  return out;
}

void writeGnu(const support::Finding& f) {
  gnuLine(f.file, f.at, f.severity == support::Severity::Error ? "error" : "note", fullMessage(f), f.rule);
  for (const support::Suggestion& s : f.suggestions) gnuLine(f.file, s.at, "note", "did you mean '" + s.text + "'?", f.rule);
  // Related places carry the finding's ID, so that a reader that keeps only tagged lines keeps them too.
  for (const support::Related& r : f.related) gnuLine(r.file, r.at, "note", r.message, f.rule);
}

void writeGithub(const support::Finding& f) {
  githubCommand(f.severity == support::Severity::Error ? "error" : "notice", f.file, f.at, f.rule, fullMessage(f) + suggestionSentences(f));
  // A related place has no title: only findings do.
  for (const support::Related& r : f.related) githubCommand("notice", r.file, r.at, "", r.message);
}

}  // namespace driver
