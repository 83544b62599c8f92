#pragma once

#include <functional>
#include <memory>
#include <string>

namespace lumisk {

struct DesktopNotice {
  std::string key;  // one of the same key takes the place of the one before
  std::string title;
  std::string body;
  bool isUrgent = false;
};

// Notices in the corner of the desktop: the interface org.freedesktop.Notifications, version 1.2, on the session bus.
// Main thread only, served by its loop; nothing waits. Where there is no bus or no such service nothing happens: what a
// person must know stands in the windows, too.
class DesktopNotifications {
 public:
  explicit DesktopNotifications(std::string applicationName, std::string icon = {});
  ~DesktopNotifications();
  DesktopNotifications(const DesktopNotifications&) = delete;
  DesktopNotifications& operator=(const DesktopNotifications&) = delete;

  void send(const DesktopNotice& notice);
  // The user has clicked one.
  void whenActivated(std::function<void(const std::string& key)> activated);

 private:
  struct State;
  std::shared_ptr<State> state_;  // shared with answers that are still to come
};

}  // namespace lumisk
