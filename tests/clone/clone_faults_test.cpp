#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <random>

#include "clone/unfinished_mark.h"
#include "clone_fixture.h"
#include "support/faulty_file_calls.h"

namespace lumisk::test {
namespace {

using End = CloneReport::End;

class CloneFaults : public ::testing::Test {
 protected:
  CloneFaults() : source("ext4", 64), target("ext4", 64) {}
  void SetUp() override {
    if (!source.isMounted() || !target.isMounted()) GTEST_SKIP() << source.problem() << target.problem();
    order = orderFor(source.path(), target.path());
  }
  CloneReport clone() {
    observer.lines.clear();
    return cloneVolume(files, order, observer);
  }
  void expectExact() {
    files.forgetRules();
    const CloneReport report = clone();
    EXPECT_EQ(report.end, End::kFinished) << report.reason << " " << ::testing::PrintToString(observer.lines);
    EXPECT_EQ(differencesByRsync(source.path(), target.path()), "");
    EXPECT_FALSE(hasMark());
  }
  // As after a power cut: "a" has its size and date, and not its bytes.
  void cloneAndCutThePower() {
    makeTree(source.path(), {{"a", File{"right", 0644, 1000}}, {"b", File{"other", 0644, 1000}}});
    ASSERT_EQ(clone().end, End::kFinished);
    ASSERT_TRUE(runQuietly("sleep 0.02; setfattr -n trusted.lumisk.clone -v $(date +%s.0) '" + target.path() + "'"));
    makeTree(target.path(), {{"a", File{"wrong", 0644, 1000}}});
  }
  [[nodiscard]] bool hasMark() const { return runQuietly("getfattr -n trusted.lumisk.clone '" + target.path() + "'"); }

