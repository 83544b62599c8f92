// The jobs of the sibling product, and the file shared with the file manager's plug-in.

#include <algorithm>
#include <cerrno>

#include "jobs/job_store.h"
#include "jobs/shared_files.h"
#include "jobs/stored_jobs.h"
#include "platform/home_folder.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

constexpr const char* kImportDoneKey = "CNUpgrade";
constexpr const char* kRunningSourcesKey = "RunningJobSourcePath";

bool isSameJob(const PropertyList& a, const PropertyList& b) {
  const std::string uuid = a[kUuidStringKey].text();
  if (uuid != b[kUuidStringKey].text()) return false;
  return !uuid.empty() || a[kObjectNameKey].text() == b[kObjectNameKey].text();
}

bool holdsJob(const Array& jobs, const PropertyList& job) {
  return std::any_of(jobs.begin(), jobs.end(), [&](const PropertyList& other) { return isSameJob(other, job); });
}

bool holdsName(const Array& jobs, const std::string& name) {
  return std::any_of(jobs.begin(), jobs.end(),
                     [&](const PropertyList& other) { return other[kObjectNameKey].text() == name; });
}

// Jobs of one name would share their log and their file list.
std::string freeName(const Array& jobs, const std::string& wanted) {
  std::string name = wanted;
  for (int number = 2; holdsName(jobs, name); ++number) name = wanted + " " + std::to_string(number);
  return name;
}

// Appends to `jobs` those of `theirs` that it lacks; gives what was appended.
Array appendMissing(Array& jobs, const Array& theirs) {
  const Array before = jobs;
  Array added;
  for (const PropertyList& job : theirs) {
    if (job.kind() != PropertyList::Kind::kDictionary || holdsJob(before, job)) continue;
    PropertyList own = job;
    own.mutableDictionary()[kObjectNameKey] = freeName(jobs, job[kObjectNameKey].text());
    jobs.push_back(own);
    added.push_back(std::move(own));
  }
  return added;
}

}  // namespace

std::string siblingDefaultsPath() {
  return homeFolder() + "/Library/Preferences/com.qelcorporation.tarnwick.plist";
}

std::string pluginListPath() {
  return homeFolder() + "/Library/Preferences/com.veltris.LumiskPlugin.plist";
}

bool JobStore::checkVersionOfTarnwick() {
  succeeded();
  auto sibling = readPropertyListFile(siblingDefaultsPath());
  if (!sibling) {
    const int code = sibling.error().code;
    return code == ENOENT || code == EINVAL ? false : failed(sibling.error());
  }
  if (sibling->kind() != PropertyList::Kind::kDictionary) return false;
  if ((*sibling)[kImportDoneKey].boolean()) return true;
  // The mark comes last: when it cannot be set, or we end before, the next start finds the jobs here and adds none.
  if (!importJobs((*sibling)[kJobArrayKey].array())) return false;
  sibling->mutableDictionary()[kImportDoneKey] = true;
  const auto marked = writePropertyListFile(siblingDefaultsPath(), *sibling);
  return marked ? true : failed(marked.error());
}

bool JobStore::importJobs(const Array& theirs) {
  const std::lock_guard guard(m_lock);
  std::optional<std::string> keptUnder;
  Array added;
  const auto written = defaults_.change([&](Dictionary& defaults) {
    const bool loadable = storedJobs::areLoadable(defaults);
    Array jobs = loadable ? defaults[kJobArrayKey].array() : Array();
    added = appendMissing(jobs, theirs);
    if (added.empty()) return;
    keptUnder = storedJobs::keepUnloadable(defaults, clock_.now());
    storedJobs::write(defaults, std::move(jobs));
  });
  if (!written) return failed(written.error());
  warnAboutKept(keptUnder);
  if (wasRead_) m_preferenceInfo.insert(m_preferenceInfo.end(), added.begin(), added.end());
  return true;
}

void JobStore::removeAllRunningJob() {
  succeeded();
  auto list = readPropertyListFile(pluginListPath());
  if (!list || (*list)[kRunningSourcesKey].array().empty()) return;
  list->mutableDictionary()[kRunningSourcesKey] = Array();
  if (const auto written = writePropertyListFile(pluginListPath(), *list); !written) failed(written.error());
}

}  // namespace lumisk
