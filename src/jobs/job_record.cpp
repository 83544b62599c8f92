#include "jobs/job_record.h"

#include <cerrno>
#include <set>

#include "jobs/job_fields.h"
#include "platform/home_folder.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

template <class Enum>
PropertyList number(Enum value) {
  return static_cast<std::int32_t>(value);
}

PropertyList list(const std::vector<std::string>& texts) {
  return Array(texts.begin(), texts.end());
}

// The element before the ones that matter, of both arrays in a job; `first` and `second` are what is special in it.
PropertyList arrayHeader(const char* firstKey, PropertyList first, PropertyList second) {
  return Dictionary{{firstKey, std::move(first)},
                    {"Reserved2", std::move(second)},
                    {"Reserved3", 0},
                    {"Reserved4", 0},
                    {"Reserved5", 0}};
}

PropertyList foldersToArray(const QUORVELPREFERENCEINFO& job) {
  const bool several = job.targetPaths.size() > 1;
  Array folders{arrayHeader(kTargetFlagKey, several, "")};
  for (std::size_t i = 0; i < job.sourcePaths.size(); ++i) {
    const std::size_t target = several ? i : 0;
    folders.emplace_back(job.sourcePaths[i]);
    folders.emplace_back(target < job.targetPaths.size() ? job.targetPaths[target] : std::string());
  }
  return folders;
}

PropertyList weekOrDateToArray(const QUORVELPREFERENCEINFO& job) {
  Array array{arrayHeader("Reserved1", 0, job.scheduling_date.description(kStoredDateFormat))};
  for (const bool flag : job.scheduling_weekFlag) array.emplace_back(flag);
  array.emplace_back(PropertyList::Date{std::chrono::floor<std::chrono::seconds>(job.scheduling_date.time())});
  array.emplace_back(job.scheduling_weekOrDateFlag);
  return array;
}

void writeGroups(const QUORVELPREFERENCEINFO& job, Dictionary& out) {
  out[kBackupFoldersKey] = foldersToArray(job);
  out[kRevisionsKey] = Dictionary{{kDateModeRevisionKey, job.revision_dateMode},
                                  {kMethodKey, number(job.revision_method)},
                                  {kRevisionMaxNumberKey, job.revision_maxNumber}};
  out[kFileTypeFiltersKey] = Dictionary{{kExclusionTypesKey, list(job.exclusionArray)},
                                        {kInclusionTypesKey, list(job.inclusionArray)},
                                        {kMethodKey, job.fileTypeMethod}};
  out[kSchedulingKey] = Dictionary{{kMethodKey, number(job.scheduling_method)},
                                   {kTimerKey, job.scheduling_timer},
                                   {kTimerUnitKey, number(job.scheduling_timerUnit)},
                                   {kWeekOrDateKey, weekOrDateToArray(job)}};
  out[kCopyNowKey] = Dictionary{{kMethodKey, job.copynow_method}};
}

void writeState(const QUORVELPREFERENCEINFO& job, Dictionary& out) {
  out[kLastRanTimeKey] = job.lastRanTime;
  out[kLastBeginTimeKey] = job.lastBeginTime;
  out[kJobModifyTimeKey] = job.jobModifyTime;
  out[kJobStatusKey] = number(job.nCurrentStatus);
  out[kFirstCopyKey] = job.bFirstCopy;
  out[kActiveKey] = job.bActive;
  out[kManullyDisableKey] = job.bManullyDisable;
  // Storing a job through the record resets its bits on purpose; the worker's events bring the real ones.
  out[kDataBitKey] = 0;
}

void writeOptions(const QUORVELPREFERENCEINFO& job, Dictionary& out) {
  out[kObjectNameKey] = job.name;
  out[kUuidStringKey] = job.uuidString;
  out[kJobTypeKey] = number(job.jobType);
  out[kAutoDeletionKey] = job.nAutoDeletion;
  out[kShowProgressWindowKey] = job.bShowProgressBar;
  out[kRetainFullPathKey] = job.bRetainFullPath;
  out[kDisplayWarningKey] = job.bDisplayWarning;
  out[kCapacityPercentageKey] = job.capacityPercentage;
  out[kDmgPathKey] = job.dmgPath;
  out[kAutoMountKey] = job.bAutoMount;
  out[kFileConflictTypeKey] = number(job.fileConflictType);
  out[kRepairPermissionsKey] = job.bRepairPermissions;
  out[kFormatVolumeKey] = job.bFormatVolume;
  out[kMoveFileTrashKey] = job.bMoveFileTrash;
  out[kDealPackageKey] = job.bDealPackage;
}

void writeFields(const QUORVELPREFERENCEINFO& job, Dictionary& out) {
  writeGroups(job, out);
  writeState(job, out);
  writeOptions(job, out);
}

bool isFieldKey(const std::string& key) {
  static const std::set<std::string> keys = [] {
    Dictionary written;
    writeFields({}, written);
    std::set<std::string> found{kCancelStatusKey};
    for (const auto& entry : written) found.insert(entry.first);
    return found;
  }();
  return keys.count(key) != 0;
}

}  // namespace

QUORVELPREFERENCEINFO newJobDefaults(WallTime now) {
  QUORVELPREFERENCEINFO job;
  job.name = getDefaultJobName(now);
  job.scheduling_date = CalendarDate(now, kTimeOfDayFormat);
  return job;
}

std::string getDefaultJobName(WallTime now) {
  return userName() + CalendarDate(now).description("%Y%m%d%H%M%S");
}

void confirmNewJob(QUORVELPREFERENCEINFO& job, JobType type) {
  job.uuidString = generateUUID();
  job.bFirstCopy = true;
  job.jobType = type;
  if (type == JobType::kSyncWithConflicts) job.bRetainFullPath = false;
  if (type == JobType::kClone) job.scheduling_timerUnit = TimerUnit::kHours;
  job.otherKeys[kComputerNameKey] = workspace::computerName();
  job.otherKeys[kRootDisplayNameKey] = workspace::rootDisplayName();
}

PropertyList jobToDictionary(const QUORVELPREFERENCEINFO& job) {
  Dictionary out = job.otherKeys;
  writeFields(job, out);
  return out;
}

Result<void> jobFromDictionary(const PropertyList& dictionary, QUORVELPREFERENCEINFO& job) {
  LUMISK_CHECK(jobFields::readWork(dictionary, job));
  jobFields::readCommon(dictionary, job);
  jobFields::replaceText(job.lastRanTime, dictionary[kLastRanTimeKey]);
  job.lDataBit = static_cast<std::uint32_t>(dictionary[kDataBitKey].integer());
  job.nCurrentStatus = jobFields::enumeration<JobStatus>(dictionary[kJobStatusKey]);
  job.otherKeys.clear();
  for (const auto& [key, value] : dictionary.dictionary()) {
    if (!isFieldKey(key)) job.otherKeys.emplace(key, value);
  }
  return {};
}

std::vector<std::string> createCopyArrayFromSource(const std::vector<std::string>& sources, const std::string& target) {
  std::vector<std::string> pairs;
  for (const std::string& source : sources) {
    pairs.push_back(source);
    pairs.push_back(target + "/" + paths::lastComponent(source));
  }
  return pairs;
}

}  // namespace lumisk
