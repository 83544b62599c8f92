#include "engine/pause_switch.h"

namespace lumisk {

void PauseSwitch::set() {
  const std::lock_guard lock(mutex_);
  isSet_ = true;
}

void PauseSwitch::clear() {
  {
    const std::lock_guard lock(mutex_);
    isSet_ = false;
  }
  changed_.notify_all();
}

bool PauseSwitch::wait(const std::function<bool()>& mustStop) {
  if (!isSet()) return false;
  std::unique_lock lock(mutex_);
  ++waiting_;
  changed_.wait(lock, [&] { return !isSet_ || mustStop(); });
  --waiting_;
  return true;
}

int PauseSwitch::waiting() {
  const std::lock_guard lock(mutex_);
  return waiting_;
}

}  // namespace lumisk