  MountedVolume source, target;
  FaultyFileCalls files;
  CloneOrder order;
  RecordingObserver observer;
};

TEST_F(CloneFaults, FolderThatCannotBeListed_LosesNothingAtTheTarget) {
  makeTree(source.path(), {{"bad", Dir{{"new", File{"n"}}}}, {"good", Dir{{"new", File{"n"}}}}});
  makeTree(target.path(), {{"bad", Dir{{"old", File{"o"}}}}, {"good", Dir{{"old", File{"o"}}}}});
  files.fail(FileCall::kListFolder, EIO, {.name = "bad"});
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_EQ(report.failures, 1U);
  EXPECT_TRUE(observer.hasSaid("bad: "));
  EXPECT_TRUE(exists(target / "bad/old"));
  EXPECT_EQ(listing(target / "good"), std::vector<std::string>{"new"});
  expectExact();
}

TEST_F(CloneFaults, RootThatCannotBeListed_LosesNothingAtTheTarget) {
  makeTree(target.path(), {{"kept", File{"k"}}});
  files.fail(FileCall::kListFolder, EIO);
  EXPECT_EQ(clone().end, End::kFailed);
  EXPECT_EQ(readFile(target / "kept"), "k");
}

TEST_F(CloneFaults, EntriesThatFail_AreToldAndTheOthersCarried) {
  makeTree(source.path(), {{"a", File{"new a"}}, {"b", File{"b"}}, {"c", Link{"x"}}, {"d", Dir{{"e", File{"e"}}}}});
  makeTree(target.path(), {{"a", File{"old"}}});
  files.fail(FileCall::kWrite, EIO, {.name = ".lumisk-*"});
  files.fail(FileCall::kOpenFolder, EACCES, {.name = "d"});
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_EQ(report.failures, 2U) << ::testing::PrintToString(observer.lines);
  EXPECT_EQ(readFile(target / "a"), "old") << "the earlier version survives";
  EXPECT_EQ(readFile(target / "b"), "b");
  EXPECT_EQ(listing(target.path()), (std::vector<std::string>{"a", "b", "c", "lost+found"}));
  expectExact();
}

TEST_F(CloneFaults, DataThatDoNotReachTheDisk_AreAFailureAndLeaveTheMark) {
  makeTree(source.path(), {{"a", File{"a"}}});
  files.fail(FileCall::kSyncFileSystem, EIO);
  EXPECT_EQ(clone().end, End::kFailed);
  EXPECT_TRUE(hasMark());
  expectExact();
}

TEST_F(CloneFaults, FileWithoutItsBytesAfterACrash_IsFoundByTheMark) {
  cloneAndCutThePower();
  const CloneReport report = clone();
  EXPECT_EQ(report.copied, 1U);
  EXPECT_EQ(readFile(target / "a"), "right");
  expectExact();
}

TEST_F(CloneFaults, DoubtThatACloneWithFailuresCouldNotSettle_IsLeftToTheNext) {
  cloneAndCutThePower();
  files.fail(FileCall::kOpenFile, EIO, {.name = "a"});
  EXPECT_EQ(clone().end, End::kFailed);
  expectExact();
  EXPECT_EQ(readFile(target / "a"), "right");
}

// Some file systems (vfat, iso9660) show empty folders without an error when their disk has been pulled out.
TEST_F(CloneFaults, SourceThatHasGone_IsNotTakenForAnEmptyOne) {
  makeTree(source.path(), {{"d", Dir{{"file", File{"f"}}}}, {"e", File{"e"}}});
  makeTree(target.path(), {{"d", Dir{{"file", File{"f"}}}}});
  files.before(FileCall::kListFolder,
               [&] {
                 runQuietly("rm -rf '" + source / "d/file" + "' '" + source / "e" + "'; : > $(losetup -nO BACK-FILE " +
                            deviceOf(source.path()) + ")");
               },
               {.name = "d"});
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_EQ(report.removed, 0U) << ::testing::PrintToString(observer.lines);
  EXPECT_TRUE(exists(target / "d/file"));
}

TEST(CloneOfSubvolumes, Subvolume_IsNoSilentGap) {
  const MountedVolume source("btrfs", 128), target("btrfs", 128);
  if (!source.isMounted() || !target.isMounted()) GTEST_SKIP() << source.problem() << target.problem();
  ASSERT_TRUE(runQuietly("btrfs subvolume create '" + source / "home" + "' && echo h > '" + source / "home/h" + "'"));
  RecordingObserver observer;
  const CloneReport report = cloneVolume(realFileCalls(), orderFor(source.path(), target.path()), observer);
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_TRUE(observer.hasSaid("home: a subvolume"));
}

TEST_F(CloneFaults, CancelAnywhere_EndsSoonAndTheNextCloneFinishes) {
  ASSERT_TRUE(runQuietly("cd '" + source.path() + "' && mkdir -p d/e && for i in $(seq 40); do echo $i > d/e/$i; done" +
                         " && head -c 5000000 /dev/urandom > big"));
  const auto isCancelledAt = [&](const std::function<bool()>& moment) {
    observer.last = {};
    observer.cancelWhen = moment;
    EXPECT_FALSE(hasMark());
    return clone();
  };
  const CloneReport inFile = isCancelledAt([&] { return observer.last.bytes > 0; });
  EXPECT_EQ(inFile.end, End::kCancelled);
  EXPECT_LE(inFile.bytes, 256U * 1024) << "one chunk";
  EXPECT_FALSE(exists(target / "big"));
  for (const std::uint64_t at : {1, 3, 10, 25}) {
    const CloneReport report = isCancelledAt([&] { return observer.last.entries >= at; });
    EXPECT_EQ(report.end, End::kCancelled);
    EXPECT_LE(report.entries, at);
  }
  observer.cancelWhen = nullptr;
  expectExact();
}

TEST_F(CloneFaults, KilledAnywhere_TheNextCloneFinishes) {
  ASSERT_TRUE(runQuietly("cd '" + source.path() + "' && cp -a /usr/share/zoneinfo . && ln zoneinfo/UTC hard" +
                         " && mkdir -p x/y && for i in $(seq 200); do echo $i > x/y/$i; done"));
  std::mt19937 random(1);
  for (int round = 0; round < 6; ++round) {
    ASSERT_TRUE(runQuietly("cd '" + source.path() + "' && date +%N > x/y/" + std::to_string(round) +
                           " && mv zoneinfo zoneinfo" + std::to_string(round) + " && mv zoneinfo" +
                           std::to_string(round) + " zoneinfo && rm -rf '" + target.path() + "/x/y'"));
    const std::uint64_t last = random() % 1500;
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      observer.atProgress = [&](const CloneProgress& progress) {
        if (progress.entries >= last) ::raise(SIGKILL);
      };
      (void)cloneVolume(realFileCalls(), order, observer);
      ::_exit(0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
  }
  expectExact();
}

TEST_F(CloneFaults, FullTarget_TakesTheCloneWhenItsExtrasHaveGone) {
  ASSERT_TRUE(runQuietly("head -c 30000000 /dev/urandom > '" + source / "a" + "' && mkdir '" + source / "z" + "'"));
  ASSERT_TRUE(runQuietly("cd '" + target.path() + "' && mkdir z && head -c 30000000 /dev/urandom > z/extra"));
  expectExact();
}

TEST_F(CloneFaults, TargetThatFillsUp_KeepsTheEarlierVersionAndSaysSo) {
  ASSERT_TRUE(runQuietly("head -c 25000000 /dev/urandom > '" + source / "a" + "' && echo b > '" + source / "b" + "'"));
  ASSERT_TRUE(runQuietly("head -c 35000000 /dev/urandom > '" + target / "a" + "'"));
  const std::string earlier = readFile(target / "a");
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_TRUE(observer.hasSaid("No space left"));
  EXPECT_TRUE(readFile(target / "a") == earlier);
  EXPECT_EQ(readFile(target / "b"), "b\n");
  EXPECT_EQ(listing(target.path()), (std::vector<std::string>{"a", "b", "lost+found"}));
}

TEST_F(CloneFaults, VolumeThatIsShutAfterAnError_EndsTheClone) {
  ASSERT_TRUE(runQuietly("cd '" + source.path() + "' && for i in $(seq 100 300); do echo $i > $i; done"));
  files.fail(FileCall::kCreateFile, EROFS, {.nth = 50, .times = FaultyFileCalls::kAlways});
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_EQ(report.entries, 50U);
  EXPECT_NE(report.reason.find("given up"), std::string::npos);
  expectExact();
}

TEST_F(CloneFaults, TargetPulledAway_NothingIsWrittenWhereItWas) {
  ASSERT_TRUE(runQuietly("cp -a /usr/share/zoneinfo '" + source.path() + "'"));
  files.before(FileCall::kMakeFolder, [&] { target.pullAway(); }, {.name = "Asia"});
  (void)clone();
  EXPECT_EQ(listing(target.path()), std::vector<std::string>{});
}

TEST_F(CloneFaults, LinksSwappedInDuringTheWalk_LeadNowhere) {
  const TempTree outside{{"precious", File{"p", 0600}}};
  makeTree(source.path(), {{"d", Dir{{"precious", File{"from the source", 0644}}}}, {"e", Dir{{"f", File{"f"}}}}});
  makeTree(target.path(), {{"d", Dir{}}, {"e", Dir{}}});
  const auto swap = [&](const std::string& folder) {
    ASSERT_TRUE(runQuietly("rm -rf '" + folder + "' && ln -s '" + outside.path() + "' '" + folder + "'"));
  };
  files.before(FileCall::kOpenFolder, [&] { swap(target / "d"); }, {.name = "d", .nth = 2});  // after the source's
  files.before(FileCall::kOpenFolder, [&] { swap(source / "e"); }, {.name = "e"});
  EXPECT_EQ(clone().end, End::kFailed);
  ExpectTreeExactly(outside.path(), Dir{{"precious", File{"p", 0600}}});
  EXPECT_FALSE(exists(target / "e/precious"));
  expectExact();
}

TEST_F(CloneFaults, FileReplacedBetweenLookAndCopy_IsNotMixed) {
  makeTree(source.path(), {{"a", File{"first", 0644, 1000}}});
  files.before(FileCall::kOpenFile, [&] {
    runQuietly("echo second > '" + source / "n" + "' && mv '" + source / "n" + "' '" + source / "a" + "'");
  });
  EXPECT_EQ(clone().end, End::kFailed);
  EXPECT_FALSE(exists(target / "a"));
  expectExact();
}

TEST_F(CloneFaults, FileThatGrowsWhileItIsCopied_IsCopiedAgain) {
  makeTree(source.path(), {{"a", File{"first", 0644, 1000}}});
  files.before(FileCall::kRead, [&] { runQuietly("echo more >> '" + source / "a" + "'"); }, {.name = "a"});
  EXPECT_EQ(clone().end, End::kFinished);
  EXPECT_EQ(differencesByRsync(source.path(), target.path()), "");
  files.before(FileCall::kRead, [&] { runQuietly("echo more >> '" + source / "a" + "'"); },
               {.name = "a", .times = FaultyFileCalls::kAlways});
  writeFile(source / "a", "again");
  EXPECT_EQ(clone().end, End::kFailed);
  expectExact();
}

TEST_F(CloneFaults, VolumeMountedInTheSource_IsLeftOutAndItsPlaceKept) {
  const MountedVolume inner("ext4", 16);
  makeTree(source.path(), {{"m", Dir{}}, {"z", File{"z"}}});
  makeTree(target.path(), {{"m", Dir{{"kept", File{"k"}}}}});
  ASSERT_TRUE(
      runQuietly("echo i > '" + inner / "inside" + "' && mount --bind '" + inner.path() + "' '" + source / "m" + "'"));
  const CloneReport report = clone();
  ::umount2((source / "m").c_str(), MNT_DETACH);
  EXPECT_EQ(report.end, End::kFinished) << report.reason;
  EXPECT_TRUE(observer.hasSaid("m: another file system"));
  EXPECT_EQ(listing(target / "m"), std::vector<std::string>{"kept"});
  EXPECT_TRUE(exists(target / "z"));
}

TEST_F(CloneFaults, DeepTrees_NeedFewDescriptors) {
  for (const std::string& side : {source.path() + "/new", target.path() + "/old"})
    ASSERT_TRUE(runQuietly("p='" + side +
                           "'; i=0; while [ $i -lt 120 ]; do p=$p/d; i=$((i+1)); done; mkdir -p $p && echo f > $p/f"));
  expectExact();
  EXPECT_FALSE(exists(target / "old"));
}

TEST_F(CloneFaults, Verifying_NamesWhatDiffers) {
  makeTree(source.path(), {{"a", File{"right", 0644, 1000}}, {"b", File{"b"}}, {"l", Link{"b"}}});
  ASSERT_EQ(clone().end, End::kFinished);
  makeTree(target.path(), {{"a", File{"wrong", 0644, 1000}}});
  EXPECT_EQ(clone().copied, 0U) << "by size and date they are equal";
  order.verify = true;
  const CloneReport report = clone();
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_EQ(report.differences, 1U);
  EXPECT_TRUE(observer.hasSaid("a: has other contents"));
}

TEST_F(CloneFaults, Permissions_AreRepairedWithoutCopying) {
  makeTree(source.path(), {{"a", File{"a", 0640}}, {"d", Dir{{"b", File{"b"}}}}});
  ASSERT_EQ(clone().end, End::kFinished);
  ASSERT_TRUE(runQuietly("cd '" + target.path() + "' && chmod 4777 a && setfacl -m u:9:rwx d && chown 3:3 d/b"));
  order.repairPermissions = true;
  const CloneReport report = clone();
  EXPECT_EQ(report.repaired, 3U);
  EXPECT_EQ(report.copied, 0U);
  EXPECT_TRUE(observer.hasSaid("d/b: owner, permissions"));
  expectExact();
}

TEST_F(CloneFaults, ExtrasThatAreToStay_Stay) {
  makeTree(source.path(), {{"a", File{"a"}}, {"t", File{"file"}}});
  makeTree(target.path(),
           {{"extra", Dir{{"x", File{"x"}}}}, {"t", Dir{{"y", File{"y"}}}}, {".lumisk-0123456789ab", File{"left"}}});
  order.removesExtras = false;
  EXPECT_EQ(clone().end, End::kFailed) << "a folder with something in it stands in the way";
  EXPECT_EQ(treeListing(target.path()),
            (std::vector<std::string>{"a", "extra/", "extra/x", "lost+found/", "t/", "t/y"}));
}

TEST_F(CloneFaults, Refused_TouchesNothing) {
  makeTree(source.path(), {{"a", File{"a"}}});
  makeTree(target.path(), {{"b", File{"b"}}, {"sub", Dir{}}});
  const auto refuses = [&](const CloneOrder& bad) {
    RecordingObserver quiet;
    const CloneReport report = cloneVolume(files, bad, quiet);
    EXPECT_EQ(report.end, End::kRefused) << report.reason;
    EXPECT_FALSE(report.reason.empty());
    return readFile(target / "b") == "b";
  };
  const auto changed = [&](const std::function<void(CloneOrder&)>& change) {
    CloneOrder bad = order;
    bad.formatVolume = true;
    change(bad);
    return bad;
  };
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.targetPath = target / "sub"; })));
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.targetPath = "/"; })));
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.sourcePath = "/proc"; })));
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.sourcePath = "/nowhere"; })));
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.sourcePath = target.path(); })));
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.targetDevice = deviceOf(source.path()); })));
  const TempTree links{{"link", Link{target.path()}}};
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.targetPath = links / "link"; })));
  const TempTree second{{"bind", Dir{}}};
  ASSERT_EQ(::mount(target.path().c_str(), (second / "bind").c_str(), nullptr, MS_BIND, nullptr), 0);
  EXPECT_TRUE(refuses(changed([&](CloneOrder& bad) { bad.sourcePath = second / "bind"; })));
  EXPECT_TRUE(refuses(order.formatVolume ? order : changed([](CloneOrder&) {}))) << "mounted twice";
  ::umount2((second / "bind").c_str(), MNT_DETACH);
  {
    const auto used = realFileCalls().openRoot(target / "sub");
    EXPECT_TRUE(refuses(changed([](CloneOrder&) {}))) << "in use";
  }
  const auto locked = realFileCalls().openRoot(target.path());
  ASSERT_TRUE(locked && realFileCalls().lockExclusively(locked->get()));
  EXPECT_TRUE(refuses(order)) << "somebody else writes to it";
}

