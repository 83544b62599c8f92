#include "jobs/job_views.h"

#include <cerrno>

#include "jobs/job_fields.h"

namespace lumisk {
namespace {

void dropLeadingDots(std::vector<std::string>& extensions) {
  for (std::string& extension : extensions) {
    if (extension.size() >= 2 && extension.front() == '.') extension.erase(0, 1);
  }
}

}  // namespace

Result<void> copyFileObjectPartFromDictionary(const PropertyList& dictionary,
                                              QUORVELPREFERENCEINFOtag_CopyFileObjectPart& view) {
  LUMISK_CHECK(jobFields::readWork(dictionary, view));
  jobFields::readCommon(dictionary, view);
  dropLeadingDots(view.inclusionArray);
  dropLeadingDots(view.exclusionArray);
  jobFields::replaceText(view.lastRunTime, dictionary[kLastRanTimeKey]);
  view.lastCompletedBegin = dictionary[kLastCompletedBeginKey].text();
  takeRunKeys(dictionary, view);
  view.computerName = dictionary[kComputerNameKey].text();
  view.rootDisplayName = dictionary[kRootDisplayNameKey].text();
  view.verifiesClone = dictionary[kVerifyCloneKey].boolean();
  return {};
}

void takeRunKeys(const PropertyList& dictionary, QUORVELPREFERENCEINFOtag_CopyFileObjectPart& view) {
  const auto replace = [&](std::int64_t& time, const char* key) {
    if (!dictionary[key].isNone()) time = dictionary[key].integer();
  };
  replace(view.lastCompletedBeginNanoseconds, kLastCompletedBeginNanosecondsKey);
  replace(view.lastCompletedEndNanoseconds, kLastCompletedEndNanosecondsKey);
  replace(view.doubtedSinceNanoseconds, kDoubtedSinceNanosecondsKey);
  if (!dictionary[kMarkedTargetsKey].isNone()) view.markedTargets = jobFields::texts(dictionary[kMarkedTargetsKey]);
  if (!dictionary[kCapacityWarnedKey].isNone()) view.capacityWarned = dictionary[kCapacityWarnedKey].boolean();
  if (!dictionary[kRootFileSystemsKey].isNone()) view.rootFileSystems = dictionary[kRootFileSystemsKey];
}

Result<void> schedulePartFromDictionary(const PropertyList& dictionary, QUORVELPREFERENCEINFOtag_SchedulePart& view) {
  if (dictionary.kind() != PropertyList::Kind::kDictionary)
    return fail("read the job", "", EINVAL, "it is not a dictionary");
  jobFields::readCommon(dictionary, view);
  jobFields::replaceText(view.lastRunTime, dictionary[kLastRanTimeKey]);
  return {};
}

}  // namespace lumisk
