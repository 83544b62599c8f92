#include "platform/user_defaults.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>

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
  if (::mkdir(folder.c_str(), kFolderMode) == 0 || errno == EEXIST) return {};
  if (errno != ENOENT || paths::parent(folder) == folder) return fail("make the folder", folder, errno);
  LUMISK_CHECK(makeFolders(paths::parent(folder)));
  if (::mkdir(folder.c_str(), kFolderMode) == 0 || errno == EEXIST) return {};
  return fail("make the folder", folder, errno);
}

// A free name that tells when the file was found damaged.
std::string damagedName(const std::string& path) {
  const std::string dated = path + ".damaged-" + CalendarDate(systemClock().now()).description("%Y%m%d-%H%M%S");
  std::string name = dated;
  for (int further = 2; ::access(name.c_str(), F_OK) == 0; ++further) name = fmt::format("{}-{}", dated, further);
  return name;
}

}  // namespace

struct UserDefaults::Loaded {
  std::optional<FileStamp> stamp;  // empty: there was no file
  PropertyList::Dictionary values;
};

class UserDefaults::Ownership {
 public:
  explicit Ownership(Descriptor lock) : lock_(std::move(lock)) {}

 private:
  Descriptor lock_;  // the lock goes with it
};

UserDefaults::UserDefaults(std::string path) : path_(std::move(path)) {}

std::string UserDefaults::standardPath() {
  return homeFolder() + "/Library/Preferences/" + kDefaultsDomain + ".plist";
}

Result<PropertyList> UserDefaults::object(const std::string& key) {
  const std::lock_guard guard(mutex_);
  LUMISK_CHECK(refresh());
  const auto found = loaded_->values.find(key);
  return found == loaded_->values.end() ? PropertyList() : found->second;
}

Result<void> UserDefaults::setObject(const std::string& key, PropertyList value) {
  return change([&](PropertyList::Dictionary& values) { values[key] = std::move(value); });
}

Result<void> UserDefaults::removeObject(const std::string& key) {
  return change([&](PropertyList::Dictionary& values) { values.erase(key); });
}

Result<void> UserDefaults::change(const std::function<void(PropertyList::Dictionary&)>& edit) {
  const std::lock_guard guard(mutex_);
  LUMISK_CHECK(refresh());
  PropertyList::Dictionary changed = loaded_->values;
  edit(changed);
  if (changed == loaded_->values) return {};
  LUMISK_TRY(const std::string xml, propertyListToXml(changed));
  LUMISK_CHECK(makeFolders(paths::parent(path_)));
  LUMISK_TRY(loaded_->stamp, replaceFile(path_, xml, kFileMode));
  loaded_->values = std::move(changed);
  return {};
}

std::vector<std::string> UserDefaults::takeWarnings() {
  const std::lock_guard guard(mutex_);
  return std::exchange(warnings_, {});
}

// What is in memory stays what it was when this fails.
Result<void> UserDefaults::refresh() {
  const auto stamp = stampOf(path_);
  if (!stamp && stamp.error().code != ENOENT) return fail(stamp.error());
  if (!stamp) {
    loaded_ = std::make_shared<Loaded>();
    return {};
  }
  if (loaded_ && loaded_->stamp == *stamp) return {};
  LUMISK_TRY(LoadedFile file, loadFile(path_));
  auto parsed = parsePropertyList(file.bytes);
  if (parsed && parsed->kind() == PropertyList::Kind::kDictionary) {
    loaded_ = std::make_shared<Loaded>(Loaded{file.stamp, std::move(parsed->mutableDictionary())});
    return {};
  }
  LUMISK_TRY(const std::string real, followLinks(path_));
  const std::string aside = damagedName(real);
  if (::rename(real.c_str(), aside.c_str()) != 0) return fail("set aside the damaged file", path_, errno);
  LUMISK_CHECK(syncFolder(paths::parent(real)));
  const std::string why = parsed ? "it is no dictionary" : displayText(parsed.error().text());
  warnings_.push_back(fmt::format("{}: damaged, kept as {}: {}", displayText(path_), displayText(aside), why));
  loaded_ = std::make_shared<Loaded>();
  return {};
}

Result<std::shared_ptr<UserDefaults::Ownership>> UserDefaults::own() {
  LUMISK_CHECK(makeFolders(paths::parent(path_)));
  const std::string path = path_ + ".lock";
  Descriptor lock(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, kFileMode));
  if (!lock.isOpen()) return fail("open the lock", path, errno);
  while (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
    if (errno != EINTR) return fail("lock", path, errno);
  return std::make_shared<Ownership>(std::move(lock));
}

}  // namespace lumisk
