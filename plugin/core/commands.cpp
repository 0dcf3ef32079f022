#include "plugin/core/commands.h"

#include <deque>
#include <span>

#include "engine/api/lumora_api.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

class TableCommand : public CommandData {
public:
    explicit TableCommand(const CommandRow& row) : row_(row) {}
    Bool Execute(BaseDocument* document) override {
        if (!session()) return false;
        row_.run(*session(), document);
        return true;
    }

private:
    const CommandRow& row_;
};

/// The host borrows commands until the plug-in has ended.
std::deque<TableCommand>& commands() {
    static std::deque<TableCommand> all;
    return all;
}

void registerRows(std::span<const CommandRow> rows, const GeResource& texts, Int32 flags) {
    for (const CommandRow& row : rows) {
        String name = row.nameId ? texts.Load(row.nameId) : String();
        if (name.IsEmpty()) name = row.name;
        if (!RegisterCommandPlugin(row.id, name, flags, row.icon, row.help, &commands().emplace_back(row)))
            logLine("Register " + name + " ERROR!!!!");
    }
}

// --- What the commands do -------------------------------------------------------------------------------------------

template <Int32 kMessage>
void post(lumoraLive&, BaseDocument*) {
    SpecialEventAdd(kMessage);
}

void openMainDialog(lumoraLive& live, BaseDocument* document) {
    live.Execute(document);
}

void readSettings(lumoraLive& live, BaseDocument* document) {
    if (live.finalRender || !document) return;
    RenderSettings& settings = *singletons().renderSettings;
    settings.setDocument(document, live.engineReady);
    settings.readFromDocument(true);
    if (live.engineReady && live.renderTarget && settings.applyAll()) callUpdate(live, false, "settings");
}

void pause(lumoraLive& live, BaseDocument*) {
    if (live.engineReady && !live.finalRender) live.pauseRender(!isPausedLocked(live));
}

void stop(lumoraLive& live, BaseDocument*) {
    if (!live.finalRender) live.stopRender();
}

void stopAndReset(lumoraLive& live, BaseDocument*) {
    live.stopAndReset();
}

/// What a creation command puts into the document: an object with one tag of this plug-in.
struct ObjectRecipe {
    const char* name;
    Int32 objectType, tagType;
    Int32 lightType = -1;  ///< of light objects
};
constexpr ObjectRecipe kDaylight{"Lumora DayLight", Olight, ID_LUMORA_DAYLIGHT_TAG, LIGHT_TYPE_DISTANT};
constexpr ObjectRecipe kAreaLight{"Lumora AreaLight", Olight, ID_LUMORA_LIGHT_TAG, LIGHT_TYPE_AREA};
constexpr ObjectRecipe kCamera{"Lumora Camera", Ocamera, ID_LUMORA_CAMERA_TAG};
constexpr ObjectRecipe kSky{"Lumora Sky", Osky, ID_LUMORA_ENVIRONMENT_TAG};

template <const ObjectRecipe& kRecipe>
void create(lumoraLive&, BaseDocument* document) {
    BaseObject* object = document ? BaseObject::Alloc(kRecipe.objectType) : nullptr;
    if (!object) return;
    object->SetName(kRecipe.name);
    if (kRecipe.lightType >= 0) object->SetParameter(LIGHT_TYPE, GeData(kRecipe.lightType));
    object->MakeTag(kRecipe.tagType);
    document->StartUndo();
    document->InsertObject(object);
    document->AddUndo(UndoType::New, object);
    document->EndUndo();
    document->SetActiveObject(object);
    EventAdd();
}

void apiUpdate(lumoraLive& live, BaseDocument*) {
    callUpdate(live, true, "command");
}

constexpr CommandRow kDialogCommands[] = {
    {ID_LUMORA_DIALOG, "Lumora Dialog", 10056, "Start Render", "icon.tif", openMainDialog},
};

constexpr CommandRow kCommands[] = {
    {1033863, "Lumora Daylight", 0, "Create Lumora Daylight", "dayLghtCmd.png", create<kDaylight>},
    {1033864, "Lumora Arealight", 0, "Create Lumora Arealight", "ALghtCmd.png", create<kAreaLight>},
    {1033865, "Lumora Camera", 0, "Create Lumora Camera", "camCmd.png", create<kCamera>},
    {1033866, "Texture Environment", 0, "Create Texture Environment", "envGryCmd.png", create<kSky>},
    {1033867, "Hdri Environment", 0, "Create Hdri Environment", "envHdrCmd.png", create<kSky>},
    {1033873, "Start Lumora Render", 0, "Start Lumora Render", "sendCmd.png", post<MSG_START_RENDER>},
    {1033954, "Pause Lumora Render", 0, "Pause Lumora Render", "pauseCmd.png", pause},
    {1033955, "Stop Lumora Render", 0, "Stop Lumora Render", "stopCmd.png", stop},
    {1033956, "Stop&Reset Lumora Render", 0, "Stop&Reset Lumora Render", "resetCmd.png", stopAndReset},
    {1050462, "Read&apply settings for Lumora Render", 0, "Read&apply settings for Lumora Render", "readSett.png",
     readSettings},
    {1050448, "ApiUpdate Lumora Render", 0, "ApiUpdate Lumora Render", "apiUpdate.png", apiUpdate},
};

}  // namespace

void registerDialogCommands(const GeResource& texts) {
    commands().clear();
    registerRows(kDialogCommands, texts, 0);
}

void registerCommands(const GeResource& texts) {
    registerRows(kCommands, texts, PLUGINFLAG_COMMAND_HOTKEY);
}

}  // namespace lumora
