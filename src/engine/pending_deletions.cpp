#include "engine/pending_deletions.h"

#include <algorithm>
#include <cerrno>

#include "engine/entry_removal.h"
#include "engine/folder_path.h"
#include "platform/byte_text.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

std::string pathOf(const std::string& rootPath, const PendingDeletion& deletion) {
  const std::string folder = deletion.folder.empty() ? rootPath : paths::join(rootPath, deletion.folder);
  return paths::join(folder, deletion.name);
}

void noteFailure(RunState& run, const std::string& path, const Error& error) {
  run.log.write("%s: ERROR: Failed to delete \"%s\", it stays: %s\n", run.info.name.c_str(), displayText(path).c_str(),
                error.text().c_str());
  run.noteError(RunError::kFileCopy);
  if (run.onEntry) run.onEntry(EntryOutcome::kFailed, path, "could not be deleted");
}

}  // namespace

void PendingDeletions::add(PendingDeletion deletion) {
  entries_ += deletion.entries;
  deletions_.push_back(std::move(deletion));
}

void PendingDeletions::dropVanished(FileCalls& files, int root) {
  std::erase_if(deletions_, [&](const PendingDeletion& one) {
    const auto folder = openFolderBelow(files, root, one.folder);
    if (!folder) return folder.error().code == ENOENT;
    const auto status = files.status(folder->get(), one.name);
    return status ? status->identity != one.standing.identity : status.error().code == ENOENT;
  });
  entries_ = 0;
  for (const PendingDeletion& one : deletions_) entries_ += one.entries;
}

void PendingDeletions::carryOut(RunState& run, Trash& trash, int root, const std::string& rootPath,
                                const Confirm& confirm) {
  std::stable_sort(deletions_.begin(), deletions_.end(),
                   [](const PendingDeletion& a, const PendingDeletion& b) { return a.folder < b.folder; });
  for (auto first = deletions_.begin(); first != deletions_.end() && !run.mustStop();) {
    const auto last =
        std::find_if(first, deletions_.end(), [&](const PendingDeletion& one) { return one.folder != first->folder; });
    // Not within a folder: what has been proven for it would grow old.
    run.waitWhilePaused();
    if (!run.mustStop()) carryOutFolder(run, trash, root, rootPath, {first, last}, confirm);
    first = last;
  }
  deletions_.clear();
  entries_ = 0;
}

void PendingDeletions::carryOutFolder(RunState& run, Trash& trash, int root, const std::string& rootPath,
                                      std::vector<PendingDeletion> due, const Confirm& confirm) {
  const std::string relative = due.front().folder;
  const std::string folderPath = relative.empty() ? rootPath : paths::join(rootPath, relative);
  const auto folder = openFolderBelow(run.files, root, relative);
  if (!folder) return noteFailure(run, folderPath, folder.error());
  const auto before = run.files.statusOf(folder->get());
  if (!before) return noteFailure(run, folderPath, before.error());
  if (const auto confirmed = confirm(folder->get(), relative, due); !confirmed)
    return noteFailure(run, folderPath, confirmed.error());
  for (const PendingDeletion& deletion : due) {
    if (run.mustStop()) break;
    const std::string path = pathOf(rootPath, deletion);
    const Place place{folder->get(), deletion.name, path};
    const auto done = discardEntry(run, trash, place, deletion.standing, deletion.mayRemove);
    if (!done && done.error().code == ENOENT) continue;  // somebody else was faster
    if (!done && done.error().code == ECANCELED) break;
    if (!done) {
      noteFailure(run, path, done.error());
      continue;
    }
    run.log.write("%s: Auto deletion . . . %s\n", run.info.name.c_str(), displayText(path).c_str());
    run.counts.deleted += deletion.entries;
    run.written.wrote(-1, folder->get(), before->identity.device);
    if (run.onEntry) run.onEntry(EntryOutcome::kDeleted, path, reason_);
  }
  // Its date says when the user last changed it, not when we did; a failure leaves only a newer date.
  (void)run.files.setModified(folder->get(), before->modified);
}

void PendingDeletions::tell(RunState& run, const std::string& rootPath) {
  run.counts.deleted += entries_;
  for (const PendingDeletion& deletion : deletions_)
    if (run.onEntry) run.onEntry(EntryOutcome::kDeleted, pathOf(rootPath, deletion), reason_);
  deletions_.clear();
  entries_ = 0;
}

void PendingDeletions::hold(RunState& run, const std::string& rootPath) {
  if (deletions_.empty()) return;
  run.counts.held += entries_;
  run.log.write(
      "%s: %llu deletions in \"%s\" are held back: more than the brake lets pass. They go with --allow-deletions.\n",
      run.info.name.c_str(), static_cast<unsigned long long>(entries_), displayText(rootPath).c_str());
  for (const PendingDeletion& deletion : deletions_) {
    const std::string path = pathOf(rootPath, deletion);
    run.log.write("%s: held . . . %s\n", run.info.name.c_str(), displayText(path).c_str());
    run.noteHeld(path);
    if (run.onEntry) run.onEntry(EntryOutcome::kHeld, path, "held back");
  }
  deletions_.clear();
  entries_ = 0;
}

}  // namespace lumisk
