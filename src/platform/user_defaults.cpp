#include "platform/user_defaults.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <map>
#include <optional>
#include <utility>

#include "platform/byte_text.h"
#include "platform/calendar_date.h"
#include "platform/descriptor.h"
#include "platform/durable_file.h"
#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr unsigned kFolderMode = 0700;
constexpr unsigned kFileMode = 0600;

Result<void> makeFolders(const std::string& folder) {
  const auto above = paths::parent(folder);
  if (::mkdir(folder.c_str(), kFolderMode) != 0) {
    if (errno == EEXIST) return {};
    if (errno != ENOENT || above == folder) return fail("make the folder", folder, errno);
    LUMISK_CHECK(makeFolders(above));
    if (::mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) return fail("make the folder", folder, errno);
  }
  return syncFolder(above);
}

// EEXIST when there is something of that name already.
Result<void> renameToNewName(const std::string& path, const std::string& name) {
  if (::renameat2(AT_FDCWD, path.c_str(), AT_FDCWD, name.c_str(), RENAME_NOREPLACE) == 0) return {};
  if (errno != EINVAL) return fail("set aside as " + name, path, errno);
  // The file system cannot refuse to replace.
  if (::access(name.c_str(), F_OK) == 0) return fail("set aside as " + name, path, EEXIST);
  if (::rename(path.c_str(), name.c_str()) != 0) return fail("set aside as " + name, path, errno);
  return {};
}

// Under a name that tells when the file was found damaged.
Result<std::string> setAside(const std::string& path) {
  const std::string dated = path + ".damaged-" + CalendarDate(systemClock().now()).description("%Y%m%d-%H%M%S");
  std::string name = dated;
  for (int further = 2;; ++further) {
    const auto renamed = renameToNewName(path, name);
    if (renamed) break;
    if (renamed.error().code != EEXIST) return fail(renamed.error());
    name = fmt::format("{}-{}", dated, further);
  }
  LUMISK_CHECK(syncFolder(paths::parent(path)));
  return name;
}

// File systems count time in steps: a file that changed a moment ago may change again and look the same.
bool isSettled(const FileStamp& stamp) {
  constexpr std::chrono::seconds kCoarsestStep(2);
  const auto changed = std::chrono::nanoseconds(stamp.changedNanoseconds);
  return systemClock().now().time_since_epoch() - changed > kCoarsestStep;
}

}  // namespace

struct UserDefaults::Loaded {
  PropertyList::Dictionary values;
  // The state of the file that they were read from, by its stamp where that can be told again, else by its bytes.
  std::optional<FileStamp> stamp;
  std::optional<std::string> bytes;

  void readFrom(LoadedFile file) {
    stamp = isSettled(file.stamp) ? std::optional(file.stamp) : std::nullopt;
    bytes = stamp ? std::nullopt : std::optional(std::move(file.bytes));
  }
};

class UserDefaults::Ownership {
 public:
  explicit Ownership(Descriptor lock) : lock_(std::move(lock)) {}

 private:
  Descriptor lock_;  // the lock goes with it
};

struct UserDefaults::Shared {
  std::mutex mutex;
  std::weak_ptr<Ownership> ownership;

  // One for each path, for as long as anybody uses it.
  static std::shared_ptr<Shared> of(const std::string& path) {
    static std::mutex guarding;
    static std::map<std::string, std::weak_ptr<Shared>> all;
    const std::lock_guard guard(guarding);
    std::erase_if(all, [](const auto& entry) { return entry.second.expired(); });
    auto shared = all[path].lock();
    if (!shared) all[path] = shared = std::make_shared<Shared>();
    return shared;
  }
};

UserDefaults::UserDefaults(std::string path) : path_(std::move(path)), shared_(Shared::of(path_)) {}

UserDefaults UserDefaults::inMemory(PropertyList::Dictionary values) {
  UserDefaults defaults;
  defaults.shared_ = std::make_shared<Shared>();
  defaults.loaded_ = std::make_shared<Loaded>();
  defaults.loaded_->values = std::move(values);
  return defaults;
}

std::string UserDefaults::standardPath() {
  return paths::join(homeFolder(), fmt::format("Library/Preferences/{}.plist", kDefaultsDomain));
}

Result<PropertyList> UserDefaults::object(const std::string& key) {
  const std::lock_guard guard(shared_->mutex);
  LUMISK_CHECK(refresh());
  const auto found = loaded_->values.find(key);
  return found == loaded_->values.end() ? PropertyList() : found->second;
}

Result<PropertyList::Dictionary> UserDefaults::objects() {
  const std::lock_guard guard(shared_->mutex);
  LUMISK_CHECK(refresh());
  return loaded_->values;
}

Result<void> UserDefaults::setObject(const std::string& key, PropertyList value) {
  return change([&](PropertyList::Dictionary& values) { values[key] = std::move(value); });
}

