#include "engine/run_sequence.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <set>

#include "engine/stored_runs.h"
#include "engine/type_filter.h"
#include "jobs/job_checks.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

constexpr int kMode = 5;

const std::string kSeparator(74, '=');

bool isOnFixedVolume(const std::string& path) {
  const auto info = workspace::fileSystemInfo(path);
  return info && !info->isUnmountable;
}

}  // namespace

RunSequence::RunSequence(const WorkerServices& services, RunMemory& memory, const RunRequest& request,
                         RunSwitches switches, JobLog& log, std::function<void(const JobProgressMessage&)> postProgress)
    : services_(services),
      memory_(memory),
      request_(request),
      switches_(switches),
      run_(request.info, services.files, services.clock, Pace(request.options.pace, services.clock), log,
           services.dialogs),
      targets_(services, run_),
      dialogs_(services, memory, request, run_),
      image_(services, request.info),
      problems_(run_, result_.report),
      lastSync_(services, memory, request, run_),
      report_(result_.report) {
  if (services.threads > 0 && request.options.pace == PaceKind::kFull) run_.pool = &pool_.emplace(services.threads);
  run_.terminate = &switches.m_bTerminateThread;
  run_.cancelled = &switches.m_bCanceled;
  run_.pause = switches.pause;
  run_.dryRun = request.options.dryRun;
  run_.onEntry = run_.dryRun ? countingOutcomes() : request.options.onEntry;
  run_.begin = request.begin;
  run_.lastCompleted = lastCompletedRun(request.info);
  // The clock was set back: what was changed since then may look older than that run.
  if (nanosecondsOf(request.begin) < request.info.lastCompletedEndNanoseconds) run_.lastCompleted.reset();
  memory.passes.forgetAfter(fileTimeOf(nanosecondsOf(request.begin)));
  run_.passes = &memory.passes;
  lastSync_.begin();
  run_.postProgress = std::move(postProgress);
  run_.onOutOfSpace = [this] { dialogs_.showNoSpace(); };
  run_.onFolderNotMade = [this](const std::string& path) { dialogs_.showFolderNotMade(path); };
}

// Nothing is copied in a dry run; what would be is counted all the same.
std::function<void(EntryOutcome, const std::string&, const std::string&)> RunSequence::countingOutcomes() {
  return [this](EntryOutcome outcome, const std::string& path, const std::string& reason) {
    if (outcome == EntryOutcome::kCopied || outcome == EntryOutcome::kReplaced) ++run_.counts.copied;
    if (request_.options.onEntry) request_.options.onEntry(outcome, path, reason);
  };
}

RunResult RunSequence::run() {
  const auto started = services_.clock.steadyNow();
  perform();
  report_.seconds = std::chrono::duration<double>(services_.clock.steadyNow() - started).count();
  return result_;
}

void RunSequence::perform() {
  const bool known = request_.method != CopyMethod::kNothing;
  report_.wholeJob = known && !isPass();
  if (!known) return;
  if (!checkJob()) return logRefusal();
  pairs_ = isPass() ? chooseParts() : chooseSources();
  if (pairs_.empty()) {
    result_.end = RunResult::End::kNothingToDo;
    return;
  }
  run_.pace.beginRun();
  // Before anything is counted: the way back of a two-way job starts in the image.
  if (!mountImage() || !openTargets()) return logRefusal();
  narrowParts();
  countEntries();
  if (!terminated()) walkSources();
  if (deletions_) deletions_->settle();
  noteVanishedMounts();
  walkEnd_ = services_.clock.now();
  settle();
  fillReport();
  if (terminated()) {
    result_.end = RunResult::End::kTerminated;
    return;
  }
  if (!isPass()) {
    run_.log.write("%s: Synchronization completion\n", run_.info.name.c_str());
    run_.log.write("%s\n\n", kSeparator.c_str());
  }
  showMessages();
}

std::vector<RunSequence::Pair> RunSequence::chooseSources() {
  const auto& info = run_.info;
  std::vector<Pair> chosen;
  for (std::size_t k = 0; k < info.sourcePaths.size(); ++k) {
    if (isToBeSkipped(info.sourcePaths[k])) {
      report_.wholeJob = false;
    } else {
      chosen.push_back({info.sourcePaths[k], targetOf(info, k), {}});
    }
  }
  return chosen;
}

bool RunSequence::isToBeSkipped(const std::string& source) const {
  return request_.method == CopyMethod::kUnmountableSources && !run_.info.bFirstCopy && isOnFixedVolume(source);
}

