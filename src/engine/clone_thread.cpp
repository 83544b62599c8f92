#include "engine/clone_run.h"
#include "engine/copy_file_thread_members.h"

// The worker's thread where the job is a clone: takes up requests like any other, has the root helper carry them out.

namespace lumisk {

void copyFileThreadObject::Members::cloneDiscThread() {
  runRequests(": Starting running clone job\n");
}

RunResult copyFileThreadObject::Members::runClone(const RunRequest& request, JobLog& log) {
  CloneRun clone(services, request, RunSwitches{m_bTerminateThread, m_bCanceled}, log,
                 [this](const JobProgressMessage& message) { postProgress(message); });
  RunResult result = clone.run();
  postProgress(JobProgressMessage::finishedMessageWithJobName(request.info.name));
  return result;
}

}  // namespace lumisk
