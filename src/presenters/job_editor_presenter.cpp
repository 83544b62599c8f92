#include "presenters/job_editor_presenter.h"

#include <algorithm>

#include "jobs/job_store.h"
#include "platform/paths.h"
#include "platform/translation.h"
#include "platform/workspace.h"
#include "presenters/schedule_sentence.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFO;

bool sameFolders(const Job& a, const Job& b) {
  return a.jobType == b.jobType && a.bRetainFullPath == b.bRetainFullPath && a.sourcePaths == b.sourcePaths &&
         a.targetPaths == b.targetPaths && a.dmgPath == b.dmgPath;
}

}  // namespace

JobEditorPresenter::JobEditorPresenter(JobsBoard& board, Clock& clock, DiskQuestions disk, Background background)
    : board_(board),
      clock_(clock),
      disk_(std::move(disk)),
      job_(newJobDefaults(clock.now())),
      looking_(std::move(background)) {
  job_.name.clear();
  job_.fileConflictType = ConflictChoice::kNewerWins;
  begin_ = job_;
}

bool JobEditorPresenter::edit(const std::string& uuid) {
  for (const BoardJob& stored : board_.jobs()) {
    Job found;
    if (stored.uuid != uuid || uuid.empty() || !jobFromDictionary(stored.stored, found)) continue;
    job_ = begin_ = found;
    filterChoice_.reset();
    before_ = std::move(found);
    hasOwnName_ = true;
    looked_.reset();
    touched();
    return true;
  }
  return false;
}

bool JobEditorPresenter::isChanged() const {
  const bool isStillEmpty = isNew() && job_.sourcePaths.empty() && job_.targetPaths.empty() && !hasOwnName_;
  if (isStillEmpty) return false;
  return jobToDictionary(job_) != jobToDictionary(begin_);
}

void JobEditorPresenter::touched() {
  suggestName();
  problems_.reset();
  changed();
}

void JobEditorPresenter::suggestName() {
  if (hasOwnName_) return;
  std::vector<std::string> taken;
  for (const PropertyList& other : storedJobs()) taken.push_back(other[kObjectNameKey].text());
  const std::string target = job_.targetPaths.empty() ? "" : paths::lastComponent(job_.targetPaths.front());
  job_.name = suggestedJobName(job_.sourcePaths, target, taken);
  if (job_.name.empty() && !job_.sourcePaths.empty()) job_.name = getDefaultJobName(clock_.now());
}

// A clone counts its timer in hours from the start, and has one volume on each side.
void JobEditorPresenter::setKind(JobType type) {
  job_.jobType = type;
  const JobQuestions asked = questions();
  if (isNew()) job_.scheduling_timerUnit = asked.wholeVolumes ? TimerUnit::kHours : TimerUnit::kMinutes;
  if (asked.wholeVolumes) {
    job_.dmgPath.clear();
    job_.bMultipleTargetFolder = false;
    if (job_.sourcePaths.size() > 1) job_.sourcePaths.resize(1);
    if (job_.targetPaths.size() > 1) job_.targetPaths.resize(1);
  }
  if (!asked.fullPath) job_.bRetainFullPath = false;
  touched();
}

void JobEditorPresenter::setName(const std::string& name) {
  hasOwnName_ = !name.empty();
  job_.name = name;
  touched();
}

void JobEditorPresenter::addSources(const std::vector<std::string>& paths) {
  const bool ownTargets = hasOwnTargets() && !job_.targetPaths.empty();
  for (const std::string& path : paths) {
    const std::string source = paths::normalised(path, "/");
    if (std::find(job_.sourcePaths.begin(), job_.sourcePaths.end(), source) != job_.sourcePaths.end()) continue;
    job_.sourcePaths.push_back(source);
    if (ownTargets) job_.targetPaths.push_back(job_.targetPaths.front());
  }
  touched();
}

void JobEditorPresenter::removeSource(std::size_t index) {
  if (index >= job_.sourcePaths.size()) return;
  const auto at = static_cast<std::ptrdiff_t>(index);
  if (job_.targetPaths.size() == job_.sourcePaths.size() && job_.targetPaths.size() > 1)
    job_.targetPaths.erase(job_.targetPaths.begin() + at);
  job_.sourcePaths.erase(job_.sourcePaths.begin() + at);
  job_.bMultipleTargetFolder = job_.targetPaths.size() > 1;
  touched();
}

void JobEditorPresenter::setSources(std::vector<std::string> paths) {
  job_.sourcePaths.clear();
  addSources(paths);
}

void JobEditorPresenter::setTarget(const std::string& path) {
  job_.targetPaths = {paths::normalised(path, "/")};
  job_.bMultipleTargetFolder = false;
  job_.dmgPath.clear();
  touched();
}

void JobEditorPresenter::setTargetOf(std::size_t source, const std::string& path) {
  if (source >= job_.targetPaths.size()) return;
  job_.targetPaths[source] = paths::normalised(path, "/");
  touched();
}

