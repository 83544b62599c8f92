#pragma once

#include <functional>
#include <string>

#include "cli/command_io.h"
#include "jobs/job_store.h"

namespace lumisk {

// The job store as commands use it: reading takes no lock; changing owns the store for as long as the change takes, and
// waits a little for another program that is just changing it. Used on the main thread.
class StoreAccess {
 public:
  explicit StoreAccess(CommandIo& io);

  // The jobs as they are stored now. What was found damaged and set aside is said on io.err.
  Checked<JobStore*> read();
  // Reads the jobs afresh, lets `change` work on them, and gives up the store again. Nothing else changes the store
  // meanwhile. `change` saves through the store's own operations.
  Checked<void> change(const std::function<Checked<void>(JobStore&)>& change);
  // Where warnings go instead of io.err: while a run goes on, other threads write there.
  void sayWarningsWith(std::function<void(const std::string& warning)> say) { say_ = std::move(say); }
  // The index of a job as read last.
  Checked<std::int32_t> indexOf(const std::string& name);

  [[nodiscard]] JobStore& store() { return store_; }

 private:
  Checked<std::shared_ptr<UserDefaults::Ownership>> own();
  void showWarnings();

  CommandIo& io_;
  UserDefaults defaults_;
  JobStore store_;
  std::function<void(const std::string&)> say_;
};

// The complaint about an operation of the store that gave false.
[[nodiscard]] tl::unexpected<Complaint> storeFailed(JobStore& store);

}  // namespace lumisk
