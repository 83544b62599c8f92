#include "jobs/job_checks.h"

#include <filesystem>

#include "platform/workspace.h"
#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::Dir;
using test::File;
using test::Link;
using Paths = std::vector<std::string>;

constexpr JobType kBackup = JobType::kBackup;
constexpr JobType kMirror = JobType::kSyncWithRevisions;
constexpr JobType kSync = JobType::kSyncWithConflicts;
constexpr JobType kClone = JobType::kClone;

TEST(JobName, ThatIsNoFileName_IsRefused) {
  for (const std::string& name : {std::string(), std::string("a/b"), std::string("."), std::string(".."),
                                  std::string("a\0b", 3), std::string("a\nb"), std::string(243, 'x')})
    EXPECT_TRUE(checkJobName(name)) << name;
  for (const std::string& name : {std::string("..."), std::string("Bär & \xff"), std::string(242, 'x')})
    EXPECT_FALSE(checkJobName(name)) << name;
}

TEST(JobPaths, FromTheirTexts_AreRefusedWhereTwoWouldMeet) {
  const auto problem = [](Paths sources, Paths targets) {
    QUORVELPREFERENCEINFO job;
    job.sourcePaths = std::move(sources);
    job.targetPaths = std::move(targets);
    const auto found = checkJobPaths(job);
    return found ? found->reason : "";
  };
  EXPECT_EQ(problem({"/a/x", "/b/y"}, {"/t"}), "");
  EXPECT_EQ(problem({"/a/x", "/b/y"}, {"/t", "/u"}), "");
  EXPECT_EQ(problem({}, {"/t"}), "there is no source");
  EXPECT_EQ(problem({"/a"}, {}), "there is no target");
  EXPECT_EQ(problem({"/a", "/b", "/c"}, {"/t", "/u"}), "there must be one target, or one for each source");
  EXPECT_EQ(problem({"a"}, {"/t"}), "the path is not absolute");
  EXPECT_EQ(problem({"/a"}, {""}), "a path is empty");
  EXPECT_EQ(problem({"/a/.."}, {"/t"}), "the path holds \"..\"");
  EXPECT_EQ(problem({"/a/x", "/b/x/"}, {"/t", "/u"}), "two sources have the same name");
  EXPECT_EQ(problem({"/a/Revision"}, {"/t"}), "a source must not be called \"Revision\"");
}

class JobFolders : public ::testing::Test {
 protected:
  // The reason, or "" where there is no problem. Paths are below the tree.
  std::string problem(JobType type, const Paths& sources, const Paths& targets, bool retainFullPath = false) {
    const auto found = checkJobFolders(files, type, retainFullPath, inTree(sources), inTree(targets));
    return found ? found->reason : "";
  }
  Paths inTree(Paths names) const {
    for (std::string& name : names) name = tree / name;
    return names;
  }

  test::TempTree tree{{"s", Dir{{"sub", Dir{}}, {"s", Dir{}}, {"f", File{"text"}}}},
                      {"t", Dir{{"f", File{"text"}}, {"Revision", Dir{{"old", Dir{}}}}}},
                      {"linked", Dir{{"s", Link{"../s/sub"}}}},
                      {"toS", Link{"s"}},
                      {"toSub", Link{"s/sub"}}};
  test::FaultyFileCalls files;
};

TEST_F(JobFolders, ApartFromEachOther_MayServe) {
  for (const JobType type : {kBackup, kMirror, kSync, kClone}) {
    EXPECT_EQ(problem(type, {"s"}, {"t"}), "");
    EXPECT_EQ(problem(type, {"s"}, {"t/missing/deep"}), "");
    EXPECT_EQ(problem(type, {"s"}, {"s2"}), "") << "a missing folder with a longer name";
  }
  EXPECT_EQ(problem(kBackup, {"s/sub", "s/f"}, {"t", "t2"}), "");
}

TEST_F(JobFolders, SameFolderByAnyName_IsRefused) {
  for (const JobType type : {kBackup, kMirror, kSync, kClone}) {
    for (const char* target : {"s", "toS", "s/sub/../../s", "s/"})
      EXPECT_EQ(problem(type, {"s"}, {target}), "source and target are the same folder") << target;
  }
  EXPECT_EQ(problem(kSync, {"s"}, {"toS"}, true), "source and target are the same folder");
  EXPECT_EQ(problem(kSync, {"not/yet"}, {"not/yet"}), "source and target are the same folder");
  EXPECT_EQ(problem(kBackup, {"s/sub", "t"}, {"t", "t2"}), "source and target are the same folder") << "in a chain";
}

TEST_F(JobFolders, TargetThatIsAFile_IsRefused) {
  EXPECT_EQ(problem(kBackup, {"s"}, {"t/f"}), "the target is a file");
  EXPECT_EQ(problem(kBackup, {"s/f"}, {"t"}), "") << "a file as a source is none";
}

TEST_F(JobFolders, TargetInsideSource_IsRefused_ButWhereTheWalkLeavesItOut) {
  for (const JobType type : {kBackup, kMirror, kSync, kClone}) {
    for (const char* target : {"s/sub", "toSub", "s/new/deep", "toSub/new"})
      EXPECT_EQ(problem(type, {"s"}, {target}), "the target lies inside the source") << target;
  }
  EXPECT_EQ(problem(kSync, {"s"}, {"s/sub"}, true), "");
  EXPECT_EQ(problem(kMirror, {"s"}, {"s/new"}, true), "");
  EXPECT_EQ(problem(kBackup, {"s"}, {"linked"}), "the copy would lie inside the source");
  EXPECT_EQ(problem(kBackup, {"s"}, {"s/sub"}, true), "the target lies inside the source");
  EXPECT_EQ(problem(kSync, {"s", "t"}, {"s/sub"}, true), "the target lies inside the source");
}

