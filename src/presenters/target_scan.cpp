#include "presenters/target_scan.h"

#include <map>
#include <optional>

#include "engine/full_path.h"
#include "engine/type_filter.h"
#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

using Job = QUORVELPREFERENCEINFO;

// Folders inside folders are held open: no deeper than descriptors last.
constexpr int kDeepest = 200;

std::string textOfKey(const Job& job, const char* key) {
  const auto found = job.otherKeys.find(key);
  return found == job.otherKeys.end() ? std::string() : found->second.text();
}

std::string copyOf(const Job& job, const std::string& source, const std::string& target) {
  if (job.jobType == JobType::kClone) return target;
  if (job.bRetainFullPath)
    return target +
           getFullPathRetainSourcePath(source, {textOfKey(job, kComputerNameKey), textOfKey(job, kRootDisplayNameKey)});
  if (job.jobType == JobType::kSyncWithConflicts) return target;
  return paths::join(target, paths::lastComponent(source));
}

bool isLeftOut(const std::string& name) {
  return name == "lost+found" || name == ".Trash" || name.starts_with(".Trash-") || name.starts_with(".lumisk-");
}

class TargetScan {
 public:
  TargetScan(FileCalls& files, const ScanOrder& order, const std::function<bool()>& isCancelled,
             const std::function<void(const TargetNeed&)>& progress)
      : files_(files), order_(order), isCancelled_(isCancelled), progress_(progress) {}

  TargetNeed run() {
    for (const ScanPair& pair : order_.pairs) root(pair);
    return std::move(need_);
  }

 private:
  struct Folder {
    const Descriptor& source;
    const std::optional<Descriptor>& copy;  // nothing: not there yet
    std::string path;
    int depth;
  };

  [[nodiscard]] bool isOver() {
    if (need_.entries >= order_.mostEntries) need_.isBounded = true;
    return need_.isBounded || isCancelled_();
  }

  // A source may be a file: then its copy lies in the folder that the copy's path names.
  void root(const ScanPair& pair) {
    if (const auto copy = files_.openRoot(pair.copy))
      if (const auto status = files_.statusOf(copy->get())) copies_.insert(status->identity);
    const std::string name = paths::lastComponent(pair.source);
    if (auto source = files_.openRoot(pair.source)) {
      note(pair.source, misfitOf(order_.traits, name, FileType::kFolder, 0));
      return contents({*source, opened(pair.copy), pair.source, 0});
    }
    const auto parent = files_.openRoot(paths::parent(pair.source));
    if (!parent) return unreadable();
    entry({*parent, opened(paths::parent(pair.copy)), paths::parent(pair.source), 0}, {name, FileType::kUnknown});
  }

  void contents(const Folder& folder) {
    std::vector<FolderEntry> entries;
    if (!files_.listFolder(folder.source.get(), entries)) return unreadable();
    std::map<std::string, std::string> seen;
    for (const FolderEntry& found : entries) {
      if (isOver()) return;
      if (isLeftOut(found.name)) continue;
      if (order_.traits.foldsNames && !seen.emplace(foldedName(found.name), found.name).second)
        note(paths::join(folder.path, found.name), Misfit::kSameName);
      entry(folder, found);
    }
    progress_(need_);
  }

  void entry(const Folder& folder, const FolderEntry& found) {
    const auto status = files_.status(folder.source.get(), found.name);
    if (!status) return unreadable();
    ++need_.entries;
    const bool isFolder = status->type == FileType::kFolder;
    if (isFolder && copies_.contains(status->identity)) return;
    if (status->isMountRoot && order_.leftOutDevices.contains(status->identity.device)) return;
    if (!isFolder && !fileTypeFilter(found.name, order_.inclusion, order_.exclusion)) return;
    note(paths::join(folder.path, found.name), misfitOf(order_.traits, found.name, status->type, status->size));
    if (isFolder) return subFolder(folder, found.name);
    if (status->type == FileType::kRegular) file(folder, found.name, *status);
  }

  void subFolder(const Folder& folder, const std::string& name) {
    if (folder.depth >= kDeepest) return unreadable();
    const auto source = files_.openFolder(folder.source.get(), name);
    if (!source) return unreadable();
    std::optional<Descriptor> copy;
    if (folder.copy)
      if (auto found = files_.openFolder(folder.copy->get(), name)) copy = std::move(*found);
    contents({*source, copy, paths::join(folder.path, name), folder.depth + 1});
  }

  // The copy rule compares dates at the target's granularity; two seconds pass for the same on all.
  void file(const Folder& folder, const std::string& name, const FileStatus& source) {
    if (folder.copy) {
      if (const auto copy = files_.status(folder.copy->get(), name); copy && copy->type == FileType::kRegular) {
        const auto apart = source.modified.seconds - copy->modified.seconds;
        if (copy->size == source.size && apart >= -2 && apart <= 2) return;
        need_.replacedBytes += copy->size;
      }
    }
    need_.bytes += source.size;
    ++need_.files;
  }

  std::optional<Descriptor> opened(const std::string& path) {
    auto folder = files_.openRoot(path);
    return folder ? std::optional(std::move(*folder)) : std::nullopt;
  }
  void note(const std::string& path, Misfit misfit) {
    if (misfit == Misfit::kNone) return;
    ++need_.misfitCount;
    if (need_.misfits.size() < kMostMisfits) need_.misfits.push_back({path, misfit});
  }
  void unreadable() { need_.hasUnreadable = true; }

  FileCalls& files_;
  const ScanOrder& order_;
  const std::function<bool()>& isCancelled_;
  const std::function<void(const TargetNeed&)>& progress_;
  std::set<FileIdentity> copies_;
  TargetNeed need_;
};

}  // namespace

std::vector<ScanPair> scanPairs(const Job& job, const std::string& target) {
  std::vector<ScanPair> pairs;
  for (std::size_t i = 0; i < job.sourcePaths.size(); ++i) {
    const std::size_t own = job.targetPaths.size() > 1 ? i : 0;
    if (own < job.targetPaths.size() && job.targetPaths[own] == target)
      pairs.push_back({job.sourcePaths[i], copyOf(job, job.sourcePaths[i], target)});
  }
  return pairs;
}

TargetNeed scanForTarget(FileCalls& files, const ScanOrder& order, const std::function<bool()>& isCancelled,
                         const std::function<void(const TargetNeed&)>& progress) {
  return TargetScan(files, order, isCancelled, progress).run();
}

}  // namespace lumisk
