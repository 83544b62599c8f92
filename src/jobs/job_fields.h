#pragma once

#include <cerrno>

#include "jobs/job_keys.h"
#include "jobs/job_record.h"

// How the fields of a stored job are read, for the record and its two views alike: they name the same fields the same
// way. Missing keys give 0, false or "". Only for the sources of this folder.
namespace lumisk::jobFields {

template <class Enum>
Enum enumeration(const PropertyList& value) {
  return static_cast<Enum>(value.integer32());
}

inline std::vector<std::string> texts(const PropertyList& list) {
  std::vector<std::string> found;
  for (const PropertyList& item : list.array()) found.push_back(item.text());
  return found;
}

// The text changes only when the key is there.
inline void replaceText(std::string& text, const PropertyList& value) {
  if (!value.isNone()) text = value.text();
}

template <class View>
void readScheduling(const PropertyList& scheduling, View& view) {
  view.scheduling_method = enumeration<SchedulingMethod>(scheduling[kMethodKey]);
  view.scheduling_timer = scheduling[kTimerKey].integer32();
  view.scheduling_timerUnit = enumeration<TimerUnit>(scheduling[kTimerUnitKey]);
  const PropertyList& weekOrDate = scheduling[kWeekOrDateKey];
  for (std::size_t day = 0; day < 7; ++day) view.scheduling_weekFlag[day] = weekOrDate.at(day + 1).boolean();
  view.scheduling_date = CalendarDate(weekOrDate.at(8).date(), kTimeOfDayFormat);
  view.scheduling_weekOrDateFlag = weekOrDate.at(9).boolean();
}

// What the record and both views have.
template <class View>
void readCommon(const PropertyList& job, View& view) {
  view.name = job[kObjectNameKey].text();
  view.bActive = job[kActiveKey].boolean();
  readScheduling(job[kSchedulingKey], view);
  view.copynow_method = job[kCopyNowKey][kMethodKey].integer32();
  replaceText(view.jobModifyTime, job[kJobModifyTimeKey]);
  view.jobType = enumeration<JobType>(job[kJobTypeKey]);
  view.bRetainFullPath = job[kRetainFullPathKey].boolean();
  view.bDisplayWarning = job[kDisplayWarningKey].boolean();
  view.capacityPercentage = job[kCapacityPercentageKey].integer32();
  view.dmgPath = job[kDmgPathKey].text();
  view.bAutoMount = job[kAutoMountKey].boolean();
  view.bManullyDisable = job[kManullyDisableKey].boolean();
  view.fileConflictType = enumeration<ConflictChoice>(job[kFileConflictTypeKey]);
  view.bRepairPermissions = job[kRepairPermissionsKey].boolean();
  view.bFormatVolume = job[kFormatVolumeKey].boolean();
  view.bMoveFileTrash = job[kMoveFileTrashKey].boolean();
  view.bDealPackage = job[kDealPackageKey].boolean();
}

template <class View>
void readFolders(const PropertyList& folders, View& view) {
  view.bMultipleTargetFolder = folders.at(0)[kTargetFlagKey].boolean();
  view.sourcePaths.clear();
  view.targetPaths.clear();
  const std::size_t count = folders.array().size();
  if (!view.bMultipleTargetFolder && count > 2) view.targetPaths.push_back(folders.at(2).text());
  for (std::size_t k = 2; k - 1 < count; k += 2) {
    view.sourcePaths.push_back(folders.at(k - 1).text());
    if (view.bMultipleTargetFolder) view.targetPaths.push_back(folders.at(k).text());
  }
}

// What the record and the worker's view have besides. Fails without the header of the folders: that is no job.
template <class View>
Result<void> readWork(const PropertyList& job, View& view) {
  if (job[kBackupFoldersKey].at(0).kind() != PropertyList::Kind::kDictionary)
    return fail("read the job", job[kObjectNameKey].text(), EINVAL, "its folders have no header");
  readFolders(job[kBackupFoldersKey], view);
  const PropertyList& revisions = job[kRevisionsKey];
  view.revision_dateMode = revisions[kDateModeRevisionKey].boolean();
  view.revision_method = enumeration<RevisionMethod>(revisions[kMethodKey]);
  view.revision_maxNumber = revisions[kRevisionMaxNumberKey].integer32();
  const PropertyList& filters = job[kFileTypeFiltersKey];
  view.exclusionArray = texts(filters[kExclusionTypesKey]);
  view.inclusionArray = texts(filters[kInclusionTypesKey]);
  view.fileTypeMethod = filters[kMethodKey].integer32();
  view.bFirstCopy = job[kFirstCopyKey].boolean();
  view.bShowProgressBar = job[kShowProgressWindowKey].boolean();
  view.nAutoDeletion = job[kAutoDeletionKey].integer32();
  view.lastBeginTime = job[kLastBeginTimeKey].text();
  view.uuidString = job[kUuidStringKey].text();
  return {};
}

}  // namespace lumisk::jobFields
