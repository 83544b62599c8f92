#include "presenters/background.h"

#include <system_error>
#include <thread>

namespace lumisk {

Background backgroundThreads(std::function<void(Background::Work)> onMainThread) {
  const auto start = [](Background::Work work) {
    try {
      std::thread(std::move(work)).detach();
    } catch (const std::system_error&) {
      // No thread can be had: the figures that it would have found stay unknown.
    }
  };
  return {start, std::move(onMainThread)};
}

}  // namespace lumisk
