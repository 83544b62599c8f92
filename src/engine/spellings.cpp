#include "engine/spellings.h"

#include <cerrno>

#include "platform/byte_text.h"

namespace lumisk {

Result<void> Spellings::list(FileCalls& files, int folder) {
  std::vector<FolderEntry> entries;
  LUMISK_CHECK(files.listFolder(folder, entries));
  byFoldedName_.clear();
  for (FolderEntry& entry : entries) byFoldedName_[foldedName(entry.name)].push_back(std::move(entry.name));
  return {};
}

const std::string* Spellings::firstWithIdentity(FileCalls& files, int folder, const std::vector<std::string>& names,
                                                const FileIdentity& identity) const {
  for (const std::string& listed : names) {
    const auto status = files.status(folder, listed);
    if (status && status->identity == identity) return &listed;
  }
  return nullptr;
}

// Folding the names ourselves is only a guess at what the file system does; the identity decides. The name itself comes
// first: somebody may have made it since.
const std::string* Spellings::amongLikely(FileCalls& files, int folder, const std::string& name,
                                          const FileIdentity& identity) const {
  const auto at = byFoldedName_.find(foldedName(name));
  if (at == byFoldedName_.end()) return nullptr;
  const auto itself = std::find(at->second.begin(), at->second.end(), name);
  return itself != at->second.end() ? &*itself : firstWithIdentity(files, folder, at->second, identity);
}

Result<std::string> Spellings::listedName(FileCalls& files, int folder, const std::string& name,
                                          const FileIdentity& identity) {
  if (const std::string* found = amongLikely(files, folder, name, identity)) return *found;
  LUMISK_CHECK(list(files, folder));
  if (const std::string* found = amongLikely(files, folder, name, identity)) return *found;
  for (const auto& [folded, names] : byFoldedName_)
    if (const std::string* found = firstWithIdentity(files, folder, names, identity)) return *found;
  return fail("find the spelling", name, ENOENT);
}

}  // namespace lumisk
