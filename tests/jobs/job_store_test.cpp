#include "jobs/job_store.h"

#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "jobs/shared_files.h"
#include "support/fake_clock.h"
#include "support/home_fixture.h"

namespace lumisk {
namespace {

using test::readFile;
using test::writeFile;
using ::testing::ElementsAre;
using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;
using Editing = JobStore::Editing;
constexpr auto kTake = JobStore::Locking::kTake;

PropertyList storedJob(const std::string& name, const std::string& uuid = "") {
  QUORVELPREFERENCEINFO job;
  job.name = name;
  job.uuidString = uuid;
  job.sourcePaths = {"/home/anna/" + name};
  job.targetPaths = {"/mnt/disk/" + name};
  return jobToDictionary(job);
}

std::vector<std::string> namesOf(const Array& jobs) {
  std::vector<std::string> names;
  for (const PropertyList& job : jobs) names.push_back(job[kObjectNameKey].text());
  return names;
}

// While it lives, no file grows beyond a few bytes: every write of the store fails, for root as for everybody.
class FullDisk {
 public:
  FullDisk() : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    ::getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit tiny{8, before_.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &tiny);
  }
  ~FullDisk() {
    ::setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FullDisk(const FullDisk&) = delete;
  FullDisk& operator=(const FullDisk&) = delete;

 private:
  rlimit before_{};
  void (*handler_)(int);
};

class Store : public test::HomeFixture {
 protected:
  bool add(const std::string& name, std::int32_t index = -1) {
    store.m_currentInfo = newJobDefaults(clock.now());
    store.m_currentInfo.name = name;
    store.m_currentInfo.uuidString = "uuid of " + name;
    store.m_currentInfo.bFirstCopy = true;
    store.m_currentInfo.sourcePaths = {"/home/anna/" + name};
    store.m_currentInfo.targetPaths = {"/mnt/disk/" + name};
    return store.addPreferenceInfo(index);
  }
  // What is on the disk.
  [[nodiscard]] PropertyList stored() const { return readPropertyListFile(path).value_or(PropertyList()); }
  [[nodiscard]] std::vector<std::string> storedNames() const { return namesOf(stored()[kJobArrayKey].array()); }
  void put(const Dictionary& settings) const { ASSERT_TRUE(writePropertyListFile(path, settings)); }

