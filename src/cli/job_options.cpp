#include "cli/job_options.h"

#include <charconv>

#include "cli/options.h"
#include "cli/schedule_text.h"
#include "cli/text_list.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFO;
using Text = std::string;
using Context = JobOptionContext;

tl::unexpected<Complaint> notUnderstood(const char* wanted) {
  return refuse("", wanted);
}

Checked<void> setFlag(bool& field, bool value) {
  field = value;
  return {};
}

// The filter compares with extensions in lower case.
Checked<void> setExtensions(std::vector<std::string>& field, const Text& value) {
  field = splitAtCommas(loweredAscii(value));
  return {};
}

// The names are kept with the job, so that a renamed computer does not start a second copy.
Checked<void> retainFullPath(Job& job) {
  job.bRetainFullPath = true;
  job.otherKeys.try_emplace(kComputerNameKey, workspace::computerName());
  job.otherKeys.try_emplace(kRootDisplayNameKey, workspace::rootDisplayName());
  return {};
}

Checked<void> setUnmount(Job& job, bool isUnmounted) {
  job.otherKeys[kUnmountAfterArrivalKey] = isUnmounted;
  return {};
}

Checked<void> setVerify(Job& job, bool isVerified) {
  job.otherKeys[kVerifyCloneKey] = isVerified;
  return {};
}

Checked<void> setConflictChoice(Job& job, const Text& value) {
  constexpr std::pair<const char*, ConflictChoice> kChoices[] = {{"source", ConflictChoice::kSourceWins},
                                                                 {"target", ConflictChoice::kTargetWins},
                                                                 {"newer", ConflictChoice::kNewerWins},
                                                                 {"both", ConflictChoice::kKeepBoth}};
  for (const auto& [name, choice] : kChoices) {
    if (value != name) continue;
    job.fileConflictType = choice;
    return {};
  }
  return notUnderstood("give source, target, newer or both");
}

Checked<void> setInterval(Job& job, const Text& value) {
  const auto interval = parseInterval(value);
  if (!interval) return notUnderstood("give a number and m, h or d, such as 10m, 3h or 1d");
  job.scheduling_method = SchedulingMethod::kTimer;
  job.scheduling_timer = interval->count;
  job.scheduling_timerUnit = interval->unit;
  return {};
}

Checked<void> setWeekDays(Job& job, const Text& value) {
  const auto days = parseWeekDays(value);
  if (!days) return notUnderstood("give days such as sun,mon,wed");
  job.scheduling_method = SchedulingMethod::kWeekDays;
  job.scheduling_weekFlag = *days;
  job.scheduling_weekOrDateFlag = false;
  return {};
}

Checked<void> setTimeOfDay(Job& job, const Text& value, const Context& context) {
  const auto time = parseTimeOfDay(value);
  if (!time) return notUnderstood("give a time such as 07:05 or 21:30");
  const CalendarDate today(context.now);
  job.scheduling_date = CalendarDate::fromLocal(today.year(), today.month(), today.day(), time->hour, time->minute, 0);
  job.scheduling_date.setFormat(kTimeOfDayFormat);
  return {};
}

Checked<void> setSchedule(Job& job, SchedulingMethod method) {
  job.scheduling_method = method;
  return {};
}

// One made inactive by hand stays so when its target appears.
Checked<void> setActive(Job& job, bool active) {
  job.bActive = active;
  job.bManullyDisable = !active;
  return {};
}

Checked<void> setImage(Job& job, const Text& value, const Context& context) {
  if (!value.empty() && value.front() != '/' && context.workingFolder.empty()) {
    return notUnderstood("the current folder is gone");
  }
  job.dmgPath = value.empty() ? "" : paths::normalised(value, context.workingFolder);
  return {};
}

Checked<void> setRevisions(Job& job, const Text& value) {
  if (value == "none" || value == "all") {
    job.revision_method = value == "all" ? RevisionMethod::kUnlimited : RevisionMethod::kNone;
    return {};
  }
  std::int32_t count = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), count);
  if (error != std::errc() || end != value.data() + value.size() || count < 1) {
    return notUnderstood("give none, all or a number from 1");
  }
  job.revision_method = RevisionMethod::kLimited;
  job.revision_maxNumber = count;
  return {};
}

Checked<void> setAutoDeletion(Job& job, std::int32_t value) {
  job.nAutoDeletion = value;
  return {};
}

constexpr JobOption kCopyOptions[] = {
    {"--revisions", "none|all|N", "How many earlier versions of each file are kept in the target", "",
     [](Job& job, const Text& value, const Context&) { return setRevisions(job, value); }},
    {"--delete", "", "What was deleted from a source is deleted from the target, too", "delete",
     [](Job& job, const Text&, const Context&) { return setAutoDeletion(job, 1); }},
    {"--no-delete", "", "Nothing is deleted from the target (the default)", "delete",
     [](Job& job, const Text&, const Context&) { return setAutoDeletion(job, 0); }},
    {"--trash", "", "What is overwritten or deleted goes to the Trash (the default)", "trash",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bMoveFileTrash, true); }},
    {"--no-trash", "", "What is overwritten or deleted is not kept in the Trash", "trash",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bMoveFileTrash, false); }},
    {"--include", "EXT,..", "Copy only files with these extensions; \".\" stands for none", "",
     [](Job& job, const Text& value, const Context&) { return setExtensions(job.inclusionArray, value); }},
    {"--exclude", "EXT,..", "Leave out files with these extensions", "",
     [](Job& job, const Text& value, const Context&) { return setExtensions(job.exclusionArray, value); }},
    {"--full-path", "", "Keep each source's whole path below the target", "",
     [](Job& job, const Text&, const Context&) { return retainFullPath(job); }},
};

