#include "engine/walk_report.h"

#include "engine/destination_lookup.h"

namespace lumisk {
namespace {

struct TypeNote {
  const char* format;
  const char* reason;
};

TypeNote noteAbout(FileType type) {
  switch (type) {
    case FileType::kSocket:
      return {"%s: don't copy the file \"%s\"\n this is a socket type file", "socket"};
    case FileType::kCharacterDevice:
      return {"%s: don't copy the file \"%s\"\n this is a character special type file", "character device"};
    case FileType::kBlockDevice:
      return {"%s: don't copy the file \"%s\"\n this is a block device type file", "block device"};
    default:
      return {"%s: don't copy the file \"%s\"\n this is an unknown type file", "unknown type"};
  }
}

}  // namespace

void WalkReport::outcome(EntryOutcome outcome, const std::string& name, const char* reason) const {
  if (!run_.onEntry) return;
  copies_.drain();
  run_.onEntry(outcome, stack_.sourcePlace(name).path, reason);
}

void WalkReport::skipped(const std::string& name, const char* reason) const {
  ++run_.counts.skipped;
  outcome(EntryOutcome::kSkipped, name, reason);
}

void WalkReport::filtered(const std::string& name) const {
  log().write("%s: file type filter . . . . . . . . . . . %s\n", job(), shown(stack_.sourcePlace(name).path).c_str());
  skipped(name, "file type");
}

void WalkReport::notWalked(const std::string& name, const char* reason) const {
  log().write("%s: don't walk the directory \"%s\": %s\n", job(), shown(stack_.sourcePlace(name).path).c_str(), reason);
  skipped(name, reason);
}

void WalkReport::notCopied(const WalkEntry& entry) const {
  const TypeNote note = noteAbout(entry.source.type);
  log().write(note.format, job(), shown(stack_.sourcePlace(entry.name).path).c_str());
  log().write("\n");
  skipped(entry.name, note.reason);
}

void WalkReport::clash(const WalkEntry& entry, const std::string& otherName) const {
  log().write("%s: ERROR: \"%s\" is not copied: the target cannot tell its name from \"%s\"\n", job(),
              shown(stack_.sourcePlace(entry.name).path).c_str(), shown(otherName).c_str());
  run_.noteError(RunError::kFileCopy);
  outcome(EntryOutcome::kFailed, entry.name, "same name at the target");
}

void WalkReport::copyFailed(const WalkEntry& entry, const Error& error) const {
  log().write("%s: ERROR: Failed to copy this file as follow.\nsource:%s\ndestination:%s\n", job(),
              shown(stack_.sourcePlace(entry.name).path).c_str(),
              shown(stack_.destinationPlace(entry.destinationName).path).c_str());
  reason(error);
  run_.noteError(RunError::kFileCopy);
  outcome(EntryOutcome::kFailed, entry.name, error.operation.c_str());
}

void WalkReport::linkFailed(const std::string& name) const {
  run_.noteError(RunError::kSymbolicLink);
  outcome(EntryOutcome::kFailed, name, "symbolic link");
}

void WalkReport::linkUnreadable(const std::string& name) const {
  log().write("%s: ERROR: Failed to get the content of the symbolic link file \"%s\"\n", job(),
              shown(stack_.sourcePlace(name).path).c_str());
  linkFailed(name);
}

void WalkReport::vanished(const std::string& name) const {
  log().write("%s: ERROR: Failed to get the attributes of \"%s\"\n", job(),
              shown(stack_.sourcePlace(name).path).c_str());
  skipped(name, "vanished");
}

void WalkReport::sourceFailed(const std::string& name, const Error& error) const {
  attributesFailed(stack_.sourcePlace(name).path, error);
  outcome(EntryOutcome::kFailed, name, error.operation.c_str());
}

void WalkReport::destinationFailed(const std::string& name, const Error& error) const {
  attributesFailed(stack_.destinationPlace(name).path, error);
  outcome(EntryOutcome::kFailed, name, error.operation.c_str());
}

void WalkReport::attributesFailed(const std::string& path, const Error& error) const {
  log().write("%s: ERROR: Failed to get the attributes of \"%s\"\n", job(), shown(path).c_str());
  reason(error);
  run_.noteError(RunError::kFileCopy);
}

void WalkReport::creationFailed(const std::string& path, const Error& error) const {
  log().write("%s: ERROR: Failed to create the directory \"%s\"\n", job(), shown(path).c_str());
  reason(error);
  run_.noteError(RunError::kDirectoryCreation);
  if (run_.onFolderNotMade) run_.onFolderNotMade(path);
}

void WalkReport::metadataFailed(const std::string& path) const {
  log().write("%s: ERROR: Failed to modify the attributes of the directory \"%s\"\n", job(), shown(path).c_str());
  run_.noteError(RunError::kFileCopy);
}

void WalkReport::comeBackFailed(const std::string& path, const Error& error) const {
  log().write("%s: ERROR: The rest of \"%s\" is not copied: the directory was moved meanwhile\n", job(),
              shown(path).c_str());
  reason(error);
  run_.noteError(RunError::kFileCopy);
}

void WalkReport::refused(const std::string& path, const char* reason) const {
  log().write("%s: ERROR: The directory \"%s\" is not copied: %s\n", job(), shown(path).c_str(), reason);
  run_.noteError(RunError::kFileCopy);
}

JobLog& WalkReport::log() const {
  copies_.drain();
  return run_.log;
}

void WalkReport::reason(const Error& error) const {
  log().write("%s: %s\n", job(), shown(error.text()).c_str());
}

}  // namespace lumisk
