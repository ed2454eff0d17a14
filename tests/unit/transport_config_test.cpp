#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/kit_transport.h"
#include "platform/tbx.h"
#include "test_helpers.h"

using kit::transport::TransportConfig;
using Record = TransportConfig::ConnectionEntryDescriptor;

namespace {

// Two nodes: alpha addresses "beta" on its own and everything else through "*";
// beta has no "*" address at all.
const char* const kFramework = R"({
  "nodes": {
    "alpha": {"transport": {"comm": {
      "*": {"tcpip": {"address": "10.0.0.1"}},
      "beta": {"tcpip": {"address": "10.0.0.2"}, "resman": {"root_path": "/dev/fw/"}}}}},
    "beta": {"transport": {"comm": {"alpha": {"resman": {"root_path": "/dev/fw"}}},
                           "tracing": {"*": {"tcpip": {"address": "10.9.9.9"}}}}},
    "gamma": "not a node"
  },
  "procs": [
    {"name": "a", "node": "alpha", "transport": {"comm": {
      "beta": {"tcpip": {"port": 10}}, "ghost": {"tcpip": {"port": 11}}, "gamma": {"tcpip": {"port": 12}},
      "*": {"tcpip": {"port": 10}}, "alpha": {"other": 1}}}},
    {"name": "b", "node": "beta", "transport": {"comm": {
      "alpha": {"resman": {"path": "/b"}}, "*": {"tcpip": {"port": 20}}}}},
    {"name": "c", "node": "beta", "transport": {"comm": {"*": {"tcpip": {"port": 30}}}}},
    {"name": "d", "node": "alpha", "transport": {"comm": {"alpha": {"unused": 1}, "*": {"tcpip": {"port": 40}}}}},
    {"name": "e", "node": "beta", "transport": {"comm": {"*": {"tcpip": {}}}}},
    {"name": "f", "node": "alpha", "transport": {"comm": {"beta": {"resman": {}}}}},
    {"name": "g", "transport": {"comm": {"*": {"resman": {"path": "g"}}}}},
    {"name": "h", "node": "gamma"},
    {"name": "traceserver", "node": "beta", "transport": {"tracing": {"*": {"tcpip": {"port": 99}}}}},
    {"name": "a", "node": "beta", "transport": {"comm": {}}}
  ]
})";

// Each query gives "<status>" then ": " and the records or the reason, so that
// a whole answer is compared at once.
struct Service {
  ScratchDir dir;
  TransportConfig& config = TransportConfig::getInstance();
  kit::config::JSONParser parser{kit::config::JSONParser::Whole};
  explicit Service(const char* text = kFramework) {
    kit::config::Dictionary* top = nullptr;
    kit::config::Array* array = nullptr;
    EXPECT_EQ(parser.parseFile(dir.write("framework.json", text).c_str(), top, array, 0), 0);
    TransportConfig::setFramework(top);
    EXPECT_EQ(config.init(""), 0);
  }
  ~Service() { TransportConfig::setFramework(nullptr); }

  std::string spawn(const std::string& node, const std::string& name, const std::string& channel = "comm") {
    std::vector<Record> out;
    int rc = config.getSpawnConnectionConfigs(node, name, channel, out);
    std::string answer = std::to_string(rc) + ":";
    for (const Record& r : out) answer.append(" ").append(describe(r));
    return answer + takeReason();
  }
  std::string single(const std::string& from, const std::string& to, const std::string& channel = "comm") {
    Record r;
    int rc = config.getSingleConnectionConfig(from, to, channel, r);
    return std::to_string(rc) + ": " + describe(r) + takeReason();
  }
  static std::string describe(const Record& r) {
    return std::to_string(r.type) + " " + r.address + " " + std::to_string(r.port);
  }
  static std::string takeReason() {
    const char* text = tbx::ErrorStorage::reason();
    std::string reason = text != nullptr ? std::string(" / ") + text : "";
    tbx::ErrorStorage::ack();
    return reason;
  }
};

