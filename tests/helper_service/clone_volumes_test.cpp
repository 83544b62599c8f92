#include "helper_service/clone_volumes.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>

#include <cerrno>

#include "platform/descriptor.h"
#include "platform/system_volumes.h"
#include "platform/volume.h"
#include "support/mounted_volume.h"
#include "support/result_code.h"

namespace lumisk::test {
namespace {

MountedDevice mounted(const std::string& at, std::uint64_t device, std::uint64_t id, const std::string& type = "ext4") {
  return {{at, type, "/dev/x", id, device}, device, "/dev/x"};
}

VolumeFacts goodFacts() {
  VolumeFacts facts;
  facts.volumes = {mounted("/mnt/a", 1, 10), mounted("/mnt/b", 2, 11)};
  facts.namedDevice = 2;
  facts.mounts = {mounted("/", 3, 9), facts.volumes.source, facts.volumes.target, mounted("/mnt/bb", 4, 12)};
  facts.systemDevices = {3};
  return facts;
}

template <class Change>
int codeAfter(Change change) {
  VolumeFacts facts = goodFacts();
  change(facts);
  return codeOf(checkCloneVolumes(facts));
}

TEST(CloneVolumesTest, Decision_NamesEachReasonAgainstATarget) {
  EXPECT_EQ(codeOf(checkCloneVolumes(goodFacts())), 0);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.source.device = 3; }), 0);  // the system may be a source
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.source.mount.fileSystem = "proc"; }), ENOTSUP);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.target.node.clear(); }), ENOTBLK);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.target.mount.root = "/home"; }), EINVAL);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.namedDevice = 1; }), ENODEV);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.source.device = 2; }), EINVAL);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.systemDevices.push_back(2); }), EPERM);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.target.mount.mountPoint = "/var/www"; }), EPERM);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.mounts.push_back(mounted("/mnt/b/in", 5, 13)); }), EBUSY);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.mounts.push_back(mounted("/mnt/b", 5, 13)); }), EBUSY);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.mounts.push_back(mounted("/srv", 2, 13)); }), EBUSY);
  EXPECT_EQ(codeAfter([](auto& facts) { facts.volumes.target.mount.isReadOnly = true; }), EROFS);
}

class RealCloneVolumesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!source_.isMounted() || !target_.isMounted()) GTEST_SKIP() << target_.problem();
    order_.sourcePath = source_.path();
    order_.targetPath = target_.path();
    order_.targetDevice = volume::deviceOf(volume::mountHolding(target_.path()).value()).node;
  }
  int find(const std::vector<std::string>& alsoInUse = {}) { return codeOf(findCloneVolumes(order_, alsoInUse)); }

  const MountedVolume source_{"ext4", 16};
  const MountedVolume target_{"ext4", 16};
  CloneOrder order_;
};

TEST_F(RealCloneVolumesTest, Volumes_AreFoundByWhatIsMountedThere) {
  EXPECT_EQ(find(), 0);
  order_.targetDevice = order_.targetDevice.substr(5);
  EXPECT_EQ(find(), 0);
  EXPECT_EQ(find({target_.path()}), EPERM);
  order_.targetDevice = "/dev/null";
  EXPECT_EQ(find(), ENOTBLK);
  order_.targetDevice = "/dev/../etc/passwd";
  EXPECT_EQ(find(), ENOTBLK);
  order_.targetDevice = volume::deviceOf(volume::mountHolding(source_.path()).value()).node;
  EXPECT_EQ(find(), ENODEV);
}

TEST_F(RealCloneVolumesTest, Places_AreMountPointsThatNoLinkLeadsTo) {
  makeTree(source_.path(), {{"folder", Dir{}}});
  order_.sourcePath = source_ / "folder";
  EXPECT_EQ(find(), EINVAL);
  const TempTree other{{"way", Link{source_.path()}}};
  order_.sourcePath = other / "way";
  EXPECT_EQ(find(), ENOTDIR);
  order_.sourcePath = "/proc";
  EXPECT_EQ(find(), ENOTSUP);
  order_.sourcePath = source_.path();
  ASSERT_EQ(::chown(target_.path().substr(0, target_.path().rfind('/')).c_str(), 54321, 0), 0);
  EXPECT_EQ(find(), EPERM);  // its owner could move the mount point away
}

TEST_F(RealCloneVolumesTest, RunningSystem_IsNoTarget) {
  const auto devices = devicesOfRunningSystem({});
  ASSERT_TRUE(devices);
  const auto root = volume::deviceOf(volume::mountHolding("/").value());
  EXPECT_NE(std::find(devices->begin(), devices->end(), root.number), devices->end());
  const auto target = volume::deviceOf(volume::mountHolding(target_.path()).value());
  EXPECT_EQ(std::find(devices->begin(), devices->end(), target.number), devices->end());
  makeTree(target_.path(), {{"inner", Dir{}}});
  ASSERT_EQ(::mount("none", (target_ / "inner").c_str(), "tmpfs", 0, nullptr), 0);
  EXPECT_EQ(find(), EBUSY);
  ::umount((target_ / "inner").c_str());
}

// Mounts like fusermount3 for an ordinary user, who may say that his file system comes from any device; nobody answers.
class UsersFileSystem {
 public:
  UsersFileSystem(const std::string& at, const std::string& source)
      : place_(at), daemon_(::open("/dev/fuse", O_RDWR | O_CLOEXEC)) {
    const std::string options = "rootmode=40000,user_id=54321,group_id=54321,fd=" + std::to_string(daemon_.get());
    isMounted_ = ::mount(source.c_str(), at.c_str(), "fuse.users", MS_NOSUID | MS_NODEV, options.c_str()) == 0;
  }
  UsersFileSystem(const UsersFileSystem&) = delete;
  UsersFileSystem& operator=(const UsersFileSystem&) = delete;
  ~UsersFileSystem() {
    if (isMounted_) ::umount2(place_.c_str(), MNT_DETACH);
  }
  [[nodiscard]] bool isMounted() const { return isMounted_; }

 private:
  std::string place_;
  Descriptor daemon_;
  bool isMounted_ = false;
};

TEST_F(RealCloneVolumesTest, FileSystemThatAUserServes_StandsForNoDeviceAndInNobodysWay) {
  const TempTree home{{"users", Dir{}}};
  const UsersFileSystem served(home / "users", order_.targetDevice);
  if (!served.isMounted()) GTEST_SKIP() << "no FUSE here";
  const auto devices = devicesOfRunningSystem({home / "users"});
  ASSERT_TRUE(devices) << devices.error().text();
  EXPECT_EQ(find({home / "users"}), 0);
  order_.targetPath = home / "users";
  EXPECT_NE(find(), 0);
}

TEST(DeviceLockTest, TargetIsLockedForOne_SourceForMany) {
  const TempTree folder;
  const auto lock = [&](LockKind kind, std::uint64_t device = 7) { return lockDevice(device, kind, folder / "locks"); };
  {
    const auto first = lock(LockKind::kShared);
    EXPECT_TRUE(first && lock(LockKind::kShared));
    EXPECT_EQ(lock(LockKind::kExclusive).error().code, EBUSY);
    EXPECT_TRUE(lock(LockKind::kExclusive, 8));
  }
  const auto only = lock(LockKind::kExclusive);
  EXPECT_TRUE(only);
  EXPECT_EQ(lock(LockKind::kShared).error().code, EBUSY);
}

}  // namespace
}  // namespace lumisk::test
