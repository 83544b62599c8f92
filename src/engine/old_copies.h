#pragma once

#include <string>

#include "engine/file_copier.h"
#include "engine/run_state.h"
#include "platform/trash.h"

namespace lumisk {

// The copies that keep both sides of a conflict: "report(OLD).pdf" beside "report.pdf".

// Only the last component changes; one that would be too long gets a shorter base (see taggedName()).
[[nodiscard]] std::string stringByAppendOLDTag(const std::string& path);

// Copies a file or link to its "(OLD)" name in the same folder; the file itself stays. What has that name goes to the
// Trash first, whatever the job says: it is the version that lost an earlier conflict. Where it went.
Result<Place> copyFileWithOLDTag(RunState& run, FileCopier& copier, Trash& trash, const Place& file,
                                 const FileStatus& seen);

}  // namespace lumisk
