#include <gtest/gtest.h>

#include <functional>

#include "clone/clone_refusal.h"
#include "clone/clone_rule.h"
#include "clone/link_sets.h"
#include "clone/unfinished_mark.h"

namespace lumisk {
namespace {

FileStatus fileOf(std::uint64_t size, std::int64_t seconds, std::uint64_t inode = 1, std::uint64_t links = 1) {
  FileStatus status;
  status.type = FileType::kRegular;
  status.size = size;
  status.modified = {seconds, 7};
  status.changed = {1000, 0};
  status.identity = {1, inode};
  status.links = links;
  return status;
}

TEST(CloneRule, Content_IsJudgedByTypeSizeAndDate) {
  const FileStatus file = fileOf(5, 100);
  EXPECT_EQ(judgeContent(file, file, {}), Content::kSame);
  EXPECT_EQ(judgeContent(file, fileOf(6, 100), {}), Content::kOther);
  EXPECT_EQ(judgeContent(file, fileOf(5, 101), {}), Content::kOther);
  FileStatus laterByANanosecond = file;
  ++laterByANanosecond.modified.nanoseconds;
  EXPECT_EQ(judgeContent(file, laterByANanosecond, {}), Content::kOther);
  FileStatus inWholeSeconds = file;
  inWholeSeconds.modified.nanoseconds = 0;
  EXPECT_EQ(judgeContent(file, inWholeSeconds, {}), Content::kSame) << "the target keeps no more";
  inWholeSeconds.changed.nanoseconds = 1;
  EXPECT_EQ(judgeContent(file, inWholeSeconds, {}), Content::kOther) << "it does";
  FileStatus link = file;
  link.type = FileType::kLink;
  EXPECT_EQ(judgeContent(file, link, {}), Content::kOther);
  EXPECT_EQ(judgeContent(link, link, {}), Content::kUnknown)
      << "a link of the same length and date may say another thing";
  FileStatus device = file;
  device.type = FileType::kBlockDevice;
  FileStatus other = device;
  other.deviceNumber = 9;
  EXPECT_EQ(judgeContent(device, device, {}), Content::kSame);
  EXPECT_EQ(judgeContent(device, other, {}), Content::kOther);
}

TEST(CloneRule, WrittenByACloneThatNeverEnded_IsCompared) {
  const FileStatus file = fileOf(5, 100);
  EXPECT_EQ(judgeContent(file, file, FileTime{1000, 0}), Content::kUnknown);
  EXPECT_EQ(judgeContent(file, file, FileTime{1000, 1}), Content::kSame);
  EXPECT_EQ(timeOfMark("1000.25"), (FileTime{1000, 25}));
  for (const char* damaged : {"", "0", "x", "12.", "12.5 ", "12.99999999999"})
    EXPECT_EQ(judgeContent(file, file, timeOfMark(damaged)), Content::kUnknown) << damaged;
}

TEST(CloneRule, TornCopy_GetsADateThatTheFileDoesNotHave) {
  const FileStatus before = fileOf(5, 100);
  FileStatus after = before;
  EXPECT_FALSE(hasChanged(before, after));
  after.changed.nanoseconds = 1;
  EXPECT_TRUE(hasChanged(before, after));
  EXPECT_NE(dateOfTornCopy(before, after), after.modified);
  EXPECT_EQ(dateOfTornCopy(before, fileOf(5, 200)), before.modified);
}

TEST(CloneRule, LabelThatIsTooLong_IsCutBetweenCharacters) {
  EXPECT_EQ(fittingLabel("short", 12), "short");
  EXPECT_EQ(fittingLabel("elevenbytes\xC3\xA9", 12), "elevenbytes");
}

TEST(LinkSets, NamesOfOneFile_FindItsFirstPlaceUntilAllWereMet) {
  LinkSets sets;
  const FileStatus file = fileOf(5, 100, 7, 3);
  EXPECT_FALSE(sets.find(file));
  sets.met(file, {"a", "x", {2, 70}}, false);
  ASSERT_TRUE(sets.find(file));
  EXPECT_EQ(sets.find(file)->folder + "/" + sets.find(file)->name, "a/x");
  EXPECT_EQ(sets.find(file)->identity, (FileIdentity{2, 70}));
  EXPECT_FALSE(sets.find(fileOf(6, 100, 7, 3))) << "the inode was used again by another file";
  sets.met(file, {"b", "y", {2, 70}}, false);
  sets.met(file, {"b", "z", {2, 70}}, false);
  EXPECT_FALSE(sets.find(file));
}

TEST(LinkSets, FileThatStandsForAnother_IsTakenToTheEnd) {
  LinkSets sets;
  const FileStatus first = fileOf(5, 100, 7, 2), second = fileOf(5, 100, 8, 2);
  sets.met(first, {"", "x", {2, 70}}, true);
  sets.met(first, {"", "y", {2, 70}}, false);
  EXPECT_FALSE(sets.isTaken({2, 70}, first));
  EXPECT_TRUE(sets.isTaken({2, 70}, second));
}

MountEntry mountOf(const std::string& place, std::uint64_t device, const std::string& type = "ext4") {
  return {place, type, {}, device, device};
}

class CloneRefusal : public ::testing::Test {
 protected:
  CloneRefusal() {
    order.sourcePath = "/media/a";
    order.targetPath = "/media/b";
    facts.source = {mountOf("/media/a", 11), 801};
    facts.target = {mountOf("/media/b", 12), 802};
    facts.orderedDevice = 802;
    facts.mounts = {mountOf("/", 1), *facts.source.mount, *facts.target.mount};
    facts.inUse = {{"/", 1, 800}, {"/home", 1, 800}};
    facts.sourceUsed = 1000 << 20;
    facts.targetCapacity = 2000 << 20;
    facts.targetDeviceSize = 2100 << 20;
  }
  [[nodiscard]] bool isRefusedFor(const std::string& part) const {
    const auto reason = whyRefused(order, facts);
    EXPECT_TRUE(reason && reason->find(part) != std::string::npos) << reason.value_or("not refused");
    return reason.has_value();
  }
  CloneOrder order;
  CloneFacts facts;
};

TEST_F(CloneRefusal, SoundOrder_IsNotRefused) {
  EXPECT_EQ(whyRefused(order, facts), std::nullopt);
  order.formatVolume = true;
  EXPECT_EQ(whyRefused(order, facts), std::nullopt);
}

TEST_F(CloneRefusal, WrongVolumes_AreRefused) {
  const CloneFacts sound = facts;
  const auto refused = [&](const std::string& part, const std::function<void()>& change) {
    facts = sound;
    change();
    return isRefusedFor(part);
  };
  EXPECT_TRUE(refused("source \"/media/a\" is no mounted", [&] { facts.source.mount.reset(); }));
  EXPECT_TRUE(refused("target \"/media/b\" is no mounted", [&] { facts.target.mount.reset(); }));
  EXPECT_TRUE(refused("no files on a disk", [&] { facts.source.mount->fileSystem = "sysfs"; }));
  EXPECT_TRUE(refused("folder of a volume", [&] { facts.source.mount->root = "/sub"; }));
  EXPECT_TRUE(refused("folder of a volume", [&] { facts.target.mount->root = "/sub"; }));
  EXPECT_TRUE(refused("lies on no disk", [&] { facts.target.blockDevice = 0; }));
  EXPECT_TRUE(refused("not on the device", [&] { facts.orderedDevice = 803; }));
  EXPECT_TRUE(refused("not on the device", [&] { facts.orderedDevice.reset(); }));
  EXPECT_TRUE(refused("read-only", [&] { facts.target.mount->isReadOnly = true; }));
  EXPECT_TRUE(refused("same volume", [&] { facts.source.mount->device = 12; }));
  EXPECT_TRUE(refused("same volume", [&] { facts.source.blockDevice = 802; }));
  EXPECT_TRUE(refused("running system: /", [&] { facts.target.mount->device = 1; }));
  EXPECT_TRUE(refused("running system: /home", [&] { facts.inUse[1].blockDevice = 802; }));
  EXPECT_TRUE(refused("holds another volume", [&] { facts.mounts.push_back(mountOf("/media/b/c", 13)); }));
}

TEST_F(CloneRefusal, VolumeMountedTwiceOrAPartOfOne_IsNotErased) {
  MountEntry second = mountOf("/elsewhere", 12);
  second.id = 99;
  facts.mounts.push_back(second);
  EXPECT_EQ(whyRefused(order, facts), std::nullopt);
  order.formatVolume = true;
  EXPECT_TRUE(isRefusedFor("also mounted at \"/elsewhere\""));
  facts.mounts.pop_back();
  facts.target.mount->fileSystem = "btrfs";
  facts.target.mount->root = "/@data";
  EXPECT_TRUE(isRefusedFor("part of a volume"));
}

TEST_F(CloneRefusal, TargetThatIsTooSmall_IsRefusedWithAReserve) {
  facts.targetCapacity = facts.sourceUsed;
  EXPECT_TRUE(isRefusedFor("too small"));
  facts.targetCapacity = facts.sourceUsed + facts.sourceUsed / 200 + (1 << 20);
  EXPECT_EQ(whyRefused(order, facts), std::nullopt);
  order.formatVolume = true;
  facts.smallestVolume = facts.targetDeviceSize + 1;
  EXPECT_TRUE(isRefusedFor("too small"));
  EXPECT_EQ(capacityLike(1000, 500, 400), 800U);
  EXPECT_LT(capacityLike(1600, 0, 0), 1600U);
}

}  // namespace
}  // namespace lumisk
