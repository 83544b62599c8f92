#include "app/login_item.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "platform/durable_file.h"
#include "platform/home_folder.h"
#include "platform/paths.h"
#include "platform/property_list.h"

namespace lumisk {
namespace {

constexpr const char* kItemsKey = "AutoLaunchedApplicationDictionary";
constexpr const char* kPathKey = "Path";
constexpr const char* kHideKey = "Hide";
constexpr const char* kHiddenLine = "Hidden=true";
constexpr unsigned kFileMode = 0644;

bool hasItem(const PropertyList& items, const std::string& programPath) {
  return std::any_of(items.array().begin(), items.array().end(),
                     [&](const PropertyList& item) { return item[kPathKey].text() == programPath; });
}

Result<void> enterInLoginWindow(const std::string& programPath) {
  const std::string path = homeFolder() + "/Library/Preferences/loginwindow.plist";
  auto list = readPropertyListFile(path);
  if (!list && list.error().code != ENOENT) return fail(list.error());
  PropertyList items = list ? std::move(*list) : PropertyList(PropertyList::Dictionary{});
  if (items.kind() != PropertyList::Kind::kDictionary) return fail("read the login items", path, EINVAL);
  if (hasItem(items[kItemsKey], programPath)) return {};
  items.mutableDictionary()[kItemsKey].mutableArray().push_back(
      PropertyList::Dictionary{{kPathKey, programPath}, {kHideKey, false}});
  return writePropertyListFile(path, items);
}

Result<void> writeAutostart(const std::string& programPath, const std::string& furtherLines) {
  const std::string path = autostartPath();
  const bool hasLineBreak = programPath.find_first_of("\r\n") != std::string::npos;
  if (hasLineBreak) return fail("make the autostart entry", path, EINVAL);
  std::error_code failure;
  std::filesystem::create_directories(paths::parent(path), failure);
  if (failure) return fail("make the folder", paths::parent(path), failure.value());
  return replaceFile(path, autostartText(programPath) + furtherLines, kFileMode);
}

Result<void> enterInAutostart(const std::string& programPath) {
  std::error_code failure;
  if (std::filesystem::exists(std::filesystem::symlink_status(autostartPath(), failure))) return {};
  return writeAutostart(programPath, {});
}

}  // namespace

Result<void> enterLoginItem(const std::string& programPath) {
  auto entered = enterInLoginWindow(programPath);
  LUMISK_CHECK(enterInAutostart(programPath));
  return entered;
}

bool isStartedAtLogin() {
  std::ifstream entry(autostartPath());
  if (!entry) return false;
  for (std::string line; std::getline(entry, line);)
    if (line == kHiddenLine) return false;
  return true;
}

Result<void> setStartedAtLogin(const std::string& programPath, bool isStarted) {
  return writeAutostart(programPath, isStarted ? std::string() : std::string(kHiddenLine) + "\n");
}

std::string autostartPath() {
  const char* const configured = std::getenv("XDG_CONFIG_HOME");
  const bool isUsable = configured && configured[0] == '/';
  return (isUsable ? std::string(configured) : homeFolder() + "/.config") + "/autostart/lumisk.desktop";
}

// Escaped twice: the quoted argument, and the value that holds it. A percent sign begins a field code.
std::string quotedForEntry(const std::string& programPath) {
  std::string quoted;
  for (const char byte : programPath) {
    if (byte == '"' || byte == '`' || byte == '$') quoted += "\\\\";
    if (byte == '\\') quoted += "\\\\\\";
    if (byte == '%') quoted += '%';
    quoted += byte;
  }
  return '"' + quoted + '"';
}

std::string autostartText(const std::string& programPath) {
  return "[Desktop Entry]\nType=Application\nName=Qel Lumisk\nExec=" + quotedForEntry(programPath) +
         " daemon\nTerminal=false\nNoDisplay=true\n";
}

}  // namespace lumisk
