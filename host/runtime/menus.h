// The menus as containers, for plug-ins that add to them.
#pragma once

namespace host {

/// Makes the host's own menus anew: "M_EDITOR" with the sub-menus of the main window.
void resetMenus();

}  // namespace host
