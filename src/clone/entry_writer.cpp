#include "clone/entry_writer.h"

#include <cerrno>

#include "clone/clone_rule.h"
#include "platform/entry_calls.h"
#include "platform/paths.h"
#include "platform/process.h"
#include "platform/temporary_name.h"

namespace lumisk {
namespace {

// How often a file is copied that changes all the time.
constexpr int kAttempts = 3;

EntryHandle sourceOf(const ClonedEntry& entry) {
  return {entry.pair.source.get(), entry.name};
}

// What a file is like that we have created, where it inherits nothing.
FileStatus asCreated() {
  FileStatus status;
  status.type = FileType::kRegular;
  status.mode = 0600;
  status.owner = process::userId();
  status.group = process::groupId();
  return status;
}

bool isSameFile(const FileStatus& a, const FileStatus& b) {
  return a.identity == b.identity && a.type == b.type;
}

}  // namespace

// What is made under a name, and the duty to remove it unless it becomes what it is meant for.
class EntryWriter::NewEntry {
 public:
  NewEntry(FileCalls& files, const FolderPair& pair, const std::string& name)
      : files_(files), folder_(pair.target.get()), name_(pair.isNew ? name : makeTemporaryName()) {}
  NewEntry(const NewEntry&) = delete;
  NewEntry& operator=(const NewEntry&) = delete;
  ~NewEntry() {
    if (exists_) (void)files_.removeFile(folder_, name_);
  }
  [[nodiscard]] const std::string& name() const { return name_; }
  [[nodiscard]] int folder() const { return folder_; }
  void made() { exists_ = true; }
  void keep() { exists_ = false; }

