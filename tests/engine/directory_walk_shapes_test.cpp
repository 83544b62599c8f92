// Trees of odd shapes: deep, wide, with several names for a file, protected, and with their roots in odd places.

#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <mutex>

#include "engine/hard_link_map.h"
#include "engine/walk_fixture.h"
#include "support/folding_file_calls.h"
#include "support/mounted_volume.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

class WalkShapesTest : public WalkFixture {};
INSTANTIATE_TEST_SUITE_P(Pace, WalkShapesTest, ::testing::Values(PaceKind::kFull), walkPaceName);

class LoweredLimit {
 public:
  explicit LoweredLimit(rlim_t files) {
    getrlimit(RLIMIT_NOFILE, &before_);
    const rlimit lowered{files, before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &lowered);
  }
  ~LoweredLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_{};
};

TEST_P(WalkShapesTest, TreeDeeperThanPathsAndDescriptorsReach_IsCarriedWhole) {
  constexpr int kDepth = 5000;
  constexpr int kEvery = 20;  // levels have a file that comes after the folder
  const MountedVolume fast("tmpfs", 256);
  const std::string top = fast.isMounted() ? fast.path() : tree.path();
  fs::create_directories(top + "/s");
  fs::create_directories(top + "/t");
  FileCalls& real = realFileCalls();
  Descriptor at = std::move(*real.openRoot(top + "/s"));
  for (int i = 0; i < kDepth; ++i) {
    ASSERT_TRUE(real.makeFolder(at.get(), "folder", 0750));
    if (i % kEvery == 0) {
      ASSERT_TRUE(real.createFile(at.get(), "later", 0640)) << i;
    }
    at = std::move(*real.openFolder(at.get(), "folder"));
  }
  {
    const LoweredLimit limit(256);
    const Ran ran = backUp(top + "/s", top + "/t/s", [](RunFixture& fixture) { fixture.run.onEntry = {}; });
    EXPECT_EQ(ran.counts.errors, 0u) << ran.log.substr(0, 2000);
    EXPECT_EQ(ran.counts.copied, static_cast<std::uint64_t>(kDepth / kEvery));
    EXPECT_EQ(ran.m_nFileCount, 6u);
  }
  at = std::move(*real.openRoot(top + "/t/s"));
  for (int i = 0; i < kDepth; ++i) {
    if (i % kEvery == 0) {
      ASSERT_TRUE(real.status(at.get(), "later")) << i;
    }
    at = std::move(*real.openFolder(at.get(), "folder"));
    ASSERT_EQ(real.statusOf(at.get())->mode, 0750u) << i;
  }
  if (!fast.isMounted()) runQuietly("rm -rf '" + top + "/s' '" + top + "/t'");
}

// Several names for a file.

std::uint64_t inodeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_ino;
}

TEST_P(WalkShapesTest, HardLinks_StayHardLinks) {
  makeTree(tree / "s", {{"a", File{"one", 0644, 1000}}, {"d", Dir{{"e", Dir{}}}}, {"z", File{"two", 0644, 1000}}});
  fs::create_hard_link(tree / "s/a", tree / "s/d/b");
  fs::create_hard_link(tree / "s/a", tree / "s/d/e/c");
  Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.counts.copied, 4u);
  EXPECT_EQ(ran.counts.bytes, 6u);
  for (const char* name : {"t/s/d/b", "t/s/d/e/c"}) EXPECT_EQ(inodeOf(tree / name), inodeOf(tree / "t/s/a"));
  EXPECT_NE(inodeOf(tree / "t/s/z"), inodeOf(tree / "t/s/a"));

  const int before = writingCalls();
  EXPECT_EQ(backUp().counts.copied, 0u);
  EXPECT_EQ(writingCalls(), before);

  // A change arrives under all names; a further name is one of the file that stands there.
  makeTree(tree / "s", {{"a2", File{"changed", 0644, 2000}}});
  for (const char* name : {"s/a", "s/d/b", "s/d/e/c"}) {
    fs::remove(tree / name);
    fs::create_hard_link(tree / "s/a2", tree / name);
  }
  fs::create_hard_link(tree / "s/z", tree / "s/z2");
  backUp();
  ExpectSameTrees(tree / "s", tree / "t/s");
  for (const char* name : {"t/s/a2", "t/s/d/b", "t/s/d/e/c"}) EXPECT_EQ(inodeOf(tree / name), inodeOf(tree / "t/s/a"));
  EXPECT_EQ(inodeOf(tree / "t/s/z"), inodeOf(tree / "t/s/z2"));
}

