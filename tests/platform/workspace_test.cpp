#include "platform/workspace.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <cerrno>

#include "platform/block_device.h"
#include "platform/mount_table.h"
#include "support/mounted_volume.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

MountEntry mountAt(const std::string& path) {
  return {path, {}, {}};
}

const std::vector<MountEntry> kMounts = {
    mountAt("/"),      mountAt("/home"),        mountAt("/media/anna/DISK"), mountAt("/run/media/anna/USB 1"),
    mountAt("/mnt/a"), mountAt("/mnt/a/nested")};

TEST(VolumeOf, APathOnAMountedVolume_GivesTheMountPoint) {
  const std::map<std::string, std::string> expected = {{"/media/anna/DISK", "/media/anna/DISK"},
                                                       {"/media/anna/DISK/not/there", "/media/anna/DISK"},
                                                       {"/run/media/anna/USB 1/", "/run/media/anna/USB 1"},
                                                       {"/mnt/a/b", "/mnt/a"},
                                                       {"/mnt/a/nested/b", "/mnt/a/nested"},
                                                       {"/Volumes/Backup", "/Volumes/Backup"},
                                                       {"/Volumes/Backup/d", "/Volumes/Backup"}};
  for (const auto& [path, volume] : expected) EXPECT_EQ(workspace::volumeOf(path, kMounts), volume) << path;
  EXPECT_EQ(workspace::volumeOf("/mnt/x", {mountAt("/"), mountAt("/mnt")}), "/mnt");
}

TEST(VolumeOf, APathOnTheStartUpVolume_GivesNone) {
  for (const char* path : {"/", "/home/anna", "/media/anna/DISK2/x", "/media/anna", "/mnt", "/mnt/ab", "/Volumes",
                           "/VolumesX/a", "/media/anna/DISK/../x"})
    EXPECT_EQ(workspace::volumeOf(path, kMounts), std::nullopt) << path;
}

TEST(IsVolumesFolder, OnlyThePlacesThemselves_WithNoVolumeRightThere) {
  for (const char* path : {"/Volumes", "/Volumes/", "/media", "/media/anna", "/run/media", "/run/media/anna", "/mnt"})
    EXPECT_TRUE(workspace::isVolumesFolder(path, kMounts, "anna")) << path;
  for (const char* path : {"/", "/media/anna/DISK", "/media/bob", "/mnt/a", "/Volumes/x", "/mntx"})
    EXPECT_FALSE(workspace::isVolumesFolder(path, kMounts, "anna")) << path;
  EXPECT_FALSE(workspace::isVolumesFolder("/mnt", {mountAt("/mnt")}, "anna"));
}

// Other tests mount, too, while this one runs: quiet comes when it comes.
TEST(MountChanges, AreToldOnceAfterEachMountAndUnmount) {
  MountChanges changes;
  const auto becomesQuiet = [&] {
    for (int tries = 0; tries < 10000; ++tries)
      if (!changes.haveHappened()) return true;
    return false;
  };
  EXPECT_TRUE(becomesQuiet());
  {
    const MountedVolume volume("tmpfs", 1);
    if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
    EXPECT_TRUE(changes.haveHappened());
    EXPECT_TRUE(becomesQuiet());
  }
  EXPECT_TRUE(changes.haveHappened());
}

TEST(IsPackageName, ByExtension_InAnyCase) {
  for (const char* name : {"Mail.app", "Letter.RTFD", "My.Photos.photoslibrary"})
    EXPECT_TRUE(workspace::isPackageName(name)) << name;
  for (const char* name : {"app", ".app", "a.txt", "a.", "photos.d"})
    EXPECT_FALSE(workspace::isPackageName(name)) << name;
}

TEST(Workspace, Names_AreFitForOneFolder) {
  for (const std::string& name : {workspace::computerName(), workspace::rootDisplayName()}) {
    EXPECT_FALSE(name.empty());
    EXPECT_EQ(name.find('/'), std::string::npos);
  }
}

TEST(FileSystemInfo, OfAMountedDisk_TellsItApart) {
  const MountedVolume volume("ext4", 16);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  makeTree(volume.path(), {{"d", Dir{}}});
  const auto info = workspace::fileSystemInfo(volume / "d");
  ASSERT_TRUE(info) << info.error().text();
  EXPECT_EQ(info->type, "ext4");
  EXPECT_EQ(info->mountPoint, volume.path());
  EXPECT_TRUE(info->isWritable);
  EXPECT_FALSE(info->isRemovable);
  EXPECT_FALSE(info->isUnmountable);
  EXPECT_TRUE(runQuietly("test \"$(blkid -p -o value -s UUID " + info->source + ")\" = '" + info->uuid + "'"))
      << info->source << " " << info->uuid;
  EXPECT_EQ(workspace::fileSystemInfo(volume / "missing").error().code, ENOENT);
}

TEST(FileSystemInfo, OfABtrfsSubvolumeMountedReadOnly_HasTheUuidOfItsDisk) {
  const MountedVolume volume("btrfs", 128);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  ASSERT_TRUE(
      runQuietly("btrfs subvolume create '" + volume / "sub" + "' && mount -o remount,ro '" + volume.path() + "'"));
  const auto info = workspace::fileSystemInfo(volume / "sub");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->mountPoint, volume.path());
  EXPECT_FALSE(info->isWritable);
  EXPECT_EQ(info->uuid.size(), 36U);
}

