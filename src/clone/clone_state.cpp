#include "clone/clone_state.h"

#include <cerrno>

#include "platform/byte_text.h"

namespace lumisk {

bool CloneState::isCancelled() {
  isCancelled_ = isCancelled_ || observer_.isCancelled();
  return isCancelled_;
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
}

void CloneState::failed(const std::string& path, const std::string& why) {
  ++report.failures;
  said(path, why);
}

void CloneState::said(const std::string& path, const std::string& what) {
  observer_.said((path.empty() ? "/" : displayText(path)) + ": " + displayText(what));
}

bool isOutOfSpace(const Error& error) {
  return error.code == ENOSPC || error.code == EDQUOT;
}

}  // namespace lumisk