constexpr JobOption kSyncOptions[] = {
    {"--conflict", "CHOICE", "Which side of a conflict wins: source, target, newer (the default) or both", "",
     [](Job& job, const Text& value, const Context&) { return setConflictChoice(job, value); }},
};

constexpr JobOption kCloneOptions[] = {
    {"--format", "", "Erase the target and make its file system anew before each clone", "format",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bFormatVolume, true); }},
    {"--no-format", "", "Bring the target up to date as it stands (the default)", "format",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bFormatVolume, false); }},
    {"--repair-permissions", "", "Set owners and permissions right that differ on the target after a clone", "repair",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bRepairPermissions, true); }},
    {"--no-repair-permissions", "", "Do not (the default)", "repair",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bRepairPermissions, false); }},
    {"--verify", "", "Compare the contents of source and target after a clone", "verify",
     [](Job& job, const Text&, const Context&) { return setVerify(job, true); }},
    {"--no-verify", "", "Do not (the default)", "verify",
     [](Job& job, const Text&, const Context&) { return setVerify(job, false); }},
};

constexpr JobOption kScheduleOptions[] = {
    {"--every", "N(m|h|d)", "Run every N minutes, hours or days", "schedule",
     [](Job& job, const Text& value, const Context&) { return setInterval(job, value); }},
    {"--weekdays", "sun,mon,..", "Run on these days, at the time given with --at", "schedule",
     [](Job& job, const Text& value, const Context&) { return setWeekDays(job, value); }},
    {"--at", "HH:MM", "The time of day for --weekdays", "",
     [](Job& job, const Text& value, const Context& context) { return setTimeOfDay(job, value, context); }},
    {"--realtime", "", "Run whenever a source changes", "schedule",
     [](Job& job, const Text&, const Context&) { return setSchedule(job, SchedulingMethod::kRealTime); }},
    {"--manual", "", "Run only when asked to", "schedule",
     [](Job& job, const Text&, const Context&) { return setSchedule(job, SchedulingMethod::kNone); }},
};

constexpr JobOption kKeptJobOptions[] = {
    {"--image", "PATH", "The disk image that holds the target", "",
     [](Job& job, const Text& value, const Context& context) { return setImage(job, value, context); }},
    {"--no-auto-mount", "", "Do not mount the disk image by itself", "",
     [](Job& job, const Text&, const Context&) { return setFlag(job.bAutoMount, false); }},
    {"--unmount", "", "Unmount the target's volume after a run that was started by plugging it in", "unmount",
     [](Job& job, const Text&, const Context&) { return setUnmount(job, true); }},
    {"--no-unmount", "", "Leave it mounted (the default)", "unmount",
     [](Job& job, const Text&, const Context&) { return setUnmount(job, false); }},
    {"--inactive", "", "The job takes no part in schedules until it is enabled", "",
     [](Job& job, const Text&, const Context&) { return setActive(job, false); }},
};

struct TypeName {
  const char* name;
  JobType type;
};
constexpr TypeName kTypeNames[] = {
    {"backup", JobType::kBackup},
    {"sync-revisions", JobType::kSyncWithRevisions},
    {"sync", JobType::kSyncWithConflicts},
    {"clone", JobType::kClone},
};

}  // namespace

std::span<const JobOption> copyOptions() {
  return kCopyOptions;
}

std::span<const JobOption> syncOptions() {
  return kSyncOptions;
}

std::span<const JobOption> cloneOptions() {
  return kCloneOptions;
}

std::span<const JobOption> scheduleOptions() {
  return kScheduleOptions;
}

std::span<const JobOption> keptJobOptions() {
  return kKeptJobOptions;
}

void GivenJobOptions::add(CLI::App& command, std::span<const JobOption> options) {
  for (const JobOption& option : options) {
    const auto keep = [this, &option](const std::string& value) { given_.push_back({&option, unguardedText(value)}); };
    if (*option.value == '\0') {
      command.add_flag_callback(
          option.spelling, [keep] { keep(""); }, option.help);
    } else {
      command.add_option_function<std::string>(option.spelling, keep, option.help)->option_text(option.value);
    }
  }
}

bool GivenJobOptions::has(std::string_view spelling) const {
  return std::any_of(given_.begin(), given_.end(),
                     [&](const Given& given) { return given.option->spelling == spelling; });
}

Checked<void> GivenJobOptions::checkGroups() const {
  for (const Given& given : given_) {
    for (const Given& other : given_) {
      const std::string_view group = given.option->group;
      if (group.empty() || group != other.option->group || given.option == other.option) continue;
      return refuse(given.option->spelling, std::string("it contradicts ") + other.option->spelling);
    }
  }
  return {};
}

const char* GivenJobOptions::firstOf(std::span<const JobOption> options) const {
  for (const JobOption& option : options)
    if (has(option.spelling)) return option.spelling;
  return nullptr;
}

Checked<void> GivenJobOptions::applyTo(QUORVELPREFERENCEINFO& job, const JobOptionContext& context) const {
  LUMISK_CHECK(checkGroups());
  for (const Given& given : given_) {
    if (auto applied = given.option->apply(job, given.value, context); !applied) {
      return refuse(std::string(given.option->spelling) + " " + given.value, applied.error().why);
    }
  }
  return {};
}

const char* jobTypeName(JobType type) {
  for (const TypeName& name : kTypeNames) {
    if (name.type == type) return name.name;
  }
  return "backup";
}

Checked<JobType> parseJobType(const std::string& name) {
  for (const TypeName& known : kTypeNames) {
    if (known.name == name) return known.type;
  }
  return refuse("--type " + name, "give backup, sync-revisions, sync or clone");
}

}  // namespace lumisk