Result<void> UserDefaults::removeObject(const std::string& key) {
  return change([&](PropertyList::Dictionary& values) { values.erase(key); });
}

Result<void> UserDefaults::change(const std::function<void(PropertyList::Dictionary&)>& edit) {
  const std::lock_guard guard(shared_->mutex);
  LUMISK_CHECK(refresh());
  PropertyList::Dictionary changed = loaded_->values;
  edit(changed);
  std::erase_if(changed, [](const auto& entry) { return entry.second.isNone(); });
  if (changed == loaded_->values) return {};
  return store(std::move(changed));
}

Result<void> UserDefaults::store(PropertyList list) {
  auto stored = std::make_shared<Loaded>();
  if (!path_.empty()) {
    auto xml = propertyListToXml(list);
    if (!xml) return fail(xml.error().operation, path_, xml.error().code, xml.error().detail);
    LUMISK_CHECK(makeFolders(paths::parent(path_)));
    loaded_.reset();
    LUMISK_CHECK(replaceFile(path_, *xml, kFileMode));
    stored->bytes = std::move(*xml);
  }
  stored->values = std::move(list.mutableDictionary());
  loaded_ = std::move(stored);
  return {};
}

std::vector<std::string> UserDefaults::takeWarnings() {
  const std::lock_guard guard(shared_->mutex);
  return std::exchange(warnings_, {});
}

// A file that was written a moment ago is read at every call, but parsed once.
Result<void> UserDefaults::refresh() {
  if (path_.empty()) return {};
  const auto stamp = stampOf(path_);
  if (stamp && loaded_ && loaded_->stamp == *stamp) return {};
  const auto before = std::exchange(loaded_, nullptr);
  auto file = loadFile(path_);
  if (!file && file.error().code != ENOENT) return fail(file.error());
  if (file && before && before->bytes == file->bytes) {
    loaded_ = before;
  } else {
    loaded_ = std::make_shared<Loaded>();
    if (!file) return putBack(before.get(), "");
    auto parsed = parsePropertyList(file->bytes);
    if (!parsed || parsed->kind() != PropertyList::Kind::kDictionary)
      return setDamagedAside(file->bytes, parsed ? "not a dictionary" : parsed.error().detail, before.get());
    loaded_->values = std::move(parsed->mutableDictionary());
  }
  loaded_->readFrom(std::move(*file));
  return {};
}

// By its owner only: another process may be replacing the file, or have put it right since it was read.
Result<void> UserDefaults::setDamagedAside(const std::string& bytes, const std::string& why, const Loaded* lastKnown) {
  auto ownership = shared_->ownership.lock();
  if (!ownership) {
    auto taken = takeOwnership();
    if (!taken && taken.error().code == EWOULDBLOCK)
      return fail("read", path_, 0, "damaged, and left to the instance that owns it: " + why);
    if (!taken) return fail(taken.error());
    ownership = std::move(*taken);
    lastKnown = nullptr;  // others may have changed them since
    const auto again = loadFile(path_);
    if (!again || again->bytes != bytes) return refresh();
  }
  LUMISK_TRY(const auto real, followLinks(path_));
  LUMISK_TRY(const auto aside, setAside(real));
  return putBack(lastKnown, fmt::format("damaged, kept as {}: {}", displayText(aside), why));
}

// What the owner last knew is what was stored: nobody else writes. `damage` is empty of a file that has been removed.
Result<void> UserDefaults::putBack(const Loaded* lastKnown, const std::string& damage) {
  const bool isKnown = lastKnown && !lastKnown->values.empty() && !shared_->ownership.expired();
  const std::string what = damage.empty() ? "removed" : damage;
  if (isKnown || !damage.empty())
    warnings_.push_back(displayText(path_) + ": " + what + (isKnown ? "; written again as last known" : ""));
  return isKnown ? store(lastKnown->values) : Result<void>();
}

Result<std::shared_ptr<UserDefaults::Ownership>> UserDefaults::own() {
  if (path_.empty()) return fail("own the settings", "", ENOTSUP);
  LUMISK_CHECK(makeFolders(paths::parent(path_)));
  const std::lock_guard guard(shared_->mutex);
  return takeOwnership();
}

Result<std::shared_ptr<UserDefaults::Ownership>> UserDefaults::takeOwnership() {
  const std::string path = path_ + ".lock";
  Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
  if (!lock.isOpen()) return fail("open the lock", path, errno);
  while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
    if (errno != EINTR) return fail("lock", path, errno);
  }
  removeAbandonedSiblings(paths::parent(path_));
  auto ownership = std::make_shared<Ownership>(std::move(lock));
  shared_->ownership = ownership;
  return ownership;
}

}  // namespace lumisk
