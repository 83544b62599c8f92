#include "engine/job_progress_message.h"

namespace lumisk {

JobProgressMessage JobProgressMessage::finishedMessageWithJobName(const std::string& jobName) {
  JobProgressMessage message;
  message.jobName = jobName;
  message.totalPercent = 100;
  message.backupPercent = 100;
  message.isFinished = true;
  return message;
}

JobProgressMessage JobProgressMessage::messageWithJobName(const std::string& jobName, const std::string& fileName,
                                                          double totalPercent, double backupPercent) {
  JobProgressMessage message;
  message.jobName = jobName;
  message.fileName = fileName;
  message.totalPercent = totalPercent;
  message.backupPercent = backupPercent;
  return message;
}

}  // namespace lumisk
