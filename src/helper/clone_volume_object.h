#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "helper/bas_client.h"
#include "platform/user_dialogs.h"

namespace lumisk {

// Has the root helper clone a volume. One object for one clone, used by one thread.
class VolumeCloner {
 public:
  virtual ~VolumeCloner() = default;
  virtual OSStatus initTheAuthorization() = 0;
  // Orders the clone that the file describes. 0: the helper has begun. May wait for the user, who installs the helper
  // or authenticates; `isGivenUp` true ends that with kUserCancelled.
  virtual OSStatus runHelpToolWithXMLPath(const std::string& xmlPath, const std::function<bool()>& isGivenUp) = 0;
  // After an order: whether the process that clones still lives.
  [[nodiscard]] virtual bool isHelperRunning() = 0;
};

// The installed helper's version, in the user's defaults.
inline constexpr const char* kHelperToolVersionKey = "kHelperToolVersion";
inline constexpr std::int64_t kHelperToolVersion = 1013;
[[nodiscard]] constexpr bool isHelperCurrent(std::int64_t stored) {
  return stored > 1012;
}

// The helper tool for a system version, in binary-coded decimal. Every Linux gets the one for 0.
[[nodiscard]] std::string helperToolForSystem(std::uint32_t systemVersion);

struct CloneVolumeServices {
  UserDialogs& dialogs;
  Authorization authorization{};
  std::function<std::int64_t()> storedVersion;  // under kHelperToolVersionKey; 0 when there is none
  std::function<void(std::int64_t)> storeVersion;
  std::uint32_t systemVersion = 0;
  std::function<void(const std::string& line)> console{};  // "" for standard error
};

class CloneVolumeObject : public VolumeCloner {
 public:
  explicit CloneVolumeObject(CloneVolumeServices services) : services_(std::move(services)) {}

  OSStatus initTheAuthorization() override;
  OSStatus runHelpToolWithXMLPath(const std::string& xmlPath, const std::function<bool()>& isGivenUp) override;
  [[nodiscard]] bool isHelperRunning() override;

 private:
  OSStatus order(const std::string& xmlPath);
  OSStatus makeHelperReady();
  OSStatus repair(BASFailCode failCode);

  CloneVolumeServices services_;
  Descriptor helperLives_;  // hangs up when the clone has ended
};

// The clone object of the program: the settings of this home folder, the helper of this machine.
[[nodiscard]] std::unique_ptr<VolumeCloner> makeCloneVolumeObject(UserDialogs& dialogs);

}  // namespace lumisk
