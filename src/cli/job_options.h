#pragma once

#include <CLI/App.hpp>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "cli/complaint.h"
#include "jobs/job_record.h"

namespace lumisk {

struct JobOptionContext {
  WallTime now;
  std::string workingFolder;
};

// One option that says something about a job: how it is spelled, and what it changes in the record. All commands that
// make, change or run jobs take their options from the tables below; a new option is one line in one of them.
struct JobOption {
  const char* spelling;
  const char* value;  // what stands for its value in the help; empty: it takes none
  const char* help;
  const char* group;  // options of one group exclude each other; empty: of none
  // The complaint's `what` is filled in by whoever applies it.
  Checked<void> (*apply)(QUORVELPREFERENCEINFO& job, const std::string& value, const JobOptionContext& context);
};

// How files are copied: `backup`, `job add` and `job edit`.
[[nodiscard]] std::span<const JobOption> copyOptions();
// What two-way jobs have besides: `sync`, `job add` and `job edit`.
[[nodiscard]] std::span<const JobOption> syncOptions();
// What clones have: `job add` and `job edit`.
[[nodiscard]] std::span<const JobOption> cloneOptions();
// When a job runs: `job add` and `job edit`.
[[nodiscard]] std::span<const JobOption> scheduleOptions();
// What only kept jobs have besides: `job add` and `job edit`.
[[nodiscard]] std::span<const JobOption> keptJobOptions();

// The options of these tables that were given, in the order of the tables, to be applied to a record later.
class GivenJobOptions {
 public:
  void add(CLI::App& command, std::span<const JobOption> options);
  [[nodiscard]] bool isEmpty() const { return given_.empty(); }
  [[nodiscard]] bool has(std::string_view spelling) const;
  [[nodiscard]] const char* firstOf(std::span<const JobOption> options) const;  // that was given; null: none
  Checked<void> applyTo(QUORVELPREFERENCEINFO& job, const JobOptionContext& context) const;

 private:
  Checked<void> checkGroups() const;

  struct Given {
    const JobOption* option;
    std::string value;
  };
  std::vector<Given> given_;
};

[[nodiscard]] const char* jobTypeName(JobType type);  // "backup"
Checked<JobType> parseJobType(const std::string& name);

}  // namespace lumisk
