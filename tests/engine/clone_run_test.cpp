#include "engine/clone_run.h"

#include <gmock/gmock.h>

#include "support/worker_fixture.h"

namespace lumisk {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::HasSubstr;

// What the helper does, by the looks of the clone thread: nothing of it takes time.
struct FakeHelper {
  OSStatus answer = kNoError;
  bool isAlive = true;
  std::function<void()> onOrder = [] {};
  PropertyList ordered;  // the job file as the helper found it
  int orders = 0;
};

class FakeCloner : public VolumeCloner {
 public:
  explicit FakeCloner(FakeHelper& helper) : helper_(helper) {}
  OSStatus initTheAuthorization() override { return kNoError; }
  OSStatus runHelpToolWithXMLPath(const std::string& path, const std::function<bool()>&) override {
    ++helper_.orders;
    helper_.ordered = readPropertyListFile(path).value_or(PropertyList());
    helper_.onOrder();
    return helper_.answer;
  }
  bool isHelperRunning() override { return helper_.isAlive; }

 private:
  FakeHelper& helper_;
};

MountEntry mountOf(const std::string& point, const std::string& device, std::uint64_t number) {
  return {point, "ext4", device, 0, number};
}

// Source and target are volumes to the clone; the target fills up by a tenth with every look.
class CloneFixture : public testing::Test {
 protected:
  CloneFixture() {
    f.job.name = "disk";
    f.job.jobType = JobType::kClone;
    f.job.bFirstCopy = true;
    mounts = {mountOf(source(), "/dev/a", 1), mountOf(target(), "/dev/b", 2)};
    f.clone.makeCloner = [this] { return std::make_unique<FakeCloner>(helper); };
    f.clone.mounts = [this]() -> Result<std::vector<MountEntry>> { return mounts; };
    f.clone.deviceOf = [this](const std::string& path) { return deviceAt(path); };
    f.clone.sizeOf = [this](const std::string& path) {
      return path == source() ? VolumeSize{0, 2000, 0, 1000} : VolumeSize{0, 5000, 0, 5000 - targetUsed};
    };
    f.clock.onSleep = [this] {
      targetUsed += 100;
      if (atLook.contains(++looks)) atLook[looks]();
    };
  }
  std::string source() const { return f.tree / "source"; }
  std::string target() const { return f.tree / "target"; }
  std::string file(const std::string& name) const {
    return f.home / ("Library/Application Support/QelLumisk5/" + name);
  }
  std::optional<std::string> deviceAt(const std::string& path) const {
    for (const MountEntry& mount : mounts)
      if (mount.mountPoint == path) return mount.source;
    return "/dev/system";
  }
  void endWith(PropertyList::Dictionary end) {
    EXPECT_TRUE(writePropertyListFile(file("disk_2.plist"), PropertyList(std::move(end))));
    helper.isAlive = false;
  }
  void finishAt(int look) {
    atLook[look] = [this] { endWith({{"kFinishCloneJob", true}}); };
  }
  void cancelFromOutside() { f.center.post({kCancelNotification, WorkerFixture::kIndex, {}}); }
  PropertyList jobFile() const { return *readPropertyListFile(file("disk.plist")); }

