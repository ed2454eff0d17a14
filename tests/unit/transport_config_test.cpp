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
    {"name": "traceserver", "node": "beta", "transport": {"tracing": {"*": {"tcpip": {"port": 99}}}}},
    {"name": "a", "node": "beta", "transport": {"comm": {}}}
  ]
})";

struct Service {
  ScratchDir dir;
  TransportConfig& config = TransportConfig::getInstance();
  explicit Service(const char* text = kFramework) {
    TransportConfig::setFrameworkFile(dir.write("framework.json", text).c_str());
    EXPECT_EQ(config.init(""), 0);
  }

  // The status, with the pending reason taken out of the error store.
  int spawn(const std::string& node, const std::string& name, std::vector<Record>& out, std::string& reason,
            const std::string& channel = "comm") {
    int rc = config.getSpawnConnectionConfigs(node, name, channel, out);
    take(reason);
    return rc;
  }
  int single(const std::string& from, const std::string& to, Record& out, std::string& reason,
             const std::string& channel = "comm") {
    int rc = config.getSingleConnectionConfig(from, to, channel, out);
    take(reason);
    return rc;
  }
  static void take(std::string& reason) {
    const char* text = tbx::ErrorStorage::reason();
    reason = text != nullptr ? text : "";
    tbx::ErrorStorage::ack();
  }
};

std::string describe(const Record& r) { return std::to_string(r.type) + " " + r.address + " " + std::to_string(r.port); }

TEST(TransportConfig, SpawnTakesStarAndDeclaredNodesInFileOrder) {
  Service s;
  std::vector<Record> out;
  std::string reason;
  ASSERT_EQ(s.spawn("alpha", "a", out, reason), 2) << reason;
  // "ghost" is undeclared, "gamma" is no dictionary, "alpha" offers no endpoint.
  ASSERT_EQ(out.size(), 2u);
  EXPECT_EQ(describe(out[0]), "1 10.0.0.2 10");
  EXPECT_EQ(describe(out[1]), "1 10.0.0.1 10");
  EXPECT_EQ(reason, "");

  // The resman endpoint towards alpha resolves, then "*" finds no address on beta.
  EXPECT_EQ(s.spawn("beta", "b", out, reason), -1);
  EXPECT_EQ(reason, "process 'b' has no tcp/ip address for node '*'");
}

TEST(TransportConfig, SpawnFailuresNameTheirCause) {
  Service s;
  std::vector<Record> out;
  std::string reason;
  EXPECT_EQ(s.spawn("alpha", "x", out, reason), -1);
  EXPECT_EQ(reason, "unknown process 'x'");
  EXPECT_EQ(s.spawn("beta", "a", out, reason), -1);  // the first entry named "a" runs on alpha
  EXPECT_EQ(reason, "process 'a' runs on node 'alpha', not on 'beta'");
  EXPECT_EQ(s.spawn("", "g", out, reason), -1);
  EXPECT_EQ(reason, "process 'g' has no 'node'");
  EXPECT_EQ(s.spawn("alpha", "f", out, reason), -1);
  EXPECT_EQ(reason, "process 'f' has no resman path for node 'beta'");
  EXPECT_EQ(s.spawn("beta", "e", out, reason), -1);
  EXPECT_EQ(reason, "process 'e' has no tcp/ip port for node '*'");
  EXPECT_EQ(s.spawn("beta", "c", out, reason), -1);
  EXPECT_EQ(reason, "process 'c' has no tcp/ip address for node '*'");
  EXPECT_EQ(s.spawn("beta", "traceserver", out, reason, "tracing"), 1) << reason;
  EXPECT_EQ(describe(out.back()), "1 10.9.9.9 99");
  EXPECT_EQ(s.spawn("beta", "traceserver", out, reason), 0);  // no "comm" section
}

TEST(TransportConfig, SpawnNeedsTheNodeDeclared) {
  Service s(R"({"nodes": {"n": 1}, "procs": [{"name": "p", "node": "n", "transport": {"comm": {}}}]})");
  std::vector<Record> out;
  std::string reason;
  EXPECT_EQ(s.spawn("n", "p", out, reason), -1);
  EXPECT_EQ(reason, "node 'n' is not defined in 'nodes'");
}

