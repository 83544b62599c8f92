#include "app/sync_control_object.h"

#include <algorithm>

#include "app/job_changes.h"
#include "jobs/job_store.h"

namespace lumisk {
namespace {

constexpr int kStopMessage = 1;

std::int32_t sizeOf(const PropertyList::Array& jobs) {
  return static_cast<std::int32_t>(jobs.size());
}

// A job without an identifier is known by its name.
bool isSameJob(const PropertyList& one, const PropertyList& other) {
  const std::string uuid = one[kUuidStringKey].text();
  if (uuid != other[kUuidStringKey].text()) return false;
  return !uuid.empty() || one[kObjectNameKey].text() == other[kObjectNameKey].text();
}

// That a job was disabled by hand concerns whoever enables it again, not its scheduler.
bool needsRestart(PropertyList before, PropertyList after) {
  before.mutableDictionary().erase(kManullyDisableKey);
  after.mutableDictionary().erase(kManullyDisableKey);
  return differInSettings(before, after);
}

}  // namespace

SyncControlObject::SyncControlObject(UserDefaults& defaults, ScheduleServices services)
    : defaults_(defaults), services_(std::move(services)) {}

SyncControlObject::~SyncControlObject() {
  stop();
}

bool SyncControlObject::reloadPreferenceInfo() {
  const auto name = defaults_.object(kStoreNameKey);
  const auto jobs = defaults_.object(kJobArrayKey);
  const auto isOn = defaults_.object(kStoreSwitchKey);
  if (!name || !jobs || !isOn) return false;
  if (!name->hasText() || jobs->kind() != PropertyList::Kind::kArray) return false;
  m_preferenceInfo = jobs->array();
  m_bTurnOnFlag = isOn->boolean();
  return true;
}

// Starting and stopping.

bool SyncControlObject::start() {
  if (isRun()) return false;
  if (!m_bTurnOnFlag) return true;
  for (std::int32_t index = 0; index < sizeOf(m_preferenceInfo); ++index) addScheduler(index);
  return true;
}

// Also for a job that cannot be read or is inactive: the schedulers' places are the jobs' indices.
void SyncControlObject::addScheduler(std::int32_t index) {
  m_object.push_back({std::make_unique<scheduleThreadObject>(services_), {}});
  fetchAndStart(m_object.back(), index);
}

void SyncControlObject::fetchAndStart(Scheduled& scheduled, std::int32_t index) {
  scheduled.job = m_preferenceInfo.at(static_cast<std::size_t>(index));
  if (scheduled.scheduler->fetchCurrentInfo(m_preferenceInfo, index)) scheduled.scheduler->start();
}

bool SyncControlObject::addObject(std::int32_t index) {
  const std::int32_t last = sizeOf(m_preferenceInfo) - 1;
  if (index < 0 || index > last || !m_bTurnOnFlag) return false;
  if (static_cast<std::size_t>(last) != m_object.size()) return false;  // it is not the one that is missing
  addScheduler(last);
  return true;
}

void SyncControlObject::postMessage(int code) {
  for (const Scheduled& each : m_object) each.scheduler->postMessage(code);
}

bool SyncControlObject::postMessageEx(int code, std::int32_t index) {
  return hasObject(index) && object(index)->postMessage(code);
}

// All are asked first, so that their runs end side by side.
void SyncControlObject::stop() {
  postMessage(kStopMessage);
  while (!m_object.empty()) {
    m_object.front().scheduler->stop();
    m_object.erase(m_object.begin());
  }
}

bool SyncControlObject::stopJob(std::int32_t index) {
  return hasObject(index) && object(index)->stop();
}

bool SyncControlObject::fresh(std::int32_t index) {
  if (!hasObject(index) || index >= sizeOf(m_preferenceInfo)) return false;
  Scheduled& scheduled = m_object[static_cast<std::size_t>(index)];
  scheduled.scheduler->stop();
  fetchAndStart(scheduled, index);
  return true;
}

bool SyncControlObject::deleteObject(std::int32_t index) {
  if (!stopJob(index)) return false;
  m_object.erase(m_object.begin() + index);
  for (auto later = static_cast<std::size_t>(index); later < m_object.size(); ++later) {
    m_object[later].scheduler->setJobIndex(static_cast<std::int32_t>(later));
  }
  return true;
}

// Asking.

void SyncControlObject::setImmediateEvent(std::int32_t index) {
  if (hasObject(index)) object(index)->setImmediateEvent();
}

bool SyncControlObject::isBusy(std::int32_t index) {
  if (!m_bTurnOnFlag) return false;
  if (hasObject(index)) return object(index)->isNowCopyingFile();
  const auto copies = [](const Scheduled& each) { return each.scheduler->isNowCopyingFile(); };
  return index == kAnyJob && std::any_of(m_object.begin(), m_object.end(), copies);
}

scheduleThreadObject* SyncControlObject::object(std::int32_t index) {
  return hasObject(index) ? m_object[static_cast<std::size_t>(index)].scheduler.get() : nullptr;
}

bool SyncControlObject::hasObject(std::int32_t index) const {
  return index >= 0 && static_cast<std::size_t>(index) < m_object.size();
}

// Following the list.

bool SyncControlObject::bringInStep(const std::function<void()>& runsEnded) {
  if (!defaults_.object(kJobArrayKey)) return false;  // what cannot be read says nothing about the jobs
  if (!reloadPreferenceInfo()) m_preferenceInfo.clear();
  stopWhatChanges(m_preferenceInfo);
  runsEnded();
  const bool isRead = reloadPreferenceInfo();
  if (!isRead || !m_bTurnOnFlag) {
    stop();
    return isRead;
  }
  std::vector<Scheduled> before = std::exchange(m_object, {});
  for (std::int32_t index = 0; index < sizeOf(m_preferenceInfo); ++index) fit(before, index);
  return true;
}

void SyncControlObject::stopWhatChanges(const PropertyList::Array& next) {
  std::vector<scheduleThreadObject*> stopping;
  for (const Scheduled& each : m_object) {
    const bool goesOn = std::any_of(next.begin(), next.end(), [&](const PropertyList& job) {
      return isSameJob(job, each.job) && !needsRestart(each.job, job);
    });
    if (!goesOn) stopping.push_back(each.scheduler.get());
  }
  for (scheduleThreadObject* scheduler : stopping) scheduler->postMessage(kStopMessage);
  for (scheduleThreadObject* scheduler : stopping) scheduler->stop();
}

// Gives the job at the index the scheduler that it had, or one of its own.
void SyncControlObject::fit(std::vector<Scheduled>& before, std::int32_t index) {
  const PropertyList& job = m_preferenceInfo[static_cast<std::size_t>(index)];
  const auto old =
      std::find_if(before.begin(), before.end(), [&](const Scheduled& each) { return isSameJob(each.job, job); });
  if (old == before.end()) return addScheduler(index);
  m_object.push_back(std::move(*old));
  before.erase(old);
  Scheduled& scheduled = m_object.back();
  if (!needsRestart(scheduled.job, job)) return scheduled.scheduler->setJobIndex(index);
  scheduled.scheduler->stop();
  fetchAndStart(scheduled, index);
}

}  // namespace lumisk