  WorkerFixture f;
  FakeHelper helper;
  std::vector<MountEntry> mounts;
  std::uint32_t targetUsed = 0;
  int looks = 0;
  std::map<int, std::function<void()>> atLook;  // on the worker's thread
};

TEST_F(CloneFixture, CloneThatFinishes_IsOrderedFollowedAndTold) {
  f.job.bFormatVolume = true;
  f.job.otherKeys[kVerifyCloneKey] = true;
  std::vector<double> percents;
  const auto progress = f.center.observe(kProgressNotification, [&](const Notification& posted) {
    const auto message = std::any_cast<JobProgressMessage>(posted.object);
    percents.push_back(message.isFinished ? -1 : message.totalPercent);
  });
  atLook[2] = [&] {
    EXPECT_TRUE(writePropertyListFile(
        file("disk_1.plist"),
        PropertyList(PropertyList::Dictionary{{"kEntries", 7}, {"kBytes", 800}, {"kCurrentFile", "usr/bin"}})));
  };
  atLook[3] = [&] { endWith({{"kFinishCloneJob", true}, {"kEntries", 9}, {"kCopied", 4}, {"kBytes", 900}}); };

  const RunReport report = f.runOnce();
  f.stop();

  EXPECT_TRUE(report.completed);
  EXPECT_EQ(report.errorCode, RunError::kNone);
  EXPECT_EQ(report.counts.entries, 9U);
  EXPECT_EQ(report.counts.copied, 4U);
  EXPECT_EQ(report.counts.bytes, 900U);
  EXPECT_EQ(helper.ordered, PropertyList(PropertyList::Dictionary{{"kSourcePath", source()},
                                                                  {"kTargetPath", target()},
                                                                  {"kTargetBSDPath", "/dev/b"},
                                                                  {"kFormatVolume", true},
                                                                  {"kRepairPermissions", false},
                                                                  {"kVerify", true},
                                                                  {"kCloneType", 0},
                                                                  {"kXMLFilePath", file("disk.plist")},
                                                                  {"kCancelStatus", false}}));
  ExpectTreeExactly(f.home / "Library/Application Support/QelLumisk5",
                    Dir{{"disk.plist", File{readFile(file("disk.plist")), 0600}}});
  EXPECT_THAT(percents, ElementsAre(20, 30, -1, -1));  // finished: the run, then the thread
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification, kScheduleNotification, kDidFinishNotification));
  EXPECT_TRUE(f.last(kDidFinishNotification).userInfo[kRunCompletedKey].boolean());
  ASSERT_EQ(f.dialogs.finishes.size(), 1U);
  EXPECT_EQ(f.dialogs.finishes[0].message, "Backup has been completed.");
  EXPECT_THAT(f.firstCopiesOver, ElementsAre(WorkerFixture::kIndex));
  const std::string ruler(74, '=');
  EXPECT_EQ(f.log(), "disk: Starting running clone job\ndisk: source volume: " + source() +
                         "\ndisk: target volume: " + target() + "\n" + ruler +
                         "\ndisk: Clone started\ndisk: Clone completion\n" + ruler + "\n\ndisk: Stop running\n\n");
}

TEST_F(CloneFixture, RunsThatNeverReachedTheTarget_LeaveItsExtrasToStay) {
  helper.answer = kAuthorizationCancelled;
  EXPECT_FALSE(f.runOnce().completed);
  helper.answer = kNoError;
  atLook = {{looks + 2, [&] { endWith({{"kFinishCloneJob", false}, {"kErrorCode", 1}}); }}};  // refused
  EXPECT_FALSE(f.runOnce().completed);
  helper.isAlive = true;
  finishAt(looks + 3);
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_EQ(helper.ordered["kCloneType"].integer(), 0);
}

TEST_F(CloneFixture, OneTimeClone_LeavesTheWordToWhoeverRemovesIt) {
  f.job.scheduling_method = SchedulingMethod::kRealTime;
  finishAt(2);
  EXPECT_TRUE(f.runOnce().completed);
  EXPECT_TRUE(f.dialogs.finishes.empty());
}

TEST_F(CloneFixture, Cancel_IsWrittenIntoTheJobFileAndWaitedForShortly) {
  atLook[3] = [&] { cancelFromOutside(); };
  atLook[5] = [&] {
    EXPECT_TRUE(jobFile()["kCancelStatus"].boolean());
    helper.isAlive = false;
  };
  const RunReport report = f.runOnce();
  EXPECT_EQ(looks, 5);
  EXPECT_TRUE(report.cancelled);
  EXPECT_FALSE(report.completed);
  EXPECT_TRUE(f.dialogs.pathProblems.empty());
  EXPECT_THAT(f.log(), HasSubstr("disk: Clone job is canceled.\n"));

  // Before the helper has been asked: it never is.
  atLook = {{6, [&] { cancelFromOutside(); }}};
  EXPECT_TRUE(f.runOnce().cancelled);
  EXPECT_EQ(helper.orders, 1);
}

TEST_F(CloneFixture, StopInTheMiddle_CancelsAndEndsTheThread) {
  std::atomic<bool> isPolling{false};
  f.clock.onSleep = [&] {
    if (++looks < 3) return;
    isPolling = true;
    isPolling.notify_all();
    helper.isAlive = !jobFile()["kCancelStatus"].boolean();
  };
  f.worker().start();
  f.worker().setCopyMethod(CopyMethod::kNormal);
  isPolling.wait(false);
  f.stop();
  EXPECT_TRUE(jobFile()["kCancelStatus"].boolean());
  EXPECT_THAT(f.posted(), ElementsAre(kWillStartNotification));
}

