#include "presenters/restore_presenter.h"

#include <filesystem>
#include <thread>

#include "jobs/job_record.h"
#include "platform/main_loop.h"
#include "schedule/plugin_list.h"
#include "support/faulty_file_calls.h"
#include "support/home_fixture.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

class RestorePresenterTest : public HomeFixture {
 protected:
  RestorePresenterTest() {
    makeTree(tree.path(),
             {{"docs", Dir{{"a.txt", File{"spoiled", 0644, 9000}}, {"d", Dir{{"b", File{"b", 0644, 500}}}}}},
              {"t", Dir{{"docs", Dir{{"a.txt", File{"good", 0600, 1000}},
                                     {"gone.txt", File{"gone", 0644, 700}},
                                     {"d", Dir{{"b", File{"b", 0644, 500}}}}}}}}});
    QUORVELPREFERENCEINFO job = newJobDefaults(clock.now());
    job.name = "docs";
    job.uuidString = "uuid";
    job.sourcePaths = {tree / "docs"};
    job.targetPaths = {tree / "t"};
    jobs = {jobToDictionary(job)};
    ::unsetenv("XDG_DATA_HOME");
  }
  RestorePresenter::Services services() {
    return {files,
            clock,
            dialogs,
            background(),
            [this] { return jobs; },
            pluginList,
            std::make_shared<VersionOpener>([this](const std::string& path) -> Result<void> {
              opened.push_back(path);
              return {};
            })};
  }
  // Threads that do not outlive the fixture.
  Background background() {
    return {[this](Background::Work work) { threads.emplace_back(std::move(work)); },
            [this](Background::Work work) { loop.perform(std::move(work)); }};
  }
  ~RestorePresenterTest() override {
    restore.reset();
    for (std::thread& thread : threads) thread.join();
  }
  template <class Condition>
  void serveUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + 1min;
    loop.serveUntil([&] { return condition() || std::chrono::steady_clock::now() > deadline; });
    ASSERT_TRUE(condition());
  }
  void settle() {
    serveUntil([this] { return !restore->isLooking() && !restore->isListing() && !restore->isRestoring(); });
  }
  void show(const std::string& path) {
    restore->showPath(path);
    settle();
  }
  // What ends once it has been put back.
  void putBack() {
    restore->putBack(0);
    settle();
  }
  std::vector<std::string> names() const {
    std::vector<std::string> names;
    for (const RestoreEntry& entry : restore->entries()) names.push_back(entry.name + (entry.isGone ? " (gone)" : ""));
    return names;
  }

  TempTree tree;
  const std::string pluginList = preferences("plugin.plist");
  FaultyFileCalls files;
  FakeClock clock;
  RecordingDialogs dialogs;
  MainLoop loop;
  MainLoop::SourceHandle tick = loop.every(5ms, [] {});
  PropertyList::Array jobs;
  std::vector<std::string> opened;
  std::vector<std::thread> threads;
  std::optional<RestorePresenter> restore{services()};
};

TEST_F(RestorePresenterTest, FileOfAJob_IsFoundBrowsedAndPutBack) {
  restore->showJob("uuid");
  settle();
  EXPECT_THAT(names(), ::testing::ElementsAre("d", "a.txt", "gone.txt (gone)"));
  restore->select(tree / "docs/a.txt");
  settle();
  ASSERT_EQ(restore->versions().size(), 1U);
  EXPECT_EQ(restore->versions()[0].kind, "Latest copy");
  EXPECT_EQ(restore->versions()[0].date, "1970-01-01 01:16");
  restore->putBack(0);
  EXPECT_TRUE(restore->isRestoring());
  settle();
  ASSERT_TRUE(restore->lastEnd());
  EXPECT_TRUE(restore->lastEnd()->isGood) << restore->lastEnd()->text;
  ExpectTreeExactly(tree / "docs", Dir{{"a.txt", File{"good", 0600, 1000}}, {"d", Dir{{"b", File{"b", 0644, 500}}}}});
  // What it replaced is a version by now.
  ASSERT_EQ(restore->versions().size(), 2U);
  EXPECT_EQ(restore->versions()[0].kind.substr(0, 12), "In the Trash");
  EXPECT_EQ(restore->versions()[1].note, "as it is now");
  EXPECT_TRUE(PluginList(pluginList).restoredPlaces().empty());
}

