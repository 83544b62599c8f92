#pragma once

#include <any>
#include <functional>
#include <memory>
#include <string>

#include "platform/property_list.h"

namespace lumisk {

struct Notification {
  std::string name;
  std::any object;  // what the sender says; integers are std::int32_t
  PropertyList::Dictionary userInfo;
};

// Tells observers of a name what happened. post() calls them on the posting thread, in the order in which they
// registered, and holds no lock meanwhile: an observer may post, observe and unregister. When an Observation goes, its
// observer is not running (on another thread) and will not be called again. All methods may be called from any thread.
class NotificationCenter {
 public:
  using Observer = std::function<void(const Notification&)>;

  // Unregisters when it goes.
  class [[nodiscard]] Observation {
   public:
    Observation() = default;
    Observation(Observation&&) noexcept;
    Observation& operator=(Observation&&) noexcept;
    ~Observation();

   private:
    friend class NotificationCenter;
    struct Entry;
    explicit Observation(std::shared_ptr<Entry> entry);
    std::shared_ptr<Entry> entry_;
  };

  NotificationCenter();
  ~NotificationCenter();
  Observation observe(const std::string& name, Observer observer);
  void post(const Notification& notification);

 private:
  struct Registry;
  std::shared_ptr<Registry> registry_;
};

}  // namespace lumisk
