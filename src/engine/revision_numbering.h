#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include "engine/full_path.h"

namespace lumisk {

// Where the revisions of a file lie and what they are called: pure functions of names.

inline constexpr const char* kRevisionFolderName = "Revision";

// The folders below the first target, from "Revision" on, that hold the revisions of the file at `path`: those of its
// place in the target, rebuilt. What lies elsewhere (the source of a two-way job, another target) is spelled with its
// full path, so that no two places share a folder.
[[nodiscard]] std::vector<std::string> revisionFolders(const std::string& path, const std::string& firstTarget,
                                                       const PlaceNames& names);

using ListedNames = std::unordered_set<std::string>;

// The first number from 1 on without a revision of the file.
[[nodiscard]] int firstFreeNumber(const ListedNames& listed, const std::string& fileName);

// A renumbering that moves every revision one down begins by putting the newest beyond the limit, so one that was
// interrupted shows as a free number up to the limit with the one beyond it taken. The free number then, else 0. (A
// number that the user freed has nothing beyond the limit: it is simply filled.)
[[nodiscard]] int interruptedNumber(const ListedNames& listed, const std::string& fileName, int limit);

}  // namespace lumisk
