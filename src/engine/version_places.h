#pragma once

#include <string>
#include <vector>

#include "engine/full_path.h"
#include "jobs/job_record.h"
#include "platform/property_list.h"

namespace lumisk {

// Where a job keeps versions of one file or folder.
struct VersionPlace {
  std::string job;          // its name
  std::string source;       // the source that holds it
  std::string original;     // its path there
  std::string target;       // the folder that the source is copied to
  std::string copy;         // its path there
  std::string firstTarget;  // the folder with the job's revisions
  PlaceNames names;         // how revisions of what lies elsewhere are spelled below that
  JobType type = JobType::kBackup;
  enum class Asked { kOriginal, kCopy } asked = Asked::kOriginal;  // which of the two the path was
};

// The places of a path, absolute and normalised, that lies at a source of the stored jobs or among the copies in a
// target, by whole components. `current`: the names that jobs which were stored without their own go by. A dictionary
// that is no job is passed by. Pure.
[[nodiscard]] std::vector<VersionPlace> versionPlaces(const PropertyList::Array& jobs, const std::string& path,
                                                      const PlaceNames& current);

}  // namespace lumisk
