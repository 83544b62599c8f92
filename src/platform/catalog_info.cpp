#include "platform/catalog_info.h"

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

namespace lumisk {
namespace {

constexpr const char* kAccessAcl = "system.posix_acl_access";
constexpr const char* kDefaultAcl = "system.posix_acl_default";
constexpr const char* kCapability = "security.capability";
constexpr std::uint32_t kSetIdBits = 06000;
constexpr std::uint32_t kKeepId = std::numeric_limits<std::uint32_t>::max();

using Attribute = CatalogInfo::Attribute;

bool startsWith(const std::string& text, std::string_view start) {
  return text.compare(0, start.size(), start) == 0;
}

// Answers that say "not this one, not here", and not that the device fails.
bool isRefusal(int code) {
  switch (code) {
    case EPERM:
    case EACCES:
    case EOPNOTSUPP:
    case ENOSYS:
    case EINVAL:
    case ENOSPC:
    case EDQUOT:
    case E2BIG:
    case ERANGE:
    case ENAMETOOLONG:
    case EOVERFLOW:
      return true;
    default:
      return false;
  }
}

// Access lists of servers ("system.nfs4_acl") follow from the permissions and are on every file there.
bool mayBeRemoved(const std::string& name) {
  if (!isPortableAttribute(name)) return false;
  return !startsWith(name, "system.") || name == kAccessAcl || name == kDefaultAcl;
}

const Attribute* find(const std::vector<Attribute>& attributes, const std::string& name) {
  const auto found =
      std::find_if(attributes.begin(), attributes.end(), [&](const Attribute& one) { return one.name == name; });
  return found == attributes.end() ? nullptr : &*found;
}

Result<std::vector<std::string>> portableNames(FileCalls& files, int descriptor) {
  auto names = files.listAttributes(descriptor);
  if (!names && names.error().code == EOPNOTSUPP) return std::vector<std::string>{};
  if (names) std::erase_if(*names, [](const std::string& name) { return !isPortableAttribute(name); });
  return names;
}

// Asked only after a refusal, to tell a file system that keeps no permissions from a file that is not ours.
bool keepsNoPermissions(int descriptor) {
  constexpr long kExfat = 0x2011BAB0, kNtfs = 0x5346544E, kNtfs3 = 0x7366746E, kCifs = 0xFF534D42, kSmb2 = 0xFE534D42;
  struct statfs status;
  if (::fstatfs(descriptor, &status) != 0) return false;
  const long known[] = {MSDOS_SUPER_MAGIC, kExfat, kNtfs, kNtfs3, kCifs, kSmb2};
  return std::find(std::begin(known), std::end(known), static_cast<long>(status.f_type)) != std::end(known);
}

class CatalogWriter {
 public:
  CatalogWriter(FileCalls& files, int descriptor, const CatalogInfo& info, const CatalogInfo* before)
      : files_(files), descriptor_(descriptor), info_(info), before_(before) {}

  Result<CatalogLoss> write() {
    LUMISK_CHECK(lookAtTarget());
    LUMISK_CHECK(setOwner());
    // Attributes come before the permissions, because those may forbid us to set any.
    LUMISK_CHECK(removeOthers());
    LUMISK_CHECK(setAttributes());
    LUMISK_CHECK(setPermissions());
    if (status_.modified != info_.status.modified) LUMISK_CHECK(files_.setModified(descriptor_, info_.status.modified));
    loss_.attributesLost.insert(loss_.attributesLost.end(), info_.unreadable.begin(), info_.unreadable.end());
    return std::move(loss_);
  }

 private:
  Result<void> lookAtTarget() {
    if (before_ == nullptr) {
      LUMISK_TRY(read_, readCatalogInfo(files_, descriptor_));
      before_ = &read_;
    }
    status_ = before_->status;
    names_ = before_->unreadable;
    for (const Attribute& attribute : before_->attributes) names_.push_back(attribute.name);
    return {};
  }

