#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// All that a file or folder has besides its data: owner and group, permissions, modification date, and every extended
// attribute, among them ACLs, Finder information, creation date and text encoding, and the resource fork.
struct CatalogInfo {
  FileStatus status;
  struct Attribute {
    std::string name;
    std::string value;
  };
  std::vector<Attribute> attributes;  // in the order the system gives
};

// What a target could not hold. Not an error of the copy: the file is kept, the run says once what is lost.
struct CatalogLoss {
  bool ownerLost = false;                   // not permitted to give files away
  std::vector<std::string> attributesLost;  // names; ENOTSUP, ENOSPC, E2BIG, EPERM
  [[nodiscard]] bool any() const { return ownerLost || !attributesLost.empty(); }
};

// Reads everything from an open file or folder. Attributes that vanish meanwhile are skipped; a file system without
// extended attributes has none.
Result<CatalogInfo> readCatalogInfo(FileCalls& files, int descriptor);

// Makes the open file or folder carry it, in the order that keeps it safe: owner, permissions, attributes, date last.
// Attributes that only the target has are removed. `before` is the target's own current info where known (saves the
// calls that would change nothing). Fails only where the result would be less protected than the source or the date is
// refused; everything else is a loss. Set-id bits are dropped when the owner could not be set.
Result<CatalogLoss> writeCatalogInfo(FileCalls& files, int descriptor, const CatalogInfo& info);

}  // namespace lumisk
