// Two-way jobs against a person who edits both sides at random, and against crashes at any step.

#include <rapidcheck.h>

#include <filesystem>
#include <set>

#include "engine/revision_store.h"
#include "engine/two_way_run.h"
#include "support/faulty_file_calls.h"
#include "support/mounted_volume.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

FileTime realNow() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto seconds = std::chrono::floor<std::chrono::seconds>(now);
  return {seconds.count(), static_cast<std::uint32_t>(std::chrono::nanoseconds(now - seconds).count())};
}

enum class Removal { kToTrash, kForGood };

// A job that keeps "s" and "t" in step, run after run.
class TwoWayJob {
 public:
  TwoWayJob(JobType type, ConflictChoice choice, Removal removal = Removal::kToTrash) {
    info.name = "job";
    info.uuidString = "uuid";
    info.jobType = type;
    info.fileConflictType = choice;
    info.bMoveFileTrash = removal == Removal::kToTrash;
    info.revision_method = type == JobType::kSyncWithRevisions ? RevisionMethod::kUnlimited : RevisionMethod::kNone;
    info.sourcePaths = {tree / "s"};
    info.targetPaths = {tree / "t"};
  }

  // Whether it completed. With `crashAt`, from that call on nothing the run asks of the system happens any more.
  bool run(int crashAt = 0) {
    FaultyFileCalls files;
    if (prepare) prepare(files);
    if (crashAt == 0) return runWith(files);
    files.fail(FileCall::kAny, EIO, {.nth = crashAt, .times = FaultyFileCalls::kAlways});
    const auto completedBefore = lastCompleted;
    runWith(files);
    lastCompleted = completedBefore;
    return lastRunCompleted = false;
  }

  // The same on a system that fails as it was told to.
  bool runWith(FaultyFileCalls& files) {
    waitForTick(tree / "home");
    RunFixture fixture(PaceKind::kFull, files);
    fixture.info = info;
    fixture.run.begin = std::chrono::system_clock::now();
    fixture.run.lastCompleted = lastCompleted;
    fixture.run.compareSizes = !lastRunCompleted;
    const FileTime begin = realNow();
    Trash trash(files, fixture.clock, tree / "t");
    RevisionStore revisions(fixture.run, trash, PlaceNames{"desk", "Root"});
    NoRunRecord recorder;
    ConflictMemory conflicts{true, info.fileConflictType};
    TwoWayRun both(fixture.run, revisions, trash, recorder, conflicts, brake);
    const bool carried = both.carry(tree / "s", tree / "t", 5, 5);
    counts = fixture.run.counts;
    log = fixture.log.all();
    lastRunCompleted = carried && counts.errors == 0;
    if (lastRunCompleted) lastCompleted = CompletedRun{begin, realNow()};
    waitForTick(tree / "home");
    return lastRunCompleted;
  }

  // Names, types and texts of a side, without what the job keeps there for itself.
  std::map<std::string, std::string> side(const std::string& name) {
    std::map<std::string, std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(tree / name)) {
      const std::string path = entry.path().string().substr((tree / name).size());
      if (path.find("/.lumisk") != std::string::npos || path.find("/Revision") != std::string::npos) continue;
      if (entry.is_symlink())
        found[path] = "-> " + fs::read_symlink(entry.path()).string();
      else
        found[path] = entry.is_directory() ? "folder" : readFile(entry.path());
    }
    return found;
  }
  // Every text anywhere: on both sides, in the Trash, among the revisions.
  std::set<std::string> texts() {
    auto found = textsBelow(tree.path());
    std::erase_if(found, [](const std::string& text) { return !text.starts_with("text"); });
    return found;
  }

  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  TempTree tree{{"s", Dir{}}, {"t", Dir{}}, {"home", Dir{}}};
  OwnHome home{tree / "home"};
  std::function<void(FaultyFileCalls&)> prepare;  // of the next runs
  DeletionBrake brake{kDefaultBrakePercent, true};
  std::optional<CompletedRun> lastCompleted;
  bool lastRunCompleted = false;
  RunCounts counts;
  std::string log;
};