  test::FakeClock clock;  // 2009-03-03 14:30:05 +0100
  const std::string path = preferences("com.qelcorporation.lumisk.plist");
  UserDefaults defaults{path};
  JobStore store{defaults, clock};
};

TEST_F(Store, JobsAddedStoredAndDeleted_StandInOrder_InMemoryAndOnDisk) {
  EXPECT_FALSE(store.readPreferenceInfo());
  EXPECT_EQ(store.lastError().operation, "");
  for (const char* name : {"0", "1", "3", "4"}) ASSERT_TRUE(add(name));
  ASSERT_TRUE(add("2", 2));
  EXPECT_EQ(stored()[kStoreNameKey], PropertyList("Automatic Backup"));
  EXPECT_EQ(stored()[kStoreSwitchKey], PropertyList(true));
  EXPECT_THAT(storedNames(), ElementsAre("0", "1", "2", "3", "4"));

  ASSERT_TRUE(store.fetchPreferenceInfo(3, kTake));
  store.m_currentInfo.name = "three";
  ASSERT_TRUE(store.storePreferenceInfo(3));
  ASSERT_TRUE(store.deletePreferenceInfo(2));
  EXPECT_THAT(storedNames(), ElementsAre("0", "1", "three", "4"));
  EXPECT_EQ(store.indexOfName("4"), 3);
  EXPECT_EQ(store.indexOfUuid("uuid of 3"), 2);
  EXPECT_EQ(store.indexOfUuid(""), -1);

  for (const int index : {-1, 4}) {
    EXPECT_FALSE(store.fetchPreferenceInfo(index, kTake));
    EXPECT_FALSE(store.storePreferenceInfo(index));
    EXPECT_FALSE(store.deletePreferenceInfo(index));
  }
  EXPECT_EQ(store.m_currentInfo.name, "three");
  EXPECT_FALSE(add("far", 7));

  const Array before = store.jobs();
  ASSERT_TRUE(store.reloadPreferenceInfo());
  EXPECT_EQ(store.jobs(), before);
}

TEST_F(Store, GatheredChanges_AreWrittenOnceAndBeforeAnythingElse) {
  for (const char* name : {"a", "b"}) ASSERT_TRUE(add(name));
  const auto setLastRan = [&](std::int32_t index, const std::string& when) {
    return store.changeJob(index, [&](Dictionary& job) { job[kLastRanTimeKey] = when; });
  };
  const auto lastRan = [&](std::size_t index) { return stored()[kJobArrayKey].at(index)[kLastRanTimeKey].text(); };
  std::uint32_t bits = 0;
  {
    const JobStore::Gathering gathering(store);
    EXPECT_TRUE(setLastRan(0, "first") && setLastRan(1, "first"));
    EXPECT_EQ(lastRan(0) + lastRan(1), "");
    EXPECT_EQ(store.job(1)[kLastRanTimeKey].text(), "first");
    EXPECT_TRUE(store.getDataBit(0, bits));
    EXPECT_EQ(lastRan(1), "first") << "something was read before it was written";
    EXPECT_TRUE(setLastRan(0, "second"));
    EXPECT_EQ(lastRan(0), "first");
    EXPECT_TRUE(add("c"));
    EXPECT_EQ(lastRan(0), "second");
    EXPECT_TRUE(setLastRan(2, "third"));
  }
  EXPECT_EQ(lastRan(2), "third");
  const FullDisk full;
  {
    const JobStore::Gathering gathering(store);
    EXPECT_TRUE(setLastRan(0, "never"));
  }
  EXPECT_NE(store.lastError().operation, "");
  EXPECT_EQ(store.job(0)[kLastRanTimeKey].text(), "second");
}

TEST_F(Store, MakingAndEditingAJob_SetItsModifyTime_OtherChangesDoNot) {
  ASSERT_TRUE(add("a"));
  clock.advance(std::chrono::seconds(60));
  ASSERT_TRUE(store.changeJob(0, [](Dictionary& job) {
    job[kActiveKey] = false;
    job[kLastCompletedBeginKey] = "2009-03-03 14:31:00 +0100";
  }));
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kJobModifyTimeKey].text(), "2009-03-03 14:30:05 +0100");

  ASSERT_TRUE(store.fetchPreferenceInfo(0, kTake));
  store.m_currentInfo.nAutoDeletion = 1;
  ASSERT_TRUE(store.storePreferenceInfo(0));
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kJobModifyTimeKey].text(), "2009-03-03 14:31:05 +0100");
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kLastCompletedBeginKey].text(), "2009-03-03 14:31:00 +0100");

  using Job = QUORVELPREFERENCEINFO;
  const std::vector<std::function<void(Job&)>> edits{
      [](Job& job) { job.targetPaths = {"/mnt/another"}; }, [](Job& job) { job.inclusionArray = {"txt"}; },
      [](Job& job) { job.exclusionArray = {"tmp"}; },       [](Job& job) { job.bDealPackage = !job.bDealPackage; },
      [](Job& job) { job.bRetainFullPath = true; },         [](Job& job) { job.dmgPath = "/mnt/image.dmg"; }};
  for (std::size_t i = 0; i < edits.size(); ++i) {
    ASSERT_TRUE(store.changeJob(0, [](Dictionary& job) { job[kLastCompletedBeginKey] = "2009-03-03 14:31:00 +0100"; }));
    ASSERT_TRUE(store.fetchPreferenceInfo(0, kTake));
    edits[i](store.m_currentInfo);
    ASSERT_TRUE(store.storePreferenceInfo(0));
    EXPECT_TRUE(stored()[kJobArrayKey].at(0)[kLastCompletedBeginKey].isNone()) << "edit " << i;
  }
}

