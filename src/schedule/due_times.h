#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include "jobs/job_record.h"
#include "platform/clock.h"

namespace lumisk {

// When a job is due, as functions of now and its settings. Pure but for the local time zone.

// A moment for which one run is due. Of a timer, `moment` is in seconds since 1970; of week days, in minutes of local
// time since the beginning of 1970, so that the hour that comes twice in autumn holds each moment once.
struct DueMoment {
  SchedulingMethod method = SchedulingMethod::kNone;
  std::int64_t moment = 0;
  friend bool operator==(const DueMoment&, const DueMoment&) = default;
};

// The period of a timer, for any unknown unit in minutes; nothing unless it is positive: then it is never due.
[[nodiscard]] std::optional<std::chrono::seconds> timerInterval(std::int32_t timer, TimerUnit unit);

// A timer is due in the one second that follows a whole number of periods after `base`, the last edit; never before
// it.
[[nodiscard]] std::optional<DueMoment> timerDue(WallTime base, std::chrono::seconds interval, WallTime now);

// Due throughout the minute of the time of day, on the days that are set ([0] Sunday).
[[nodiscard]] std::optional<DueMoment> weekDayDue(const std::array<bool, 7>& days, const CalendarDate& timeOfDay,
                                                  WallTime now);

// Whether a run that began at that time was the one for this moment.
[[nodiscard]] bool wasBegunFor(const DueMoment& due, WallTime begin);

// Local time as hour, minute and second, 6 bits for each of the latter two. For comparing only.
[[nodiscard]] int packedTime(WallTime now);

// What a real-time job that looks at its sources by itself remembers between two looks.
struct RealTimeBase {
  bool isToBeTaken = true;
  int stamp = 0;
};
// Due when at least 2 packed seconds have passed since the base, or when forced. Past midnight, and after the clock was
// set back, the next look takes a new base.
[[nodiscard]] bool realTimeDue(RealTimeBase& base, int stamp, bool forced);

// The moments for which runs have been started, however the clock is set since. A clock set back over more than the
// last `kMost` of them lives in another time, where they are due anew.
class ServedMoments {
 public:
  [[nodiscard]] bool contains(const DueMoment& due) const;
  void add(const DueMoment& due);

 private:
  static constexpr std::size_t kMost = 128;
  std::deque<DueMoment> moments_;
};

}  // namespace lumisk