void JobEditorPresenter::setOwnTargets(bool own) {
  if (job_.targetPaths.empty()) return;
  job_.targetPaths.resize(own ? std::max<std::size_t>(job_.sourcePaths.size(), 1) : 1, job_.targetPaths.front());
  job_.bMultipleTargetFolder = job_.targetPaths.size() > 1;
  touched();
}

void JobEditorPresenter::setImage(const std::string& imagePath, const std::string& mountPoint, bool autoMount) {
  job_.dmgPath = imagePath;
  job_.targetPaths = {mountPoint};
  job_.bMultipleTargetFolder = false;
  job_.bAutoMount = autoMount;
  touched();
}

void JobEditorPresenter::setSchedule(SchedulingMethod method) {
  job_.scheduling_method = method;
  touched();
}

void JobEditorPresenter::setTimer(std::int32_t count, TimerUnit unit) {
  job_.scheduling_timer = count;
  job_.scheduling_timerUnit = unit;
  touched();
}

void JobEditorPresenter::setDay(std::size_t day, bool on) {
  job_.scheduling_weekFlag.at(day) = on;
  job_.scheduling_weekOrDateFlag = false;
  touched();
}

void JobEditorPresenter::setTime(int hour, int minute) {
  const CalendarDate today(clock_.now());
  job_.scheduling_date = CalendarDate::fromLocal(today.year(), today.month(), today.day(), hour, minute, 0);
  job_.scheduling_date.setFormat(kTimeOfDayFormat);
  touched();
}

// The other list is emptied: a list of exclusions alone decides wherever there is one.
void JobEditorPresenter::setFilter(Filter filter, const std::string& extensions) {
  const auto list = extensionsOf(extensions);
  filterChoice_ = filter;
  job_.inclusionArray = filter == Filter::kOnly ? list : std::vector<std::string>();
  job_.exclusionArray = filter == Filter::kAllBut ? list : std::vector<std::string>();
  touched();
}

JobEditorPresenter::Filter JobEditorPresenter::filter() const {
  if (filterChoice_) return *filterChoice_;
  if (!job_.exclusionArray.empty()) return Filter::kAllBut;
  return job_.inclusionArray.empty() ? Filter::kEverything : Filter::kOnly;
}

// The names are kept with the job, so that a renamed computer does not start a second copy.
void JobEditorPresenter::setFullPath(bool on) {
  job_.bRetainFullPath = on;
  if (on) {
    job_.otherKeys.try_emplace(kComputerNameKey, workspace::computerName());
    job_.otherKeys.try_emplace(kRootDisplayNameKey, workspace::rootDisplayName());
  }
  touched();
}

void JobEditorPresenter::setUnmount(bool on) {
  job_.otherKeys[kUnmountAfterArrivalKey] = on;
  touched();
}

bool JobEditorPresenter::unmounts() const {
  const auto found = job_.otherKeys.find(kUnmountAfterArrivalKey);
  return found != job_.otherKeys.end() && found->second.boolean();
}

void JobEditorPresenter::change(const std::function<void(Job&)>& edit) {
  edit(job_);
  touched();
}

std::optional<WallTime> JobEditorPresenter::firstRun() const {
  return job_.bActive ? firstScheduledRun(job_, clock_.now()) : std::nullopt;
}

PropertyList::Array JobEditorPresenter::storedJobs() {
  PropertyList::Array stored;
  for (BoardJob& job : board_.jobs()) stored.push_back(std::move(job.stored));
  return stored;
}

FieldProblems JobEditorPresenter::problemsWithoutDisk() {
  FieldProblems found = problemsOfTexts(job_, storedJobs());
  const bool hasTypes = !job_.inclusionArray.empty() || !job_.exclusionArray.empty();
  if (questions().filter && filter() != Filter::kEverything && !hasTypes)
    found.push_back({JobField::kFilter, FieldProblem::Weight::kMissing, translated("Name the file types.")});
  return found;
}

// A disk that does not answer keeps nobody waiting: the answer comes when it comes.
void JobEditorPresenter::lookAtFolders() {
  const bool isKnown = looked_ && sameFolders(looked_->asked, job_) && !looked_->isStale;
  if (isKnown || (asked_ && sameFolders(*asked_, job_))) return;
  asked_ = job_;
  isStartingLook_ = true;
  looking_.start([this, disk = disk_, job = job_, before = before_](const BackgroundTask::Context& context) {
    FieldProblems found = problemsOnDisk(disk, job, before ? &*before : nullptr);
    context.tell([this, job, found = std::move(found)] {
      asked_.reset();
      looked_ = Looked{job, found};
      problems_.reset();
      if (!isStartingLook_) changed();
    });
  });
  isStartingLook_ = false;
}

void JobEditorPresenter::addDiskProblems(FieldProblems& problems) {
  lookAtFolders();
  if (looked_ && sameFolders(looked_->asked, job_)) {
    problems.insert(problems.end(), looked_->problems.begin(), looked_->problems.end());
  } else if (!before_ || !sameFolders(*before_, job_)) {
    problems.push_back({JobField::kTarget, FieldProblem::Weight::kMissing, translated("Looking at the folders…")});
  }
}

