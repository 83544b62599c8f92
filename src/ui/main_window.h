#pragma once

namespace lumisk {

class WindowSet;

// The list of jobs with its tool bar.
void addMainWindow(WindowSet& windows);

}  // namespace lumisk
