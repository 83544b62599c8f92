#include "presenters/job_problems.h"

#include <algorithm>

#include "platform/byte_text.h"
#include "platform/paths.h"
#include "platform/translation.h"
#include "presenters/job_kinds.h"
#include "presenters/locale_text.h"
#include "schedule/due_times.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFO;
using Weight = FieldProblem::Weight;
using Paths = std::vector<std::string>;

// What checks say, and how a person is told. "{}" stands for the path or name.
constexpr std::pair<const char*, const char*> kReasons[] = {
    {"the name is empty", markedText("Give the job a name.")},
    {"the name is reserved", markedText("This name cannot be used.")},
    {"the name holds a slash", markedText("A name cannot hold a slash.")},
    {"the name holds a control character", markedText("The name holds a character that cannot be shown.")},
    {"the name is too long", markedText("The name is too long.")},
    {"there is no source", markedText("Choose what is to be copied.")},
    {"there is no target", markedText("Choose where to copy it.")},
    {"there must be one target, or one for each source", markedText("Choose one target, or one for each source.")},
    {"the path is not absolute", markedText("{} is no full path: it has to begin with a slash.")},
    {"a path is empty", markedText("A path is empty.")},
    {"two sources have the same name", markedText("Two of the folders have the same name as {}.")},
    {"a source must not be called \"Revision\"", markedText("{}: a folder of this name keeps earlier versions.")},
    {"the target is a file", markedText("{} is a file, not a folder.")},
    {"source and target are the same folder", markedText("This is the folder that is to be copied.")},
    {"the target lies inside the source", markedText("{} lies inside a folder that is to be copied.")},
    {"the source lies inside the target", markedText("{} lies inside the target.")},
    {"the source lies inside the target's revisions", markedText("{} lies among the target's earlier versions.")},
    {"the source lies where the copies go", markedText("{} lies where its own copy would go.")},
    {"the copy would lie inside the source", markedText("The copy of {} would lie inside itself.")},
    {"one source lies inside another", markedText("{} lies inside another of the folders.")},
};

std::string quoted(const std::string& bytes) {
  return filled(translated("“{}”"), displayText(bytes));
}

std::string withPath(const char* format, const std::string& path) {
  return filled(translated(format), quoted(path));
}

bool isAmong(const Paths& list, const std::string& path) {
  return std::find(list.begin(), list.end(), path) != list.end();
}

JobField fieldOfFolder(const Job& job, const std::string& path) {
  return isAmong(job.targetPaths, path) ? JobField::kTarget : JobField::kSources;
}

void addNameProblems(const Job& job, const PropertyList::Array& jobs, FieldProblems& problems) {
  if (const auto problem = checkJobName(job.name)) {
    const Weight weight = job.name.empty() ? Weight::kMissing : Weight::kWrong;
    problems.push_back({JobField::kName, weight, friendlyReason(*problem)});
  }
  const bool isTaken = std::any_of(jobs.begin(), jobs.end(), [&](const PropertyList& other) {
    const bool isThis = !job.uuidString.empty() && other[kUuidStringKey].text() == job.uuidString;
    return !isThis && other[kObjectNameKey].text() == job.name;
  });
  if (isTaken) problems.push_back({JobField::kName, Weight::kWrong, translated("Another job has this name.")});
}

void addPathProblems(const Job& job, FieldProblems& problems) {
  if (job.sourcePaths.empty())
    problems.push_back({JobField::kSources, Weight::kMissing, friendlyReason({"", "there is no source"})});
  if (job.targetPaths.empty())
    problems.push_back({JobField::kTarget, Weight::kMissing, friendlyReason({"", "there is no target"})});
  if (job.sourcePaths.empty() || job.targetPaths.empty()) return;
  const auto problem = checkJobPaths(job);
  if (problem) problems.push_back({fieldOfFolder(job, problem->subject), Weight::kWrong, friendlyReason(*problem)});
}

void addScheduleProblems(const Job& job, FieldProblems& problems) {
  const auto& days = job.scheduling_weekFlag;
  const bool hasDay = std::find(days.begin(), days.end(), true) != days.end();
  if (job.scheduling_method == SchedulingMethod::kWeekDays && !hasDay)
    problems.push_back({JobField::kSchedule, Weight::kMissing, translated("Choose at least one day.")});
  if (job.scheduling_method == SchedulingMethod::kTimer &&
      !timerInterval(job.scheduling_timer, job.scheduling_timerUnit))
    problems.push_back({JobField::kSchedule, Weight::kMissing, translated("Choose how often.")});
}

// Those of warnings end in a quoted name: what is before it, and how a person is told.
constexpr std::pair<const char*, const char*> kWarnings[] = {
    {"already serves as a target of the job ", markedText("{} is also a target of the job “{}”.")},
    {"already serves as a source of the job ", markedText("{} is also copied by the job “{}”.")},
    {"on some disks its name is the same as ", markedText("{}: on some disks its name is the same as “{}”.")},
};

