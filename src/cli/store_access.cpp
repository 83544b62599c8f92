#include "cli/store_access.h"

#include <cerrno>

#include "platform/byte_text.h"

namespace lumisk {
namespace {

// How long another program may take for its own short change.
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kBetweenTries{50};

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

Checked<void> StoreAccess::change(const std::function<Checked<void>(JobStore&)>& change) {
  LUMISK_TRY(const auto owned, own());
  LUMISK_TRY(JobStore* const store, read());
  auto changed = change(*store);
  showWarnings();
  return changed;
}

Checked<std::int32_t> StoreAccess::indexOf(const std::string& name) {
  const std::int32_t index = store_.indexOfName(name);
  if (index < 0) return noSuchJob(name);
  return index;
}

Checked<std::shared_ptr<UserDefaults::Ownership>> StoreAccess::own() {
  const auto tries = kPatience / kBetweenTries;
  for (std::int64_t attempt = 0;; ++attempt) {
    auto owned = defaults_.own();
    if (owned) return *owned;
    if (owned.error().code != EWOULDBLOCK) return fail(complaintOf(owned.error()));
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