TEST(TransportConfig, SingleAsksTheSecondProcessForTheFirstOnesNode) {
  Service s;
  Record r;
  std::string reason;
  // b offers alpha a resource manager path; the root on beta gets one slash added.
  ASSERT_EQ(s.single("a", "b", r, reason), 1) << reason;
  EXPECT_EQ(describe(r), "2 /dev/fw/b 4294967295");
  // c has only "*": its node beta gives no "*" address.
  r = Record();
  EXPECT_EQ(s.single("a", "c", r, reason), -1);
  EXPECT_EQ(reason, "process 'c' has no tcp/ip address for node '*'");
  r = Record();
  ASSERT_EQ(s.single("b", "a", r, reason), 1) << reason;
  EXPECT_EQ(describe(r), "1 10.0.0.2 10");
  // d names alpha without an endpoint: no fallback to "*".
  r = Record();
  EXPECT_EQ(s.single("a", "d", r, reason), 0);
  EXPECT_EQ(describe(r), "0  4294967295");
  // g has no node: only the "*" entry of the second process applies.
  r = Record();
  ASSERT_EQ(s.single("g", "d", r, reason), 1) << reason;
  EXPECT_EQ(describe(r), "1 10.0.0.1 40");
  r = Record();
  ASSERT_EQ(s.single("a", "g", r, reason), 1) << reason;
  EXPECT_EQ(describe(r), "2 g 4294967295");  // no node, no root
  EXPECT_EQ(s.single("a", "f", r, reason), 0);  // nothing for alpha
  EXPECT_EQ(s.single("a", "traceserver", r, reason, "tracing"), 1);
  EXPECT_EQ(s.single("y", "a", r, reason), -1);
  EXPECT_EQ(reason, "unknown process 'y'");
  EXPECT_EQ(s.single("a", "z", r, reason), -1);
  EXPECT_EQ(reason, "unknown process 'z'");
}

TEST(TransportConfig, ResmanRootAndPathMeetAtOneSlash) {
  struct Case {
    const char* root;
    const char* path;
    const char* expected;
  } cases[] = {{"\"/dev/fw/\"", "a", "/dev/fw/a"}, {"\"/dev/fw\"", "/a", "/dev/fw/a"},
               {"\"/dev/fw\"", "a", "/dev/fw/a"}, {"\"/dev/fw//\"", "//a", "/dev/fw/a"},
               {"\"/\"", "a", "/a"},                {"\"\"", "/a", "/a"},
               {"5", "a", "a"}};
  for (const Case& c : cases) {
    std::string text = std::string(R"({"nodes": {"n": {"transport": {"comm": {"n": {"resman": {"root_path": )") +
                       c.root + R"(}}}}}}, "procs": [{"name": "p", "node": "n", "transport": {"comm": {"n": {"resman": {"path": ")" +
                       c.path + R"("}}}}}]})";
    Service s(text.c_str());
    Record r;
    std::string reason;
    ASSERT_EQ(s.single("p", "p", r, reason), 1) << reason;
    EXPECT_EQ(r.address, c.expected) << c.root << " + " << c.path;
  }
}

TEST(TransportConfig, InitReplacesWhatWasRead) {
  Service first;
  ScratchDir other;
  std::string path = other.write("x.json", R"({"nodes": {"n": {}}, "procs": [{"name": "q", "node": "n"}]})");
  TransportConfig& config = TransportConfig::getInstance();
  ASSERT_EQ(config.init(path.c_str()), 0);
  std::vector<Record> out;
  std::string reason;
  EXPECT_EQ(first.spawn("n", "q", out, reason), 0) << reason;
  EXPECT_EQ(first.spawn("alpha", "a", out, reason), -1);

  path = other.write("y.json", "[1]");
  ASSERT_EQ(config.init(path.c_str()), 0);
  EXPECT_EQ(first.spawn("n", "q", out, reason), -1);
  EXPECT_EQ(config.init((other.path + "/missing.json").c_str()), -1);
  EXPECT_NE(tbx::ErrorStorage::reason(), nullptr);
  tbx::ErrorStorage::ack();
}

}  // namespace
