#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <numeric>

#include "platform/kit_config.h"
#include "platform/read_file.h"
#include "platform/syntax_walk.h"
#include "platform/tbx.h"
#include "render_value.h"
#include "support/report.h"
#include "test_helpers.h"

using kit::config::Array;
using kit::config::Dictionary;
using kit::config::JSONParser;
using kit::config::Value;

namespace {

struct Parsed {
  ScratchDir dir;
  JSONParser parser;
  Dictionary* dict = nullptr;
  Array* array = nullptr;
  int rc = -1;
  std::string reason;
  explicit Parsed(const std::string& text, uint32_t limit = 0) {
    tbx::ErrorStorage::ack();
    rc = parser.parseFile(dir.write("f.json", text).c_str(), dict, array, limit);
    if (tbx::ErrorStorage::reason() != nullptr) reason = tbx::ErrorStorage::reason();
    tbx::ErrorStorage::ack();
  }
};

TEST(Value, IntegerReadsOnlyPlain32BitIntegers) {
  Parsed p(R"({"a":[1,-0,-2147483648,2147483647,2147483648,1.0,1e2,"3",true,null,0.1e-400,9223372036854775808]})");
  ASSERT_EQ(p.rc, 0);
  Value a = p.dict->get("a");
  const int expected_rc[] = {0, 0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1};
  const int32_t expected_value[] = {1, 0, INT32_MIN, INT32_MAX};
  ASSERT_EQ(a.size(), 12u);
  for (uint32_t i = 0; i < a.size(); ++i) {
    int32_t v = 77;
    EXPECT_EQ(a.at(i).getInt(v), expected_rc[i]) << "element " << i;
    if (i < 4) {
      EXPECT_EQ(v, expected_value[i]);
    }
  }
}

TEST(Value, KindsAndAbsentValues) {
  Parsed p(R"({"s":"x","b":false,"n":null,"o":{"k":1},"l":[]})");
  ASSERT_EQ(p.rc, 0);
  const Dictionary& d = *p.dict;
  std::string s;
  bool b = true;
  EXPECT_EQ(d.get("s").getString(s), 0);
  EXPECT_EQ(s, "x");
  EXPECT_EQ(d.get("b").getBool(b), 0);
  EXPECT_FALSE(b);
  EXPECT_NE(d.get("n").getString(s), 0);
  EXPECT_NE(d.get("n").getBool(b), 0);
  EXPECT_TRUE(d.get("n").isPresent());
  EXPECT_FALSE(d.get("missing").isPresent());
  EXPECT_FALSE(d.get("s").get("k").isPresent());  // member of a string
  EXPECT_FALSE(d.get("s").get("k").isDictionary());
  EXPECT_TRUE(d.get("o").isDictionary());
  EXPECT_TRUE(d.get("l").isArray());
  EXPECT_EQ(d.get("o").size(), 0u);
  EXPECT_FALSE(d.get("l").at(0).isPresent());
  EXPECT_TRUE(d.get("s").begin() == d.get("s").end());
  EXPECT_TRUE(Value().begin() == Value().end());
}

TEST(Value, WalkKeepsFileOrderAndRepeatedKeys) {
  Parsed p(R"({"z":1,"a":2,"z":3})");
  ASSERT_EQ(p.rc, 0);
  std::string keys;
  for (auto it = p.dict->begin(); it != p.dict->end(); ++it) keys += std::string(it.key());
  EXPECT_EQ(keys, "zaz");
  int32_t v = 0;
  EXPECT_EQ(p.dict->get("z").getInt(v), 0);
  EXPECT_EQ(v, 1);  // first occurrence
}

TEST(Value, LargeObjectsAndArraysStayCorrect) {
  std::string text = "{\"list\":[";
  for (int i = 0; i < 3000; ++i) {
    if (i) text += ',';
    text += std::to_string(i);
  }
  text += "],\"map\":{";
  for (int i = 0; i < 300; ++i) {
    text += i ? ",\"k" : "\"k";
    text += std::to_string(i) + "\":" + std::to_string(i);
  }
  text += ",\"k7\":-1}}";
  Parsed p(text);
  ASSERT_EQ(p.rc, 0);
  Value list = p.dict->get("list");
  Value map = p.dict->get("map");
  int32_t v = 0;
  for (uint32_t i = 0; i < list.size(); ++i) {  // interleaved walks keep their own cursors
    ASSERT_EQ(list.at(i).getInt(v), 0);
    ASSERT_EQ(v, static_cast<int32_t>(i));
    std::string key = "k";
    key += std::to_string(i % 300);
    ASSERT_EQ(map.get(key).getInt(v), 0);
    ASSERT_EQ(v, i % 300 == 7 ? 7 : static_cast<int32_t>(i % 300));
  }
  EXPECT_EQ(list.at(5).getInt(v), 0);  // going back restarts the walk
  EXPECT_EQ(v, 5);
  EXPECT_FALSE(map.get("k300").isPresent());
}

// The parser stops counting an array's elements at 0xFFFFFF; past that the
// count is walked, and walked once, since a loop asks for it every step.
TEST(Value, ArraysPastTheParsersCountAreCountedOnce) {
#ifdef CFGCHECK_SANITIZED
  GTEST_SKIP() << "half a GB of document";
#endif
  constexpr uint32_t kCount = 0xFFFFFF + 2;
  std::string text(size_t(kCount) * 2 + 1, ',');
  text[0] = '[';
  for (size_t i = 1; i < text.size(); i += 2) text[i] = '0';
  text[text.size() - 2] = '7';
  text.back() = ']';
  ScratchDir dir;
  const std::string path = dir.write("big.json", text);
  text = std::string();
  JSONParser parser(JSONParser::Whole);
  Dictionary* dict = nullptr;
  Array* array = nullptr;
  ASSERT_EQ(parser.parseFile(path.c_str(), dict, array, 0), 0);
  ASSERT_NE(array, nullptr);
  using Clock = std::chrono::steady_clock;
  uint32_t size = 0;
  const Clock::time_point start = Clock::now();
  size = array->size();
  const Clock::duration first = Clock::now() - start;
  for (int i = 0; i < 50; ++i) size = std::min(size, array->size());
  const Clock::duration repeated = Clock::now() - start - first;
  EXPECT_EQ(size, kCount);
  EXPECT_LT(repeated, first * 5);
  int32_t last = 0;
  EXPECT_EQ(array->at(kCount - 1).getInt(last), 0);
  EXPECT_EQ(last, 7);
  EXPECT_FALSE(array->at(kCount).isPresent());
}

struct BatchBytes {
  explicit BatchBytes(size_t bytes) { kit::config::setListBatchBytes(bytes); }
  ~BatchBytes() { kit::config::setListBatchBytes(256 * 1024); }
};

std::string renderFile(const std::string& path) {
  JSONParser parser;
  Dictionary* dict = nullptr;
  Array* array = nullptr;
  if (parser.parseFile(path.c_str(), dict, array, 0) != 0) return "parse failed";
  if (dict == nullptr) return "not an object";
  Value procs = dict->get("procs");
  std::string backwards;  // with small batches every step back crosses into another batch
  for (uint32_t i = procs.size(); i-- > 0;) backwards.insert(0, render(procs.at(i)) + ",");
  return render(*dict) + "|" + render(procs) + "|" + backwards + render(procs.at(procs.size()));
}

TEST(Value, ListsReadInBatchesReadAsAWholeParse) {
  std::string text = "{\"title\":\"a\\\"b\\u00e9\",\"procs\":[";
  for (int i = 0; i < 300; ++i) {
    if (i) text += i % 7 ? "," : " ,\n  ";
    text += "{\"name\":\"p\\t" + std::to_string(i) + "\",\"nested\":[1,[2,{\"x\":null}],[]],\"f\":1.5";
    for (int k = 0; k < (i % 5 == 0 ? 20 : 2); ++k) text += ",\"k" + std::to_string(k) + "\":" + std::to_string(i * k);
    text += "}";
  }
  text += "],\"empty\":[],\"one\":[true],\"procs\":[1,2],\"inner\":{\"procs\":[\"x\",\"y\"]},\"tail\":[";
  for (int i = 0; i < 200; ++i) text.append(i ? ",\"" : "\"").append(i % 13, 'z').append("\"");
  text += "]}\n";
  ScratchDir dir;
  const std::string path = dir.write("big.json", text);
  const std::string whole = renderFile(path);
  ASSERT_NE(whole.find("p\t299"), std::string::npos);
  for (size_t bytes : {1, 64, 1000}) {
    BatchBytes small(bytes);
    EXPECT_EQ(renderFile(path), whole) << bytes;
  }
}

// A large top-level object without large lists is read a batch of members
// at a time; its walk, its lookups and what it holds read as a whole parse.
TEST(Value, MembersReadInBatchesReadAsAWholeParse) {
  std::string text = "{";
  for (int i = 0; i < 200; ++i)
    text += (i ? ",\n \"m" : "\"m") + std::to_string(i) + "\": {\"n\": [" + std::to_string(i) + ", {\"x\": \"" +
            std::string(i % 9, 'y') + "\"}], \"e\": {}}";
  text += ", \"m7\": 7}";
  ScratchDir dir;
  const std::string path = dir.write("restart.json", text);
  auto read = [&] {
    JSONParser parser(JSONParser::BatchedMembers);
    Dictionary* top = nullptr;
    Array* array = nullptr;
    if (parser.parseFile(path.c_str(), top, array, 0) != 0 || top == nullptr) return std::string("failed");
    return render(*top) + "|" + render(top->get("m150")) + render(top->get("m7")) + render(top->get("none"));
  };
  const std::string whole = read();
  ASSERT_NE(whole.find("m199:{"), std::string::npos);
  for (size_t bytes : {1, 64, 1000}) {
    BatchBytes small(bytes);
    EXPECT_EQ(read(), whole) << bytes;
  }
}

// Batching is invisible in what is read, so the cuts are checked where they
// are made: on brackets and on the commas between entries, blanks around
// them, every large list cut however few its batches.
TEST(SyntaxWalk, CutsLandOnBracketsAndCommas) {
  std::string text = "{\"head\": 1, \"list\": [";
  for (int i = 0; i < 100; ++i) text += i ? " , \"xxxxxxx\"" : "\"xxxxxxx\"";  // 12 bytes an entry
  text += "\n], \"small\": [1, 2]}";
  const simdjson::padded_string padded(text);
  for (auto [bytes, batches] : {std::pair<size_t, size_t>{600, 2}, {300, 4}, {100, 12}}) {
    kit::config::Layout layout;
    bool scalar = true;
    ASSERT_EQ(kit::config::walkSyntax(padded.data(), padded.size(), scalar, &layout, bytes), simdjson::SUCCESS);
    EXPECT_FALSE(scalar);
    ASSERT_EQ(layout.lists.size(), 1u) << bytes;  // "small" fits one batch
    const kit::config::ListLayout& list = layout.lists[0];
    EXPECT_EQ(list.ordinal, 1u);
    ASSERT_EQ(list.cuts.size(), batches + 1) << bytes;
    ASSERT_EQ(list.firsts.size(), batches + 1);
    EXPECT_EQ(list.firsts.back(), 100u);
    for (size_t b = 0; b <= batches; ++b)
      EXPECT_EQ(text[list.cuts[b]], b == 0 ? '[' : b == batches ? ']' : ',') << bytes << " cut " << b;
  }
  std::string members = "{";
  for (int i = 0; i < 50; ++i) members += (i ? " ,\n\"m" : "\"m") + std::to_string(i) + "\": {}";
  members += "\n}\n";
  const simdjson::padded_string paddedMembers(members);
  kit::config::Layout layout;
  bool scalar = true;
  ASSERT_EQ(kit::config::walkSyntax(paddedMembers.data(), paddedMembers.size(), scalar, &layout, 300),
            simdjson::SUCCESS);
  const std::vector<size_t>& cuts = layout.members.cuts;
  ASSERT_GT(cuts.size(), 2u);
  EXPECT_EQ(layout.members.firsts.back(), 50u);
  for (size_t b = 0; b < cuts.size(); ++b)
    EXPECT_EQ(members[cuts[b]], b == 0 ? '{' : b + 1 == cuts.size() ? '}' : ',') << "cut " << b;
}

TEST(Parser, ReasonsNameThePlace) {
  EXPECT_EQ(Parsed("{\n  \"a\": 1\n  \"b\": 2\n}").reason, "line 2, column 9: missing ',' between two members");
  EXPECT_EQ(Parsed("[1e400]").reason, "line 1, column 2: number out of range: 1e400");
  EXPECT_EQ(Parsed("\n[18446744073709551616]").reason,
            "line 2, column 2: integer too large for 64 bits: 18446744073709551616");
  EXPECT_EQ(Parsed(std::string(1025, '[') + std::string(1025, ']')).reason,
            "line 1, column 1025: nesting deeper than 1024 levels");
  EXPECT_EQ(Parsed(std::string(1024, '[') + std::string(1024, ']')).rc, 0);
  std::string objects;  // a value inside the 1024th level is one too deep
  for (int i = 0; i < 1024; ++i) objects += "{\"a\":";
  EXPECT_EQ(Parsed(objects + "1" + std::string(1024, '}')).reason, "line 1, column 5116: nesting deeper than 1024 levels");
  EXPECT_NE(Parsed("[\"\xff\"]").reason.find("line 1, column "), std::string::npos);
  EXPECT_NE(Parsed("").reason.find("line 1, column 1: "), std::string::npos);
}

// Large files are mapped: whatever their length, the text ends where the file
// does, and a file cut short while it is mapped reads as zeros, not a crash.
TEST(Parser, LargeFilesReadAsTheyWereOpened) {
  for (size_t size : {size_t(1) << 21, (size_t(1) << 21) - 3, (size_t(1) << 21) + 70}) {
    std::string text = "[" + std::string(size - 3, ' ') + "1]";
    Parsed whole(text);
    EXPECT_EQ(whole.rc, 0) << size;
    EXPECT_EQ(render(whole.array->at(0)), "1");
    EXPECT_EQ(Parsed(text.substr(0, size - 1)).reason,
              "line 1, column " + std::to_string(size) + ": the file ends before the '[' of line 1, column 1 is closed");
  }
  ScratchDir dir;
  const std::string path = dir.write("cut.json", std::string(3 << 20, 'x'));
  kit::config::InputBuffer buffer;
  size_t len = 0;
  std::string reason;
  ASSERT_TRUE(kit::config::readWholeFile(path.c_str(), buffer, len, reason));
  ASSERT_EQ(len, size_t(3) << 20);
  ASSERT_EQ(truncate(path.c_str(), 4096), 0);
  EXPECT_EQ(std::accumulate(buffer.data, buffer.data + len, size_t(0), [](size_t n, char c) { return n + (c == 'x'); }),
            4096u);
}

TEST(Parser, LineLengthLimit) {
  EXPECT_EQ(Parsed("[1,\n 2]", 3).rc, 0);
  EXPECT_EQ(Parsed("[1,\r\n22]\r\n", 3).rc, 0);  // CR before LF does not count
  EXPECT_EQ(Parsed("[1,\n 22]", 3).reason, "line 2 is 4 bytes long, more than the limit of 3 bytes");
  EXPECT_EQ(Parsed("[1,\n 2,\r\r\n3]", 3).reason, "line 2 is 4 bytes long, more than the limit of 3 bytes");
  std::string many;
  for (int i = 0; i < 1000; ++i) many += "[1, \n";
  EXPECT_EQ(Parsed(many + "xxxxxx", 5).reason, "line 1001 is 6 bytes long, more than the limit of 5 bytes");
  EXPECT_EQ(Parsed(many + "xxxxx", 5).reason.find("limit"), std::string::npos);
  EXPECT_EQ(Parsed(std::string(300, ' ') + "1", 0).rc, 0);  // 0: no limit

  // Long limits are checked a block at a time: lines at and just past the
  // limit, with and without CR, their line feeds at every offset of a block.
  for (uint32_t limit : {64u, 100u, 255u}) {
    const std::string fits = "," + std::string(limit - 2, ' ') + "1";
    const std::string expected = "line 6 is " + std::to_string(limit + 1) + " bytes long";
    for (size_t offset = 0; offset < 64; ++offset) {
      const std::string shift = "[" + std::string(offset / 2, ' ') + "\n" + std::string(offset - offset / 2, ' ');
      const std::string text = shift + "1\n" + fits + "\r\n" + fits + "\n,1\n" + fits;
      EXPECT_EQ(Parsed(text + "\r\n]", limit).rc, 0) << limit << " " << offset;
      EXPECT_EQ(Parsed(text + " \r\n]", limit).reason.substr(0, expected.size()), expected) << limit << " " << offset;
    }
  }
}

}  // namespace

