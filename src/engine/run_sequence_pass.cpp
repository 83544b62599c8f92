#include <algorithm>
#include <chrono>

#include "engine/folder_path.h"
#include "engine/full_path.h"
#include "engine/run_sequence.h"
#include "platform/paths.h"

// A run that is restricted to folders that have changed.

namespace lumisk {
namespace {

FileTime fileTimeOf(WallTime time) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  const auto rest = std::chrono::duration_cast<std::chrono::nanoseconds>(time - whole);
  return {whole.time_since_epoch().count(), static_cast<std::uint32_t>(rest.count())};
}

}  // namespace

std::string placeOf(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info, const std::string& source,
                    const std::string& target, SourceKind kind) {
  if (info.bRetainFullPath)
    return target + getFullPathRetainSourcePath(source, {info.computerName, info.rootDisplayName});
  // Such a job keeps the contents of two folders alike, not a folder within the other.
  if (info.jobType == JobType::kSyncWithConflicts && kind == SourceKind::kFolder) return target;
  return paths::join(target, paths::lastComponent(source));
}

const std::string& targetOf(const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info, std::size_t source) {
  return info.targetPaths[info.bMultipleTargetFolder ? source : 0];
}

std::vector<ListenedPlace> listenedPlaces(FileCalls& files, const QUORVELPREFERENCEINFOtag_CopyFileObjectPart& info) {
  std::vector<ListenedPlace> places;
  const bool isWhole = !info.bMultipleTargetFolder || info.targetPaths.size() == info.sourcePaths.size();
  if (info.targetPaths.empty() || !isWhole) return places;
  for (std::size_t k = 0; k < info.sourcePaths.size(); ++k) {
    const std::string& source = info.sourcePaths[k];
    const auto kind = checkSource(files, source).value_or(SourceKind::kFolder);
    places.push_back({source, placeOf(info, source, targetOf(info, k), kind), kind == SourceKind::kFolder});
  }
  return places;
}

std::vector<RunSequence::Pair> RunSequence::chooseParts() {
  const auto& info = run_.info;
  std::vector<std::string> folders;
  for (const std::string& folder : request_.listenedFolders)
    if (checkListenedDirectory(folder, info)) folders.push_back(folder);
  std::vector<Pair> chosen;
  for (const ListenedPart& part :
       createSourceArrayFromListenedDir(folders, listenedPlaces(run_.files, info), info.jobType, info.bDealPackage))
    chosen.push_back({info.sourcePaths[part.place], targetOf(info, part.place), part.below});
  return chosen;
}

// What stands on one side only is the business of the folder around it.
void RunSequence::narrowParts() {
  if (!isPass()) return;
  const auto& sources = run_.info.sourcePaths;
  std::vector<ListenedPart> parts;
  for (const Pair& pair : pairs_) {
    const auto kind = checkSource(run_.files, pair.source).value_or(SourceKind::kFolder);
    const auto place = std::find(sources.begin(), sources.end(), pair.source) - sources.begin();
    parts.push_back({static_cast<std::size_t>(place), standingPart(pair, oppositeOf(pair, kind))});
  }
  pairs_.clear();
  for (const ListenedPart& part : prunedParts(std::move(parts)))
    pairs_.push_back({sources[part.place], targetOf(run_.info, part.place), part.below});
}

// Its folders are looked up one by one, so that no link leads out of the job.
std::string RunSequence::standingPart(const Pair& pair, const std::string& opposite) const {
  const auto here = run_.files.openRoot(pair.source);
  const auto there = run_.files.openRoot(opposite);
  if (!here || !there) return {};
  std::string part = pair.part;
  const auto stands = [&](const Descriptor& root) { return openFolderBelow(run_.files, root.get(), part).has_value(); };
  while (!part.empty() && !(stands(*here) && stands(*there))) part = paths::parent(part);
  return part;
}

void RunSequence::countParts() {
  std::uint64_t total = 0;
  for (const Pair& pair : pairs_)
    total += calculateDirectoryNumbers(run_, paths::join(pair.source, pair.part), kLayers);
  run_.m_nFileTotal = total;
  run_.m_nFileCount = 0;
}

void RunSequence::notePass() {
  if (!isSync(run_.info.jobType)) return;
  const CompletedRun pass{fileTimeOf(request_.begin), fileTimeOf(walkEnd_)};
  for (const Pair& pair : pairs_) {
    const auto kind = checkSource(run_.files, pair.source).value_or(SourceKind::kFolder);
    memory_.passes.add(paths::join(pair.source, pair.part), paths::join(oppositeOf(pair, kind), pair.part), pass);
  }
}

}  // namespace lumisk
