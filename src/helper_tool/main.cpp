#include "clone/volume_clone.h"
#include "helper/bas_helper_tool.h"
#include "helper_service/helper_commands.h"
#include "platform/least_rights.h"
#include "platform/program_start.h"
#include "platform/real_file_calls.h"
#include "platform/system_log.h"

namespace {

lumisk::CloneReport cloneReally(const lumisk::CloneOrder& order, lumisk::CloneObserver& observer) {
  return lumisk::cloneVolume(lumisk::realFileCalls(), order, observer);
}

}  // namespace

// Started as root by its socket.
int main() {
  using namespace lumisk;
  programStart::openMissingStreams();
  const LogLine log = [](const std::string& line) { writeSystemLog("lumisk helper: " + line); };
  if (const auto kept = leastRights::keep(); !kept) {
    log(kept.error().text());
    return 1;
  }
  const HelperToolServices services{
      [&log](const HelperPeer& peer, const CommandSpec& command) { return acquireRightFromPolkit(peer, command, log); },
      log};
  return BASHelperToolMain(lumiskCommands(), helperProcedures({.clone = cloneReally, .log = log}), services);
}
