#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/name_list.h"

namespace lumisk {

// What a backup that follows deletions may delete: pure functions of paths and names.

// A source of the job and the place that this run carries it to.
struct CarriedRoot {
  std::string source;
  std::string destination;
};

struct DeletionScope {
  std::vector<CarriedRoot> roots;  // only sources that are sound: there, readable, on the file system that they were on
  std::vector<std::string> targets;
  // Below these places of the sources an absence proves nothing: mounts that were there and are gone.
  std::vector<std::string> unbelieved;
  // Asked right before deletions: such places that have come to it since. May be empty.
  std::function<std::vector<std::string>()> lookAgain = nullptr;
};

// A pair of the file list, placed: the root and the way below it, which is the same on both sides.
struct PlacedPair {
  std::size_t root = 0;                 // in DeletionScope::roots
  std::vector<std::string> components;  // below the root's source and destination, at least one
};
// Nothing for a pair that this job would not write now: a place outside its sources and targets, a root itself, a
// destination that does not belong to the source (a damaged list), Trash and revision folders, unbelieved places.
[[nodiscard]] std::optional<PlacedPair> placePair(const DeletionScope& scope, std::string_view source,
                                                  std::string_view destination);

// Takes what lookAgain() tells into `unbelieved`.
void disbelieveVanished(DeletionScope& scope);
// Whether the absence of this place of a source would be believed: it neither lies in a gone mount nor held one.
[[nodiscard]] bool isBelieved(const DeletionScope& scope, std::string_view source);
// Whether the place lies in a target of the job, outside Trash and revision folders, and holds no target or source
// itself.
[[nodiscard]] bool mayBeDeleted(const DeletionScope& scope, std::string_view destination);

// Whether nothing of this name is ever deleted from a destination because the source does not have it: our own small
// and temporary files, Trash folders, "lost+found".
[[nodiscard]] bool isKeptName(const std::string& name);

// The names that a destination folder has and its completely listed source folder does not, by exact comparison. Names
// that are never copied count as missing in the source.
[[nodiscard]] std::vector<std::string> namesToDelete(const NameList& source, const NameList& destination);

}  // namespace lumisk