// Changes a side at random. Dates lie far back and never repeat, as with files that are moved in from elsewhere.
class Editor {
 public:
  // What was removed or overwritten with the wish that it be gone: on the other side a run may carry that over.
  std::set<std::string> dropped;
  void edit(const std::string& side) {
    static const std::vector<std::string> kPaths{"/a", "/b.txt", "/d", "/d/a", "/d/e", "/d/e/f", "/g"};
    const std::string path = side + *rc::gen::elementOf(kPaths);
    if (fs::symlink_status(fs::path(path).parent_path()).type() != fs::file_type::directory) return;
    const bool stands = exists(path);
    switch (*rc::gen::inRange(0, 7)) {
      case 0:
      case 1:
      case 2:
        return write(path);
      case 3:
        remove(path);
        return fs::create_symlink("text link " + std::to_string(++count_), path);
      case 4:
        if (!stands) fs::create_directory(path);
        return;
      case 5:
        if (stands) rename(path, side);
        return;
      default:
        remove(path);
    }
  }
  // Changes a file, or makes one.
  void write(const std::string& path) {
    dropped.merge(textsBelow(path));
    if (!fs::is_regular_file(fs::symlink_status(path))) fs::remove_all(path);
    writeFile(path, "text " + std::to_string(++count_));
    setModified(path, 1'000'000'000 + 10 * count_);
  }

 private:
  void remove(const std::string& path) {
    dropped.merge(textsBelow(path));
    fs::remove_all(path);
  }
  void rename(const std::string& path, const std::string& side) {
    const std::string to =
        fs::path(path).parent_path().string() + *rc::gen::elementOf(std::vector<std::string>{"/a", "/d", "/h"});
    if (to.starts_with(path + "/") || path == to || !to.starts_with(side)) return;
    if (!exists(to)) fs::rename(path, to);
  }
  int count_ = 0;
};

std::string show(const std::map<std::string, std::string>& side) {
  std::string text;
  for (const auto& [path, what] : side) text += "  " + path + " = " + what + "\n";
  return text;
}

void requireNothingLost(const std::set<std::string>& before, TwoWayJob& job, const char* when,
                        const std::set<std::string>& mayBeGone = {}) {
  const auto after = job.texts();
  for (const std::string& text : before)
    if (!after.count(text) && !mayBeGone.count(text))
      RC_FAIL(std::string(when) + ": \"" + text + "\" is gone\n" + job.log);
}

void requireAgreement(TwoWayJob& job) {
  const auto source = job.side("s");
  const auto target = job.side("t");
  if (source != target) RC_FAIL("the sides differ:\n" + show(source) + " and\n" + show(target) + job.log);
}

// Edits, runs and crashes; what was dropped may be gone when the job removes for good, and nothing else ever.
void liveThrough(Removal removal) {
  const auto type = *rc::gen::element(JobType::kSyncWithRevisions, JobType::kSyncWithConflicts);
  const auto choice = static_cast<ConflictChoice>(*rc::gen::inRange(0, 4));
  TwoWayJob job(type, choice, removal);
  Editor editor;
  const auto mayBeGone = [&] { return removal == Removal::kForGood ? editor.dropped : std::set<std::string>{}; };
  const int rounds = *rc::gen::inRange(1, 5);
  for (int round = 0; round < rounds; ++round) {
    for (const char* side : {"s", "t"})
      for (int edits = *rc::gen::inRange(0, 5); edits > 0; --edits) editor.edit(job.tree / side);
    if (*rc::gen::inRange(0, 3) == 0) {
      const auto before = job.texts();
      job.run(*rc::gen::inRange(1, 250));
      requireNothingLost(before, job, "after a crash", mayBeGone());
    }
    const auto before = job.texts();
    if (!job.run()) RC_FAIL("the run did not complete:\n" + job.log);
    requireNothingLost(before, job, "after a run", mayBeGone());
  }
  // One more brings what the last one put aside for the other side.
  job.run();
  requireAgreement(job);
  const auto settled = job.side("s");
  RC_ASSERT(job.run());
  RC_ASSERT(job.counts.copied == 0U);
  RC_ASSERT(job.counts.deleted == 0U);
  RC_ASSERT(job.side("s") == settled);
  RC_ASSERT(job.side("t") == settled);
}

TEST(TwoWayModel, RandomEditsAndCrashes_LoseNothingAndConverge) {
  EXPECT_TRUE(rc::check("two-way, Trash", [] { liveThrough(Removal::kToTrash); }));
}

TEST(TwoWayModel, RemovingForGood_LosesOnlyWhatTheUserDropped) {
  EXPECT_TRUE(rc::check("two-way, no Trash", [] { liveThrough(Removal::kForGood); }));
}

// What cannot be read, at any moment and however often, is not gone. The folders hold nothing but additions and changes
// since the last run, so no deletion is due.
TEST(TwoWayModel, FailingReads_DeleteNothing) {
  EXPECT_TRUE(rc::check("two-way, failing", [] {
    const auto type = *rc::gen::element(JobType::kSyncWithRevisions, JobType::kSyncWithConflicts);
    TwoWayJob job(type, ConflictChoice::kNewerWins, Removal::kForGood);
    Editor editor;
    for (const char* folder : {"s/d", "s/d/e"}) fs::create_directory(job.tree / folder);
    for (const char* file : {"s/a", "s/d/a", "s/d/e/f", "s/d/b", "s/b"}) editor.write(job.tree / file);
    RC_ASSERT(job.run());
    for (int round = *rc::gen::inRange(1, 4); round > 0; --round) {
      if (*rc::gen::arbitrary<bool>())
        editor.write(job.tree / *rc::gen::element<std::string>("s/d/e/f", "t/d/b", "t/c"));
      FaultyFileCalls files;
      const auto call = *rc::gen::element(FileCall::kAny, FileCall::kOpenFolder, FileCall::kListFolder,
                                          FileCall::kStatus, FileCall::kStatusOf, FileCall::kOpenFile, FileCall::kRead);
      const auto name = *rc::gen::element<std::string>("*", "d", "e", "a", ".lumiskFileList");
      const int nth = call == FileCall::kAny ? *rc::gen::inRange(1, 300) : *rc::gen::inRange(1, 12);
      const int times = *rc::gen::element(1, 2, FaultyFileCalls::kAlways);
      files.fail(call, *rc::gen::element(EIO, EACCES, ESTALE), {.name = name, .nth = nth, .times = times});
      const auto before = job.texts();
      job.runWith(files);
      RC_ASSERT(job.counts.deleted == 0U);
      requireNothingLost(before, job, "after a failing run", editor.dropped);
    }
    job.run();
    RC_ASSERT(job.run());
    RC_ASSERT(job.counts.deleted == 0U);
    requireAgreement(job);
    RC_ASSERT(job.side("s").size() >= 7U);
  }));
}

// The ways in which a deletion could be taken for one that was not, each by itself.
class TwoWayDeletion : public ::testing::Test {
 protected:
  void put(const std::string& path, const std::string& text) {
    fs::create_directories(fs::path(job.tree / path).parent_path());
    writeFile(job.tree / path, text);
    setModified(job.tree / path, 1'000'000'000);
  }
  TwoWayJob job{JobType::kSyncWithConflicts, ConflictChoice::kNewerWins};
};

TEST_F(TwoWayDeletion, OfBothListedAndUnchanged_IsCarriedOverToTheTrash) {
  put("s/gone", "text 1");
  put("s/stays", "text 2");
  fs::create_directories(job.tree / "s/d/e");
  put("s/d/e/inner", "text 3");
  ASSERT_TRUE(job.run());
  fs::remove(job.tree / "t/gone");
  fs::remove_all(job.tree / "s/d");
  const auto before = job.texts();
  ASSERT_TRUE(job.run()) << job.log;
  EXPECT_EQ(job.counts.deleted, 4U);
  EXPECT_EQ(job.side("s"), (std::map<std::string, std::string>{{"/stays", "text 2"}}));
  EXPECT_EQ(job.side("t"), job.side("s"));
  EXPECT_EQ(job.texts(), before);
}

TEST_F(TwoWayDeletion, BeforeAnyCompletedRun_IsNone) {
  put("s/a", "text 1");
  put("s/b", "text 2");
  job.run(120);  // crashed
  fs::remove(job.tree / "t/a");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.side("s").size(), 2U);
  EXPECT_EQ(job.side("t"), job.side("s"));
}

TEST_F(TwoWayDeletion, OfWhatWasEditedMeanwhile_IsCopiedBack) {
  put("s/edited", "text 1");
  put("s/replaced", "text 2");
  fs::create_directory(job.tree / "s/d");
  put("s/d/one", "text 3");
  put("s/d/two", "text 4");
  ASSERT_TRUE(job.run());
  for (const char* path : {"t/edited", "t/replaced"}) fs::remove(job.tree / path);
  fs::remove_all(job.tree / "t/d");
  writeFile(job.tree / "s/edited", "text 5");
  put("elsewhere", "text 6");
  fs::rename(job.tree / "elsewhere", job.tree / "s/replaced");  // with a date from before the run
  writeFile(job.tree / "s/d/two", "text 7");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 0U);
  const std::map<std::string, std::string> all{
      {"/d", "folder"}, {"/d/one", "text 3"}, {"/d/two", "text 7"}, {"/edited", "text 5"}, {"/replaced", "text 6"}};
  EXPECT_EQ(job.side("s"), all);
  EXPECT_EQ(job.side("t"), all);
}

