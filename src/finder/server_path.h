#pragma once

#include <string>

#include "platform/result.h"

namespace lumisk {

// Where the server of this home folder has its socket: the connection name and a digest of the home folder, in the
// user's runtime folder. ENAMETOOLONG when a socket cannot have that name, EINVAL for a name that is empty or has "/".
Result<std::string> serverSocketPath(const std::string& connectionName);

}  // namespace lumisk