TEST_F(Store, FailedWrite_LeavesMemoryAsStored_AndSaysWhy) {
  ASSERT_TRUE(add("a"));
  const Array before = store.jobs();
  const std::string bytes = readFile(path);
  {
    const FullDisk full;
    EXPECT_FALSE(add("b"));
    EXPECT_FALSE(store.storePreferenceInfo(0));
    EXPECT_FALSE(store.deletePreferenceInfo(0));
    EXPECT_FALSE(store.changeJob(0, [](Dictionary& job) { job[kActiveKey] = false; }));
    EXPECT_EQ(store.lastError().code, EFBIG);
    EXPECT_FALSE(store.setFirstCopyFlag(0));
    EXPECT_TRUE(store.changeJob(0, [](Dictionary& job) { job[kActiveKey] = true; }));  // needs no write
    EXPECT_EQ(store.lastError().operation, "");
  }
  EXPECT_EQ(store.jobs(), before);
  EXPECT_EQ(readFile(path), bytes);
  ASSERT_TRUE(add("b"));
  EXPECT_THAT(storedNames(), ElementsAre("a", "b"));
}

TEST_F(Store, StoreThatCouldNotBeRead_IsNotOverwritten_UntilItIsRead) {
  put({{kStoreNameKey, "Automatic Backup"}, {kJobArrayKey, Array{storedJob("old")}}});
  std::filesystem::rename(path, path + ".away");
  std::filesystem::create_symlink(path, path);  // ELOOP, for root, too
  EXPECT_FALSE(store.readPreferenceInfo());
  EXPECT_EQ(store.lastError().code, ELOOP);
  EXPECT_FALSE(add("new"));

  std::filesystem::remove(path);
  std::filesystem::rename(path + ".away", path);
  EXPECT_FALSE(add("new"));
  EXPECT_NE(store.lastError().operation, "");
  EXPECT_FALSE(store.savePreferenceInfo());
  EXPECT_THAT(storedNames(), ElementsAre("old"));
  ASSERT_TRUE(store.reloadPreferenceInfo());
  ASSERT_TRUE(add("new"));
  EXPECT_THAT(storedNames(), ElementsAre("old", "new"));

  std::filesystem::rename(path, path + ".away");
  std::filesystem::create_symlink(path, path);
  EXPECT_FALSE(store.reloadPreferenceInfo());
  EXPECT_EQ(store.count(), 2);
}

TEST_F(Store, JobsThatCannotBeLoaded_AreKeptUnderADatedKey) {
  const PropertyList unnamed = Array{storedJob("old")};
  put({{kJobArrayKey, unnamed}, {kPreferencesKey, Dictionary{{"SGWarnPendingJobs", true}}}});
  EXPECT_FALSE(store.readPreferenceInfo());
  EXPECT_EQ(store.count(), 0);
  ASSERT_TRUE(add("new"));
  EXPECT_EQ(stored()["Qel LumiskSettings 2009-03-03 14:30:05 +0100"], unnamed);
  EXPECT_THAT(storedNames(), ElementsAre("new"));
  EXPECT_EQ(store.takeWarnings().size(), 1u);
  EXPECT_TRUE(store.preference("SGWarnPendingJobs").boolean());

  put({{kStoreNameKey, "Automatic Backup"}, {kJobArrayKey, "damaged"}});
  JobStore other(defaults, clock);
  EXPECT_FALSE(other.readPreferenceInfo());
  ASSERT_TRUE(other.savePreferenceInfo());
  EXPECT_EQ(stored()["Qel LumiskSettings 2009-03-03 14:30:05 +0100"], PropertyList("damaged"));
}

TEST_F(Store, DamagedFile_IsSetAside_NotOverwritten) {
  writeFile(path, "<plist><dict><key>Qel Lum");
  EXPECT_FALSE(store.readPreferenceInfo());
  ASSERT_TRUE(add("new"));
  EXPECT_FALSE(defaults.takeWarnings().empty());
  std::vector<std::string> texts;
  for (const std::string& name : test::listing(home / "Library/Preferences"))
    texts.push_back(readFile(preferences(name)));
  EXPECT_THAT(texts, ::testing::Contains("<plist><dict><key>Qel Lum"));
  EXPECT_THAT(storedNames(), ElementsAre("new"));
}