TEST_F(JobFolders, SourceInsideTarget_IsRefused_WhereACopyMeetsASource) {
  EXPECT_EQ(problem(kBackup, {"s/sub"}, {"s"}), "the source lies where the copies go");  // its own copy
  EXPECT_EQ(problem(kBackup, {"s/f"}, {"s"}), "the source lies where the copies go");
  EXPECT_EQ(problem(kBackup, {"s/s/deep"}, {"s"}), "");
  EXPECT_EQ(problem(kSync, {"s/s/deep"}, {"s"}), "the source lies where the copies go");
  EXPECT_EQ(problem(kBackup, {"x/s", "t/s/sub"}, {"t"}), "the source lies where the copies go");
  EXPECT_EQ(problem(kBackup, {"t/Revision/old"}, {"t"}), "the source lies inside the target's revisions");
  const std::string ownCopies = "t/" + workspace::computerName();
  EXPECT_EQ(problem(kBackup, {ownCopies + "/Volumes/x"}, {"t"}, true), "the source lies where the copies go");
  EXPECT_EQ(problem(kBackup, {"s/sub"}, {"s"}, true), "");
  EXPECT_EQ(problem(kClone, {"s/sub"}, {"s"}), "the source lies inside the target");
}

TEST_F(JobFolders, SourcesInsideEachOther_AreRefused_WhereTheyShareAllOfTheTarget) {
  EXPECT_EQ(problem(kSync, {"s", "s/sub"}, {"t"}), "one source lies inside another");
  EXPECT_EQ(problem(kSync, {"s", "s/sub"}, {"t", "t2"}), "");
  EXPECT_EQ(problem(kBackup, {"s", "s/sub"}, {"t"}), "");
}

TEST_F(JobFolders, FolderAboveThatCannotBeOpened_IsJudgedByItsText) {
  files.fail(test::FileCall::kOpenParent, EACCES, {.times = test::FaultyFileCalls::kAlways});
  EXPECT_EQ(problem(kBackup, {"s"}, {"s/sub"}), "the target lies inside the source");
  EXPECT_EQ(problem(kBackup, {"s"}, {"t"}), "");
}

TEST(JobFoldersClone, OfTheWholeSystem_NeedsAnotherFileSystem) {
  if (!std::filesystem::is_directory("/dev/shm")) GTEST_SKIP() << "there is no second file system";
  const test::TempTree tree;
  FileCalls& files = realFileCalls();
  EXPECT_FALSE(checkJobFolders(files, kClone, false, {"/"}, {"/dev/shm"}));
  EXPECT_TRUE(checkJobFolders(files, kClone, false, {"/"}, {"/usr/missing"}));
  EXPECT_TRUE(checkJobFolders(files, kBackup, false, {"/"}, {"/dev/shm"}));
  EXPECT_TRUE(checkJobFolders(files, kClone, false, {"/dev/shm"}, {"/"}));
}

TEST(JobWarnings, FoldersOfOtherJobsAndFoldedNames_AreNamed) {
  const auto made = [](const char* name, JobType type, Paths sources, Paths targets) {
    QUORVELPREFERENCEINFO job;
    job.name = job.uuidString = name;
    job.jobType = type;
    job.sourcePaths = std::move(sources);
    job.targetPaths = std::move(targets);
    return job;
  };
  const auto subjects = [](const QUORVELPREFERENCEINFO& job, const PropertyList::Array& jobs) {
    Paths found;
    for (const JobProblem& warning : jobWarnings(job, jobs)) found.push_back(warning.subject + ": " + warning.reason);
    return found;
  };
  const PropertyList::Array jobs{
      jobToDictionary(made("docs", kBackup, {"/home/docs", "/home/pics"}, {"/mnt/a", "/mnt/b"})),
      jobToDictionary(made("sync", kSync, {"/home/sync"}, {"/mnt/c"})), "no job"};
  EXPECT_EQ(subjects(made("new", kBackup, {"/home/docs", "/home/x", "/home/X"}, {"/mnt/d"}), jobs),
            Paths{"/home/X: on some disks its name is the same as \"x\""});
  EXPECT_EQ(subjects(made("new", kBackup, {"/home/revision"}, {"/mnt/d"}), jobs),
            Paths{"/home/revision: on some disks its name is the same as \"Revision\""});
  EXPECT_EQ(subjects(made("new", kBackup, {"/mnt/b/x"}, {"/home"}), jobs),
            (Paths{"/home: already serves as a source of the job \"docs\"",
                   "/mnt/b/x: already serves as a target of the job \"docs\"",
                   "/home: already serves as a source of the job \"sync\""}));
  EXPECT_EQ(subjects(made("new", kBackup, {"/home/sync"}, {"/mnt/d"}), jobs).size(), 1u);
  EXPECT_EQ(subjects(made("docs", kBackup, {"/home/docs"}, {"/mnt/a"}), jobs), Paths{});
}

}  // namespace
}  // namespace lumisk
