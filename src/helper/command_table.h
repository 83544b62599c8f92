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

inline constexpr const char* kGetVersionCommand = "GetVersion";
inline constexpr const char* kCloneCommand = "GetUIDs";  // clones the volume that the file under kXMLPathKey describes
inline constexpr const char* kLowNumberedPortsCommand = "LowNumberedPorts";

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
