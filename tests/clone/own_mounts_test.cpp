#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

#include <filesystem>

#include "platform/mount_table.h"
#include "platform/paths.h"

namespace lumisk::test {
namespace {

// Volumes of these tests are mounted where no other process sees them: one that makes a mount namespace of its own
// meanwhile would hold them, and a volume that is held cannot be erased. Nor do these tests hold those of others.
class OwnMounts : public ::testing::Environment {
  void SetUp() override {
    if (::unshare(CLONE_NEWNS) != 0) return;  // not root: such tests are skipped
    ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr);
    const auto mounts = mountTable();
    if (!mounts) return;
    for (auto mount = mounts->rbegin(); mount != mounts->rend(); ++mount) {
      if (paths::isInside(mount->mountPoint, std::filesystem::temp_directory_path().string()))
        ::umount2(mount->mountPoint.c_str(), MNT_DETACH);
    }
  }
};

[[maybe_unused]] const auto* const kOwnMounts = ::testing::AddGlobalTestEnvironment(new OwnMounts);

}  // namespace
}  // namespace lumisk::test
