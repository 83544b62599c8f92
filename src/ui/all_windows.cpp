#include "ui/main_window.h"
#include "ui/windows.h"

namespace lumisk {

// One line for each: its header declares `void addX(WindowSet&)`, which calls WindowSet::add().
void addAllWindows(WindowSet& windows) {
  addMainWindow(windows);
}

}  // namespace lumisk
