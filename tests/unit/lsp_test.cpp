// The server's byte-level parts: messages cut anywhere by the reads, and
// positions in each encoding over text with multi-byte characters.
#include <gtest/gtest.h>

#include "lsp/framing.h"
#include "lsp/workspace.h"

namespace {

// Every message of `stream`, fed in pieces of `piece` bytes; faults as "!why".
std::vector<std::string> taken(const std::string& stream, std::size_t piece) {
  lsp::Framer framer;
  std::vector<std::string> out;
  std::string body;
  for (std::size_t at = 0; at < stream.size(); at += piece) {
    lsp::feed(framer, stream.data() + at, std::min(piece, stream.size() - at));
    for (lsp::Take t; (t = lsp::take(framer, body)) != lsp::Take::More;)
      out.push_back(t == lsp::Take::Message ? body : "!" + body);
  }
  return out;
}

TEST(LspFraming, MessagesSurviveAnyCut) {
  const std::string stream = lsp::frame("{\"a\":1}") + "\r\n" + "content-length:  3 \ncontent-type: x\n\n[1]" +
                             "Content-Type: y\r\n\r\n" + "Content-Length: 1e3\r\n\r\n" +
                             "Content-Length: 99999999999\r\n\r\n" + std::string(100, 'x');
  const std::vector<std::string> want = {"{\"a\":1}", "[1]", "!a header without Content-Length",
                                         "!a Content-Length that is no number",
                                         "!a body of 99999999999 bytes, more than 67108864"};
  for (std::size_t piece = 1; piece <= stream.size(); ++piece) EXPECT_EQ(taken(stream, piece), want) << piece;
}

TEST(LspFraming, HeaderPastTheLimitIsDropped) {
  const std::string stream = std::string(lsp::kMaxHeader + 10, 'h') + "\r\n\r\n" + lsp::frame("{}");
  EXPECT_EQ(taken(stream, 4096), (std::vector<std::string>{"!a header longer than 8192 bytes", "{}"}));
}

TEST(LspPositions, EachEncodingCountsItsUnits) {
  using lsp::Encoding;
  // "é" is 2 bytes and 1 unit of either; U+1F600 is 4 bytes, 2 UTF-16 units, 1 code point.
  const std::string text = "{\"\xC3\xA9\xF0\x9F\x98\x80\": 1,\r\n x}";
  struct Case {
    lsp::Position at;
    Encoding encoding;
    std::size_t offset;
  } cases[] = {
      {{0, 2}, Encoding::Utf16, 2},  {{0, 3}, Encoding::Utf16, 4},   {{0, 5}, Encoding::Utf16, 8},
      {{0, 4}, Encoding::Utf32, 8},  {{0, 8}, Encoding::Utf8, 8},    {{0, 99}, Encoding::Utf8, 13},
      {{0, 99}, Encoding::Utf16, 13}, {{1, 1}, Encoding::Utf32, 16}, {{7, 0}, Encoding::Utf16, text.size()},
      // inside a character: past it
      {{0, 4}, Encoding::Utf16, 8},  {{0, 3}, Encoding::Utf8, 4},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(lsp::offsetOf(text, c.at, c.encoding), c.offset) << c.at.line << ':' << c.at.character;
  }
  const std::string_view line = std::string_view(text).substr(0, 13);
  EXPECT_EQ(lsp::columnOf(line, 8, Encoding::Utf8), 8u);
  EXPECT_EQ(lsp::columnOf(line, 8, Encoding::Utf16), 5u);
  EXPECT_EQ(lsp::columnOf(line, 8, Encoding::Utf32), 4u);
}

TEST(LspUris, PathsRoundTripAndOtherSchemesHaveNone) {
  EXPECT_EQ(lsp::uriPath(lsp::pathUri("/a b/c%d/\xC3\xA9.json")), "/a b/c%d/\xC3\xA9.json");
  EXPECT_EQ(lsp::uriPath("file://localhost/x/framework.json"), "/x/framework.json");
  EXPECT_EQ(lsp::uriPath("FILE:///x?y#z"), "/x");
  for (const char* none : {"untitled:Untitled-1", "file://host/x", "file:///x%00y", "file:///x%4", "file:"})
    EXPECT_EQ(lsp::uriPath(none), "") << none;
}

}  // namespace
