#include "engine/time_granularity.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "support/faulty_file_calls.h"
#include "support/temp_tree.h"

namespace lumisk {
namespace {

using namespace std::chrono_literals;
using test::FaultyFileCalls;
using test::FileCall;

TEST(TimeGranularity, OrdinaryFileSystem_IsOneNanosecondAndLeavesNoTrace) {
  test::TempTree tree{{"d", test::Dir{}}};
  test::setModified(tree / "d", 1000, 5);
  const auto folder = realFileCalls().openRoot(tree / "d");
  ASSERT_TRUE(folder);
  EXPECT_EQ(probeTimeGranularity(realFileCalls(), folder->get()), 1ns);
  test::Dir expected{{"d", test::Dir{}}};
  ExpectTreeExactly(tree.path(), expected);
  EXPECT_EQ(realFileCalls().statusOf(folder->get())->modified, (FileTime{1000, 5}));
}

// A file system that keeps less of a date than it is given: the date that comes back is what another call sets.
class CoarseTimes : public ::testing::TestWithParam<std::pair<FileTime, std::chrono::nanoseconds>> {};

TEST_P(CoarseTimes, FoundByWhatComesBack) {
  test::TempTree tree{};
  const auto [kept, granularity] = GetParam();
  const auto folder = realFileCalls().openRoot(tree.path());
  ASSERT_TRUE(folder);
  FaultyFileCalls files;
  const auto cutOff = [&, kept = kept] {
    for (const std::string& name : test::listing(tree.path()))
      test::setModified(tree / name, kept.seconds, kept.nanoseconds);
  };
  files.before(FileCall::kStatusOf, cutOff, {.times = FaultyFileCalls::kAlways});
  EXPECT_EQ(probeTimeGranularity(files, folder->get()), granularity);
}

INSTANTIATE_TEST_SUITE_P(TimeGranularity, CoarseTimes,
                         ::testing::Values(std::pair{FileTime{1'000'000'001, 123'456'700}, 100ns},
                                           std::pair{FileTime{1'000'000'001, 0}, std::chrono::nanoseconds(1s)},
                                           std::pair{FileTime{1'000'000'000, 0}, std::chrono::nanoseconds(2s)},
                                           std::pair{FileTime{1'000'000'002, 0}, std::chrono::nanoseconds(2s)}));

TEST(TimeGranularity, ManyQuestions_ProbedOncePerFileSystemAndCoarsestWhenItFails) {
  test::TempTree tree{};
  const auto folder = realFileCalls().openRoot(tree.path());
  ASSERT_TRUE(folder);
  FaultyFileCalls files;
  files.fail(FileCall::kCreateFile, EROFS);
  TimeGranularities granularities(files);
  EXPECT_EQ(granularities.of(folder->get(), 7), 2s);
  EXPECT_EQ(granularities.of(folder->get(), 7), 2s);
  EXPECT_EQ(granularities.of(folder->get(), 8), 1ns);
  EXPECT_EQ(files.count(FileCall::kCreateFile), 2);
}

}  // namespace
}  // namespace lumisk
