#include "jobs/stored_jobs.h"

#include "jobs/job_store.h"
#include "platform/calendar_date.h"

namespace lumisk::storedJobs {
namespace {

bool isNamed(const PropertyList::Dictionary& defaults) {
  const auto name = defaults.find(kStoreNameKey);
  return name != defaults.end() && name->second.hasText();
}

bool holdsNothing(const PropertyList& stored) {
  return stored.isNone() || (stored.kind() == PropertyList::Kind::kArray && stored.array().empty());
}

}  // namespace

bool areLoadable(const PropertyList::Dictionary& defaults) {
  const auto jobs = defaults.find(kJobArrayKey);
  return jobs != defaults.end() && jobs->second.kind() == PropertyList::Kind::kArray && isNamed(defaults);
}

std::optional<std::string> keepUnloadable(PropertyList::Dictionary& defaults, WallTime now) {
  const auto jobs = defaults.find(kJobArrayKey);
  if (jobs == defaults.end() || holdsNothing(jobs->second) || areLoadable(defaults)) return std::nullopt;
  const std::string dated = std::string(kJobArrayKey) + " " + storedDate(now);
  std::string key = dated;
  for (int number = 2; defaults.count(key) != 0; ++number) key = dated + " " + std::to_string(number);
  defaults.emplace(key, std::move(jobs->second));
  defaults.erase(jobs);
  return key;
}

void write(PropertyList::Dictionary& defaults, PropertyList::Array jobs) {
  if (!isNamed(defaults)) defaults[kStoreNameKey] = "Automatic Backup";
  defaults[kStoreSwitchKey] = true;
  defaults[kJobArrayKey] = std::move(jobs);
}

}  // namespace lumisk::storedJobs
