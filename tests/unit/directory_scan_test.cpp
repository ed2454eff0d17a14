#include <gtest/gtest.h>

#include <algorithm>

#include "driver/directory_scan.h"
#include "test_helpers.h"

TEST(DirectoryScan, AddsEntriesWhoseNameHoldsJson) {
  ScratchDir dir;
  for (const char* name : {"a.json", "b.json.bak", "notes.txt", ".json"}) dir.write(name, "{}");
  std::vector<std::string> files{"first"};
  ASSERT_EQ(driver::scanDirectory(dir.path + "/", files), 0);
  ASSERT_EQ(files.size(), 4u);
  EXPECT_EQ(files[0], "first");
  std::vector<std::string> got(files.begin() + 1, files.end());
  std::sort(got.begin(), got.end());
  EXPECT_EQ(got, (std::vector<std::string>{dir.path + "/.json", dir.path + "/a.json", dir.path + "/b.json.bak"}));

  files.clear();
  ASSERT_EQ(driver::scanDirectory(dir.path, files), 0);  // separator added once
  EXPECT_EQ(files.size(), 3u);
  EXPECT_EQ(files[0].rfind(dir.path + "/", 0), 0u);
}

TEST(DirectoryScan, BackslashIsKeptAsSeparator) {
  ScratchDir dir;
  dir.write("x\\a.json", "{}");  // the listing sees "x\a.json" in one directory
  std::vector<std::string> files;
  ASSERT_EQ(driver::scanDirectory(dir.path + "/x\\", files), 1);  // no such directory
  ASSERT_EQ(driver::scanDirectory(dir.path + "/", files), 0);
  EXPECT_EQ(files, std::vector<std::string>{dir.path + "/x\\a.json"});
}
