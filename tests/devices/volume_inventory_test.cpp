#include "devices/volume_inventory.h"

#include "devices/data_list_object.h"
#include "support/mounted_volume.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

MountEntry mount(const std::string& fileSystem, std::uint64_t device, const std::string& path,
                 const std::string& root = "/") {
  return {path, fileSystem, {}, 0, device, false, root};
}

std::vector<std::string> volumePaths(std::vector<MountEntry> mounts) {
  std::vector<std::string> paths;
  for (const MountEntry& one : volumeMounts(std::move(mounts))) paths.push_back(one.mountPoint);
  return paths;
}

TEST(VolumeMounts, WhatTheSystemMountsForItself_IsLeftOut) {
  EXPECT_EQ(volumePaths({mount("ext4", 1, "/"), mount("proc", 2, "/proc"), mount("tmpfs", 3, "/run"),
                         mount("squashfs", 4, "/snap/core/1"), mount("overlay", 5, "/var/lib/containers/x"),
                         mount("autofs", 6, "/net"), mount("vfat", 7, "/boot/efi"), mount("nfs4", 8, "/srv/nfs"),
                         mount("fuse.sshfs", 9, "/home/anna/far")}),
            (std::vector<std::string>{"/", "/boot/efi", "/srv/nfs", "/home/anna/far"}));
  EXPECT_EQ(volumePaths({mount("overlay", 5, "/")}), std::vector<std::string>{"/"});
}

TEST(VolumeMounts, SecondViewsOfAVolume_AreLeftOutAndSubvolumesAreNot) {
  EXPECT_EQ(volumePaths({mount("ext4", 1, "/srv/data", "/data"), mount("ext4", 1, "/"), mount("ext4", 1, "/again")}),
            std::vector<std::string>{"/"});
  EXPECT_EQ(volumePaths({mount("btrfs", 1, "/", "/@"), mount("btrfs", 1, "/home", "/@/home"),
                         mount("btrfs", 1, "/jail/home", "/@/home")}),
            (std::vector<std::string>{"/", "/home"}));
}

TEST(VolumeMounts, AMountOverAnother_HidesIt) {
  const auto volumes = volumeMounts({mount("ext4", 1, "/mnt"), mount("xfs", 2, "/mnt")});
  ASSERT_EQ(volumes.size(), 1U);
  EXPECT_EQ(volumes[0].fileSystem, "xfs");
  EXPECT_TRUE(volumeMounts({mount("ext4", 1, "/mnt"), mount("tmpfs", 2, "/mnt")}).empty());
}

TEST(VolumeInventory, APathThatDoesNotExist_GivesEmptyAnswersAndOneLine) {
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(QelGetVolumeBSDName("/does/not/exist"), std::nullopt);
  std::fflush(stdout);
  EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Can't get the FSRef of the path!\n");
  EXPECT_EQ(bunGetVolumeName("/does/not/exist"), " ");
  EXPECT_EQ(bunGetVolumeSize("/does/not/exist").total(), 0U);
  EXPECT_EQ(bunGetVolumeSize("/does/not/exist").free(), 0U);
  EXPECT_EQ(dataListObject::getFileSystemTypeWithPath("/does/not/exist"), std::nullopt);
}

TEST(VolumeInventory, AMountedVolumeWithALabel_IsDescribed) {
  const MountedVolume volume("ext4", 32);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const auto device = QelGetVolumeBSDName(volume / "lost+found");
  ASSERT_TRUE(device);
  ASSERT_EQ(device->rfind("/dev/loop", 0), 0U);
  ASSERT_TRUE(runQuietly("e2label " + *device + " 'My Disk'"));
  EXPECT_EQ(bunGetVolumeName(volume / "lost+found"), "My Disk");
  const VolumeSize size = bunGetVolumeSize(volume.path());
  EXPECT_GT(size.total(), 24U << 20);
  EXPECT_LE(size.total(), 32U << 20);
  EXPECT_GT(size.free(), 0U);
  EXPECT_LT(size.free(), size.total());
  EXPECT_EQ(dataListObject::getFileSystemTypeWithPath(volume.path()), "Format: unknown");

  const auto volumes = mountedVolumes();
  const auto listed =
      std::find_if(volumes.begin(), volumes.end(), [&](const Volume& one) { return one.path == volume.path(); });
  ASSERT_NE(listed, volumes.end());
  EXPECT_EQ(listed->name, "My Disk");
  EXPECT_EQ(listed->fileSystem, "ext4");
  EXPECT_EQ(listed->device, *device);
  EXPECT_EQ(listed->bytes, size.total());
}

TEST(VolumeInventory, ALinkToAnotherVolume_CountsWhereItStands) {
  const MountedVolume volume("tmpfs", 1);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const TempTree tree{{"link", Link{volume.path()}}};
  EXPECT_EQ(bunGetVolumeSize(tree / "link").total(), bunGetVolumeSize(tree.path()).total());
  EXPECT_NE(bunGetVolumeSize(tree / "link").total(), bunGetVolumeSize(volume.path()).total());
  EXPECT_EQ(QelGetVolumeBSDName(volume.path()), "/dev/");
}

TEST(SizeOfADestination, InEachUnit_IsRoundedAsShown) {
  EXPECT_EQ(dataListObject::sizeWithGMKFormat(1023), "1023 bytes");
  EXPECT_EQ(dataListObject::sizeWithGMKFormat(1024), "1.0 KB");
  EXPECT_EQ(dataListObject::sizeWithGMKFormat((1U << 20) - 1), "1024.0 KB");
  EXPECT_EQ(dataListObject::sizeWithGMKFormat(5U << 19), "2.50 MB");
  EXPECT_EQ(dataListObject::sizeWithGMKFormat(std::uint64_t{3} << 40), "3072.00 GB");
}

}  // namespace
}  // namespace lumisk::test