std::string friendlyWarning(const JobProblem& warning) {
  const std::string place = quoted(warning.subject);
  for (const auto& [beginning, text] : kWarnings) {
    const std::string_view begin(beginning);
    const bool isThis = warning.reason.starts_with(begin) && warning.reason.size() >= begin.size() + 2;
    if (!isThis) continue;
    const std::string name = warning.reason.substr(begin.size() + 1, warning.reason.size() - begin.size() - 2);
    return filled(translated(text), place, displayText(name));
  }
  return place + " " + warning.reason;
}

void addWarnings(const Job& job, const PropertyList::Array& jobs, FieldProblems& problems) {
  for (const JobProblem& warning : jobWarnings(job, jobs))
    problems.push_back({fieldOfFolder(job, warning.subject), Weight::kWarning, friendlyWarning(warning)});
}

// The look at one path of the job.
class PathCheck {
 public:
  PathCheck(const DiskQuestions& disk, FieldProblems& problems) : disk_(disk), problems_(problems) {}

  void source(const std::string& path, bool wasThere) {
    const auto found = statusOf(path);
    if (found) return;
    if (found.error().code == ENOENT) return missing(JobField::kSources, path, wasThere);
    unreadable(JobField::kSources, path, found.error(), wasThere);
  }
  void target(const std::string& path, bool wasThere) {
    const auto folder = disk_.files.openRoot(path);
    if (!folder && folder.error().code == ENOENT) return missing(JobField::kTarget, path, wasThere);
    if (!folder && folder.error().code == ENOTDIR) return wrong(JobField::kTarget, "{} is a file, not a folder.", path);
    if (!folder) return unreadable(JobField::kTarget, path, folder.error(), wasThere);
    if (!disk_.files.mayWrite(folder->get(), "."))
      wrong(JobField::kTarget, markedText("You may not write to {}."), path);
  }
  void volume(JobField field, const std::string& path) {
    const auto found = disk_.fileSystemInfo(path);
    if (found && found->mountPoint != path) wrong(field, markedText("{} is a folder, not a whole volume."), path);
  }
  void wrong(JobField field, const char* format, const std::string& path) {
    problems_.push_back({field, Weight::kWrong, withPath(format, path)});
  }

 private:
  Result<FileStatus> statusOf(const std::string& path) {
    LUMISK_TRY(const Descriptor folder, disk_.files.openRoot(paths::parent(path)));
    const std::string name = paths::lastComponent(path);
    return disk_.files.status(folder.get(), name.empty() ? "." : name);
  }
  void missing(JobField field, const std::string& path, bool wasThere) {
    const bool isOfVolume = workspace::volumeOf(path) || workspace::isVolumesFolder(paths::parent(path));
    const char* const format =
        wasThere || isOfVolume ? markedText("{} is not there at the moment.") : markedText("{} does not exist.");
    problems_.push_back({field, wasThere ? Weight::kWarning : Weight::kWrong, withPath(format, path)});
  }
  void unreadable(JobField field, const std::string& path, const Error& error, bool wasThere) {
    const auto weight = wasThere ? Weight::kWarning : Weight::kWrong;
    problems_.push_back({field, weight, withPath("{}", path) + Error{"", "", error.code, error.detail}.text()});
  }

  const DiskQuestions& disk_;
  FieldProblems& problems_;
};

std::string computerNameOf(const Job& job) {
  const auto found = job.otherKeys.find(kComputerNameKey);
  return found == job.otherKeys.end() ? std::string() : found->second.text();
}

}  // namespace

std::string friendlyReason(const JobProblem& problem) {
  for (const auto& [reason, text] : kReasons)
    if (problem.reason == reason) return withPath(text, problem.subject);
  return problem.subject.empty() ? problem.reason : quoted(problem.subject) + ": " + problem.reason;
}

FieldProblems problemsOfTexts(const Job& job, const PropertyList::Array& jobs) {
  FieldProblems problems;
  addNameProblems(job, jobs, problems);
  addPathProblems(job, problems);
  addScheduleProblems(job, problems);
  if (job.revision_method == RevisionMethod::kLimited && job.revision_maxNumber < 1 &&
      questionsOf(job.jobType).revisions)
    problems.push_back({JobField::kRevisions, Weight::kWrong, translated("Keep at least one earlier version.")});
  addWarnings(job, jobs, problems);
  return problems;
}

FieldProblems problemsOnDisk(const DiskQuestions& disk, const Job& job, const Job* before) {
  FieldProblems problems;
  PathCheck check(disk, problems);
  for (const std::string& source : job.sourcePaths)
    check.source(source, before && isAmong(before->sourcePaths, source));
  // What lies inside an image is there only while the image is open.
  if (job.dmgPath.empty())
    for (const std::string& target : job.targetPaths)
      check.target(target, before && isAmong(before->targetPaths, target));
  if (questionsOf(job.jobType).wholeVolumes) {
    check.volume(JobField::kSources, job.sourcePaths.front());
    check.volume(JobField::kTarget, job.targetPaths.front());
  }
  const auto problem = checkJobFolders(disk.files, job.jobType, job.bRetainFullPath, job.sourcePaths, job.targetPaths,
                                       computerNameOf(job));
  if (problem) problems.push_back({fieldOfFolder(job, problem->subject), Weight::kWrong, friendlyReason(*problem)});
  return problems;
}

}  // namespace lumisk
