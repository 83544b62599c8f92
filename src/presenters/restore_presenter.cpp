#include "presenters/restore_presenter.h"

#include <cerrno>
#include <mutex>

#include "engine/job_log.h"
#include "jobs/job_keys.h"
#include "log/log_file.h"
#include "platform/byte_text.h"
#include "platform/paths.h"
#include "presenters/locale_text.h"
#include "presenters/restore_texts.h"
#include "schedule/restore_hold.h"

namespace lumisk {
namespace {

std::vector<RestoreEntry> rootEntries(const std::vector<std::string>& roots) {
  std::vector<RestoreEntry> entries;
  for (const std::string& root : roots) entries.push_back({root, root, true, false});
  return entries;
}

std::vector<RestoreEntry> entriesOf(const std::string& folder, const std::vector<KnownEntry>& known) {
  std::vector<RestoreEntry> entries;
  for (const KnownEntry& entry : known)
    entries.push_back({paths::join(folder, entry.name), entry.name, entry.type == FileType::kFolder, entry.isGone});
  return entries;
}

std::optional<FileStatus> standingAt(FileCalls& files, const std::string& path) {
  const auto folder = files.openRoot(paths::parent(path));
  const auto status = folder ? files.status(folder->get(), paths::lastComponent(path)) : fail(folder.error());
  return status ? std::optional(*status) : std::nullopt;
}

}  // namespace

// One restore, or one version that is being copied to be opened.
struct RestorePresenter::Restoring {
  std::string name;         // what it is about
  std::uint64_t total = 0;  // bytes; 0: not known
  std::atomic<bool> isCancelled{false};
  std::thread thread;