// Refusals.

bool RunSequence::checkJob() {
  const auto& info = run_.info;
  if (info.sourcePaths.empty() || info.targetPaths.empty()) {
    problems_.refuse({}, info.sourcePaths.empty() ? "the job has no source" : "the job has no target");
  } else if (info.bMultipleTargetFolder && info.targetPaths.size() != info.sourcePaths.size()) {
    problems_.refuse({}, "the job has not as many targets as sources");
  } else if (const auto problem =
                 checkJobFolders(run_.files, info.jobType, info.bRetainFullPath, info.sourcePaths, info.targetPaths)) {
    problems_.refuse(problem->subject, shown(problem->subject) + ": " + problem->reason);
  }
  return !report_.refused;
}

bool RunSequence::openTargets() {
  std::vector<std::string> paths;
  for (const Pair& pair : pairs_) paths.push_back(pair.target);
  // A two-way run writes into its sources as well.
  if (isSync(run_.info.jobType))
    for (const Pair& pair : pairs_) paths.push_back(pair.source);
  const auto opened = targets_.open(paths);
  if (!opened) {
    const Error& error = opened.error();
    const bool isLocked = error.operation == "lock" && error.code == EWOULDBLOCK;
    report_.targetLocked = isLocked;
    problems_.refuse(error.path, isLocked ? "another run is writing to " + shown(error.path) : error.text());
    return false;
  }
  if (services_.runRecorder) recorder_ = services_.runRecorder(run_);
  if (!recorder_) recorder_ = std::make_unique<NoRunRecord>();
  places_.emplace(services_, request_, run_, report_);
  if (followsDeletions()) {
    // A list tells what a run of the whole job carried.
    const bool isListed = !isPass() && !run_.info.uuidString.empty();
    const auto list = isListed ? BackupDeletions::List::kKept : BackupDeletions::List::kNone;
    deletions_ = std::make_unique<BackupDeletions>(run_, deletionBrake(), deletionScope(), list);
  }
  targets_.equip(deletions_ ? deletions_->recorder() : *recorder_, [this](RunTarget& target) -> WalkRules* {
    return deletions_ ? &deletions_->rulesFor(*target.trash, target.path) : nullptr;
  });
  return true;
}

bool RunSequence::followsDeletions() const {
  return run_.info.nAutoDeletion != 0 && run_.info.jobType == JobType::kBackup;
}

DeletionBrake RunSequence::deletionBrake() const {
  DeletionBrake brake;
  brake.isReleased = request_.options.allowDeletions;
  const PropertyList percent = services_.preference ? services_.preference("SGDeletionBrakePercent") : PropertyList();
  if (!percent.isNone()) brake.percent = percent.integer32();
  return brake;
}

DeletionScope RunSequence::deletionScope() {
  DeletionScope scope{{}, run_.info.targetPaths, places_->unbelieved(), {}};
  scope.lookAgain = [this] {
    std::vector<std::string> places = places_->vanished();
    places.insert(places.end(), places_->unbelieved().begin(), places_->unbelieved().end());
    return places;
  };
  std::set<std::string> known;
  for (const Pair& pair : pairs_)
    if (known.insert(pair.source).second) scope.roots.push_back({pair.source, oppositeOf(pair, SourceKind::kFolder)});
  return scope;
}

void RunSequence::logRefusal() {
  if (isPass() && report_.targetLocked) return fillReport();  // it will be tried again
  run_.log.write("%s\n", kSeparator.c_str());
  run_.log.write("%s: ERROR: The job was not run: %s\n", run_.info.name.c_str(), report_.problemText.c_str());
  run_.log.write("%s\n\n", kSeparator.c_str());
  fillReport();
  showMessages();
}

bool RunSequence::mountImage() {
  if (run_.dryRun || run_.info.dmgPath.empty()) return true;
  image_.mountIfNeeded();
  result_.detachesImage = image_.isToBeDetached();
  run_.hasRoomFor = [this](std::uint64_t bytes) { return image_.hasRoomFor(bytes); };
  std::string problem = image_.placeProblem();
  if (problem.empty()) problem = image_.roomProblem();
  if (!problem.empty()) problems_.refuse(run_.info.targetPaths.front(), problem);
  return problem.empty();
}

// Counting.

void RunSequence::countEntries() {
  if (isPass()) return countParts();
  if (memory_.fileTotal == 0) countSources();
  run_.m_nFileTotal = memory_.fileTotal;
  run_.m_nFileCount = 0;
}

