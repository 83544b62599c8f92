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
  std::optional<JobProgressMessage> progress;  // of its run
};

// The jobs, for windows: this process's own, or those of a running instance whose window this is. Main thread only.
// Changes are one-line refusals for a person when they could not be made.
class JobsBoard {
 public:
  virtual ~JobsBoard() = default;

  using Refusal = std::optional<std::string>;  // nothing: it was done

  [[nodiscard]] virtual std::vector<BoardJob> jobs() = 0;  // in their stored order
  virtual Refusal start(const std::string& uuid) = 0;
  virtual Refusal stop(const std::string& uuid) = 0;
  virtual Refusal setActive(const std::string& uuid, bool active) = 0;
  virtual Refusal remove(const std::string& uuid) = 0;
  virtual Refusal add(const QUORVELPREFERENCEINFO& job) = 0;
  // The job as it was when editing began, and as it shall be.
  virtual Refusal edit(const PropertyList& before, const QUORVELPREFERENCEINFO& after) = 0;
  [[nodiscard]] virtual PropertyList preference(const std::string& key) = 0;  // of "SGPreferences"
  virtual Refusal setPreference(const std::string& key, const PropertyList& value) = 0;

  // Called on the main thread when a job or its progress has changed; at most one observer.
  virtual void observe(std::function<void()> changed) = 0;
};

}  // namespace lumisk
