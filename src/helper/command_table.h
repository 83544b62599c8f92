#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumisk {

// What the root helper can be asked for. A command with a right needs that right of the peer; the texts of the rights
// stand in the policy file under the description key.
struct CommandSpec {
  std::string commandName;
  std::string rightName;            // empty: anybody may
  std::string rightDefaultRule;     // given exactly when a right is
  std::string rightDescriptionKey;  // given only with a right
};

// The rule of a right that who sits at the machine has without being asked.
inline constexpr const char* kRuleForSomebodyPresent = "is-session-owner";

inline constexpr const char* kGetVersionCommand = "GetVersion";
inline constexpr const char* kCloneCommand = "GetUIDs";  // clones the volume that the file under kXMLPathKey describes
inline constexpr const char* kLowNumberedPortsCommand = "LowNumberedPorts";

// Mounts the file system that the file under kBlocksPathKey shows to its user, by the name under kVolumeNameKey; the
// response has kMountPointKey. And takes it away again, where kAtOnceKey is set also while it is in use.
inline constexpr const char* kMountImageCommand = "MountImage";
inline constexpr const char* kUnmountImageCommand = "UnmountImage";
inline constexpr const char* kBlocksPathKey = "kBlocksPathKey";
inline constexpr const char* kVolumeNameKey = "kVolumeNameKey";
inline constexpr const char* kMountPointKey = "kMountPointKey";
inline constexpr const char* kAtOnceKey = "kAtOnceKey";

inline constexpr const char* kRequestCommandKey = "com.apple.dts.BetterAuthorizationSample.command";
inline constexpr const char* kResponseErrorKey = "com.apple.dts.BetterAuthorizationSample.error";
inline constexpr const char* kResponseDescriptorsKey = "com.apple.dts.BetterAuthorizationSample.descriptors";
inline constexpr const char* kXMLPathKey = "kXMLPathKey";
inline constexpr const char* kPromptTable = "SampleAuthorizationPrompts";
inline constexpr const char* kBundleIdentifier = "com.qelcorporation.lumisk";

[[nodiscard]] const std::vector<CommandSpec>& lumiskCommands();
[[nodiscard]] const CommandSpec* findCommand(const std::vector<CommandSpec>& commands, std::string_view name);

// Aborts for a table that is empty or wrong in itself.
void checkCommands(const std::vector<CommandSpec>& commands);

// The polkit action that stands for a right: the bundle identifier and the right's last word in small letters.
[[nodiscard]] std::string policyActionOf(std::string_view rightName, std::string_view bundleIdentifier);

}  // namespace lumisk
