#pragma once

#include <string>
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

}  // namespace lumisk
