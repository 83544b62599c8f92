#include "app/quorvel_app_members.h"

// What the application does about events: of runs, and of devices.

#include <algorithm>

#include "app/target_matching.h"
#include "engine/info_files.h"
#include "log/log_file.h"

namespace lumisk {
namespace {

constexpr const char* kDataBitNotification = "QelLumiskObjectNotification";
constexpr const char* kAddJobNotification = "ADDJOBMESSAGE";
constexpr const char* kSelectedRowKey = "SelectedRow";
constexpr const char* kSourceDictKey = "SourceDict";
constexpr const char* kSelectedPathsKey = "selected_Array";
constexpr int kLooksForVolume = 20;

// A clone that runs when it is asked to, and not by a schedule.
bool isOneTimeClone(const PropertyList& job) {
  return isOneTimeClone(static_cast<JobType>(job[kJobTypeKey].integer32()),
                        static_cast<SchedulingMethod>(job[kSchedulingKey][kMethodKey].integer32()));
}

bool isCompleted(const Notification& notification) {
  const auto found = notification.userInfo.find(kRunCompletedKey);
  return found != notification.userInfo.end() && found->second.boolean();
}

const char* mediaLabel(long parameter) {
  if (static_cast<MediaType>(parameter) == MediaType::kUsb) return "USB";
  return static_cast<MediaType>(parameter) == MediaType::kFireWire ? "1394" : "IMG";
}

int mediaCallback(void* context, std::int32_t event, long parameter) {
  static_cast<QuorvelAppObject*>(context)->CallbackMessageIOMedia(event, parameter);
  return 0;
}

}  // namespace

// Of runs.

void QuorvelAppObject::Members::observeRuns() {
  NotificationCenter& center = services.schedule.worker.notifications;
  status.emplace([this](std::function<void()> work) { events.post(std::move(work)); }, center,
                 services.schedule.worker.clock,
                 [this](const auto& change) {
                   change(store);
                   tellTrouble();
                   changed();
                 });
  const auto observe = [&](const char* name, void (Members::*handle)(const Notification&)) {
    observations.push_back(center.observe(name, [this, handle](const Notification& notification) {
      events.post([this, handle, notification] { (this->*handle)(notification); });
    }));
  };
  observe(kDataBitNotification, &Members::QelLumiskObjectEvent);
  observe(kDidFinishNotification, &Members::removeOneTimeClone);
  observe(kDidFinishNotification, &Members::runOfArrivalEnded);
  observe(kDidFinishNotification, &Members::forgetTroubleOf);
  observe(kAddJobNotification, &Members::addJobMessageEvent);
  observations.push_back(center.observe(
      kProgressNotification, [this](const Notification& notification) { progressCellDataEvent(notification); }));
}

void QuorvelAppObject::Members::QelLumiskObjectEvent(const Notification& notification) {
  const auto bits = notification.userInfo.find(kDataBitKey);
  if (bits == notification.userInfo.end()) return;
  const std::uint64_t value = bits->second.unsignedInteger();
  const std::int32_t index = jobIndexOfEvent(store, notification);
  store.changeJob(index, [&](PropertyList::Dictionary& job) { job[kDataBitKey] = value; });
}

// Only after success: what failed can be run again.
void QuorvelAppObject::Members::removeOneTimeClone(const Notification& notification) {
  const PropertyList clone = store.job(jobIndexOfEvent(store, notification));
  const std::string uuid = clone[kUuidStringKey].text();
  if (!isCompleted(notification) || !isOneTimeClone(clone) || uuid.empty()) return;
  later([this, uuid] {  // an edit may have come in between
    const std::int32_t index = store.indexOfUuid(uuid);
    if (auto* const scheduler = m_controlObject.object(index)) removedClones[uuid] = scheduler->endedRuns().last;
    if (isOneTimeClone(store.job(index))) app.deleteJobButtonActionWithOutPromptAtIndex(index);
  });
}

void QuorvelAppObject::Members::runOfArrivalEnded(const Notification& notification) {
  if (notification.userInfo.contains(kRunPassKey)) return;
  const PropertyList job = store.job(jobIndexOfEvent(store, notification));
  arrived.runEnded(
      job[kUuidStringKey].text(), job[kObjectNameKey].text(),
      isCompleted(notification) ? ArrivedVolumes::RunEnd::kCompleted : ArrivedVolumes::RunEnd::kNotCompleted);
}

void QuorvelAppObject::Members::forgetTroubleOf(const Notification& notification) {
  if (!services.lentDialogs || !isCompleted(notification)) return;
  const PropertyList job = store.job(jobIndexOfEvent(store, notification));
  services.lentDialogs->desk().jobCompleted(job[kObjectNameKey].text());
}

void QuorvelAppObject::Members::addJobMessageEvent(const Notification& notification) {
  const auto* message = std::any_cast<PropertyList::Dictionary>(&notification.object);
  if (!message) return;
  const PropertyList request(*message);
  std::vector<std::string> paths;
  for (const PropertyList& path : request[kSourceDictKey][kSelectedPathsKey].array()) paths.push_back(path.text());
  const std::int32_t index = request[kSelectedRowKey].isNone() ? -1 : request[kSelectedRowKey].integer32();
  later([this, index, paths] { app.addSourceToJobAtIndex(index, paths); });
}

// Often: the main thread hears of it a few times a second.
void QuorvelAppObject::Members::progressCellDataEvent(const Notification& notification) {
  const auto* message = std::any_cast<JobProgressMessage>(&notification.object);
  const auto uuid = notification.userInfo.find(kJobUuidKey);
  if (!message || uuid == notification.userInfo.end()) return;
  const auto now = services.schedule.worker.clock.steadyNow();
  if (progress.note(uuid->second.text(), *message, now)) events.post([this] { progressed(); });
}

// Of devices.

// What is there already is told before the start returns, and is no news.
void QuorvelAppObject::Members::startMediaEvents() {
  if (!services.media) return;
  m_waitingObject.emplace(services.loop, &mediaCallback, &app, mountedPlaces, services.schedule.makeSleep);
  ioMediaDetection.emplace(*services.media, services.loop);
  mediaHasStarted = ioMediaDetection->start(&mediaCallback, &app) == 0;
}

void QuorvelAppObject::CallbackMessageIOMedia(std::int32_t event, long parameter) {
  Members& m = *members_;
  if (!m.mediaHasStarted) return;
  constexpr long kLowByte = 0xff, kFourBits = 0xf;
  switch (static_cast<MediaEvent>(event)) {
    case MediaEvent::kAttached:
      m.m_waitingObject->addMessageIntoQueueEx(DeviceMessage::kAttached, kLooksForVolume, parameter & kLowByte);
      TivOutputLogMessage("%s: Attached\n", mediaLabel(parameter));
      break;
    case MediaEvent::kDetached:
      m.m_waitingObject->addMessageIntoQueueEx(DeviceMessage::kDetached, kLooksForVolume, parameter & kLowByte);
      TivOutputLogMessage("Device: Detached\n");
      break;
    case MediaEvent::kVolumesChanged:
      if ((parameter & kFourBits) == 1) {
        USBDeviceHasAttached(static_cast<int>(parameter >> 4 & kFourBits));
      } else {
        m.forgetVolumesThatWent();
      }
      break;
  }
}

// A mount table that cannot be read leaves all volumes known: they start nothing when it can be read again.
void QuorvelAppObject::getAllVolumeName() {
  if (const auto mounts = members_->services.mounts()) members_->m_volumeNameArray = volumesOf(*mounts);
}

// One that has come in this moment is not known by this: its own event is still to come.
void QuorvelAppObject::Members::forgetVolumesThatWent() {
  const auto mounts = services.mounts();
  if (!mounts) return;
  const auto there = volumesOf(*mounts);
  std::erase_if(m_volumeNameArray, [&](const std::string& volume) {
    return std::find(there.begin(), there.end(), volume) == there.end();
  });
}

int QuorvelAppObject::USBDeviceHasAttached(int kind) {
  auto& known = members_->m_volumeNameArray;
  const auto mounts = members_->services.mounts();
  if (!mounts) return 0;
  std::vector<std::string> added;
  for (const std::string& volume : volumesOf(*mounts)) {
    if (std::find(known.begin(), known.end(), volume) == known.end()) added.push_back(volume);
  }
  known.insert(known.end(), added.begin(), added.end());
  const auto type = static_cast<MediaType>(kind);
  if (type == MediaType::kUsb || type == MediaType::kFireWire) {
    for (const std::string& volume : added) checkingDestinationFolderForSync(volume);
  }
  return static_cast<int>(added.size());
}

// All runs of the volume are known before the first begins: it may end before the next is asked for.
void QuorvelAppObject::checkingDestinationFolderForSync(const std::string& mountPath) {
  Members& m = *members_;
  const auto jobs = m.store.jobs();
  std::vector<std::int32_t> triggered;
  for (std::size_t i = 0; i < jobs.size(); ++i) {
    if (m.isTriggered(jobs[i], mountPath)) triggered.push_back(static_cast<std::int32_t>(i));
  }
  m.runOnArrival(triggered, mountPath);
}

// A run that is under way may have passed by what comes; it is not cut short for that, but followed by another.
void QuorvelAppObject::Members::runOnArrival(const std::vector<std::int32_t>& triggered, const std::string& mountPath) {
  std::vector<std::int32_t> running, starting;
  for (const std::int32_t index : triggered) {
    const bool isBusy = app.jobIsBusyAtIndex(index);
    if (!isBusy) restart(index);
    auto* const scheduler = m_controlObject.object(index);
    if (scheduler && scheduler->isStarted()) (isBusy ? running : starting).push_back(index);
  }
  for (const auto* indices : {&running, &starting}) {
    for (const std::int32_t index : *indices) {
      const PropertyList job = store.job(index);
      arrived.runStarted(job[kUuidStringKey].text(), mountPath,
                         job[kUnmountAfterArrivalKey].boolean() ? ArrivedVolumes::AfterRun::kIsUnmounted
                                                                : ArrivedVolumes::AfterRun::kStays);
    }
  }
  for (const std::int32_t index : running) arrivals[store.job(index)[kUuidStringKey].text()] = mountPath;
  for (const std::int32_t index : starting) m_controlObject.setImmediateEvent(index);
}

void QuorvelAppObject::Members::runArrivals() {
  if (arrivals.empty()) return;
  const auto mounts = services.mounts();
  const auto mounted = mounts ? volumesOf(*mounts) : std::vector<std::string>();
  for (const auto& [uuid, mountPath] : std::exchange(arrivals, {})) {
    const std::int32_t index = store.indexOfUuid(uuid);
    const bool isHere = std::find(mounted.begin(), mounted.end(), mountPath) != mounted.end();
    if (index >= 0 && isHere) runOnArrival({index}, mountPath);
  }
}

bool QuorvelAppObject::Members::isTriggered(const PropertyList& job, const std::string& mountPath) {
  const auto mounts = services.mounts();
  const auto targets = targetsOf(job);
  const auto isHere = [&](const std::string& target) { return mounts && liesOnVolume(target, mountPath, *mounts); };
  const auto exists = [&](const std::string& target) { return isHere(target) && files().openRoot(target); };
  if (std::none_of(targets.begin(), targets.end(), isHere)) return false;
  if (std::any_of(targets.begin(), targets.end(), exists)) return true;
  const auto volume = files().openRoot(mountPath);
  const std::string uuid = job[kUuidStringKey].text();
  if (!volume || uuid.empty()) return false;
  const auto hasMark = [&](InfoFileKind kind) {
    const auto found = findInfoFile(files(), volume->get(), kind, uuid);
    return found && *found;
  };
  return hasMark(InfoFileKind::kSource) || hasMark(InfoFileKind::kTarget);
}

}  // namespace lumisk
