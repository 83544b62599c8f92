#include <filesystem>

#include "cli/commands.h"
#include "cli/job_options.h"
#include "cli/job_setup.h"
#include "cli/options.h"
#include "cli/run_options.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

struct BackupOptions {
  std::vector<std::string> paths;  // the last one is the target
  GivenJobOptions job;
  RunFlags run;
};

// Its log is called so. Without a uuid it leaves no marks in folders and remembers nothing.
constexpr const char* kName = "backup";

Checked<QUORVELPREFERENCEINFO> unstoredJob(const BackupOptions& options, CommandIo& io) {
  QUORVELPREFERENCEINFO job = newJobDefaults(io.clock.now());
  job.name = kName;
  job.uuidString.clear();
  job.scheduling_method = SchedulingMethod::kNone;
  job.revision_method = RevisionMethod::kNone;
  job.bDisplayWarning = false;  // how full the target is was not asked
  LUMISK_TRY(job.sourcePaths, absolutePaths(options.paths, io));
  job.targetPaths = {job.sourcePaths.back()};
  job.sourcePaths.pop_back();
  LUMISK_CHECK(options.job.applyTo(job, {io.clock.now(), io.workingFolder}));
  return job;
}

Checked<void> makeTarget(const std::string& target, const RunChoices& choices, CommandIo& io) {
  if (choices.dryRun) return refuse(target, "the target folder does not exist yet; a run would make it and copy all");
  std::error_code error;
  std::filesystem::create_directory(target, error);
  if (error) return fail(complaintOf(Error{"make the target folder", target, error.value(), ""}));
  if (!choices.json) io.out << "Made the folder " << displayText(target) << std::endl;
  return {};
}

Checked<Ending> backup(const BackupOptions& options, CommandIo& io) {
  LUMISK_TRY(const RunChoices choices, runChoices(options.run));
  LUMISK_TRY(const QUORVELPREFERENCEINFO job, unstoredJob(options, io));
  const std::string& target = job.targetPaths.front();
  LUMISK_CHECK(checkSourcesExist(job.sourcePaths));
  LUMISK_TRY(const TargetState state, checkTarget(target));
  LUMISK_CHECK(checkJob(job, io));
  if (state == TargetState::kCanBeMade) LUMISK_CHECK(makeTarget(target, choices, io));
  return runUnstoredJob(job, choices, io);
}

}  // namespace

void addBackupCommand(CLI::App& parent, CommandRun& chosen) {
  auto* command = parent.add_subcommand("backup", "Copy sources to a target folder now, once");
  auto options = std::make_shared<BackupOptions>();
  addTexts(*command, "PATHS", options->paths, "One or more sources, then the target folder; it is made where missing")
      ->required()
      ->expected(2, CLI::detail::expected_max_vector_size)
      ->option_text("(SOURCE... TARGET)");
  options->job.add(*command, copyOptions());
  addRunFlags(*command, options->run);
  chooseWhenNamed(*command, chosen, options, &backup);
}

}  // namespace lumisk
