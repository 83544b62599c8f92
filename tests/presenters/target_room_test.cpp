#include "presenters/target_room.h"

#include <future>
#include <mutex>
#include <vector>

#include "platform/real_file_calls.h"
#include "presenters/volumes_presenter.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using test::Dir;
using test::File;
using test::Link;

TEST(TargetTraits, OfFat_RefuseWhatItCannotHold) {
  const TargetTraits fat = targetTraits("vfat"), ext4 = targetTraits("ext4");
  const auto misfit = [](const TargetTraits& traits, const std::string& name, std::uint64_t size = 0,
                         FileType type = FileType::kRegular) { return misfitOf(traits, name, type, size); };
  EXPECT_EQ(misfit(fat, "a.iso", (1ULL << 32) - 1), Misfit::kNone);
  EXPECT_EQ(misfit(fat, "a.iso", 1ULL << 32), Misfit::kFileTooLarge);
  EXPECT_EQ(misfit(targetTraits("exfat"), "a.iso", 1ULL << 32), Misfit::kNone);
  for (const char* const name : {"a:b", "what?", "end.", "end ", "\xff"}) {
    EXPECT_EQ(misfit(fat, name), Misfit::kNameNotAllowed) << name;
    EXPECT_EQ(misfit(ext4, name, 1ULL << 40), Misfit::kNone) << name;
  }
  EXPECT_EQ(misfit(fat, "l", 0, FileType::kLink), Misfit::kNoLinks);
  EXPECT_EQ(misfit(fat, "d", 1ULL << 33, FileType::kFolder), Misfit::kNone);
  std::string umlauts;
  for (int i = 0; i < 128; ++i) umlauts += "ä";
  EXPECT_EQ(misfit(ext4, umlauts), Misfit::kNameTooLong) << "256 bytes";
  EXPECT_EQ(misfit(fat, umlauts), Misfit::kNone) << "128 characters";
  EXPECT_FALSE(lossText(fat).empty());
  EXPECT_TRUE(lossText(ext4).empty());
}

class TargetScanTest : public ::testing::Test {
 protected:
  TargetNeed scan(ScanOrder order) {
    return scanForTarget(
        realFileCalls(), order, [] { return false; }, [](const TargetNeed&) {});
  }
  ScanOrder order(const QUORVELPREFERENCEINFO& job) {
    ScanOrder made;
    made.pairs = scanPairs(job, job.targetPaths.front());
    made.inclusion = job.inclusionArray;
    made.exclusion = job.exclusionArray;
    return made;
  }
  QUORVELPREFERENCEINFO job() const {
    QUORVELPREFERENCEINFO made;
    made.sourcePaths = {tree / "s"};
    made.targetPaths = {tree / "t"};
    return made;
  }

  test::TempTree tree{{"s", Dir{{"same", File{"1234", {}, 1000}},
                                {"newer", File{"12345678", {}, 2000}},
                                {"new.jpg", File{"12345"}},
                                {"link", Link{"same"}},
                                {"d", Dir{{"A.txt", File{"1"}}, {"a.TXT", File{"2"}}}},
                                {"lost+found", Dir{{"x", File{"123456789"}}}}}},
                      {"t", Dir{{"s", Dir{{"same", File{"1234", {}, 1001}}, {"newer", File{"123", {}, 1000}}}}}}};
};

TEST_F(TargetScanTest, OfFoldersThatAreCopiedPartly_CountsWhatIsLeftToCopy) {
  const TargetNeed need = scan(order(job()));
  EXPECT_EQ(need.bytes, 8U + 5 + 1 + 1);
  EXPECT_EQ(need.replacedBytes, 3U);
  EXPECT_EQ(need.files, 4U);
  EXPECT_EQ(need.misfitCount, 0U);

  QUORVELPREFERENCEINFO filtered = job();
  filtered.inclusionArray = {"jpg"};
  EXPECT_EQ(scan(order(filtered)).bytes, 5U);
  QUORVELPREFERENCEINFO merged = job();
  merged.jobType = JobType::kSyncWithConflicts;
  EXPECT_EQ(scan(order(merged)).bytes, 19U) << "its copies lie in the target itself";
  QUORVELPREFERENCEINFO two = job();
  two.sourcePaths.push_back(tree / "s/newer");
  two.targetPaths.push_back(tree / "other");
  EXPECT_EQ(scanPairs(two, tree / "other").size(), 1U);
  two.targetPaths = {tree / "t/s/d"};
  EXPECT_EQ(scan(order(two)).files, 6U) << "a source may be a file";
}

TEST_F(TargetScanTest, ForFat_NamesWhatDoesNotFit) {
  ScanOrder fat = order(job());
  fat.traits = targetTraits("vfat");
  const TargetNeed need = scan(fat);
  ASSERT_EQ(need.misfits.size(), 2U);
  EXPECT_EQ(need.misfitCount, 2U);
  const bool linkFirst = need.misfits[0].misfit == Misfit::kNoLinks;
  EXPECT_EQ(need.misfits[linkFirst ? 1 : 0].misfit, Misfit::kSameName);
  EXPECT_EQ(need.misfits[linkFirst ? 0 : 1].path, tree / "s/link");
}

TEST_F(TargetScanTest, OfTooMuch_IsBoundedAndCanBeCancelled) {
  ScanOrder bounded = order(job());
  bounded.mostEntries = 2;
  EXPECT_TRUE(scan(bounded).isBounded);
  int asked = 0;
  const auto need = scanForTarget(
      realFileCalls(), order(job()), [&] { return ++asked > 1; }, [](const TargetNeed&) {});
  EXPECT_LE(need.entries, 1U);
}