// Names that are never carried stand on one side only, so the folder around them is no copy of anything.
TEST_F(TwoWayDeletion, OfAFolderThatHoldsTheOnlyCopyOfSomething_IsNone) {
  fs::create_directory(job.tree / "s/d");
  put("s/d/carried", "text 1");
  put("s/d/.hidden", "text 2");
  ASSERT_TRUE(job.run());
  fs::remove_all(job.tree / "t/d");
  job.info.bMoveFileTrash = false;
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 0U);
  EXPECT_EQ(readFile(job.tree / "s/d/.hidden"), "text 2");
  EXPECT_EQ(readFile(job.tree / "t/d/carried"), "text 1");
}

TEST_F(TwoWayDeletion, WithListsThatAreDamagedOrGone_IsNone) {
  put("s/a", "text 1");
  put("s/b", "text 2");
  ASSERT_TRUE(job.run());
  for (const char* list : {"s/.lumiskFileList", "t/.lumiskFileList"})
    for (const char* damage : {"", "<plist", "<plist version=\"1.0\"><dict/></plist>", "gone"}) {
      ASSERT_TRUE(job.run());
      if (damage == std::string("gone"))
        fs::remove(job.tree / list);
      else
        writeFile(job.tree / list, damage);
      fs::remove(job.tree / "t/a");
      ASSERT_TRUE(job.run()) << job.log;
      EXPECT_EQ(job.side("s").size(), 2U) << list << " " << damage;
      EXPECT_EQ(job.side("t"), job.side("s"));
    }
}