TEST_F(CloneFaults, VolumeInUseWhereNobodySeesIt_IsNotErased) {
  makeTree(target.path(), {{"b", File{"b"}}});
  // A process with mounts of its own, which live on when ours are undone.
  ASSERT_TRUE(runQuietly("unshare -m --propagation private sleep 60 & echo $! > '" + source / "pid" +
                         "'; until [ $(readlink /proc/$!/exe) != /usr/bin/unshare ]; do :; done"));
  order.formatVolume = true;
  const CloneReport report = clone();
  runQuietly("kill $(cat '" + source / "pid" + "')");
  EXPECT_EQ(report.end, End::kRefused) << report.reason;
  EXPECT_EQ(readFile(target / "b"), "b");
  EXPECT_EQ(deviceOf(target.path()), order.targetDevice);
}

// Which names are one file, as numbers that two equal trees have in common.
std::map<std::string, std::string> linkSetsBelow(const std::string& top) {
  std::map<std::uint64_t, std::string> firstOf;
  std::map<std::string, std::string> sets;
  for (const std::string& path : treeListing(top)) {
    struct stat status;
    if (path.back() == '/' || ::lstat((top + "/" + path).c_str(), &status) != 0) continue;
    sets[path] = firstOf.emplace(status.st_ino, path).first->second;
  }
  return sets;
}

