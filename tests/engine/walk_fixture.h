#pragma once

#include <filesystem>
#include <map>

#include "engine/directory_walk.h"
#include "support/faulty_file_calls.h"
#include "support/own_home.h"
#include "support/run_fixture.h"

namespace lumisk::test {

// Backs up "s" to "t/s" in a tree of its own.
class WalkFixture : public ::testing::TestWithParam<PaceKind> {
 protected:
  struct Ran {
    bool walked = false;
    bool wroteAnything = false;
    RunCounts counts;
    RunError code = RunError::kNone;
    std::uint64_t m_nFileCount = 0;
    std::string log;
    std::map<std::string, EntryOutcome> outcomes;  // by path below the tree
    std::map<std::string, std::string> reasons;
    std::vector<std::pair<std::string, std::string>> recorded;
  };

  // Changes to one run's settings; the last thing before it begins.
  using Prepare = std::function<void(RunFixture&)>;

  Ran backUp(const Prepare& prepare = {}) { return backUp(tree / "s", tree / "t/s", prepare); }
  Ran backUp(const std::string& source, const std::string& destination, const Prepare& prepare = {}) {
    RunFixture fixture(GetParam(), calls ? *calls : files);
    Recorder recorder;
    Ran ran;
    fixture.info.sourcePaths = {tree / "s"};
    fixture.info.targetPaths = {tree / "t"};
    fixture.run.onEntry = [&](EntryOutcome outcome, const std::string& path, const std::string& reason) {
      ran.outcomes[belowTree(path)] = outcome;
      ran.reasons[belowTree(path)] = reason;
    };
    if (prepare) prepare(fixture);
    NoRevisions versions;
    Trash trash(fixture.files, fixture.clock, tree / "t");
    FileCopier copier(fixture.run, versions, trash);
    DirectoryWalk walk(fixture.run, copier, recorder);
    ran.walked = walk.copyDirectory(source, destination, 5, 5);
    ran.wroteAnything = walk.wroteAnything();
    ran.counts = fixture.run.counts;
    ran.code = fixture.run.m_nErrorCode;
    ran.m_nFileCount = fixture.run.m_nFileCount;
    ran.log = fixture.log.all();
    for (const auto& [from, to] : recorder.pairs) ran.recorded.emplace_back(belowTree(from), belowTree(to));
    EXPECT_EQ(fixture.run.m_nFilterCount, 0);
    return ran;
  }

  [[nodiscard]] std::string belowTree(const std::string& path) const {
    return path.starts_with(tree.path() + "/") ? path.substr(tree.path().size() + 1) : path;
  }
  // Calls made so far that change something on the disk.
  [[nodiscard]] int writingCalls() const {
    int count = 0;
    for (const FileCall call : {FileCall::kMakeFolder,   FileCall::kRemoveFolder,   FileCall::kOpenFileForWriting,
                                FileCall::kCreateFile,   FileCall::kWrite,          FileCall::kTruncate,
                                FileCall::kCopyRange,    FileCall::kCloneFile,      FileCall::kRemoveFile,
                                FileCall::kRename,       FileCall::kExchange,       FileCall::kLink,
                                FileCall::kMakeLink,     FileCall::kSetOwner,       FileCall::kSetMode,
                                FileCall::kSetModified,  FileCall::kSetLinkOwner,   FileCall::kSetLinkModified,
                                FileCall::kSetAttribute, FileCall::kRemoveAttribute})
      count += files.count(call);
    return count;
  }

  TempTree tree{{"s", Dir{}}, {"t", Dir{}}, {"home", Dir{}}};
  OwnHome home{tree / "home"};
  FaultyFileCalls files;
  FileCalls* calls = nullptr;  // in place of `files`

 private:
  struct Recorder : RunRecorder {
    void recordPair(const std::string& source, const std::string& destination) override {
      pairs.emplace_back(source, destination);
    }
    std::vector<std::pair<std::string, std::string>> pairs;
  };
};

inline const auto kBothWalkPaces = ::testing::Values(PaceKind::kGentle, PaceKind::kFull);
inline std::string walkPaceName(const ::testing::TestParamInfo<PaceKind>& info) {
  return info.param == PaceKind::kGentle ? "Gentle" : "Full";
}

}  // namespace lumisk::test
