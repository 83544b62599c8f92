// The jobs of the sibling product, and the file shared with the file manager's plug-in.

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <map>

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

// FNV-1a, 64 bits. http://www.isthe.com/chongo/tech/comp/fnv/
std::uint64_t digest(std::string_view text, std::uint64_t start) {
  for (const char byte : text) start = (start ^ static_cast<unsigned char>(byte)) * 1099511628211U;
  return start;
}

// A job without an identifier gets one: without, its targets carry no mark of its own. From its name, so that a second
// import finds it again; `number` tells those of one name apart.
PropertyList withIdentifier(PropertyList job, std::size_t number) {
  if (!job[kUuidStringKey].text().empty()) return job;
  const std::string name = job[kObjectNameKey].text() + '\0' + std::to_string(number);
  const std::uint64_t high = digest(name, 14695981039346656037U), low = digest(name, high);
  job.mutableDictionary()[kUuidStringKey] =
      fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:012X}", high >> 32, high >> 16 & 0xffff, high & 0xffff, low >> 48,
                  low & 0xffffffffffff);
  return job;
}

// Appends to `jobs` those of `theirs` that it lacks; gives what was appended.
Array appendMissing(Array& jobs, const Array& theirs) {
  const Array before = jobs;
  Array added;
  std::map<std::string, std::size_t> seen;  // how many of a name
  for (const PropertyList& job : theirs) {
    if (job.kind() != PropertyList::Kind::kDictionary) continue;
    PropertyList own = withIdentifier(job, seen[job[kObjectNameKey].text()]++);
    if (holdsJob(before, job) || holdsJob(before, own)) continue;
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
