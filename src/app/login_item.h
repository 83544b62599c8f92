#pragma once

#include <string>

#include "platform/result.h"

namespace lumisk {

// Has the program started, without windows, when the user logs in: entered in the array
// "AutoLaunchedApplicationDictionary" of <home>/Library/Preferences/loginwindow.plist, and as an autostart entry of the
// desktop (freedesktop.org Desktop Application Autostart Specification). What is there already is not touched, so that
// a desktop's own switch for it holds; files that cannot be read are left alone.
Result<void> enterLoginItem(const std::string& programPath);

// The switch in the preferences: the desktop's entry alone, which is left where it is and hidden to switch it off, so
// that no later start makes another. A hidden or missing entry starts nothing.
[[nodiscard]] bool isStartedAtLogin();
Result<void> setStartedAtLogin(const std::string& programPath, bool isStarted);

// $XDG_CONFIG_HOME, else <home>/.config, then "autostart/lumisk.desktop".
[[nodiscard]] std::string autostartPath();
[[nodiscard]] std::string autostartText(const std::string& programPath);
// A program as the first word of a command in a desktop entry, quoted as the Desktop Entry Specification asks.
[[nodiscard]] std::string quotedForEntry(const std::string& programPath);

}  // namespace lumisk
