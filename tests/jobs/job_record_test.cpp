#include <cstdlib>

#include "jobs/job_views.h"
#include "platform/home_folder.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

// The stored form, written out as another program would read it. Every value differs from a new job's and, as far as
// its kind allows, from its neighbours'.
const char* const kStoredJob = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0"><dict>
<key>NSBackupFolders</key><array>
  <dict><key>NSTargetFlag</key><true/><key>Reserved2</key><string></string><key>Reserved3</key><integer>0</integer>
    <key>Reserved4</key><integer>0</integer><key>Reserved5</key><integer>0</integer></dict>
  <string>/home/anna/one</string><string>/mnt/disk/a</string>
  <string>/home/anna/two</string><string>/mnt/disk/b</string></array>
<key>NSRevisions</key><dict><key>NSDateModeRevision</key><true/><key>NSMethod</key><integer>1</integer>
  <key>NSRevisionMaxNumber</key><integer>7</integer></dict>
<key>NSFileTypeFilters</key><dict><key>NSExclusionTypes</key><array><string>tmp</string><string>.o</string></array>
  <key>NSInclusionTypes</key><array><string>txt</string></array><key>NSMethod</key><integer>3</integer></dict>
<key>NSScheduling</key><dict><key>NSMethod</key><integer>2</integer><key>NSTimer</key><integer>15</integer>
  <key>NSTimerUnit</key><integer>1</integer><key>NSWeekOrDate</key><array>
    <dict><key>Reserved1</key><integer>0</integer><key>Reserved2</key><string>2009-03-03 21:05:00 +0100</string>
      <key>Reserved3</key><integer>0</integer><key>Reserved4</key><integer>0</integer>
      <key>Reserved5</key><integer>0</integer></dict>
    <true/><false/><true/><false/><false/><true/><true/>
    <date>2009-03-03T20:05:00Z</date><true/></array></dict>
<key>NSCopyNow</key><dict><key>NSMethod</key><integer>4</integer></dict>
<key>NSLastRanTime</key><string>2009-03-03 14:30:05 +0100</string>
<key>NSLastBeginTime</key><string>2009-03-03 14:29:00 +0100</string>
<key>NSJobModifyTime</key><string>2009-03-01 08:00:00 +0100</string>
<key>NSDataBit</key><integer>0</integer>
<key>NSAutoDeletion</key><integer>5</integer>
<key>NSJobStatus</key><integer>2</integer>
<key>NSFirstCopy</key><true/>
<key>NSActive</key><false/>
<key>NSObjectName</key><string>Documents &amp; more</string>
<key>NSShowProgressWindow</key><true/>
<key>NSJobType</key><integer>1</integer>
<key>NSRetainFullPath</key><true/>
<key>NSDisplayWarning</key><false/>
<key>NSCapacityPercentage</key><integer>80</integer>
<key>NSDmgPath</key><string>/mnt/disk/image.dmg</string>
<key>NSUuidString</key><string>3F2504E0-4F89-41D3-9A0C-0305E82C3301</string>
<key>NSAutoMount</key><false/>
<key>NSManullyDisable</key><true/>
<key>NSFileConflictType</key><integer>3</integer>
<key>NSRepairPermissions</key><true/>
<key>NSFormatVolume</key><true/>
<key>NSMoveFileTrash</key><false/>
<key>NSDealPackage</key><true/>
</dict></plist>)";

QUORVELPREFERENCEINFO filledJob() {
  QUORVELPREFERENCEINFO job;
  job.bActive = false;
  job.bFirstCopy = true;
  job.name = "Documents & more";
  job.bMultipleTargetFolder = true;
  job.sourcePaths = {"/home/anna/one", "/home/anna/two"};
  job.targetPaths = {"/mnt/disk/a", "/mnt/disk/b"};
  job.revision_dateMode = true;
  job.revision_method = RevisionMethod::kUnlimited;
  job.revision_maxNumber = 7;
  job.inclusionArray = {"txt"};
  job.exclusionArray = {"tmp", ".o"};
  job.fileTypeMethod = 3;
  job.scheduling_method = SchedulingMethod::kWeekDays;
  job.scheduling_timer = 15;
  job.scheduling_timerUnit = TimerUnit::kHours;
  job.scheduling_weekFlag = {true, false, true, false, false, true, true};
  job.scheduling_date = CalendarDate(CalendarDate::parse("2009-03-03 21:05:00 +0100")->time(), kTimeOfDayFormat);
  job.scheduling_weekOrDateFlag = true;
  job.copynow_method = 4;
  job.bShowProgressBar = true;
  job.nCurrentStatus = JobStatus::kError;
  job.nAutoDeletion = 5;
  job.lDataBit = 0x8000;
  job.lastRanTime = "2009-03-03 14:30:05 +0100";
  job.lastBeginTime = "2009-03-03 14:29:00 +0100";
  job.jobModifyTime = "2009-03-01 08:00:00 +0100";
  job.jobType = JobType::kSyncWithRevisions;
  job.bRetainFullPath = true;
  job.bDisplayWarning = false;
  job.capacityPercentage = 80;
  job.dmgPath = "/mnt/disk/image.dmg";
  job.uuidString = "3F2504E0-4F89-41D3-9A0C-0305E82C3301";
  job.bAutoMount = false;
  job.bManullyDisable = true;
  job.fileConflictType = ConflictChoice::kKeepBoth;
  job.bRepairPermissions = true;
  job.bFormatVolume = true;
  job.bMoveFileTrash = false;
  job.bDealPackage = true;
  return job;
}

