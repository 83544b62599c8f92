#pragma once

#include "presenters/preferences_presenter.h"

namespace lumisk {

class WindowSet;

// The desktop's entry for starting this program at login.
[[nodiscard]] PreferencesPresenter::SystemSwitches systemSwitches();

// All preferences on one page; every answer holds at once.
void addPreferencesWindow(WindowSet& windows, PreferencesPresenter::SystemSwitches system = systemSwitches());

}  // namespace lumisk
