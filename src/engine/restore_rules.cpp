#include "engine/restore_rules.h"

#include <cerrno>
#include <cstring>

#include "engine/info_files.h"
#include "engine/revision_numbering.h"
#include "platform/catalog_info.h"

namespace lumisk {
namespace {

constexpr std::size_t kBlock = 128 * 1024;

// A whole block but for the end of the file.
Result<std::size_t> readBlock(FileCalls& files, int file, std::vector<std::byte>& block) {
  std::size_t filled = 0;
  while (filled < block.size()) {
    LUMISK_TRY(const std::size_t size, files.read(file, std::span(block).subspan(filled)));
    if (size == 0) break;
    filled += size;
  }
  return filled;
}

Result<bool> haveSameBytes(const RunState& run, int a, int b) {
  std::vector<std::byte> ofA(kBlock), ofB(kBlock);
  for (;;) {
    if (run.mustStop()) return fail("compare", "", ECANCELED);
    LUMISK_TRY(const std::size_t size, readBlock(run.files, a, ofA));
    LUMISK_TRY(const std::size_t other, readBlock(run.files, b, ofB));
    if (size != other || std::memcmp(ofA.data(), ofB.data(), size) != 0) return false;
    if (size < kBlock) return true;
  }
}

Result<bool> areSame(const RunState& run, const Place& version, const Place& standing, Sameness sameness) {
  FileCalls& files = run.files;
  LUMISK_TRY(const Descriptor ofVersion, files.openFile(version.folder, version.name));
  LUMISK_TRY(const Descriptor there, files.openFile(standing.folder, standing.name));
  LUMISK_TRY(const CatalogInfo wanted, readCatalogInfo(files, ofVersion.get()));
  LUMISK_TRY(const CatalogInfo found, readCatalogInfo(files, there.get()));
  if (wanted.status.type != FileType::kRegular || found.status.type != FileType::kRegular) return false;
  if (wanted.status.size != found.status.size) return false;
  if (sameness == Sameness::kAll && !sameCatalogInfo(found, wanted)) return false;
  return haveSameBytes(run, ofVersion.get(), there.get());
}

}  // namespace

bool isSameFile(const RunState& run, const Place& version, const Place& standing, Sameness sameness) {
  const auto same = areSame(run, version, standing, sameness);
  return same && *same;
}

// A target that a source fills holds what is the job's own besides.
WalkVerdict RestoreRules::folderFound(FrameStack& at, const WalkEntry& entry) {
  const bool isJobsOwn = entry.name == kRevisionFolderName && at.sourcePath() == target_;
  return isJobsOwn ? WalkVerdict::kSettled : WalkVerdict::kGoOn;
}

WalkVerdict RestoreRules::missingAtDestination(FrameStack&, const WalkEntry& entry) {
  return isInfoFileName(entry.name) ? WalkVerdict::kSettled : WalkVerdict::kGoOn;
}

std::optional<CopyDecision> RestoreRules::presentAtBoth(FrameStack& at, const WalkEntry& entry, CopyDecision decision) {
  if (isInfoFileName(entry.name)) return std::nullopt;
  if (entry.source.type != FileType::kRegular) return decision;  // of links, only those that differ come here
  const bool isSame =
      entry.standing->type == FileType::kRegular &&
      isSameFile(run_, at.sourcePlace(entry.name), at.destinationPlace(entry.destinationName), sameness_);
  if (isSame) return CopyDecision{CopyVerdict::kUnchanged, "unchanged"};
  return CopyDecision{CopyVerdict::kReplace, "differs"};
}

}  // namespace lumisk