// Files of the same size and date, linked at random on both sides: nothing but the sets tells them apart.
TEST_F(CloneFaults, RandomSetsOfNames_BecomeTheSources) {
  std::mt19937 random(7);
  const auto fill = [&](const std::string& top) {
    std::string script = "cd '" + top + "' && rm -rf p q && mkdir p q && cd '" + top + "'";
    std::vector<std::string> made;
    for (const char* name : {"p/a", "p/b", "p/c", "q/a", "q/b", "q/c", "q/d"}) {
      if (random() % 8 == 0) continue;
      const bool links = !made.empty() && random() % 2 == 0;
      script += links ? " && ln " + made[random() % made.size()] + " " + name
                      : std::string(" && printf x > ") + name + " && touch -d @1000 " + name;
      made.emplace_back(name);
    }
    return runQuietly(script);
  };
  for (int round = 0; round < 25; ++round) {
    ASSERT_TRUE(fill(source.path()));
    ASSERT_TRUE(fill(target.path()));
    expectExact();
    EXPECT_EQ(linkSetsBelow(source.path()), linkSetsBelow(target.path())) << "round " << round;
    EXPECT_EQ(clone().copied, 0U);
  }
}

TEST(CloneAcrossTypes, AttributeThatTheTargetCannotHold_IsToldAndTheFileKept) {
  const MountedVolume source("xfs", 320), target("ext4", 64);
  if (!source.isMounted() || !target.isMounted()) GTEST_SKIP() << source.problem() << target.problem();
  ASSERT_TRUE(runQuietly("cd '" + source.path() +
                         "' && echo a > a && setfattr -n user.large -v $(head -c 20000 /dev/zero | tr '\\0' x) a"));
  RecordingObserver observer;
  const CloneReport report = cloneVolume(realFileCalls(), orderFor(source.path(), target.path()), observer);
  EXPECT_EQ(report.end, End::kFailed);
  EXPECT_TRUE(observer.hasSaid("user.large"));
  EXPECT_EQ(readFile(target / "a"), "a\n");
}

}  // namespace
}  // namespace lumisk::test
