#pragma once

#include <optional>

#include "clone/entry_attributes.h"
#include "platform/file_calls.h"

namespace lumisk {

// What an entry is to have besides its data, as read from the source before its first byte.
struct EntryMetadata {
  FileStatus status;
  Attributes attributes;
};

// Makes the entry carry it: owner, attributes, permissions, date last. `before` is the entry's status as it is; calls
// that would change nothing are not made, and with startsBare() nobody looks for attributes that it may have got from
// its folder. The date is set in any case. Protection is not touched: see protectEntry(). Does what it can; the error
// is the first one.
Result<void> writeMetadata(FileCalls& files, const EntryHandle& entry, const EntryMetadata& wanted,
                           const FileStatus& before, bool startsBare);

// Sets what `chattr +i` and `+a` have set at `like`, or takes it all away, of a file or folder; nothing else can have
// it. Needs no descriptor in the handle.
Result<void> protectEntry(FileCalls& files, const EntryHandle& entry, const FileStatus& like);
Result<void> unprotectEntry(FileCalls& files, const EntryHandle& entry, FileType type);
[[nodiscard]] inline bool isProtected(const FileStatus& status) {
  return status.isImmutable || status.isAppendOnly;
}

}  // namespace lumisk
