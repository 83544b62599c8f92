#include "schedule/plugin_list.h"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/property_list.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

using Array = PropertyList::Array;

class PluginListTest : public ::testing::Test {
 protected:
  PropertyList written() const { return readPropertyListFile(path).value_or(PropertyList()); }
  void write(const PropertyList& content) const { ASSERT_TRUE(writePropertyListFile(path, content)); }

  TempTree folder{};
  const std::string path = folder / "plugin.plist";
  const PluginList list{path};
};

TEST_F(PluginListTest, MissingOrDamaged_LeftAlone) {
  list.writeRunningJobOriginalPathsToPlist({"/a"});
  list.deleteRunningJobOriginalPathInPlist({"/a"});
  EXPECT_FALSE(exists(path));
  std::ofstream(path) << "junk";
  list.writeRunningJobOriginalPathsToPlist({"/a"});
  EXPECT_EQ(readFile(path), "junk");
  EXPECT_TRUE(list.restoredPlaces().empty());
}

TEST_F(PluginListTest, RunningSources_AppendedAndTakenOutAgain) {
  write(PropertyList::Dictionary{{"other", 7}});
  list.writeRunningJobOriginalPathsToPlist({"/a", "/b"});
  list.writeRunningJobOriginalPathsToPlist({"/c", "/a"});
  EXPECT_EQ(written()["RunningJobSourcePath"].array(), (Array{"/a", "/b", "/c", "/a"}));
  list.deleteRunningJobOriginalPathInPlist({"/a", "/b"});
  EXPECT_EQ(written()["RunningJobSourcePath"].array(), (Array{"/c"}));
  EXPECT_EQ(written()["other"].integer(), 7);
}

TEST_F(PluginListTest, ManyRunsAtOnce_LoseNothing) {
  write(PropertyList::Dictionary{});
  std::vector<std::thread> runs;
  for (int i = 0; i < 8; ++i) {
    runs.emplace_back([this, i] {
      const PluginList own(path);
      own.writeRunningJobOriginalPathsToPlist({"/short" + std::to_string(i), "/long"});
      own.deleteRunningJobOriginalPathInPlist({"/short" + std::to_string(i)});
    });
  }
  for (auto& run : runs) run.join();
  EXPECT_EQ(written()["RunningJobSourcePath"].array(), Array(8, "/long"));
}

TEST_F(PluginListTest, Restoring_ConcernsPathsThatHoldEachOther) {
  const auto action = [](int type, Array paths) {
    return PropertyList::Dictionary{{"ActionType", type}, {"CopyPathArray", std::move(paths)}};
  };
  write(PropertyList::Dictionary{
      {"JobList", Array{action(2, {"/x", "/other"}), action(1, {"/from", "/home/a", "/from", "", "/odd"}), 3}}});
  const auto places = list.restoredPlaces();
  EXPECT_EQ(places, (std::vector<std::string>{"/home/a", ""}));
  EXPECT_TRUE(isNowRestoreingByPlugin(places, {"/z", "/home/a"}));
  EXPECT_TRUE(isNowRestoreingByPlugin(places, {"/home"}));
  EXPECT_TRUE(isNowRestoreingByPlugin(places, {"/home/a/b"}));
  EXPECT_FALSE(isNowRestoreingByPlugin(places, {"/odd", "/from", "/other"}));
  EXPECT_FALSE(isNowRestoreingByPlugin({}, {"/home/a"}));
}

}  // namespace
}  // namespace lumisk::test
