#pragma once

#include <string>
#include <vector>

#include "platform/file_calls.h"

// Where a path lies, by the identities of the folders above it. Only for the sources of this folder.
namespace lumisk {

struct PlaceOnDisk {
  std::string path;
  // The path itself, or its nearest existing ancestor, then the folders above that one up to the root.
  std::vector<FileIdentity> chain;
  std::vector<std::string> missing;  // components of the path below the first of the chain
  FileType type = FileType::kUnknown;
  bool chainEnds = false;  // the chain reaches the root; without, a folder above could not be opened

  [[nodiscard]] bool exists() const { return !chain.empty() && missing.empty(); }
};

// Links are followed, as far as they lead to folders. Never fails: what cannot be looked at counts as missing.
[[nodiscard]] PlaceOnDisk findPlace(FileCalls& files, const std::string& path);

[[nodiscard]] bool isSamePlace(const PlaceOnDisk& a, const PlaceOnDisk& b);
[[nodiscard]] bool isInsideOrSame(const PlaceOnDisk& place, const PlaceOnDisk& folder);

}  // namespace lumisk
