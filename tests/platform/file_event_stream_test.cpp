#include "platform/file_event_stream.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <filesystem>
#include <future>
#include <mutex>
#include <optional>
#include <random>
#include <set>

#include "platform/watched_tree.h"
#include "support/mounted_volume.h"
#include "support/temp_tree.h"

// On the real kernel. What is waited for has a generous deadline; nothing is told to happen within a time.

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

// One stream without latency, and what it has told.
class Listener {
 public:
  Listener(FileEventStreams& streams, std::vector<WatchedRoot> roots, FileEventOptions options = quick())
      : stream_(std::make_unique<FileEventStream>(streams, std::move(roots),
                                                  FileEventObserver{[this](const auto& folders) { told(folders); },
                                                                    [this] {
                                                                      const std::lock_guard lock(mutex_);
                                                                      isStanding_ = true;
                                                                      changed_.notify_all();
                                                                    },
                                                                    [this](const std::string& text) {
                                                                      const std::lock_guard lock(mutex_);
                                                                      limits_.push_back(text);
                                                                    }},
                                                  std::move(options))) {
    EXPECT_TRUE(waitFor([this] { return isStanding_; }));
  }
  static FileEventOptions quick() {
    FileEventOptions options;
    options.latency = 0ns;
    options.openFileLatency = 0ns;
    return options;
  }
  // Whether the folder, or one around it, is told; what was told is forgotten then.
  bool hears(const std::string& folder) {
    const bool heard = waitFor([&] {
      for (const std::string& one : told_)
        if ((folder + "/").compare(0, one.size(), one) == 0) return true;
      return false;
    });
    const std::lock_guard lock(mutex_);
    told_.clear();
    return heard;
  }
  std::vector<std::string> limits() {
    const std::lock_guard lock(mutex_);
    return limits_;
  }
  std::set<std::string> told() {
    const std::lock_guard lock(mutex_);
    return std::exchange(told_, {});
  }
  // All that is told until this folder is.
  std::set<std::string> toldUntil(const std::string& folder) {
    EXPECT_TRUE(waitFor([&] { return told_.count(folder) != 0; })) << folder;
    return told();
  }
  FileEventStream& stream() { return *stream_; }
  bool waitFor(const std::function<bool()>& condition) {
    std::unique_lock lock(mutex_);
    for (int i = 0; i < 1000; ++i)
      if (changed_.wait_for(lock, 10ms, condition)) return true;
    return false;
  }

 private:
  void told(const std::vector<std::string>& folders) {
    const std::lock_guard lock(mutex_);
    told_.insert(folders.begin(), folders.end());
    changed_.notify_all();
  }
  std::mutex mutex_;
  std::condition_variable changed_;
  std::set<std::string> told_;
  std::vector<std::string> limits_;
  bool isStanding_ = false;
  std::unique_ptr<FileEventStream> stream_;
};

class FileEventStreamTest : public ::testing::Test {
 protected:
  static FileEventStreams::Settings quick() {
    FileEventStreams::Settings settings;
    settings.rootInterval = 5ms;
    settings.rescanInterval = 10ms;
    return settings;
  }
  TempTree tree{{"root", Dir{{"a", Dir{{"b", Dir{{"f", File{"x"}}}}}}, {"other", Dir{}}}}, {"out", Dir{}}};
  const std::string root = tree / "root";
  FileEventStreams streams{quick()};
};

