#include "ui/local_desktop.h"

#include "engine/work_pool.h"
#include "jobs/shared_files.h"
#include "platform/process.h"

namespace lumisk {
namespace {

WorkerServices workerServices(FileCalls& files, Clock& clock, NotificationCenter& notifications, UserDialogs& dialogs,
                              KeychainImages& images, FileEventStreams& streams) {
  WorkerServices services{files, clock, notifications, dialogs, images, {}, {}, {}};
  services.threads = WorkPool::usualThreads();
  services.eventListening = makeEventListening(streams, files);
  services.clone.makeCloner = [&dialogs] { return makeCloneVolumeObject(dialogs); };
  return services;
}

}  // namespace

LocalDesktop::LocalDesktop(MainLoop& loop, UserDialogs& dialogs, Clock& clock, FileCalls& files)
    : app_({loop,
            {workerServices(files, clock, notifications_, dialogs, images_, streams_), makeRealSleep, pluginListPath()},
            defaults_,
            process::programPath(),
            true,
            media_.get()}) {}

}  // namespace lumisk
