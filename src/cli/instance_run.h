#pragma once

#include "cli/instance.h"
#include "cli/terminal_run.h"

namespace lumisk {

// Has the running instance run a job, shows how far it is, and says in the end what was done, as if it had run here. A
// job that runs already is followed to its end. Ctrl-C or SIGTERM stops the run and waits for its end; the second one
// does not wait.
Checked<Ending> runThroughInstance(Instance& instance, const QUORVELPREFERENCEINFO& job, const RunChoices& choices,
                                   CommandIo& io);

}  // namespace lumisk