TEST(TransportConfig, SpawnTakesStarAndDeclaredNodesInFileOrder) {
  Service s;
  // "ghost" is undeclared, "gamma" is no dictionary, "alpha" offers no endpoint.
  EXPECT_EQ(s.spawn("alpha", "a"), "2: 1 10.0.0.2 10 1 10.0.0.1 10");
  EXPECT_EQ(s.spawn("beta", "traceserver", "tracing"), "1: 1 10.9.9.9 99");
  EXPECT_EQ(s.spawn("beta", "traceserver"), "0:");  // no "comm" section
}

// Spawn queries (node, process) and single queries (from, to) on "comm".
struct Query {
  bool spawn;
  const char* first;
  const char* second;
  const char* answer;
} const kQueries[] = {
    {true, "alpha", "x", "-1: / unknown process 'x'"},
    // The first entry named "a" is the process.
    {true, "beta", "a", "-1: / process 'a' runs on node 'alpha', not on 'beta'"},
    {true, "", "g", "-1: / process 'g' has no 'node'"},
    {true, "gamma", "h", "-1: / node 'gamma' is not defined in 'nodes'"},
    {true, "alpha", "f", "-1: / process 'f' has no resman path for node 'beta'"},
    {true, "beta", "e", "-1: / process 'e' has no tcp/ip port for node '*'"},
    {true, "beta", "c", "-1: / process 'c' has no tcp/ip address for node '*'"},
    {false, "a", "b", "1: 2 /dev/fw/b 4294967295"},
    {false, "a", "c", "-1: 0  4294967295 / process 'c' has no tcp/ip address for node '*'"},
    // d names alpha without an endpoint: no fallback to "*".
    {false, "a", "d", "0: 0  4294967295"},
    {false, "a", "f", "0: 0  4294967295"},
    // Without a node only the "*" entry of the second process applies...
    {false, "g", "d", "1: 1 10.0.0.1 40"},
    // ...and a second process without a node has no root path.
    {false, "a", "g", "1: 2 g 4294967295"},
    {false, "y", "a", "-1: 0  4294967295 / unknown process 'y'"},
    {false, "a", "z", "-1: 0  4294967295 / unknown process 'z'"},
};

TEST(TransportConfig, AnswersAndReasons) {
  Service s;
  for (const Query& q : kQueries)
    EXPECT_EQ(q.spawn ? s.spawn(q.first, q.second) : s.single(q.first, q.second), q.answer)
        << q.first << ", " << q.second;
}

TEST(TransportConfig, ResmanRootAndPathMeetAtOneSlash) {
  struct Case {
    const char* root;
    const char* path;
    const char* expected;
  } cases[] = {{"\"/dev/fw/\"", "a", "/dev/fw/a"},
               {"\"/dev/fw\"", "/a", "/dev/fw/a"},
               {"\"/dev/fw//\"", "//a", "/dev/fw/a"},
               {"5", "/a", "/a"}};
  for (const Case& c : cases) {
    std::string text = std::string(R"({"nodes": {"n": {"transport": {"comm": {"n": {"resman": {"root_path": )") +
                       c.root + R"(}}}}}}, "procs": [{"name": "p", "node": "n", "transport": {"comm": )" +
                       R"({"n": {"resman": {"path": ")" + c.path + R"("}}}}}]})";
    Service s(text.c_str());
    EXPECT_EQ(s.single("p", "p"), std::string("1: 2 ") + c.expected + " 4294967295") << c.root << " + " << c.path;
  }
}

TEST(TransportConfig, InitReplacesWhatWasRead) {
  Service s;
  std::string path = s.dir.write("x.json", R"({"nodes": {"n": {}}, "procs": [{"name": "q", "node": "n"}]})");
  ASSERT_EQ(s.config.init(path.c_str()), 0);
  EXPECT_EQ(s.spawn("n", "q"), "0:");
  EXPECT_EQ(s.spawn("alpha", "a"), "-1: / unknown process 'a'");

  ASSERT_EQ(s.config.init(s.dir.write("y.json", "[1]").c_str()), 0);  // no object: no processes
  EXPECT_EQ(s.spawn("n", "q"), "-1: / unknown process 'q'");
  EXPECT_EQ(s.config.init((s.dir.path + "/missing.json").c_str()), -1);
  EXPECT_NE(Service::takeReason(), "");
}

}  // namespace
