#include "helper/install_layout.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/property_list.h"

namespace lumisk {
namespace {

constexpr std::string_view kUnits = "/etc/systemd/system/";
constexpr int kSocketMode = 0666;  // the helper asks about everybody

// Mounting works on the machine's own mounts, so the service gets no view of the file system of its own.
constexpr const char* kServiceUnit = R"([Unit]
Description=Root helper of Qel Lumisk, which clones volumes
Requires={0}.socket

[Service]
ExecStart={1}
WorkingDirectory=/
UMask=0077
NoNewPrivileges=yes
CapabilityBoundingSet=CAP_SYS_ADMIN CAP_DAC_OVERRIDE CAP_DAC_READ_SEARCH CAP_CHOWN CAP_FOWNER CAP_FSETID CAP_MKNOD CAP_SETFCAP CAP_SETUID CAP_SETGID CAP_LINUX_IMMUTABLE
RestrictAddressFamilies=AF_UNIX AF_NETLINK
RestrictRealtime=yes
RestrictNamespaces=yes
LockPersonality=yes
KeyringMode=private
IPAddressDeny=any
LimitCORE=0
SystemCallFilter=~@clock @cpu-emulation @debug @module @obsolete @raw-io @reboot @swap
SystemCallErrorNumber=EPERM
MemoryDenyWriteExecute=yes
SystemCallArchitectures=native
TasksMax=512
)";

// /var/run is /run; systemd complains about the older spelling.
constexpr const char* kSocketUnit = R"([Unit]
Description=Socket of the root helper of Qel Lumisk

[Socket]
ListenStream=/run/{0}.socket
SocketMode=0666
RemoveOnStop=yes

[Install]
WantedBy=sockets.target
)";

constexpr const char* kPolicyHead = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE policyconfig PUBLIC "-//freedesktop//DTD PolicyKit Policy Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/PolicyKit/1/policyconfig.dtd">
<policyconfig>
  <vendor>Qel Corporation</vendor>
)";

constexpr const char* kPolicyAction = R"(  <action id="{0}">
    <description>{1}</description>
    <message>{2}</message>
    <defaults>
      <allow_any>auth_admin</allow_any>
      <allow_inactive>auth_admin</allow_inactive>
      <allow_active>{3}</allow_active>
    </defaults>
  </action>
)";

struct Prompt {
  std::string_view key;
  const char* description;
  const char* message;
};
constexpr Prompt kPrompts[] = {
    {"GetUIDsPrompt", "Clone a volume", "Authentication is required to clone a volume onto another"},
    {"LowNumberedPortsPrompt", "Open low-numbered ports", "Authentication is required to open low-numbered ports"},
    {"MountImagePrompt", "Open an encrypted image", "Authentication is required to open an encrypted image"},
};

std::string daemonDescription(std::string_view bundle) {
  const PropertyList::Dictionary socket{{"SockFamily", "Unix"},
                                        {"SockPathMode", kSocketMode},
                                        {"SockPathName", helperSocketPath(bundle)},
                                        {"SockType", "Stream"}};
  const PropertyList::Dictionary description{
      {"Disabled", true},   {"Label", std::string(bundle)},
      {"OnDemand", true},   {"ProgramArguments", PropertyList::Array{helperToolPath(bundle)}},
      {"ServiceIPC", true}, {"Sockets", PropertyList::Dictionary{{"MasterSocket", socket}}},
  };
  return propertyListToXml(description).value_or("");
}

const char* answerForActive(const std::string& rule) {
  if (rule == kRuleForSomebodyPresent) return "yes";
  return rule == "allow" ? "auth_admin_keep" : "auth_admin";
}

std::string policyAction(std::string_view bundle, const CommandSpec& command) {
  const auto prompt = std::find_if(std::begin(kPrompts), std::end(kPrompts),
                                   [&](const Prompt& one) { return one.key == command.rightDescriptionKey; });
  const bool isKnown = prompt != std::end(kPrompts);
  return fmt::format(kPolicyAction, policyActionOf(command.rightName, bundle),
                     isKnown ? prompt->description : "Use the root helper",
                     isKnown ? prompt->message : "Authentication is required to use the root helper",
                     answerForActive(command.rightDefaultRule));
}

std::string policy(std::string_view bundle, const std::vector<CommandSpec>& commands) {
  std::string text = kPolicyHead;
  for (const CommandSpec& command : commands)
    if (!command.rightName.empty()) text += policyAction(bundle, command);
  return text + "</policyconfig>\n";
}

}  // namespace

std::string helperToolPath(std::string_view bundleIdentifier) {
  return fmt::format("/Library/LumiskHelperTools/{}", bundleIdentifier);
}

std::string helperSocketPath(std::string_view bundleIdentifier) {
  return fmt::format("/var/run/{}.socket", bundleIdentifier);
}

std::string helperSocketUnit(std::string_view bundleIdentifier) {
  return fmt::format("{}.socket", bundleIdentifier);
}

std::vector<InstalledFile> helperDescriptions(std::string_view bundleIdentifier,
                                              const std::vector<CommandSpec>& commands) {
  const std::string bundle(bundleIdentifier);
  return {
      {fmt::format("/Library/LaunchDaemons/{}.plist", bundle), daemonDescription(bundle)},
      {fmt::format("{}{}.service", kUnits, bundle), fmt::format(kServiceUnit, bundle, helperToolPath(bundle))},
      {fmt::format("{}{}.socket", kUnits, bundle), fmt::format(kSocketUnit, bundle)},
      {fmt::format("/usr/share/polkit-1/actions/{}.policy", bundle), policy(bundle, commands)},
  };
}

InstalledLink helperEnablement(std::string_view bundleIdentifier) {
  const std::string unit = helperSocketUnit(bundleIdentifier);
  return {fmt::format("{}sockets.target.wants/{}", kUnits, unit), fmt::format("{}{}", kUnits, unit)};
}

bool isBundleIdentifier(std::string_view text) {
  constexpr std::size_t kLongest = 80;  // the socket's path has room for 107 bytes
  const auto isAllowed = [](char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') || (letter >= '0' && letter <= '9') ||
           letter == '-' || letter == '.';
  };
  return !text.empty() && text.size() <= kLongest && text.front() != '.' && text.front() != '-' &&
         std::all_of(text.begin(), text.end(), isAllowed);
}

}  // namespace lumisk
