#include "engine/image_target.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/faulty_file_calls.h"
#include "support/worker_fixture.h"

namespace lumisk {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using namespace test;

constexpr std::uint64_t kMegabyte = 1024 * 1024;

TEST(HostRoom, WhatFits) {
  EXPECT_TRUE(fitsHost({4000 * kMegabyte, 4000 * kMegabyte}, 1ULL << 50)) << "the image cannot outgrow this disk";
  EXPECT_TRUE(fitsHost({0, 0}, 1)) << "a full-grown image needs nothing more";
  EXPECT_TRUE(fitsHost({228 * kMegabyte, 4000 * kMegabyte}, 100 * kMegabyte));
  EXPECT_FALSE(fitsHost({228 * kMegabyte, 4000 * kMegabyte}, 100 * kMegabyte + 1));
  EXPECT_FALSE(fitsHost({127 * kMegabyte, 4000 * kMegabyte}, 0));
  EXPECT_FALSE(fitsHost({9 * kMegabyte, 10 * kMegabyte}, 0));
}

// Tells of the disks how full they are.
class AlmostFullDisk : public FaultyFileCalls {
 public:
  AlmostFullDisk() : FaultyFileCalls(realFileCalls()) {}
  Result<SpaceStatus> spaceOf(int descriptor) override {
    auto space = FaultyFileCalls::spaceOf(descriptor);
    if (space) space->available = available;
    return space;
  }
  std::uint64_t available = 0;
};

class JobInAnImage : public testing::Test {
 protected:
  JobInAnImage() {
    makeTree(f.tree.path(), {{"image.dmg", File{}}});
    makeSparse(f.tree / "image.dmg", 1000 * kMegabyte);
    f.job.dmgPath = f.tree / "image.dmg";
    f.job.bAutoMount = true;
    f.job.targetPaths = {f.tree / "image/target"};
    f.images.onMount = [this] { makeTree(f.tree.path(), {{"image", Dir{{"target", Dir{}}}}}); };
    disk.available = 2000 * kMegabyte;
  }
  static void makeSparse(const std::string& path, std::uint64_t size) { std::filesystem::resize_file(path, size); }

  AlmostFullDisk disk;
  WorkerFixture f{disk};
};

TEST_F(JobInAnImage, MountedByTheRun_IsDetachedAfterIt) {
  EXPECT_TRUE(f.runOnce().completed);
  ExpectSameTrees(f.tree / "source", f.tree / "image/target/source");
  EXPECT_THAT(f.images.detached, ElementsAre(f.job.dmgPath));
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_THAT(f.images.mounted, ElementsAre(f.job.dmgPath)) << "what is there is not mounted";
  EXPECT_THAT(f.images.detached, ElementsAre(f.job.dmgPath)) << "what the user has mounted stays";
  f.stop();
}

TEST_F(JobInAnImage, PreferenceOff_LeavesItMounted) {
  f.preferences.mutableDictionary()["SGDetachImages"] = false;
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_THAT(f.images.detached, IsEmpty());
  f.stop();
}

TEST_F(JobInAnImage, DiskThatTheImageMightOutgrow_RefusesTheRun) {
  disk.available = 100 * kMegabyte;
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.refused);
  EXPECT_THAT(report.problemText, HasSubstr("not enough room on the disk that holds the image"));
  EXPECT_FALSE(exists(f.tree / "image/target/source"));
  EXPECT_THAT(f.images.detached, ElementsAre(f.job.dmgPath));
  f.stop();
}

TEST_F(JobInAnImage, DiskThatFillsUpMeanwhile_KeepsTheFileOut) {
  makeTree(f.tree / "source", {{"large", File{std::string(kMegabyte, 'x')}}});
  disk.available = kHostReserve + kMegabyte / 2;
  const RunReport report = f.runOnce();
  EXPECT_EQ(report.errorCode, RunError::kOutOfSpace);
  EXPECT_FALSE(report.completed);
  EXPECT_TRUE(exists(f.tree / "image/target/source/a.txt"));
  EXPECT_FALSE(exists(f.tree / "image/target/source/large"));
  f.stop();
}

TEST_F(JobInAnImage, FolderWhereTheImageWouldBe_ReceivesNothing) {
  makeTree(f.tree.path(), {{"image", Dir{{"target", Dir{}}}}});
  f.images.isMounted = false;
  const RunReport report = f.runOnce();
  EXPECT_TRUE(report.refused && report.targetProblem);
  EXPECT_THAT(report.problemText, HasSubstr("is not the folder in the image"));
  EXPECT_THAT(f.images.mounted, ElementsAre(f.job.dmgPath)) << "mounting it might have helped";
  EXPECT_THAT(listing(f.tree / "image/target"), IsEmpty());
  f.images.onMount = [this] { f.images.isMounted = true; };
  EXPECT_TRUE(f.runOnce().completed);
  f.stop();
}

TEST_F(JobInAnImage, ThatCannotBeMounted_SaysWhy) {
  f.images.onMount = [] {};
  const RunReport report = f.runOnce();
  EXPECT_FALSE(report.completed);
  EXPECT_THAT(report.problemText, HasSubstr("is not mounted, and no password is kept for it"));
  f.stop();
}

}  // namespace
}  // namespace lumisk
