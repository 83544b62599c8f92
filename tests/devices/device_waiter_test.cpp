#include "devices/device_waiter.h"

#include <atomic>
#include <cerrno>

#include "platform/unmount.h"
#include "support/mounted_volume.h"

namespace lumisk::test {
namespace {

using Places = std::set<MountedPlace>;
using Parameters = std::vector<long>;

const Places kNone{{1, "/"}};
const Places kDisk{{1, "/"}, {7, "/media/anna/DISK"}};
const Places kTwo{{1, "/"}, {7, "/media/anna/DISK"}, {8, "/media/anna/B"}};

// Time passes as fast as the thread sleeps: the n-th look sees the n-th places, and then the last ones for ever.
class DeviceWaiterTest : public ::testing::Test {
 protected:
  class CountedSleep : public WakeableSleep {
   public:
    CountedSleep(MainLoop& loop, std::atomic<int>& left) : loop_(loop), left_(left) {}
    void sleep(std::chrono::nanoseconds duration) override {
      EXPECT_EQ(duration, std::chrono::seconds(1));
      if (--left_ == 0) loop_.quit();
    }
    void wake() override {}

   private:
    MainLoop& loop_;
    std::atomic<int>& left_;
  };

  std::unique_ptr<DeviceWaiter> waiter(std::vector<Result<Places>> seen) {
    seen_ = std::move(seen);
    const auto record = [](void* context, std::int32_t event, long parameter) {
      EXPECT_EQ(event, 16);
      static_cast<DeviceWaiterTest*>(context)->told_.push_back(parameter);
      return 0;
    };
    return std::make_unique<DeviceWaiter>(
        loop_, record, this, [this] { return seen_[std::min(looks_++, seen_.size() - 1)]; },
        [this] { return std::make_unique<CountedSleep>(loop_, sleepsLeft_); });
  }

  MainLoop loop_;
  std::vector<Result<Places>> seen_;
  std::size_t looks_ = 0;
  std::atomic<int> sleepsLeft_ = 20;
  Parameters told_;
};

TEST_F(DeviceWaiterTest, AVolumeMountedSomeSecondsAfterItsDevice_IsToldOnceWithItsKind) {
  const auto waiting = waiter({kNone, kNone, kNone, Result<Places>(fail("read", "", EIO)), kDisk});
  waiting->addMessageIntoQueueEx(DeviceMessage::kAttached, 20, 0x101);
  loop_.run();
  EXPECT_EQ(told_, Parameters{0x11});
  EXPECT_EQ(looks_, 21U) << "the first look of all, and the twenty that were asked for";
}

TEST_F(DeviceWaiterTest, ItsEnd_DropsWhatHasNotBeenTold) {
  auto waiting = waiter({kNone, kDisk});
  sleepsLeft_ = 1;
  waiting->addMessageIntoQueueEx(DeviceMessage::kAttached, 1000000, 1);
  while (sleepsLeft_ > 0) std::this_thread::yield();
  waiting.reset();
  loop_.perform([this] { loop_.quit(); });
  loop_.run();
  EXPECT_TRUE(told_.empty());
}

TEST(WaitingMessages, EachChangeOfTheVolumes_IsToldOnce) {
  WaitingMessages messages;
  for (int i = 0; i < 30; ++i) messages.add(DeviceMessage::kAttached, 5, i == 17 ? MediaType::kUsb : MediaType::kOther);
  EXPECT_EQ(messages.look(kNone, kNone), Parameters{});
  EXPECT_EQ(messages.look(kNone, kDisk), Parameters{0x11});
  EXPECT_EQ(messages.look(kDisk, kTwo), Parameters{0x11});
  EXPECT_EQ(messages.look(kTwo, kDisk), Parameters{0});
  EXPECT_FALSE(messages.isEmpty());
  EXPECT_EQ(messages.look(kDisk, kDisk), Parameters{});
  EXPECT_TRUE(messages.isEmpty());
}

TEST(WaitingMessages, KindsOfDevices_GoByWhatIsWaitedFor) {
  WaitingMessages messages;
  messages.add(DeviceMessage::kAttached, 1, MediaType::kOther);
  EXPECT_EQ(messages.look(kNone, kDisk), Parameters{0x01});
  messages.add(DeviceMessage::kAttached, 1, MediaType::kFireWire);
  messages.add(DeviceMessage::kDetached, 1, MediaType::kUsb);
  EXPECT_EQ(messages.look(kNone, kDisk), (Parameters{0x21, 0}));
}

TEST(WaitingMessages, ADetachedDevice_HasTheVolumesReadAgainAtOnceAndWhenTheyGo) {
  WaitingMessages messages;
  messages.add(DeviceMessage::kDetached, 20, MediaType::kUsb);
  EXPECT_EQ(messages.look(kDisk, kDisk), Parameters{0});
  EXPECT_EQ(messages.look(kDisk, kDisk), Parameters{});
  EXPECT_EQ(messages.look(kDisk, kNone), Parameters{0});
  EXPECT_EQ(messages.look(kNone, kDisk), Parameters{0}) << "no device was attached";
}

TEST(MountedPlaces, AVolumeMountedAgain_IsAnother) {
  const MountedVolume volume("ext4", 8);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const auto idsOf = [&] {
    std::vector<std::uint64_t> ids;
    for (const MountedPlace& place : mountedPlaces().value_or(Places()))
      if (place.path == volume.path()) ids.push_back(place.mountId);
    return ids;
  };
  const auto first = idsOf();
  ASSERT_EQ(first.size(), 1U);
  EXPECT_EQ(unmountVolume(volume.path() + "/").has_value(), true);
  EXPECT_TRUE(idsOf().empty());
}

TEST(UnmountVolume, WhatIsInUseOrNoVolume_IsLeftMountedWithAReason) {
  const MountedVolume volume("ext4", 8);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const TempTree tree;
  std::FILE* const used = std::fopen((volume / "used").c_str(), "w");
  const auto busy = unmountVolume(volume.path());
  ASSERT_FALSE(busy);
  EXPECT_EQ(busy.error().code, EBUSY);
  EXPECT_EQ(busy.error().text(), "unmount " + volume.path() + ": Device or resource busy");
  std::fclose(used);
  for (const std::string& path : {volume / "lost+found", tree.path(), std::string("/")})
    EXPECT_EQ(unmountVolume(path).error().code, EINVAL) << path;
  EXPECT_TRUE(unmountVolume(volume.path()));
}

}  // namespace
}  // namespace lumisk::test
