#include "engine/remembered_file_systems.h"

#include <gtest/gtest.h>

namespace lumisk {
namespace {

const RememberedFileSystem kDisk{"/s", "/s", "1-2", "ext4", "/dev/sdb1"};
const RememberedFileSystem kInner{"/s/inner", "/s/inner", "3-4", "xfs", "/dev/sdc1"};
const RememberedFileSystem kStartUp{"/s", "/", "5-6", "ext4", "/dev/sda1"};

TEST(SameFileSystem, ByItsUuidElseByTypeAndSource_AtTheSamePlace) {
  auto now = kDisk;
  now.source = "/dev/sdd1";  // plugged in elsewhere
  EXPECT_TRUE(isSameFileSystem(kDisk, now));
  now.uuid = "";  // not told today
  EXPECT_FALSE(isSameFileSystem(kDisk, now));
  now.source = kDisk.source;
  EXPECT_TRUE(isSameFileSystem(kDisk, now));
  now.type = "vfat";
  EXPECT_FALSE(isSameFileSystem(kDisk, now));
  auto part = kDisk;  // the bare folder below a part of the file system that is mounted apart
  part.mountPoint = "/";
  EXPECT_FALSE(isSameFileSystem(kDisk, part));
}

TEST(CheckRoot, OnlyWhatIsRemembered_CanDiffer) {
  EXPECT_EQ(checkRoot({kDisk}, kDisk), RootVerdict::kSame);
  EXPECT_EQ(checkRoot({kDisk}, kStartUp), RootVerdict::kAnother);
  EXPECT_EQ(checkRoot({kInner}, kStartUp), RootVerdict::kUnknown);
}

TEST(GoneMounts, BelowThisSource_MissingOrReplaced) {
  const RememberedFileSystem elsewhere{"/other/m", "/other/m", "7", "ext4", "/dev/sde1"};
  const RememberedFileSystem root{"/s/inner/deep", "/s/inner", "3-4", "xfs", "/dev/sdc1"};  // a source, no mount
  const RememberedFileSystems then{kDisk, kInner, elsewhere, root};
  EXPECT_EQ(goneMounts(then, "/s", {kInner}), RememberedFileSystems{});
  EXPECT_EQ(goneMounts(then, "/s", {}), RememberedFileSystems{kInner});
  auto replaced = kInner;
  replaced.uuid = "8";
  EXPECT_EQ(goneMounts(then, "/s", {replaced}), RememberedFileSystems{kInner});
}

TEST(RememberedFileSystems, StoredAndReadBack_AreTheSame_DamageIsLeftOut) {
  const RememberedFileSystems both{kDisk, {"/bad \xFF name", "/", "", "nfs4", "server:/x"}};
  EXPECT_EQ(fileSystemsFromList(fileSystemsToList(both)), both);
  PropertyList damaged = fileSystemsToList(both);
  damaged.mutableArray()[1] = "no dictionary";
  EXPECT_EQ(fileSystemsFromList(damaged), RememberedFileSystems{kDisk});
  EXPECT_EQ(fileSystemsFromList(PropertyList(7)), RememberedFileSystems{});
}

}  // namespace
}  // namespace lumisk
