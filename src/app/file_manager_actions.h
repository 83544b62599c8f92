#pragma once

#include <string>

#include "platform/result.h"

namespace lumisk {

// The actions of this program in the menus of file managers ("add to a job", "new job", "earlier versions"), for this
// user alone, below $XDG_DATA_HOME, else <home>/.local/share: Dolphin's service menu (kio/servicemenus) and Nautilus's
// scripts (nautilus/scripts). Thunar keeps all of its user's actions in one file, which stays the user's:
// packaging/file_managers has ours.
//
// Switched off, the files are removed. `programFolder` holds the programs that they start.
Result<void> setFileManagerActions(const std::string& programFolder, bool areShown);

}  // namespace lumisk
