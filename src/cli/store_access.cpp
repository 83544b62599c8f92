#include "cli/store_access.h"

#include <cerrno>

#include "app/job_changes.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

// How long another program may take for its own short change.
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kBetweenTries{50};
// How often a change is made again because somebody else was faster.
constexpr int kMostTries = 10;

}  // namespace

StoreAccess::StoreAccess(CommandIo& io)
    : io_(io), defaults_(UserDefaults::standardPath()), store_(defaults_, io.clock) {
  store_.initializePreferenceInfo();
  say_ = [&io](const std::string& warning) { io.err << "lumisk: " << displayText(warning) << '\n'; };
}

Checked<JobStore*> StoreAccess::read() {
  // Asked before the store, which takes a file that cannot be read for an empty one.
  const auto jobs = defaults_.object(kJobArrayKey);
  showWarnings();
  if (!jobs) return fail(complaintOf(jobs.error()));
  store_.reloadPreferenceInfo();
  return &store_;
}

Checked<void> StoreAccess::change(const Change& change) {
  LUMISK_TRY(Holder holder, hold());
  if (holder.instance) return changeThrough(*holder.instance, change);
  LUMISK_TRY(JobStore* const store, read());
  auto changed = change(*store);
  showWarnings();
  return changed;
}

Checked<void> StoreAccess::changeThrough(Instance& instance, const Change& change) {
  for (int attempt = 0; attempt < kMostTries; ++attempt) {
    LUMISK_TRY(const Outcome outcome, tryThrough(instance, change));
    if (outcome == Outcome::kConflict) continue;
    LUMISK_CHECK(read());
    return {};
  }
  return fail(Complaint{Ending::kIncomplete, "jobs", "others go on changing the same; nothing was changed"});
}

Checked<StoreAccess::Outcome> StoreAccess::tryThrough(Instance& instance, const Change& change) {
  LUMISK_TRY(PropertyList::Array changes, changesOf(change));
  if (changes.empty()) return Outcome::kStored;
  LUMISK_TRY(const PropertyList answer, instance.ask(RequestAction::kChangeJobs, {{kRequestChangesKey, changes}}));
  const RequestResult result = resultOf(answer);
  for (const PropertyList& name : answer[kStoppedRunsKey].array()) {
    say_(name.text() + ": its run was stopped by the change; `lumisk start` runs it again");
  }
  if (result == RequestResult::kDone) return Outcome::kStored;
  if (result == RequestResult::kConflict) return Outcome::kConflict;
  return refusedBy(answer, "jobs");
}

// What the change does to a copy of the jobs that is written nowhere.
Checked<PropertyList::Array> StoreAccess::changesOf(const Change& change) {
  auto stored = defaults_.objects();
  showWarnings();
  if (!stored) return fail(complaintOf(stored.error()));
  UserDefaults values = UserDefaults::inMemory(std::move(*stored));
  JobStore copy(values, io_.clock);
  copy.initializePreferenceInfo();
  copy.reloadPreferenceInfo();
  const PropertyList::Array before = copy.jobs();
  current_ = &copy;
  auto changed = change(copy);
  current_ = &store_;
  if (!changed) return fail(changed.error());
  return jobChanges(before, copy.jobs());
}

Checked<std::optional<Instance>> StoreAccess::instance() {
  LUMISK_TRY(Holder holder, hold());
  return std::move(holder.instance);
}

Checked<std::int32_t> StoreAccess::indexOf(const std::string& name) {
  const std::int32_t index = current_->indexOfName(name);
  if (index < 0) return noSuchJob(name);
  return index;
}

Checked<StoreAccess::Holder> StoreAccess::hold() {
  const auto tries = kPatience / kBetweenTries;
  for (std::int64_t attempt = 0;; ++attempt) {
    auto owned = defaults_.own();
    if (owned) return Holder{*owned, std::nullopt};
    if (owned.error().code != EWOULDBLOCK) return fail(complaintOf(owned.error()));
    // One that is starting does not answer yet, one that is ending no longer.
    if (auto instance = Instance::find()) return Holder{nullptr, std::move(instance)};
    if (attempt == tries) {
      return fail(Complaint{Ending::kStoreIsHeld, defaults_.path(), "another instance of lumisk holds the jobs"});
    }
    io_.clock.sleep(kBetweenTries);
  }
}

void StoreAccess::showWarnings() {
  for (const std::string& warning : defaults_.takeWarnings()) say_(warning);
  for (const std::string& warning : store_.takeWarnings()) say_(warning);
}

tl::unexpected<Complaint> storeFailed(JobStore& store) {
  return fail(complaintOf(store.lastError()));
}

}  // namespace lumisk