  Result<void> setOwner() {
    const FileStatus& wanted = info_.status;
    if (wanted.owner == status_.owner && wanted.group == status_.group) return {};
    auto set = files_.setOwner(descriptor_, wanted.owner, wanted.group);
    ownerChanged_ = set.has_value();
    if (set || !isRefusal(set.error().code)) return set;
    loss_.ownerLost = true;
    if (wanted.group != status_.group) ownerChanged_ = files_.setOwner(descriptor_, kKeepId, wanted.group).has_value();
    return {};
  }

  Result<void> removeOthers() {
    for (const std::string& name : names_) {
      if (name == kAccessAcl || !mayBeRemoved(name) || find(info_.attributes, name) != nullptr) continue;
      LUMISK_CHECK(removeAttribute(name));
    }
    return {};
  }

  Result<void> removeAttribute(const std::string& name) {
    auto removed = withWriteAccess([&] { return files_.removeAttribute(descriptor_, name); });
    if (!removed && removed.error().code == ENODATA) return {};
    return removed;
  }

  Result<void> setAttributes() {
    for (const Attribute& attribute : info_.attributes) {
      if (attribute.name == kAccessAcl || hasAlready(attribute)) continue;
      if (attribute.name == kCapability && loss_.ownerLost)
        loss_.attributesLost.push_back(attribute.name);
      else
        LUMISK_CHECK(setAttribute(attribute));
    }
    return {};
  }

  bool hasAlready(const Attribute& attribute) const {
    if (attribute.name == kCapability && ownerChanged_) return false;  // a new owner takes them away
    const Attribute* old = find(before_->attributes, attribute.name);
    return old != nullptr && old->value == attribute.value;
  }

  Result<void> setAttribute(const Attribute& attribute) {
    auto set = withWriteAccess([&] { return files_.setAttribute(descriptor_, attribute.name, attribute.value); });
    if (set || !isRefusal(set.error().code)) return set;
    loss_.attributesLost.push_back(attribute.name);
    return {};
  }

  // Attributes of users need the write permission, even from the owner.
  template <class Call>
  Result<void> withWriteAccess(Call call) {
    auto made = call();
    constexpr std::uint32_t kOwnerMayWrite = 0200;
    if (made || made.error().code != EACCES || (status_.mode & kOwnerMayWrite) != 0) return made;
    if (!files_.setMode(descriptor_, status_.mode | kOwnerMayWrite)) return made;
    status_.mode |= kOwnerMayWrite;
    return call();
  }

  // A program must not run with the rights of an owner that it was not given by.
  std::uint32_t wantedMode() const {
    const bool isFolder = info_.status.type == FileType::kFolder;
    return loss_.ownerLost && !isFolder ? info_.status.mode & ~kSetIdBits : info_.status.mode;
  }

  Result<void> setPermissions() {
    const std::uint32_t wanted = wantedMode();
    const Attribute* acl = find(info_.attributes, kAccessAcl);
    const bool targetHasAcl = std::find(names_.begin(), names_.end(), kAccessAcl) != names_.end();
    const bool sameAcl = acl == nullptr ? !targetHasAcl : hasAlready(*acl);
    const bool setIdBitsGone = ownerChanged_ && (wanted & kSetIdBits) != 0;
    if (sameAcl) return status_.mode == wanted && !setIdBitsGone ? Result<void>() : setMode(wanted);
    if (targetHasAcl) LUMISK_CHECK(dropAcl(wanted));
    if (acl == nullptr) return setMode(wanted);
    LUMISK_CHECK(setMode(modeWithoutAcl(wanted, acl->value)));
    return setAttribute(*acl);
  }

  // Without its ACL a file's group has what was the ACL's mask, so the mask becomes nothing first.
  Result<void> dropAcl(std::uint32_t wanted) {
    constexpr std::uint32_t kOwnerOnly = 0700;
    LUMISK_CHECK(setMode(wanted & kOwnerOnly));
    return removeAttribute(kAccessAcl);
  }

