#pragma once

namespace lumisk {

// Keys of a stored job, a dictionary. Read by other programs and older versions: do not change, odd spellings included.

inline constexpr const char* kBackupFoldersKey = "NSBackupFolders";  // [header, source, target, source, target, ...]
inline constexpr const char* kTargetFlagKey = "NSTargetFlag";        // in that header: more than one target
inline constexpr const char* kRevisionsKey = "NSRevisions";
inline constexpr const char* kDateModeRevisionKey = "NSDateModeRevision";
inline constexpr const char* kRevisionMaxNumberKey = "NSRevisionMaxNumber";
inline constexpr const char* kFileTypeFiltersKey = "NSFileTypeFilters";
inline constexpr const char* kExclusionTypesKey = "NSExclusionTypes";
inline constexpr const char* kInclusionTypesKey = "NSInclusionTypes";
inline constexpr const char* kSchedulingKey = "NSScheduling";
inline constexpr const char* kTimerKey = "NSTimer";
inline constexpr const char* kTimerUnitKey = "NSTimerUnit";
inline constexpr const char* kWeekOrDateKey = "NSWeekOrDate";  // [header, 7 week flags, date, flag]
inline constexpr const char* kCopyNowKey = "NSCopyNow";
inline constexpr const char* kMethodKey = "NSMethod";  // in several of the dictionaries above
inline constexpr const char* kLastRanTimeKey = "NSLastRanTime";
inline constexpr const char* kJobModifyTimeKey = "NSJobModifyTime";
inline constexpr const char* kDataBitKey = "NSDataBit";
inline constexpr const char* kAutoDeletionKey = "NSAutoDeletion";
inline constexpr const char* kJobStatusKey = "NSJobStatus";
inline constexpr const char* kCancelStatusKey = "NSCancelStatus";  // never part of the record
inline constexpr const char* kFirstCopyKey = "NSFirstCopy";
inline constexpr const char* kActiveKey = "NSActive";
inline constexpr const char* kObjectNameKey = "NSObjectName";
inline constexpr const char* kShowProgressWindowKey = "NSShowProgressWindow";
inline constexpr const char* kJobTypeKey = "NSJobType";
inline constexpr const char* kRetainFullPathKey = "NSRetainFullPath";
inline constexpr const char* kDisplayWarningKey = "NSDisplayWarning";
inline constexpr const char* kCapacityPercentageKey = "NSCapacityPercentage";
inline constexpr const char* kDmgPathKey = "NSDmgPath";
inline constexpr const char* kLastBeginTimeKey = "NSLastBeginTime";
inline constexpr const char* kUuidStringKey = "NSUuidString";
inline constexpr const char* kAutoMountKey = "NSAutoMount";
inline constexpr const char* kManullyDisableKey = "NSManullyDisable";
inline constexpr const char* kFileConflictTypeKey = "NSFileConflictType";
inline constexpr const char* kRepairPermissionsKey = "NSRepairPermissions";
inline constexpr const char* kFormatVolumeKey = "NSFormatVolume";
inline constexpr const char* kMoveFileTrashKey = "NSMoveFileTrash";
inline constexpr const char* kDealPackageKey = "NSDealPackage";
// Begin of the last run that completed, stored date form with nanoseconds dropped: what decisions go by.
inline constexpr const char* kLastCompletedBeginKey = "NSLastCompletedBegin";
// The same begin, and when the walks of that run were over, in nanoseconds since 1970.
inline constexpr const char* kLastCompletedBeginNanosecondsKey = "NSLastCompletedBeginNanoseconds";
inline constexpr const char* kLastCompletedEndNanosecondsKey = "NSLastCompletedEndNanoseconds";
// Since when what runs wrote may not have reached the disk, in nanoseconds since 1970; 0: all of it has.
inline constexpr const char* kDoubtedSinceNanosecondsKey = "NSDoubtedSinceNanoseconds";
// The target folders that the job has marked: an array of paths.
inline constexpr const char* kMarkedTargetsKey = "NSMarkedTargets";
// The file systems that the sources, and the mounts below them, were found on: an array of dictionaries.
inline constexpr const char* kRootFileSystemsKey = "NSRootFileSystems";
// The user was told that the target is nearly full, and it has had no room since.
inline constexpr const char* kCapacityWarnedKey = "NSCapacityWarned";
// A clone compares source and target by their contents in the end; a boolean.
inline constexpr const char* kVerifyCloneKey = "NSVerifyClone";
// The computer's name and the display name of "/" as they were when the job was made: how jobs that retain full paths
// go on spelling their places below the target.
// The volume of the target is unmounted after a run that its arrival has started; a boolean.
inline constexpr const char* kUnmountAfterArrivalKey = "NSUnmountAfterArrival";
inline constexpr const char* kComputerNameKey = "NSComputerName";
inline constexpr const char* kRootDisplayNameKey = "NSRootDisplayName";

}  // namespace lumisk
