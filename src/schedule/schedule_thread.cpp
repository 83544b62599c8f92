#include "schedule/schedule_thread_members.h"

// The scheduler's thread: finds its job due, has the worker run it, and waits.

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kPluginSleep = 5s;
constexpr auto kSecond = 1s;
constexpr auto kNoScheduleSleep = 1h;  // what waits for requests only is woken by them

// Sleeps of a second between two looks.
int sleepsBetweenPasses(SchedulingMethod method) {
  switch (method) {
    case SchedulingMethod::kRealTime:
      return 15;
    case SchedulingMethod::kWeekDays:
      return 60;
    default:
      return 1;
  }
}

bool isScheduled(SchedulingMethod method) {
  return method == SchedulingMethod::kRealTime || method == SchedulingMethod::kTimer ||
         method == SchedulingMethod::kWeekDays;
}

// Sleeps end with the seconds of the clock: whole ones would drift until a second, or a minute, is passed over.
std::chrono::nanoseconds untilNextSecond(WallTime now) {
  return std::chrono::floor<std::chrono::seconds>(now) + kSecond - now;
}

std::int64_t minuteOf(WallTime time) {
  return std::chrono::floor<std::chrono::minutes>(time.time_since_epoch()).count();
}

RunReport cancelledReport() {
  RunReport report;
  report.cancelled = true;
  return report;
}

}  // namespace

bool scheduleThreadObject::Members::launchThread() {
  try {
    thread = std::thread([this] { scheduleThread(); });
    return true;
  } catch (const std::system_error&) {
    return false;
  }
}

void scheduleThreadObject::Members::scheduleThread() {
  RealTimeBase base;
  while (true) {
    try {
      if (!onePass(base)) break;
    } catch (...) {  // out of memory: the next pass may have some
      giveUpRun();
      if (!sleepOnce(kSecond)) break;
    }
  }
  endThread();
}

bool scheduleThreadObject::Members::onePass(RealTimeBase& base) {
  if (!waitForPlugin()) return false;
  if (const auto run = planRun(base))
    if (!perform(*run)) return false;
  return waitForNextPass() && rearm();
}

bool scheduleThreadObject::Members::waitForPlugin() {
  while (true) {
    const auto places = pluginList.restoredPlaces();
    if (places.empty() || !isNowRestoreingByPlugin(places, m_copyFileThreadObject.getSourcePaths())) return true;
    if (!sleepOnce(kPluginSleep)) return false;
  }
}

// Deciding.

// From here on the run counts as under way, so that no request slips in between the decision and the run.
std::optional<scheduleThreadObject::Members::PlannedRun> scheduleThreadObject::Members::planRun(RealTimeBase& base) {
  const bool scans = m_copyFileThreadObject.needScan();
  const WallTime now = services.worker.clock.now();
  const ConditionLock::Guard guard(m_conditionLock);
  if (m_bTerminateThread) return std::nullopt;
  const bool forced = std::exchange(m_bImmediateEvent, false);
  PlannedRun run;
  run.options = std::exchange(requested, std::nullopt);
  if (!isDue(base, now, forced, scans)) {
    isToPause = false;
    return std::nullopt;
  }
  isRunning = true;
  isGiven = isUnwanted = false;
  // Who asks for a run of a real-time job with options gets an ordinary one: a rehearsal must not leave the mark of a
  // first copy behind.
  if (m_currentInfo.scheduling_method == SchedulingMethod::kRealTime && !run.options) {
    run.method = CopyMethod::kUnmountableSources;
    run.isFirstCopy = forced;
  }
  return run;
}

// Under m_conditionLock. Whoever asks is served even when the moment has had its run.
bool scheduleThreadObject::Members::isDue(RealTimeBase& base, WallTime now, bool forced, bool scans) {
  if (m_currentInfo.scheduling_method == SchedulingMethod::kRealTime)
    return (forced || scans) && realTimeDue(base, packedTime(now), forced);
  const auto due = dueMoment(now);
  if (!due || served.contains(*due)) return forced;
  served.add(*due);
  const bool wasBegunBefore = lastBegin && wasBegunFor(*due, *lastBegin);
  return forced || !wasBegunBefore;
}

std::optional<DueMoment> scheduleThreadObject::Members::dueMoment(WallTime now) const {
  const auto& info = m_currentInfo;
  if (info.scheduling_method == SchedulingMethod::kWeekDays)
    return weekDayDue(info.scheduling_weekFlag, info.scheduling_date, now);
  if (info.scheduling_method != SchedulingMethod::kTimer) return std::nullopt;
  const auto base = CalendarDate::parse(info.jobModifyTime);
  const auto interval = timerInterval(info.scheduling_timer, info.scheduling_timerUnit);
  if (!base || !interval) return std::nullopt;
  return timerDue(base->time(), *interval, now);
}

// Running.

