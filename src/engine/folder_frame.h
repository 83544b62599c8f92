#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <vector>

#include "engine/spellings.h"
#include "platform/catalog_info.h"
#include "platform/descriptor.h"
#include "platform/name_list.h"

namespace lumisk {

// What the walk knows of the destination folder of a pair.
enum class DestinationState : std::uint8_t {
  kAbsent,  // a run that only looks would make it here
  kNew,     // made by this run: nothing was in it
  kStood,   // stood before, and is listed whole
};

// What the walk does with the destination folder's own dates and permissions.
enum class FolderMetadata : std::uint8_t {
  kFromSource,
  kDateOnly,  // the rest stays its own
  kItsOwn,    // a root of the job, or the folder around a single file
};

// The statuses of a file that is the same on both sides, by type, size and date; unknown while their types are.
struct SameOnBoth {
  FileStatus source;
  FileStatus standing;
};

// A pair of folders that the walk is in.
struct FolderFrame {
  // Both are closed while the walk is far below, and opened again before it comes back.
  Descriptor source;
  Descriptor destination;  // never open when kAbsent
  CatalogInfo sourceInfo;  // from before its entries were read; a run that only looks reads the status alone
  FileStatus destinationStatus;
  NameList sourceNames;
  NameList destinationNames;     // of kStood
  std::vector<SameOnBoth> same;  // by the source's names, the first of them; what was read ahead of the walk
  std::chrono::steady_clock::time_point sameUntil{};  // when that is too old
  std::unique_ptr<Spellings> spellings;               // made when a name is met that has another spelling there
  DestinationState destinationState = DestinationState::kAbsent;
  FolderMetadata metadata = FolderMetadata::kFromSource;
  // Whether what is made in the destination starts without attributes; unknown until it is asked for.
  std::optional<bool> entriesStartBare;
  std::optional<FileStatus> folderAsMade;  // the last one that was made in the destination, unless it may inherit

  std::size_t next = 0;      // the source's name that comes next
  std::size_t passedBy = 0;  // of the names so far, those that are never copied
  int layer = 0;
  bool isPackageUnit = false;  // raised m_nFilterCount
  bool isSingleEntry = false;  // stands for one file, not for all that the folders hold
  bool isReadyForWriting = false;
  bool wasMadeWritable = false;  // has a mode that it must not keep
  bool isLost = false;           // could not be opened again: nothing more is done in it

  [[nodiscard]] bool hasNext() const { return next < sourceNames.size(); }
  [[nodiscard]] const SameOnBoth* sameAt(std::size_t index) const {
    return index < same.size() && same[index].source.type != FileType::kUnknown ? &same[index] : nullptr;
  }
  [[nodiscard]] const FileStatus& sourceStatus() const { return sourceInfo.status; }
};

}  // namespace lumisk
