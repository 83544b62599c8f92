#pragma once

#include <functional>
#include <string>

#include "engine/run_seams.h"
#include "engine/run_state.h"
#include "platform/file_calls.h"
#include "platform/trash.h"

namespace lumisk {

// Asked for each entry, with folders before what they hold; false keeps it and the folders above it (ENOTEMPTY). Empty:
// whatever is there may go.
using MayRemove = std::function<bool(const FileStatus&)>;

// Removes an entry for good, a folder with all it holds. Works by descriptors, one at a time, so depth does not matter;
// follows no link and enters no other file system (EBUSY; what is mounted there and the folders above it stay). Ends at
// the first failure, and with ECANCELED when `mustStop` says so.
Result<void> removeTree(FileCalls& files, int folder, const std::string& name, const std::function<bool()>& mustStop,
                        const MayRemove& mayRemove = {});

// Carries a decided deletion out: to the Trash when the job says so, else for good. `standing` is the entry as it was
// when that was decided; one that was changed since is the error ESTALE. What goes to the Trash goes as a whole.
Result<void> discardEntry(RunState& run, Trash& trash, const Place& entry, const FileStatus& standing,
                          const MayRemove& mayRemove = {});

}  // namespace lumisk
