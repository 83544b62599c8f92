#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "presenters/jobs_board.h"

namespace lumisk::test {

// A job of this name, from "/s/name" to "/t/name", that is started by hand.
inline BoardJob boardJob(const std::string& name, WallTime now) {
  QUORVELPREFERENCEINFO job = newJobDefaults(now);
  job.name = name;
  job.uuidString = "uuid-" + name;
  job.sourcePaths = {"/s/" + name};
  job.targetPaths = {"/t/" + name};
  job.scheduling_method = SchedulingMethod::kNone;
  return {job.uuidString, jobToDictionary(job), false, {}};
}

// Jobs in memory, and what was asked of them.
class FakeJobsBoard : public JobsBoard {
 public:
  std::vector<BoardJob> list;
  PropertyList::Dictionary preferences;
  std::vector<std::string> calls;  // "start uuid-1"
  std::vector<QUORVELPREFERENCEINFO> added;
  Refusal refusal;  // of every change
  int timesRead = 0;
  BoardObservers observers;

  std::vector<BoardJob> jobs() override {
    ++timesRead;
    return list;
  }
  std::vector<BoardRun> running() override {
    std::vector<BoardRun> runs;
    for (const BoardJob& job : list) {
      if (job.running) runs.push_back({job.uuid, job.progress, job.paused});
    }
    return runs;
  }
  Refusal start(const std::string& uuid) override { return called("start " + uuid); }
  Refusal startAllowingDeletions(const std::string& uuid) override { return called("allow deletions of " + uuid); }
  Refusal stop(const std::string& uuid) override { return called("stop " + uuid); }
  Refusal pause(const std::string& uuid) override { return setPaused(uuid, true); }
  Refusal resume(const std::string& uuid) override { return setPaused(uuid, false); }
  Refusal setActive(const std::string& uuid, bool active) override {
    return called((active ? "enable " : "disable ") + uuid);
  }
  Refusal remove(const std::string& uuid) override {
    if (!refusal) std::erase_if(list, [&](const BoardJob& job) { return job.uuid == uuid; });
    return called("remove " + uuid);
  }
  Refusal add(const QUORVELPREFERENCEINFO& job) override {
    added.push_back(job);
    if (!refusal) list.push_back({job.uuidString, jobToDictionary(job), false, {}});
    return called("add " + job.name);
  }
  Refusal edit(const PropertyList& before, const QUORVELPREFERENCEINFO& after) override {
    for (BoardJob& job : list) {
      if (!refusal && job.uuid == before[kUuidStringKey].text()) job.stored = jobToDictionary(after);
    }
    return called("edit " + after.name);
  }
  PropertyList preference(const std::string& key) override {
    const auto found = preferences.find(key);
    return found == preferences.end() ? PropertyList() : found->second;
  }
  Refusal setPreference(const std::string& key, const PropertyList& value) override {
    if (!refusal) preferences[key] = value;
    return called("set " + key);
  }
  Observation observe(Observer changed) override { return observers.add(std::move(changed)); }

 private:
  Refusal setPaused(const std::string& uuid, bool paused) {
    for (BoardJob& job : list) {
      if (!refusal && job.uuid == uuid) job.paused = paused;
    }
    return called((paused ? "pause " : "resume ") + uuid);
  }
  Refusal called(const std::string& call) {
    calls.push_back(call);
    if (!refusal) observers.tell(call.starts_with("set ") ? BoardChange::kPreferences : BoardChange::kJobs);
    return refusal;
  }
};

}  // namespace lumisk::test
