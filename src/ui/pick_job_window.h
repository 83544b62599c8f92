#pragma once

namespace lumisk {

class WindowSet;

// Which job gets the folders that a file manager sent.
void addPickJobWindow(WindowSet& windows);

}  // namespace lumisk
