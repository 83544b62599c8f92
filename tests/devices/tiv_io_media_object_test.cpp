#include "devices/tiv_io_media_object.h"

#include <cstdio>

#include "support/fake_media_registry.h"
#include "support/mounted_volume.h"

namespace lumisk::test {
namespace {

class MediaWatcher : public ::testing::Test {
 protected:
  static int record(void* context, std::int32_t event, long type) {
    static_cast<MediaWatcher*>(context)->events_.emplace_back(event, type);
    return 0;
  }
  int start() { return watcher_.start(&record, this); }
  void serve() {
    loop_.perform([this] { loop_.quit(); });
    loop_.run();
  }
  std::string failedStart(const std::string& failing) {
    registry_.failing_ = failing;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(start(), -1);
    std::fflush(stdout);
    return ::testing::internal::GetCapturedStdout();
  }

  MainLoop loop_;
  FakeMediaRegistry registry_;
  TivIOMediaObject watcher_{registry_, loop_};
  std::vector<std::pair<int, long>> events_;
};

TEST_F(MediaWatcher, AFailedStart_SaysWhyAndTellsNothing) {
  EXPECT_EQ(failedStart("connect"), "ERR: Couldn't create a master IOKit port(00000018)\n");
  EXPECT_EQ(failedStart("monitor"), "Failed to create notification port!\n");
  EXPECT_EQ(failedStart("present"), "Couldn't add device added notification\n");
  EXPECT_TRUE(events_.empty());
}

TEST_F(MediaWatcher, OnlyPartitionsOfWritableMediaThatCanBeTakenOut_AreCandidates) {
  bool isCandidate = false;
  const Medium good = FakeMediaRegistry::partition("");
  EXPECT_EQ(watcher_.filterMessage(good, isCandidate), MediaType::kOther);
  EXPECT_TRUE(isCandidate);
  std::vector<Medium> others(5, good);
  others[0].isMedia = false;
  others[1].isWhole = true;
  others[2].isWritable = false;
  others[3].isRemovable = false;
  others[4].isEjectable = false;
  for (const Medium& medium : others) {
    EXPECT_EQ(watcher_.filterMessage(medium, isCandidate), MediaType::kOther);
    EXPECT_FALSE(isCandidate);
  }
}

TEST_F(MediaWatcher, TheNearestBus_DecidesTheType) {
  ASSERT_EQ(start(), 0);
  using enum DeviceClass;
  registry_.plug(FakeMediaRegistry::partition("a"), {kOther, kFireWire, kUsb});
  registry_.plug(FakeMediaRegistry::partition("b"), {kOther, kOther});
  registry_.plug(FakeMediaRegistry::partition("c"), {});
  serve();
  EXPECT_EQ(events_, (std::vector<std::pair<int, long>>{{1, 2}, {1, 0}, {1, 1}}));
  EXPECT_EQ(watcher_.findeDeviceInfo("c"), MediaType::kOther);
}

TEST_F(MediaWatcher, FoldersOnFixedDisksOrNowhere_AreNotOnAPluggedDevice) {
  EXPECT_FALSE(watcher_.collectFolderInfo("/"));
  EXPECT_FALSE(watcher_.collectFolderInfo("/does/not/exist"));
}

TEST_F(MediaWatcher, AFolderOnAUsbDevice_IsFoundByItsDevice) {
  const MountedVolume volume("ext4", 8);
  if (!volume.isMounted()) GTEST_SKIP() << volume.problem();
  const TempTree tree{{"link", Link{volume / "lost+found"}}};
  EXPECT_FALSE(watcher_.collectFolderInfo(volume.path()));
  for (int i = 0; i < 64; ++i)
    registry_.plug(FakeMediaRegistry::partition("loop" + std::to_string(i)), {DeviceClass::kUsb});
  EXPECT_TRUE(watcher_.collectFolderInfo(volume.path()));
  EXPECT_TRUE(watcher_.collectFolderInfo(tree / "link"));
}

}  // namespace
}  // namespace lumisk::test