TEST_F(RestorePresenterTest, DeletedFileOfAPath_IsPutElsewhere_AndOpenedAsAReadOnlyCopy) {
  show(tree / "docs/gone.txt");
  EXPECT_EQ(restore->folder(), tree / "docs");
  makeTree(tree.path(), {{"else", Dir{}}});
  restore->putInto(0, tree / "else");
  settle();
  EXPECT_TRUE(restore->lastEnd()->isGood) << restore->lastEnd()->text;
  EXPECT_EQ(readFile(tree / "else/gone.txt"), "gone");
  EXPECT_FALSE(exists(tree / "docs/gone.txt"));
  restore->open(0);
  settle();
  ASSERT_EQ(opened.size(), 1U);
  EXPECT_EQ(std::filesystem::path(opened[0]).filename(), "gone.txt");
  EXPECT_EQ(readFile(opened[0]), "gone");
  EXPECT_EQ(std::filesystem::status(opened[0]).permissions(), std::filesystem::perms::owner_read);
}

TEST_F(RestorePresenterTest, JobsOfTheseSources_AreHeldOffWhileItRestores) {
  std::vector<std::string> heldOff;
  files.before(FileCall::kCreateFile, [&] { heldOff = PluginList(pluginList).restoredPlaces(); });
  show(tree / "docs/a.txt");
  putBack();
  EXPECT_THAT(heldOff, ::testing::ElementsAre(tree / "docs/a.txt"));
}

TEST_F(RestorePresenterTest, WindowClosedInTheMiddle_LeavesTheFileAsItWasAndHoldsNothingOff) {
  show(tree / "docs/a.txt");
  std::atomic<bool> isCopying{false}, mayGoOn{false};
  files.before(FileCall::kCreateFile, [&] {
    isCopying = true;
    while (!mayGoOn) std::this_thread::yield();
  });
  restore->putBack(0);
  while (!isCopying) std::this_thread::yield();
  restore->cancel();
  mayGoOn = true;
  restore.reset();
  ExpectTreeExactly(tree / "docs",
                    Dir{{"a.txt", File{"spoiled", 0644, 9000}}, {"d", Dir{{"b", File{"b", 0644, 500}}}}});
  EXPECT_TRUE(PluginList(pluginList).restoredPlaces().empty());
}

TEST_F(RestorePresenterTest, RunThatWritesToTheTarget_IsNotDisturbed) {
  const auto folder = realFileCalls().openRoot(tree / "t");
  ASSERT_TRUE(realFileCalls().lockExclusively(folder->get()));
  show(tree / "docs/a.txt");
  putBack();
  EXPECT_FALSE(restore->lastEnd()->isGood);
  EXPECT_EQ(readFile(tree / "docs/a.txt"), "spoiled");
}

TEST_F(RestorePresenterTest, Browsing_ReadsNoDiskOnTheMainThread) {
  const auto mainThread = std::this_thread::get_id();
  files.before(FileCall::kOpenRoot, [&] { EXPECT_NE(std::this_thread::get_id(), mainThread); },
               {.times = FaultyFileCalls::kAlways});
  for (const auto& step :
       std::vector<std::function<void()>>{[&] { restore->showPath(tree / "docs/a.txt"); }, [&] { restore->up(); },
                                          [&] { restore->showJob("uuid"); }}) {
    step();
    settle();
  }
}

TEST_F(RestorePresenterTest, PathOfNoJob_SaysSo) {
  show("/nowhere/x");
  EXPECT_EQ(restore->hint(), "No job copies this, so there are no versions of it.");
  restore->putBack(0);
  EXPECT_FALSE(restore->isRestoring());
}

}  // namespace
}  // namespace lumisk::test
