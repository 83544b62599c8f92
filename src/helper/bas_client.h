#pragma once

#include <functional>
#include <string>
#include <vector>

#include "helper/command_table.h"
#include "helper/os_status.h"
#include "platform/descriptor.h"
#include "platform/property_list.h"

namespace lumisk {

// What the calls of one client share. Who may do what is for polkit to say, on the helper's side, so that there is
// nothing to be held here; where things stand comes from outside. Blocking; each call has its own socket.
struct Authorization {
  std::string socketPath;    // "" for the given place
  std::string root;          // a folder that stands for "/" where the helper is looked for; "" in life
  std::string bundleFolder;  // with the install tool and the helper tools; "" to look around this program
  // Asked while somebody else is waited for (the helper, a password): true ends the wait with ECANCELED.
  std::function<bool()> isGivenUp{};
};

struct HelperAnswer {
  PropertyList::Dictionary dictionary;
  std::vector<Descriptor> descriptors;  // their numbers stand in the dictionary
};

// How the helper fails. Tells BASFixFailure what to do.
enum class BASFailCode {
  kNotInstalled,
  kDaemonNotAnswering,  // it is there, but nobody listens
  kInstalledButFailing,
};

// Checks the table. The rights themselves are made by the install tool, which may.
OSStatus BASSetDefaultRules(const Authorization& authorization, const std::vector<CommandSpec>& commands,
                            const std::string& bundleIdentifier, const std::string& promptTable);

// EINVAL for a command that the table does not have. Waits as long as somebody may take to authenticate.
OSStatus BASExecuteRequestInHelperTool(const Authorization& authorization, const std::vector<CommandSpec>& commands,
                                       const std::string& bundleIdentifier, const PropertyList::Dictionary& request,
                                       HelperAnswer& response);
[[nodiscard]] OSStatus BASGetErrorFromResponse(const PropertyList::Dictionary& response);  // 0 when the key is missing

[[nodiscard]] BASFailCode BASDiagnoseFailure(const Authorization& authorization, const std::string& bundleIdentifier);

// Runs the install tool as root: at once when this process is, else through pkexec(1), which has an administrator
// authenticate; given up like any other wait. "enable" when only nobody listens, else "install". $BASLogInteractions
// has it told on standard error.
OSStatus BASFixFailure(const Authorization& authorization, const std::string& bundleIdentifier,
                       const std::string& installToolName, const std::string& helperToolName, BASFailCode failCode);

[[nodiscard]] bool isHelperInstalled(const Authorization& authorization, const std::string& bundleIdentifier);

}  // namespace lumisk
