#include "helper_service/helper_commands.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "helper/os_status.h"
#include "platform/volume.h"
#include "support/mounted_volume.h"

namespace lumisk::test {
namespace {

constexpr std::uint32_t kUser = 54321;  // no account of the machine

// The clone command without its socket: for a user who has two volumes.
class CloneCommandTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!source_.isMounted() || !target_.isMounted()) GTEST_SKIP() << target_.problem();
    ASSERT_EQ(::chmod(home_.path().c_str(), 0755), 0);
    ASSERT_EQ(::chown((home_ / "jobs").c_str(), kUser, kUser), 0);
    job_ = {{"kSourcePath", source_.path()},
            {"kTargetPath", target_.path()},
            {"kTargetBSDPath", volume::deviceOf(volume::mountHolding(target_.path()).value()).node}};
    writeJob();
  }
  void writeJob() {
    ASSERT_TRUE(writePropertyListFile(path_, job_));
    ASSERT_EQ(::chown(path_.c_str(), kUser, kUser), 0);
    ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  }
  CloneTask::Seams seams(CloneVolume clone) {
    return {.clone = std::move(clone),
            .log = [](const std::string&) {},
            .makeSleep = makeRealSleep,
            .lockFolder = home_ / "locks"};
  }
  OSStatus ask(const CloneVolume& clone, HelperResponse& response) {
    const HelperPeer peer{kUser, kUser, ::getpid()};
    return helperProcedures(seams(clone)).at(kCloneCommand)({{{kXMLPathKey, path_}}, peer}, response);
  }
  PropertyList end() { return readPropertyListFile(home_ / "jobs/job_2.plist").value_or(PropertyList()); }
  static bool isAtEnd(const HelperResponse& response) {
    pollfd pipe{response.descriptors.at(0).get(), POLLIN, 0};
    return ::poll(&pipe, 1, 0) == 1 && (pipe.revents & POLLHUP) != 0;
  }

  const MountedVolume source_{"ext4", 16};
  const MountedVolume target_{"ext4", 16};
  TempTree home_{{"jobs", Dir{}}};
  const std::string path_ = home_ / "jobs/job.plist";
  PropertyList::Dictionary job_;
};

CloneReport finished() {
  CloneReport report;
  report.end = CloneReport::End::kFinished;
  report.differences = 3;
  report.copied = 4;
  return report;
}

