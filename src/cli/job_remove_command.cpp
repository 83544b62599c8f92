#include "cli/commands.h"
#include "cli/job_files.h"
#include "cli/options.h"
#include "cli/store_access.h"
#include "platform/byte_text.h"

namespace lumisk {
namespace {

Checked<void> remove(const std::string& name, StoreAccess& access, CommandIo& io) {
  LUMISK_TRY(const std::int32_t index, access.indexOf(name));
  LUMISK_CHECK(removeFileList(io.files, name));
  if (!access.store().deletePreferenceInfo(index)) return storeFailed(access.store());
  return {};
}

Checked<Ending> jobRemove(const NamedJob& options, CommandIo& io) {
  StoreAccess access(io);
  LUMISK_CHECK(access.change([&](JobStore&) { return remove(options.name, access, io); }));
  io.out << "Removed the job " << displayText(options.name) << "; what it copied stays\n";
  return Ending::kDone;
}

}  // namespace

void addJobRemoveCommand(CLI::App& parent, CommandRun& chosen) {
  addNamedJobCommand(parent, chosen, "remove", "Forget a job; what it copied stays", &jobRemove);
}

}  // namespace lumisk
