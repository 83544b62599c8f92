#include "presenters/notice_watch.h"

namespace lumisk {
namespace {

constexpr std::chrono::minutes kBetweenLooks{10};  // for what time alone brings about

}  // namespace

NoticeWatch::NoticeWatch(JobsBoard& board, const Clock& clock, MainLoop& loop, DialogDesk& desk, Send send)
    : board_(board), clock_(clock), desk_(desk), send_(std::move(send)) {
  observation_ = board_.observe([this](BoardChange change) {
    if (change == BoardChange::kJobs) look();
  });
  timer_ = loop.every(kBetweenLooks, [this] { look(); });
  desk_.setVolumeNotices([this](const VolumeNotice& notice) { send_(NoticeRules::of(notice)); });
  desk_.setRelease([this](const HeldDeletions& held) { return board_.startAllowingDeletions(held.jobUuid); });
  look();
}

NoticeWatch::~NoticeWatch() {
  desk_.setVolumeNotices({});
  desk_.setRelease({});
}

void NoticeWatch::look() {
  for (const DesktopNotice& notice : rules_.look(board_.jobs(), clock_.now())) send_(notice);
  for (const std::string& job : rules_.completedJobs()) desk_.jobCompleted(job);
}

}  // namespace lumisk
