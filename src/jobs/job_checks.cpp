#include "jobs/job_checks.h"

#include <algorithm>
#include <set>

#include "jobs/place_on_disk.h"
#include "platform/paths.h"
#include "platform/workspace.h"

namespace lumisk {
namespace {

using Problem = std::optional<JobProblem>;

constexpr std::size_t kLongestFileName = 255;
constexpr std::size_t kFileListSuffix = sizeof(".qellumiskdat") - 1;

bool hasControlCharacter(const std::string& text) {
  return std::any_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x20 || c == 0x7f; });
}

Problem checkPath(const std::string& path) {
  if (path.empty()) return JobProblem{path, "a path is empty"};
  if (path.front() != '/') return JobProblem{path, "the path is not absolute"};
  if (path.find('\0') != std::string::npos) return JobProblem{path, "the path holds a NUL"};
  for (const std::string& part : paths::components(path)) {
    if (part == "." || part == "..") return JobProblem{path, "the path holds \"" + part + "\""};
  }
  return std::nullopt;
}

Problem checkSourceNames(const std::vector<std::string>& sources) {
  std::set<std::string> names;
  for (const std::string& source : sources) {
    const std::string name = paths::lastComponent(source);
    if (name == "Revision") return JobProblem{source, "a source must not be called \"Revision\""};
    if (!names.insert(name).second) return JobProblem{source, "two sources have the same name"};
  }
  return std::nullopt;
}

// All the places of one job. Source i is carried to, or somewhere below, copies_[i], which lies in, or is, targetOf(i).
class JobPlaces {
 public:
  JobPlaces(FileCalls& files, JobType type, const std::vector<std::string>& sources,
            const std::vector<std::string>& targets, const std::string& copyFolder)
      : type_(type),
        keepsFullPaths_(!copyFolder.empty()),
        ownCopyIsLeftOut_(isSync(type) && keepsFullPaths_ && sources.size() == 1) {
    for (const std::string& target : targets) targets_.push_back(findPlace(files, target));
    for (std::size_t i = 0; i < sources.size(); ++i) {
      sources_.push_back(findPlace(files, sources[i]));
      copies_.push_back(findPlace(files, copyPath(sources[i], targetOf(i).path, copyFolder)));
    }
    for (const PlaceOnDisk& target : targets_)
      revisions_.push_back(findPlace(files, paths::join(target.path, "Revision")));
  }

  Problem check() const {
    if (Problem found = checkTargets()) return found;
    if (type_ == JobType::kClone) return checkClone();
    if (Problem found = checkSources()) return found;
    return checkMergedSources();
  }

 private:
  const PlaceOnDisk& targetOf(std::size_t source) const { return targets_[targets_.size() > 1 ? source : 0]; }

  std::string copyPath(const std::string& source, const std::string& target, const std::string& copyFolder) const {
    if (!copyFolder.empty()) return paths::join(target, copyFolder);
    return type_ == JobType::kSyncWithConflicts ? target : paths::join(target, paths::lastComponent(source));
  }

  Problem checkTargets() const {
    for (const PlaceOnDisk& target : targets_) {
      if (target.exists() && target.type != FileType::kFolder) return JobProblem{target.path, "the target is a file"};
      for (const PlaceOnDisk& source : sources_) {
        if (isSamePlace(source, target)) return JobProblem{target.path, "source and target are the same folder"};
      }
    }
    return std::nullopt;
  }

  Problem checkClone() const {
    for (std::size_t i = 0; i < sources_.size(); ++i) {
      const PlaceOnDisk& source = sources_[i];
      const PlaceOnDisk& target = targetOf(i);
      if (isInsideOrSame(source, target)) return JobProblem{source.path, "the source lies inside the target"};
      const bool sameDisk =
          source.chain.empty() || target.chain.empty() || source.chain.front().device == target.chain.front().device;
      if (sameDisk && isInsideOrSame(target, source))
        return JobProblem{target.path, "the target lies inside the source"};
    }
    return std::nullopt;
  }