void expectSameEntries(const PropertyList& actual, const PropertyList& expected) {
  for (const auto& [key, value] : expected.dictionary()) EXPECT_EQ(actual[key], value) << key;
  EXPECT_EQ(actual.dictionary().size(), expected.dictionary().size());
}

using JobRecord = test::HomeFixture;

TEST_F(JobRecord, WrittenToDisk_EveryKey_IsTheStoredForm) {
  ASSERT_TRUE(writePropertyListFile(home / "job.plist", jobToDictionary(filledJob())));
  test::writeFile(home / "expected.plist", kStoredJob);
  expectSameEntries(*readPropertyListFile(home / "job.plist"), *parsePropertyList(kStoredJob));
  if (std::system("python3 -c 'import plistlib' 2>/dev/null") != 0)
    GTEST_SKIP() << "there is no python3 to compare with";
  const std::string compare = "cd '" + home.path() + "' && python3 -c '" +
                              "import plistlib, sys\n"
                              "a, b = (plistlib.load(open(n, \"rb\")) for n in (\"job.plist\", \"expected.plist\"))\n"
                              "sys.exit(repr(sorted(a.items())) != repr(sorted(b.items())))'";
  EXPECT_EQ(std::system(compare.c_str()), 0);
}

TEST_F(JobRecord, ReadFromTheStoredForm_EveryField_IsWrittenAgain) {
  QUORVELPREFERENCEINFO job;
  ASSERT_TRUE(jobFromDictionary(*parsePropertyList(kStoredJob), job));
  expectSameEntries(jobToDictionary(job), *parsePropertyList(kStoredJob));
  EXPECT_TRUE(job.bMultipleTargetFolder);
  EXPECT_EQ(job.targetPaths, filledJob().targetPaths);
  EXPECT_EQ(job.scheduling_date.description(), "09:05 PM");
  EXPECT_TRUE(job.otherKeys.empty());
}

TEST_F(JobRecord, Folders_SingleAndSeveralTargets_ReadBackAsTheyWere) {
  QUORVELPREFERENCEINFO job;
  job.sourcePaths = {"/s1", "/s2", "/s3"};
  job.targetPaths = {"/t"};
  PropertyList folders = jobToDictionary(job)[kBackupFoldersKey];
  EXPECT_FALSE(folders.at(0)[kTargetFlagKey].boolean());
  EXPECT_EQ(Array(folders.array().begin() + 1, folders.array().end()), (Array{"/s1", "/t", "/s2", "/t", "/s3", "/t"}));

  folders.mutableArray()[4] = "/ignored";  // a later slot of a single target
  folders.mutableArray().pop_back();       // and a last source without one
  QUORVELPREFERENCEINFO read;
  ASSERT_TRUE(jobFromDictionary(Dictionary{{kBackupFoldersKey, folders}}, read));
  EXPECT_EQ(read.sourcePaths, job.sourcePaths);
  EXPECT_EQ(read.targetPaths, job.targetPaths);

  job.sourcePaths = {"/s1"};
  EXPECT_FALSE(jobToDictionary(job)[kBackupFoldersKey].at(0)[kTargetFlagKey].boolean());
}

TEST_F(JobRecord, MissingKeys_ReadAsNothing_AndKeepTheTwoTimesOfTheRecord) {
  QUORVELPREFERENCEINFO job = filledJob();
  const Dictionary almostEmpty{{kBackupFoldersKey, Array{Dictionary{}}}, {kActiveKey, 1}};
  ASSERT_TRUE(jobFromDictionary(almostEmpty, job));
  EXPECT_TRUE(job.bActive);
  EXPECT_EQ(job.name + job.dmgPath + job.uuidString + job.lastBeginTime, "");
  EXPECT_TRUE(job.sourcePaths.empty() && job.targetPaths.empty() && job.exclusionArray.empty());
  EXPECT_EQ(job.capacityPercentage, 0);
  EXPECT_FALSE(job.bMoveFileTrash);
  EXPECT_EQ(job.lastRanTime, filledJob().lastRanTime);
  EXPECT_EQ(job.jobModifyTime, filledJob().jobModifyTime);
}

