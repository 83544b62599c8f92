#include "clone/clone_state.h"

#include <algorithm>
#include <cerrno>
#include <iterator>

#include "platform/byte_text.h"
#include "platform/volume_changes.h"

namespace lumisk {
namespace {

// What no single entry can be the reason of: the device has gone, or its file system has been shut after an error.
bool isLoss(const Error& error) {
  static constexpr int kCodes[] = {EROFS, ESHUTDOWN, ENOTCONN};
  return std::find(std::begin(kCodes), std::end(kCodes), error.code) != std::end(kCodes);
}

}  // namespace

bool CloneState::isCancelled() {
  isCancelled_ = isCancelled_ || observer_.isCancelled();
  return isCancelled_;
}

bool CloneState::mustStop() {
  return !lost_.empty() || isCancelled();
}

bool CloneState::isSourceThere() {
  if (!lost_.empty() || sourceNode.empty()) return lost_.empty();
  const auto answers = volume::checkAnswers(sourceNode);
  if (answers) return true;
  failed("", answers.error());
  lost_ = answers.error().text();
  return false;
}

void CloneState::atEntry(std::string path) {
  ++report.entries;
  progress_.entries = report.entries;
  progress_.current = std::move(path);
  observer_.progressed(progress_);
}

void CloneState::lookingAt(const std::string& path) {
  progress_.current = path;
  observer_.progressed(progress_);
}

void CloneState::wrote(std::uint64_t bytes) {
  report.bytes += bytes;
  progress_.bytes = report.bytes;
  observer_.progressed(progress_);
}

void CloneState::failed(const std::string& path, const Error& error) {
  if (error.code == ECANCELED) return;
  failed(path, error.text());
  if (isLoss(error)) lost_ = error.text();
}

void CloneState::failed(const std::string& path, const std::string& why) {
  constexpr std::uint64_t kMostTold = 1000;
  ++report.failures;
  if (report.failures <= kMostTold) said(path, why);
  if (report.failures == kMostTold) observer_.said("further problems are counted and not told");
}

void CloneState::said(const std::string& path, const std::string& what) {
  observer_.said((path.empty() ? "/" : displayText(path)) + ": " + displayText(what));
}

bool isOutOfSpace(const Error& error) {
  return error.code == ENOSPC || error.code == EDQUOT;
}

}  // namespace lumisk