// Every string value and key of the file is unique, so the text finds where
// each should be; visited backwards too, and with lists cut into batches.
TEST(Value, PositionsAreWhereTheTextHasThem) {
  const std::string text =
      "{\"a\": 1.5, \"b\": [1, -2, 30000000000, {\"k1\": \"v1\"}],\n"
      "\t\"é\": \"ü€\", \"procs\": [\n"
      "  {\"name\": \"p0\", \"n\": [true, null, {}], \"id\": 7},\n"
      "  {\"name\": \"p1\",\r\n   \"x\": {\"y\": \"v2\"}}, 12, \"v3\"\n"
      "], \"z\": {\"k2\": [\"v4\"]}}";
  auto expected = [&](const std::string& token) {
    size_t at = text.find(token);
    kit::config::Location where{1, 1};
    for (size_t i = 0; i < at; ++i) {
      if (text[i] == '\n') where = {where.line + 1, 1};
      else if ((static_cast<unsigned char>(text[i]) & 0xC0) != 0x80) ++where.column;
    }
    return std::to_string(where.line) + ":" + std::to_string(where.column);
  };
  auto at = [](kit::config::Location l) { return std::to_string(l.line) + ":" + std::to_string(l.column); };
  ScratchDir dir;
  const std::string path = dir.write("f.json", text);
  kit::config::setPositionsWanted(true);
  for (size_t bytes : {size_t(1), size_t(40), size_t(1) << 20}) {
    BatchBytes batches(bytes);
    JSONParser parser;
    Dictionary* top = nullptr;
    Array* array = nullptr;
    ASSERT_EQ(parser.parseFile(path.c_str(), top, array, 0), 0);
    Value procs = top->get("procs");
    for (int pass = 0; pass < 2; ++pass) {  // the second pass goes backwards
      for (uint32_t n = 0; n < 4; ++n) {
        uint32_t i = pass == 0 ? n : 3 - n;
        Value entry = procs.at(i);
        if (i < 2) {
          EXPECT_EQ(at(kit::config::locate(entry.get("name"))), expected("\"p" + std::to_string(i))) << bytes;
          EXPECT_EQ(at(kit::config::locateKey(entry.begin())), expected("\"name\": \"p" + std::to_string(i))) << bytes;
        }
        const std::string where = i == 0   ? at(kit::config::locate(entry.get("id")))
                                  : i == 1 ? at(kit::config::locate(entry.get("x").get("y")))
                                  : i == 3 ? at(kit::config::locate(entry))
                                           : "-";
        EXPECT_EQ(where, i == 0 ? expected("7}") : i == 1 ? expected("\"v2") : i == 3 ? expected("\"v3") : "-") << bytes;
      }
    }
    EXPECT_EQ(at(kit::config::locate(top->get("b").at(3).get("k1"))), expected("\"v1")) << bytes;
    EXPECT_EQ(at(kit::config::locate(top->get("é"))), expected("\"ü")) << bytes;
    EXPECT_EQ(at(kit::config::locate(top->get("z").get("k2").at(0))), expected("\"v4")) << bytes;
    EXPECT_EQ(at(kit::config::locate(*top)), "1:1") << bytes;
    EXPECT_EQ(at(kit::config::locate(top->get("missing"))), "0:0") << bytes;
  }
  kit::config::setPositionsWanted(false);
  EXPECT_EQ(kit::config::locate(Value()).line, 0u);
}

