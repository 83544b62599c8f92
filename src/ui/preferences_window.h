#pragma once

#include "presenters/preferences_presenter.h"

namespace lumisk {

class WindowSet;

// The desktop's entry for starting this program at login.
[[nodiscard]] PreferencesPresenter::LoginSwitch desktopLoginSwitch();

// All preferences on one page; every answer holds at once.
void addPreferencesWindow(WindowSet& windows, PreferencesPresenter::LoginSwitch login = desktopLoginSwitch());

}  // namespace lumisk
