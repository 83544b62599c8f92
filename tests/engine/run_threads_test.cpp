// Runs whose folders are read ahead and whose small files are carried by other threads.

#include <fcntl.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <functional>
#include <random>
#include <stdexcept>
#include <thread>

#include "engine/walk_fixture.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kLongAgo = 1'000'000'000;

// A source and a target that has a part of it, older, newer, the same or of another type.
class RandomTree {
 public:
  RandomTree(const std::string& source, const std::string& target, unsigned seed) : random_(seed) {
    fill(source, target, 0);
  }

 private:
  unsigned upTo(unsigned most) { return std::uniform_int_distribution<unsigned>(0, most)(random_); }

  void fill(const std::string& source, const std::string& target, int depth) {
    fs::create_directories(source);
    const bool stands = !target.empty() && (depth == 0 || upTo(2) > 0);
    if (stands) fs::create_directories(target);
    const unsigned entries = depth == 0 ? 60 : upTo(12);
    for (unsigned i = 0; i < entries; ++i) {
      const std::string name = "/" + std::to_string(upTo(99)) + (upTo(5) == 0 ? "." : "");
      if (fs::symlink_status(source + name).type() != fs::file_type::not_found) continue;
      make(source + name, stands ? target + name : "", depth);
    }
    ::chmod(source.c_str(), upTo(3) == 0 ? 0555 : 0755);
    setModified(source, kLongAgo + upTo(1000));
    if (stands) setModified(target, kLongAgo);
  }

  void make(const std::string& source, const std::string& target, int depth) {
    const unsigned kind = upTo(20);
    if (kind < 4 && depth < 4) return fill(source, target, depth + 1);
    if (kind == 4) return makeLink(source);
    if (kind == 5 && !lastFile_.empty()) return fs::create_hard_link(lastFile_, source);
    if (kind == 6) return (void)::mkfifo(source.c_str(), 0600);
    makeFile(source, std::string(upTo(30000), static_cast<char>('a' + upTo(25))));
    lastFile_ = source;
    if (target.empty()) return;
    const unsigned standing = upTo(3);
    if (standing == 0) makeFile(target, "another");
    if (standing == 1) fs::copy_file(source, target), setModified(target, modified_);
    if (standing == 2) fs::create_directory(target), setModified(target, kLongAgo);
  }

  static void makeLink(const std::string& path) {
    fs::create_symlink("somewhere", path);
    const timespec times[] = {{kLongAgo, 0}, {kLongAgo, 0}};
    ::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW);
  }

  void makeFile(const std::string& path, const std::string& text) {
    writeFile(path, text);
    ::chmod(path.c_str(), 0600 | upTo(077));
    modified_ = kLongAgo + upTo(1000);
    setModified(path, modified_);
  }

  std::mt19937 random_;
  std::string lastFile_;
  std::int64_t modified_ = 0;
};

class RunThreadsTest : public WalkFixture {
 protected:
  Ran backUp(std::size_t threads, FileCalls& through, const Prepare& prepare = {}) {
    calls = &through;
    const Ran ran = WalkFixture::backUp([&](RunFixture& fixture) {
      fixture.useThreads(threads);
      fixture.info.nAutoDeletion = 1;  // so that the pairs are recorded
      if (prepare) prepare(fixture);
    });
    EXPECT_TRUE(ran.walked);
    return ran;
  }
  void refill(unsigned seed) {
    fs::remove_all(tree / "s");
    fs::remove_all(tree / "t");
    fs::create_directories(tree / "t");
    RandomTree(tree / "s", tree / "t/s", seed);
  }
  [[nodiscard]] bool hasTemporaryFiles() const {
    for (const std::string& name : treeListing(tree / "t"))
      if (name.find(".lumisk-") != std::string::npos) return true;
    return false;
  }
};
INSTANTIATE_TEST_SUITE_P(Pace, RunThreadsTest, ::testing::Values(PaceKind::kFull), walkPaceName);

