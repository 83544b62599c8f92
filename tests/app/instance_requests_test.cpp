#include "app/instance_requests.h"

#include <gtest/gtest.h>

#include <limits>

namespace lumisk {
namespace {

using Dictionary = PropertyList::Dictionary;

// As it comes out at the other end of the connection.
PropertyList sent(const Dictionary& dictionary) {
  const auto xml = propertyListToXml(dictionary);
  EXPECT_TRUE(xml);
  return *parsePropertyList(*xml);
}

void expectAllSet(const Dictionary& filled, const Dictionary& defaults) {
  for (const auto& [key, value] : filled) EXPECT_NE(value, defaults.at(key)) << key << " is not part of the test";
}

TEST(InstanceRequests_RunReport, Sent_ArrivesWhole) {
  RunReport report;
  report.completed = report.cancelled = report.refused = report.held = true;
  report.sourceProblem = report.targetProblem = report.placeInDoubt = true;
  report.wholeJob = false;
  report.problemPath = "/s/\xff\n";
  report.problemText = "why";
  report.errorCode = RunError::kOutOfSpace;
  report.request = std::numeric_limits<std::uint64_t>::max();
  report.counts = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  report.seconds = 1.5;
  report.jobKeys = {{"NSKey", 3}};
  const Dictionary filled = dictionaryOf(report);
  expectAllSet(filled, dictionaryOf(RunReport{}));
  EXPECT_EQ(dictionaryOf(runReportOf(sent(filled))), filled);
}

TEST(InstanceRequests_ProgressAndOptions, Sent_ArriveWhole) {
  JobProgressMessage message{"job", "\xff", 50.5, 25, true, 1, 2, 3};
  const Dictionary progress = dictionaryOf(message);
  expectAllSet(progress, dictionaryOf(JobProgressMessage{}));
  EXPECT_EQ(dictionaryOf(progressMessageOf(sent(progress))), progress);

  RunOptions options;
  options.pace = PaceKind::kFull;
  options.allowDeletions = options.acceptTarget = options.acceptSource = true;
  const Dictionary asked = dictionaryOf(options);
  expectAllSet(asked, dictionaryOf(RunOptions{}));
  EXPECT_EQ(dictionaryOf(runOptionsOf(sent(asked))), asked);
}

TEST(InstanceRequests_FromOutside, MissingOrStrange_ReadsAsDefault) {
  EXPECT_EQ(dictionaryOf(runReportOf({})), dictionaryOf(RunReport{}));
  EXPECT_EQ(dictionaryOf(runReportOf("no dictionary")), dictionaryOf(RunReport{}));
  EXPECT_EQ(dictionaryOf(runOptionsOf({})), dictionaryOf(RunOptions{}));
  const Dictionary strange{{"totalPercent", std::numeric_limits<double>::quiet_NaN()}, {"entries", -1}};
  EXPECT_EQ(dictionaryOf(progressMessageOf(strange)), dictionaryOf(JobProgressMessage{}));
}

}  // namespace
}  // namespace lumisk
