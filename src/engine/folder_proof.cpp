#include "engine/folder_proof.h"

#include <algorithm>

#include "engine/folder_flags.h"
#include "engine/synced_entries.h"
#include "platform/name_list.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

// Each level holds a descriptor. What is deeper is not proven, and copied back.
constexpr int kDeepest = 200;

}  // namespace

Result<std::optional<std::uint64_t>> FolderProof::entriesOf(int parent, const std::string& name,
                                                            const std::string& path) {
  entries_ = 1;
  seen_.clear();
  LUMISK_TRY(const Descriptor folder, run_.files.openFolder(parent, name));
  LUMISK_TRY(const FileStatus status, run_.files.statusOf(folder.get()));
  if (status.isMountRoot || borders_.isHomeTrash(status.identity, name)) return std::optional<std::uint64_t>();
  LUMISK_TRY(const bool isProven, check(folder.get(), path, status.identity.device, 0));
  seen_.push_back({status.identity, status.modified});
  std::sort(seen_.begin(), seen_.end());
  return isProven ? std::optional(entries_) : std::nullopt;
}

bool FolderProof::hasProven(const FileStatus& entry) const {
  const auto isEarlier = [](const Seen& one, const FileIdentity& identity) { return one.identity < identity; };
  const auto found = std::lower_bound(seen_.begin(), seen_.end(), entry.identity, isEarlier);
  if (found == seen_.end() || found->identity != entry.identity) return false;
  return entry.type == FileType::kFolder || found->modified == entry.modified;
}

Result<bool> FolderProof::check(int folder, const std::string& path, std::uint64_t device, int depth) {
  if (depth > kDeepest || run_.mustStop()) return false;
  FolderFlags flags(run_.files, run_.info.uuidString, path);
  LUMISK_TRY(const FolderState state, flags.checkTheFolderStateAtPath(folder));
  if (state != FolderState::kKnown) return false;
  const auto lastCompleted = run_.lastCompletedIn(path);
  if (!lastCompleted) return false;
  SyncedEntries listed(run_.files, path);
  LUMISK_CHECK(listed.read(folder));
  LUMISK_TRY(const NameList names, listNames(run_.files, folder));
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::string name(names.name(i));
    // What the user keeps under a name that is never copied stands nowhere else: it keeps its folder.
    const bool isOurs = name.starts_with(".lumisk") && whyNotCopied(name);
    if (!isOurs && !listed.findFileInArrayList(name)) return false;
    LUMISK_TRY(const FileStatus status, run_.files.status(folder, name));
    seen_.push_back({status.identity, status.modified});
    if (isOurs) continue;
    ++entries_;
    if (status.type == FileType::kFolder) {
      if (status.isMountRoot || status.identity.device != device || whyNotWalked(name)) return false;
      if (borders_.isHomeTrash(status.identity, name)) return false;
      LUMISK_TRY(const Descriptor child, run_.files.openFolder(folder, name));
      LUMISK_TRY(const bool isProven, check(child.get(), paths::join(path, name), device, depth + 1));
      if (!isProven) return false;
    } else if ((status.type != FileType::kRegular && status.type != FileType::kLink) ||
               !isUnchangedSince(status, *lastCompleted)) {
      return false;
    }
  }
  return true;
}

}  // namespace lumisk