TEST(MountTable, OfThisMachine_HoldsWhatIsMountedInMountOrder) {
  const MountedVolume volume("tmpfs", 1, "ro");
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const auto mounts = mountTable();
  ASSERT_TRUE(mounts);
  const auto at = [&](const std::string& path) {
    return std::find_if(mounts->begin(), mounts->end(), [&](const auto& one) { return one.mountPoint == path; });
  };
  ASSERT_NE(at("/"), mounts->end());
  ASSERT_NE(at(volume.path()), mounts->end());
  EXPECT_EQ(at(volume.path())->fileSystem, "tmpfs");
  EXPECT_TRUE(at(volume.path())->isReadOnly);
  EXPECT_FALSE(at("/")->isReadOnly);
  EXPECT_LT(at("/"), at(volume.path()));
}

TEST(MountTable, KindsOfFileSystems_AreToldApart) {
  for (const char* type : {"proc", "sysfs", "devtmpfs", "cgroup2", "debugfs"})
    EXPECT_TRUE(isPseudoFileSystem(type)) << type;
  for (const char* type : {"ext4", "tmpfs", "overlay", "nfs4", "fuse.sshfs", "virtiofs"})
    EXPECT_FALSE(isPseudoFileSystem(type)) << type;
  for (const char* type : {"nfs", "nfs4", "cifs", "smb3", "fuse.sshfs", "ceph"})
    EXPECT_TRUE(isNetworkFileSystem(type)) << type;
  for (const char* type : {"ext4", "vfat", "tmpfs", "fuseblk"}) EXPECT_FALSE(isNetworkFileSystem(type)) << type;
}

// A /sys with a USB disk, an internal one, a card in a reader, and an encrypted layer over the USB disk's partition.
class BlockDeviceFacts : public ::testing::Test {
 protected:
  TempTree sys_{
      {"devices",
       Dir{{"pci0",
            Dir{{"usb2", Dir{{"sdb", Dir{{"removable", File{"0\n"}},
                                         {"size", File{"2048\n"}},
                                         {"device", Dir{{"vendor", File{"Maker   \n"}}, {"model", File{"Stick 3 \n"}}}},
                                         {"sdb1", Dir{{"partition", File{"1\n"}}}}}}}},
                {"ata1",
                 Dir{{"sda", Dir{{"removable", File{"0\n"}},
                                 {"size", File{"4096\n"}},
                                 {"device", Dir{{"vendor", File{"ATA\n"}}, {"model", File{"Inside\n"}}}}}},
                     {"sr0",
                      Dir{{"removable", File{"1\n"}}, {"size", File{"8\n"}}, {"device", Dir{{"type", File{"5\n"}}}}}}}},
                {"mmc0", Dir{{"mmcblk0", Dir{{"removable", File{"0\n"}}, {"device", Dir{{"type", File{"SD\n"}}}}}}}}}},
           {"virtual", Dir{{"dm-0", Dir{{"removable", File{"0\n"}},
                                        {"slaves", Dir{{"sdb1", Link{"../../../pci0/usb2/sdb/sdb1"}}}}}}}}}},
      {"block", Dir{{"sda", Link{"../devices/pci0/ata1/sda"}},
                    {"sdb", Link{"../devices/pci0/usb2/sdb"}},
                    {"sr0", Link{"../devices/pci0/ata1/sr0"}},
                    {"mmcblk0", Link{"../devices/pci0/mmc0/mmcblk0"}},
                    {"dm-0", Link{"../devices/virtual/dm-0"}}}},
      {"dev", Dir{{"block", Dir{{"8:17", Link{"../../devices/pci0/usb2/sdb/sdb1"}},
                                {"8:0", Link{"../../devices/pci0/ata1/sda"}},
                                {"11:0", Link{"../../devices/pci0/ata1/sr0"}},
                                {"179:0", Link{"../../devices/pci0/mmc0/mmcblk0"}},
                                {"253:0", Link{"../../devices/virtual/dm-0"}}}}}}};

  block_device::Facts factsOf(unsigned majorNumber, unsigned minorNumber) {
    return block_device::facts(makedev(majorNumber, minorNumber), sys_.path());
  }
};

TEST_F(BlockDeviceFacts, OfDisksOnDifferentBuses_SayWhatCanBeTakenOut) {
  EXPECT_TRUE(factsOf(8, 17).isRemovable);
  EXPECT_EQ(factsOf(8, 17).description, "Maker Stick 3");
  EXPECT_FALSE(factsOf(8, 0).isRemovable);
  EXPECT_EQ(factsOf(8, 0).description, "Inside");
  EXPECT_TRUE(factsOf(11, 0).isRemovable);
  EXPECT_TRUE(factsOf(179, 0).isRemovable);
  EXPECT_TRUE(factsOf(253, 0).isRemovable);
  EXPECT_EQ(factsOf(253, 0).description, "Maker Stick 3");
  EXPECT_FALSE(factsOf(0, 42).isRemovable);
}

// Neither the optical drive nor the encrypted layer, nor the card reader without a card.
TEST_F(BlockDeviceFacts, Disks_AreWhatHangsOnABusAndHoldsAMedium) {
  const auto disks = block_device::disks(sys_.path());
  ASSERT_EQ(disks.size(), 2U);
  EXPECT_EQ(disks[0].node, "/dev/sda");
  EXPECT_EQ(disks[0].description, "Inside");
  EXPECT_EQ(disks[0].bytes, 4096U * 512);
  EXPECT_FALSE(disks[0].isRemovable);
  EXPECT_EQ(disks[1].node, "/dev/sdb");
  EXPECT_EQ(disks[1].description, "Maker Stick 3");
  EXPECT_TRUE(disks[1].isRemovable);
}

}  // namespace
}  // namespace lumisk::test