// Its first name stands at the target with something newer, which is left alone and is no copy of the file.
TEST_P(WalkShapesTest, HardLinkOfAFileThatIsNewerThere_IsCopied) {
  makeTree(tree / "s", {{"a", File{"ours"}}});
  std::filesystem::create_hard_link(tree / "s/a", tree / "s/b");
  setModified(tree / "s/a", 1'000'000'000);
  makeTree(tree / "t", {{"s", Dir{{"a", File{"theirs"}}}}});
  setModified(tree / "t/s/a", 1'100'000'000);
  backUp();
  EXPECT_EQ(readFile(tree / "t/s/a"), "theirs");
  EXPECT_EQ(readFile(tree / "t/s/b"), "ours");
}

TEST_P(WalkShapesTest, HardLinkThatTheTargetCannotMake_IsAFileOfItsOwn) {
  makeTree(tree / "s", {{"a", File{"text", 0644, 1000}}});
  fs::create_hard_link(tree / "s/a", tree / "s/b");
  files.fail(FileCall::kLink, EDQUOT, {.times = FaultyFileCalls::kAlways});
  const Ran ran = backUp();
  EXPECT_EQ(ran.counts.errors, 0u);
  EXPECT_EQ(ran.code, RunError::kNone) << "the file was copied after all";
  EXPECT_NE(inodeOf(tree / "t/s/a"), inodeOf(tree / "t/s/b"));
  ExpectSameTrees(tree / "s", tree / "t/s");
}

TEST(HardLinkMap, FurtherNames_AreFoundUntilAllWereMetOrTheFileIsAnother) {
  HardLinkMap map;
  FileStatus source;
  source.identity = {1, 2};
  source.links = 3;
  source.modified = {1000, 0};
  const HardLinkMap::Copy copy{"/t", "d", "a", {3, 4}};
  EXPECT_FALSE(map.find(source));
  map.met(source, copy);
  ASSERT_TRUE(map.find(source));
  EXPECT_EQ(map.find(source)->folder, "d");
  FileStatus reused = source;
  reused.modified = {1001, 0};
  EXPECT_FALSE(map.find(reused));
  map.met(source, {"/t", "e", "b", {3, 4}});
  EXPECT_EQ(map.find(source)->name, "a");
  map.met(source, {"/t", "e", "c", {3, 4}});
  EXPECT_FALSE(map.find(source));
}

// Protected folders.

// In a process of its own that is not root; whether all that it expected held.
bool holdsAsOrdinaryUser(const std::function<void()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    if (geteuid() == 0 && (setgid(kNobody) != 0 || setuid(kNobody) != 0)) _exit(2);
    body();
    _exit(::testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST_P(WalkShapesTest, FoldersThatTheirOwnerMayNotWriteTo_AreCarriedAndFollowed) {
  makeTree(tree / "s", {{"ro", Dir{{"x", File{"old", 0644, 1000}}, {"in", Dir{{"y", File{"y", 0444, 1000}}}}}}});
  for (const char* name : {"s/ro/in", "s/ro"}) ASSERT_EQ(chmod((tree / name).c_str(), 0555), 0);
  ASSERT_EQ(chmod(tree.path().c_str(), 0755), 0);
  if (geteuid() == 0) {
    ASSERT_TRUE(runQuietly("chown -R 65534:65534 '" + tree.path() + "'"));
  }
  EXPECT_TRUE(holdsAsOrdinaryUser([&] {
    Ran ran = backUp();
    EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
    ExpectSameTrees(tree / "s", tree / "t/s");
    // Unchanged: not touched. Changed: opened for the while, and protected again.
    const int before = writingCalls();
    backUp();
    EXPECT_EQ(writingCalls(), before);
    for (const char* name : {"s/ro/in", "s/ro"}) chmod((tree / name).c_str(), 0755);
    makeTree(tree / "s/ro", {{"x", File{"new", 0644, 2000}}, {"more", Dir{}}});
    makeTree(tree / "s/ro/in", {{"l", Link{"y"}}});
    for (const char* name : {"s/ro/in", "s/ro"}) chmod((tree / name).c_str(), 0555);
    ran = backUp();
    EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
    ExpectSameTrees(tree / "s", tree / "t/s");
    for (const char* name : {"s/ro/in", "s/ro", "t/s/ro/in", "t/s/ro"}) chmod((tree / name).c_str(), 0755);
  }));
}

// The permissions that each of t/s/a to e had when the first entry was made in it.
std::map<std::string, std::uint32_t> modesWhileFilled(FaultyFileCalls& files, const TempTree& tree,
                                                      const std::function<void()>& backUp) {
  std::map<std::string, std::uint32_t> modes;
  std::mutex lock;
  files.before(FileCall::kCreateFile,
               [&] {
                 const std::lock_guard guard(lock);
                 for (const std::string name : {"a", "b", "c", "d", "e"}) {
                   const std::string file = tree / ("t/s/" + name);
                   struct stat status {};
                   if (stat(file.c_str(), &status) == 0) modes.emplace(name, status.st_mode & 0777);
                 }
               },
               {.times = FaultyFileCalls::kAlways});
  backUp();
  return modes;
}

void makeOpenFolders(const TempTree& tree) {
  makeTree(tree / "s", {{"a", Dir{{"x", File{"x", 0644}}}},
                        {"b", Dir{{"x", File{"x", 0644}}}},
                        {"c", Dir{{"x", File{"x", 0644}}}},
                        {"d", Dir{{"x", File{"x", 0644}}}},
                        {"e", Dir{{"x", File{"x", 0644}}}}});
  for (const char* name : {"s/a", "s/b", "s/c", "s/d", "s/e"}) ASSERT_EQ(chmod((tree / name).c_str(), 0755), 0);
}

TEST_P(WalkShapesTest, NewFolder_IsPrivateUnlessItIsLikeItsNeighboursWhoseOwnerIsKnown) {
  makeOpenFolders(tree);
  ASSERT_EQ(setxattr((tree / "s/d").c_str(), "user.tag", "red", 3, 0), 0);
  ASSERT_EQ(chmod((tree / "s/e").c_str(), 0775), 0);
  const bool isRoot = geteuid() == 0;
  if (isRoot) {
    ASSERT_EQ(chown((tree / "s/c").c_str(), 12345, 12345), 0);
  }
  const auto modes = modesWhileFilled(files, tree, [&] { backUp(); });
  EXPECT_EQ(modes.at("a"), 0700u);
  EXPECT_EQ(modes.at("b"), 0755u);
  EXPECT_EQ(modes.at("c"), isRoot ? 0700u : 0755u);
  EXPECT_EQ(modes.at("d"), 0700u);
  EXPECT_EQ(modes.at("e"), 0700u);
  ExpectSameTrees(tree / "s", tree / "t/s");
}

TEST_P(WalkShapesTest, FolderThatGetsAnotherGroupThanItsNeighbours_IsPrivateAtOnce) {
  if (geteuid() != 0) GTEST_SKIP() << "needs a second group";
  makeOpenFolders(tree);
  const auto giveGroup = [&] {
    ASSERT_EQ(chown((tree / "t/s").c_str(), 0, 12345), 0);
    ASSERT_EQ(chmod((tree / "t/s").c_str(), 02755), 0);
  };
  files.before(FileCall::kMakeFolder, giveGroup, {.name = "b"});
  const auto modes = modesWhileFilled(files, tree, [&] { backUp(); });
  EXPECT_EQ(modes.at("b"), 0700u);
  ExpectSameTrees(tree / "s", tree / "t/s");
}

// Roots.

TEST_P(WalkShapesTest, RootThatIsNoFolder_IsOneEntryOfItsParent) {
  makeTree(tree / "s", {{"a", File{"a", 0644, 1000}}, {"b", File{"b"}}, {"l", Link{"a"}}, {"n", Link{"nowhere"}}});
  setModified(tree / "t", 500);
  const auto asRoots = [&](RunFixture& fixture) { fixture.info.sourcePaths = {tree / "s/a"}; };
  for (const char* name : {"a", "l", "n"}) {
    const Ran ran = backUp(tree / ("s/" + std::string(name)), tree / ("t/" + std::string(name)), asRoots);
    EXPECT_TRUE(ran.walked);
    EXPECT_EQ(ran.m_nFileCount, 1u);
  }
  ExpectTreeExactly(tree / "t", {{"a", File{"a", 0644, 1000}}, {"l", Link{"a"}}, {"n", Link{"nowhere"}}});
  // Into a target itself, by its name.
  EXPECT_TRUE(backUp(tree / "s/b", tree / "t", asRoots).walked);
  EXPECT_EQ(readFile(tree / "t/b"), "b");
}

TEST_P(WalkShapesTest, RootsThatAreLinks_AreFollowedWhereTheUserNamedThem) {
  makeTree(tree / "s", {{"a", File{"a"}}});
  makeTree(tree.path(), {{"to-s", Link{"s"}}, {"real", Dir{}}, {"to-real", Link{"real"}}, {"outside", Dir{}}});
  EXPECT_TRUE(backUp(tree / "to-s", tree / "to-real", [&](RunFixture& fixture) {
                fixture.info.targetPaths = {tree / "to-real/"};
              }).walked);
  EXPECT_EQ(readFile(tree / "real/a"), "a");
  // A link inside the target is not: it is replaced.
  makeTree(tree / "t", {{"s", Link{"../outside"}}});
  EXPECT_TRUE(backUp().walked);
  ExpectSameTrees(tree / "s", tree / "t/s");
  EXPECT_TRUE(listing(tree / "outside").empty());
}

TEST_P(WalkShapesTest, RootsThatCannotBeWalked_AreRefused) {
  EXPECT_FALSE(backUp(tree / "none", tree / "t/none").walked);
  EXPECT_EQ(backUp(tree / "none", tree / "t/none").counts.errors, 1u);
  EXPECT_FALSE(backUp(tree / "s", tree / "none/s").walked);
  EXPECT_EQ(backUp(tree / "s", tree / "none/s").code, RunError::kDirectoryCreation);
  EXPECT_FALSE(backUp(tree / "s", tree / "s").walked);
  EXPECT_FALSE(backUp("/proc", tree / "t/proc").walked);
  for (const char* volumes : {"/Volumes", "//Volumes"}) {
    const Ran ran = backUp(volumes, tree / "t/Volumes");
    EXPECT_FALSE(ran.walked);
    EXPECT_EQ(ran.counts.errors, 0u);
  }
  EXPECT_TRUE(listing(tree / "t").empty());
}

TEST_P(WalkShapesTest, TargetInsideTheSource_IsLeftOut) {
  makeTree(tree / "s", {{"a", File{"a"}}, {"d", Dir{{"target", Dir{{"old", File{"old"}}}}}}});
  const std::string target = tree / "s/d/target";
  for (int run = 0; run < 2; ++run) {
    const Ran ran =
        backUp(tree / "s", target + "/s", [&](RunFixture& fixture) { fixture.info.targetPaths = {target}; });
    EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
    EXPECT_EQ(ran.reasons.at("s/d/target"), "a target of this job");
  }
  ExpectTreeExactly(target, {{"old", File{"old"}}, {"s", Dir{{"a", File{"a"}}, {"d", Dir{}}}}});
}

TEST_P(WalkShapesTest, PseudoFileSystemBelowTheSource_IsLeftOut) {
  makeTree(tree / "s", {{"proc", Dir{}}, {"z", File{"z"}}});
  if (mount("proc", (tree / "s/proc").c_str(), "proc", 0, nullptr) != 0) GTEST_SKIP() << "cannot mount here";
  const Ran ran = backUp();
  umount((tree / "s/proc").c_str());
  EXPECT_EQ(ran.counts.errors, 0u) << ran.log;
  EXPECT_EQ(ran.outcomes.at("s/proc"), EntryOutcome::kSkipped);
  ExpectTreeExactly(tree / "t/s", {{"z", File{"z"}}});
}

TEST_P(WalkShapesTest, SourcesWhoseNamesBecomeOne_TheSecondIsRefused) {
  makeTree(tree.path(), {{"a", Dir{{"Photos", Dir{{"x", File{"x"}}}}}}, {"b", Dir{{"photos", Dir{{"y", File{"y"}}}}}}});
  FoldingFileCalls folding;
  calls = &folding;
  const auto both = [&](RunFixture& fixture) { fixture.info.sourcePaths = {tree / "a/Photos", tree / "b/photos"}; };
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(backUp(tree / "a/Photos", tree / "t/Photos", both).counts.errors, 0u);
    EXPECT_FALSE(backUp(tree / "b/photos", tree / "t/photos", both).walked);
    ExpectTreeExactly(tree / "t", {{"Photos", Dir{{"x", File{"x"}}}}});
  }
}

// The numbers and folders beside the walk.

TEST_P(WalkShapesTest, CalculateDirectoryNumbers_CountsDownToTheLayer) {
  makeTree(tree / "s",
           {{"a", File{"x"}}, {"d", Dir{{"b", File{"x"}}, {"e", Dir{{"c", File{"x"}}}}}}, {"l", Link{"d"}}});
  RunFixture fixture(PaceKind::kFull, files);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, tree / "s", 5), 6u);
  EXPECT_EQ(fixture.run.m_nFileCount, 6u);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, tree / "s", 2), 5u);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, tree / "s", 1), 3u);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, tree / "s/a", 5), 1u);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, "/Volumes", 5), 0u);
  EXPECT_EQ(calculateDirectoryNumbers(fixture.run, "//Volumes", 5), 0u);
}

TEST_P(WalkShapesTest, CreateDirectoryAtPath_MakesAncestorsButNoVolumes) {
  makeTree(tree.path(), {{"file", File{"x"}}});
  EXPECT_TRUE(createDirectoryAtPath(files, tree / "a/b/c"));
  EXPECT_TRUE(createDirectoryAtPath(files, tree / "a/b/c"));
  EXPECT_FALSE(createDirectoryAtPath(files, tree / "file/b"));
  EXPECT_FALSE(createDirectoryAtPath(files, "/Volumes/none/a"));
  EXPECT_FALSE(exists("/Volumes/none"));
  files.fail(FileCall::kMakeFolder, EACCES, {.name = "d"});
  EXPECT_FALSE(createDirectoryAtPath(files, tree / "a/d/e"));
}

}  // namespace
}  // namespace lumisk::test