// The other job's lists stand in the shared source: they say nothing about this job's target.
TEST_F(TwoWayDeletion, ByTheListOfAnotherJobOfTheSameSource_IsNone) {
  put("s/a", "text 1");
  ASSERT_TRUE(job.run());
  fs::create_directory(job.tree / "u");
  put("s/new", "text 2");
  ASSERT_TRUE(job.run());
  job.info.uuidString = "other";
  job.info.targetPaths = {job.tree / "u"};
  const std::string target = job.tree / "u";
  const std::string source = job.tree / "s";
  // Its target is empty and it believes that it has completed a run before.
  fs::rename(job.tree / "t", job.tree / "first");
  fs::rename(target, job.tree / "t");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 0U);
  EXPECT_EQ(job.side("t").size(), 2U);
}

TEST_F(TwoWayDeletion, BeyondTheBrake_IsHeldUntilLetThrough) {
  for (int i = 0; i < 30; ++i) put("s/f" + std::to_string(i), "text " + std::to_string(i));
  ASSERT_TRUE(job.run());
  for (int i = 0; i < 25; ++i) fs::remove(job.tree / ("t/f" + std::to_string(i)));
  put("s/new", "text new");
  job.brake.isReleased = false;
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.held, 25U);
  EXPECT_EQ(job.counts.deleted, 0U);
  EXPECT_EQ(job.side("s").size(), 31U);
  EXPECT_TRUE(exists(job.tree / "t/new"));
  job.brake.isReleased = true;
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 25U);
  EXPECT_EQ(job.side("s"), job.side("t"));
}

// What comes into a folder after the proof is no part of it.
TEST(TwoWayFolderDeletion, OfAFolderThatIsFilledMeanwhile_TakesOnlyWhatWasProven) {
  for (const std::string late : {"", "added", "inner", "other"}) {
    TwoWayJob job(JobType::kSyncWithConflicts, ConflictChoice::kNewerWins);
    makeTree(job.tree / "s",
             {{"d", Dir{{"a", File{"text 1", 0644, 1000}}, {"e", Dir{{"inner", File{"text 2", 0644, 1000}}}}}}});
    fs::create_hard_link(job.tree / "s/d/a", job.tree / "s/d/e/other");
    job.info.bMoveFileTrash = false;
    ASSERT_TRUE(job.run());
    fs::remove_all(job.tree / "t/d");
    job.prepare = [&](FaultyFileCalls& files) {
      if (late.empty()) return;
      files.before(FileCall::kRemoveFile, [&] { writeFile(job.tree / "s/d/e/" + late, "text late"); }, {.name = "a"});
    };
    EXPECT_EQ(job.run(), late.empty()) << job.log;
    EXPECT_EQ(job.side("s").empty(), late.empty()) << show(job.side("s"));
    job.prepare = nullptr;
    ASSERT_TRUE(job.run()) << job.log;
    if (!late.empty()) {
      EXPECT_EQ(job.side("s")["/d/e/" + late], "text late");
    }
    EXPECT_EQ(job.side("t"), job.side("s"));
  }
}