  std::mutex mutex;  // guards what follows
  JobProgressMessage progress;
};

RestorePresenter::RestorePresenter(Services services)
    : services_(std::move(services)), listing_(services_.background), looking_(services_.background) {}

RestorePresenter::~RestorePresenter() {
  if (!restoring_) return;
  restoring_->isCancelled = true;
  restoring_->thread.join();
}

// Where.

void RestorePresenter::showJob(const std::string& uuid) {
  for (const PropertyList& stored : services_.jobs()) {
    QUORVELPREFERENCEINFO job;
    if (stored[kUuidStringKey].text() != uuid || !jobFromDictionary(stored, job)) continue;
    title_ = job.name;
    roots_ = job.sourcePaths;
  }
  roots_.size() == 1 ? enter(roots_.front()) : enter("");
}

void RestorePresenter::showPath(const std::string& path) {
  title_ = path;
  roots_ = {path};
  select(path);
  findPlaceOf(paths::parent(path), [this](const std::string& folder) { show(folder); });
}

// The folder where jobs know it, else the sources. Some disk may have to say, so nothing waits for it.
void RestorePresenter::findPlaceOf(const std::string& folder, std::function<void(const std::string&)> found) {
  isListing_ = true;
  listing_.start([&files = services_.files, jobs = services_.jobs(), folder,
                  found = std::move(found)](const BackgroundTask::Context& context) {
    const bool isKnown = !askedPlaces(files, jobs, folder).places.empty();
    context.tell([found, place = isKnown ? folder : ""] { found(place); });
  });
  tell();
}

bool RestorePresenter::canGoUp() const {
  return !folder_.empty();
}

void RestorePresenter::up() {
  const bool isRoot = std::find(roots_.begin(), roots_.end(), folder_) != roots_.end();
  if (isRoot) return enter("");
  findPlaceOf(paths::parent(folder_), [this](const std::string& folder) { enter(folder); });
}

void RestorePresenter::enter(const std::string& folder) {
  if (!folder.empty()) select(folder);
  show(folder);
}

void RestorePresenter::show(const std::string& folder) {
  folder_ = folder;
  entries_.clear();
  isListing_ = !folder.empty();
  if (folder.empty()) {
    listing_.cancel();
    entries_ = rootEntries(roots_);
  } else {
    list();
  }
  tell();
}

void RestorePresenter::list() {
  listing_.start([this, &files = services_.files, jobs = services_.jobs(),
                  folder = folder_](const BackgroundTask::Context& context) {
    const AskedPath asked = askedPlaces(files, jobs, folder);
    auto entries = entriesOf(folder, knownEntries(files, asked.places));
    context.tell([this, entries = std::move(entries)]() mutable {
      entries_ = std::move(entries);
      isListing_ = false;
      tell();
    });
  });
}

// What.

void RestorePresenter::select(const std::string& path) {
  if (isRestoring()) return;
  asked_ = {path, {}, {}};
  known_ = {};
  rows_.clear();
  hint_.clear();
  end_.reset();
  look(path);
  tell();
}

void RestorePresenter::look(const std::string& path) {
  isLooking_ = true;
  looking_.start(
      [this, &files = services_.files, jobs = services_.jobs(), path](const BackgroundTask::Context& context) {
        AskedPath asked = askedPlaces(files, jobs, path);
        KnownVersions known;
        if (!asked.places.empty()) known = findVersions(files, asked.places);
        const auto standing = standingAt(files, asked.path);
        auto rows = versionRows(known.versions, asked.path, standing);
        context.tell([this, asked = std::move(asked), known = std::move(known), rows = std::move(rows)]() mutable {
          asked_ = std::move(asked);
          rows_ = std::move(rows);
          showVersions(std::move(known));
        });
      });
}

void RestorePresenter::showVersions(KnownVersions known) {
  known_ = std::move(known);
  isLooking_ = false;
  hint_ = versionsHint(asked_, known_);
  tell();
}

// Putting back.

void RestorePresenter::putBack(std::size_t row) {
  restore(row, asked_.path, true);
}

void RestorePresenter::putInto(std::size_t row, const std::string& folder) {
  restore(row, paths::join(folder, paths::lastComponent(asked_.path)), false);
}

RestoreServices RestorePresenter::servicesFor(JobLog& log, Restoring& restoring) const {
  RestoreServices services{services_.files, services_.clock, log, services_.dialogs, &restoring.isCancelled, {}};
  services.progress = [this, &restoring, isThere = std::weak_ptr(isThere_)](const JobProgressMessage& message) {
    {
      const std::lock_guard guard(restoring.mutex);
      restoring.progress = message;
    }
    services_.background.onMainThread([this, isThere] {
      if (!isThere.expired()) tell();
    });
  };
  return services;
}

// Runs are kept away for as long as it takes: those that write into the targets by their locks, and the jobs of these
// sources by the list that schedulers look at.
void RestorePresenter::restore(std::size_t row, const std::string& destination, bool toItsPlace) {
  if (row >= known_.versions.size() || isRestoring() || isLooking_) return;
  const Version version = known_.versions[row];
  auto restoring = std::make_unique<Restoring>();
  restoring->name = destination;
  if (version.status.type == FileType::kRegular) restoring->total = version.status.size;
  const auto work = [this, version, destination, toItsPlace, asked = asked_, known = known_](Restoring& task) -> End {
    if (version.path == destination) return nothingToRestore(destination);
    const auto locks = lockTargets(services_.files, targetsOfRestore(asked, destination));
    if (!locks) return refusedRestore(locks.error());
    const RestoreHold hold(services_.pluginListPath, version.path, destination);
    JobLogFile log(version.place.job);
    const std::string makeFrom = toItsPlace ? firstFolderToMake(version.place, destination) : "";
    const auto report = restoreVersion(servicesFor(log, task), version, destination, makeFrom);
    if (!report) return refusedRestore(report.error());
    return endOfRestore(*report, version, destination, toItsPlace ? newerCopyThan(version, known) : "");
  };
  start(std::move(restoring), work);
}

void RestorePresenter::open(std::size_t row) {
  if (row >= rows_.size() || !rows_[row].canBeOpened || isRestoring()) return;
  const Version version = known_.versions[row];
  auto restoring = std::make_unique<Restoring>();
  restoring->name = asked_.path;
  restoring->total = version.status.size;
  start(std::move(restoring), [this, version](Restoring& task) -> End {
    NoJobLog quiet;
    const auto opened = services_.opener->open(servicesFor(quiet, task), version);
    if (!opened) return refusedRestore(opened.error());
    return {true, translated("Opened as a copy that cannot be changed."), {}};
  });
}

void RestorePresenter::start(std::unique_ptr<Restoring> restoring, std::function<End(Restoring&)> work) {
  end_.reset();
  restoring_ = std::move(restoring);
  Restoring& task = *restoring_;
  task.thread = std::thread([this, &task, work = std::move(work), isThere = std::weak_ptr(isThere_),
                             onMainThread = services_.background.onMainThread] {
    End end = work(task);
    onMainThread([this, isThere, end = std::move(end)]() mutable {
      if (!isThere.expired()) ended(std::move(end));
    });
  });
  tell();
}

void RestorePresenter::ended(End end) {
  restoring_->thread.join();
  restoring_.reset();
  end_ = std::move(end);
  if (!folder_.empty()) list();
  look(asked_.path);
  tell();
}

void RestorePresenter::cancel() {
  if (restoring_) restoring_->isCancelled = true;
}

RestorePresenter::Progress RestorePresenter::progress() const {
  if (!restoring_) return {};
  const std::lock_guard guard(restoring_->mutex);
  const JobProgressMessage& told = restoring_->progress;
  Progress progress;
  const std::string name = told.fileName.empty() ? paths::lastComponent(restoring_->name) : told.fileName;
  progress.text = filled(translated("{}, {} so far"), displayText(name), localSize(told.bytes));
  if (restoring_->total > 0)
    progress.percent =
        std::min(100.0, 100.0 * static_cast<double>(told.bytes) / static_cast<double>(restoring_->total));
  return progress;
}

void RestorePresenter::tell() const {
  if (changed_) changed_();
}

}  // namespace lumisk
