#include <cstdlib>
#include <filesystem>
#include <memory>

#include "screenshots/scenes.h"
#include "support/temp_tree.h"

namespace lumisk::test {
namespace {

using namespace std::chrono_literals;

struct Sample {
  const char* uuid;
  const char* name;
  JobType type;
  std::vector<std::string> sources;
  std::string target;
  SchedulingMethod schedule;
  std::chrono::minutes lastRanBefore;
};

BoardJob jobOf(const Sample& sample, WallTime now) {
  QUORVELPREFERENCEINFO job = newJobDefaults(now - std::chrono::hours(24 * 30));
  job.name = sample.name;
  job.uuidString = sample.uuid;
  job.jobType = sample.type;
  job.sourcePaths = sample.sources;
  job.targetPaths = {sample.target};
  job.scheduling_method = sample.schedule;
  job.scheduling_timer = 3;
  job.scheduling_timerUnit = TimerUnit::kHours;
  job.scheduling_weekFlag = {false, true, true, true, true, true, false};
  job.scheduling_date = CalendarDate::fromLocal(2009, 3, 1, 21, 5, 0);
  job.jobModifyTime = storedDate(now - std::chrono::hours(24 * 30));
  if (sample.lastRanBefore > 0min) job.lastRanTime = storedDate(now - sample.lastRanBefore);
  return {sample.uuid, jobToDictionary(job), false, {}};
}

JobProgressMessage progressOf(const std::string& name, const std::string& file, double percent) {
  auto message = JobProgressMessage::messageWithJobName(name, file, percent, 40);
  message.entries = 18'204;
  message.entriesTotal = 41'950;
  message.bytes = 7'340'032'000;
  return message;
}

}  // namespace

std::string newSampleFolder() {
  if (const char* const named = std::getenv("LUMISK_SAMPLES")) {
    for (const auto& entry : std::filesystem::directory_iterator(named)) std::filesystem::remove_all(entry.path());
    return named;
  }
  static std::unique_ptr<TempTree> tree;
  tree = std::make_unique<TempTree>();
  return tree->path();
}

std::vector<BoardJob> sampleJobs(WallTime now) {
  const std::string home = "/home/anna/";
  const Sample samples[] = {
      {"documents",
       "Documents",
       JobType::kBackup,
       {home + "Documents", home + "Letters"},
       "/media/anna/Backup/Documents",
       SchedulingMethod::kRealTime,
       12min},
      {"photos",
       "Photos of all years",
       JobType::kBackup,
       {home + "Pictures"},
       "/media/anna/Backup/Photos",
       SchedulingMethod::kTimer,
       95min},
      {"music",
       "Music",
       JobType::kSyncWithRevisions,
       {home + "Music"},
       "/media/anna/Stick/Music",
       SchedulingMethod::kNone,
       60min * 50},
      {"laptop",
       "Laptop and desk",
       JobType::kSyncWithConflicts,
       {home + "Projects"},
       "/mnt/desk/anna/Projects",
       SchedulingMethod::kWeekDays,
       60min * 18},
      {"projects",
       "Old projects",
       JobType::kBackup,
       {home + "Archive"},
       "/media/anna/Backup/Archive",
       SchedulingMethod::kWeekDays,
       0min},
      {"disk", "Whole disk", JobType::kClone, {"/"}, "/media/anna/Clone", SchedulingMethod::kTimer, 60min * 30},
  };
  std::vector<BoardJob> jobs;
  for (const Sample& sample : samples) jobs.push_back(jobOf(sample, now));
  jobs[1].running = true;
  jobs[1].progress = progressOf(samples[1].name, "IMG_20090227_183512.jpg", 43.4);
  jobs[0].stored.mutableDictionary()[kLastCompletedBeginKey] = storedDate(now - 12min);
  jobs[5].stored.mutableDictionary()[kLastCompletedBeginKey] = storedDate(now - 30h);
  jobs[3].stored.mutableDictionary()[kCancelStatusKey] = static_cast<std::int32_t>(CancelStatus::kError);
  jobs[4].stored.mutableDictionary()[kActiveKey] = false;
  jobs[5].stored.mutableDictionary()[kCancelStatusKey] = static_cast<std::int32_t>(CancelStatus::kCancelled);
  return jobs;
}

}  // namespace lumisk::test
