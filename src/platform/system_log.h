#pragma once

#include <string>

namespace lumisk {

// One line to the system's log, syslog(3); nothing on standard error. Any thread.
void writeSystemLog(const std::string& line);

}  // namespace lumisk
