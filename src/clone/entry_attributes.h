#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// An entry by its folder and name, and open where that is possible: then it is the open one that is meant.
struct EntryHandle {
  int folder = -1;
  const std::string& name;
  int descriptor = -1;
};

// Name and value, by name: "user.x", "security.capability", "system.posix_acl_access", "trusted.overlay.opaque".
using Attributes = std::vector<std::pair<std::string, std::string>>;

// All that belong to the entry, and not to how the file system stores it ("btrfs.compression"; xfs shows access lists a
// second time under "trusted.SGI_ACL_"), to one inode on one disk ("security.evm") or to the clone itself. None where
// the file system has none.
Result<std::vector<std::string>> listCarriedAttributes(FileCalls& files, const EntryHandle& entry);
Result<Attributes> readAttributes(FileCalls& files, const EntryHandle& entry);
// Asks for no value when neither entry has any attribute.
Result<bool> haveSameAttributes(FileCalls& files, const EntryHandle& a, const EntryHandle& b);

// Makes the entry carry these and no others. Does what it can; the error is the first one.
Result<void> writeAttributes(FileCalls& files, const EntryHandle& entry, const Attributes& wanted);

[[nodiscard]] bool isCarriedAttribute(const std::string& name);

}  // namespace lumisk
