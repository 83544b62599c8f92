#include "app/file_manager_actions.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <vector>

#include "app/login_item.h"
#include "platform/durable_file.h"
#include "platform/home_folder.h"
#include "platform/paths.h"

namespace lumisk {
namespace {

constexpr unsigned kFileMode = 0755;

struct ActionFile {
  std::string path;
  std::string text;
};

std::string dataFolder() {
  const char* const configured = std::getenv("XDG_DATA_HOME");
  const bool isUsable = configured && configured[0] == '/';
  return isUsable ? configured : homeFolder() + "/.local/share";
}

std::string quotedForShell(const std::string& path) {
  std::string quoted = "'";
  for (const char byte : path) quoted += byte == '\'' ? "'\\''" : std::string(1, byte);
  return quoted + "'";
}

// Paths arrive as one argument each, without a shell.
std::string serviceMenu(const std::string& lumisk, const std::string& desktop) {
  return "[Desktop Entry]\nType=Service\nMimeType=inode/directory;application/octet-stream;\n"
         "X-KDE-ServiceTypes=KonqPopupMenu/Plugin\nX-KDE-Protocols=file\nX-KDE-Submenu=Qel Lumisk\n"
         "Actions=addToJob;newJob;restore;\n\n"
         "[Desktop Action addToJob]\nName=Add to a Job\nExec=" +
         quotedForEntry(lumisk) +
         " send --action 101 -- %F\n\n"
         "[Desktop Action newJob]\nName=New Job\nExec=" +
         quotedForEntry(lumisk) +
         " send --action 102 -- %F\n\n"
         "[Desktop Action restore]\nName=Earlier Versions\nExec=" +
         quotedForEntry(desktop) + " --restore %f\n";
}

// The selected names arrive as arguments; the variables with their paths are of no use, because a name may hold a
// newline.
std::string sendScript(const std::string& lumisk, const std::string& action) {
  return "#!/bin/sh\nproblem=$(" + quotedForShell(lumisk) + " send --action " + action +
         " -- \"$@\" 2>&1) && exit 0\nnotify-send -- 'Qel Lumisk' \"$problem\"\nexit 1\n";
}

std::vector<ActionFile> actionFiles(const std::string& programFolder) {
  const std::string lumisk = paths::join(programFolder, "lumisk");
  const std::string desktop = paths::join(programFolder, "lumisk-desktop");
  const std::string scripts = dataFolder() + "/nautilus/scripts/";
  return {{dataFolder() + "/kio/servicemenus/lumisk.desktop", serviceMenu(lumisk, desktop)},
          {scripts + "Add to a Qel Lumisk Job", sendScript(lumisk, "101")},
          {scripts + "New Qel Lumisk Job", sendScript(lumisk, "102")},
          {scripts + "Earlier Versions by Qel Lumisk",
           "#!/bin/sh\nexec " + quotedForShell(desktop) + " --restore \"$1\"\n"}};
}

Result<void> place(const ActionFile& file) {
  std::error_code failure;
  std::filesystem::create_directories(paths::parent(file.path), failure);
  if (failure) return fail("make the folder", paths::parent(file.path), failure.value());
  return replaceFile(file.path, file.text, kFileMode);
}

Result<void> take(const ActionFile& file) {
  std::error_code failure;
  std::filesystem::remove(file.path, failure);
  if (failure) return fail("remove the action", file.path, failure.value());
  return {};
}

}  // namespace

Result<void> setFileManagerActions(const std::string& programFolder, bool areShown) {
  const bool hasLineBreak = programFolder.find_first_of("\r\n") != std::string::npos;
  if (hasLineBreak) return fail("make the actions of file managers", programFolder, EINVAL);
  for (const ActionFile& file : actionFiles(programFolder)) LUMISK_CHECK(areShown ? place(file) : take(file));
  return {};
}

}  // namespace lumisk
