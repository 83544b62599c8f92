#include "presenters/schedule_sentence.h"

#include <fmt/format.h>

#include "platform/translation.h"
#include "presenters/locale_text.h"
#include "schedule/due_times.h"
#include "schedule/next_run.h"

namespace lumisk {
namespace {

using Days = std::array<bool, 7>;

constexpr const char* kDayNames[] = {markedText("Sunday"),    markedText("Monday"),   markedText("Tuesday"),
                                     markedText("Wednesday"), markedText("Thursday"), markedText("Friday"),
                                     markedText("Saturday")};
constexpr const char* kShortDayNames[] = {markedText("Sun"), markedText("Mon"), markedText("Tue"), markedText("Wed"),
                                          markedText("Thu"), markedText("Fri"), markedText("Sat")};
constexpr Days kEveryDay{true, true, true, true, true, true, true};
constexpr Days kWorkDays{false, true, true, true, true, true, false};
constexpr Days kWeekend{true, false, false, false, false, false, true};

// The week begins on Monday in a sentence, so that Saturday and Sunday stand together.
std::string daysText(const Days& days) {
  if (days == kEveryDay) return translated("every day");
  if (days == kWorkDays) return translated("every weekday");
  if (days == kWeekend) return translated("every Saturday and Sunday");
  std::vector<std::string> names;
  for (std::size_t i = 1; i <= days.size(); ++i)
    if (days.at(i % days.size())) names.push_back(dayName(i % days.size()));
  return filled(translated("every {}"), enumeration(names));
}

std::string weekDaysSentence(const QUORVELPREFERENCEINFO& job) {
  if (job.scheduling_weekFlag == Days{}) return translated("on no day yet");
  const std::string time = fmt::format("{:02}:{:02}", job.scheduling_date.hour(), job.scheduling_date.minute());
  return filled(translated("{} at {}"), daysText(job.scheduling_weekFlag), time);
}

std::string timerSentence(std::int32_t count, TimerUnit unit) {
  if (count < 1) return translated("at no interval yet");
  const auto number = static_cast<unsigned long>(count);
  const auto text = [&] {
    switch (unit) {
      case TimerUnit::kHours:
        return translatedCount("every hour", "every {} hours", number);
      case TimerUnit::kDays:
        return translatedCount("once a day", "every {} days", number);
      default:
        return translatedCount("every minute", "every {} minutes", number);
    }
  };
  return filled(text(), count);
}

}  // namespace

std::string dayName(std::size_t day) {
  return translated(kDayNames[day]);
}

std::string shortDayName(std::size_t day) {
  return translated(kShortDayNames[day]);
}

std::string enumeration(const std::vector<std::string>& parts) {
  if (parts.empty()) return {};
  std::string text = parts.front();
  for (std::size_t i = 1; i + 1 < parts.size(); ++i) text += ", " + parts[i];
  if (parts.size() == 1) return text;
  return filled(translated("{} and {}"), text, parts.back());
}

std::string scheduleSentence(const QUORVELPREFERENCEINFO& job) {
  switch (job.scheduling_method) {
    case SchedulingMethod::kRealTime:
      // Clones do not listen: one without a schedule goes when it has completed.
      if (job.jobType == JobType::kClone) return translated("once and is then removed from the list");
      return translated("as soon as something changes");
    case SchedulingMethod::kTimer:
      return timerSentence(job.scheduling_timer, job.scheduling_timerUnit);
    case SchedulingMethod::kWeekDays:
      return weekDaysSentence(job);
    default:
      return translated("only when you start it");
  }
}

// A timer begins with the job's last edit.
std::optional<WallTime> firstScheduledRun(const QUORVELPREFERENCEINFO& job, WallTime now) {
  if (job.scheduling_method == SchedulingMethod::kWeekDays)
    return getDateWithDateInJob(job.scheduling_date, job.scheduling_weekFlag, now);
  if (job.scheduling_method != SchedulingMethod::kTimer) return std::nullopt;
  const auto interval = timerInterval(job.scheduling_timer, job.scheduling_timerUnit);
  return interval ? std::optional(now + *interval) : std::nullopt;
}

}  // namespace lumisk
