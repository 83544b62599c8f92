#include "engine/auto_deletion.h"

#include <cerrno>

#include "engine/copy_rule.h"
#include "engine/entry_removal.h"
#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

// Which of the targets a path lies in, when it lies in one.
std::size_t targetOf(const DeletionScope& scope, const std::string& path) {
  std::size_t target = 0;
  while (target + 1 < scope.targets.size() && !paths::isInside(path, scope.targets[target])) ++target;
  return target;
}

std::vector<std::string> componentsBelow(const std::string& path, const std::string& folder) {
  const auto components = paths::components(path);
  const auto count = static_cast<std::ptrdiff_t>(paths::components(folder).size());
  return {components.begin() + count, components.end()};
}

}  // namespace

AutoDeletion::AutoDeletion(RunState& run, Trash& trash, DeletionScope scope, std::string listFolder)
    : run_(run), trash_(trash), scope_(std::move(scope)), listFolder_(std::move(listFolder)) {
  for (const CarriedRoot& root : scope_.roots) roots_.push_back(run_.files.openRoot(root.source));
  for (const std::string& target : scope_.targets) targets_.push_back(run_.files.openRoot(target));
}

void AutoDeletion::autoDeleteion(const std::function<bool(const DeletionPlan&)>& mayProceed) {
  const auto planned = plan();
  if (!planned) {
    if (planned.error().code != ENOENT) complainAboutList(planned.error());
    return;
  }
  if (mayProceed(*planned))
    carryOut(*planned);
  else
    run_.counts.held += planned->deletions;
}

Result<DeletionPlan> AutoDeletion::plan() {
  FileList list(run_.files, listFolder_);
  LUMISK_CHECK(list.openFilelist(run_.info.name, FileListMode::kRead));
  disbelieveVanished(scope_);
  DeletionPlan planned;
  while (!run_.mustStop()) {
    lookAgainAfterPause();
    LUMISK_TRY(const auto pair, list.readPair());
    if (!pair) break;
    ++planned.pairs;
    const auto doomed = judge(*pair);
    planned.deletions += doomed && *doomed ? 1 : 0;
    planned.unproven += doomed ? 0 : 1;
  }
  return planned;
}

void AutoDeletion::carryOut(const DeletionPlan& plan) {
  FileList list(run_.files, listFolder_);
  if (auto opened = list.openFilelist(run_.info.name, FileListMode::kRead); !opened) return;
  const char* job = run_.info.name.c_str();
  run_.log.write("%s: Auto deletion starting . . . %d\n", job, static_cast<int>(list.recordCount()));
  const bool isIdle = plan.deletions + plan.unproven == 0;
  const Passed passed = isIdle ? Passed{plan.pairs * 2, 0} : deleteListed(list, plan);
  run_.log.write("%s: Auto deletion stopped ---- %d, %d\n", job, static_cast<int>(passed.records),
                 static_cast<int>(passed.deleted));
}

AutoDeletion::Passed AutoDeletion::deleteListed(FileList& list, const DeletionPlan& plan) {
  Passed passed;
  while (!run_.mustStop()) {
    lookAgainAfterPause();
    const auto pair = list.readPair();
    if (!pair) complainAboutList(pair.error());
    if (!pair || !*pair) break;
    passed.records += 2;
    const auto doomed = judge(**pair);
    if (!doomed) complain((*pair)->source, doomed.error());
    if (!doomed || !*doomed) continue;
    disbelieveVanished(scope_);
    if (!isBelieved(scope_, (*pair)->source)) continue;
    if (passed.deleted >= plan.deletions)
      ++run_.counts.held;
    else if (remove(**doomed))
      ++passed.deleted;
  }
  return passed;
}

void AutoDeletion::lookAgainAfterPause() {
  if (run_.waitWhilePaused()) source_.reset();
}

// Nothing when the destination is to stay.
Result<std::optional<AutoDeletion::Doomed>> AutoDeletion::judge(const FileList::Pair& pair) {
  const auto placed = placePair(scope_, pair.source, pair.destination);
  if (!placed) return std::nullopt;
  LUMISK_TRY(const bool gone, isGone(placed->root, placed->components));
  if (!gone) return std::nullopt;
  return findDestination(pair.destination);
}

// Twice proven: the system says so, and so does a complete listing, of a disk that is there.
Result<bool> AutoDeletion::isGone(std::size_t root, const std::vector<std::string>& components) {
  if (!roots_[root]) return fail(roots_[root].error());
  if (!source_ || sourceRoot_ != root) source_.emplace(run_.files, roots_[root]->get());
  sourceRoot_ = root;
  const auto found = source_->find(components);
  if (!found && found.error().code == ENOTDIR) return false;  // the walk sees to what stands there now
  if (!found) return fail(found.error());
  if (found->status) return false;
  LUMISK_TRY(const bool isListed, source_->lists(found->name));
  if (!isListed) LUMISK_CHECK(run_.files.checkDisk(found->folder));
  return !isListed;
}

