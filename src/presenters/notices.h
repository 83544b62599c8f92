#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/desktop_notifications.h"
#include "platform/user_dialogs.h"
#include "presenters/jobs_board.h"

namespace lumisk {

// What a person must know although no window is open, once: a run that failed, until the job has completed one; a job
// that has not completed for too long, until it has; a volume that may be removed. Pure but for the locale and the time
// zone; main thread only.
class NoticeRules {
 public:
  // What there is to tell of the jobs as they are. The first look tells of no failures: they are old.
  [[nodiscard]] std::vector<DesktopNotice> look(const std::vector<BoardJob>& jobs, WallTime now);
  [[nodiscard]] static DesktopNotice of(const VolumeNotice& notice);
  // The uuid of the job that a notice was about; "" for others.
  [[nodiscard]] static std::string jobOf(const std::string& key);
  // The jobs, by name, that have completed a run since the look before.
  [[nodiscard]] const std::vector<std::string>& completedJobs() const { return completed_; }

 private:
  struct Known {
    std::string completed;  // the begin of its last completed run
    bool failureIsTold = false;
    bool overdueIsTold = false;
  };
  void lookAt(const BoardJob& job, WallTime now, std::vector<DesktopNotice>& notices);

  std::map<std::string, Known> known_;  // by uuid
  std::vector<std::string> completed_;
  bool isFirst_ = true;
};

}  // namespace lumisk
