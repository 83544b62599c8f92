#pragma once

#include "jobs/job_record.h"

namespace lumisk {

// What the copy worker sees of a job. Filled once at fetchCurrentInfo and not changed during a run.
struct QUORVELPREFERENCEINFOtag_CopyFileObjectPart {
  std::string name;
  bool bActive = true;
  bool bFirstCopy = false;
  bool bMultipleTargetFolder = false;
  std::vector<std::string> sourcePaths;
  std::vector<std::string> targetPaths;
  bool revision_dateMode = false;
  RevisionMethod revision_method = RevisionMethod::kNone;
  std::int32_t revision_maxNumber = 5;
  std::vector<std::string> inclusionArray;  // without the leading "."
  std::vector<std::string> exclusionArray;
  std::int32_t fileTypeMethod = 0;
  SchedulingMethod scheduling_method = SchedulingMethod::kRealTime;
  std::int32_t scheduling_timer = 10;
  TimerUnit scheduling_timerUnit = TimerUnit::kMinutes;
  std::array<bool, 7> scheduling_weekFlag{};
  CalendarDate scheduling_date;
  bool scheduling_weekOrDateFlag = false;
  std::int32_t copynow_method = 0;
  bool bShowProgressBar = false;
  std::int32_t nAutoDeletion = 0;
  std::string lastRunTime;
  std::string lastBeginTime;
  std::string jobModifyTime;
  JobType jobType = JobType::kBackup;
  bool bRetainFullPath = false;
  bool bDisplayWarning = true;
  std::int32_t capacityPercentage = 50;
  std::string dmgPath;
  std::string uuidString;
  bool bAutoMount = true;
  bool bManullyDisable = false;
  ConflictChoice fileConflictType = ConflictChoice::kSourceWins;
  bool bRepairPermissions = false;
  bool bFormatVolume = false;
  bool bMoveFileTrash = true;
  bool bDealPackage = false;
  // Beyond the described view: the begin of the last completed run; empty if none did.
  std::string lastCompletedBegin;
  // The same begin and its end in nanoseconds since 1970; 0: none.
  std::int64_t lastCompletedBeginNanoseconds = 0;
  std::int64_t lastCompletedEndNanoseconds = 0;
  std::int64_t doubtedSinceNanoseconds = 0;  // since when what runs wrote may not have reached the disk; 0: all has
  std::vector<std::string> markedTargets;    // that carry, or carried, the job's marker
  PropertyList rootFileSystems;              // of the sources; engine/remembered_file_systems.h
  bool capacityWarned = false;               // the target has had no room since the user was told so
  // Names for retained full paths, from when the job was made; empty in jobs that do not know them.
  std::string computerName;
  std::string rootDisplayName;
  bool verifiesClone = false;  // a clone compares the contents in the end
};

// What the scheduler sees of a job; its own starting values are the defaults.
struct QUORVELPREFERENCEINFOtag_SchedulePart {
  std::string name;
  bool bActive = true;
  SchedulingMethod scheduling_method = SchedulingMethod::kTimer;
  std::int32_t scheduling_timer = 10;
  TimerUnit scheduling_timerUnit = TimerUnit::kMinutes;
  std::array<bool, 7> scheduling_weekFlag{};
  CalendarDate scheduling_date;
  bool scheduling_weekOrDateFlag = false;
  std::int32_t copynow_method = 0;
  std::string lastRunTime;
  std::string jobModifyTime;
  JobType jobType = JobType::kBackup;
  bool bRetainFullPath = false;
  bool bDisplayWarning = true;
  std::int32_t capacityPercentage = 50;
  std::string dmgPath;
  bool bAutoMount = true;
  bool bManullyDisable = false;
  ConflictChoice fileConflictType = ConflictChoice::kSourceWins;
  bool bRepairPermissions = false;
  bool bFormatVolume = false;
  bool bMoveFileTrash = true;
  bool bDealPackage = false;
};

// From the stored dictionary. The same rules as jobFromDictionary(); for the worker, a leading "." of an extension of
// at least 2 characters is dropped.
// The scheduler's view needs no folders and fails only for what is no dictionary.
Result<void> copyFileObjectPartFromDictionary(const PropertyList& dictionary,
                                              QUORVELPREFERENCEINFOtag_CopyFileObjectPart& view);
// What a run has learned about its job, for the next: those of the keys above that the dictionary has.
void takeRunKeys(const PropertyList& dictionary, QUORVELPREFERENCEINFOtag_CopyFileObjectPart& view);
Result<void> schedulePartFromDictionary(const PropertyList& dictionary, QUORVELPREFERENCEINFOtag_SchedulePart& view);

}  // namespace lumisk
