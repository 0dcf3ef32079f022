#include "plugin/core/menu.h"

#include "plugin/core/prelude.h"

namespace lumora {

namespace {

constexpr const char* kSessionCommand = "PLUGIN_CMD_1029499";

/// Whether the menu, or a menu inside it, holds the command.
bool holdsCommand(const BaseContainer& menu, const String& command) {
    for (Int32 i = 0; i < menu.GetCount(); ++i) {
        const GeData& entry = menu.GetIndexData(i);
        if (menu.GetIndexId(i) == MENURESOURCE_COMMAND && entry.GetString() == command) return true;
        if (const BaseContainer* inner = entry.GetContainer())
            if (holdsCommand(*inner, command)) return true;
    }
    return false;
}

/// Position of the submenu with that title; -1 when there is none.
Int32 submenuPosition(const BaseContainer& menu, const String& title) {
    for (Int32 i = 0; i < menu.GetCount(); ++i) {
        const BaseContainer* inner = menu.GetIndexData(i).GetContainer();
        if (inner && inner->GetString(MENURESOURCE_SUBTITLE) == title) return i;
    }
    return -1;
}

}  // namespace

void insertMenu() {
    BaseContainer* editor = GetMenuResource("M_EDITOR");
    if (!editor || holdsCommand(*editor, kSessionCommand)) return;
    BaseContainer menu;
    menu.InsData(MENURESOURCE_SUBTITLE, GeData("Lumora"));
    menu.InsData(MENURESOURCE_COMMAND, GeData("ID_LUMORA_MATERIAL_CONVERT"));
    menu.InsData(MENURESOURCE_SEPARATOR, GeData(true));
    menu.InsData(MENURESOURCE_COMMAND, GeData("PLUGIN_CMD_1031193"));
    menu.InsData(MENURESOURCE_COMMAND, GeData(kSessionCommand));
    menu.InsData(MENURESOURCE_COMMAND, GeData("PLUGIN_CMD_1031195"));
    const Int32 before = submenuPosition(*editor, "IDS_EDITOR_PLUGINS");
    if (before >= 0)
        editor->InsDataAt(before, MENURESOURCE_SUBMENU, GeData(menu));
    else
        editor->InsData(MENURESOURCE_SUBMENU, GeData(menu));
}

}  // namespace lumora