std::vector<std::uint64_t> numbers(const RunCounts& counts) {
  return {counts.entries, counts.copied, counts.bytes,  counts.deleted,  counts.held,
          counts.skipped, counts.errors, counts.losses, counts.revisions};
}

TEST_P(RunThreadsTest, AnyNumberOfThreads_GivesTheSameTreeLogAndList) {
  for (unsigned seed = 0; seed < 6; ++seed) {
    std::optional<Ran> first;
    for (const std::size_t threads : {0, 1, 2, 8}) {
      SCOPED_TRACE(std::to_string(seed) + " with " + std::to_string(threads));
      refill(seed);
      FaultyFileCalls faulty;
      faulty.fail(FileCall::kOpenFile, EACCES, {.name = "1*", .times = FaultyFileCalls::kAlways});
      faulty.fail(FileCall::kRead, EIO, {.name = "2?", .times = FaultyFileCalls::kAlways});
      faulty.fail(FileCall::kListFolder, EIO, {.name = "3*", .times = FaultyFileCalls::kAlways});
      const Ran ran = backUp(threads, faulty);
      EXPECT_FALSE(hasTemporaryFiles());
      const std::string kept = tree / "first";
      if (!first) {
        fs::remove_all(kept);
        fs::rename(tree / "t", kept);
        first = ran;
        continue;
      }
      EXPECT_EQ(ran.log, first->log);
      EXPECT_EQ(ran.recorded, first->recorded);
      EXPECT_EQ(numbers(ran.counts), numbers(first->counts));
      EXPECT_EQ(ran.code, first->code);
      ExpectSameTrees(kept + "/s", tree / "t/s");
    }
  }
}

TEST_P(RunThreadsTest, CancelInTheMiddle_LeavesWholeFilesAndNothingElse) {
  for (const int after : {20, 60, 90}) {
    refill(3);
    FaultyFileCalls faulty;
    backUp(3, faulty, [&](RunFixture& fixture) {
      faulty.before(FileCall::kRename, [&fixture] { fixture.cancelled = true; }, {.nth = after});
    });
    EXPECT_FALSE(hasTemporaryFiles());
    const Ran rest = backUp(3, realFileCalls());
    EXPECT_EQ(rest.counts.errors, 0u);
    const Ran again = backUp(0, realFileCalls());
    EXPECT_EQ(again.counts.copied, 0u);
  }
}

TEST_P(RunThreadsTest, FullDisk_IsTheRunsErrorAndLeavesNothingHalf) {
  refill(5);
  FaultyFileCalls faulty;
  faulty.fail(FileCall::kWrite, ENOSPC, {.nth = 40, .times = FaultyFileCalls::kAlways});
  const Ran ran = backUp(3, faulty);
  EXPECT_EQ(ran.code, RunError::kOutOfSpace);
  EXPECT_GT(ran.counts.errors, 0u);
  EXPECT_FALSE(hasTemporaryFiles());
  EXPECT_EQ(backUp(3, realFileCalls()).counts.errors, 0u);
}

