#include "cli/command_line_fixture.h"

#include "jobs/job_record.h"

namespace lumisk::test {
namespace {

class JobCommands : public CommandLineFixture {
 protected:
  // Adds the job "j" with these options and gives what is stored.
  QUORVELPREFERENCEINFO added(std::vector<std::string> options) {
    options.insert(options.begin(), {"job", "add", "j", "--source", "docs", "--target", "target"});
    done(options);
    return record();
  }
  QUORVELPREFERENCEINFO record() {
    QUORVELPREFERENCEINFO job;
    EXPECT_TRUE(jobFromDictionary(storedJob(0), job));
    return job;
  }
};

TEST_F(JobCommands, Add_EveryOption_SetsItsField) {
  const auto job =
      added({"--type", "sync-revisions", "--weekdays", "sun,fri", "--at", "21:05", "--no-trash", "--include",
             "JPG, txt", "--exclude", "tmp", "--full-path", "--image", "disk.img", "--no-auto-mount", "--inactive"});
  EXPECT_EQ(job.jobType, JobType::kSyncWithRevisions);
  EXPECT_EQ(job.scheduling_method, SchedulingMethod::kWeekDays);
  EXPECT_EQ(job.scheduling_weekFlag, (std::array<bool, 7>{true, false, false, false, false, true, false}));
  EXPECT_EQ(job.scheduling_date.description("%I:%M %p"), "09:05 PM");
  EXPECT_FALSE(job.bMoveFileTrash);
  EXPECT_EQ(job.inclusionArray, (std::vector<std::string>{"jpg", "txt"}));
  EXPECT_EQ(job.exclusionArray, std::vector<std::string>{"tmp"});
  EXPECT_TRUE(job.bRetainFullPath);
  EXPECT_EQ(job.dmgPath, work_ / "disk.img");
  EXPECT_FALSE(job.bAutoMount);
  EXPECT_FALSE(job.bActive);
  EXPECT_TRUE(job.bManullyDisable);
  EXPECT_NE(done({"job", "show", "j"}).out.find("sun, fri at 21:05"), std::string::npos);
}

TEST_F(JobCommands, Add_FolderServesAnotherJob_IsAWarningOnly) {
  added({});
  const auto outcome = done({"job", "add", "k", "--source", "target", "--target", "more"});
  EXPECT_NE(outcome.err.find("warning: "), std::string::npos) << outcome.err;
}

TEST_F(JobCommands, ListAndShow_NamesOfAnyBytes_AreValidJson) {
  makeTree(work_.path(), {{"\xff\xfe", Dir{}}});
  done({"job", "add", "n\xff", "--source", "\xff\xfe", "--target", "target", "--manual"});
  const auto list = done({"job", "list", "--json"}).json();
  ASSERT_EQ(list.size(), 1u);
  const auto& job = list[0];
  EXPECT_EQ(job["index"], 0);
  EXPECT_EQ(job["name"]["base64"], "bv8=");
  EXPECT_EQ(job["type"], "backup");
  EXPECT_EQ(job["active"], true);
  EXPECT_EQ(job["status"], "Never Ran");
  EXPECT_EQ(job["lastRan"], "");
  EXPECT_EQ(job["next"], "");
  EXPECT_TRUE(job["sources"][0].contains("base64"));
  EXPECT_EQ(job["targets"][0], work_ / "target");
  const auto stored = done({"job", "show", "n\xff", "--json"}).json();
  EXPECT_EQ(stored["NSScheduling"]["NSMethod"], 3);
  EXPECT_EQ(stored["NSBackupFolders"][0]["NSTargetFlag"], false);
  EXPECT_NE(done({"job", "list"}).out.find("n\\xFF"), std::string::npos);
}

TEST_F(JobCommands, Edit_GivenSettings_OthersStay) {
  const auto before = added({"--include", "jpg", "--every", "3h"});
  clock_.advance(std::chrono::hours(1));
  done({"job", "edit", "j", "--include", "", "--exclude", "tmp", "--no-trash"});
  auto job = record();
  EXPECT_TRUE(job.inclusionArray.empty());
  EXPECT_EQ(job.exclusionArray, std::vector<std::string>{"tmp"});
  EXPECT_FALSE(job.bMoveFileTrash);
  EXPECT_EQ(job.scheduling_timer, 3);
  EXPECT_EQ(job.uuidString, before.uuidString);
  EXPECT_EQ(job.jobModifyTime, storedDate(clock_.now()));
}

TEST_F(JobCommands, Edit_OtherTarget_TheJobHasCompletedNothingThere) {
  added({"--manual"});
  done({"run", "j"});
  ASSERT_TRUE(record().otherKeys.contains(kLastCompletedBeginKey));
  done({"job", "edit", "j", "--target", "more"});
  EXPECT_TRUE(record().bFirstCopy);
  EXPECT_FALSE(record().otherKeys.contains(kLastCompletedBeginKey));
}

TEST_F(JobCommands, RenameDisableEnableRemove_ChangeOnlyThat) {
  const auto before = added({});
  const std::string lists = home_ / "Library/Preferences/QEL_LUMISK";
  makeTree(home_ / "Library/Preferences",
           {{"QEL_LUMISK", Dir{{"j.qellumiskdat", File{"ours"}}, {"k.qellumiskdat", File{"of an earlier k"}}}}});
  done({"job", "rename", "j", "k"});
  EXPECT_EQ(readFile(lists + "/k.qellumiskdat"), "ours");
  EXPECT_EQ(listing(lists).size(), 1u);
  done({"job", "disable", "k"});
  EXPECT_TRUE(!record().bActive && record().bManullyDisable);
  EXPECT_NE(done({"job", "list"}).out.find("The job is disable"), std::string::npos);
  done({"job", "enable", "k"});
  EXPECT_TRUE(record().bActive && !record().bManullyDisable);
  EXPECT_EQ(record().uuidString, before.uuidString);
  done({"job", "remove", "k"});
  EXPECT_EQ(done({"job", "list", "--json"}).out, "[]\n");
  EXPECT_TRUE(listing(lists).empty());
  EXPECT_TRUE(exists(work_ / "docs/one.txt"));
}

TEST_F(JobCommands, Run_TargetGone_IsAnErrorAndNoCompletedRun) {
  added({"--manual"});
  ASSERT_EQ(std::rename((work_ / "target").c_str(), (work_ / "elsewhere").c_str()), 0);
  const auto outcome = run({"run", "j", "--json"});
  EXPECT_NE(outcome.status, 0);
  EXPECT_EQ(outcome.json()["result"], "error");
  EXPECT_EQ(outcome.err.rfind("lumisk: " + (work_ / "target") + ": ", 0), 0u) << outcome.err;
  EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
  EXPECT_TRUE(storedJob(0)["NSFirstCopy"].boolean());
  EXPECT_TRUE(storedJob(0)["NSLastCompletedBegin"].isNone());
  EXPECT_EQ(storedJob(0)["NSCancelStatus"].integer(), 2);
  EXPECT_FALSE(exists(work_ / "target"));
}

TEST_F(JobCommands, RunThatIsDry_StoresNothing) {
  added({"--manual"});
  const std::string before = readFile(storePath());
  done({"run", "j", "--dry-run"});
  EXPECT_EQ(readFile(storePath()), before);
}

}  // namespace
}  // namespace lumisk::test