// A server that has gone, for as long as it likes: neither another stream nor the end of one waits for it.
TEST_F(FileEventStreamTest, RootsThatDoNotAnswer_KeepNoOtherWaiting) {
  std::promise<void> comesBack;
  const auto isBack = comesBack.get_future().share();
  std::atomic<bool> hangs = false;
  auto settings = quick();
  settings.addWatch = [&, isBack](int instance, const char* path, std::uint32_t mask) {
    if (hangs && fs::read_symlink(path).string().starts_with(tree / "out")) isBack.wait();
    return ::inotify_add_watch(instance, path, mask);
  };
  settings.lookAtRoot = [&, isBack](const std::string& path) -> std::optional<FileIdentity> {
    if (hangs && path != root) isBack.wait();
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) return std::nullopt;
    return FileIdentity{status.st_dev, status.st_ino};
  };
  std::optional<FileEventStreams> all(settings);
  Listener hanging(*all, {{tree / "out"}});
  hangs = true;
  std::optional<FileEventStream> neverStands(std::in_place, *all, std::vector<WatchedRoot>{{tree / "elsewhere"}},
                                             FileEventObserver{[](const auto&) {}});
  Listener listener(*all, {{root}});
  fs::rename(root, tree / "moved");
  fs::create_directory(root);
  EXPECT_TRUE(listener.hears(root)) << "what replaced the root was not found";
  writeFile(root + "/new", "x");
  EXPECT_TRUE(listener.hears(root));
  all->simulateOverflow();
  EXPECT_TRUE(listener.hears(root)) << "all is watched anew, but for what does not answer";
  neverStands.reset();
  hangs = false;
  comesBack.set_value();
  fs::rename(tree / "out", tree / "gone");
  fs::create_directory(tree / "out");
  EXPECT_TRUE(hanging.hears(tree / "out")) << "a root that answers again is left alone";
}

TEST_F(FileEventStreamTest, StreamWhoseFolderHangs_EndsAllTheSame) {
  std::promise<void> begun, comesBack;
  auto settings = quick();
  settings.addWatch = [&, isBack = comesBack.get_future().share(), isFirst = true](int instance, const char* path,
                                                                                   std::uint32_t mask) mutable {
    if (std::exchange(isFirst, false)) begun.set_value();
    isBack.wait();
    return ::inotify_add_watch(instance, path, mask);
  };
  FileEventStreams all(settings);
  std::optional<FileEventStream> stream(std::in_place, all, std::vector<WatchedRoot>{{root}},
                                        FileEventObserver{[](const auto&) {}});
  begun.get_future().wait();
  stream.reset();
  comesBack.set_value();
}

TEST_F(FileEventStreamTest, EachKindOfChange_IsToldOfItsFolder) {
  Listener listener(streams, {{root}});
  EXPECT_EQ(listener.stream().counts().watched, 4U);
  const std::vector<std::pair<std::string, std::function<void()>>> changes{
      {root + "/a/b", [&] { writeFile(root + "/a/b/f", "other"); }},
      {root + "/a", [&] { writeFile(root + "/a/new", ""); }},
      {root + "/a", [&] { fs::rename(root + "/a/new", root + "/a/newer"); }},
      {root + "/a", [&] { fs::remove(root + "/a/newer"); }},
      {root + "/a/b", [&] { setModified(root + "/a/b/f", 1000); }},
      {root + "/a/b", [&] { ::chmod((root + "/a/b").c_str(), 0700); }},
      {root, [&] { fs::create_symlink("/tmp", root + "/link"); }},
      {root + "/a/b/c/d", [&] { fs::create_directories(root + "/a/b/c/d"); }},
      {root + "/a/b/c/d", [&] { writeFile(root + "/a/b/c/d/e", "x"); }},
  };
  for (const auto& [folder, change] : changes) {
    change();
    EXPECT_TRUE(listener.hears(folder)) << folder;
  }
}

TEST_F(FileEventStreamTest, IgnoredEntries_AreNotToldAndNotWatched) {
  FileEventOptions options = Listener::quick();
  options.isIgnored = [](const std::string&, std::string_view name) { return name.substr(0, 4) == "own-"; };
  fs::create_directory(root + "/own-folder");
  Listener listener(streams, {{root}}, options);
  EXPECT_EQ(listener.stream().counts().watched, 4U);
  writeFile(root + "/own-file", "x");
  writeFile(root + "/own-folder/f", "x");
  fs::create_directory(root + "/a/own-made");
  writeFile(root + "/a/own-made/f", "x");
  writeFile(root + "/other/mark", "x");
  EXPECT_EQ(listener.toldUntil(root + "/other/"), std::set<std::string>{root + "/other/"});
}