 private:
  FileCalls& files_;
  int folder_;
  std::string name_;
  bool exists_ = false;
};

Result<void> EntryWriter::carry(const ClonedEntry& entry) {
  if (entry.source.links > 1) {
    if (const auto first = links_.find(entry.source)) return link(entry, *first);
  }
  LUMISK_TRY(const bool isSame, hasSameContent(entry));
  if (isSame) return keep(entry);
  auto made = make(entry);
  if (!made && isOutOfSpace(made.error())) wasFull_ = true;
  return made;
}

Result<bool> EntryWriter::hasSameContent(const ClonedEntry& entry) {
  if (!entry.target || sharesWithOthers(entry.source, *entry.target)) return false;
  if (entry.source.links > 1 && links_.isTaken(entry.target->identity, entry.source)) return false;
  const Content content = judgeContent(entry.source, *entry.target, state_.mark.unfinishedSince());
  if (content != Content::kUnknown) return content == Content::kSame;
  if (entry.source.type == FileType::kRegular) return compareFiles(entry);
  LUMISK_TRY(const std::string wanted, state_.files.readLink(entry.pair.source.get(), entry.name));
  LUMISK_TRY(const std::string standing, state_.files.readLink(entry.pair.target.get(), entry.name));
  return wanted == standing;
}

Result<bool> EntryWriter::compareFiles(const ClonedEntry& entry) {
  LUMISK_TRY(const Descriptor source, state_.files.openFile(entry.pair.source.get(), entry.name));
  const auto target = state_.files.openFile(entry.pair.target.get(), entry.name);
  if (!target) return false;
  const auto isSame = content_.isSame(source.get(), target->get());
  // A target that cannot be read is written again.
  if (!isSame && isSame.error().code != ECANCELED) return false;
  return isSame;
}

Result<void> EntryWriter::keep(const ClonedEntry& entry) {
  const EntryHandle target{entry.pair.target.get(), entry.name};
  LUMISK_TRY(const bool sameAttributes, haveSameAttributes(state_.files, sourceOf(entry), target));
  if (!sameAttributes || compareMetadata(entry.source, *entry.target).any()) LUMISK_CHECK(repair(entry));
  met(entry, entry.target->identity, true);
  return {};
}

Result<void> EntryWriter::repair(const ClonedEntry& entry) {
  FileCalls& files = state_.files;
  LUMISK_TRY(EntryMetadata wanted, readAttributes(files, sourceOf(entry)).map([&](Attributes&& attributes) {
    return EntryMetadata{entry.source, std::move(attributes)};
  }));
  state_.mark.beforeChange(state_.target.root.get());
  EntryHandle target{entry.pair.target.get(), entry.name};
  if (isProtected(*entry.target)) LUMISK_CHECK(unprotectEntry(files, target, entry.source.type));
  Descriptor file;
  if (entry.source.type == FileType::kRegular) {
    LUMISK_TRY(file, files.openFile(target.folder, entry.name));
    LUMISK_TRY(const FileStatus opened, files.statusOf(file.get()));
    if (!isSameFile(opened, *entry.target)) return fail("open", entry.name, ESTALE);
    target.descriptor = file.get();
  }
  LUMISK_CHECK(writeMetadata(files, target, wanted, *entry.target, false));
  if (isProtected(entry.source)) LUMISK_CHECK(protectEntry(files, target, entry.source));
  ++state_.report.repaired;
  if (state_.order.repairPermissions) state_.said(entry.path, "owner, permissions or attributes were set");
  return {};
}

Result<void> EntryWriter::make(const ClonedEntry& entry) {
  LUMISK_CHECK(checkRoom(entry));
  state_.mark.beforeChange(state_.target.root.get());
  NewEntry made(state_.files, entry.pair, entry.name);
  LUMISK_CHECK(entry.source.type == FileType::kRegular ? makeFile(entry, made) : makeOther(entry, made));
  LUMISK_CHECK(putInPlace(entry, made.name()));
  made.keep();
  if (isProtected(entry.source)) {
    const auto done = protectEntry(state_.files, {entry.pair.target.get(), entry.name}, entry.source);
    if (!done) state_.failed(entry.path, done.error());
  }
  ++state_.report.copied;
  if (entry.source.links <= 1) return {};
  LUMISK_TRY(const FileStatus standing, state_.files.status(entry.pair.target.get(), entry.name));
  met(entry, standing.identity, false);
  return {};
}

// A full disk is met once, not once for every file that is left.
Result<void> EntryWriter::checkRoom(const ClonedEntry& entry) {
  if (!wasFull_ || entry.source.type != FileType::kRegular) return {};
  const auto space = state_.files.spaceOf(state_.target.root.get());
  const std::uint64_t needed = std::min(entry.source.size, entry.source.blocks * 512);
  if (space && space->available < needed) return fail("copy", entry.name, ENOSPC);
  return {};
}

Result<void> EntryWriter::makeFile(const ClonedEntry& entry, NewEntry& made) {
  FileCalls& files = state_.files;
  LUMISK_TRY(const Descriptor source, files.openFile(entry.pair.source.get(), entry.name));
  LUMISK_TRY(Descriptor file, files.createFile(made.folder(), made.name(), 0600));
  made.made();
  LUMISK_CHECK(fillFile(entry, source.get(), made.name(), file.get()));
  // The earlier version goes before all is synced.
  if (entry.target) (void)files.startSync(file.get());
  return files.close(std::move(file));
}

// The status from before the first byte is what the copy gets; that it is still the same afterwards proves that all
// belongs together.
Result<void> EntryWriter::fillFile(const ClonedEntry& entry, int source, const std::string& name, int file) {
  FileCalls& files = state_.files;
  EntryMetadata wanted{entry.source, {}};
  for (int attempt = 1;; ++attempt) {
    LUMISK_TRY(wanted.attributes, readAttributes(files, {entry.pair.source.get(), entry.name, source}));
    LUMISK_CHECK(content_.copy(source, wanted.status, file));
    LUMISK_TRY(const FileStatus after, files.statusOf(source));
    if (!isSameFile(after, entry.source)) return fail("copy", entry.name, ESTALE);
    if (!hasChanged(wanted.status, after)) break;
    if (attempt == kAttempts) {
      wanted.status.modified = dateOfTornCopy(wanted.status, after);
      state_.failed(entry.path, "it changes all the time while it is copied");
      break;
    }
    wanted.status = after;
    LUMISK_CHECK(files.seek(source, 0));
    LUMISK_CHECK(files.seek(file, 0));
    LUMISK_CHECK(files.truncate(file, 0));
  }
  FileStatus before = asCreated();
  const bool startsBare = entry.pair.isNew && entry.pair.targetStatus.group == before.group;
  if (!startsBare) {
    LUMISK_TRY(before, files.statusOf(file));
  }
  const auto written = writeMetadata(files, {entry.pair.target.get(), name, file}, wanted, before, startsBare);
  if (!written) state_.failed(entry.path, written.error());  // the bytes are there all the same
  return {};
}

Result<void> EntryWriter::makeOther(const ClonedEntry& entry, NewEntry& made) {
  FileCalls& files = state_.files;
  const int folder = made.folder();
  if (entry.source.type == FileType::kLink) {
    LUMISK_TRY(const std::string text, files.readLink(entry.pair.source.get(), entry.name));
    LUMISK_CHECK(files.makeLink(text, folder, made.name()));
  } else {
    LUMISK_CHECK(entry_calls::makeSpecialFile(folder, made.name(), entry.source));
  }
  made.made();
  EntryMetadata wanted{entry.source, {}};
  LUMISK_TRY(wanted.attributes, readAttributes(files, sourceOf(entry)));
  LUMISK_TRY(const FileStatus before, files.status(folder, made.name()));
  const auto written = writeMetadata(files, {folder, made.name()}, wanted, before, entry.pair.isNew);
  if (!written) state_.failed(entry.path, written.error());
  return {};
}

Result<void> EntryWriter::link(const ClonedEntry& entry, const LinkSets::Place& first) {
  if (entry.target && entry.target->identity == first.identity) {
    met(entry, first.identity, false);
    return {};
  }
  state_.mark.beforeChange(state_.target.root.get());
  const auto linked = tryLink(entry, first);
  // All names are one file, which has been unprotected for this.
  if (isProtected(entry.source)) {
    LUMISK_TRY(const int folder, openFolderOf(entry, first));
    LUMISK_CHECK(protectEntry(state_.files, {folder, first.name}, entry.source));
  }
  if (linked || isOutOfSpace(linked.error()) || linked.error().code == EEXIST) return linked;
  // Too many names for the target's file system, or the first one was taken away meanwhile.
  state_.said(entry.path, "becomes a file of its own: " + linked.error().text());
  return make(entry);
}

Result<void> EntryWriter::tryLink(const ClonedEntry& entry, const LinkSets::Place& first) {
  NewEntry made(state_.files, entry.pair, entry.name);
  LUMISK_CHECK(linkUnder(entry, first, made));
  LUMISK_CHECK(putInPlace(entry, made.name()));
  made.keep();
  ++state_.report.copied;
  met(entry, first.identity, false);
  return {};
}

Result<void> EntryWriter::linkUnder(const ClonedEntry& entry, const LinkSets::Place& first, NewEntry& made) {
  FileCalls& files = state_.files;
  LUMISK_TRY(const int folder, openFolderOf(entry, first));
  auto linked = files.link(folder, first.name, made.folder(), made.name());
  if (!linked && linked.error().code == EPERM && unprotect(state_, folder, first.name))
    linked = files.link(folder, first.name, made.folder(), made.name());
  LUMISK_CHECK(linked);
  made.made();
  LUMISK_TRY(const FileStatus status, files.status(made.folder(), made.name()));
  if (status.identity != first.identity) return fail("link", first.name, ESTALE);
  return {};
}

Result<int> EntryWriter::openFolderOf(const ClonedEntry& entry, const LinkSets::Place& place) {
  if (place.folder == entry.folder) return entry.pair.target.get();
  if (linkFolder_.isOpen() && linkFolderPath_ == place.folder) return linkFolder_.get();
  LUMISK_TRY(Descriptor at, state_.files.duplicate(state_.target.root.get()));
  for (const std::string& name : paths::components(place.folder)) {
    LUMISK_TRY(at, state_.files.openFolder(at.get(), name));
  }
  linkFolder_ = std::move(at);
  linkFolderPath_ = place.folder;
  return linkFolder_.get();
}

// A name that was proven absent replaces nothing: on a file system that folds names it may be another one's by now.
Result<void> EntryWriter::putInPlace(const ClonedEntry& entry, const std::string& name) {
  if (name == entry.name) return {};
  const int folder = entry.pair.target.get();
  FileCalls& files = state_.files;
  if (entry.target && entry.target->type == FileType::kFolder) {
    if (!state_.order.removesExtras) {
      LUMISK_CHECK(files.removeFolder(folder, entry.name));
    } else if (!removal_.remove(folder, entry.name, entry.path)) {
      return fail("replace the folder", entry.name, 0, "something in it stays");
    }
  }
  const Replace replace = entry.target ? Replace::kAllowed : Replace::kNever;
  auto renamed = files.rename(folder, name, folder, entry.name, replace);
  if (!renamed && renamed.error().code == EPERM && unprotect(state_, folder, entry.name))
    renamed = files.rename(folder, name, folder, entry.name, replace);
  return renamed;
}

void EntryWriter::met(const ClonedEntry& entry, const FileIdentity& identity, bool stoodBefore) {
  if (entry.source.links > 1) links_.met(entry.source, {entry.folder, entry.name, identity}, stoodBefore);
}

}  // namespace lumisk