void RunSequence::countSources() {
  const char* const name = run_.info.name.c_str();
  run_.log.write("%s\n", kSeparator.c_str());
  run_.log.write("%s: Preparing to synchronize the following:\n", name);
  std::uint64_t total = 0;
  for (const Pair& pair : pairs_) {
    if (request_.options.countsFirst) total += countPair(pair);
    run_.log.write("%s: source path: %s\n", name, shown(pair.source).c_str());
    if (terminated()) return;
  }
  run_.log.write("%s: \n", name);
  // What a cancel cut short, and what only some of the sources hold, is no total to remember.
  run_.m_nFileTotal = total;
  if (!run_.mustStop() && report_.wholeJob) memory_.fileTotal = total;
}

std::uint64_t RunSequence::countPair(const Pair& pair) {
  const std::uint64_t entries = calculateDirectoryNumbers(run_, pair.source, kLayers);
  if (!isSync(run_.info.jobType)) return entries;
  const auto kind = checkSource(run_.files, pair.source);
  const std::string opposite = oppositeOf(pair, kind.value_or(SourceKind::kFolder));
  return entries + (run_.files.openRoot(opposite) ? calculateDirectoryNumbers(run_, opposite, kLayers) : 0);
}

// Walking.

void RunSequence::walkSources() {
  if (!isPass()) {
    run_.log.write("%s\n", kSeparator.c_str());
    run_.log.write("%s: Synchronization started\n", run_.info.name.c_str());
  }
  if (run_.doubtedSince)
    run_.log.write("%s: WARNING: what was written before may not have reached the disk: it is copied again\n",
                   run_.info.name.c_str());
  for (const Pair& pair : pairs_) {
    if (run_.mustStop()) return;
    walkSource(pair);
  }
}

void RunSequence::walkSource(const Pair& pair) {
  const char* const name = run_.info.name.c_str();
  run_.log.write("%s: source path     : %s\n", name, shown(paths::join(pair.source, pair.part)).c_str());
  run_.log.write("%s: destination path: %s\n", name, shown(pair.target).c_str());
  const auto kind = checkSource(run_.files, pair.source);
  if (!kind) return problems_.noteUnreadable(pair.source, request_.method);
  if (!isKnownSource(pair.source)) return;
  const auto target = targets_.usable(pair.target);
  if (!target) return noteMissingTarget(pair.target);
  if (const auto problem = places_->whyNotTarget(pair.target, **target)) {
    report_.placeInDoubt |= report_.problemText.empty();
    return problems_.noteTarget(pair.target, *problem);
  }
  places_->markSource(pair.source);
  walkFile(pair, **target, *kind);
}

// A mount that is missing below it is told, but only a two-way run would carry anything over because of it.
bool RunSequence::isKnownSource(const std::string& source) {
  if (const auto problem = places_->whyNotSource(source)) {
    problems_.noteSource(source, *problem);
    return false;
  }
  const auto missing = places_->missingMount(source);
  if (missing) problems_.noteSource(missing->place, missing->text);
  return !missing || !isSync(run_.info.jobType);
}

void RunSequence::walkFile(const Pair& pair, RunTarget& target, SourceKind kind) {
  if (kind == SourceKind::kOther && !passesFilter(pair.source)) return;
  const auto destination = prepareDestination(pair, kind);
  if (!destination) {
    run_.log.write("%s: ERROR: Failed to create the directory \"%s\"\n", run_.info.name.c_str(),
                   shown(destination.error().path).c_str());
    dialogs_.showFolderNotMade(destination.error().path);
    return run_.noteError(RunError::kDirectoryCreation);
  }
  if (deletions_) deletions_->carry(target.path, {pair.source, *destination});
  const bool asUnit = run_.info.bDealPackage && kind == SourceKind::kFolder &&
                      workspace::isPackageName(paths::lastComponent(pair.source));
  const std::uint64_t errorsBefore = run_.counts.errors;
  run_.m_nFilterCount += asUnit ? 1 : 0;
  const bool walked = carry(paths::join(pair.source, pair.part), target, paths::join(*destination, pair.part));
  run_.m_nFilterCount -= asUnit ? 1 : 0;
  // A source that could not be walked at all must not pass for one that has been carried.
  if (!walked && !run_.mustStop() && run_.counts.errors == errorsBefore) run_.noteError(RunError::kFileCopy);
}

