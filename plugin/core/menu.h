// The plug-in's entries in the host's menus.
#pragma once

namespace lumora {

/// Inserts the submenu "Lumora" into the editor's menu, in front of the host's plug-in menu. Once: a menu that holds
/// the plug-in's command stays as it is.
void insertMenu();

}  // namespace lumora
