#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/clock.h"
#include "presenters/background.h"
#include "presenters/job_kinds.h"
#include "presenters/job_problems.h"
#include "presenters/jobs_board.h"

namespace lumisk {

struct SaveResult {
  enum class End {
    kSaved,
    kRefused,           // `text` says why; nothing was stored
    kChangedMeanwhile,  // somebody else has changed the same settings: ask, then save with Meanwhile::kMineWins
    kGone,              // somebody has deleted the job: it can be saved as another one
  };
  End end = End::kSaved;
  std::string text;
};

// One job while it is being made or edited. Nothing is stored before save(). Main thread only.
class JobEditorPresenter {
 public:
  JobEditorPresenter(JobsBoard& board, Clock& clock, DiskQuestions disk, Background background);
  // Edits a stored job; false when it is not there or cannot be read.
  [[nodiscard]] bool edit(const std::string& uuid);

  [[nodiscard]] const QUORVELPREFERENCEINFO& job() const { return job_; }
  // From here on closing would lose something; what a window was opened with is not entered by the user.
  void begin() { begin_ = job_; }
  [[nodiscard]] const std::optional<QUORVELPREFERENCEINFO>& before() const { return before_; }
  [[nodiscard]] bool isNew() const { return !before_; }
  [[nodiscard]] bool isChanged() const;  // whether closing would lose something
  [[nodiscard]] JobQuestions questions() const { return questionsOf(job_.jobType); }

  // Answers. Each ends with the call of `changed`.
  void setKind(JobType type);
  void setName(const std::string& name);  // empty: suggested again
  void addSources(const std::vector<std::string>& paths);
  void removeSource(std::size_t index);
  void setSources(std::vector<std::string> paths);
  // One target for all; an image is given up with it.
  void setTarget(const std::string& path);
  void setTargetOf(std::size_t source, const std::string& path);
  // Switched on, each source has the target that all have had.
  void setOwnTargets(bool own);
  void setImage(const std::string& imagePath, const std::string& mountPoint, bool autoMount);
  void setSchedule(SchedulingMethod method);
  void setTimer(std::int32_t count, TimerUnit unit);
  void setDay(std::size_t day, bool on);
  void setTime(int hour, int minute);
  enum class Filter { kEverything, kOnly, kAllBut };
  void setFilter(Filter filter, const std::string& extensions);
  void setFullPath(bool on);
  void setUnmount(bool on);
  // The rest: fields that mean nothing but themselves.
  void change(const std::function<void(QUORVELPREFERENCEINFO&)>& edit);

  [[nodiscard]] Filter filter() const;
  [[nodiscard]] bool unmounts() const;
  [[nodiscard]] bool hasOwnTargets() const { return job_.targetPaths.size() > 1 || job_.bMultipleTargetFolder; }
  [[nodiscard]] std::optional<WallTime> firstRun() const;  // by its clock, if it were stored now

  // Of all fields, in their order on the page. Those that need the disk are looked up when the folders have changed, on
  // another thread; folders that the job did not have before keep it from being stored until they have been looked at.
  [[nodiscard]] const FieldProblems& problems();
  [[nodiscard]] bool canSave();
  [[nodiscard]] std::vector<std::string> plainWarnings() const;  // what a clone does to its target
  void lookAgain();                                              // a volume may have come or gone
  void boardChanged();  // other jobs may have, too: names and folders are judged again

  enum class Meanwhile { kAsk, kMineWins };
  SaveResult save(Meanwhile meanwhile = Meanwhile::kAsk);
  // Of a job that has gone: goes on as the draft of another one.
  void makeNew();

  std::function<void()> changed = [] {};

 private:
  struct Looked {
    QUORVELPREFERENCEINFO asked;
    FieldProblems problems;
    bool isStale = false;  // good enough until the next look is over
  };
  void touched();
  [[nodiscard]] FieldProblems problemsWithoutDisk();
  void lookAtFolders();
  void suggestName();
  [[nodiscard]] PropertyList::Array storedJobs();
  void addDiskProblems(FieldProblems& problems);
  SaveResult saveNew();
  SaveResult saveEdited(Meanwhile meanwhile);

  JobsBoard& board_;
  Clock& clock_;
  DiskQuestions disk_;
  QUORVELPREFERENCEINFO job_;
  QUORVELPREFERENCEINFO begin_;                  // what the page showed first
  std::optional<QUORVELPREFERENCEINFO> before_;  // as it is stored; nothing for a new job
  bool hasOwnName_ = false;
  std::optional<Filter> filterChoice_;  // the user's, also while its list is still empty
  std::optional<Looked> looked_;
  std::optional<QUORVELPREFERENCEINFO> asked_;  // of the look that is under way
  bool isStartingLook_ = false;
  BackgroundTask looking_;
  std::optional<FieldProblems> problems_;
};

// What somebody changed in a job, carried over to what is stored by now. Pure.
struct CarriedEdit {
  QUORVELPREFERENCEINFO job;
  bool clashes = false;  // the same settings have been changed meanwhile, in another way; ours are in `job`
};
[[nodiscard]] CarriedEdit carriedEdit(const QUORVELPREFERENCEINFO& before, const QUORVELPREFERENCEINFO& mine,
                                      const QUORVELPREFERENCEINFO& current);

}  // namespace lumisk
