#include "cli/commands.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

enum class Activity { kEnabled, kDisabled };

// Disabled by hand also means that the job is not enabled again when its disk image appears.
Checked<void> setActivity(StoreAccess& access, const std::string& name, Activity activity) {
  LUMISK_TRY(const std::int32_t index, access.indexOf(name));
  const auto set = [&](PropertyList::Dictionary& job) {
    job[kActiveKey] = activity == Activity::kEnabled;
    job[kManullyDisableKey] = activity == Activity::kDisabled;
  };
  if (!access.store().changeJob(index, set)) return storeFailed(access.store());
  return {};
}

Checked<Ending> jobEnable(const NamedJob& options, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_CHECK(access.change([&](JobStore&) { return setActivity(access, options.name, Activity::kEnabled); }));
  io.out << "Enabled the job " << displayText(options.name) << '\n';
  return Ending::kDone;
}

Checked<Ending> jobDisable(const NamedJob& options, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_CHECK(access.change([&](JobStore&) { return setActivity(access, options.name, Activity::kDisabled); }));
  io.out << "Disabled the job " << displayText(options.name) << '\n';
  return Ending::kDone;
}

}  // namespace

void addJobEnableCommands(CLI::App& parent, CommandRun& chosen) {
  addNamedJobCommand(parent, chosen, "enable", "Let a job take part in schedules again", &jobEnable);
  addNamedJobCommand(parent, chosen, "disable", "Leave a job out of schedules; it can still be run by hand",
                     &jobDisable);
}

}  // namespace lumisk
