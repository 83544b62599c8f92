#include "jobs/clone_checks.h"

#include <algorithm>

namespace lumisk {
namespace {

using Problem = std::optional<JobProblem>;

// A later mount hides an earlier one of the same place.
const MountEntry* mountAt(const std::string& path, const std::vector<MountEntry>& mounts) {
  const auto found =
      std::find_if(mounts.rbegin(), mounts.rend(), [&](const MountEntry& one) { return one.mountPoint == path; });
  return found == mounts.rend() ? nullptr : &*found;
}

Problem checkTarget(const std::string& path, const MountEntry& target) {
  if (path == "/") return JobProblem{path, "the running system is no target"};
  if (!target.source.starts_with("/dev/")) return JobProblem{path, "the target has no device of its own"};
  if (target.isReadOnly) return JobProblem{path, "the target is read-only"};
  return std::nullopt;
}

}  // namespace

std::optional<JobProblem> checkCloneJob(const std::string& name, const std::vector<std::string>& sources,
                                        const std::vector<std::string>& targets,
                                        const std::vector<MountEntry>& mounts) {
  if (name.ends_with("_1") || name.ends_with("_2")) return JobProblem{name, "a clone's name must not end in _1 or _2"};
  if (sources.size() != 1 || targets.size() != 1) return JobProblem{"clone", "give one source and one target"};
  const std::string& from = sources.front();
  const std::string& to = targets.front();
  const MountEntry* const source = mountAt(from, mounts);
  const MountEntry* const target = mountAt(to, mounts);
  if (!source || isPseudoFileSystem(source->fileSystem)) return JobProblem{from, "the source is no mounted volume"};
  if (!target || isPseudoFileSystem(target->fileSystem)) return JobProblem{to, "the target is no mounted volume"};
  if (source->device == target->device || source->source == target->source)
    return JobProblem{to, "source and target are the same volume"};
  return checkTarget(to, *target);
}

}  // namespace lumisk
