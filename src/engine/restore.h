#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <vector>

#include "engine/job_log.h"
#include "engine/run_state.h"
#include "engine/version_catalog.h"
#include "platform/clock.h"
#include "platform/user_dialogs.h"

namespace lumisk {

struct RestoreServices {
  FileCalls& files;
  Clock& clock;
  JobLog& log;
  UserDialogs& dialogs;
  const std::atomic<bool>* cancelled = nullptr;
  // Told once in a while of what is being put back, on the restoring thread; may be empty. Of a folder the total is not
  // known.
  std::function<void(const JobProgressMessage&)> progress = {};
};

struct RestoreReport {
  RunCounts counts;  // `errors`: entries of a folder that could not be put back; the log names them
  bool wroteAnything = false;
};

// Whether putting the version there would change what can be read there: bytes of files, texts of links, entries that
// are missing. Dates and permissions alone do not count, nor does what the version lacks. Reads both, changes nothing.
Result<bool> differsFrom(const RestoreServices& services, const Version& version, const std::string& destination);

// Puts a copy of the version at `destination`, an absolute path, with its owner, permissions, dates and attributes. The
// version stays where it is. What stands there and is not the same goes to the Trash before it is replaced, and where
// it cannot go there it is not replaced. Of a folder every entry is put back so; what only the destination has stays.
//
// Missing folders above the destination are made from `makeFoldersFrom` on (a folder whose parent must exist; "" for
// none), with the permissions and dates of those above the copy in the target. Holds no locks: see lockTargets(). Ends
// when all is on the disk. ECANCELED when it was cancelled.
Result<RestoreReport> restoreVersion(const RestoreServices& services, const Version& version,
                                     const std::string& destination, const std::string& makeFoldersFrom);

// Keeps runs away from these folders for as long as the descriptors live, as runs keep each other away. The error
// EWOULDBLOCK names the folder that a run is writing to. Folders that are not there, or know no locks, are passed by.
Result<std::vector<Descriptor>> lockTargets(FileCalls& files, const std::vector<std::string>& targets);

}  // namespace lumisk
