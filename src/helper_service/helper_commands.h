#pragma once

#include <map>
#include <string>

#include "helper/bas_helper_tool.h"
#include "helper/os_status.h"
#include "helper_service/clone_task.h"
#include "helper_service/image_mounts.h"

namespace lumisk {

inline constexpr int kHelperVersion = 1013;  // the application replaces a helper that is older

// What the root helper does for each command of lumiskCommands().
std::map<std::string, CommandProc> helperProcedures(const CloneTask::Seams& seams, const ImageMounts& mounts = {});

// Whether the peer may, by polkit(8). Somebody who is asked for a password has a limited time.
OSStatus acquireRightFromPolkit(const HelperPeer& peer, const CommandSpec& command, const LogLine& log);

}  // namespace lumisk