// The home trash is known by what it is: a side may hold a copy of it from before, or be told to delete all around it.
TEST_F(TwoWayDeletion, AroundTheHomeTrash_LeavesItAlone) {
  put("s/.local/share/Trash/files/f", "text 1");
  put("s/work/Trash/f", "text 2");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.side("t"), job.side("s"));
  put("t/.local/share/Trash/files/g", "text 3");
  const OwnHome home(job.tree / "s");
  ASSERT_TRUE(job.run()) << job.log;
  EXPECT_FALSE(exists(job.tree / "s/.local/share/Trash/files/g"));
  fs::remove_all(job.tree / "t/.local");
  fs::remove_all(job.tree / "t/work/Trash");
  job.info.bMoveFileTrash = false;
  ASSERT_TRUE(job.run()) << job.log;
  EXPECT_EQ(readFile(job.tree / "s/.local/share/Trash/files/f"), "text 1");
  EXPECT_FALSE(exists(job.tree / "s/work/Trash"));
  EXPECT_FALSE(exists(job.tree / "t/.local/share/Trash"));
}

// What a list would have told is not guessed: neither does the deletion come back nor is anything else done about it.
TEST_F(TwoWayDeletion, BesideAListOrFlagThatCannotBeRead_WaitsForTheNextRun) {
  fs::create_directories(job.tree / "s/d");
  for (const char* path : {"s/gone", "s/edited", "s/d/inner"}) put(path, "text 1");
  const std::string list = ".lumiskFileList", flag = ".lumiskFolderFlagPlist";
  ASSERT_TRUE(job.run());
  const auto runWhile = [&](const std::string& name, int nth, int times) {
    job.prepare = [=](FaultyFileCalls& files) {
      files.fail(FileCall::kOpenFile, EIO, {.name = name, .nth = nth, .times = times});
    };
    EXPECT_FALSE(job.run()) << name << " " << nth << "\n" << job.log;
  };
  fs::remove(job.tree / "t/gone");
  put("s/edited", "text 2");
  setModified(job.tree / "s/edited", 1'200'000'000);
  for (const int nth : {1, 2}) runWhile(list, nth, FaultyFileCalls::kAlways);
  EXPECT_EQ(readFile(job.tree / "t/edited"), "text 1");
  EXPECT_EQ(job.side("s").size() - job.side("t").size(), 1U) << job.log;
  fs::remove_all(job.tree / "t/d");
  runWhile(flag, 2, FaultyFileCalls::kAlways);
  for (const int nth : {1, 2, 3, 4}) runWhile(list, nth, 1);
  EXPECT_FALSE(exists(job.tree / "t/gone") || exists(job.tree / "t/d"));
  job.prepare = nullptr;
  ASSERT_TRUE(job.run()) << job.log;
  EXPECT_EQ(job.side("s"), (std::map<std::string, std::string>{{"/edited", "text 2"}}));
  EXPECT_EQ(job.side("t"), job.side("s"));
}

TEST_F(TwoWayDeletion, ByASideWhoseDiskDoesNotAnswer_IsNone) {
  put("s/d/a", "text 1");
  ASSERT_TRUE(job.run());
  fs::remove(job.tree / "s/d/a");
  job.prepare = [](FaultyFileCalls& files) { files.fail(FileCall::kCheckDisk, EIO); };
  EXPECT_FALSE(job.run()) << job.log;
  EXPECT_TRUE(exists(job.tree / "t/d/a"));
  job.prepare = nullptr;
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 1U);
}

