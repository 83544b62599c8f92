#include "ui/job_editor_window.h"
#include "ui/log_window.h"
#include "ui/main_window.h"
#include "ui/mini_panel.h"
#include "ui/pick_job_window.h"
#include "ui/preferences_window.h"
#include "ui/restore_window.h"
#include "ui/volumes_window.h"
#include "ui/windows.h"

namespace lumisk {

// One line for each: its header declares `void addX(WindowSet&)`, which calls WindowSet::add().
void addAllWindows(WindowSet& windows) {
  addMainWindow(windows);
  addLogWindow(windows);
  addRestoreWindow(windows);
  addMiniPanel(windows);
  addPickJobWindow(windows);
  addJobEditor(windows);
  addVolumesWindow(windows);
  addPreferencesWindow(windows);
}

}  // namespace lumisk
