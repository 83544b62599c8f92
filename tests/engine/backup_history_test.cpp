#include <rapidcheck.h>

#include <filesystem>
#include <set>

#include "engine/backup_deletions.h"
#include "engine/directory_walk.h"
#include "engine/revision_store.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {
namespace {

namespace fs = std::filesystem;

// A backup of "s/docs" into "t" that keeps revisions and follows deletions, run after run.
class Backup {
 public:
  Backup() {
    fixture.info.nAutoDeletion = 1;
    fixture.info.bMoveFileTrash = true;
    fixture.info.revision_method = RevisionMethod::kUnlimited;
    fixture.info.targetPaths = {tree / "t"};
  }

  void run() {
    const DeletionScope scope{{{tree / "s/docs", tree / "t/docs"}}, {tree / "t"}, {}};
    Trash trash(fixture.files, fixture.clock, tree / "t");
    DeletionBrake brake;
    brake.isReleased = true;
    BackupDeletions deletions(fixture.run, brake, scope, BackupDeletions::List::kKept);
    RevisionStore revisions(fixture.run, trash, PlaceNames{"desk", "Root"});
    FileCopier copier(fixture.run, revisions, trash);
    DirectoryWalk walk(fixture.run, copier, deletions.recorder(), deletions.rulesFor(trash, tree / "t"));
    deletions.carry(tree / "t", scope.roots.front());
    RC_ASSERT(walk.copyDirectory(tree / "s/docs", tree / "t/docs", 5, 5));
    deletions.settle();
  }

  // Everything that a file holds or a link says, anywhere outside the source.
  std::set<std::string> keptTexts() {
    std::set<std::string> texts = textsBelow(tree / "t");
    texts.merge(textsBelow(tree / "home"));
    return texts;
  }

  TempTree tree{{"s", Dir{{"docs", Dir{}}}}, {"t", Dir{}}, {"home", Dir{}}};
  OwnHome home{tree / "home"};
  RunFixture fixture;
};

// Edits at random; what it wrote last into each place is in `texts`.
class Editor {
 public:
  explicit Editor(std::string folder) : folder_(std::move(folder)) {}

  void edit() {
    const std::string path =
        folder_ + *rc::gen::elementOf(std::vector<std::string>{"/a", "/b.txt", "/d", "/d/a", "/d/e"});
    if (fs::symlink_status(fs::path(path).parent_path()).type() != fs::file_type::directory) return;
    const int kind = *rc::gen::inRange(0, 5);
    if (kind == 0 || kind == 1) return writeText(path);
    fs::remove_all(path);
    if (kind == 2) fs::create_directory(path);
    if (kind == 3) fs::create_symlink("link " + std::to_string(++count_), path);
  }
  std::set<std::string> texts() const { return textsBelow(folder_); }

 private:
  void writeText(const std::string& path) {
    fs::remove_all(path);
    writeFile(path, "text " + std::to_string(++count_));
    setModified(path, 1'000'000'000 + 10 * count_);
  }

  std::string folder_;
  int count_ = 0;
};

TEST(BackupHistory, AnyEdits_AreFollowedAndNoVersionIsLost) {
  EXPECT_TRUE(rc::check([] {
    Backup backup;
    Editor editor(backup.tree / "s/docs");
    std::set<std::string> everBackedUp;
    const int runs = *rc::gen::inRange(2, 5);
    for (int run = 0; run < runs; ++run) {
      const int edits = *rc::gen::inRange(1, 6);
      for (int i = 0; i < edits; ++i) editor.edit();
      backup.run();
      RC_ASSERT(backup.fixture.run.counts.errors == 0u);
      RC_ASSERT(bool(expectSameTrees(backup.tree / "s/docs", backup.tree / "t/docs")));
      everBackedUp.merge(editor.texts());
    }
    const auto kept = backup.keptTexts();
    RC_ASSERT(std::includes(kept.begin(), kept.end(), everBackedUp.begin(), everBackedUp.end()));
  }));
}

TEST(BackupHistory, ReadOnlyFolder_FollowsDeletionsToo) {
  Backup backup;
  makeTree(backup.tree / "s/docs", {{"d", Dir{{"a", File{"a"}}, {"b", File{"b"}}}}});
  fs::permissions(backup.tree / "s/docs/d", fs::perms{0555});
  backup.run();
  fs::permissions(backup.tree / "s/docs/d", fs::perms{0755});
  fs::remove(backup.tree / "s/docs/d/a");
  fs::permissions(backup.tree / "s/docs/d", fs::perms{0555});
  fs::remove(backup.tree / "home/Library/Preferences/QEL_LUMISK/job.qellumiskdat");
  backup.run();
  ExpectSameTrees(backup.tree / "s/docs", backup.tree / "t/docs");
  for (const char* side : {"s", "t"}) fs::permissions(backup.tree / (side + std::string("/docs/d")), fs::perms{0755});
}

}  // namespace
}  // namespace lumisk::test
