#pragma once

#include <atomic>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "engine/work_pool.h"
#include "platform/paths.h"
#include "support/fake_clock.h"
#include "support/temp_tree.h"

namespace lumisk::test {

class RecordingJobLog : public JobLog {
 public:
  std::vector<std::string> lines;  // one for each message
  [[nodiscard]] std::string all() const {
    std::string text;
    for (const std::string& line : lines) text += line;
    return text;
  }

 protected:
  void writeText(const std::string& text) override { lines.push_back(text); }
};

// Notes what is shown; questions get the answers that were put in.
class RecordingDialogs : public UserDialogs {
 public:
  void showAlert(const std::string& title, const std::string& message) override {
    alerts.push_back(title + ": " + message);
  }
  void showMessage(const std::string& jobName, const std::string& title, const std::string& message) override {
    messages.push_back(jobName + ": " + title + ": " + message);
  }
  void showPathProblem(const PathProblem& problem) override { pathProblems.push_back(problem); }
  void showFinish(const FinishDialog& dialog) override { finishes.push_back(dialog); }
  void showHeldDeletions(const HeldDeletions& deletions) override { held.push_back(deletions); }
  ConflictAnswer askConflict(const ConflictQuestion& question) override {
    conflicts.push_back(question);
    return conflictAnswer;
  }
  bool ask(const std::string& title, const std::string&, const std::string&, const std::string&) override {
    questions.push_back(title);
    return answer;
  }

  std::vector<std::string> alerts, messages, questions;
  std::vector<PathProblem> pathProblems;
  std::vector<FinishDialog> finishes;
  std::vector<HeldDeletions> held;
  std::vector<ConflictQuestion> conflicts;
  ConflictAnswer conflictAnswer;
  bool answer = true;
};

// Beside a run's own, in all tests that do not choose the number themselves.
inline std::size_t testThreads() {
  const char* const wish = getenv("LUMISK_TEST_THREADS");
  return wish ? std::stoul(wish) : 0;
}

// All that one run shares, with a clock that never waits. Tests change `info` before they make what reads it.
class RunFixture {
 public:
  explicit RunFixture(PaceKind pace = PaceKind::kFull, FileCalls& fileCalls = realFileCalls())
      : files(fileCalls), run(info, files, clock, Pace(pace, clock), log, dialogs) {
    info.name = "job";
    info.bMoveFileTrash = false;
    run.cancelled = &cancelled;
    run.begin = clock.now();
    run.onOutOfSpace = [this] { ++outOfSpace; };
    if (testThreads() > 0) useThreads(testThreads());
    run.postProgress = [this](const JobProgressMessage& message) { progress.push_back(message); };
  }

  // Beside the run's own.
  void useThreads(std::size_t threads) { run.pool = &pool_.emplace(threads); }

  // The entry at an absolute path; its folder stays open as long as the fixture. Not through the run's own calls, which
  // may fail on purpose.
  Place place(const std::string& path) {
    auto folder = realFileCalls().openRoot(paths::parent(path));
    EXPECT_TRUE(folder) << path;
    if (!folder) return {-1, paths::lastComponent(path), path};
    folders_.push_back(std::move(*folder));
    return {folders_.back().get(), paths::lastComponent(path), path};
  }
  // Its status; empty when nothing stands there.
  static std::optional<FileStatus> standing(const Place& place) {
    auto status = realFileCalls().status(place.folder, place.name);
    if (!status) return std::nullopt;
    return *status;
  }
  static FileStatus seen(const Place& place) {
    const auto status = standing(place);
    EXPECT_TRUE(status) << place.path;
    return status.value_or(FileStatus{});
  }

  QUORVELPREFERENCEINFOtag_CopyFileObjectPart info;
  FileCalls& files;
  FakeClock clock;
  RecordingJobLog log;
  RecordingDialogs dialogs;
  std::atomic<bool> cancelled{false};
  int outOfSpace = 0;  // how often the run was told
  std::vector<JobProgressMessage> progress;
  RunState run;

 private:
  std::vector<Descriptor> folders_;
  std::optional<WorkPool> pool_;
};

}  // namespace lumisk::test