TEST_F(JobRecord, WithoutTheHeaderOfItsFolders_IsNoJob) {
  const auto filled = jobToDictionary(filledJob());
  for (const PropertyList& folders : {PropertyList(), PropertyList(Array{}), PropertyList(Array{"/s", "/t"})}) {
    QUORVELPREFERENCEINFO job = filledJob();
    const auto read = jobFromDictionary(Dictionary{{kBackupFoldersKey, folders}}, job);
    ASSERT_FALSE(read);
    EXPECT_EQ(read.error().code, EINVAL);
    EXPECT_EQ(jobToDictionary(job), filled);
    QUORVELPREFERENCEINFOtag_CopyFileObjectPart view;
    EXPECT_FALSE(copyFileObjectPartFromDictionary(Dictionary{{kBackupFoldersKey, folders}}, view));
  }
}

TEST_F(JobRecord, UnknownKeysAndValues_SurviveTheRecord_TheCancelStatusDoesNot) {
  PropertyList stored = *parsePropertyList(kStoredJob);
  stored.mutableDictionary()[kLastCompletedBeginKey] = "2009-03-03 14:29:00 +0100";
  stored.mutableDictionary()["NSOfALaterVersion"] = Array{1, "two"};
  stored.mutableDictionary()[kJobTypeKey] = 42;
  PropertyList expected = stored;
  stored.mutableDictionary()[kCancelStatusKey] = 2;
  QUORVELPREFERENCEINFO job;
  ASSERT_TRUE(jobFromDictionary(stored, job));
  expectSameEntries(jobToDictionary(job), expected);
}

TEST_F(JobRecord, Views_OfTheStoredForm_HoldItsFields) {
  PropertyList stored = *parsePropertyList(kStoredJob);
  stored.mutableDictionary()[kLastCompletedBeginKey] = "2009-03-03 14:29:00 +0100";
  stored.mutableDictionary()[kLastCompletedBeginNanosecondsKey] = std::int64_t{1'236'086'940'000'000'001};
  stored.mutableDictionary()[kLastCompletedEndNanosecondsKey] = std::int64_t{1'236'086'941'000'000'002};
  QUORVELPREFERENCEINFOtag_CopyFileObjectPart work;
  ASSERT_TRUE(copyFileObjectPartFromDictionary(stored, work));
  EXPECT_EQ(work.lastCompletedBeginNanoseconds, 1'236'086'940'000'000'001);
  EXPECT_EQ(work.lastCompletedEndNanoseconds, 1'236'086'941'000'000'002);
  EXPECT_EQ(work.exclusionArray, (std::vector<std::string>{"tmp", "o"}));
  EXPECT_EQ(work.lastRunTime, "2009-03-03 14:30:05 +0100");
  EXPECT_EQ(work.lastCompletedBegin, "2009-03-03 14:29:00 +0100");
  EXPECT_EQ(work.revision_method, RevisionMethod::kUnlimited);
  QUORVELPREFERENCEINFOtag_SchedulePart schedule;
  ASSERT_TRUE(schedulePartFromDictionary(stored, schedule));
  EXPECT_EQ(schedule.scheduling_weekFlag, filledJob().scheduling_weekFlag);
  EXPECT_EQ(schedule.scheduling_timerUnit, TimerUnit::kHours);
  EXPECT_EQ(schedule.scheduling_date.hour(), 21);
  EXPECT_EQ(schedule.jobModifyTime, "2009-03-01 08:00:00 +0100");
}

TEST_F(JobRecord, NewJob_ConfirmedAsAClone_HasTheDefaultsAndWhatTheTypeNeeds) {
  QUORVELPREFERENCEINFO job = newJobDefaults(CalendarDate::fromLocal(2009, 3, 3, 14, 30, 5).time());
  EXPECT_EQ(job.name, userName() + "20090303143005");
  EXPECT_EQ(job.scheduling_date.description(), "02:30 PM");
  EXPECT_TRUE(job.bActive && job.bDisplayWarning && job.bAutoMount && job.bMoveFileTrash);
  EXPECT_FALSE(job.bFirstCopy);
  EXPECT_EQ(jobToDictionary(job)[kRevisionsKey],
            PropertyList(Dictionary{{kDateModeRevisionKey, false}, {kMethodKey, 2}, {kRevisionMaxNumberKey, 1}}));
  EXPECT_EQ(job.scheduling_method, SchedulingMethod::kRealTime);
  EXPECT_EQ(job.scheduling_timer, 10);
  EXPECT_EQ(job.capacityPercentage, 50);
  confirmNewJob(job, JobType::kClone);
  EXPECT_TRUE(job.bFirstCopy);
  EXPECT_EQ(job.uuidString.size(), 36u);
  EXPECT_EQ(jobToDictionary(job)[kSchedulingKey][kTimerUnitKey], PropertyList(1));
}

TEST(CopyArray, SourcesAndTarget_ArePairedByLastComponent) {
  EXPECT_EQ(createCopyArrayFromSource({"/a/b", "/c/"}, "/t"),
            (std::vector<std::string>{"/a/b", "/t/b", "/c/", "/t/c"}));
}

}  // namespace
}  // namespace lumisk
