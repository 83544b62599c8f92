#pragma once

#include <filesystem>

#include "engine/copy_rule.h"
#include "engine/file_copier.h"
#include "support/faulty_file_calls.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {

// Keeps versions as it is told to, by names of its own in the destination's folder.
class TestKeeper : public VersionKeeper {
 public:
  Result<Kept> keep(const Place& destination, const FileStatus&) override {
    ++asked;
    FileCalls& files = realFileCalls();
    if (answer == Kept::kLinked)
      LUMISK_CHECK(files.link(destination.folder, destination.name, destination.folder, destination.name + ".kept"));
    if (answer == Kept::kMoved)
      LUMISK_CHECK(files.rename(destination.folder, destination.name, destination.folder, destination.name + ".kept",
                                Replace::kNever));
    if (afterwards) afterwards();
    if (error != 0) return fail("keep", destination.path, error);
    return answer;
  }
  Kept answer = Kept::kNothing;
  int error = 0;
  int asked = 0;
  std::function<void()> afterwards;
};

// Keeps the machine's own Trash out of it: what the one below "home" cannot take goes into the target's.
inline void forbidForeignTrash(FaultyFileCalls& files) {
  files.fail(FileCall::kAny, EACCES, {.name = ".Trash-*", .times = FaultyFileCalls::kAlways});
}

// Copies from "s" to "t" in a tree of its own; the Trash is below "home".
class CopierFixture : public ::testing::TestWithParam<PaceKind> {
 protected:
  CopierFixture() { forbidForeignTrash(files); }

  Place source(const std::string& name) { return run.place(tree / ("s/" + name)); }
  Place target(const std::string& name) { return run.place(tree / ("t/" + name)); }

  Result<FileCopier::Copied> copy(const std::string& name) {
    const Place from = source(name);
    const Place to = target(name);
    return copier.copyMacintoshFile(from, RunFixture::seen(from), to, RunFixture::standing(to));
  }

  // What lies in any Trash of the tree, by name: the text of files, "->text" of links, "/" of folders.
  [[nodiscard]] std::map<std::string, std::string> trashed() const {
    std::map<std::string, std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(tree.path())) {
      if (entry.path().parent_path().filename() != "files") continue;
      const std::string name = entry.path().filename();
      if (entry.is_symlink())
        found[name] = "->" + std::filesystem::read_symlink(entry.path()).string();
      else
        found[name] = entry.is_directory() ? "/" : readFile(entry.path());
    }
    return found;
  }

  TempTree tree{{"s", Dir{}}, {"t", Dir{}}, {"home", Dir{}}};
  OwnHome home{tree / "home"};
  FaultyFileCalls files;
  RunFixture run{GetParam(), files};
  TestKeeper keeper;
  Trash trash{files, run.clock, tree / "t"};
  FileCopier copier{run.run, keeper, trash};
};

inline const auto kBothPaces = ::testing::Values(PaceKind::kGentle, PaceKind::kFull);
inline std::string paceName(const ::testing::TestParamInfo<PaceKind>& info) {
  return info.param == PaceKind::kGentle ? "Gentle" : "Full";
}

}  // namespace lumisk::test
