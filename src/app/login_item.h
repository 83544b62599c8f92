#pragma once

#include <string>

#include "platform/result.h"

namespace lumisk {

// Has the program started, without windows, when the user logs in: entered in the array
// "AutoLaunchedApplicationDictionary" of <home>/Library/Preferences/loginwindow.plist, and as an autostart entry of the
// desktop (freedesktop.org Desktop Application Autostart Specification). What is there already is not touched, so that
// a desktop's own switch for it holds; files that cannot be read are left alone.
Result<void> enterLoginItem(const std::string& programPath);

// $XDG_CONFIG_HOME, else <home>/.config, then "autostart/lumisk.desktop".
[[nodiscard]] std::string autostartPath();
// The entry, its command quoted as the Desktop Entry Specification asks.
[[nodiscard]] std::string autostartText(const std::string& programPath);

}  // namespace lumisk
