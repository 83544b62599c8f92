#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "jobs/job_keys.h"
#include "platform/calendar_date.h"
#include "platform/property_list.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// The enumerated fields of a job. Their values are stored; do not change them. A stored value outside its set is kept
// as it is (the enums are open) and means what the default does.
enum class JobType : std::int32_t { kBackup = 0, kSyncWithRevisions = 1, kSyncWithConflicts = 2, kClone = 3 };
enum class RevisionMethod : std::int32_t { kNone = 0, kUnlimited = 1, kLimited = 2 };
enum class SchedulingMethod : std::int32_t { kRealTime = 0, kTimer = 1, kWeekDays = 2, kNone = 3 };
enum class TimerUnit : std::int32_t { kMinutes = 0, kHours = 1, kDays = 2 };
enum class JobStatus : std::int32_t { kCompleted = 0, kRunning = 1, kError = 2 };
enum class CancelStatus : std::int32_t { kNone = 0, kCancelled = 1, kError = 2 };

// A clone without a time is made once, when somebody asks for it, and then its job goes.
[[nodiscard]] constexpr bool isOneTimeClone(JobType type, SchedulingMethod method) {
  return type == JobType::kClone && method == SchedulingMethod::kRealTime;
}

[[nodiscard]] inline bool isSync(JobType type) {
  return type == JobType::kSyncWithRevisions || type == JobType::kSyncWithConflicts;
}

// One job: its definition and state. A value type; copies share nothing.
struct QUORVELPREFERENCEINFOtag {
  bool bActive = true;
  bool bFirstCopy = false;
  std::string name;
  bool bMultipleTargetFolder = false;
  std::vector<std::string> sourcePaths;
  std::vector<std::string> targetPaths;  // one, or one per source when bMultipleTargetFolder
  bool revision_dateMode = false;
  RevisionMethod revision_method = RevisionMethod::kLimited;
  std::int32_t revision_maxNumber = 1;
  std::vector<std::string> inclusionArray;  // extensions
  std::vector<std::string> exclusionArray;
  std::int32_t fileTypeMethod = 0;
  SchedulingMethod scheduling_method = SchedulingMethod::kRealTime;
  std::int32_t scheduling_timer = 10;  // in scheduling_timerUnit
  TimerUnit scheduling_timerUnit = TimerUnit::kMinutes;
  std::array<bool, 7> scheduling_weekFlag{};  // [0] Sunday
  CalendarDate scheduling_date;               // format kTimeOfDayFormat
  bool scheduling_weekOrDateFlag = false;
  std::int32_t copynow_method = 0;
  bool bShowProgressBar = false;
  JobStatus nCurrentStatus = JobStatus::kCompleted;
  std::int32_t nAutoDeletion = 0;  // 0 off
  std::uint32_t lDataBit = 0;
  std::string lastRanTime;  // stored date form; empty if never
  std::string lastBeginTime;
  std::string jobModifyTime;
  JobType jobType = JobType::kBackup;
  bool bRetainFullPath = false;
  bool bDisplayWarning = true;
  std::int32_t capacityPercentage = 50;
  std::string dmgPath;  // empty: the target is a plain folder
  std::string uuidString;
  bool bAutoMount = true;
  bool bManullyDisable = false;
  ConflictChoice fileConflictType = ConflictChoice::kSourceWins;
  bool bRepairPermissions = false;
  bool bFormatVolume = false;
  bool bMoveFileTrash = true;
  bool bDealPackage = false;

  // Keys of the stored dictionary that are not fields of the record ("NSLastCompletedBegin", later additions): carried
  // through reading and storing unchanged. "NSCancelStatus" is never among them.
  PropertyList::Dictionary otherKeys;
};
using QUORVELPREFERENCEINFO = QUORVELPREFERENCEINFOtag;

// The defaults of a new job. `now` gives the schedule its time of day and the job its name.
[[nodiscard]] QUORVELPREFERENCEINFO newJobDefaults(WallTime now);
// "anna20090303143005"
[[nodiscard]] std::string getDefaultJobName(WallTime now);

// What confirming a new job adds to its settings: an identifier, the first-copy flag, its type and what the type
// implies (a two-way job with conflicts keeps no full paths, a clone counts its timer in hours).
void confirmNewJob(QUORVELPREFERENCEINFO& job, JobType type);

// Both conversions between the record and the stored dictionary. Reading never fails on missing keys (they give 0,
// false or ""; a missing last-run or modification time leaves what the record holds); it fails with code EINVAL, the
// record untouched, only without the header of "NSBackupFolders". "NSDataBit" is always written as 0.
[[nodiscard]] PropertyList jobToDictionary(const QUORVELPREFERENCEINFO& job);
Result<void> jobFromDictionary(const PropertyList& dictionary, QUORVELPREFERENCEINFO& job);

// For each source: the source, then "<target>/<last component of the source>".
[[nodiscard]] std::vector<std::string> createCopyArrayFromSource(const std::vector<std::string>& sources,
                                                                 const std::string& target);

}  // namespace lumisk