// Threads and the main loop by hand.
class TargetRoomTest : public TargetScanTest {
 protected:
  Background background() {
    return {[this](Background::Work work) { threads.push_back(std::move(work)); },
            [this](Background::Work work) { loop.push_back(std::move(work)); }};
  }
  static void runAll(std::vector<Background::Work>& works) {
    for (auto& work : std::exchange(works, {})) work();
  }
  std::vector<Background::Work> threads, loop;
};

TEST_F(TargetRoomTest, Count_IsShownWhenItIsReadyAndDroppedWhenItIsOutdated) {
  TargetRoomPresenter presenter(realFileCalls(), background());
  int shown = 0;
  presenter.changed = [&] { ++shown; };
  presenter.look(job());
  presenter.look(job());
  ASSERT_EQ(threads.size(), 1U) << "the same is counted once";
  runAll(threads);
  runAll(loop);
  ASSERT_TRUE(presenter.room());
  EXPECT_FALSE(presenter.room()->isCounting);
  EXPECT_TRUE(presenter.room()->isKnown);
  EXPECT_EQ(presenter.room()->addedBytes(), 12U);
  EXPECT_GE(shown, 3);

  QUORVELPREFERENCEINFO other = job();
  other.sourcePaths = {tree / "s/d"};
  presenter.look(other);
  runAll(threads);
  auto outdated = std::exchange(loop, {});
  presenter.look(job());
  runAll(outdated);
  EXPECT_FALSE(presenter.room()) << "an answer to an earlier question";
}

TEST(BackgroundTask, OnAThreadOfItsOwn_TellsTheMainThreadUnlessItHasGone) {
  std::mutex mutex;
  std::vector<Background::Work> loop;
  const Background threads = backgroundThreads([&](Background::Work work) {
    const std::lock_guard guard(mutex);
    loop.push_back(std::move(work));
  });
  std::promise<void> mayEnd, first, second;
  int told = 0;
  BackgroundTask task(threads);
  task.start([&](const BackgroundTask::Context& context) {
    mayEnd.get_future().wait();
    EXPECT_TRUE(context.isCancelled());
    context.tell([&] { told += 100; });
    first.set_value();
  });
  task.start([&](const BackgroundTask::Context& context) {
    context.tell([&] { ++told; });
    second.set_value();
  });
  second.get_future().wait();
  mayEnd.set_value();
  first.get_future().wait();
  const std::lock_guard guard(mutex);
  for (const auto& work : loop) work();
  EXPECT_EQ(loop.size(), 2U);
  EXPECT_EQ(told, 1);
}

TEST(RoomSentence, TellsTheNumbersOfThePie) {
  TargetRoom room;
  EXPECT_EQ(roomSentence(room), "The volume is not there at the moment.");
  room.isKnown = true;
  room.bytes = 4ULL << 30;
  room.freeBytes = 2ULL << 30;
  room.need.bytes = 3ULL << 29;
  EXPECT_EQ(roomSentence(room), "1.50 GB will be added. Then 512.00 MB of 4.00 GB are free.");
  room.need.replacedBytes = 1ULL << 29;
  EXPECT_EQ(roomSentence(room), "1.00 GB will be added. Then 1.00 GB of 4.00 GB are free.");
  room.need.bytes = 3ULL << 30;
  EXPECT_EQ(roomSentence(room), "2.00 GB are free, and 2.50 GB are needed.");
}

TEST(Volumes, OfferedAsTargets_BeginWithWhatIsPluggedIn) {
  const auto row = [](const std::string& path, const std::string& fileSystem, bool isRemovable) {
    const std::string device = fileSystem == "nfs4" ? "server:/export" : "/dev/x";
    Volume volume{path, path, fileSystem, device, 4ULL << 30, 1ULL << 30, false};
    return volumeRow(volume, isRemovable);
  };
  std::vector<Background::Work> works;
  VolumeList list;
  list.volumes = {row("/", "ext4", false),     row("/srv", "xfs", false),
                  row("/net", "nfs4", false),  row("/media/anna/STICK", "vfat", true),
                  row("/home", "ext4", false), row("/media/anna/CD", "iso", true)};
  list.volumes.back().volume.isReadOnly = true;
  sortForOffer(list.volumes);
  VolumesPresenter presenter({[](Background::Work work) { work(); }, [](Background::Work work) { work(); }},
                             [&] { return list; });
  presenter.refresh();
  ASSERT_TRUE(presenter.isKnown());
  std::vector<std::string> offered;
  for (const VolumeRow& volume : presenter.targets({"/home/anna/Docs"})) offered.push_back(volume.volume.path);
  EXPECT_EQ(offered, (std::vector<std::string>{"/media/anna/STICK", "/net", "/srv"}));
  EXPECT_EQ(presenter.cloneSources().front().volume.path, "/");
  EXPECT_EQ(presenter.cloneTargets({"/"}).size(), 3U) << "the network's volume is not on a disk";
  const VolumeRow& stick = list.volumes.front();
  EXPECT_EQ(stick.formatText, "Format: MS DOS FAT");
  EXPECT_EQ(freeSentence(stick), "1.00 GB of 4.00 GB free");
  EXPECT_DOUBLE_EQ(stick.usedShare(), 0.75);
}

}  // namespace
}  // namespace lumisk
