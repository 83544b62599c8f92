#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "platform/property_list.h"

namespace lumisk {

inline constexpr const char* kDefaultsDomain = "com.qelcorporation.lumisk";

// The application's stored settings: one dictionary in <home>/Library/Preferences/<domain>.plist. Reads see what is on
// disk (the file is read again when it changed); every change is written through, atomically and durably, before it
// returns, and never replaces a file that was not read whole. A file that does not parse is set aside under a dated
// name beside it, reported by takeWarnings(), and the settings start empty, unless this process owns them: then they
// are written again as it last knew them, also when the file has been removed. While another process owns them a
// damaged file is left to that one, and every call fails; so it does for a file that cannot be read (permissions, I/O).
// All methods may be called from any thread, and several objects of one path are as good as one. Between processes,
// whoever owns the store holds its lock.
class UserDefaults {
 public:
  explicit UserDefaults(std::string path);
  // Settings that are kept in memory only, with an empty path: to try changes on. Nobody owns them.
  static UserDefaults inMemory(PropertyList::Dictionary values);
  static std::string standardPath();  // of kDefaultsDomain below the current home folder

  Result<PropertyList> object(const std::string& key);  // kNone when missing
  Result<PropertyList::Dictionary> objects();           // all
  Result<void> setObject(const std::string& key, PropertyList value);
  Result<void> removeObject(const std::string& key);
  // All changes of `edit` in one write; nothing is written when it leaves the dictionary as it was. `edit` runs under
  // the lock of this path: it must not ask for settings of the same file.
  Result<void> change(const std::function<void(PropertyList::Dictionary&)>& edit);
  // What was set aside since the last call, one line each, for the face to show.
  std::vector<std::string> takeWarnings();

  // Exclusive ownership by this process, kept until the returned handle goes; EWOULDBLOCK when another process has it.
  class Ownership;
  Result<std::shared_ptr<Ownership>> own();

  [[nodiscard]] const std::string& path() const { return path_; }

 private:
  struct Loaded;
  struct Shared;
  UserDefaults() = default;
  Result<void> refresh();
  Result<void> store(PropertyList list);
  Result<void> setDamagedAside(const std::string& bytes, const std::string& why, const Loaded* lastKnown);
  Result<void> putBack(const Loaded* lastKnown, const std::string& damage);
  Result<std::shared_ptr<Ownership>> takeOwnership();

  std::string path_;
  std::shared_ptr<Shared> shared_;  // with the other objects of the path in this process
  std::shared_ptr<Loaded> loaded_;
  std::vector<std::string> warnings_;
};

}  // namespace lumisk
