#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "engine/job_progress_message.h"
#include "jobs/job_record.h"
#include "platform/property_list.h"

namespace lumisk {

// One job as the windows know it: what is stored of it and what it is doing.
struct BoardJob {
  std::string uuid;
  PropertyList stored;  // the stored dictionary
  bool running = false;
  std::optional<JobProgressMessage> progress{};  // of its run
  bool paused = false;                           // its run stands still
};

// A run that is under way.
struct BoardRun {
  std::string uuid;
  std::optional<JobProgressMessage> progress{};
  bool paused = false;
};

// What a window has to read again.
enum class BoardChange {
  kJobs,         // jobs, and all that follows from them
  kProgress,     // running() only; often
  kPreferences,  // preference()
};

// The jobs, for windows: this process's own, or those of a running instance whose window this is. Main thread only.
// Changes are one-line refusals for a person when they could not be made.
class JobsBoard {
 public:
  virtual ~JobsBoard() = default;

  using Refusal = std::optional<std::string>;  // nothing: it was done

  [[nodiscard]] virtual std::vector<BoardJob> jobs() = 0;  // in their stored order; a copy of all
  // Cheap enough to be asked several times a second.
  [[nodiscard]] virtual std::vector<BoardRun> running() = 0;
  virtual Refusal start(const std::string& uuid) = 0;
  virtual Refusal startAllowingDeletions(const std::string& uuid) = 0;  // this once, however many there are
  virtual Refusal stop(const std::string& uuid) = 0;
  virtual Refusal pause(const std::string& uuid) = 0;  // its run stands still until it goes on or ends
  virtual Refusal resume(const std::string& uuid) = 0;
  virtual Refusal setActive(const std::string& uuid, bool active) = 0;
  virtual Refusal remove(const std::string& uuid) = 0;  // whoever calls has asked the user
  virtual Refusal add(const QUORVELPREFERENCEINFO& job) = 0;
  // The job as it was when editing began, and as it shall be.
  virtual Refusal edit(const PropertyList& before, const QUORVELPREFERENCEINFO& after) = 0;
  [[nodiscard]] virtual PropertyList preference(const std::string& key) = 0;  // of "SGPreferences"
  virtual Refusal setPreference(const std::string& key, const PropertyList& value) = 0;

  // Called on the main thread, as long as the handle lasts. What is told can be read by then.
  using Observation = std::shared_ptr<void>;
  using Observer = std::function<void(BoardChange)>;
  [[nodiscard]] virtual Observation observe(Observer changed) = 0;
};

// The observers of a board, for those that implement one.
class BoardObservers {
 public:
  [[nodiscard]] JobsBoard::Observation add(JobsBoard::Observer observer) {
    auto kept = std::make_shared<JobsBoard::Observer>(std::move(observer));
    observers_.push_back(kept);
    return kept;
  }
  // An observer may end its own observation, and begin others, when it is told.
  void tell(BoardChange change) {
    std::erase_if(observers_, [](const auto& observer) { return observer.expired(); });
    const auto told = observers_;
    for (const auto& weak : told) {
      if (const auto observer = weak.lock()) (*observer)(change);
    }
  }

 private:
  std::vector<std::weak_ptr<JobsBoard::Observer>> observers_;
};

}  // namespace lumisk
