#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "jobs/job_views.h"
#include "platform/file_event_stream.h"

namespace lumisk {

// Which folders a real-time job listens to, and what a changed folder is to the job. Pure functions of paths, by whole
// components; a "/" at the end of a path means nothing. What lies in the home trash is never a matter of a job.

// A source of a job and the place that a full run carries it to.
struct ListenedPlace {
  std::string source;
  std::string opposite;
  bool isFolder = true;
};

// A part of a source that is to be looked at again.
struct ListenedPart {
  std::size_t place = 0;  // index of its ListenedPlace
  std::string below;      // the way below both of its sides; "": all of it
  friend bool operator==(const ListenedPart&, const ListenedPart&) = default;
};

// Those that lie in no other, each once, in the reverse of the order given.
[[nodiscard]] std::vector<std::string> sortedMessagesArray(const std::vector<std::string>& folders);

// What a job's stream watches: its source folders, of a file the folder around it; of two-way jobs the other side, too.
[[nodiscard]] std::vector<WatchedRoot> sortTheListenningArray(const std::vector<ListenedPlace>& places, JobType type);

// Whether a changed folder is a matter of the job: around, at or in a source, or in the target (at it for two-way jobs
// with conflict handling), but not in the revisions there.
[[nodiscard]] bool checkListenedDirectory(const std::string& folder,
                                          const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& job);

// "<last name of the source><the rest>" for the first source that the changed path lies in.
[[nodiscard]] std::optional<std::string> createDestinationStringForFSEvent(const std::string& path,
                                                                           const std::vector<std::string>& sources);

// The sources that are files and lie in the changed folder; none for two-way jobs with conflict handling.
[[nodiscard]] std::vector<std::size_t> isAsigleFileChangedAtPath(const std::string& folder,
                                                                 const std::vector<ListenedPlace>& places,
                                                                 JobType type);

// What a pass over these folders looks at, no part inside another. A part ends before the first package of a job that
// treats packages as one; one in a folder that is never walked is left out.
[[nodiscard]] std::vector<ListenedPart> createSourceArrayFromListenedDir(const std::vector<std::string>& folders,
                                                                         const std::vector<ListenedPlace>& places,
                                                                         JobType type, bool dealsPackages);
[[nodiscard]] std::vector<ListenedPart> prunedParts(std::vector<ListenedPart> parts);

// Our own files, which change because of a pass, and folders that are never walked: no events. `target` is the job's.
[[nodiscard]] bool isIgnoredEvent(const std::string& target, const std::string& folder, std::string_view name);

}  // namespace lumisk
