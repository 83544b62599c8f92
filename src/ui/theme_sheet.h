#pragma once

#include <QString>

#include "ui/theme.h"

namespace lumisk::theme {

// The style sheet of the whole program, in these colours.
[[nodiscard]] QString styleSheet(const Colours& colours);

}  // namespace lumisk::theme
