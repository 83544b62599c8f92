#pragma once

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "platform/file_calls.h"
#include "platform/result.h"

namespace lumisk {

// All that a file or folder has besides its data: owner and group, permissions, modification date, and every extended
// attribute, among them ACLs, Finder information, creation date and text encoding, and the resource fork. Left out are
// attributes that describe where a file lies and not the file (isPortableAttribute()).
struct CatalogInfo {
  FileStatus status;
  struct Attribute {
    std::string name;
    std::string value;
    friend bool operator==(const Attribute&, const Attribute&) = default;
  };
  std::vector<Attribute> attributes;    // in the order the system gives
  std::vector<std::string> unreadable;  // attributes whose values this user may not see; counted as lost when written
};

// What a target could not hold. Not an error of the copy: the file is kept, the run says once what is lost.
struct CatalogLoss {
  bool ownerLost = false;                   // owner or group: not permitted to give files away
  bool permissionsLost = false;             // the file system keeps none (FAT)
  std::vector<std::string> attributesLost;  // names; ENOTSUP, ENOSPC, E2BIG, EPERM
  [[nodiscard]] bool any() const { return ownerLost || permissionsLost || !attributesLost.empty(); }
};

// Reads everything from an open file or folder. Attributes that vanish meanwhile are skipped; a file system without
// extended attributes has none.
Result<CatalogInfo> readCatalogInfo(FileCalls& files, int descriptor);
// The same where the status is known already.
Result<CatalogInfo> readCatalogInfo(FileCalls& files, int descriptor, const FileStatus& status);

// Makes the open file or folder carry it, in the order that keeps it safe: owner, permissions, attributes, date last;
// at no moment do its permissions and ACL together allow more than `info` does. Attributes that only the target has are
// removed. `before` is the target's own info as it is now, where the caller knows it: calls that would change nothing
// are not made; a date of kUnknownDate is set anyway. For a file that was just created it is its status and no
// attributes, unless newEntriesInherit() of its folder. Fails only where the result would be less protected than the
// source, the date is refused or the device fails; everything else is a loss. Set-id bits and capabilities are dropped
// when the owner could not be set; where an ACL cannot be set the group gets no more than the ACL gave it.
inline constexpr FileTime kUnknownDate{std::numeric_limits<std::int64_t>::min(), 0};
Result<CatalogLoss> writeCatalogInfo(FileCalls& files, int descriptor, const CatalogInfo& info,
                                     const CatalogInfo* before = nullptr);

// Whether writing `info` over `before` would change nothing. Looks at owner, group, permissions, date and attributes,
// these in any order.
[[nodiscard]] bool sameCatalogInfo(const CatalogInfo& before, const CatalogInfo& info);

// Whether what is created in this open folder may start with attributes that it was not given: a default ACL, or one
// of the access lists that servers keep. Asked once per folder it saves a call per file.
Result<bool> newEntriesInherit(FileCalls& files, int folder);

// False for what a security module or the storage attaches by its own rules (labels, integrity hashes, compression).
// Neither read, nor set, nor removed.
[[nodiscard]] bool isPortableAttribute(const std::string& name);

// The permissions that give nobody more than `mode` with this ACL (the value of "system.posix_acl_access") gives, for
// where the ACL cannot be had. With an ACL the group's bits are its mask, not what the owning group may do.
[[nodiscard]] std::uint32_t modeWithoutAcl(std::uint32_t mode, const std::string& acl);

}  // namespace lumisk
