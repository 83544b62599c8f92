#include "app/arrived_volumes.h"

#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {

ArrivedVolumes::~ArrivedVolumes() {
  for (std::thread& thread : threads_) thread.join();
}

void ArrivedVolumes::runStarted(const std::string& uuid, const std::string& mountPath, AfterRun wanted) {
  Volume& volume = volumes_[mountPath];
  volume.running.insert(uuid);
  volume.isToGo = volume.isToGo || wanted == AfterRun::kIsUnmounted;
}

void ArrivedVolumes::runEnded(const std::string& uuid, const std::string& jobName, RunEnd end) {
  for (auto each = volumes_.begin(); each != volumes_.end();) {
    auto& [mountPath, volume] = *each;
    const bool wasOne = volume.running.erase(uuid) > 0;
    volume.hasFailed = volume.hasFailed || (wasOne && end == RunEnd::kNotCompleted);
    if (!wasOne || !volume.running.empty()) {
      ++each;
      continue;
    }
    if (volume.isToGo && !volume.hasFailed) unmount(mountPath, jobName);
    each = volumes_.erase(each);
  }
}

void ArrivedVolumes::unmount(const std::string& mountPath, const std::string& jobName) {
  threads_.emplace_back([this, mountPath, jobName] {
    const auto unmounted = unmount_(mountPath);
    const std::string name = displayText(paths::lastComponent(mountPath));
    const std::string text = unmounted
                                 ? "It is safe to remove \"" + name + "\"."
                                 : "\"" + name + "\" could not be unmounted: " + displayText(unmounted.error().text());
    told_({jobName, name, text, unmounted.has_value()});
  });
}

}  // namespace lumisk
