#include "presenters/local_jobs_board.h"

namespace lumisk {

LocalJobsBoard::LocalJobsBoard(QuorvelAppObject& app, const Clock& clock) : RequestBoard(clock), app_(app) {
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
    runs.push_back({uuid, app_.progressOf(uuid)});
  }
  return runs;
}

Result<PropertyList::Dictionary> LocalJobsBoard::ask(RequestAction action, PropertyList::Dictionary request) {
  request[kActionTypeKey] = static_cast<std::int32_t>(action);
  return app_.doDelegateMessageEvent(request);
}

}  // namespace lumisk
