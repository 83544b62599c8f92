#include "engine/run_messages.h"

namespace lumisk {
namespace {

class RunMessagesTest : public ::testing::Test {
 protected:
  RunMessagesTest() {
    info.name = "job";
    end.info = &info;
    end.jobIndex = 3;
    end.report = &report;
    end.neededShowFinishDialog = true;
    report.completed = true;
  }
  RunMessages decide() { return decideRunMessages(end); }
  void failWith(RunError code) {
    report.completed = false;
    report.errorCode = code;
    report.counts.errors = 1;
  }
  void missingTarget() {
    report.completed = false;
    report.targetProblem = true;
    report.problemPath = "/first";
    end.lastProblemWasTarget = true;
  }

  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  RunReport report;
  EndOfRun end;
};

TEST_F(RunMessagesTest, LaterRun_WithoutErrors_ShowsNothing) {
  const auto messages = decide();
  EXPECT_FALSE(messages.hasError || messages.warning || messages.finish || messages.pathProblem);
  EXPECT_FALSE(messages.firstCopyOver);
}

TEST_F(RunMessagesTest, Error_IsTold_UnlessWarningsAreSuppressed) {
  failWith(RunError::kSymbolicLink);
  EXPECT_EQ(decide().warning,
            "You may have an incomplete backup.\n\nPlease view the file \"~/Log/Qel Lumisk.log\" about detailed info");
  end.suppressed = true;
  EXPECT_FALSE(decide().warning);
  EXPECT_TRUE(decide().hasError);
}

TEST_F(RunMessagesTest, FullTarget_IsAnErrorWithoutASecondMessage) {
  failWith(RunError::kOutOfSpace);
  EXPECT_FALSE(decide().warning);
  EXPECT_TRUE(decide().hasError);
}

TEST_F(RunMessagesTest, FirstCopy_ShowsTheFinishDialogOnce) {
  info.bFirstCopy = true;
  info.jobType = JobType::kSyncWithConflicts;
  const auto messages = decide();
  ASSERT_TRUE(messages.finish);
  EXPECT_EQ(messages.finish->title, "job");
  EXPECT_EQ(messages.finish->upperMessage, "Synchronization has been completed.");
  EXPECT_EQ(messages.finish->message,
            "Qel Lumisk will now monitor your source and target folders and keep their contents synchronized.");
  EXPECT_TRUE(messages.firstCopyOver && messages.finishDialogShown);

  end.neededShowFinishDialog = false;
  EXPECT_FALSE(decide().finish);
  EXPECT_TRUE(decide().firstCopyOver);
  end.method = CopyMethod::kUnmountableSources;
  EXPECT_TRUE(decide().finish);
  end.runByFindTarget = true;
  EXPECT_FALSE(decide().finish);
  EXPECT_TRUE(decide().finishDialogShown);
}

TEST_F(RunMessagesTest, FirstCopy_CancelledOrPartial_IsNotOver) {
  info.bFirstCopy = true;
  report.cancelled = true;
  report.completed = false;
  EXPECT_EQ(decide().finish->message, "User canceled the job.");
  EXPECT_FALSE(decide().firstCopyOver);

  report = RunReport{};
  report.completed = true;
  report.wholeJob = false;
  EXPECT_FALSE(decide().firstCopyOver);
}

TEST_F(RunMessagesTest, PathProblem_NamesTheLastKindAndTheFirstPath) {
  missingTarget();
  info.bFirstCopy = true;
  const auto messages = decide();
  ASSERT_TRUE(messages.pathProblem);
  EXPECT_EQ(messages.pathProblem->message, "Destination folder isn't writable or does not exist.");
  EXPECT_EQ(messages.pathProblem->path, "/first");
  EXPECT_EQ(messages.pathProblem->jobIndex, 3);
  EXPECT_FALSE(messages.finish || messages.firstCopyOver);
  end.lastProblemWasTarget = false;
  EXPECT_EQ(decide().pathProblem->message, "Source folder isn't readable or does not exist.");
}

TEST_F(RunMessagesTest, PathProblem_IsKeptQuietWhereTheUserSaidSoOrMustOpenTheImage) {
  missingTarget();
  for (bool EndOfRun::*const reason :
       {&EndOfRun::suppressed, &EndOfRun::pathDialogIsOff, &EndOfRun::imageNeedsItsUser}) {
    end.*reason = true;
    EXPECT_FALSE(decide().pathProblem);
    EXPECT_TRUE(decide().hasError);
    end.*reason = false;
  }
  EXPECT_TRUE(decide().pathProblem);
}

TEST(CapacityWarning, FreeShareBelowTheThreshold_GivesTheUsedPercentage) {
  EXPECT_EQ(checkIfNeedShowWarnningWindow({100, 49}, 50), 51);
  EXPECT_EQ(checkIfNeedShowWarnningWindow({100, 50}, 50), std::nullopt);
  EXPECT_EQ(checkIfNeedShowWarnningWindow({100, 0}, 100), std::nullopt);
  EXPECT_EQ(checkIfNeedShowWarnningWindow({0, 0}, 50), std::nullopt);
  // Too large for 64-bit arithmetic times 100.
  EXPECT_EQ(checkIfNeedShowWarnningWindow({1ULL << 63, 1ULL << 60}, 80), 87);
  EXPECT_EQ(capacityWarning("/t", 87),
            "The destination /t is at 87% capacity. Please free up more space or choose a different destination for "
            "this Lumisk job.");
}

}  // namespace
}  // namespace lumisk
