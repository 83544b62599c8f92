#include "app/job_changes.h"

#include <gtest/gtest.h>
#include <rapidcheck.h>

#include "jobs/job_record.h"

namespace lumisk {
namespace {

using Array = PropertyList::Array;
using Dictionary = PropertyList::Dictionary;

PropertyList job(const std::string& uuid, const std::string& name) {
  QUORVELPREFERENCEINFO record;
  record.name = name;
  record.uuidString = uuid;
  record.sourcePaths = {"/s"};
  record.targetPaths = {"/t"};
  return jobToDictionary(record);
}

PropertyList with(PropertyList job, const char* key, PropertyList value) {
  job.mutableDictionary()[key] = std::move(value);
  return job;
}

Array jobsNamed(int count) {
  Array jobs;
  for (int i = 0; i < count; ++i) jobs.push_back(job("U" + std::to_string(i), "job " + std::to_string(i)));
  return jobs;
}

// One client's work on its copy: some keys of some jobs set or taken away.
struct Edit {
  std::size_t job;
  std::string key;
  int value;  // 0: taken away
};
Array edited(Array jobs, const std::vector<Edit>& edits) {
  for (const Edit& edit : edits) {
    Dictionary& one = jobs[edit.job % jobs.size()].mutableDictionary();
    one.erase(edit.key);
    if (edit.value != 0) one[edit.key] = edit.value;
  }
  return jobs;
}

std::vector<Edit> anyEdits(const std::vector<std::string>& keys) {
  std::vector<Edit> edits(*rc::gen::inRange<std::size_t>(0, 6));
  for (Edit& edit : edits) {
    edit = {*rc::gen::inRange<std::size_t>(0, 8), *rc::gen::elementOf(keys), *rc::gen::inRange(0, 4)};
  }
  return edits;
}

TEST(JobChanges, TwoClientsWithDifferentKeys_BothSurviveWhoeverIsFirst) {
  EXPECT_TRUE(rc::check([] {
    const Array base = edited(jobsNamed(*rc::gen::inRange(1, 5)), anyEdits({"a", "b", "c", "d"}));
    const auto one = anyEdits({"a", "b"}), other = anyEdits({"c", "d"});
    const Array ofOne = jobChanges(base, edited(base, one)), ofOther = jobChanges(base, edited(base, other));
    Array oneFirst = base, otherFirst = base;
    RC_ASSERT(mergeJobChanges(ofOne, oneFirst) == MergeVerdict::kMerged);
    RC_ASSERT(mergeJobChanges(ofOther, oneFirst) == MergeVerdict::kMerged);
    RC_ASSERT(mergeJobChanges(ofOther, otherFirst) == MergeVerdict::kMerged);
    RC_ASSERT(mergeJobChanges(ofOne, otherFirst) == MergeVerdict::kMerged);
    RC_ASSERT(oneFirst == edited(edited(base, one), other));
    RC_ASSERT(otherFirst == oneFirst);
  }));
}

TEST(JobChanges, SameKeys_AllOfTheSecondClientsChangesOrNone) {
  EXPECT_TRUE(rc::check([] {
    const Array base = jobsNamed(*rc::gen::inRange(1, 4));
    const Array stored = edited(base, anyEdits({"a", "b"})), wanted = edited(base, anyEdits({"a", "b"}));
    Array jobs = stored;
    const auto verdict = mergeJobChanges(jobChanges(base, wanted), jobs);
    bool clash = false;
    for (std::size_t i = 0; i < base.size(); ++i) {
      for (const char* key : {"a", "b"}) {
        const auto &was = base[i][key], &is = stored[i][key], &shall = wanted[i][key];
        clash = clash || (was != shall && is != was && is != shall);
        if (verdict == MergeVerdict::kMerged) RC_ASSERT(jobs[i][key] == (was == shall ? is : shall));
      }
    }
    RC_ASSERT(verdict == (clash ? MergeVerdict::kConflict : MergeVerdict::kMerged));
    if (clash) RC_ASSERT(jobs == stored);
  }));
}

struct Case {
  const char* what;
  Array before, after, stored;
  MergeVerdict verdict;
  Array merged;  // when kMerged
};

TEST(JobChanges, MakingRenamingAndRemoving) {
  const PropertyList a = job("A", "a"), b = job("B", "b"), nameless = job("", "n");
  const PropertyList ran = with(with(a, kLastRanTimeKey, "now"), kJobStatusKey, 1);
  const PropertyList edited = with(a, kActiveKey, false), renamed = with(a, kObjectNameKey, "z");
  constexpr auto kMerged = MergeVerdict::kMerged, kConflict = MergeVerdict::kConflict;
  const std::vector<Case> table = {
      {"made, while others are made", {a}, {a, b}, {a, nameless}, kMerged, {a, nameless, b}},
      {"made twice", {}, {a}, {a}, kConflict, {}},
      {"made under a name that another got", {}, {job("X", "b")}, {b}, kConflict, {}},
      {"removed while it runs", {a, b}, {b}, {ran, b}, kMerged, {b}},
      {"removed after an edit", {a, b}, {b}, {edited, b}, kConflict, {}},
      {"removed after it was renamed", {a}, {}, {renamed}, kConflict, {}},
      {"removed twice", {a}, {}, {}, kConflict, {}},
      {"edited after it was removed", {a}, {edited}, {b}, kConflict, {}},
      {"renamed while it runs", {a}, {renamed}, {ran}, kMerged, {with(ran, kObjectNameKey, "z")}},
      {"renamed to a name that another got", {a}, {renamed}, {a, job("X", "z")}, kConflict, {}},
      {"order does not count", {a, b}, {b, edited}, {a, b}, kMerged, {edited, b}},
      {"without an identifier, by name",
       {nameless},
       {with(nameless, "k", 1)},
       {a, nameless},
       kMerged,
       {a, with(nameless, "k", 1)}},
      {"a name passes from one to the other", {a, b}, {job("X", "a"), b}, {a, b}, kMerged, {b, job("X", "a")}},
      {"two with one identifier",
       {a, renamed},
       {a, with(renamed, "k", 1)},
       {a, renamed},
       kMerged,
       {a, with(renamed, "k", 1)}},
      {"what is no job stays", {"junk", a}, {"junk", edited}, {"junk", a}, kMerged, {"junk", edited}},
  };
  for (const Case& one : table) {
    Array jobs = one.stored;
    EXPECT_EQ(mergeJobChanges(jobChanges(one.before, one.after), jobs), one.verdict) << one.what;
    EXPECT_EQ(jobs, one.verdict == kMerged ? one.merged : one.stored) << one.what;
  }
}

TEST(JobChanges, WhatIsNoChange_IsNotUnderstoodAndNothingChanges) {
  const PropertyList a = job("A", "a");
  const Array fine = jobChanges({a}, {with(a, "k", 1)});
  const std::vector<PropertyList> bad = {PropertyList("text"),
                                         Dictionary{},
                                         Dictionary{{"before", 1}, {"after", a}},
                                         Dictionary{{"after", Array{a}}},
                                         Dictionary{{"before", a}, {"after", job("B", "a")}},
                                         Dictionary{{"after", Dictionary{{kObjectNameKey, "x"}}}},
                                         Dictionary{{"after", job("B", "")}}};
  for (const PropertyList& change : bad) {
    Array jobs{a};
    EXPECT_EQ(mergeJobChanges({fine.front(), change}, jobs), MergeVerdict::kNotUnderstood);
    EXPECT_EQ(jobs, Array{a});
  }
}

}  // namespace
}  // namespace lumisk
