#include "cli/commands.h"
#include "cli/job_files.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "jobs/job_checks.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct JobRenameOptions {
  std::string name;
  std::string newName;
};

enum class ListState { kUnderOldName, kUnderNewName };

Checked<void> rename(const JobRenameOptions& options, ListState& list, StoreAccess& access, CommandIo& io) {
  JobStore& jobs = access.store();
  LUMISK_TRY(jobs.m_nIndex, access.indexOf(options.name));
  if (const auto problem = checkJobName(options.newName)) return refuse(problem->subject, problem->reason);
  if (jobs.checkJobNameIsExist(options.newName, JobStore::Editing::kSelectedJob)) {
    return refuse(options.newName, "a job of this name exists already");
  }
  if (options.newName == options.name) return {};
  // The list goes first: without one, nothing is deleted for a job; with another's, something might be.
  if (list == ListState::kUnderOldName) LUMISK_CHECK(renameFileList(io.files, options.name, options.newName));
  list = ListState::kUnderNewName;
  const auto setName = [&](PropertyList::Dictionary& job) { job[kObjectNameKey] = options.newName; };
  if (!jobs.changeJob(jobs.m_nIndex, setName)) return storeFailed(jobs);
  return {};
}

Checked<Ending> jobRename(const JobRenameOptions& options, CommandIo& io) {
  StoreAccess access(io);
  auto list = ListState::kUnderOldName;
  LUMISK_CHECK(access.change([&](JobStore&) { return rename(options, list, access, io); }));
  io.out << "Renamed the job " << displayText(options.name) << " to " << displayText(options.newName) << '\n';
  return Ending::kDone;
}

}  // namespace

void addJobRenameCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("rename", "Give a job another name");
  auto options = std::make_shared<JobRenameOptions>();
  addText(*command, "NAME", options->name, "The job's name")->required();
  addText(*command, "NEW", options->newName, "Its new name")->required();
  chooseWhenNamed(*command, chosen, options, &jobRename);
}

}  // namespace lumisk
