#include "engine/copy_rule.h"

#include <rapidcheck/gtest.h>

#include <functional>

namespace lumisk {
namespace {

using namespace std::chrono_literals;

FileStatus fileOf(FileTime modified, std::uint64_t size = 5) {
  FileStatus status;
  status.type = FileType::kRegular;
  status.modified = modified;
  status.size = size;
  return status;
}

std::string reasonFor(FileTime source, FileTime destination, std::chrono::nanoseconds granularity = 1ns) {
  return decideCopy({fileOf(source), fileOf(destination), granularity, false}).reason;
}

TEST(CopyRule_Dates, AtFullGranularity_OnlyExactlyOneSecondIsAllowed) {
  EXPECT_EQ(reasonFor({100, 0}, {100, 0}), "unchanged");
  EXPECT_EQ(reasonFor({100, 1}, {100, 0}), "newer");
  EXPECT_EQ(reasonFor({101, 0}, {100, 0}), "unchanged");
  EXPECT_EQ(reasonFor({101, 7}, {100, 7}), "unchanged");
  EXPECT_EQ(reasonFor({101, 8}, {100, 7}), "newer");
  EXPECT_EQ(reasonFor({101, 6}, {100, 7}), "newer");
  EXPECT_EQ(reasonFor({102, 0}, {100, 0}), "newer");
  EXPECT_EQ(reasonFor({99, 0}, {100, 0}), "unchanged");
  EXPECT_EQ(reasonFor({0, 0}, {-1, 0}), "unchanged");
  EXPECT_EQ(reasonFor({0, 0}, {-2, 0}), "newer");
}

TEST(CopyRule_Dates, OnACoarseTarget_WhatItCannotHoldIsNoDifference) {
  EXPECT_EQ(reasonFor({100, 999'999'999}, {100, 999'999'900}, 100ns), "unchanged");
  EXPECT_EQ(reasonFor({100, 999'999'999}, {100, 999'999'800}, 100ns), "newer");
  EXPECT_EQ(reasonFor({101, 500}, {101, 0}, 2s), "unchanged");
  EXPECT_EQ(reasonFor({101, 500}, {100, 0}, 2s), "unchanged");
  EXPECT_EQ(reasonFor({102, 0}, {100, 0}, 2s), "newer");
  EXPECT_EQ(reasonFor({-1, 500}, {-2, 0}, 2s), "unchanged");
  EXPECT_EQ(reasonFor({102, 999}, {101, 0}, 1s), "unchanged");
}

TEST(CopyRule_Dates, BeyondSixtyFourBitsOfNanoseconds_AreStillOrdered) {
  EXPECT_EQ(reasonFor({20'000'000'002, 0}, {20'000'000'000, 0}), "newer");
  EXPECT_EQ(reasonFor({20'000'000'001, 1}, {20'000'000'000, 0}, 2s), "unchanged");
}

TEST(CopyRule_Destination, MissingOrOfAnotherType_IsCopied) {
  EXPECT_EQ(decideCopy({fileOf({1, 0}), std::nullopt}).verdict, CopyVerdict::kCopy);
  auto folder = fileOf({500, 0});
  folder.type = FileType::kFolder;
  const auto decision = decideCopy({fileOf({1, 0}), folder});
  EXPECT_EQ(decision.verdict, CopyVerdict::kReplace);
  EXPECT_STREQ(decision.reason, "not a file there");
}

TEST(CopyRule_Doubt, CopyThatMayBeLost_IsMadeAgain) {
  CopyQuestion question{fileOf({100, 0}), fileOf({100, 0}), 1ns, false, FileTime{700, 0}};
  question.destination->changed = {699, 999'999'999};
  EXPECT_EQ(decideCopy(question).verdict, CopyVerdict::kUnchanged);
  question.destination->changed = {700, 0};
  EXPECT_EQ(decideCopy(question).verdict, CopyVerdict::kReplace);
  question.destination->modified = {200, 0};
  EXPECT_EQ(decideCopy(question).verdict, CopyVerdict::kUnchanged) << "no copy of this version";
}

TEST(CopyRule_Sizes, AreLookedAtOnlyWhenAskedAndDatesAreEqual) {
  CopyQuestion question{fileOf({100, 0}, 5), fileOf({100, 0}, 6), 1ns, false};
  EXPECT_EQ(decideCopy(question).verdict, CopyVerdict::kUnchanged);
  question.compareSizes = true;
  EXPECT_STREQ(decideCopy(question).reason, "other size");
  question.source.modified.seconds = 101;
  EXPECT_STREQ(decideCopy(question).reason, "other size");
  question.source.modified.seconds = 99;
  EXPECT_EQ(decideCopy(question).verdict, CopyVerdict::kUnchanged);
}

RC_GTEST_PROP(CopyRule_Dates, CopyAndItsCopy_AreNeverNewerThanEachOther, ()) {
  const std::int64_t step = *rc::gen::element<std::int64_t>(1, 100, 1'000'000'000, 2'000'000'000);
  const FileTime source{*rc::gen::inRange<std::int64_t>(-1000, 1000),
                        *rc::gen::inRange<std::uint32_t>(0, 1'000'000'000)};
  std::int64_t total = source.seconds * 1'000'000'000 + source.nanoseconds;
  total -= (total % step + step) % step;  // what the target keeps of it
  const std::int64_t rest = (total % 1'000'000'000 + 1'000'000'000) % 1'000'000'000;
  const FileTime kept{(total - rest) / 1'000'000'000, static_cast<std::uint32_t>(rest)};
  RC_ASSERT(reasonFor(source, kept, std::chrono::nanoseconds(step)) == "unchanged");
  RC_ASSERT(reasonFor(kept, source, std::chrono::nanoseconds(step)) == "unchanged");
}

RC_GTEST_PROP(CopyRule_ChangedSource, CopyOfAnyOtherStatus_IsCopiedAgainWhateverTheGranularity, ()) {
  const auto anyTime = [] {
    return FileTime{*rc::gen::inRange<std::int64_t>(1000, 1012),
                    *rc::gen::element<std::uint32_t>(0, 1, 100, 500'000'000, 999'999'999)};
  };
  FileStatus before = fileOf(anyTime());
  FileStatus after = fileOf(anyTime());
  after.changed = {before.changed.seconds + 1, 0};
  const auto date = dateOfChangedCopy(before, after);
  for (const auto granularity : {1ns, 100ns, std::chrono::nanoseconds(1s), std::chrono::nanoseconds(2s)})
    RC_ASSERT(decideCopy({after, fileOf(date.value_or(before.modified)), granularity}).verdict ==
              CopyVerdict::kReplace);
}

TEST(CopyRule_ChangedSource, NotChangedOrMuchNewer_KeepsItsDate) {
  FileStatus before = fileOf({1000, 5});
  FileStatus after = before;
  EXPECT_FALSE(dateOfChangedCopy(before, after));
  after.modified = {1010, 0};
  EXPECT_FALSE(dateOfChangedCopy(before, after));
  after.modified = before.modified;
  after.size = 6;
  EXPECT_TRUE(dateOfChangedCopy(before, after));
}

TEST(SkippedNames, ListedOnesAndListsOfFiles_AreSkippedAndNoOthers) {
  for (const char* name : {".DS_Store", ".hidden", ".localized", ".hotfiles.btree", "Qel Lumisk.log", ".lumiskFileList",
                           ".lumiskFolderFlagPlist", "job.qellumiskdat"})
    EXPECT_TRUE(isSkippedName(name)) << name;
  for (const char* name : {".ds_store", "_XXXQelLumisk", "_XXXQelLumiskinfo_job", "qellumiskdat", "job.QELLUMISKDAT"})
    EXPECT_FALSE(isSkippedName(name)) << name;
}

TEST(TemporaryNames, ExactlyTwelveDigits_AreOurs) {
  EXPECT_TRUE(isTemporaryName(".lumisk-0123456789ab"));
  for (const char* name : {".lumisk-0123456789a", ".lumisk-0123456789abc", ".lumisk-0123456789ag", ".lumisk-target",
                           "lumisk-0123456789abc", ".lumisk-0123456789AB"})
    EXPECT_FALSE(isTemporaryName(name)) << name;
}

TEST(CopyRule_Permissions, WhereAnybodyWouldGetMoreThanInTheEnd_AreNobodyElsesAtFirst) {
  CatalogInfo wanted;
  wanted.status.owner = 1000;
  wanted.status.group = 100;
  wanted.status.mode = 0754;
  const FileStatus like = wanted.status;
  const auto mode = [&](CatalogInfo info) { return modeToMakeWith(info, like, 0700); };
  EXPECT_EQ(mode(wanted), 0754u);
  EXPECT_EQ(modeToMakeWith(wanted, {}, 0700), 0700u);
  for (const auto& change : std::vector<std::function<void(CatalogInfo&)>>{
           [](CatalogInfo& info) { info.status.owner = 0; }, [](CatalogInfo& info) { info.status.group = 0; },
           [](CatalogInfo& info) { info.status.mode = 04755; }, [](CatalogInfo& info) { info.status.mode = 0555; },
           [](CatalogInfo& info) {
             info.attributes.push_back({"system.posix_acl_access", "x"});
           },
           [](CatalogInfo& info) { info.unreadable.emplace_back("user.tag"); }}) {
    CatalogInfo other = wanted;
    change(other);
    EXPECT_EQ(mode(other), 0700u);
  }
}

}  // namespace
}  // namespace lumisk
