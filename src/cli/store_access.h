#pragma once

#include <functional>
#include <optional>
#include <string>

#include "cli/command_io.h"
#include "cli/instance.h"
#include "jobs/job_store.h"

namespace lumisk {

// The job store as commands use it: reading takes no lock; changing owns the store for as long as the change takes, and
// waits a little for another program that is just changing it. Where a running instance holds the store, the change is
// made on a copy in memory and the instance is asked to carry it out. Used on the main thread.
class StoreAccess {
 public:
  explicit StoreAccess(CommandIo& io);

  // The jobs as they are stored now. What was found damaged and set aside is said on io.err.
  Checked<JobStore*> read();
  // Reads the jobs afresh, lets `change` work on them, and gives up the store again. What `change` saves, through the
  // store's own operations, is stored when this returns without a complaint. It is called again, on jobs read afresh,
  // when somebody else changed the same meanwhile, so what it does besides must bear that.
  using Change = std::function<Checked<void>(JobStore&)>;
  Checked<void> change(const Change& change);
  // The instance that holds the store; nothing when nobody does.
  Checked<std::optional<Instance>> instance();
  // Where warnings go instead of io.err: while a run goes on, other threads write there.
  void sayWarningsWith(std::function<void(const std::string& warning)> say) { say_ = std::move(say); }
  // The index of a job as read last.
  Checked<std::int32_t> indexOf(const std::string& name);

  // The jobs as read last; within a change, those that it works on.
  [[nodiscard]] JobStore& store() { return *current_; }
  // What is on the disk; for what any thread may ask of a JobStore.
  [[nodiscard]] JobStore& stored() { return store_; }

 private:
  // Either of them.
  struct Holder {
    std::shared_ptr<UserDefaults::Ownership> ownership;
    std::optional<Instance> instance;
  };
  Checked<Holder> hold();
  enum class Outcome { kStored, kConflict };
  Checked<void> changeThrough(Instance& instance, const Change& change);
  Checked<Outcome> tryThrough(Instance& instance, const Change& change);
  Checked<PropertyList::Array> changesOf(const Change& change);
  void showWarnings();

  CommandIo& io_;
  UserDefaults defaults_;
  JobStore store_;
  JobStore* current_ = &store_;
  std::function<void(const std::string&)> say_;
};

// The complaint about an operation of the store that gave false.
[[nodiscard]] tl::unexpected<Complaint> storeFailed(JobStore& store);

}  // namespace lumisk
