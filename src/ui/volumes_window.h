#pragma once

#include "presenters/volumes_presenter.h"

namespace lumisk {

class WindowSet;

// Every volume with its room as a pie, and every disk.
void addVolumesWindow(WindowSet& windows, VolumesPresenter::Lister lister = listedVolumes);

}  // namespace lumisk
