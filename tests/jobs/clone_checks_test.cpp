#include "jobs/clone_checks.h"

#include <gtest/gtest.h>

namespace lumisk {
namespace {

MountEntry mount(const std::string& point, const std::string& source, std::uint64_t device,
                 const std::string& type = "ext4") {
  return {point, type, source, 0, device};
}

std::string problem(const std::vector<std::string>& sources, const std::vector<std::string>& targets,
                    const std::string& name = "clone") {
  MountEntry readOnly = mount("/mnt/cd", "/dev/sr0", 7);
  readOnly.isReadOnly = true;
  const auto found =
      checkCloneJob(name, sources, targets,
                    {mount("/", "/dev/sda1", 1), mount("/mnt/a", "/dev/sdb1", 2), mount("/mnt/b", "/dev/sdc1", 3),
                     mount("/mnt/again", "/dev/sdb1", 2), mount("/mnt/sub", "/dev/sdb1", 9),
                     mount("/proc", "proc", 4, "proc"), mount("/mnt/server", "server:/x", 5, "nfs4"), readOnly});
  return found ? found->reason : "";
}

TEST(CloneChecks, VolumesOfEveryKind_AreTakenOrRefused) {
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/b"}), "");
  EXPECT_EQ(problem({"/"}, {"/mnt/b"}), "");
  EXPECT_EQ(problem({"/mnt/server"}, {"/mnt/b"}), "");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/b/folder"}), "the target is no mounted volume");
  EXPECT_EQ(problem({"/mnt/a/folder"}, {"/mnt/b"}), "the source is no mounted volume");
  EXPECT_EQ(problem({"/proc"}, {"/mnt/b"}), "the source is no mounted volume");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/a"}), "source and target are the same volume");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/again"}), "source and target are the same volume");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/sub"}), "source and target are the same volume");
  EXPECT_EQ(problem({"/mnt/a"}, {"/"}), "the running system is no target");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/server"}), "the target has no device of its own");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/cd"}), "the target is read-only");
  EXPECT_EQ(problem({"/mnt/a", "/"}, {"/mnt/b"}), "give one source and one target");
  EXPECT_EQ(problem({"/mnt/a"}, {}), "give one source and one target");
  EXPECT_EQ(problem({"/mnt/a"}, {"/mnt/b"}, "disk_2"), "a clone's name must not end in _1 or _2");
}

}  // namespace
}  // namespace lumisk
