#include "support/faulty_file_calls.h"

#include <fnmatch.h>

#include <algorithm>

namespace lumisk::test {
namespace {

bool matches(FileCall wanted, const std::string& pattern, const FaultyFileCalls::Made& made) {
  if (wanted != FileCall::kAny && wanted != made.call) return false;
  const auto fits = [&](const std::string& name) { return fnmatch(pattern.c_str(), name.c_str(), 0) == 0; };
  return fits(made.name) || (!made.secondName.empty() && fits(made.secondName));
}

}  // namespace

void FaultyFileCalls::fail(FileCall call, int code, When when) {
  const std::lock_guard guard(mutex_);
  rules_.push_back({call, std::move(when), code, {}});
}

void FaultyFileCalls::before(FileCall call, std::function<void()> hook, When when) {
  const std::lock_guard guard(mutex_);
  rules_.push_back({call, std::move(when), 0, std::move(hook)});
}

void FaultyFileCalls::judge(std::function<int(const Made&)> judge) {
  const std::lock_guard guard(mutex_);
  judge_ = std::move(judge);
}

void FaultyFileCalls::forgetRules() {
  const std::lock_guard guard(mutex_);
  rules_.clear();
  judge_ = nullptr;
}

std::vector<FaultyFileCalls::Made> FaultyFileCalls::made() const {
  const std::lock_guard guard(mutex_);
  return made_;
}

int FaultyFileCalls::count(FileCall call, const std::string& name) const {
  const std::lock_guard guard(mutex_);
  return static_cast<int>(
      std::count_if(made_.begin(), made_.end(), [&](const Made& made) { return matches(call, name, made); }));
}

Result<void> FaultyFileCalls::enter(FileCall call, const std::string& name, const std::string& secondName) {
  std::vector<std::function<void()>> hooks;
  int code = 0;
  {
    const std::lock_guard guard(mutex_);
    made_.push_back({call, name, secondName});
    for (Rule& rule : rules_) {
      if (rule.when.times == 0 || !matches(rule.call, rule.when.name, made_.back()) || --rule.when.nth > 0) continue;
      if (rule.when.times != kAlways) --rule.when.times;
      if (rule.hook) hooks.push_back(rule.hook);
      if (code == 0) code = rule.code;
    }
    if (judge_ && code == 0) code = judge_(made_.back());
  }
  for (const auto& hook : hooks) hook();
  if (code != 0) return lumisk::fail("fail on purpose", name, code);
  return {};
}

Result<void> FaultyFileCalls::enter(FileCall call, int descriptor) {
  return enter(call, nameOf(descriptor));
}

std::string FaultyFileCalls::nameOf(int descriptor) const {
  const std::lock_guard guard(mutex_);
  const auto found = names_.find(descriptor);
  return found == names_.end() ? std::string() : found->second;
}

Result<Descriptor> FaultyFileCalls::remember(Result<Descriptor> opened, const std::string& name) {
  const std::lock_guard guard(mutex_);
  if (opened) names_[opened->get()] = name;
  return opened;
}

Result<Descriptor> FaultyFileCalls::openRoot(const std::string& path) {
  LUMISK_CHECK(enter(FileCall::kOpenRoot, path));
  return remember(real_.openRoot(path), path);
}

Result<Descriptor> FaultyFileCalls::openFolder(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kOpenFolder, name));
  return remember(real_.openFolder(folder, name), name);
}

Result<Descriptor> FaultyFileCalls::openParent(int folder) {
  LUMISK_CHECK(enter(FileCall::kOpenParent, ".."));
  return remember(real_.openParent(folder), "..");
}

Result<void> FaultyFileCalls::listFolder(int folder, std::vector<FolderEntry>& entries) {
  LUMISK_CHECK(enter(FileCall::kListFolder, folder));
  return real_.listFolder(folder, entries);
}

