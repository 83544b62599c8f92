#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "platform/file_calls.h"

namespace lumisk {

// Which of a folder's listed names stands behind a name that the listing lacks although the file system finds something
// under it: one that folds letter case, normalises, or knows short names.
class Spellings {
 public:
  // The listed name of what `name` leads to, by its identity. ENOENT when no listed name leads there.
  Result<std::string> listedName(FileCalls& files, int folder, const std::string& name, const FileIdentity& identity);

  // Two names of a source must not share one at the destination: true for the first that asks for it.
  bool claim(const std::string& listedName) { return claimed_.insert(listedName).second; }

 private:
  Result<void> list(FileCalls& files, int folder);
  const std::string* firstWithIdentity(FileCalls& files, int folder, const std::vector<std::string>& names,
                                       const FileIdentity& identity) const;
  const std::string* amongLikely(FileCalls& files, int folder, const std::string& name,
                                 const FileIdentity& identity) const;

  std::map<std::string, std::vector<std::string>> byFoldedName_;
  std::set<std::string> claimed_;
};

}  // namespace lumisk
