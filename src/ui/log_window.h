#pragma once

namespace lumisk {

class WindowSet;

// The log of a job, or the application's, as it is written.
void addLogWindow(WindowSet& windows);

}  // namespace lumisk
