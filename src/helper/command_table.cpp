#include "helper/command_table.h"

#include <algorithm>

#include "helper/bas_assert.h"

namespace lumisk {

const std::vector<CommandSpec>& lumiskCommands() {
  static const std::vector<CommandSpec> commands{
      {kGetVersionCommand, "", "", ""},
      {kCloneCommand, "com.example.BetterAuthorizationSample.GetUIDs", "allow", "GetUIDsPrompt"},
      {kLowNumberedPortsCommand, "com.example.BetterAuthorizationSample.LowNumberedPorts", "default",
       "LowNumberedPortsPrompt"},
      {kMountImageCommand, "com.qelcorporation.lumisk.MountImage", kRuleForSomebodyPresent, "MountImagePrompt"},
      {kUnmountImageCommand, "", "", ""},  // only of what the same user has had mounted
  };
  return commands;
}

const CommandSpec* findCommand(const std::vector<CommandSpec>& commands, std::string_view name) {
  const auto found =
      std::find_if(commands.begin(), commands.end(), [&](const CommandSpec& one) { return one.commandName == name; });
  return found == commands.end() ? nullptr : &*found;
}

void checkCommands(const std::vector<CommandSpec>& commands) {
  BAS_ASSERT(!commands.empty());
  for (const CommandSpec& command : commands) {
    BAS_ASSERT(!command.commandName.empty());
    BAS_ASSERT(command.rightName.empty() == command.rightDefaultRule.empty());
    BAS_ASSERT(command.rightDescriptionKey.empty() || !command.rightName.empty());
  }
}

std::string policyActionOf(std::string_view rightName, std::string_view bundleIdentifier) {
  std::string word(rightName.substr(rightName.rfind('.') + 1));
  for (char& letter : word)
    if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
  return std::string(bundleIdentifier) + "." + word;
}

}  // namespace lumisk