TEST_F(FileEventStreamTest, BurstInDeepNewFolders_MissesNothing) {
  Listener listener(streams, {{root}});
  // Each file is written once its folder stands; the folder that tells of it may be any around it, but must come after.
  constexpr int kFolders = 200;
  for (int i = 0; i < kFolders; ++i) {
    const std::string folder = root + "/n" + std::to_string(i) + "/deep/er";
    fs::create_directories(folder);
    for (int k = 0; k < 10; ++k) writeFile(folder + "/f" + std::to_string(k), "x");
  }
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 4U + 3 * kFolders; }));
  listener.told();
  // Whatever the burst has raced with, every folder is watched by now.
  for (int i = 0; i < kFolders; i += 20) {
    const std::string folder = root + "/n" + std::to_string(i) + "/deep/er";
    writeFile(folder + "/late", "x");
    EXPECT_TRUE(listener.hears(folder)) << folder;
  }
}

std::vector<std::string> foldersOf(const std::string& root) {
  std::vector<std::string> folders{root};
  for (const auto& entry : fs::recursive_directory_iterator(root))
    if (entry.is_directory()) folders.push_back(entry.path());
  return folders;
}

TEST_F(FileEventStreamTest, RandomFolderChanges_EndWithEveryFolderWatchedOnce) {
  Listener listener(streams, {{root}});
  std::mt19937 random(7);
  std::vector<std::string> folders = foldersOf(root);
  for (int i = 0; i < 3000; ++i) {
    if (i % 50 == 0) folders = foldersOf(root);
    const std::string from = folders[random() % folders.size()], to = folders[random() % folders.size()];
    const std::string made = "/m" + std::to_string(random() % 40);
    std::error_code ignored;
    if (i % 3 == 0) fs::rename(from, to + made, ignored);
    if (i % 3 == 1) fs::create_directory(to + made, ignored);
    if (i % 12 == 2 && from != root) fs::remove_all(from, ignored);
  }
  folders = foldersOf(root);
  ASSERT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == folders.size(); }))
      << listener.stream().counts().watched << " of " << folders.size();
  listener.told();
  for (const std::string& folder : folders) {
    writeFile(folder + "/late", "x");
    EXPECT_EQ(listener.toldUntil(folder + "/").count(folder + "/"), 1U);
  }
}

TEST_F(FileEventStreamTest, RenamedFolder_IsToldUnderItsNewName) {
  Listener listener(streams, {{root}});
  fs::rename(root + "/a", root + "/other/z");
  EXPECT_TRUE(listener.hears(root + "/other"));
  EXPECT_EQ(listener.stream().counts().watched, 4U);
  writeFile(root + "/other/z/b/g", "x");
  EXPECT_TRUE(listener.hears(root + "/other/z/b"));
}

TEST_F(FileEventStreamTest, FolderMovedOutAndIn_IsForgottenAndWatchedAgain) {
  Listener listener(streams, {{root}});
  fs::rename(root + "/a", tree / "out/a");
  EXPECT_TRUE(listener.hears(root));
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 2U; }));
  fs::create_directory(tree / "out/a/made-outside");
  fs::rename(tree / "out/a", root + "/a");
  EXPECT_TRUE(listener.hears(root));
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 5U; }));
  writeFile(root + "/a/made-outside/f", "x");
  EXPECT_TRUE(listener.hears(root + "/a/made-outside"));
}

TEST_F(FileEventStreamTest, RemovedAndRemadeRoot_IsToldAndWatchedAgain) {
  Listener listener(streams, {{root}, {tree / "missing"}});
  fs::remove_all(root);
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 0U; }));
  listener.told();
  for (const std::string& one : {root, tree / "missing"}) {
    fs::create_directories(one + "/again");
    EXPECT_TRUE(listener.hears(one)) << one;
    EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched >= 2U; }));
    writeFile(one + "/again/f", "x");
    EXPECT_TRUE(listener.hears(one + "/again")) << one;
  }
  fs::rename(root, root + "-old");  // another folder takes its place
  fs::create_directory(root);
  EXPECT_TRUE(listener.hears(root));
}

TEST_F(FileEventStreamTest, Overflow_TellsTheRootsAndWatchesOn) {
  Listener listener(streams, {{root}});
  streams.simulateOverflow();
  EXPECT_TRUE(listener.hears(root));
  EXPECT_EQ(listener.stream().counts().watched, 4U);
  writeFile(root + "/a/b/f", "after");
  EXPECT_TRUE(listener.hears(root + "/a/b"));
}

