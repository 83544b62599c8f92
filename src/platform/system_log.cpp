#include "platform/system_log.h"

#include <syslog.h>

namespace lumisk {

void writeSystemLog(const std::string& line) {
  ::syslog(LOG_USER | LOG_NOTICE, "%s", line.c_str());
}

}  // namespace lumisk