bool scheduleThreadObject::Members::perform(const PlannedRun& run) {
  if (!rearm()) {
    giveUpRun();
    return false;
  }
  m_copyFileThreadObject.setRunOptions(run.options ? *run.options : usualOptions());
  if (run.isFirstCopy) m_copyFileThreadObject.setFirstCopy();
  const std::uint64_t request =
      run.method == CopyMethod::kNormal ? timerEvent() : m_copyFileThreadObject.setCopyMethod(run.method);
  noteGiven();
  if (request == 0) {
    refuseRun();
  } else {
    pluginList.writeRunningJobOriginalPathsToPlist(m_copyFileThreadObject.getSourcePaths());
    if (!waitForRun(request)) return false;
  }
  endRun();
  pluginList.deleteRunningJobOriginalPathInPlist(m_copyFileThreadObject.getSourcePaths());
  return true;
}

bool scheduleThreadObject::Members::waitForRun(std::uint64_t request) {
  while (true) {
    ConditionLock::Guard guard(m_conditionLock, kWake);
    const bool hasEnded = lastEndedRequest >= request;
    if (m_bTerminateThread) {
      // The worker tells nothing of a run that it was stopped in; who waits for it must not wait for ever.
      if (!hasEnded) countEnd(request, cancelledReport());
      return false;
    }
    guard.release(kWaiting);
    if (hasEnded) return true;
  }
}

// A cancel that came before the run was given to the worker would have been taken for one of an earlier run.
void scheduleThreadObject::Members::noteGiven() {
  std::int32_t index = -1;
  {
    const ConditionLock::Guard guard(m_conditionLock);
    isGiven = true;
    if (std::exchange(isToPause, false) && !isUnwanted) (void)m_copyFileThreadObject.pauseRun();
    if (!std::exchange(isUnwanted, false)) return;
    index = m_nJobIndex;
  }
  services.worker.notifications.post({kCancelNotification, index, {}});
}

// There is no worker's thread: the job's type has none, or it was stopped just then.
void scheduleThreadObject::Members::refuseRun() {
  RunReport report;
  report.refused = true;
  report.problemText = "nothing runs jobs of this type";
  const ConditionLock::Guard guard(m_conditionLock);
  countEnd(0, m_bTerminateThread ? cancelledReport() : report);
}

// Before it began.
void scheduleThreadObject::Members::giveUpRun() {
  const ConditionLock::Guard guard(m_conditionLock);
  isToPause = false;
  if (std::exchange(isRunning, false)) countEnd(0, cancelledReport());
}

void scheduleThreadObject::Members::endRun() {
  JobProgressMessage finished;
  PropertyList::Dictionary userInfo;
  {
    const ConditionLock::Guard guard(m_conditionLock);
    isRunning = false;
    finished = JobProgressMessage::finishedMessageWithJobName(m_currentInfo.name);
    userInfo = {{kJobIndexKey, PropertyList(m_nJobIndex)}, {kJobUuidKey, uuidString}};
  }
  services.worker.notifications.post({kProgressNotification, finished, userInfo});
}

RunOptions scheduleThreadObject::Members::usualOptions() const {
  RunOptions options;
  const auto& preference = services.worker.preference;
  if (preference && preference("SGCopyPace").text() == "full") options.pace = PaceKind::kFull;
  return options;
}

// Waiting.

bool scheduleThreadObject::Members::waitForNextPass() {
  Clock& clock = services.worker.clock;
  SchedulingMethod method = SchedulingMethod::kNone;
  {
    const ConditionLock::Guard guard(m_conditionLock);
    method = m_currentInfo.scheduling_method;
  }
  if (!isScheduled(method)) return sleepOnce(kNoScheduleSleep);
  const std::int64_t minute = minuteOf(clock.now());
  for (int sleeps = sleepsBetweenPasses(method); sleeps > 0; --sleeps) {
    if (!sleepOnce(untilNextSecond(clock.now()))) return false;
    // Each minute is looked at when it begins.
    if (method == SchedulingMethod::kWeekDays && minuteOf(clock.now()) != minute) return true;
    const ConditionLock::Guard guard(m_conditionLock);
    if (m_bImmediateEvent) return true;
  }
  return true;
}

bool scheduleThreadObject::Members::sleepOnce(std::chrono::nanoseconds duration) {
  sleep->sleep(duration);
  const ConditionLock::Guard guard(m_conditionLock);
  return !m_bTerminateThread;
}

bool scheduleThreadObject::Members::rearm() {
  ConditionLock::Guard guard(m_conditionLock);
  if (m_bTerminateThread) return false;
  guard.release(kWaiting);
  return true;
}

void scheduleThreadObject::Members::endThread() {
  ConditionLock::Guard guard(m_conditionLock);
  isRunning = false;
  m_bCopyfile = false;
  isToPause = false;
  if (std::exchange(requested, std::nullopt)) {
    m_bImmediateEvent = false;
    countEnd(0, cancelledReport());
  }
  guard.release(kThreadEnded);
}

}  // namespace lumisk
