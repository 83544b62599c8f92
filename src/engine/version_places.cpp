#include "engine/version_places.h"

#include "engine/path_texts.h"
#include "engine/revision_numbering.h"
#include "jobs/job_views.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFOtag_CopyFileObjectPart;

PlaceNames namesOf(const Job& job) {
  return {job.computerName, job.rootDisplayName};
}

// What the source becomes in the target.
std::string sourceInTarget(const Job& job, const std::string& source, const std::string& target) {
  if (job.bRetainFullPath) return target + getFullPathRetainSourcePath(source, namesOf(job));
  const bool fillsTarget = job.jobType == JobType::kSyncWithConflicts || job.jobType == JobType::kClone;
  return fillsTarget ? target : paths::join(target, paths::lastComponent(source));
}

VersionPlace placeOf(const Job& job, const std::string& source, const std::string& target) {
  VersionPlace place;
  place.job = job.name;
  place.source = source;
  place.target = target;
  place.firstTarget = job.targetPaths.front();
  place.names = namesOf(job);
  place.type = job.jobType;
  return place;
}

void addPlaces(const Job& job, const std::string& source, const std::string& target, const std::string& path,
               std::vector<VersionPlace>& places) {
  const std::string copied = sourceInTarget(job, source, target);
  VersionPlace place = placeOf(job, source, target);
  if (const auto copy = getTargetPathFromPath(path, source, copied)) {
    place.original = path;
    place.copy = *copy;
    places.push_back(place);
  }
  if (paths::isInside(path, paths::join(target, kRevisionFolderName))) return;
  if (const auto original = getSourcePathFromPath(path, copied, source)) {
    place.original = *original;
    place.copy = path;
    place.asked = VersionPlace::Asked::kCopy;
    places.push_back(std::move(place));
  }
}

}  // namespace

std::vector<VersionPlace> versionPlaces(const PropertyList::Array& jobs, const std::string& path,
                                        const PlaceNames& current) {
  std::vector<VersionPlace> places;
  for (const PropertyList& stored : jobs) {
    Job job;
    if (!copyFileObjectPartFromDictionary(stored, job) || job.targetPaths.empty()) continue;
    if (job.computerName.empty()) job.computerName = current.computerName;
    if (job.rootDisplayName.empty()) job.rootDisplayName = current.rootDisplayName;
    for (std::size_t k = 0; k < job.sourcePaths.size(); ++k) {
      const std::size_t target = job.bMultipleTargetFolder ? k : 0;
      if (target < job.targetPaths.size()) addPlaces(job, job.sourcePaths[k], job.targetPaths[target], path, places);
    }
  }
  return places;
}

}  // namespace lumisk
