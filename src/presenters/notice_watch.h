#pragma once

#include <functional>

#include "app/dialog_desk.h"
#include "platform/main_loop.h"
#include "presenters/notices.h"

namespace lumisk {

// Looks at the jobs whenever they change, and once in a while, and sends what must be told of them; takes back the
// dialogs about jobs that have completed since; has deletions that are let through run. All must outlive it. Main
// thread only.
class NoticeWatch {
 public:
  using Send = std::function<void(const DesktopNotice& notice)>;
  NoticeWatch(JobsBoard& board, const Clock& clock, MainLoop& loop, DialogDesk& desk, Send send);
  ~NoticeWatch();
  NoticeWatch(const NoticeWatch&) = delete;
  NoticeWatch& operator=(const NoticeWatch&) = delete;

 private:
  void look();

  JobsBoard& board_;
  const Clock& clock_;
  DialogDesk& desk_;
  Send send_;
  NoticeRules rules_;
  JobsBoard::Observation observation_;
  MainLoop::SourceHandle timer_;
};

}  // namespace lumisk
