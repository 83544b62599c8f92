#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <string>

namespace lumisk {

// Of syncs that failed: since when what a job wrote may be lost. Also those tell it here that a stopped run left to
// themselves, which nobody waits for any more. Any thread.
class LostWrites {
 public:
  // The job's identifier; a time in nanoseconds since 1970. The earliest one counts.
  void note(const std::string& uuid, std::int64_t since) {
    const std::lock_guard lock(mutex_);
    const auto [known, isNew] = since_.try_emplace(uuid, since);
    if (!isNew && since < known->second) known->second = since;
  }
  [[nodiscard]] std::int64_t since(const std::string& uuid) const {  // 0: nothing is lost
    const std::lock_guard lock(mutex_);
    const auto known = since_.find(uuid);
    return known == since_.end() ? 0 : known->second;
  }
  void forget(const std::string& uuid) {
    const std::lock_guard lock(mutex_);
    since_.erase(uuid);
  }

 private:
  mutable std::mutex mutex_;
  std::map<std::string, std::int64_t> since_;
};

}  // namespace lumisk