  Result<void> setMode(std::uint32_t mode) {
    auto set = files_.setMode(descriptor_, mode);
    if (set) status_.mode = mode;
    if (set || !isRefusal(set.error().code)) return set;
    const bool isLooser = (status_.mode & ~mode & 0777U) != 0;
    const bool isOurs = status_.owner == ::geteuid() || ::geteuid() == 0;
    const bool isAboutUs = set.error().code == EPERM || set.error().code == EACCES;
    if (isLooser && isAboutUs && !isOurs && !keepsNoPermissions(descriptor_)) return set;
    loss_.permissionsLost = true;
    return {};
  }

  FileCalls& files_;
  const int descriptor_;
  const CatalogInfo& info_;
  const CatalogInfo* before_;
  CatalogInfo read_;                // what `before_` is when nobody gave it
  FileStatus status_;               // of the target, kept up to date for its mode
  std::vector<std::string> names_;  // of the target's attributes before
  bool ownerChanged_ = false;
  CatalogLoss loss_;
};

}  // namespace

bool isPortableAttribute(const std::string& name) {
  return name != "security.selinux" && name != "security.ima" && name != "security.evm" &&
         !startsWith(name, "security.SMACK64") && !startsWith(name, "btrfs.");
}

Result<CatalogInfo> readCatalogInfo(FileCalls& files, int descriptor) {
  LUMISK_TRY(const FileStatus status, files.statusOf(descriptor));
  return readCatalogInfo(files, descriptor, status);
}

Result<CatalogInfo> readCatalogInfo(FileCalls& files, int descriptor, const FileStatus& status) {
  CatalogInfo info;
  info.status = status;
  LUMISK_TRY(auto names, portableNames(files, descriptor));
  for (std::string& name : names) {
    auto value = files.attribute(descriptor, name);
    if (value)
      info.attributes.push_back({std::move(name), std::move(*value)});
    else if (value.error().code != ENODATA && isRefusal(value.error().code))
      info.unreadable.push_back(std::move(name));
    else if (value.error().code != ENODATA)
      return fail(std::move(value).error());
  }
  return info;
}

Result<CatalogLoss> writeCatalogInfo(FileCalls& files, int descriptor, const CatalogInfo& info,
                                     const CatalogInfo* before) {
  return CatalogWriter(files, descriptor, info, before).write();
}

bool sameCatalogInfo(const CatalogInfo& before, const CatalogInfo& info) {
  const FileStatus& a = before.status;
  const FileStatus& b = info.status;
  if (a.owner != b.owner || a.group != b.group || a.mode != b.mode || a.modified != b.modified) return false;
  const auto hasBefore = [&](const Attribute& one) {
    const Attribute* old = find(before.attributes, one.name);
    return old != nullptr && old->value == one.value;
  };
  const auto isWanted = [&](const Attribute& one) {
    return !mayBeRemoved(one.name) || find(info.attributes, one.name) != nullptr;
  };
  return std::all_of(info.attributes.begin(), info.attributes.end(), hasBefore) &&
         std::all_of(before.attributes.begin(), before.attributes.end(), isWanted);
}

Result<bool> newEntriesInherit(FileCalls& files, int folder) {
  LUMISK_TRY(const auto names, portableNames(files, folder));
  return std::any_of(names.begin(), names.end(),
                     [](const std::string& name) { return startsWith(name, "system.") && name != kAccessAcl; });
}

std::uint32_t modeWithoutAcl(std::uint32_t mode, const std::string& acl) {
  // After a header of 4 bytes come entries of tag (2 bytes), permissions (2) and id (4), all little-endian. Tag 4 is
  // the owning group.
  constexpr std::size_t kHeader = 4, kEntry = 8;
  constexpr unsigned kOwningGroup = 4;
  const auto number = [&](std::size_t at) {
    return static_cast<unsigned char>(acl[at]) | static_cast<unsigned>(static_cast<unsigned char>(acl[at + 1])) << 8U;
  };
  for (std::size_t at = kHeader; at + kEntry <= acl.size(); at += kEntry)
    if (number(at) == kOwningGroup) return (mode & ~070U) | (mode & ((number(at + 2) & 07U) << 3U));
  return mode & ~070U;
}

}  // namespace lumisk