// From the target down each time: what was deleted before must not be met again in the Trash.
Result<std::optional<AutoDeletion::Doomed>> AutoDeletion::findDestination(const std::string& path) {
  const std::size_t target = targetOf(scope_, path);
  if (!targets_[target]) return fail(targets_[target].error());
  destination_.emplace(run_.files, targets_[target]->get());
  const auto found = destination_->find(componentsBelow(path, scope_.targets[target]));
  if (!found && found.error().code == ENOTDIR) return std::nullopt;
  if (!found) return fail(found.error());
  if (!found->status) return std::nullopt;
  return Doomed{Place{found->folder, found->name, path}, *found->status};
}

bool AutoDeletion::remove(const Doomed& doomed) {
  if (!run_.dryRun) {
    if (auto discarded = discardEntry(run_, trash_, doomed.place, doomed.standing); !discarded) {
      run_.log.write("%s: ERROR: Failed to delete \"%s\"\n error: %s\n", run_.info.name.c_str(),
                     shown(doomed.place.path).c_str(), shown(discarded.error().text()).c_str());
      run_.noteError(RunError::kFileCopy);
      return false;
    }
    run_.log.write("%s: Auto deletion . . . %s\n", run_.info.name.c_str(), shown(doomed.place.path).c_str());
  }
  ++run_.counts.deleted;
  if (run_.onEntry) run_.onEntry(EntryOutcome::kDeleted, doomed.place.path, "not in the source");
  return true;
}

void AutoDeletion::syncDirectory(const ListedFolder& source, const ListedFolder& destination,
                                 const std::function<void(const Doomed&)>& tell) {
  const auto names = namesToDelete(source.names, destination.names);
  if (names.empty()) return;
  const SpellingIndex spellings = indexSpellings(source.names);
  for (const std::string& name : names) {
    if (run_.mustStop()) return;
    const auto doomed = judgeEntry(source, destination, name, spellings);
    if (!doomed) complain(paths::join(destination.path, name), doomed.error());
    if (doomed && *doomed) tell(**doomed);
  }
}

Result<std::optional<AutoDeletion::Doomed>> AutoDeletion::judgeEntry(const ListedFolder& source,
                                                                     const ListedFolder& destination,
                                                                     const std::string& name,
                                                                     const SpellingIndex& spellings) {
  const std::string path = paths::join(destination.path, name);
  if (!isBelieved(scope_, paths::join(source.path, name)) || !mayBeDeleted(scope_, path)) return std::nullopt;
  const auto made = run_.files.status(source.folder, name);
  if (made && !isSkippedName(name)) return std::nullopt;  // since the folder was listed
  if (!made && made.error().code != ENOENT) return fail(made.error());
  const auto standing = run_.files.status(destination.folder, name);
  if (!standing && standing.error().code == ENOENT) return std::nullopt;
  if (!standing) return fail(standing.error());
  LUMISK_TRY(const bool isCarried, isCarriedUnderOtherSpelling(destination.folder, name, *standing, spellings));
  if (isCarried) return std::nullopt;
  return Doomed{Place{destination.folder, name, path}, *standing};
}

AutoDeletion::SpellingIndex AutoDeletion::indexSpellings(const NameList& names) {
  SpellingIndex spellings;
  for (std::size_t i = 0; i < names.size(); ++i)
    if (!isSkippedName(std::string(names.name(i)))) spellings.emplace(foldedName(names.name(i)), names.name(i));
  return spellings;
}

// A file system that changes the spelling of names (letter case, accents) lists a carried file under another name.
Result<bool> AutoDeletion::isCarriedUnderOtherSpelling(int folder, const std::string& name, const FileStatus& standing,
                                                       const SpellingIndex& spellings) {
  const auto [begin, end] = spellings.equal_range(foldedName(name));
  for (auto spelling = begin; spelling != end; ++spelling) {
    const auto other = run_.files.status(folder, std::string(spelling->second));
    if (!other && other.error().code != ENOENT) return fail(other.error());
    if (other && other->identity == standing.identity) return true;
  }
  return false;
}

// Without a list nothing is deleted, which harms no file.
void AutoDeletion::complainAboutList(const Error& error) {
  run_.log.write("%s: ERROR: Failed to read the list of the last run's files\n error: %s\n", run_.info.name.c_str(),
                 shown(error.text()).c_str());
}

void AutoDeletion::complain(const std::string& path, const Error& error) {
  const std::string folder = paths::parent(path);
  if (paths::isInside(folder, lastComplaint_)) return;
  lastComplaint_ = folder;
  run_.noteError(RunError::kFileCopy);
  run_.log.write("%s: ERROR: Failed to find out whether \"%s\" was deleted\n error: %s\n", run_.info.name.c_str(),
                 shown(path).c_str(), shown(error.text()).c_str());
}

}  // namespace lumisk