TEST_F(TwoWayDeletion, MountThatGoesBetweenTheWalks_IsNotFilled) {
  fs::create_directory(job.tree / "s/m");
  const std::string mount = job.tree / "s/m";
  if (!runQuietly("mount -t tmpfs -o size=1M none '" + mount + "'")) GTEST_SKIP() << "nothing can be mounted here";
  put("s/m/a", "text 1");
  put("s/z", "text 2");
  put("t/m/b", "text 3");
  job.prepare = [&](FaultyFileCalls& files) {
    files.before(FileCall::kRename, [&] { runQuietly("umount -l '" + mount + "'"); }, {.name = "z"});
  };
  EXPECT_FALSE(job.run()) << job.log;
  EXPECT_TRUE(fs::is_empty(mount));
  EXPECT_TRUE(exists(job.tree / "t/m/a"));
}

// Where the file system knows neither hard links nor exchanges the loser of a conflict is moved away first. A crash
// right after that leaves a winner whose counterpart is missing, which nobody has deleted.
TEST_F(TwoWayDeletion, OfALoserThatWasMovedAwayBeforeACrash_IsNone) {
  for (const ConflictChoice choice : {ConflictChoice::kSourceWins, ConflictChoice::kTargetWins}) {
    job.info.fileConflictType = choice;
    job.info.bMoveFileTrash = false;
    const bool sourceWins = choice == ConflictChoice::kSourceWins;
    const std::string winner = sourceWins ? "s/f" : "t/f";
    const std::string loser = sourceWins ? "t/f" : "s/f";
    put("s/f", "text 1");
    ASSERT_TRUE(job.run());
    put(loser, "text 2");
    setModified(job.tree / loser, 1'200'000'000);
    job.prepare = [&](FaultyFileCalls& files) {
      files.fail(FileCall::kLink, EPERM, {.times = FaultyFileCalls::kAlways});
      files.fail(FileCall::kExchange, EINVAL, {.times = FaultyFileCalls::kAlways});
      files.before(FileCall::kRename,
                   [&files] { files.fail(FileCall::kAny, EIO, {.nth = 1, .times = FaultyFileCalls::kAlways}); },
                   {.name = "f"});
    };
    EXPECT_FALSE(job.run());
    EXPECT_FALSE(exists(job.tree / loser)) << job.log << "the crash came at another step";
    job.prepare = nullptr;
    ASSERT_TRUE(job.run()) << job.log;
    EXPECT_EQ(job.counts.deleted, 0U);
    EXPECT_TRUE(exists(job.tree / winner) && readFile(job.tree / winner) == "text 1") << winner;
    for (const char* side : {"s/f", "t/f"}) fs::remove(job.tree / side);
    ASSERT_TRUE(job.run());
  }
}

// What was swapped between the walk there and the walk back is not the folder that the run began with.
TEST_F(TwoWayDeletion, SideThatIsSwappedBetweenTheWalks_ReceivesNothing) {
  put("s/a", "text 1");
  put("t/b", "text 2");
  job.prepare = [&](FaultyFileCalls& files) {
    files.before(FileCall::kRename,
                 [&] {
                   fs::rename(job.tree / "s", job.tree / "pulled");
                   fs::create_directory(job.tree / "s");
                 },
                 {.name = "a"});
  };
  EXPECT_FALSE(job.run()) << job.log;
  EXPECT_TRUE(fs::is_empty(job.tree / "s"));
}

TEST_F(TwoWayDeletion, RenamedFolder_IsRenamedThereWithOnePass) {
  fs::create_directories(job.tree / "s/old/deep");
  put("s/old/a", "text 1");
  put("s/old/deep/b", "text 2");
  ASSERT_TRUE(job.run());
  fs::rename(job.tree / "s/old", job.tree / "s/new");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.copied, 0U) << job.log;
  EXPECT_EQ(job.counts.deleted, 0U);
  EXPECT_EQ(job.side("t"), job.side("s"));
  EXPECT_TRUE(exists(job.tree / "t/new/deep/b"));
  // The lists moved along: a deletion below the new name is still proven.
  fs::remove(job.tree / "t/new/deep/b");
  ASSERT_TRUE(job.run());
  EXPECT_EQ(job.counts.deleted, 1U);
  // A copy of a folder with its flag is a new folder, not a renamed one.
  fs::copy(job.tree / "s/new", job.tree / "s/copy", fs::copy_options::recursive);
  ASSERT_TRUE(job.run());
  EXPECT_TRUE(exists(job.tree / "t/new/a"));
  EXPECT_TRUE(exists(job.tree / "t/copy/a"));
  EXPECT_EQ(job.counts.deleted, 0U);
}

}  // namespace
}  // namespace lumisk::test