  // Any source with any target and any copy: what one source's copy receives must not be what another source holds.
  Problem checkSources() const {
    for (const PlaceOnDisk& source : sources_) {
      for (std::size_t i = 0; i < sources_.size(); ++i) {
        if (Problem found = checkPair(source, targetOf(i), copies_[i])) return found;
      }
      for (const PlaceOnDisk& revisions : revisions_) {
        if (type_ != JobType::kSyncWithConflicts && isInsideOrSame(source, revisions))
          return JobProblem{source.path, "the source lies inside the target's revisions"};
      }
    }
    return std::nullopt;
  }

  Problem checkPair(const PlaceOnDisk& source, const PlaceOnDisk& target, const PlaceOnDisk& copy) const {
    if (isInsideOrSame(source, copy)) return JobProblem{source.path, "the source lies where the copies go"};
    if (ownCopyIsLeftOut_) return std::nullopt;
    if (isInsideOrSame(target, source)) return JobProblem{target.path, "the target lies inside the source"};
    if (isInsideOrSame(copy, source)) return JobProblem{source.path, "the copy would lie inside the source"};
    return std::nullopt;
  }

  // Sources that all receive all that is in their target: one inside the other would grow with every run.
  Problem checkMergedSources() const {
    if (type_ != JobType::kSyncWithConflicts || keepsFullPaths_ || targets_.size() > 1) return std::nullopt;
    for (std::size_t i = 0; i < sources_.size(); ++i) {
      for (std::size_t j = 0; j < sources_.size(); ++j) {
        if (i != j && isInsideOrSame(sources_[i], sources_[j]))
          return JobProblem{sources_[i].path, "one source lies inside another"};
      }
    }
    return std::nullopt;
  }

  JobType type_;
  bool keepsFullPaths_;
  bool ownCopyIsLeftOut_;
  std::vector<PlaceOnDisk> sources_, targets_, copies_, revisions_;
};

}  // namespace

std::optional<JobProblem> checkJobName(const std::string& name) {
  if (name.empty()) return JobProblem{name, "the name is empty"};
  if (name == "." || name == "..") return JobProblem{name, "the name is reserved"};
  if (name.find('/') != std::string::npos) return JobProblem{name, "the name holds a slash"};
  if (hasControlCharacter(name)) return JobProblem{name, "the name holds a control character"};
  if (name.size() + kFileListSuffix > kLongestFileName) return JobProblem{name, "the name is too long"};
  return std::nullopt;
}

std::optional<JobProblem> checkJobPaths(const QUORVELPREFERENCEINFO& job) {
  if (job.sourcePaths.empty()) return JobProblem{job.name, "there is no source"};
  if (job.targetPaths.empty()) return JobProblem{job.name, "there is no target"};
  if (job.targetPaths.size() != 1 && job.targetPaths.size() != job.sourcePaths.size())
    return JobProblem{job.name, "there must be one target, or one for each source"};
  for (const std::string& source : job.sourcePaths) {
    if (Problem found = checkPath(source)) return found;
  }
  for (const std::string& target : job.targetPaths) {
    if (Problem found = checkPath(target)) return found;
  }
  return checkSourceNames(job.sourcePaths);
}

std::optional<JobProblem> checkJobFolders(FileCalls& files, JobType type, bool retainFullPath,
                                          const std::vector<std::string>& sources,
                                          const std::vector<std::string>& targets, const std::string& computerName) {
  if (sources.empty() || targets.empty() || (targets.size() > 1 && targets.size() != sources.size()))
    return JobProblem{"", "there must be one target, or one for each source"};
  std::string copyFolder;  // in the target, of jobs that retain full paths
  if (retainFullPath) copyFolder = computerName.empty() ? workspace::computerName() : computerName;
  return JobPlaces(files, type, sources, targets, copyFolder).check();
}

}  // namespace lumisk
