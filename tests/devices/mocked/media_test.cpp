#include <gtest/gtest.h>
#include <umockdev.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "devices/tiv_io_media_object.h"
#include "platform/main_loop.h"
#include "platform/media_registry.h"

namespace lumisk::test {
namespace {

constexpr int kAttached = 1;
constexpr int kDetached = 2;
constexpr long kOther = 0;
constexpr long kUsb = 1;
constexpr long kFireWire = 2;

using Event = std::pair<int, long>;
using Events = std::vector<Event>;
using Texts = std::vector<std::string>;

// A watcher on the real registry, and devices that umockdev makes up. Runs under umockdev-wrapper only.
class MockedMedia : public ::testing::Test {
 protected:
  void SetUp() override {
    const char* const preloaded = std::getenv("LD_PRELOAD");
    if (preloaded == nullptr || std::string(preloaded).find("umockdev") == std::string::npos)
      GTEST_SKIP() << "needs umockdev-wrapper";
    bed_ = umockdev_testbed_new();
    usb_ = device("usb", "usb1", "", {}, {"DEVTYPE", "usb_device"});
    fireWire_ = device("firewire", "fw1", "", {}, {});
    pci_ = device("pci", "pci0", "", {}, {});
  }
  void TearDown() override {
    watcher_.close();
    if (bed_ != nullptr) g_object_unref(bed_);
  }

  std::string device(const char* subsystem, const std::string& name, const std::string& parent, Texts attributes,
                     Texts properties) {
    const auto pointers = [](Texts& texts) {
      std::vector<gchar*> found;
      for (std::string& text : texts) found.push_back(text.data());
      found.push_back(nullptr);
      return found;
    };
    auto attributePointers = pointers(attributes);
    auto propertyPointers = pointers(properties);
    gchar* const path =
        umockdev_testbed_add_devicev(bed_, subsystem, name.c_str(), parent.empty() ? nullptr : parent.c_str(),
                                     attributePointers.data(), propertyPointers.data());
    std::string entry = path;
    g_free(path);
    return entry;
  }
  std::string disk(const std::string& name, const std::string& parent, const std::string& removable,
                   const std::string& readOnly = "0") {
    return device("block", name, parent, {"removable", removable, "ro", readOnly},
                  {"DEVTYPE", "disk", "DEVNAME", "/dev/" + name});
  }
  std::string partition(const std::string& name, const std::string& ofDisk) {
    return device("block", name, ofDisk, {"partition", "1", "ro", "0"},
                  {"DEVTYPE", "partition", "DEVNAME", "/dev/" + name});
  }

  void start() {
    const auto record = [](void* context, std::int32_t event, long type) {
      static_cast<MockedMedia*>(context)->events_.emplace_back(event, type);
      return 0;
    };
    ASSERT_EQ(watcher_.start(record, this), 0);
  }
  void tell(const std::string& entry, const char* action) { umockdev_testbed_uevent(bed_, entry.c_str(), action); }
  void remove(const std::string& entry) {
    tell(entry, "remove");
    umockdev_testbed_remove_device(bed_, entry.c_str());
  }
  // Serves the loop until there are as many events, or a long time has passed.
  Events events(std::size_t count) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    const auto timer = loop_.every(std::chrono::milliseconds(2), [&] {
      if (events_.size() >= count || std::chrono::steady_clock::now() > end) loop_.quit();
    });
    loop_.run();
    return std::exchange(events_, {});
  }

  UMockdevTestbed* bed_ = nullptr;
  std::string usb_, fireWire_, pci_;
  MainLoop loop_;
  const std::unique_ptr<MediaRegistry> registry_ = makeMediaRegistry();
  TivIOMediaObject watcher_{*registry_, loop_};
  Events events_;
};

TEST_F(MockedMedia, AStickWithItsPartition_IsOneUsbDeviceThatComesAndGoes) {
  start();
  EXPECT_TRUE(events_.empty());
  const std::string stick = disk("sdb", usb_, "1");
  const std::string part = partition("sdb1", stick);
  tell(stick, "add");
  tell(part, "add");
  EXPECT_EQ(events(1), (Events{{kAttached, kUsb}}));
  EXPECT_EQ(watcher_.findeDeviceInfo("sdb1"), MediaType::kUsb);
  remove(part);
  remove(stick);
  // Its name resolves no more, which counts as USB.
  EXPECT_EQ(events(1), (Events{{kDetached, kUsb}}));
  EXPECT_EQ(watcher_.findeDeviceInfo("sdb1"), MediaType::kOther);
  EXPECT_EQ(watcher_.filterDevice("sdb1"), MediaType::kUsb);
}

TEST_F(MockedMedia, WhatIsThereAtTheStart_IsToldBeforeStartReturns) {
  partition("sdb1", disk("sdb", fireWire_, "0"));
  partition("sda1", disk("sda", pci_, "0"));
  start();
  EXPECT_EQ(events_, (Events{{kAttached, kFireWire}}));
}

// The last device shows that nothing came before it.
TEST_F(MockedMedia, InternalDisksWholeDisksAndReadOnlyMedia_AreNotTold) {
  start();
  tell(partition("sda1", disk("sda", pci_, "0")), "add");
  tell(disk("sdb", usb_, "1"), "add");
  tell(partition("sdc1", disk("sdc", usb_, "1", "1")), "add");
  tell(partition("sdd1", disk("sdd", pci_, "1")), "add");
  EXPECT_EQ(events(1), (Events{{kAttached, kOther}}));
}

TEST_F(MockedMedia, AStickWithoutPartitions_IsToldWhenItHoldsAFileSystem) {
  start();
  const std::string stick = disk("sdb", usb_, "1");
  tell(stick, "add");
  umockdev_testbed_set_property(bed_, stick.c_str(), "ID_FS_USAGE", "filesystem");
  tell(stick, "change");
  tell(stick, "change");
  EXPECT_EQ(events(1), (Events{{kAttached, kUsb}}));
  umockdev_testbed_set_property(bed_, stick.c_str(), "ID_FS_USAGE", "");
  tell(stick, "change");
  EXPECT_EQ(events(1), (Events{{kDetached, kUsb}}));
}

TEST_F(MockedMedia, APartitionWithoutAName_IsOfNoKnownKind) {
  start();
  tell(device("block", "sdb1", disk("sdb", usb_, "1"), {"ro", "0"}, {"DEVTYPE", "partition"}), "add");
  EXPECT_EQ(events(1), (Events{{kAttached, kOther}}));
}

TEST_F(MockedMedia, ThirtyPartitionsInARow_AreAllToldOnce) {
  start();
  const std::string stick = disk("sdb", usb_, "1");
  Events told;
  for (int i = 1; i <= 30; ++i) {
    tell(partition("sdb" + std::to_string(i), stick), "add");
    if (i % 3 > 0) continue;  // more do not fit into umockdev's socket
    const Events some = events(3);
    told.insert(told.end(), some.begin(), some.end());
  }
  EXPECT_EQ(told, Events(30, {kAttached, kUsb}));
  tell(partition("sdd1", disk("sdd", fireWire_, "0")), "add");
  EXPECT_EQ(events(1), (Events{{kAttached, kFireWire}}));
}

TEST_F(MockedMedia, Close_EndsTheNews) {
  start();
  watcher_.close();
  tell(partition("sdb1", disk("sdb", usb_, "1")), "add");
  start();  // tells what is there
  EXPECT_EQ(events_, (Events{{kAttached, kUsb}}));
}

}  // namespace
}  // namespace lumisk::test
