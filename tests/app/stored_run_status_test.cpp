#include "app/stored_run_status.h"

#include <thread>

#include "engine/copy_file_thread_object.h"
#include "support/fake_clock.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using namespace test;

class StoredRunStatusTest : public ::testing::Test {
 protected:
  StoredRunStatusTest() {
    makeTree(home_.path(), {{"Library", Dir{{"Preferences", Dir{}}}}});
    for (const char* name : {"a", "b"}) {
      store_.m_currentInfo = newJobDefaults(clock_.now());
      store_.m_currentInfo.name = name;
      store_.m_currentInfo.uuidString = std::string("uuid-") + name;
      store_.m_currentInfo.bFirstCopy = true;
      store_.m_currentInfo.sourcePaths = {"/s"};
      store_.m_currentInfo.targetPaths = {"/t"};
      EXPECT_TRUE(store_.addPreferenceInfo(-1));
    }
    clock_.advance(std::chrono::hours(1));
  }
  // From another thread, as workers do, and until the main thread has done what came of it.
  void post(const char* name, std::any object, PropertyList::Dictionary userInfo) {
    std::thread([&] { notifications_.post({name, std::move(object), std::move(userInfo)}); }).join();
    loop_.perform([this] { loop_.quit(); });
    loop_.run();
  }
  PropertyList job(std::size_t index) { return store_.jobs().at(index); }

  TempTree home_;
  FakeClock clock_;
  UserDefaults defaults_{home_ / "Library/Preferences/test.plist"};
  JobStore store_{defaults_, clock_};
  MainLoop loop_;
  NotificationCenter notifications_;
  StoredRunStatus status_{loop_, notifications_, clock_, [this](const auto& change) { change(store_); }};
  const std::string begin_ = storedDate(FakeClock().now());
};

TEST_F(StoredRunStatusTest, CompletedRun_StoresItsOwnBegin) {
  post(kWillStartNotification, {}, {{kJobIndexKey, 1}, {kJobUuidKey, "uuid-b"}, {kRunBeginKey, begin_}});
  EXPECT_EQ(job(1)[kJobStatusKey].integer(), 1);
  EXPECT_EQ(job(1)[kLastBeginTimeKey].text(), begin_);
  EXPECT_EQ(job(1)[kLastRanTimeKey].text(), "");
  post(kDidFinishNotification, {},
       {{kJobIndexKey, 1}, {kJobUuidKey, "uuid-b"}, {kRunCompletedKey, true}, {kRunBeginKey, begin_}});
  EXPECT_EQ(job(1)[kJobStatusKey].integer(), 0);
  EXPECT_EQ(job(1)[kLastRanTimeKey].text(), storedDate(clock_.now()));
  EXPECT_EQ(job(1)[kLastCompletedBeginKey].text(), begin_);
  EXPECT_FALSE(job(1)[kFirstCopyKey].boolean());
  EXPECT_TRUE(job(0)[kFirstCopyKey].boolean());
}

TEST_F(StoredRunStatusTest, WhatARunLearned_IsStored) {
  const PropertyList::Dictionary keys{{kLastCompletedEndNanosecondsKey, std::int64_t{5'000'000'000'000'000'001}}};
  post(kDidFinishNotification, {}, {{kJobUuidKey, "uuid-b"}, {kRunJobKeysKey, keys}});
  EXPECT_EQ(job(1)[kLastCompletedEndNanosecondsKey].integer(), 5'000'000'000'000'000'001);
  EXPECT_EQ(job(1)[kObjectNameKey].text(), "b");
}

TEST_F(StoredRunStatusTest, JobWasPointedElsewhereMeanwhile_TheRunProvesNothing) {
  const PropertyList::Dictionary begun{{kJobUuidKey, "uuid-b"}, {kRunBeginKey, begin_}};
  post(kWillStartNotification, {}, begun);
  ASSERT_TRUE(store_.fetchPreferenceInfo(1, JobStore::Locking::kTake));
  store_.m_currentInfo.targetPaths = {"/other"};
  ASSERT_TRUE(store_.storePreferenceInfo(1));
  auto ended = begun;
  ended[kRunCompletedKey] = true;
  ended[kRunJobKeysKey] = PropertyList::Dictionary{{kMarkedTargetsKey, PropertyList::Array{"/t"}}};
  post(kLearnedNotification, {}, ended);
  post(kDidFinishNotification, {}, ended);
  EXPECT_TRUE(job(1)[kLastCompletedBeginKey].isNone());
  EXPECT_TRUE(job(1)[kMarkedTargetsKey].isNone());
  EXPECT_EQ(job(1)[kJobStatusKey].integer(), 0);
}

TEST_F(StoredRunStatusTest, CancelBeforeTheStartWasTold_IsStored) {
  const PropertyList::Dictionary info{{kJobUuidKey, "uuid-b"}, {kRunBeginKey, begin_}, {kRunCancelledKey, true}};
  post(kUserCancelNotification, std::int32_t{1}, info);
  post(kWillStartNotification, {}, info);
  post(kDidFinishNotification, {}, info);
  EXPECT_EQ(job(1)[kCancelStatusKey].integer(), 1);
}

TEST_F(StoredRunStatusTest, FailedRun_CompletesNothing) {
  const PropertyList::Dictionary info{{kJobIndexKey, 1}, {kJobUuidKey, "uuid-b"}, {kRunBeginKey, begin_}};
  post(kWillStartNotification, {}, info);
  post(kDidFinishNotification, {}, info);
  post(kErrorMessageNotification, std::int32_t{1}, info);
  EXPECT_EQ(job(1)[kCancelStatusKey].integer(), 2);
  EXPECT_EQ(job(1)[kLastRanTimeKey].text(), storedDate(clock_.now()));
  EXPECT_TRUE(job(1)[kFirstCopyKey].boolean());
  EXPECT_TRUE(job(1)[kLastCompletedBeginKey].isNone());
}

TEST_F(StoredRunStatusTest, JobsWereRenumbered_TheUuidCounts) {
  ASSERT_TRUE(store_.deletePreferenceInfo(0));
  post(kUserCancelNotification, std::int32_t{1}, {{kJobUuidKey, "uuid-b"}});
  EXPECT_EQ(job(0)[kCancelStatusKey].integer(), 1);
  post(kErrorMessageNotification, std::int32_t{0}, {{kJobUuidKey, "uuid-a"}});
  EXPECT_EQ(job(0)[kCancelStatusKey].integer(), 1) << "the event of a job that is gone was given to another";
}

}  // namespace
}  // namespace lumisk