Result<void> FaultyFileCalls::makeFolder(int folder, const std::string& name, std::uint32_t mode) {
  LUMISK_CHECK(enter(FileCall::kMakeFolder, name));
  return real_.makeFolder(folder, name, mode);
}

Result<void> FaultyFileCalls::removeFolder(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kRemoveFolder, name));
  return real_.removeFolder(folder, name);
}

Result<FileStatus> FaultyFileCalls::status(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kStatus, name));
  return real_.status(folder, name);
}

Result<FileStatus> FaultyFileCalls::statusOf(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kStatusOf, descriptor));
  return real_.statusOf(descriptor);
}

Result<SpaceStatus> FaultyFileCalls::spaceOf(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kSpaceOf, descriptor));
  return real_.spaceOf(descriptor);
}

Result<void> FaultyFileCalls::checkDisk(int folder) {
  LUMISK_CHECK(enter(FileCall::kCheckDisk, folder));
  return real_.checkDisk(folder);
}

Result<void> FaultyFileCalls::mayRead(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kMayRead, name));
  return real_.mayRead(folder, name);
}

Result<void> FaultyFileCalls::mayWrite(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kMayWrite, name));
  return real_.mayWrite(folder, name);
}

Result<Descriptor> FaultyFileCalls::openFile(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kOpenFile, name));
  return remember(real_.openFile(folder, name), name);
}

Result<Descriptor> FaultyFileCalls::openFileForWriting(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kOpenFileForWriting, name));
  return remember(real_.openFileForWriting(folder, name), name);
}

Result<Descriptor> FaultyFileCalls::createFile(int folder, const std::string& name, std::uint32_t mode) {
  LUMISK_CHECK(enter(FileCall::kCreateFile, name));
  return remember(real_.createFile(folder, name, mode), name);
}

Result<std::size_t> FaultyFileCalls::read(int file, std::span<std::byte> buffer) {
  LUMISK_CHECK(enter(FileCall::kRead, file));
  return real_.read(file, buffer);
}

Result<std::size_t> FaultyFileCalls::write(int file, std::span<const std::byte> bytes) {
  LUMISK_CHECK(enter(FileCall::kWrite, file));
  return real_.write(file, bytes);
}

Result<void> FaultyFileCalls::seek(int file, std::uint64_t offset) {
  LUMISK_CHECK(enter(FileCall::kSeek, file));
  return real_.seek(file, offset);
}

Result<std::uint64_t> FaultyFileCalls::seekData(int file, std::uint64_t offset) {
  LUMISK_CHECK(enter(FileCall::kSeekData, file));
  return real_.seekData(file, offset);
}

Result<std::uint64_t> FaultyFileCalls::seekHole(int file, std::uint64_t offset) {
  LUMISK_CHECK(enter(FileCall::kSeekHole, file));
  return real_.seekHole(file, offset);
}

Result<void> FaultyFileCalls::truncate(int file, std::uint64_t size) {
  LUMISK_CHECK(enter(FileCall::kTruncate, file));
  return real_.truncate(file, size);
}

Result<std::size_t> FaultyFileCalls::copyRange(int from, int to, std::size_t size) {
  LUMISK_CHECK(enter(FileCall::kCopyRange, to));
  return real_.copyRange(from, to, size);
}

Result<void> FaultyFileCalls::cloneFile(int from, int to) {
  LUMISK_CHECK(enter(FileCall::kCloneFile, to));
  return real_.cloneFile(from, to);
}

Result<Descriptor> FaultyFileCalls::duplicate(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kDuplicate, descriptor));
  return remember(real_.duplicate(descriptor), nameOf(descriptor));
}

Result<void> FaultyFileCalls::close(Descriptor file) {
  LUMISK_CHECK(enter(FileCall::kClose, file.get()));
  return real_.close(std::move(file));
}

Result<void> FaultyFileCalls::removeFile(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kRemoveFile, name));
  return real_.removeFile(folder, name);
}

