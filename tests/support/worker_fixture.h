#pragma once

#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <string>
#include <vector>

#include "engine/copy_file_thread_object.h"
#include "jobs/job_record.h"
#include "log/log_file.h"
#include "support/run_fixture.h"

namespace lumisk::test {

class RecordingImages : public ImageMounter {
 public:
  bool mountTheLumiskDMGFileAtPath(const std::string& path) override {
    mounted.push_back(path);
    if (onMount) onMount();
    return true;
  }
  bool isInImage(const std::string&, const std::string&) override { return isMounted; }
  bool isAKeychainDMGAtPath(const std::string&) override { return keychainOpens; }
  bool detachImage(const std::string& path) override {
    detached.push_back(path);
    return true;
  }
  std::vector<std::string> detached;
  std::vector<std::string> mounted;
  std::function<void()> onMount;
  bool keychainOpens = false;
  bool isMounted = true;
};

// One worker with a home of its own, a clock that never waits, and everything that it tells anybody. What is recorded
// may be read between runs and after stop().
class WorkerFixture {
 public:
  explicit WorkerFixture(FileCalls& fileCalls = realFileCalls()) : files(fileCalls) {
    ::setenv("LUMISK_HOME", home.path().c_str(), 1);
    for (const char* name : {kWillStartNotification, kScheduleNotification, kDidFinishNotification,
                             kErrorMessageNotification, kProgressNotification}) {
      observations_.push_back(center.observe(name, [this](const Notification& posted) { record(posted); }));
    }
    job.name = "job";
    job.uuidString = "UUID-1";
    job.sourcePaths = {tree / "source"};
    job.targetPaths = {tree / "target"};
    job.scheduling_method = SchedulingMethod::kNone;
    job.bDisplayWarning = false;  // how full the machine's disk is is no matter of these tests
  }
  ~WorkerFixture() { ::unsetenv("LUMISK_HOME"); }

  WorkerServices services() {
    WorkerServices made{files,
                        clock,
                        center,
                        dialogs,
                        images,
                        [this](std::int32_t index) {
                          firstCopiesOver.push_back(index);
                          return true;
                        },
                        [this](std::int32_t) { return dataBit; },
                        [this](const std::string& key) { return preferences[std::string_view(key)]; }};
    made.eventListening = eventListening;
    made.clone = clone;
    made.threads = testThreads();
    made.lostWrites = lostWrites;
    return made;
  }
  // Made with the job as it is then.
  copyFileThreadObject& worker() {
    if (!worker_) {
      worker_ = std::make_unique<copyFileThreadObject>(services());
      EXPECT_TRUE(worker_->fetchCurrentInfo({PropertyList(), PropertyList(), jobToDictionary(job)}, kIndex));
      RunOptions options;
      options.pace = PaceKind::kFull;
      worker_->setRunOptions(options);
    }
    return *worker_;
  }
  // A whole run: asked for, waited for.
  RunReport runOnce(CopyMethod method = CopyMethod::kNormal) {
    worker().start();
    const std::size_t before = ended();
    worker().setCopyMethod(method);
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return ended_ > before; });
    lock.unlock();
    return worker().lastReport();
  }
  void stop() { worker().stop(); }

  // Names of what was posted, progress left out.
  std::vector<std::string> posted() {
    const std::lock_guard lock(mutex_);
    std::vector<std::string> names;
    for (const Notification& notification : notifications_)
      if (notification.name != kProgressNotification) names.push_back(notification.name);
    return names;
  }
  Notification last(const std::string& name) {
    const std::lock_guard lock(mutex_);
    for (auto each = notifications_.rbegin(); each != notifications_.rend(); ++each)
      if (each->name == name) return *each;
    return {};
  }
  void forget() {
    const std::lock_guard lock(mutex_);
    notifications_.clear();
  }
  // The job's log without its dates.
  [[nodiscard]] std::string log() const {
    constexpr std::size_t kPrefix = sizeof("2009-03-03  14:30:05 : ") - 1;
    if (!exists(jobLogPath(job.name))) return {};
    const std::string text = readFile(jobLogPath(job.name));
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t end = std::min(text.find('\n', at), text.size() - 1) + 1;
      const bool isDated = end - at >= kPrefix && text.compare(at + kPrefix - 3, 3, " : ") == 0;
      plain += text.substr(isDated ? at + kPrefix : at, end - (isDated ? at + kPrefix : at));
      at = end;
    }
    return plain;
  }

  static constexpr std::int32_t kIndex = 2;
  TempTree home;
  TempTree tree{
      {"source", Dir{{"a.txt", File{"first", 0644, 1000}}, {"d", Dir{{"b.txt", File{"second", 0600, 2000}}}}}},
      {"target", Dir{}}};
  FileCalls& files;
  FakeClock clock;
  NotificationCenter center;
  RecordingDialogs dialogs;
  RecordingImages images;
  std::vector<std::int32_t> firstCopiesOver;
  std::uint32_t dataBit = 0;
  PropertyList preferences{PropertyList::Dictionary{}};
  QUORVELPREFERENCEINFO job;
  std::function<std::unique_ptr<EventListening>(copyFileThreadObject&)> eventListening;
  CloneServices clone;
  std::shared_ptr<LostWrites> lostWrites = std::make_shared<LostWrites>();

 private:
  // Whoever is told of the end of a run is told by these two; an error follows them.
  void record(const Notification& posted) {
    const std::lock_guard lock(mutex_);
    notifications_.push_back(posted);
    if (posted.name == kScheduleNotification) ++ended_;
    changed_.notify_all();
  }
  std::size_t ended() {
    const std::lock_guard lock(mutex_);
    return ended_;
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<Notification> notifications_;
  std::size_t ended_ = 0;
  std::vector<NotificationCenter::Observation> observations_;
  std::unique_ptr<copyFileThreadObject> worker_;  // first to go
};

}  // namespace lumisk::test
