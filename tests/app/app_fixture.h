#pragma once

#include <condition_variable>
#include <future>

#include "app/instance_requests.h"
#include "app/quorvel_app_object.h"
#include "schedule/schedule_fixture.h"

namespace lumisk::test {

// Dialogs of several threads.
class AppDialogs : public UserDialogs {
 public:
  void showAlert(const std::string& title, const std::string& message) override { note(title + ": " + message); }
  void showMessage(const std::string& jobName, const std::string&, const std::string& message) override {
    note(jobName + ": " + message);
  }
  void showPathProblem(const PathProblem&) override {}
  void showFinish(const FinishDialog&) override {}
  ConflictAnswer askConflict(const ConflictQuestion&) override { return {}; }
  bool ask(const std::string&, const std::string& message, const std::string&, const std::string&) override {
    note(message);
    return answer;
  }
  std::vector<std::string> take() {
    const std::lock_guard guard(mutex_);
    return std::exchange(shown_, {});
  }
  std::atomic<bool> answer{true};

 private:
  void note(const std::string& text) {
    const std::lock_guard guard(mutex_);
    shown_.push_back(text);
  }
  std::mutex mutex_;
  std::vector<std::string> shown_;
};

// Lasts until it is woken: nothing becomes due by itself.
class EndlessSleep : public WakeableSleep {
 public:
  void sleep(std::chrono::nanoseconds) override {
    std::unique_lock lock(mutex_);
    woken_.wait(lock, [this] { return isWoken_; });
    isWoken_ = false;
  }
  void wake() override {
    const std::lock_guard guard(mutex_);
    isWoken_ = true;
    woken_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable woken_;
  bool isWoken_ = false;
};

// The application with small real jobs, in a home of its own.
class AppFixture : public HomeFixture {
 protected:
  ~AppFixture() override {
    if (gate) gate->set(false);
  }

  // Stored before the application starts, with folders of its own.
  QUORVELPREFERENCEINFO makeJob(const std::string& name, SchedulingMethod method = SchedulingMethod::kNone) {
    makeTree(tree.path(),
             {{name, Dir{{"source", Dir{{"a.txt", File{name}}, {"b.txt", File{"more"}}}}, {"target", Dir{}}}}});
    QUORVELPREFERENCEINFO job = newJobDefaults(clock.now());
    job.name = name;
    job.uuidString = "uuid-" + name;
    job.sourcePaths = {tree / (name + "/source")};
    job.targetPaths = {tree / (name + "/target")};
    job.scheduling_method = method;
    job.bDisplayWarning = false;
    return job;
  }
  void store(const QUORVELPREFERENCEINFO& job) {
    JobStore jobs(defaults, clock);
    jobs.initializePreferenceInfo();
    jobs.readPreferenceInfo();
    jobs.m_currentInfo = job;
    ASSERT_TRUE(jobs.addPreferenceInfo(-1));
  }
  void storeThree() {
    for (const char* name : {"a", "b", "c"}) store(makeJob(name));
  }

  AppServices services() {
    return {loop,
            {{realFileCalls(), clock, center, dialogs, images, {}, {}, {}},
             [] { return std::make_unique<EndlessSleep>(); },
             home / "plugin.plist"},
            defaults,
            "/opt/lumisk"};
  }
  void launch() { launch(services()); }
  void launchThree() {
    storeThree();
    launch();
  }
  // Goes no further than its beginning until the gate opens.
  void startHeld(const std::string& name) {
    gate->set(true);
    EXPECT_TRUE(app->startNowButtonActionWithJobIndex(indexOf(name)));
    gate->waitForRun();
  }
  void launch(const AppServices& given) {
    app = std::make_unique<QuorvelAppObject>(given);
    ASSERT_TRUE(app->applicationDidFinishLaunching());
    gate.emplace(center);  // after the application's own: what it holds back has been heard
    finish = center.observe(kDidFinishNotification, [this](const Notification&) { ++finishes; });
  }

  void serve() {
    loop.perform([this] { loop.quit(); });
    loop.run();
  }
  template <class Condition>
  void serveUntil(Condition condition) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition() && std::chrono::steady_clock::now() < deadline) {
      serve();
      std::this_thread::yield();
    }
    ASSERT_TRUE(condition());
  }
  void runToEnd(const std::string& name) {
    const int before = finishes;
    ASSERT_TRUE(app->startNowButtonActionWithJobIndex(indexOf(name)));
    serveUntil([&] { return finishes > before && !busy(name); });
    serve();
  }
  // Opens the gate once the scheduler has been asked to stop.
  std::future<void> openGateAtStopOf(const std::string& name) {
    return std::async(std::launch::async, [this, scheduler = scheduler(name)] {
      while (scheduler->isStarted()) std::this_thread::yield();
      gate->set(false);
    });
  }

  std::int32_t indexOf(const std::string& name) { return app->jobs().indexOfName(name); }
  scheduleThreadObject* scheduler(const std::string& name) { return app->control().object(indexOf(name)); }
  bool busy(const std::string& name) { return app->jobIsBusyAtIndex(indexOf(name)); }
  PropertyList job(const std::string& name) {
    return PropertyList(app->jobs().jobs()).at(static_cast<std::size_t>(indexOf(name)));
  }
  std::string copyOf(const std::string& name) { return tree / (name + "/target/source/a.txt"); }
  PropertyList ask(RequestAction action, PropertyList::Dictionary request = {}) {
    request[kActionTypeKey] = static_cast<std::int32_t>(action);
    return app->doDelegateMessageEvent(request);
  }
  static RequestResult resultOf(const PropertyList& answer) {
    return static_cast<RequestResult>(answer[kResultKey].integer32());
  }

  ScopedVariable config{"XDG_CONFIG_HOME", home / "config"};
  TempTree tree;
  FakeClock clock;
  NotificationCenter center;
  std::optional<RunGate> gate;
  std::atomic<int> finishes{0};
  NotificationCenter::Observation finish;
  AppDialogs dialogs;
  NoImages images;
  MainLoop loop;
  UserDefaults defaults{UserDefaults::standardPath()};
  std::unique_ptr<QuorvelAppObject> app;  // first to go
};

}  // namespace lumisk::test