const FieldProblems& JobEditorPresenter::problems() {
  if (problems_) return *problems_;
  FieldProblems found = problemsWithoutDisk();
  const bool mayLook = std::none_of(found.begin(), found.end(), [](const FieldProblem& problem) {
    const bool isOfFolders = problem.field == JobField::kSources || problem.field == JobField::kTarget;
    return isOfFolders && problem.weight != FieldProblem::Weight::kWarning;
  });
  if (mayLook) addDiskProblems(found);
  std::stable_sort(found.begin(), found.end(), [](const FieldProblem& a, const FieldProblem& b) {
    return std::pair(a.field, a.weight) < std::pair(b.field, b.weight);
  });
  problems_ = std::move(found);
  return *problems_;
}

bool JobEditorPresenter::canSave() {
  const FieldProblems& found = problems();
  return std::all_of(found.begin(), found.end(),
                     [](const FieldProblem& problem) { return problem.weight == FieldProblem::Weight::kWarning; });
}

std::vector<std::string> JobEditorPresenter::plainWarnings() const {
  if (!questions().wholeVolumes) return {};
  if (job_.bFormatVolume)
    return {translated("The target volume is erased before every clone. Nothing that is on it can be brought back.")};
  return {
      translated("What is on the target volume and not on the source is deleted from it. It does not go to the "
                 "Trash.")};
}

void JobEditorPresenter::lookAgain() {
  if (looked_) looked_->isStale = true;
  touched();
}

void JobEditorPresenter::boardChanged() {
  touched();
}

SaveResult JobEditorPresenter::save(Meanwhile meanwhile) {
  problems_.reset();
  if (!canSave()) {
    changed();
    return {SaveResult::End::kRefused, {}};
  }
  return isNew() ? saveNew() : saveEdited(meanwhile);
}

// What the type implies was set when it was chosen, and may have been changed since.
SaveResult JobEditorPresenter::saveNew() {
  Job stored = job_;
  confirmNewJob(stored, job_.jobType);
  stored.scheduling_timerUnit = job_.scheduling_timerUnit;
  if (const auto refusal = board_.add(stored)) return {SaveResult::End::kRefused, *refusal};
  job_ = begin_ = stored;
  before_ = std::move(stored);
  return {};
}

SaveResult JobEditorPresenter::saveEdited(Meanwhile meanwhile) {
  const auto stored = board_.jobs();
  const auto found =
      std::find_if(stored.begin(), stored.end(), [&](const BoardJob& job) { return job.uuid == job_.uuidString; });
  Job current;
  if (found == stored.end() || !jobFromDictionary(found->stored, current))
    return {SaveResult::End::kGone, translated("This job has been deleted meanwhile.")};
  CarriedEdit carried = carriedEdit(*before_, job_, current);
  if (carried.clashes && meanwhile == Meanwhile::kAsk)
    return {SaveResult::End::kChangedMeanwhile, translated("Somebody else has changed this job meanwhile.")};
  // What the other folders hold says nothing about these.
  if (!sameFolders(carried.job, current)) carried.job.bFirstCopy = true;
  if (const auto refusal = board_.edit(found->stored, carried.job)) return {SaveResult::End::kRefused, *refusal};
  job_ = begin_ = carried.job;
  before_ = carried.job;
  return {};
}

void JobEditorPresenter::makeNew() {
  before_.reset();
  job_.uuidString.clear();
  for (const char* key : {kLastCompletedBeginKey, kLastCompletedBeginNanosecondsKey, kLastCompletedEndNanosecondsKey,
                          kDoubtedSinceNanosecondsKey, kMarkedTargetsKey, kRootFileSystemsKey, kCapacityWarnedKey})
    job_.otherKeys.erase(key);
  job_.lastRanTime.clear();
  job_.lastBeginTime.clear();
  lookAgain();
}

CarriedEdit carriedEdit(const Job& before, const Job& mine, const Job& current) {
  const PropertyList was = jobToDictionary(before), wanted = jobToDictionary(mine), is = jobToDictionary(current);
  PropertyList::Dictionary merged = is.dictionary();
  CarriedEdit carried;
  const auto carry = [&](const std::string& key) {
    if (was[key] == wanted[key]) return;
    carried.clashes |= is[key] != was[key] && is[key] != wanted[key];
    if (wanted[key].isNone()) merged.erase(key);
    if (!wanted[key].isNone()) merged[key] = wanted[key];
  };
  for (const auto& entry : was.dictionary()) carry(entry.first);
  for (const auto& entry : wanted.dictionary())
    if (was[entry.first].isNone()) carry(entry.first);
  // Every record makes a dictionary that can be read.
  (void)jobFromDictionary(merged, carried.job);
  return carried;
}

}  // namespace lumisk