TEST_F(Store, DataBitAndFirstCopy_GoStraightToTheDisk) {
  std::uint32_t bits = 1;
  EXPECT_FALSE(store.getDataBit(0, bits));
  EXPECT_FALSE(store.setFirstCopyFlag(0));
  ASSERT_TRUE(add("a"));
  ASSERT_TRUE(store.changeJob(0, [](Dictionary& job) { job[kDataBitKey] = std::int64_t{0xffff8000}; }));
  EXPECT_TRUE(store.getDataBit(0, bits) && bits == 0xffff8000u);
  EXPECT_TRUE(store.setDataBit(0, 0) && store.getDataBit(0, bits) && bits == 0xffff8000u);
  EXPECT_FALSE(store.getDataBit(-1, bits) || store.getDataBit(1, bits));
  EXPECT_FALSE(store.setFirstCopyFlag(-1) || store.setFirstCopyFlag(1));
  ASSERT_TRUE(store.setFirstCopyFlag(0));
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kFirstCopyKey], PropertyList(false));
  ASSERT_TRUE(store.changeJob(0, [](Dictionary& job) { job[kActiveKey] = false; }));
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kFirstCopyKey], PropertyList(false)) << "brought back by a later save";
}

TEST_F(Store, InitializeStatus_ChangesMemoryOnly) {
  ASSERT_TRUE(add("a"));
  ASSERT_TRUE(store.changeJob(0, [](Dictionary& job) { job[kJobStatusKey] = 1; }));
  store.initializeStatus();
  EXPECT_EQ(store.jobs().at(0)[kJobStatusKey], PropertyList(0));
  EXPECT_EQ(stored()[kJobArrayKey].at(0)[kJobStatusKey], PropertyList(1));
}

TEST_F(Store, ScratchRecord_KeepsSourcesOnlyWhenAsked) {
  store.initializePreferenceInfo();
  EXPECT_TRUE(store.m_currentInfo.scheduling_weekFlag[0] && !store.m_tempInfo.scheduling_weekFlag[0]);
  store.m_tempInfo.sourcePaths = {"/s"};
  store.m_tempInfo.dmgPath = "/image";
  store.init_tempInfo(true);
  EXPECT_THAT(store.m_tempInfo.sourcePaths, ElementsAre("/s"));
  EXPECT_EQ(store.m_tempInfo.dmgPath, "");
  store.init_tempInfo(false);
  EXPECT_TRUE(store.m_tempInfo.sourcePaths.empty());
}

TEST_F(Store, NameCheck_IsCaseSensitive_AndSparesTheSelectedJob) {
  ASSERT_TRUE(add("a") && add("b"));
  store.m_nIndex = 0;
  EXPECT_TRUE(store.checkJobNameIsExist("a", Editing::kNewJob));
  EXPECT_FALSE(store.checkJobNameIsExist("A", Editing::kNewJob));
  EXPECT_FALSE(store.checkJobNameIsExist("a", Editing::kSelectedJob));
  EXPECT_TRUE(store.checkJobNameIsExist("b", Editing::kSelectedJob));
}

TEST_F(Store, FolderCheck_LooksAtSourcesAndSingleTargets) {
  ASSERT_TRUE(add("a"));
  store.m_currentInfo.targetPaths = {"/x", "/y"};
  store.m_currentInfo.sourcePaths = {"/s1", "/s2"};
  ASSERT_TRUE(store.addPreferenceInfo(-1));
  store.m_nIndex = 0;
  const auto isUsed = [&](const char* folder, bool checkTarget, Editing edit, bool subDirectory) {
    return store.checkDirectoryIsExist(folder, checkTarget, edit, subDirectory);
  };
  EXPECT_TRUE(isUsed("/home/anna/a/", false, Editing::kNewJob, false));
  EXPECT_FALSE(isUsed("/home/anna/a", true, Editing::kNewJob, false));
  EXPECT_TRUE(isUsed("/mnt/disk/a", true, Editing::kNewJob, false));
  EXPECT_FALSE(isUsed("/mnt/disk/a", false, Editing::kSelectedJob, false));
  EXPECT_FALSE(isUsed("/mnt/disk", true, Editing::kNewJob, false));
  EXPECT_TRUE(isUsed("/mnt/disk", true, Editing::kNewJob, true));
  EXPECT_TRUE(isUsed("/mnt/disk/a/b", true, Editing::kNewJob, true));
  EXPECT_FALSE(isUsed("/mnt/disk/ab", false, Editing::kNewJob, true));
  EXPECT_TRUE(isUsed("/s2/below", false, Editing::kNewJob, true));
  EXPECT_FALSE(isUsed("/y", false, Editing::kNewJob, true));  // one of several targets
  EXPECT_FALSE(store.checkingDestinationFolderHasChanged("/mnt/disk/a"));
  EXPECT_TRUE(store.checkingDestinationFolderHasChanged("/mnt/disk"));
  store.m_nIndex = 1;
  EXPECT_TRUE(store.checkingDestinationFolderHasChanged("/x"));
}

