#include "app/quorvel_app_object.h"

#include <cerrno>

#include "app/file_manager_actions.h"
#include "app/login_item.h"
#include "app/quorvel_app_members.h"
#include "finder/do_client.h"
#include "log/log_file.h"
#include "platform/paths.h"

// The application's start, its end, and what it knows for others.

namespace lumisk {
namespace {

using namespace std::chrono_literals;

constexpr auto kRefreshInterval = 10s;
constexpr int kStopMessage = 1;
// How long another program may take for its own short change of the store.
constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kBetweenTries{50};

constexpr const char* kAlreadyRunText = "Qel Lumisk already run";
constexpr const char* kQuitText = "Qel Lumisk is now running for syncs.\n\ndo you really want to exit?";
constexpr const char* kLoginText = "Would you like Qel Lumisk to run at login?";
constexpr const char* kWarnPendingJobsKey = "SGWarnPendingJobs";
constexpr const char* kRunAtLoginKey = "AutomaticRunning";
constexpr const char* kYes = "Yes";
constexpr const char* kNo = "No";

// What runs ask of the settings comes straight from there, on their threads. That a first copy is over is told by the
// run's finish, which goes by the job's uuid.
ScheduleServices withSettings(ScheduleServices services, UserDefaults& defaults) {
  services.worker.preference = [&defaults](const std::string& key) {
    const auto preferences = defaults.object(kPreferencesKey);
    return preferences ? (*preferences)[key] : PropertyList();
  };
  services.worker.getDataBit = [&defaults](std::int32_t index) -> std::uint32_t {
    const auto jobs = defaults.object(kJobArrayKey);
    if (!jobs || index < 0) return 0;
    return static_cast<std::uint32_t>(jobs->at(static_cast<std::size_t>(index))[kDataBitKey].integer());
  };
  services.worker.setFirstCopyFlag = [](std::int32_t) { return true; };
  return services;
}

}  // namespace

QuorvelAppObject::Members::Members(QuorvelAppObject& application, AppServices appServices)
    : app(application),
      services(std::move(appServices)),
      store(services.defaults, services.schedule.worker.clock),
      events(services.loop, [this](const auto& work) { storeOnce(work); }),
      tasks(services.loop),
      m_controlObject(services.defaults, withSettings(services.schedule, services.defaults)),
      arrived(services.unmount, [this](const VolumeNotice& notice) { dialogs().showVolumeNotice(notice); }) {
  store.initializePreferenceInfo();
}

QuorvelAppObject::QuorvelAppObject(AppServices services)
    : members_(std::make_unique<Members>(*this, std::move(services))) {}

QuorvelAppObject::~QuorvelAppObject() {
  applicationWillTerminate();
}

// Starting.

// The name is taken before anything runs: whoever finds it taken must not have started a job.
Result<void> QuorvelAppObject::applicationDidFinishLaunching() {
  Members& m = *members_;
  LUMISK_CHECK(m.own());
  LUMISK_CHECK(m.readJobs());
  TivOpenLogFile(nullptr);
  m.isLaunched = true;
  m.observeRuns();
  getAllVolumeName();
  m.startMediaEvents();
  m.timer = m.services.loop.every(kRefreshInterval, [this] { freshTheJobStatus(); });
  m.m_controlObject.reloadPreferenceInfo();
  m.m_controlObject.start();
  m.tellTrouble();
  m.changed();
  if (m.store.preference("SGInstallPlugin").boolean())
    (void)setFileManagerActions(paths::parent(m.services.programPath), true);
  m.later([&m] { m.joinToLoginWindow(); });  // no job waits for the answer
  return {};
}

Result<void> QuorvelAppObject::Members::own() {
  Clock& clock = services.schedule.worker.clock;
  auto owned = services.defaults.own();
  for (auto tries = kPatience / kBetweenTries; !owned && owned.error().code == EWOULDBLOCK && tries > 0; --tries) {
    doClient other;
    if (other.connect()) break;  // an application, which keeps the store
    clock.sleep(kBetweenTries);
    owned = services.defaults.own();
  }
  if (!owned && owned.error().code == EWOULDBLOCK) dialogs().showAlert(kApplicationTitle, kAlreadyRunText);
  if (!owned) return fail(owned.error());
  doMessageServer.emplace(services.loop);
  doMessageServer->setDelegate(&app);
  const auto served = doMessageServer->startServer();
  if (served) {
    ownership = std::move(*owned);
    return {};
  }
  doMessageServer.reset();
  if (served.error().code != EADDRINUSE) return fail(served.error());
  dialogs().showAlert(kApplicationTitle, kAlreadyRunText);
  return fail(served.error().operation, served.error().path, EWOULDBLOCK);
}

Result<void> QuorvelAppObject::Members::readJobs() {
  store.checkVersionOfTarnwick();
  store.initializePreferenceInfo();
  if (!store.readPreferenceInfo() && !store.lastError().operation.empty()) {
    doMessageServer.reset();
    ownership.reset();
    return fail(store.lastError());
  }
  store.initializeStatus();
  return {};
}

// Who said no is not asked again, and who was not there is not taken to have said so. Before there is a job there is
// nothing that would run at login.
void QuorvelAppObject::Members::joinToLoginWindow() {
  const auto stored = services.defaults.object(kRunAtLoginKey);
  if (!stored) return;
  std::string answer = stored->text();
  if (!stored->hasText()) {
    if (!services.somebodyCanAnswer || store.count() == 0) return;
    answer = dialogs().ask(kApplicationTitle, kLoginText, kYes, kNo) ? kYes : kNo;
    if (!services.defaults.setObject(kRunAtLoginKey, answer)) return;
  }
  if (answer == kNo) return;
  const auto entered = enterLoginItem(services.programPath);
  if (!entered) TivOutputLogMessage("%s\n", shown(entered.error().text()).c_str());
}

// Ending.

bool QuorvelAppObject::terminateApplicationAction() {
  Members& m = *members_;
  const bool needPendingJobs = m.store.preference(kWarnPendingJobsKey).boolean();
  if (!needPendingJobs || !m.m_controlObject.isBusy(kAnyJob)) return true;
  return m.dialogs().ask(kApplicationTitle, kQuitText, "OK", "Cancel");
}

// No request and no device comes in between; what the runs have told is stored before the store is given up.
void QuorvelAppObject::applicationWillTerminate() {
  Members& m = *members_;
  if (!std::exchange(m.isLaunched, false)) return;
  m.doMessageServer.reset();
  m.ioMediaDetection.reset();
  m.m_waitingObject.reset();
  m.timer.reset();
  const auto running = m.runningJobs();
  m.m_controlObject.postMessage(kStopMessage);
  m.m_controlObject.stop();
  m.noteStoppedRuns(running);
  m.observations.clear();
  m.status.reset();
  m.store.removeAllRunningJob();
  m.ownership.reset();
  TivCloseLogFile();
}

// For others.

PropertyList::Dictionary QuorvelAppObject::doDelegateMessageEvent(const PropertyList::Dictionary& request) {
  return answerRequest(*this, *members_, request);
}

JobStore& QuorvelAppObject::jobs() {
  return members_->store;
}

SyncControlObject& QuorvelAppObject::control() {
  return members_->m_controlObject;
}

std::optional<JobProgressMessage> QuorvelAppObject::progressOf(const std::string& uuid) {
  return members_->progress.of(uuid);
}

void QuorvelAppObject::observeJobs(std::function<void()> changed, std::function<void()> progressed) {
  members_->jobObservers.push_back({std::move(changed), std::move(progressed)});
}

void QuorvelAppObject::setShowWindow(std::function<void()> showWindow) {
  members_->showWindow = std::move(showWindow);
}

void QuorvelAppObject::setShowVersions(TakePaths showVersions) {
  members_->showVersions = std::move(showVersions);
}

void QuorvelAppObject::setPathDialogs(TakePaths addToJob, TakePaths makeJob) {
  members_->addToJob = std::move(addToJob);
  members_->makeJob = std::move(makeJob);
}

void QuorvelAppObject::Members::later(std::function<void()> task) {
  tasks.post([this, task = std::move(task)] {
    if (isLaunched) task();
  });
}

void QuorvelAppObject::Members::changed() {
  for (const auto& observer : jobObservers) observer.changed();
}

void QuorvelAppObject::Members::progressed() {
  for (const auto& observer : jobObservers) observer.progressed();
}

// Many runs begin in one second, and each writing writes all jobs.
void QuorvelAppObject::Members::storeOnce(const std::function<void()>& work) {
  {
    const JobStore::Gathering gathering(store);
    work();
  }
  tellTrouble();
}

// A store that cannot be written is said once, not at every event.
void QuorvelAppObject::Members::tellTrouble() {
  for (const std::string& warning : services.defaults.takeWarnings()) dialogs().showAlert(kApplicationTitle, warning);
  for (const std::string& warning : store.takeWarnings()) dialogs().showAlert(kApplicationTitle, warning);
  const Error error = store.lastError();
  const bool isTrouble = !error.operation.empty();
  if (isTrouble && !storeTroubleIsTold) dialogs().showAlert(kApplicationTitle, error.text());
  storeTroubleIsTold = isTrouble;
}

}  // namespace lumisk
