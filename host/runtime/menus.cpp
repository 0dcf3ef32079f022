#include "host/runtime/menus.h"

#include <array>
#include <map>

#include "host/sdk/plugin.h"

namespace host {

namespace {

std::map<std::string, BaseContainer>& menus() {
    static std::map<std::string, BaseContainer> table;
    return table;
}

}  // namespace

void resetMenus() {
    menus().clear();
    BaseContainer& editor = menus()["M_EDITOR"];
    editor.InsData(MENURESOURCE_SUBTITLE, "IDS_EDITOR");
    for (const char* title : {"IDS_EDITOR_FILE", "IDS_EDITOR_EDIT", "IDS_EDITOR_CREATE", "IDS_EDITOR_RENDER",
                              "IDS_EDITOR_PLUGINS", "IDS_EDITOR_WINDOW"}) {
        BaseContainer menu;
        menu.InsData(MENURESOURCE_SUBTITLE, title);
        editor.InsData(MENURESOURCE_SUBMENU, GeData(menu));
    }
}

BaseContainer* GetMenuResource(const String& menuName) {
    const auto found = menus().find(menuName.str());
    return found == menus().end() ? nullptr : &found->second;
}

}  // namespace host
