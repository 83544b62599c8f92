#include "support/folding_file_calls.h"

#include <algorithm>

namespace lumisk::test {
namespace {

std::string lowered(std::string name) {
  for (char& letter : name)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return name;
}

}  // namespace

std::string FoldingFileCalls::listed(int folder, const std::string& name) {
  std::vector<FolderEntry> entries;
  if (!real_.listFolder(folder, entries)) return name;
  // A folder that has both is none of this file system's, and is asked for what it has.
  const auto isItself = [&](const FolderEntry& entry) { return entry.name == name; };
  if (std::any_of(entries.begin(), entries.end(), isItself)) return name;
  const auto isMeant = [&](const FolderEntry& entry) { return lowered(entry.name) == lowered(name); };
  const auto at = std::find_if(entries.begin(), entries.end(), isMeant);
  return at == entries.end() ? name : at->name;
}

}  // namespace lumisk::test
