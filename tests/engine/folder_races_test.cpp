// Somebody swaps, deletes, renames and truncates what a run is just looking at, on both sides. Nothing outside of the
// two is read or written, and once he rests, a run brings all in step.
//
// RACE_SECONDS: how long, for each kind of job.

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>
#include <ctime>
#include <random>
#include <thread>

#include "engine/swept_job.h"

namespace lumisk::test {
namespace {

// Knows few names, so that it meets the run often.
class Intruder {
 public:
  enum class Writes { kAnything, kNoFiles };
  Intruder(std::string side, std::string outside, Writes writes, bool isHauntingMany, unsigned seed)
      : side_(std::move(side)),
        outside_(std::move(outside)),
        writes_(writes),
        isHauntingMany_(isHauntingMany),
        seed_(seed),
        random_(seed) {}

  void act() {
    opened_.clear();
    const std::string path = somewhere();
    const std::string aside = reach("aside");
    std::error_code ignored;
    switch (random_() % (writes_ == Writes::kAnything ? 9 : 4)) {
      case 0:
        fs::remove_all(path, ignored);
        return;
      case 1:  // a link to what must not be touched, in the place of what stood there
        fs::rename(path, aside, ignored);
        fs::create_symlink(random_() % 2 == 0 ? outside_ : outside_ + "/secret", path, ignored);
        return;
      case 2:  // and back
        fs::remove(path, ignored);
        fs::rename(aside, path, ignored);
        return;
      case 3:
        fs::create_directory(path, ignored);
        return;
      case 4:
        fs::rename(path, somewhere(), ignored);
        return;
      case 5:
        return truncate(path);
      default:
        write(path);
    }
  }

 private:
  std::string somewhere() {
    static const std::vector<std::string> kPaths{"a", "b", "d", "d/a", "d/e", "d/e/a", "d/e/f", "g/h"};
    static const std::vector<std::string> kPathsAmongMany{"many/1", "many/1/1", "many/2/2", "many/3/53"};
    const bool isAmongMany = isHauntingMany_ && random_() % 3 == 0;
    const auto& paths = isAmongMany ? kPathsAmongMany : kPaths;
    return reach(paths[random_() % paths.size()]);
  }
  // By its open folder: the intruder's own way must not lead through a link either.
  std::string reach(const std::string& path) {
    auto folder = realFileCalls().openRoot(side_);
    std::string rest = path;
    for (auto slash = rest.find('/'); folder && slash != std::string::npos; slash = rest.find('/')) {
      folder = realFileCalls().openFolder(folder->get(), rest.substr(0, slash));
      rest.erase(0, slash + 1);
    }
    if (!folder) return "/nowhere/at/all";
    opened_.push_back(std::move(*folder));
    return "/proc/self/fd/" + std::to_string(opened_.back().get()) + "/" + rest;
  }
  void truncate(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (file.isOpen()) (void)realFileCalls().truncate(file.get(), random_() % 3);
  }
  // No two of one size and date.
  void write(const std::string& path) {
    std::error_code ignored;
    const std::string aside = outside_ + "-work" + std::to_string(seed_);
    std::ofstream(aside) << "text " << ++count_ << std::string(random_() % 50'000, 'x');
    const timespec date{std::time(nullptr), static_cast<long>(random_() % 1'000'000'000)};
    const timespec times[2] = {date, date};
    (void)utimensat(AT_FDCWD, aside.c_str(), times, 0);
    fs::rename(aside, path, ignored);
  }

  std::string side_;
  std::string outside_;
  Writes writes_;
  bool isHauntingMany_;
  unsigned seed_;
  std::mt19937 random_;
  std::vector<Descriptor> opened_;
  int count_ = 0;
};

class FolderRaces : public ::testing::TestWithParam<Kind> {
 protected:
  static std::chrono::duration<double> time() {
    const char* const wish = std::getenv("RACE_SECONDS");
    return std::chrono::duration<double>(wish ? std::stod(wish) : 0.7);
  }
};

const Kind kRacedKinds[] = {
    {.name = "Backup", .isEmpty = true},
    {.name = "Revisions", .trash = false, .revisions = RevisionMethod::kUnlimited, .isEmpty = true},
    {.name = "SyncRevisions", .type = JobType::kSyncWithRevisions, .isEmpty = true},
    {.name = "SyncConflicts", .type = JobType::kSyncWithConflicts, .trash = false, .isEmpty = true},
    {.name = "BackupWithThreads", .isEmpty = true, .threads = 3},
    {.name = "SyncConflictsWithThreads", .type = JobType::kSyncWithConflicts, .isEmpty = true, .threads = 3},
};
INSTANTIATE_TEST_SUITE_P(Kinds, FolderRaces, ::testing::ValuesIn(kRacedKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

TEST_P(FolderRaces, WhileARunLooks_NothingOutsideIsTouched) {
  preferMemory();
  SweptJob job(GetParam());
  const std::string outside = job.tree / "outside";
  makeTree(job.tree.path(), {{"outside", Dir{{"secret", File{"canary", 0600, 1000}}, {"d", Dir{}}}}});
  const bool isTwoWay = isSync(GetParam().type);
  // A backup leaves newer files of the target alone.
  const auto thereWrites = isTwoWay ? Intruder::Writes::kAnything : Intruder::Writes::kNoFiles;
  std::atomic<bool> isOver{false};
  const auto haunt = [&](const std::string& side, Intruder::Writes writes, unsigned seed) {
    const bool isAmongMany = GetParam().threads > 0;
    return std::thread([&isOver, intruder = Intruder(side, outside, writes, isAmongMany, seed)]() mutable {
      while (!isOver) intruder.act();
    });
  };
  std::thread here = haunt(job.tree / "s/docs", Intruder::Writes::kAnything, 1);
  std::thread there = haunt(job.targetSide(), thereWrites, 2);
  int runs = 0;
  for (const auto end = std::chrono::steady_clock::now() + time(); std::chrono::steady_clock::now() < end; ++runs) {
    job.renewMany();
    job.runClean();
  }
  isOver = true;
  here.join();
  there.join();

  ExpectTreeExactly(outside, Dir{{"secret", File{"canary", 0600, 1000}}, {"d", Dir{}}});
  for (const char* side : {"s", "t", "home"})
    for (const auto& entry : fs::recursive_directory_iterator(job.tree / side))
      if (entry.is_regular_file() && !entry.is_symlink()) {
        EXPECT_EQ(contentOf(entry.path()).find("canary"), std::string::npos) << entry.path();
      }
  // He may have put older files in the place of newer ones, which a backup does not follow: all are saved once more.
  std::int64_t date = 2'000'000'000;
  for (const auto& entry : fs::recursive_directory_iterator(job.tree / "s"))
    if (entry.is_regular_file() && !entry.is_symlink()) setModified(entry.path(), date += 10);
  bool isDone = false;
  for (int tries = 0; tries < 4 && !isDone; ++tries) isDone = job.runClean().completed && job.source() == job.target();
  EXPECT_EQ(job.source(), job.target()) << "after " << runs << " runs\n" << job.log;
  EXPECT_TRUE(isDone) << job.log;
  EXPECT_TRUE(job.temporaries().empty()) << job.temporaries().front();
}

}  // namespace
}  // namespace lumisk::test