// A finding's range in the three column units a reader may count: code
// points, terminal columns and UTF-16 units ("line:start-end" each).
TEST(Value, RangesCoverTheWholeTokenInEveryUnit) {
  const std::string text =
      "{\"k\": 1,\n"
      "\t\"n\xC3\xA9v\": \"a\\\"b\\u00e9\xC3\xA9\xF0\x9F\x98\x80\xE4\xB8\xAD\", \"n\": -12.5e3, \"o\": {\"x\": true}}";
  auto range = [](kit::config::Location l) {
    auto units = [&](uint32_t from, uint32_t to) { return std::to_string(from) + "-" + std::to_string(to); };
    return std::to_string(l.line) + ":" + units(l.column, l.endColumn) + " " + units(l.display, l.endDisplay) + " " +
           units(l.utf16, l.endUtf16);
  };
  kit::config::setPositionsWanted(true);
  for (size_t bytes : {size_t(1), size_t(1) << 20}) {
    BatchBytes batches(bytes);
    Parsed p(text);
    ASSERT_EQ(p.rc, 0);
    const Value top = *p.dict;
    auto key = [&](std::string_view name) {
      for (auto it = top.begin(); it != top.end(); ++it)
        if (it.key() == name) return kit::config::locateKey(it);
      return kit::config::Location{};
    };
    const struct {
      const char* token;
      kit::config::Location at;
      const char* expected;
    } rows[] = {
        {"key after a tab", key("n\xC3\xA9v"), "2:2-7 9-14 2-7"},
        {"string with escapes, U+1F600 and a wide letter", kit::config::locate(top.get("n\xC3\xA9v")), "2:9-24 16-33 9-25"},
        {"number", kit::config::locate(top.get("n")), "2:31-38 40-47 32-39"},
        {"object", kit::config::locate(top.get("o")), "2:45-46 54-55 46-47"},
        {"literal", kit::config::locate(top.get("o").get("x")), "2:51-55 60-64 52-56"},
        {"first line", kit::config::locate(top.get("k")), "1:7-8 7-8 7-8"},
    };
    for (const auto& row : rows) EXPECT_EQ(range(row.at), row.expected) << row.token << ", batches of " << bytes;
  }
  kit::config::setPositionsWanted(false);

  // A syntax error spans the offending word where the parser knows it, one
  // character where it does not.
  for (const auto& [json, expected] : std::initializer_list<std::pair<const char*, const char*>>{
           {"{\"\xC3\xA9\xF0\x9F\x98\x80\": nan}", "1:8-11 9-12 9-12"},
           {"[1,\n 2,]", "2:3-4 3-4 3-4"},
       }) {
    Parsed p(json);
    EXPECT_EQ(range(p.parser.fault().at), expected) << json;
  }
}
