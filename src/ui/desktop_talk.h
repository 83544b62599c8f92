#pragma once

#include "platform/desktop_notifications.h"
#include "presenters/notice_watch.h"
#include "ui/dialog_windows.h"
#include "ui/windows.h"

namespace lumisk {

// What joins dialogs, notifications and windows: a notice that is clicked brings up what it is about, a dialog shows
// the log of its job, deletions that are let through run. All must outlive it. Main thread only.
class DesktopTalk {
 public:
  DesktopTalk(DialogDesk& desk, DialogWindows& dialogs, WindowSet& windows);
  ~DesktopTalk();
  DesktopTalk(const DesktopTalk&) = delete;
  DesktopTalk& operator=(const DesktopTalk&) = delete;

 private:
  void openLogOf(const std::string& jobName);

  DialogWindows& dialogs_;
  WindowSet& windows_;
  DesktopNotifications notifications_{"Qel Lumisk", "lumisk"};
  NoticeWatch watch_;
};

}  // namespace lumisk
