#include "clone/entry_metadata.h"

#include <algorithm>
#include <cerrno>

#include "clone/clone_rule.h"
#include "platform/entry_calls.h"

namespace lumisk {
namespace {

Result<void> setOwner(FileCalls& files, const EntryHandle& entry, const FileStatus& wanted) {
  return entry.descriptor >= 0 ? files.setOwner(entry.descriptor, wanted.owner, wanted.group)
                               : files.setLinkOwner(entry.folder, entry.name, wanted.owner, wanted.group);
}

Result<void> setMode(FileCalls& files, const EntryHandle& entry, const FileStatus& wanted) {
  return entry.descriptor >= 0 ? files.setMode(entry.descriptor, wanted.mode)
                               : entry_calls::setMode(entry.folder, entry.name, wanted.type, wanted.mode);
}

Result<void> setDate(FileCalls& files, const EntryHandle& entry, const FileStatus& wanted) {
  return entry.descriptor >= 0 ? files.setModified(entry.descriptor, wanted.modified)
                               : files.setLinkModified(entry.folder, entry.name, wanted.modified);
}

Result<void> setProtection(FileCalls& files, const EntryHandle& entry, FileType type, entry_calls::Protection wanted) {
  if (entry.descriptor >= 0) return entry_calls::setProtection(entry.descriptor, wanted);
  if (type != FileType::kRegular && type != FileType::kFolder) return {};
  auto opened =
      type == FileType::kFolder ? files.openFolder(entry.folder, entry.name) : files.openFile(entry.folder, entry.name);
  if (!opened) return fail(std::move(opened).error());
  return entry_calls::setProtection(opened->get(), wanted);
}

}  // namespace

// Giving a file away takes its set-id bits and capabilities, so the owner comes first. An access list brings its
// permissions with it, so that nobody is let in between, and what it leaves (set-id bits) comes after it.
Result<void> writeMetadata(FileCalls& files, const EntryHandle& entry, const EntryMetadata& wanted,
                           const FileStatus& before, bool startsBare) {
  const MetadataDifference difference = compareMetadata(wanted.status, before);
  Result<void> first;
  const auto note = [&](Result<void> done) {
    if (!done && first) first = std::move(done);
  };
  if (difference.owner) note(setOwner(files, entry, wanted.status));
  const bool mayHaveAttributes = !startsBare || !wanted.attributes.empty();
  if (mayHaveAttributes) note(writeAttributes(files, entry, wanted.attributes));
  const bool hasMode = wanted.status.type != FileType::kLink;
  if (hasMode && (difference.mode || difference.owner || mayHaveAttributes)) note(setMode(files, entry, wanted.status));
  note(setDate(files, entry, wanted.status));
  return first;
}

Result<void> protectEntry(FileCalls& files, const EntryHandle& entry, const FileStatus& like) {
  return setProtection(files, entry, like.type, {like.isImmutable, like.isAppendOnly});
}

Result<void> unprotectEntry(FileCalls& files, const EntryHandle& entry, FileType type) {
  return setProtection(files, entry, type, {});
}

}  // namespace lumisk