TEST_F(CloneCommandTest, Clone_RunsAfterTheResponse_AndTellsItsEndInTheUsersFiles) {
  writeFile(home_ / "jobs/job_2.plist", "an earlier end");
  CloneOrder seen;
  HelperResponse response;
  ASSERT_EQ(ask([&](const CloneOrder& order, CloneObserver&) { return seen = order, finished(); }, response), kNoError);
  EXPECT_FALSE(exists(home_ / "jobs/job_2.plist"));
  ASSERT_EQ(response.descriptors.size(), 1U);
  EXPECT_FALSE(isAtEnd(response));
  response.afterwards();
  EXPECT_EQ(seen.targetPath, target_.path());
  EXPECT_TRUE(end()["kFinishCloneJob"].boolean());
  EXPECT_EQ(end()["kDifferences"].integer(), 3);
  EXPECT_EQ(end()["kCopied"].integer(), 4);
  response.afterwards = {};
  EXPECT_TRUE(isAtEnd(response));
  struct stat status {};
  ASSERT_EQ(::stat((home_ / "jobs/job_2.plist").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kUser);
  EXPECT_EQ(status.st_gid, kUser);
}

TEST_F(CloneCommandTest, Cancel_IsHonouredFromTheJobFileOfThePeerOnly) {
  const auto cloneUntilCancelled = [&](const std::function<void()>& meanwhile) {
    HelperResponse response;
    EXPECT_EQ(ask(
                  [&](const CloneOrder&, CloneObserver& observer) {
                    observer.progressed({.entries = 5, .bytes = 6, .current = "a/b"});
                    meanwhile();
                    CloneReport report;
                    while (!observer.isCancelled()) ::usleep(1000);
                    report.end = CloneReport::End::kCancelled;
                    return report;
                  },
                  response),
              kNoError);
    response.afterwards();
  };
  cloneUntilCancelled([&] {
    while (readPropertyListFile(home_ / "jobs/job_1.plist").value_or(PropertyList())["kBytes"].integer() != 6)
      ::usleep(1000);
    // What is no longer the user's own file cancels nothing; neither do other paths change anything.
    job_["kCancelStatus"] = true;
    job_["kTargetPath"] = "/";
    writeJob();
  });
  EXPECT_FALSE(end()["kFinishCloneJob"].boolean());
  EXPECT_EQ(end()["kErrorCode"].integer(), kUserCancelled);
}

TEST_F(CloneCommandTest, JobFileReplacedAfterTheCheck_ChangesNothing) {
  const CloneJob job = openCloneJob(path_, {kUser, kUser}).value();
  const std::atomic<bool> noEnd{false};
  CloneStatus status(job, noEnd, [](const std::string&) {});
  job_["kCancelStatus"] = true;
  writeJob();
  ASSERT_EQ(::chmod(path_.c_str(), 0666), 0);
  status.lookForCancel();
  EXPECT_FALSE(status.isCancelled());
  ASSERT_EQ(::chmod(path_.c_str(), 0600), 0);
  ASSERT_EQ(::rename(path_.c_str(), (home_ / "jobs/real").c_str()), 0);
  ASSERT_EQ(::symlink("real", path_.c_str()), 0);
  status.lookForCancel();
  EXPECT_FALSE(status.isCancelled());
  ASSERT_EQ(::rename((home_ / "jobs/real").c_str(), path_.c_str()), 0);
  status.lookForCancel();
  EXPECT_TRUE(status.isCancelled());
}

// Links at the status files' names, to what only root may write; and a folder that the user may not write in.
TEST_F(CloneCommandTest, StatusFiles_TouchNothingThatTheUserCouldNot) {
  const TempTree roots{{"file", File{"root's", 0600}}};
  for (const char* name : {"jobs/job_1.plist", "jobs/job_2.plist"})
    ASSERT_EQ(::symlink((roots / "file").c_str(), (home_ / name).c_str()), 0);
  HelperResponse response;
  const auto clone = [](const CloneOrder&, CloneObserver&) { return finished(); };
  ASSERT_EQ(ask(clone, response), kNoError);
  response.afterwards();
  EXPECT_EQ(readFile(roots / "file"), "root's");
  EXPECT_TRUE(end()["kFinishCloneJob"].boolean());
  response = {};
  ASSERT_EQ(::unlink((home_ / "jobs/job_2.plist").c_str()), 0);
  ASSERT_EQ(::chmod((home_ / "jobs").c_str(), 0500), 0);
  ASSERT_EQ(ask(clone, response), kNoError);
  response.afterwards();
  EXPECT_TRUE(end().isNone());
}

TEST_F(CloneCommandTest, Refusals_AreToldByCodeAndFile_AndLockNothing) {
  HelperResponse response;
  const auto mustNotRun = [](const CloneOrder&, CloneObserver&) { return ADD_FAILURE() << "cloned", CloneReport(); };
  job_["kTargetPath"] = "/";
  writeJob();
  EXPECT_EQ(ask(mustNotRun, response), ENODEV);
  EXPECT_EQ(end()["kErrorCode"].integer(), ENODEV);
  EXPECT_FALSE(end()["kErrorMessage"].text().empty());
  EXPECT_FALSE(response.afterwards);
  job_["kTargetPath"] = source_.path();
  writeJob();
  EXPECT_NE(ask(mustNotRun, response), kNoError);
  writeFile(path_, "junk");
  EXPECT_EQ(ask(mustNotRun, response), -4960);
}

TEST_F(CloneCommandTest, SecondCloneOntoOneTarget_IsRefusedWhileTheFirstLives) {
  HelperResponse first, second, third;
  const auto clone = [](const CloneOrder&, CloneObserver&) { return finished(); };
  ASSERT_EQ(ask(clone, first), kNoError);
  EXPECT_EQ(ask(clone, second), EBUSY);
  first.afterwards();
  first = {};
  EXPECT_EQ(ask(clone, third), kNoError);
}

TEST(HelperCommandsTest, OtherCommands_AnswerWithoutTouchingAnything) {
  const auto procedures = helperProcedures({.clone = {}, .log = [](const std::string&) {}});
  HelperResponse response;
  const PropertyList::Dictionary nothing;
  const HelperPeer peer;
  EXPECT_EQ(procedures.at(kGetVersionCommand)({nothing, peer}, response), kNoError);
  EXPECT_EQ(response.dictionary.at("Version").integer(), 1013);
  EXPECT_EQ(procedures.at(kLowNumberedPortsCommand)({nothing, peer}, response), ENOTSUP);
  EXPECT_EQ(procedures.at(kCloneCommand)({nothing, peer}, response), EINVAL);
  EXPECT_EQ(procedures.at(kCloneCommand)({{{kXMLPathKey, 5}}, peer}, response), EINVAL);
}

}  // namespace
}  // namespace lumisk::test
