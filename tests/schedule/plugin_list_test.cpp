#include "schedule/plugin_list.h"

#include <gtest/gtest.h>

#include <fstream>
#include <thread>

#include "platform/process.h"
#include "platform/property_list.h"
#include "schedule/restore_hold.h"
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

TEST_F(PluginListTest, RestoreHold_IsReadWhileItLives_AndLeavesTheRestOfTheList) {
  {
    const RestoreHold hold(path, "/t/a", "/s/a");
    const RestoreHold other(path, "/t/b", "/s/b");
    EXPECT_EQ(list.restoredPlaces(), (std::vector<std::string>{"/s/a", "/s/b"}));
    auto changed = written();
    changed.mutableDictionary()["other"] = 7;
    changed.mutableDictionary()["JobList"].mutableArray().push_back(
        PropertyList::Dictionary{{"ActionType", 1}, {"CopyPathArray", Array{"/x", "/plugin"}}});
    write(changed);
  }
  EXPECT_EQ(list.restoredPlaces(), std::vector<std::string>{"/plugin"});
  EXPECT_EQ(written()["other"].integer(), 7);
}

TEST_F(PluginListTest, RestoreOfAProcessThatEnded_HoldsNothingOff) {
  {
    const RestoreHold hold(path, "/t/a", "/s/a");
    auto left = written();
    auto& entry = left.mutableDictionary()["JobList"].mutableArray().front().mutableDictionary();
    std::string owner = entry["LumiskProcess"].text();
    EXPECT_EQ(owner, process::identity());
    owner.insert(owner.find(' ') + 1, "1");  // the same number, begun at another time
    entry["LumiskProcess"] = owner;
    write(left);
    EXPECT_TRUE(list.restoredPlaces().empty());
  }
  EXPECT_TRUE(written()["JobList"].array().empty());
  std::ofstream(path) << "junk";
  const RestoreHold hold(path, "/t/a", "/s/a");
  EXPECT_EQ(readFile(path), "junk");
}

}  // namespace
}  // namespace lumisk::test
