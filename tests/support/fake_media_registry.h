#pragma once

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <utility>

#include "platform/media_registry.h"

namespace lumisk::test {

// A registry of devices that are not there. plug() and unplug() make its descriptor readable, as news do.
class FakeMediaRegistry : public MediaRegistry {
 public:
  ~FakeMediaRegistry() override { ::close(event_); }

  static Medium partition(const std::string& name) {
    Medium medium;
    medium.name = name;
    medium.isWritable = medium.isRemovable = medium.isEjectable = true;
    return medium;
  }
  void plug(const Medium& medium, std::vector<DeviceClass> lineage) {
    lineages_[medium.name] = std::move(lineage);
    media_.push_back(medium);
    tell({MediumChange::Kind::kAdded, medium});
  }
  void unplug(const Medium& medium) {
    lineages_.erase(medium.name);
    std::erase(media_, medium);
    tell({MediumChange::Kind::kRemoved, medium});
  }

  Result<void> connect() override {
    return failing_ == "connect" ? Result<void>(fail("open", "", EMFILE)) : Result<void>();
  }
  Result<void> openMonitor() override {
    if (failing_ == "monitor") return fail("watch", "", ENOMEM);
    isOpen_ = true;
    return {};
  }
  Result<std::vector<Medium>> present() override {
    if (failing_ == "present") return fail("list", "", EIO);
    return media_;
  }
  [[nodiscard]] int descriptor() const override { return isOpen_ ? event_ : -1; }
  std::vector<MediumChange> changes() override {
    eventfd_t count = 0;
    ::eventfd_read(event_, &count);
    return std::exchange(changes_, {});
  }
  void close() override { isOpen_ = false; }
  [[nodiscard]] Result<std::string> find(const std::string& name) const override {
    if (lineages_.count(name) == 0) return fail("look up", name, ENODEV);
    return name;
  }
  [[nodiscard]] Result<std::vector<DeviceClass>> lineage(const std::string& entry) const override {
    const auto found = lineages_.find(entry);
    if (found == lineages_.end() || found->second.empty()) return fail("look up", entry, ENODEV);
    return found->second;
  }

  std::string failing_;  // "connect", "monitor" or "present"

 private:
  void tell(MediumChange change) {
    if (!isOpen_) return;
    changes_.push_back(std::move(change));
    ::eventfd_write(event_, 1);
  }

  int event_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  bool isOpen_ = false;
  std::vector<Medium> media_;
  std::vector<MediumChange> changes_;
  std::map<std::string, std::vector<DeviceClass>> lineages_;
};

}  // namespace lumisk::test
