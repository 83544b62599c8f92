#include "presenters/local_jobs_board.h"

#include <algorithm>

#include "app/job_changes.h"
#include "jobs/job_keys.h"

namespace lumisk {

LocalJobsBoard::LocalJobsBoard(QuorvelAppObject& app, const Clock& clock, ServeUntil serveUntil)
    : RequestBoard(clock), app_(app), serveUntil_(std::move(serveUntil)) {
  const std::weak_ptr<bool> isThere = isThere_;
  const auto teller = [this, isThere](BoardChange change) {
    return [this, isThere, change] {
      if (!isThere.expired()) tell(change);
    };
  };
  app_.observeJobs(teller(BoardChange::kJobs), teller(BoardChange::kProgress));
}

std::vector<BoardRun> LocalJobsBoard::running() {
  std::vector<BoardRun> runs;
  for (std::int32_t index = 0; auto* const scheduler = app_.control().object(index); ++index) {
    if (!scheduler->isNowCopyingFile()) continue;
    const std::string uuid = scheduler->jobUuid();
    runs.push_back({uuid, app_.progressOf(uuid), scheduler->isPaused()});
  }
  return runs;
}

Result<PropertyList::Dictionary> LocalJobsBoard::ask(RequestAction action, PropertyList::Dictionary request) {
  if (action == RequestAction::kChangeJobs && serveUntil_) endRunsOf(PropertyList(request)[kRequestChangesKey].array());
  request[kActionTypeKey] = static_cast<std::int32_t>(action);
  return app_.doDelegateMessageEvent(request);
}

void LocalJobsBoard::endRunsOf(const PropertyList::Array& changes) {
  const auto isBusy = [this](const std::string& uuid) {
    const std::int32_t index = app_.jobs().indexOfUuid(uuid);
    return index >= 0 && app_.jobIsBusyAtIndex(index);
  };
  std::vector<std::string> ending;
  for (const PropertyList& change : changes) {
    const std::string uuid = change[kChangeBeforeKey][kUuidStringKey].text();
    const bool stopsItsRun = differInSettings(change[kChangeBeforeKey], change[kChangeAfterKey]);
    if (!uuid.empty() && stopsItsRun && isBusy(uuid)) ending.push_back(uuid);
  }
  for (const std::string& uuid : ending) app_.stopJobAtIndex(app_.jobs().indexOfUuid(uuid));
  if (!ending.empty()) serveUntil_([&] { return std::none_of(ending.begin(), ending.end(), isBusy); });
}

}  // namespace lumisk
