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

// "path:line:column" or just the path when the place is unknown; the
// program's name, as compilers do, for a finding about the run as a whole.
std::string where(const std::string& file, support::Location at) {
  if (file.empty()) return "cfgcheck";
  std::string out = visible(file);
  if (at.line != 0) out += ':' + std::to_string(at.line) + ':' + std::to_string(at.column);
  return out;
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
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

std::string fullMessage(const support::Finding& f) {
  std::string out = f.message;
  for (const std::string* extra : {&f.aside, &f.trailer})
    if (!extra->empty()) out += " (" + *extra + ")";
  return out;
}

std::string ruleDescription(const RuleEntry& rule) {
  std::string_view title = rule.title;
  constexpr std::string_view kEditor = " *(editor)*";
  if (title.ends_with(kEditor)) title.remove_suffix(kEditor.size());
  return std::string(title);
}

void writeGnu(const support::Finding& f) {
  const char* kind = f.severity == support::Severity::Error ? "error" : "note";
  tbx::cout << where(f.file, f.at) << ": " << kind << ": " << visible(fullMessage(f)) << " [" << f.rule << ']'
            << tbx::endl;
  for (const support::Related& r : f.related)
    tbx::cout << where(r.file, r.at) << ": note: " << visible(r.message) << tbx::endl;
}

void writeGithub(const support::Finding& f) {
  githubCommand(f.severity == support::Severity::Error ? "error" : "notice", f.file, f.at, f.rule, fullMessage(f));
  // A related place has no title: only findings do.
  for (const support::Related& r : f.related) githubCommand("notice", r.file, r.at, "", r.message);
}

}  // namespace driver