class SiblingImport : public Store {
 protected:
  void putSibling(bool isDone) const {
    const Dictionary settings{
        {kJobArrayKey, Array{storedJob("a", "U1"), storedJob("b"), "no job", storedJob("a", "U2")}},
        {"CNUpgrade", isDone},
        {"Other", 1}};
    ASSERT_TRUE(writePropertyListFile(siblingDefaultsPath(), settings));
  }
  [[nodiscard]] bool isMarked() const { return (*readPropertyListFile(siblingDefaultsPath()))["CNUpgrade"].boolean(); }
};

TEST_F(SiblingImport, RunTwice_AlsoAfterACrashBeforeTheMark_AddsTheJobsOnce) {
  EXPECT_FALSE(store.checkVersionOfTarnwick());
  ASSERT_TRUE(store.readPreferenceInfo() || add("own"));
  putSibling(false);
  for (int run = 0; run < 3; ++run) {
    EXPECT_TRUE(store.checkVersionOfTarnwick());
    EXPECT_THAT(storedNames(), ElementsAre("own", "a", "b", "a 2"));
    for (const PropertyList& job : store.jobs()) EXPECT_NE(job[kUuidStringKey].text(), "");
    EXPECT_EQ(store.jobs(), stored()[kJobArrayKey].array());
    EXPECT_TRUE(isMarked());
    if (run == 1) putSibling(false);
  }
  EXPECT_EQ((*readPropertyListFile(siblingDefaultsPath()))["Other"], PropertyList(1));
}

TEST_F(SiblingImport, BeforeTheFirstRead_IsFoundByIt) {
  putSibling(false);
  EXPECT_TRUE(store.checkVersionOfTarnwick());
  EXPECT_EQ(store.count(), 0);
  EXPECT_TRUE(store.readPreferenceInfo());
  EXPECT_EQ(store.count(), 3);
}

TEST_F(SiblingImport, OwnStoreNotWritten_LeavesTheSiblingUnmarked) {
  putSibling(false);
  std::filesystem::create_symlink(path, path);  // ELOOP
  EXPECT_FALSE(store.checkVersionOfTarnwick());
  EXPECT_EQ(store.lastError().code, ELOOP);
  EXPECT_FALSE(isMarked());
}

TEST_F(SiblingImport, DoneOrUnreadableSibling_ImportsNothing) {
  putSibling(true);
  EXPECT_TRUE(store.checkVersionOfTarnwick());
  writeFile(siblingDefaultsPath(), "no property list");
  EXPECT_FALSE(store.checkVersionOfTarnwick());
  EXPECT_EQ(store.lastError().operation, "");
  EXPECT_TRUE(storedNames().empty());
}

TEST_F(Store, RunningSources_AreEmptied_InAFileThatExists) {
  store.removeAllRunningJob();
  EXPECT_FALSE(test::exists(pluginListPath()));
  ASSERT_TRUE(writePropertyListFile(pluginListPath(), Dictionary{{"RunningJobSourcePath", Array{"/s"}}, {"Other", 1}}));
  store.removeAllRunningJob();
  EXPECT_EQ(*readPropertyListFile(pluginListPath()),
            PropertyList(Dictionary{{"RunningJobSourcePath", Array{}}, {"Other", 1}}));
}

}  // namespace
}  // namespace lumisk
