#pragma once

namespace lumisk {

class WindowSet;

// Earlier versions of a job's files and folders, to be put back or looked at.
void addRestoreWindow(WindowSet& windows);

}  // namespace lumisk
