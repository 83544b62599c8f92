#include "jobs/job_store.h"

#include <tuple>

#include "jobs/stored_jobs.h"

namespace lumisk {
namespace {

void forgetCompletedRun(QUORVELPREFERENCEINFO& job) {
  for (const char* key : {kLastCompletedBeginKey, kLastCompletedBeginNanosecondsKey, kLastCompletedEndNanosecondsKey}) {
    job.otherKeys.erase(key);
  }
}

}  // namespace

bool isAnotherTask(const PropertyList& before, const QUORVELPREFERENCEINFO& after) {
  QUORVELPREFERENCEINFO old;
  if (!jobFromDictionary(before, old)) return true;
  const auto task = [](const QUORVELPREFERENCEINFO& job) {
    return std::tie(job.jobType, job.sourcePaths, job.targetPaths, job.bMultipleTargetFolder, job.bRetainFullPath,
                    job.dmgPath, job.inclusionArray, job.exclusionArray, job.fileTypeMethod, job.bDealPackage);
  };
  return task(old) != task(after);
}

JobStore::JobStore(UserDefaults& defaults, const Clock& clock) : defaults_(defaults), clock_(clock) {}

void JobStore::initializePreferenceInfo() {
  const std::lock_guard guard(m_lock);
  m_preferenceInfo.clear();
  ungathered_.reset();
  wasRead_ = false;
  m_tempInfo = newJobDefaults(clock_.now());
  m_currentInfo = m_tempInfo;
  m_currentInfo.scheduling_weekFlag.fill(true);
}

void JobStore::destroyPreferenceInfo() {
  const std::lock_guard guard(m_lock);
  m_preferenceInfo.clear();
  ungathered_.reset();
  wasRead_ = false;
  m_currentInfo = {};
  m_tempInfo = {};
}

bool JobStore::readPreferenceInfo() {
  const std::lock_guard guard(m_lock);
  if (!writeGathered()) return false;
  const auto found = appendStored();
  return found ? succeeded() && *found : failed(found.error());
}

bool JobStore::reloadPreferenceInfo() {
  const std::lock_guard guard(m_lock);
  if (!writeGathered()) return false;
  Array before = std::exchange(m_preferenceInfo, {});
  m_nIndex = -1;
  const auto found = appendStored();
  if (found) return succeeded() && *found;
  m_preferenceInfo = std::move(before);
  return failed(found.error());
}

Result<bool> JobStore::appendStored() {
  LUMISK_TRY(const PropertyList name, defaults_.object(kStoreNameKey));
  LUMISK_TRY(const PropertyList stored, defaults_.object(kJobArrayKey));
  wasRead_ = true;
  if (!name.hasText() || stored.kind() != PropertyList::Kind::kArray) return false;
  m_preferenceInfo.insert(m_preferenceInfo.end(), stored.array().begin(), stored.array().end());
  return true;
}

bool JobStore::savePreferenceInfo() {
  const std::lock_guard guard(m_lock);
  return replaceJobs(m_preferenceInfo);
}

bool JobStore::replaceJobs(Array next) {
  bool refused = false;
  std::optional<std::string> keptUnder;
  const auto written = defaults_.change([&](Dictionary& defaults) {
    refused = !wasRead_ && storedJobs::areLoadable(defaults) && !defaults[kJobArrayKey].array().empty();
    if (refused) return;
    keptUnder = storedJobs::keepUnloadable(defaults, clock_.now());
    storedJobs::write(defaults, next);
  });
  if (!written) return failed(written.error());
  if (refused) return failed({"save the jobs", defaults_.path(), 0, "the stored jobs could not be read before"});
  warnAboutKept(keptUnder);
  m_preferenceInfo = std::move(next);
  ungathered_.reset();
  wasRead_ = true;
  return succeeded();
}

void JobStore::beginGathering() {
  const std::lock_guard guard(m_lock);
  ++gatherings_;
}

void JobStore::endGathering() {
  const std::lock_guard guard(m_lock);
  --gatherings_;
  (void)writeGathered();  // lastError() tells
}

bool JobStore::writeGathered() {
  if (!ungathered_) return true;
  Array before = std::move(*ungathered_);
  ungathered_.reset();
  if (replaceJobs(m_preferenceInfo)) return true;
  m_preferenceInfo = std::move(before);
  return false;
}

void JobStore::initializeStatus() {
  const std::lock_guard guard(m_lock);
  for (PropertyList& job : m_preferenceInfo) {
    if (job.kind() == PropertyList::Kind::kDictionary)
      job.mutableDictionary()[kJobStatusKey] = static_cast<std::int32_t>(JobStatus::kCompleted);
  }
}

bool JobStore::fetchPreferenceInfo(std::int32_t index, Locking lock) {
  std::unique_lock guard(m_lock, std::defer_lock);
  if (lock == Locking::kTake) guard.lock();
  succeeded();
  if (!isIndex(index)) return false;
  const auto read = jobFromDictionary(m_preferenceInfo[static_cast<std::size_t>(index)], m_currentInfo);
  return read ? true : failed(read.error());
}

bool JobStore::addPreferenceInfo(std::int32_t index) {
  const std::lock_guard guard(m_lock);
  succeeded();
  const auto position = index < 0 ? m_preferenceInfo.size() : static_cast<std::size_t>(index);
  if (position > m_preferenceInfo.size()) return false;
  QUORVELPREFERENCEINFO info = m_currentInfo;
  info.jobModifyTime = storedDate(clock_.now());
  Array next = m_preferenceInfo;
  next.insert(next.begin() + static_cast<std::ptrdiff_t>(position), jobToDictionary(info));
  if (!replaceJobs(std::move(next))) return false;
  m_currentInfo.jobModifyTime = info.jobModifyTime;
  return true;
}

bool JobStore::storePreferenceInfo(std::int32_t index) {
  const std::lock_guard guard(m_lock);
  succeeded();
  if (!isIndex(index)) return false;
  QUORVELPREFERENCEINFO info = m_currentInfo;
  info.jobModifyTime = storedDate(clock_.now());
  Array next = m_preferenceInfo;
  PropertyList& place = next[static_cast<std::size_t>(index)];
  if (isAnotherTask(place, info)) forgetCompletedRun(info);
  place = jobToDictionary(info);
  if (!replaceJobs(std::move(next))) return false;
  m_currentInfo = std::move(info);
  return true;
}

bool JobStore::deletePreferenceInfo(std::int32_t index) {
  const std::lock_guard guard(m_lock);
  succeeded();
  if (!isIndex(index)) return false;
  Array next = m_preferenceInfo;
  next.erase(next.begin() + index);
  return replaceJobs(std::move(next));
}

bool JobStore::changeJob(std::int32_t index, const std::function<void(Dictionary&)>& edit) {
  const std::lock_guard guard(m_lock);
  if (gatherings_ == 0) succeeded();  // else what the last writing came to is still to be told
  if (!isIndex(index)) return false;
  const PropertyList& before = m_preferenceInfo[static_cast<std::size_t>(index)];
  if (before.kind() != PropertyList::Kind::kDictionary)
    return failed({"change the job", "", 0, "the stored job is not a dictionary"});
  PropertyList after = before;
  edit(after.mutableDictionary());
  if (after == before) return true;
  if (gatherings_ > 0) {
    if (!ungathered_) ungathered_ = m_preferenceInfo;
    m_preferenceInfo[static_cast<std::size_t>(index)] = std::move(after);
    return true;
  }
  Array next = m_preferenceInfo;
  next[static_cast<std::size_t>(index)] = std::move(after);
  return replaceJobs(std::move(next));
}

bool JobStore::replaceAll(const Array& expected, Array next) {
  const std::lock_guard guard(m_lock);
  succeeded();
  if (m_preferenceInfo != expected) return false;
  return next == m_preferenceInfo || replaceJobs(std::move(next));
}

void JobStore::init_tempInfo(bool keepSources) {
  std::vector<std::string> sources = std::move(m_tempInfo.sourcePaths);
  m_tempInfo = newJobDefaults(clock_.now());
  if (keepSources) m_tempInfo.sourcePaths = std::move(sources);
}

bool JobStore::getDataBit(std::int32_t index, std::uint32_t& bits) {
  {
    const std::lock_guard guard(m_lock);
    if (!writeGathered()) return false;
  }
  const auto stored = defaults_.object(kJobArrayKey);
  if (!stored) return failed(stored.error());
  succeeded();
  const Array& jobs = stored->array();
  if (index < 0 || static_cast<std::size_t>(index) >= jobs.size()) return false;
  bits = static_cast<std::uint32_t>(jobs[static_cast<std::size_t>(index)][kDataBitKey].integer());
  return true;
}

bool JobStore::setDataBit(std::int32_t, std::uint32_t) {
  return true;
}

bool JobStore::setFirstCopyFlag(std::int32_t index) {
  const std::lock_guard guard(m_lock);
  if (!writeGathered()) return false;
  PropertyList changed;
  const auto written = defaults_.change([&](Dictionary& defaults) {
    const auto stored = defaults.find(kJobArrayKey);
    if (stored == defaults.end() || index < 0) return;
    if (static_cast<std::size_t>(index) >= stored->second.array().size()) return;
    PropertyList& job = stored->second.mutableArray()[static_cast<std::size_t>(index)];
    if (job.kind() != PropertyList::Kind::kDictionary) return;
    job.mutableDictionary()[kFirstCopyKey] = false;
    changed = job;
  });
  if (!written) return failed(written.error());
  succeeded();
  if (changed.isNone()) return false;
  mirrorFirstCopy(index, changed);
  return true;
}

void JobStore::mirrorFirstCopy(std::int32_t index, const PropertyList& stored) {
  if (!isIndex(index)) return;
  PropertyList& job = m_preferenceInfo[static_cast<std::size_t>(index)];
  if (job.kind() == PropertyList::Kind::kDictionary && job[kUuidStringKey].text() == stored[kUuidStringKey].text())
    job.mutableDictionary()[kFirstCopyKey] = false;
}

PropertyList::Array JobStore::jobs() {
  const std::lock_guard guard(m_lock);
  return m_preferenceInfo;
}

PropertyList JobStore::job(std::int32_t index) {
  const std::lock_guard guard(m_lock);
  return isIndex(index) ? m_preferenceInfo[static_cast<std::size_t>(index)] : PropertyList();
}

std::int32_t JobStore::count() {
  const std::lock_guard guard(m_lock);
  return static_cast<std::int32_t>(m_preferenceInfo.size());
}

std::int32_t JobStore::indexOfName(const std::string& name) {
  return indexWhere(kObjectNameKey, name);
}

std::int32_t JobStore::indexOfUuid(const std::string& uuid) {
  return uuid.empty() ? -1 : indexWhere(kUuidStringKey, uuid);
}

std::int32_t JobStore::indexWhere(const char* key, const std::string& text) {
  const std::lock_guard guard(m_lock);
  for (std::size_t i = 0; i < m_preferenceInfo.size(); ++i) {
    if (m_preferenceInfo[i][key].text() == text) return static_cast<std::int32_t>(i);
  }
  return -1;
}

PropertyList JobStore::preference(const std::string& key) {
  const auto preferences = defaults_.object(kPreferencesKey);
  if (!preferences) {
    failed(preferences.error());
    return {};
  }
  return (*preferences)[key];
}

Error JobStore::lastError() {
  const std::lock_guard guard(reportLock_);
  return lastError_;
}

std::vector<std::string> JobStore::takeWarnings() {
  const std::lock_guard guard(reportLock_);
  return std::exchange(warnings_, {});
}

bool JobStore::isIndex(std::int32_t index) const {
  return index >= 0 && static_cast<std::size_t>(index) < m_preferenceInfo.size();
}

bool JobStore::succeeded() {
  const std::lock_guard guard(reportLock_);
  lastError_ = {};
  return true;
}

bool JobStore::failed(Error error) {
  const std::lock_guard guard(reportLock_);
  lastError_ = std::move(error);
  return false;
}

void JobStore::warnAboutKept(const std::optional<std::string>& keptUnder) {
  if (!keptUnder) return;
  const std::lock_guard guard(reportLock_);
  warnings_.push_back("the stored jobs could not be loaded and were kept as \"" + *keptUnder + "\" in " +
                      defaults_.path());
}

}  // namespace lumisk
