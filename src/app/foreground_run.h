#pragma once

#include <functional>

#include "engine/copy_file_thread_object.h"
#include "platform/main_loop.h"

namespace lumisk {

// What the face of a run learns while it waits. Called on the main thread.
struct ForegroundEvents {
  std::function<void(const JobProgressMessage&)> onProgress;
  std::function<void(int times)> onStopRequest;  // at each Ctrl-C or SIGTERM, counted from 1
};

// Runs one job once, now, while the caller waits: the worker on its own thread, the main loop on this one, which must
// be the main thread. SIGINT and SIGTERM cancel the run; it then ends cleanly as soon as it can, and further ones
// change nothing.
//
// `jobs` are stored dictionaries, of which the one at `index` runs. What observers of services.notifications ask the
// loop to perform because of this run has been performed when this returns.
Result<RunReport> runInForeground(MainLoop& loop, const WorkerServices& services, PropertyList::Array jobs,
                                  std::int32_t index, const RunOptions& options, const ForegroundEvents& events);

}  // namespace lumisk
