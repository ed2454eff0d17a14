#include <gtest/gtest.h>

#include "platform/kit_config.h"
#include "support/repeated_keys.h"
#include "test_helpers.h"

namespace {

// Every object is searched, lists cut into batches or not, large objects too.
TEST(RepeatedKeys, EveryObjectNamedByItsPath) {
  std::string wide = "{";
  for (int i = 0; i < 20; ++i) wide += "\"k" + std::to_string(i) + "\": " + std::to_string(i) + ", ";
  wide += "\"k3\": 0, \"k19\": 1}";
  const std::string text = "{\"procs\": [{\"name\": \"a\", \"id\": 1}, {\"name\": \"b\", \"id\": 2, \"node\": \"x\", \"id\": \"x\"}],\n"
                           " \"launcher\": {\"nav\": {\"restart_param\": {\"restart_cnt\": 1, \"restart_cnt\": 2}}},\n"
                           " \"wide\": " + wide + ", \"list\": [[{\"a\": 1, \"b\": {}, \"a\": 2}]], \"version\": 1, \"version\": 2}";
  ScratchDir dir;
  const std::string path = dir.write("f.json", text);
  kit::config::setPositionsWanted(true);
  for (size_t bytes : {size_t(1), size_t(100), size_t(256) << 10}) {
    kit::config::setListBatchBytes(bytes);
    kit::config::JSONParser parser(kit::config::JSONParser::BatchedMembers);
    kit::config::Dictionary* top = nullptr;
    kit::config::Array* array = nullptr;
    ASSERT_EQ(parser.parseFile(path.c_str(), top, array, 0), 0);
    std::string found;
    support::findRepeatedKeys(*top, [&](const support::RepeatedKey& r) {
      found += r.object + "|" + std::string(r.key) + "|" + std::to_string(r.first.line) + ":" +
               std::to_string(r.first.column) + ">" + std::to_string(r.again.line) + ":" + std::to_string(r.again.column) + "\n";
    });
    EXPECT_EQ(found,
              "procs[1]|id|1:50>1:72\n"
              "launcher.nav.restart_param|restart_cnt|2:41>2:59\n"
              "wide|k3|3:38>3:211\n"
              "wide|k19|3:200>3:220\n"
              "list[0][0]|a|3:242>3:259\n"
              "|version|3:270>3:284\n")
        << bytes;
  }
  kit::config::setListBatchBytes(256 << 10);
  kit::config::setPositionsWanted(false);
}

// Members of a top-level object read in batches: the first key's batch is
// gone when the repeat is found.
TEST(RepeatedKeys, AcrossBatchesOfMembers) {
  ScratchDir dir;
  const std::string path = dir.write("f.json", "{\"a\": {\"x\": 1}, \"b\": 2,\n \"a\": 3}");
  kit::config::setListBatchBytes(1);
  kit::config::JSONParser parser(kit::config::JSONParser::BatchedMembers);
  kit::config::Dictionary* top = nullptr;
  kit::config::Array* array = nullptr;
  ASSERT_EQ(parser.parseFile(path.c_str(), top, array, 0), 0);
  std::string found;
  support::findRepeatedKeys(*top, [&](const support::RepeatedKey& r) { found += r.object + "|" + std::string(r.key); });
  kit::config::setListBatchBytes(256 << 10);
  EXPECT_EQ(found, "|a");
}

}  // namespace
