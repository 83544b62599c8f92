#include "ui/desktop_talk.h"

#include "jobs/job_keys.h"

namespace lumisk {

DesktopTalk::DesktopTalk(DialogDesk& desk, DialogWindows& dialogs, WindowSet& windows)
    : dialogs_(dialogs),
      windows_(windows),
      watch_(windows.context().board, windows.context().clock, windows.context().loop, desk,
             [this](const DesktopNotice& notice) { notifications_.send(notice); }) {
  dialogs_.setOpenLog([this](const std::string& jobName) { openLogOf(jobName); });
  notifications_.whenActivated([this](const std::string& key) {
    const std::string uuid = NoticeRules::jobOf(key);
    uuid.empty() ? windows_.showMain() : windows_.openLog(uuid);
  });
}

DesktopTalk::~DesktopTalk() {
  dialogs_.setOpenLog({});
}

void DesktopTalk::openLogOf(const std::string& jobName) {
  for (const BoardJob& job : windows_.context().board.jobs()) {
    if (job.stored[kObjectNameKey].text() == jobName) {
      windows_.openLog(job.uuid);
      return;
    }
  }
}

}  // namespace lumisk