TEST_F(FileEventStreamTest, TwoStreamsOfOneFolder_BothHear_AndOneMayGo) {
  Listener whole(streams, {{root}});
  auto part = std::make_unique<Listener>(streams, std::vector<WatchedRoot>{{root + "/a", false}});
  EXPECT_EQ(part->stream().counts().watched, 1U);
  writeFile(root + "/a/f", "x");
  EXPECT_TRUE(whole.hears(root + "/a"));
  EXPECT_TRUE(part->hears(root + "/a"));
  part.reset();
  writeFile(root + "/a/f", "y");
  EXPECT_TRUE(whole.hears(root + "/a"));
}

// Nothing is watched at all, then everything is.
TEST_F(FileEventStreamTest, WatchLimit_RescansWhatHasNoWatch_AndSaysSo) {
  std::atomic<bool> isFull{true};
  auto settings = quick();
  settings.addWatch = [&](int instance, const char* path, std::uint32_t mask) {
    if (!isFull) return ::inotify_add_watch(instance, path, mask);
    errno = ENOSPC;
    return -1;
  };
  FileEventStreams limited(settings);
  Listener listener(limited, {{root}});
  EXPECT_EQ(listener.stream().counts().watched, 0U);
  EXPECT_EQ(listener.stream().counts().rescanned, 4U);
  ASSERT_EQ(listener.limits().size(), 1U);
  EXPECT_NE(listener.limits().front().find("fs.inotify.max_user_watches"), std::string::npos);
  writeFile(root + "/a/b/f", "changed");
  EXPECT_TRUE(listener.hears(root + "/a/b"));
  fs::create_directories(root + "/other/new");
  EXPECT_TRUE(listener.hears(root + "/other"));
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().rescanned == 5U; }));
  fs::remove_all(root + "/a");
  EXPECT_TRUE(listener.hears(root));
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().rescanned == 3U; }));
  isFull = false;
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 3U; }));
  EXPECT_EQ(listener.stream().counts().rescanned, 0U);
  EXPECT_EQ(listener.limits().size(), 1U);
}

TEST_F(FileEventStreamTest, UnmountedAndMountedRoot_IsToldAndWatchedAgain) {
  MountedVolume volume("tmpfs", 8);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  fs::create_directory(volume / "d");
  Listener above(streams, {{fs::path(volume.path()).parent_path()}});
  Listener listener(streams, {{volume.path()}});
  EXPECT_EQ(listener.stream().counts().watched, 2U);
  EXPECT_EQ(above.stream().counts().watched, 3U);
  ASSERT_TRUE(runQuietly("umount '" + volume.path() + "'"));
  EXPECT_TRUE(listener.waitFor([&] { return listener.stream().counts().watched == 1U; }));
  EXPECT_TRUE(above.waitFor([&] { return above.stream().counts().watched == 2U; }));
  listener.told();
  above.told();
  ASSERT_TRUE(runQuietly("mount -t tmpfs none '" + volume.path() + "'"));
  EXPECT_TRUE(listener.hears(volume.path()));
  EXPECT_TRUE(above.hears(volume.path()));
  writeFile(volume / "f", "x");
  EXPECT_TRUE(listener.hears(volume.path()));
}

TEST(WatchedTreeTest, NodesAreMovedAndRemoved_PathsFollow) {
  WatchedTree tree;
  const auto root = tree.addRoot("/r");
  const auto a = tree.addChild(root, "a");
  const auto b = tree.addChild(root, "b");
  const auto inA = tree.addChild(a, "in");
  tree.move(a, b, "was-a");
  EXPECT_EQ(tree.pathOf(inA), "/r/b/was-a/in");
  EXPECT_EQ(tree.child(root, "a"), WatchedTree::kNone);
  EXPECT_EQ(tree.subtree(b), (std::vector<WatchedTree::Index>{b, a, inA}));
  tree.remove(inA);
  tree.remove(a);
  EXPECT_EQ(tree.subtree(root), (std::vector<WatchedTree::Index>{root, b}));
  EXPECT_EQ(tree.pathOf(tree.addRoot("/")), "/");
}

}  // namespace
}  // namespace lumisk::test
