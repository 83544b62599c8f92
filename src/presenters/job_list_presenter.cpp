#include "presenters/job_list_presenter.h"

#include <algorithm>
#include <cstdint>
#include <map>

#include "platform/translation.h"
#include "presenters/locale_text.h"

namespace lumisk {
namespace {

using Rows = std::vector<JobRow>;

JobListPresenter::Changes changesBetween(const Rows& before, const Rows& after) {
  const bool isSameList = std::equal(before.begin(), before.end(), after.begin(), after.end(),
                                     [](const JobRow& one, const JobRow& other) { return one.uuid == other.uuid; });
  if (!isSameList) return {true, {}};
  JobListPresenter::Changes changes;
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i] != after[i]) changes.changed.push_back(i);
  }
  return changes;
}

}  // namespace

JobListPresenter::Changes JobListPresenter::readJobs() {
  const WallTime now = clock_.now();
  Rows next;
  for (const BoardJob& job : board_.jobs()) next.push_back(rowOf(job, now));
  Changes changes = changesBetween(rows_, next);
  rows_ = std::move(next);
  return changes;
}

JobListPresenter::Changes JobListPresenter::readProgress() {
  std::map<std::string, BoardRun> runs;
  for (BoardRun& run : board_.running()) runs.emplace(run.uuid, std::move(run));
  const bool isSame = std::all_of(rows_.begin(), rows_.end(),
                                  [&](const JobRow& row) { return row.isRunning() == runs.contains(row.uuid); });
  if (!isSame) return readJobs();
  Changes changes;
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    if (!rows_[i].isRunning()) continue;
    JobRow row = rows_[i];
    const BoardRun& run = runs.at(row.uuid);
    setProgress(row, run.progress, run.paused);
    if (row == rows_[i]) continue;
    rows_[i] = std::move(row);
    changes.changed.push_back(i);
  }
  return changes;
}

const JobRow* JobListPresenter::find(const std::string& uuid) const {
  const auto found = std::find_if(rows_.begin(), rows_.end(), [&](const JobRow& row) { return row.uuid == uuid; });
  return found == rows_.end() ? nullptr : &*found;
}

std::size_t JobListPresenter::runningCount() const {
  return static_cast<std::size_t>(
      std::count_if(rows_.begin(), rows_.end(), [](const JobRow& row) { return row.isRunning(); }));
}

std::string JobListPresenter::nextText() const {
  const auto order = [](const JobRow& row) { return row.nextOrder == 0 ? INT64_MAX : row.nextOrder; };
  const auto next = std::min_element(rows_.begin(), rows_.end(),
                                     [&](const JobRow& one, const JobRow& other) { return order(one) < order(other); });
  if (next == rows_.end() || order(*next) == INT64_MAX) return {};
  return filled(translated("Next: {}, {}"), next->name, next->nextText);
}

std::string JobListPresenter::summary() const {
  std::string text = filledCount("{} job", "{} jobs", rows_.size());
  if (const std::size_t running = runningCount(); running > 0) {
    text += ", " + filledCount("{} running", "{} running", running);
  }
  const std::string next = nextText();
  return next.empty() ? text : text + ". " + next;
}

JobActions actionsFor(const std::vector<const JobRow*>& selected) {
  const auto any = [&](auto test) { return std::any_of(selected.begin(), selected.end(), test); };
  JobActions actions;
  actions.canStop = any([](const JobRow* row) { return row->isRunning(); });
  const bool anyGoesOn = any([](const JobRow* row) { return row->canBePaused() && !row->isPaused; });
  actions.canResume = !anyGoesOn && any([](const JobRow* row) { return row->isPaused; });
  actions.canPause = anyGoesOn;
  actions.canStart = !actions.canStop && any([](const JobRow* row) { return row->isActive; });
  actions.canEnable = any([](const JobRow* row) { return !row->isActive; });
  actions.canDisable = !selected.empty() && !actions.canEnable;
  actions.canOpen = selected.size() == 1;
  actions.canDelete = !selected.empty();
  return actions;
}

}  // namespace lumisk
