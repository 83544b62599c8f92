#include "engine/deletion_rule.h"

#include "engine/copy_rule.h"
#include "engine/folder_flags.h"
#include "engine/info_files.h"
#include "engine/revision_numbering.h"
#include "engine/synced_entries.h"
#include "platform/paths.h"
#include "platform/trash.h"

namespace lumisk {
namespace {

bool isPlainComponent(const std::string& name) {
  return name != "." && name != ".." && !Trash::isTrashName(name);
}

// The components of `path` below `folder`; none when it does not lie below it.
std::vector<std::string> componentsBelow(std::string_view path, std::string_view folder) {
  if (!paths::isInside(path, folder)) return {};
  auto components = paths::components(path);
  const auto count = static_cast<std::ptrdiff_t>(paths::components(folder).size());
  components.erase(components.begin(), components.begin() + count);
  return components;
}

bool isOrdinaryPlace(const std::vector<std::string>& inTarget) {
  return inTarget.front() != kRevisionFolderName && std::all_of(inTarget.begin(), inTarget.end(), isPlainComponent);
}

}  // namespace

void disbelieveVanished(DeletionScope& scope) {
  if (!scope.lookAgain) return;
  for (std::string& place : scope.lookAgain())
    if (std::find(scope.unbelieved.begin(), scope.unbelieved.end(), place) == scope.unbelieved.end())
      scope.unbelieved.push_back(std::move(place));
}

bool isBelieved(const DeletionScope& scope, std::string_view source) {
  return std::none_of(scope.unbelieved.begin(), scope.unbelieved.end(), [source](const std::string& place) {
    return paths::isInside(source, place) || paths::isInside(place, source);
  });
}

bool mayBeDeleted(const DeletionScope& scope, std::string_view destination) {
  bool isInTarget = false;
  for (const std::string& target : scope.targets) {
    if (paths::isInside(target, destination)) return false;
    const auto inTarget = componentsBelow(destination, target);
    if (!inTarget.empty() && !isOrdinaryPlace(inTarget)) return false;
    isInTarget |= !inTarget.empty();
  }
  return isInTarget && std::none_of(scope.roots.begin(), scope.roots.end(), [destination](const CarriedRoot& root) {
           return paths::isInside(root.source, destination);
         });
}

std::optional<PlacedPair> placePair(const DeletionScope& scope, std::string_view source, std::string_view destination) {
  if (!isBelieved(scope, source) || !mayBeDeleted(scope, destination)) return std::nullopt;
  for (std::size_t root = 0; root < scope.roots.size(); ++root) {
    auto components = componentsBelow(source, scope.roots[root].source);
    if (components.empty() || components != componentsBelow(destination, scope.roots[root].destination)) continue;
    return PlacedPair{root, std::move(components)};
  }
  return std::nullopt;
}

bool isKeptName(const std::string& name) {
  return name == kSyncedEntriesName || name == kFolderFlagName || isInfoFileName(name) || isTemporaryName(name) ||
         Trash::isTrashName(name);
}

std::vector<std::string> namesToDelete(const NameList& source, const NameList& destination) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < destination.size(); ++i) {
    const std::string name(destination.name(i));
    const bool isCarried = source.contains(name) && !isSkippedName(name);
    if (!isCarried && !isKeptName(name)) names.push_back(name);
  }
  return names;
}

}  // namespace lumisk
