#include "platform/notification_center.h"

#include <algorithm>
#include <condition_variable>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace lumisk {

// Who observes what. Entries are shared with the posts that are calling them.
struct NotificationCenter::Registry {
  std::mutex mutex;
  std::map<std::string, std::vector<std::shared_ptr<Observation::Entry>>, std::less<>> entries;

  std::vector<std::shared_ptr<Observation::Entry>> of(const std::string& name) {
    const std::lock_guard guard(mutex);
    const auto found = entries.find(name);
    return found == entries.end() ? std::vector<std::shared_ptr<Observation::Entry>>() : found->second;
  }

  void add(const std::string& name, std::shared_ptr<Observation::Entry> entry) {
    const std::lock_guard guard(mutex);
    entries[name].push_back(std::move(entry));
  }

  void remove(const std::string& name, const Observation::Entry* entry) {
    const std::lock_guard guard(mutex);
    const auto found = entries.find(name);
    if (found == entries.end()) return;
    std::erase_if(found->second, [entry](const auto& each) { return each.get() == entry; });
    if (found->second.empty()) entries.erase(found);
  }
};

struct NotificationCenter::Observation::Entry {
  std::string name;
  Observer observer;
  std::weak_ptr<Registry> registry;
  std::mutex mutex;
  std::condition_variable left;
  std::vector<std::thread::id> callers;  // threads that are inside the observer, one for each call
  bool ended = false;

  void call(const Notification& notification) {
    {
      const std::lock_guard guard(mutex);
      if (ended) return;
      callers.push_back(std::this_thread::get_id());
    }
    observer(notification);
    leave();
  }

  void leave() {
    Observer unused;  // what it holds is let go without the lock, and before end() goes on
    {
      const std::lock_guard guard(mutex);
      if (ended && callers.size() == 1) unused.swap(observer);
    }
    unused = nullptr;
    const std::lock_guard guard(mutex);
    callers.erase(std::find(callers.begin(), callers.end(), std::this_thread::get_id()));
    left.notify_all();
  }

  [[nodiscard]] bool isRunningElsewhere() const {
    return std::any_of(callers.begin(), callers.end(), [](auto id) { return id != std::this_thread::get_id(); });
  }

  void end() {
    if (const auto all = registry.lock()) all->remove(name, this);
    Observer unused;
    std::unique_lock guard(mutex);
    ended = true;
    left.wait(guard, [this] { return !isRunningElsewhere(); });
    if (callers.empty()) unused.swap(observer);  // otherwise it ends itself: the call that we are in lets it go
    guard.unlock();
  }
};

NotificationCenter::Observation::Observation(std::shared_ptr<Entry> entry) : entry_(std::move(entry)) {}
NotificationCenter::Observation::Observation(Observation&&) noexcept = default;

NotificationCenter::Observation& NotificationCenter::Observation::operator=(Observation&& other) noexcept {
  Observation ending;
  ending.entry_ = std::exchange(entry_, std::move(other.entry_));
  return *this;
}

NotificationCenter::Observation::~Observation() {
  if (entry_) entry_->end();
}

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Registry>()) {}
NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Observation NotificationCenter::observe(const std::string& name, Observer observer) {
  auto entry = std::make_shared<Observation::Entry>();
  entry->name = name;
  entry->observer = std::move(observer);
  entry->registry = registry_;
  registry_->add(name, entry);
  return Observation(std::move(entry));
}

void NotificationCenter::post(const Notification& notification) {
  for (const auto& entry : registry_->of(notification.name)) entry->call(notification);
}

}  // namespace lumisk
