#include "helper_service/clone_status.h"

#include <fmt/format.h>

#include <cerrno>

#include "helper/os_status.h"
#include "platform/acting_as.h"
#include "platform/byte_text.h"
#include "platform/untrusted_file.h"

namespace lumisk {
namespace {

constexpr std::uint64_t kMostLines = 200;

OSStatus codeOf(CloneReport::End end) {
  switch (end) {
    case CloneReport::End::kFinished:
      return kNoError;
    case CloneReport::End::kCancelled:
      return kUserCancelled;
    case CloneReport::End::kRefused:
      return BASErrnoToOSStatus(EPERM);
    case CloneReport::End::kFailed:
      break;
  }
  return BASErrnoToOSStatus(EIO);
}

PropertyList::Dictionary endDictionary(OSStatus code, const std::string& message, std::uint64_t differences) {
  return {{"kFinishCloneJob", code == kNoError},
          {"kErrorCode", code},
          {"kErrorMessage", displayText(message)},
          {"kDifferences", differences}};
}

void writeStatus(const CloneJob& job, StatusFile which, const PropertyList::Dictionary& dictionary,
                 const LogLine& log) {
  const std::string name = statusFileName(job.name, which);
  const Sync sync = which == StatusFile::kEnd ? Sync::kYes : Sync::kNo;
  const auto written = [&]() -> Result<void> {
    LUMISK_TRY(const std::string xml, propertyListToXml(dictionary));
    LUMISK_TRY(const ActingAs acting, ActingAs::user(job.owner.user, job.owner.group));
    return replaceEntry(job.folder.get(), name, xml, sync);
  }();
  if (!written) log(fmt::format("{}: {}", displayText(job.folderPath), displayText(written.error().text())));
}

}  // namespace

PropertyList::Dictionary endOfClone(const CloneReport& report) {
  auto end = endDictionary(codeOf(report.end), report.reason, report.differences);
  end["kEntries"] = report.entries;
  end["kCopied"] = report.copied;
  end["kBytes"] = report.bytes;
  return end;
}

void writeRefusal(const CloneJob& job, const Error& why, const LogLine& log) {
  const OSStatus code = BASErrnoToOSStatus(why.code == 0 ? EIO : why.code);
  writeStatus(job, StatusFile::kEnd, endDictionary(code, why.text(), 0), log);
}

CloneStatus::CloneStatus(const CloneJob& job, const std::atomic<bool>& endIsRequested, LogLine log)
    : job_(job), endIsRequested_(endIsRequested), log_(std::move(log)) {}

bool CloneStatus::isCancelled() {
  return isCancelled_.load() || endIsRequested_.load();
}

void CloneStatus::progressed(const CloneProgress& progress) {
  const std::lock_guard lock(mutex_);
  progress_ = progress;
}

void CloneStatus::said(const std::string& line) {
  if (++lines_ > kMostLines) return;
  log_("clone: " + displayText(line));
  if (lines_ == kMostLines) log_("clone: more of this is left out");
}

void CloneStatus::lookForCancel() {
  const auto job = readJobFile(job_.folder.get(), job_.name, job_.owner);
  if (job && isCancelAsked(*job)) isCancelled_.store(true);
}

void CloneStatus::writeProgress() {
  PropertyList::Dictionary dictionary;
  {
    const std::lock_guard lock(mutex_);
    dictionary = {{"kEntries", progress_.entries}, {"kBytes", progress_.bytes}, {"kCurrentFile", progress_.current}};
  }
  write(StatusFile::kProgress, dictionary);
}

void CloneStatus::writeEnd(const CloneReport& report) {
  write(StatusFile::kEnd, endOfClone(report));
}

void CloneStatus::write(StatusFile which, const PropertyList::Dictionary& dictionary) {
  writeStatus(job_, which, dictionary, log_);
}

}  // namespace lumisk