TEST_F(CloneFixture, HelperThatIsKilledOrFailsOrFindsDifferences_IsAnErrorShownPlainly) {
  atLook[3] = [&] { helper.isAlive = false; };
  const RunReport report = f.runOnce();
  f.stop();
  EXPECT_EQ(report.errorCode, RunError::kClone);
  EXPECT_FALSE(report.completed || report.cancelled);
  EXPECT_EQ(f.posted().back(), kErrorMessageNotification);
  EXPECT_THAT(f.log(), HasSubstr("the helper has ended before it was done"));

  const auto textOf = [&](PropertyList::Dictionary end) {
    helper.isAlive = true;
    atLook = {{looks + 3, [this, end] { endWith(end); }}};
    EXPECT_FALSE(f.runOnce().completed);
    return f.dialogs.pathProblems.back().message;
  };
  EXPECT_EQ(textOf({{"kFinishCloneJob", false}, {"kErrorCode", 5}, {"kErrorMessage", "the target broke"}}),
            "the clone has not been completed: the target broke");
  EXPECT_THAT(textOf({{"kFinishCloneJob", false}, {"kErrorCode", 5}}), HasSubstr("Input/output error"));
  EXPECT_THAT(textOf({{"kFinishCloneJob", true}, {"kDifferences", 3}}), HasSubstr("3 differences"));
  EXPECT_TRUE(f.dialogs.finishes.empty());
}

TEST_F(CloneFixture, HelperThatDoesNotStart_IsShownWithItsReason) {
  helper.answer = kAuthorizationDenied;
  EXPECT_EQ(f.runOnce().errorCode, RunError::kClone);
  helper.onOrder = [&] { endWith({{"kFinishCloneJob", false}, {"kErrorMessage", "the target is too small"}}); };
  f.runOnce();
  ASSERT_EQ(f.dialogs.pathProblems.size(), 2U);
  EXPECT_THAT(f.dialogs.pathProblems[0].message, HasSubstr("Some thing error with lumisk helper: an administrator"));
  EXPECT_EQ(f.dialogs.pathProblems[1].message, "Some thing error with lumisk helper: the target is too small");
  EXPECT_EQ(f.dialogs.pathProblems[1].path, source());
}

TEST_F(CloneFixture, AnotherVolumeInThePlaceOfTheTarget_IsNotErasedUnlessItIsMeant) {
  finishAt(2);
  f.runOnce();
  f.stop();
  const PropertyList known = f.last(kDidFinishNotification).userInfo[kRunJobKeysKey][kRootFileSystemsKey];
  RememberedFileSystems others = fileSystemsFromList(known);
  ASSERT_EQ(others.size(), 2U);
  others[1].uuid = others[1].source = "another";
  f.job.otherKeys[kRootFileSystemsKey] = fileSystemsToList(others);
  f.worker().fetchCurrentInfo({PropertyList(), PropertyList(), jobToDictionary(f.job)}, WorkerFixture::kIndex);

  helper.isAlive = true;
  const RunReport refused = f.runOnce();
  EXPECT_TRUE(refused.refused && refused.targetProblem);
  EXPECT_THAT(refused.problemText, HasSubstr("--accept-target"));
  EXPECT_EQ(helper.orders, 1);

  RunOptions accepting;
  accepting.acceptTarget = true;
  f.worker().setRunOptions(accepting);
  finishAt(looks + 3);
  EXPECT_TRUE(f.runOnce().completed);
  mounts.pop_back();
  EXPECT_THAT(f.runOnce().problemText, HasSubstr("the target is no mounted volume"));
}

TEST_F(CloneFixture, Progress_FollowsTheDeviceAndCountsHowOftenItStoodStill) {
  atLook = {{2, [&] { targetUsed = 500; }},
            {3, [&] { targetUsed = 500; }},
            {4, [&] { mounts[1].mountPoint = f.tree.path(); }},  // renamed
            {5, [&] { mounts.pop_back(); }}};
  finishAt(6);
  RunRequest request;
  request.method = CopyMethod::kNormal;
  ASSERT_TRUE(copyFileObjectPartFromDictionary(jobToDictionary(f.job), request.info));
  std::vector<double> percents;
  NoJobLog log;
  const std::atomic<bool> no{false};
  const WorkerServices services = f.services();
  CloneRun run(services, request, {no, no}, log,
               [&](const JobProgressMessage& message) { percents.push_back(message.totalPercent); });
  EXPECT_TRUE(run.run().report.completed);
  EXPECT_TRUE(run.isCloneFinished());
  EXPECT_THAT(percents, ElementsAre(50, 50, 60, 0, 0));
  EXPECT_EQ(run.theSameCount(), 1);
}

}  // namespace
}  // namespace lumisk
