#pragma once

namespace lumisk {

// Whether the user has told the desktop to prefer dark windows: "color-scheme" of "org.freedesktop.appearance", asked
// of the desktop's portal (XDG Desktop Portal, org.freedesktop.portal.Settings). False where there is no portal or it
// does not answer at once. Waits for at most half a second.
[[nodiscard]] bool desktopPrefersDark();

}  // namespace lumisk
