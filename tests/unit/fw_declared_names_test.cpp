#include <gtest/gtest.h>

#include "framework/check_fw_config.h"
#include "framework/fw_state.h"
#include "test_helpers.h"

namespace {

// The later checks look up exactly what the framework file declared.
TEST(FrameworkDeclaredNames, SetsHoldWhatTheFileDeclares) {
  framework::resetState();
  ScratchDir dir;
  std::string path = dir.write("framework.json", R"({
    "nodes": {
      "hu": { "transport": { "comm": { "*": { "serializer": "bin", "tcpip": { "address": "10.0.0.2" } },
                                       "ic": { "serializer": "bin", "resman": { "root_path": "/net/ic" } } } } },
      "ic": {}
    },
    "procs": [
      { "name": "traceserver", "node": "hu", "id": 99, "transport": { "tracing": { "*": {} } } },
      { "name": "nav \"core\"", "node": "hu", "id": 1, "exec": "navcore",
        "transport": { "comm": { "ic": { "tcpip": { "port": 7000 } }, "hu": { "tcpip": { "port": 7000 } } } },
        "servicemgr": { "bundles": [ { "name": "navbundle", "lib": "libnav.so", "apps": ["route", "guide"] } ] } },
      { "name": "hmi", "node": "hu", "id": 2, "exec": "hmi", "servicemgr": { "singleapp": true, "name": "hmi_app" },
        "transport": { "comm": { "ic": { "resman": { "path": "/hmi" } } } } },
      { "node": "hu", "id": 3 }
    ]
  })");
  testing::internal::CaptureStdout();
  kit::config::JSONParser parser;
  kit::config::Dictionary* top = nullptr;
  kit::config::Array* array = nullptr;
  ASSERT_EQ(parser.parseFile(path.c_str(), top, array, 0), 0);
  EXPECT_EQ(framework::checkFWConfig(path.c_str(), *top, false), 1);  // the entry without a name
  testing::internal::GetCapturedStdout();

  EXPECT_EQ(framework::ProcessKeys.size(), 8u);
  EXPECT_EQ(framework::NodeNames.size(), 2u);
  for (const char* name : {"traceserver", "nav \"core\"", "hmi", ""})
    EXPECT_TRUE(framework::ProcessNames.contains(name)) << name;
  EXPECT_FALSE(framework::ProcessNames.contains("hmi_app"));
  EXPECT_FALSE(framework::ProcessIds.contains(99));  // the trace server has no id
  EXPECT_EQ(framework::ProcessIds.size(), 3u);
  for (const char* app : {"navbundle", "route", "guide", "hmi_app"})
    EXPECT_TRUE(framework::ApplicationNames.contains(app)) << app;
  EXPECT_FALSE(framework::ApplicationNames.contains("hmi"));
  // Only the last connection of a process, in the order of "nodes", counts.
  EXPECT_TRUE(framework::IpConnections.contains("10.0.0.2:7000"));
  EXPECT_EQ(framework::IpConnections.size(), 1u);
  EXPECT_TRUE(framework::ResmanPaths.contains("/net/ic:/hmi"));
  framework::resetState();
}

}  // namespace