// Whatever was read of it ahead: the link is not followed, and what lies behind it stays where it is.
TEST_P(RunThreadsTest, FolderSwappedForALinkAheadOfTheWalk_LeadsNowhere) {
  for (const char* const side : {"s", "t/s"}) {
    fs::remove_all(tree / "s");
    fs::remove_all(tree / "t");
    fs::remove_all(tree / "moved");
    makeTree(tree.path(), {{"s", Dir{}}, {"t", Dir{{"s", Dir{}}}}, {"out", Dir{{"secret", File{"secret"}}}}});
    for (int i = 0; i < 40; ++i) {
      const std::string name = "d" + std::to_string(100 + i);
      makeTree(tree / "s", {{name, Dir{{"f", File{"text of " + name, 0644, kLongAgo + 100}}}}});
      makeTree(tree / "t/s", {{name, Dir{{"f", File{"old", 0644, kLongAgo}}}}});
    }
    FaultyFileCalls faulty;
    const std::string swapped = tree / (std::string(side) + "/d110");
    faulty.before(FileCall::kOpenFolder,
                  [&] {
                    fs::rename(swapped, tree / "moved");
                    fs::create_directory_symlink(tree / "out", swapped);
                  },
                  {.name = "d106"});
    backUp(2, faulty);
    ExpectTreeExactly(tree / "out", {{"secret", File{"secret"}}});
    for (const std::string& name : treeListing(tree / "t")) EXPECT_EQ(name.find("secret"), std::string::npos) << name;
    EXPECT_EQ(readFile(tree / "t/s/d120/f"), "text of d120");
  }
}

// A file that was saved after it was looked at ahead is copied when the walk is late, and never taken for unchanged by
// what is older than the bound.
TEST_P(RunThreadsTest, WhatWasReadAheadTooLongAgo_IsReadAgain) {
  makeTree(tree.path(), {{"s", Dir{}}, {"t", Dir{{"s", Dir{}}}}});
  for (const char* const name : {"a", "b", "c", "d"})
    for (const char* const side : {"s", "t/s"})
      makeTree(tree / side, {{name, Dir{{"f", File{"text", 0644, kLongAgo}}}}});
  makeTree(tree / "s/a", {{"g", File{"copied", 0644, kLongAgo}}});
  makeTree(tree / "s/d", {{"0", File{"copied", 0644, kLongAgo}}});
  FaultyFileCalls faulty;
  const Ran ran = backUp(2, faulty, [&](RunFixture& fixture) {
    faulty.before(FileCall::kOpenFile,
                  [&] {
                    while (faulty.count(FileCall::kListFolder, "c") < 2) std::this_thread::yield();
                    writeFile(tree / "s/c/f", "saved meanwhile");
                    fixture.clock.advance(std::chrono::seconds(1));
                  },
                  {.name = "g"});
    // Before its folder's turn, and while its folder is walked.
    faulty.before(FileCall::kOpenFile,
                  [&] {
                    writeFile(tree / "s/d/f", "saved meanwhile");
                    fixture.clock.advance(std::chrono::seconds(1));
                  },
                  {.name = "0"});
  });
  EXPECT_EQ(ran.counts.copied, 4u);
  EXPECT_EQ(readFile(tree / "t/s/c/f"), "saved meanwhile");
  EXPECT_EQ(readFile(tree / "t/s/d/f"), "saved meanwhile");
}

TEST(WorkPoolTest, TaskThatThrows_ThrowsWhereItIsFinished) {
  struct Throwing : WorkPool::Task {
    void run() override { throw std::runtime_error("out of something"); }
  };
  for (const std::size_t threads : {0, 2}) {
    WorkPool pool(threads);
    const auto task = std::make_shared<Throwing>();
    pool.add(task);
    EXPECT_THROW(pool.finish(*task), std::runtime_error);
  }
}

TEST(WorkPoolTest, WhoWaitsForATask_DoesWhatComesNextMeanwhile) {
  struct Calling : WorkPool::Task {
    explicit Calling(std::function<void()> function) : call(std::move(function)) {}
    void run() override { call(); }
    std::function<void()> call;
  };
  std::atomic<bool> isBegun{false}, isHelped{false};
  const auto first = std::make_shared<Calling>([&] {
    isBegun = true;
    while (!isHelped) std::this_thread::yield();
  });
  const auto second = std::make_shared<Calling>([&] { isHelped = true; });
  WorkPool pool(1);
  pool.add(first);
  while (!isBegun) std::this_thread::yield();
  pool.add(second);
  pool.finish(*first);
  EXPECT_TRUE(pool.isDone(*second));
}

}  // namespace
}  // namespace lumisk::test
