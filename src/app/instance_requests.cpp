#include "app/instance_requests.h"

#include <cmath>

namespace lumisk {
namespace {

using Dictionary = PropertyList::Dictionary;

// Each form is a list of fields, given once for both directions.
class Writer {
 public:
  template <class Value>
  void operator()(const char* key, const Value& value) {
    dictionary_[key] = PropertyList(value);
  }
  template <class Enum>
  void enumeration(const char* key, const Enum& value) {
    dictionary_[key] = static_cast<std::int32_t>(value);
  }
  Dictionary dictionary_;
};

class Reader {
 public:
  explicit Reader(const PropertyList& list) : list_(list) {}
  void operator()(const char* key, bool& value) {
    if (const PropertyList& found = list_[key]; !found.isNone()) value = found.boolean();
  }
  void operator()(const char* key, std::uint64_t& value) { value = list_[key].unsignedInteger(); }
  void operator()(const char* key, double& value) {
    const double found = list_[key].real();
    if (std::isfinite(found)) value = found;
  }
  void operator()(const char* key, std::string& value) { value = list_[key].text(); }
  void operator()(const char* key, Dictionary& value) { value = list_[key].dictionary(); }
  template <class Enum>
  void enumeration(const char* key, Enum& value) {
    value = static_cast<Enum>(list_[key].integer32());
  }

 private:
  const PropertyList& list_;
};

template <class Visitor, class Counts>
void visitCounts(Visitor& visit, Counts& counts) {
  visit("entries", counts.entries);
  visit("copied", counts.copied);
  visit("bytes", counts.bytes);
  visit("deleted", counts.deleted);
  visit("heldDeletions", counts.held);
  visit("revisions", counts.revisions);
  visit("skipped", counts.skipped);
  visit("errors", counts.errors);
  visit("losses", counts.losses);
}

template <class Visitor, class Report>
void visitReport(Visitor& visit, Report& report) {
  visit("request", report.request);
  visit("completed", report.completed);
  visit("wholeJob", report.wholeJob);
  visit("cancelled", report.cancelled);
  visit("refused", report.refused);
  visit("held", report.held);
  visit("sourceProblem", report.sourceProblem);
  visit("targetProblem", report.targetProblem);
  visit("placeInDoubt", report.placeInDoubt);
  visit("problemPath", report.problemPath);
  visit("problemText", report.problemText);
  visit.enumeration("errorCode", report.errorCode);
  visitCounts(visit, report.counts);
  visit("seconds", report.seconds);
  visit("jobKeys", report.jobKeys);
}

template <class Visitor, class Message>
void visitProgress(Visitor& visit, Message& message) {
  visit("jobName", message.jobName);
  visit("fileName", message.fileName);
  visit("totalPercent", message.totalPercent);
  visit("backupPercent", message.backupPercent);
  visit("isFinished", message.isFinished);
  visit("entries", message.entries);
  visit("entriesTotal", message.entriesTotal);
  visit("bytes", message.bytes);
}

template <class Visitor, class Options>
void visitOptions(Visitor& visit, Options& options) {
  visit("allowDeletions", options.allowDeletions);
  visit("acceptTarget", options.acceptTarget);
  visit("acceptSource", options.acceptSource);
}

constexpr const char* kFullPaceKey = "fullPace";

}  // namespace

PropertyList::Dictionary dictionaryOf(const RunOptions& options) {
  Writer write;
  visitOptions(write, options);
  write(kFullPaceKey, options.pace == PaceKind::kFull);
  return std::move(write.dictionary_);
}

RunOptions runOptionsOf(const PropertyList& dictionary) {
  RunOptions options;
  Reader read(dictionary);
  visitOptions(read, options);
  options.pace = dictionary[kFullPaceKey].boolean() ? PaceKind::kFull : PaceKind::kGentle;
  return options;
}

PropertyList::Dictionary dictionaryOf(const RunReport& report) {
  Writer write;
  visitReport(write, report);
  return std::move(write.dictionary_);
}

RunReport runReportOf(const PropertyList& dictionary) {
  RunReport report;
  Reader read(dictionary);
  visitReport(read, report);
  return report;
}

PropertyList::Dictionary dictionaryOf(const JobProgressMessage& message) {
  Writer write;
  visitProgress(write, message);
  return std::move(write.dictionary_);
}

JobProgressMessage progressMessageOf(const PropertyList& dictionary) {
  JobProgressMessage message;
  Reader read(dictionary);
  visitProgress(read, message);
  return message;
}

}  // namespace lumisk
