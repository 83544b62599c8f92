#pragma once

#include <libudev.h>

#include <memory>

namespace lumisk {

// Owns a reference to an object of libudev.
struct UdevDeleter {
  void operator()(udev* object) const { udev_unref(object); }
  void operator()(udev_device* object) const { udev_device_unref(object); }
  void operator()(udev_enumerate* object) const { udev_enumerate_unref(object); }
  void operator()(udev_monitor* object) const { udev_monitor_unref(object); }
};
template <class Object>
using UdevHandle = std::unique_ptr<Object, UdevDeleter>;

}  // namespace lumisk