Result<void> FaultyFileCalls::rename(int fromFolder, const std::string& from, int toFolder, const std::string& to,
                                     Replace replace) {
  LUMISK_CHECK(enter(FileCall::kRename, from, to));
  return real_.rename(fromFolder, from, toFolder, to, replace);
}

Result<void> FaultyFileCalls::exchange(int folderA, const std::string& a, int folderB, const std::string& b) {
  LUMISK_CHECK(enter(FileCall::kExchange, a, b));
  return real_.exchange(folderA, a, folderB, b);
}

Result<void> FaultyFileCalls::link(int fromFolder, const std::string& from, int toFolder, const std::string& to) {
  LUMISK_CHECK(enter(FileCall::kLink, from, to));
  return real_.link(fromFolder, from, toFolder, to);
}

Result<void> FaultyFileCalls::makeLink(const std::string& text, int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kMakeLink, name));
  return real_.makeLink(text, folder, name);
}

Result<std::string> FaultyFileCalls::readLink(int folder, const std::string& name) {
  LUMISK_CHECK(enter(FileCall::kReadLink, name));
  return real_.readLink(folder, name);
}

Result<void> FaultyFileCalls::setOwner(int descriptor, std::uint32_t owner, std::uint32_t group) {
  LUMISK_CHECK(enter(FileCall::kSetOwner, descriptor));
  return real_.setOwner(descriptor, owner, group);
}

Result<void> FaultyFileCalls::setMode(int descriptor, std::uint32_t mode) {
  LUMISK_CHECK(enter(FileCall::kSetMode, descriptor));
  return real_.setMode(descriptor, mode);
}

Result<void> FaultyFileCalls::setModified(int descriptor, FileTime modified) {
  LUMISK_CHECK(enter(FileCall::kSetModified, descriptor));
  return real_.setModified(descriptor, modified);
}

Result<void> FaultyFileCalls::setLinkOwner(int folder, const std::string& name, std::uint32_t owner,
                                           std::uint32_t group) {
  LUMISK_CHECK(enter(FileCall::kSetLinkOwner, name));
  return real_.setLinkOwner(folder, name, owner, group);
}

Result<void> FaultyFileCalls::setLinkModified(int folder, const std::string& name, FileTime modified) {
  LUMISK_CHECK(enter(FileCall::kSetLinkModified, name));
  return real_.setLinkModified(folder, name, modified);
}

Result<std::vector<std::string>> FaultyFileCalls::listAttributes(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kListAttributes, descriptor));
  return real_.listAttributes(descriptor);
}

Result<std::string> FaultyFileCalls::attribute(int descriptor, const std::string& attribute) {
  LUMISK_CHECK(enter(FileCall::kAttribute, descriptor));
  return real_.attribute(descriptor, attribute);
}

Result<void> FaultyFileCalls::setAttribute(int descriptor, const std::string& attribute, std::string_view value) {
  LUMISK_CHECK(enter(FileCall::kSetAttribute, descriptor));
  return real_.setAttribute(descriptor, attribute, value);
}

Result<void> FaultyFileCalls::removeAttribute(int descriptor, const std::string& attribute) {
  LUMISK_CHECK(enter(FileCall::kRemoveAttribute, descriptor));
  return real_.removeAttribute(descriptor, attribute);
}

Result<void> FaultyFileCalls::startSync(int file) {
  LUMISK_CHECK(enter(FileCall::kStartSync, file));
  return real_.startSync(file);
}

Result<void> FaultyFileCalls::syncFile(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kSyncFile, descriptor));
  return real_.syncFile(descriptor);
}

Result<void> FaultyFileCalls::syncFileSystem(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kSyncFileSystem, descriptor));
  return real_.syncFileSystem(descriptor);
}

Result<void> FaultyFileCalls::lockExclusively(int descriptor) {
  LUMISK_CHECK(enter(FileCall::kLockExclusively, descriptor));
  return real_.lockExclusively(descriptor);
}

}  // namespace lumisk::test