bool RunSequence::carry(const std::string& source, RunTarget& target, const std::string& destination) {
  if (!isSync(run_.info.jobType)) return target.walk->copyDirectory(source, destination, kLayers, kMode);
  if (!memory_.conflicts.applayConflictForAll) memory_.conflicts.conflictType = run_.info.fileConflictType;
  TwoWayRun both(run_, *target.versions, *target.trash, *recorder_, memory_.conflicts, deletionBrake());
  return both.carry(source, destination, kLayers, kMode);
}

bool RunSequence::passesFilter(const std::string& source) {
  if (fileTypeFilter(source, run_.info.inclusionArray, run_.info.exclusionArray)) return true;
  run_.log.write("%s: file type filter . . . . . . . . . . . %s\n", run_.info.name.c_str(), shown(source).c_str());
  ++run_.counts.skipped;
  if (run_.onEntry) run_.onEntry(EntryOutcome::kSkipped, source, "file type");
  return false;
}

Result<std::string> RunSequence::prepareDestination(const Pair& pair, SourceKind kind) {
  const std::string destination = oppositeOf(pair, kind);
  if (run_.info.bRetainFullPath && !run_.dryRun)
    LUMISK_CHECK(targets_.makeParents(pair.target, paths::parent(destination)));
  return destination;
}

std::string RunSequence::oppositeOf(const Pair& pair, SourceKind kind) const {
  return placeOf(run_.info, pair.source, pair.target, kind);
}

void RunSequence::noteMissingTarget(const std::string& target) {
  const std::string why = run_.files.openRoot(target) ? "" : image_.absenceProblem();
  report_.placeInDoubt |= !why.empty() && report_.problemText.empty();
  problems_.noteTarget(target, "the path \"" + shown(target) + "\" isn't writable, or does not exist" +
                                   (why.empty() ? "." : ": " + why));
}

// What was pulled away during the run was not carried, or not all of it.
void RunSequence::noteVanishedMounts() {
  for (const std::string& place : places_->vanished())
    problems_.noteSource(place, shown(place) + ": this part of the source was pulled away during the run");
  std::set<std::string> sources;
  for (const Pair& pair : pairs_)
    if (sources.insert(pair.source).second && !answers(pair.source))
      problems_.noteSource(pair.source, shown(pair.source) + ": the disk of the source does not answer any more");
}

// A disk that has gone may have shown empty folders. What cannot be opened has been told.
bool RunSequence::answers(const std::string& source) const {
  auto folder = run_.files.openRoot(source);
  if (!folder && folder.error().code == ENOTDIR) folder = run_.files.openRoot(paths::parent(source));
  return !folder || run_.files.checkDisk(folder->get());
}

// The end.

void RunSequence::settle() {
  if (run_.dryRun) return;
  const bool isWhole = report_.wholeJob && !report_.sourceProblem && !report_.targetProblem;
  const auto settled = lastSync_.settle(targets_, isWhole);
  if (settled) return;
  run_.log.write("%s: ERROR: Failed to write everything to the disk: %s\n", run_.info.name.c_str(),
                 settled.error().text().c_str());
  run_.noteError(RunError::kFileCopy);
}

void RunSequence::fillReport() {
  report_.cancelled = run_.mustStop();
  report_.errorCode = run_.m_nErrorCode;
  report_.counts = run_.counts;
  report_.held = run_.counts.held > 0;
  if (report_.held)
    problems_.note({}, "so many deletions at once are held back; --allow-deletions lets them pass if they are meant");
  if (places_ && !report_.cancelled) places_->remember();
  report_.completed = !report_.held && !report_.cancelled && !report_.refused && !report_.sourceProblem &&
                      !report_.targetProblem && report_.errorCode == RunError::kNone && report_.counts.errors == 0;
  if (report_.completed && !run_.dryRun) noteCompletion();
  lastSync_.fillReport(report_);
}

void RunSequence::noteCompletion() {
  if (isPass()) return notePass();
  if (!report_.wholeJob) return;
  memory_.passes.forget();
  report_.jobKeys[kLastCompletedBeginNanosecondsKey] = nanosecondsOf(request_.begin);
  report_.jobKeys[kLastCompletedEndNanosecondsKey] = nanosecondsOf(walkEnd_);
}

void RunSequence::showMessages() {
  const RunMessages messages = dialogs_.showEnd(report_, problems_.lastWasTarget());
  result_.m_bHasError = messages.hasError;
  result_.firstCopyOver = messages.firstCopyOver;
  RunTarget* const target = targets_.first();
  if (target && report_.errorCode != RunError::kOutOfSpace) dialogs_.showCapacity(*target, report_.jobKeys);
}

}  // namespace lumisk
