#include "plugin/core/commands.h"

#include <deque>
#include <span>

#include "engine/api/lumora_api.h"
#include "plugin/core/benchmark.h"
#include "plugin/core/create_objects.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/prefs.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/core/update_pass.h"
#include "plugin/materials/unused_materials.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

class TableCommand : public CommandData {
public:
    explicit TableCommand(const CommandRow& row) : row_(row) {}
    Bool Execute(BaseDocument* document) override {
        if (!session() || globals().pluginExited) return false;
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
        const String help = *row.help ? String(row.help) : name;
        if (RegisterCommandPlugin(row.id, name, flags, row.icon, help, &commands().emplace_back(row))) continue;
        logLine(*row.failure ? String(row.failure) : "Register " + name + " ERROR!!!!");
    }
}

// --- What the commands do -------------------------------------------------------------------------------------------

template <Int32 kMessage>
void post(lumoraLive&, BaseDocument*) {
    SpecialEventAdd(kMessage);
}

void openMainDialog(lumoraLive& live, BaseDocument*) {
    live.openMainDialog();
}

void openSettings(lumoraLive& live, BaseDocument*) {
    live.openSettings();
}

void openMatVault(lumoraLive& live, BaseDocument*) {
    live.openMatVault();
}

void openHelp(lumoraLive&, BaseDocument*) {
    static constexpr const char* kPage = "index.html";
    SpecialEventAdd(MSG_OPEN_HELP, reinterpret_cast<UInt64>(kPage), reinterpret_cast<UInt64>(kPage));
}

void convertMaterials(lumoraLive&, BaseDocument* document) {
    convertMaterialsOf(document);
}

void readSettings(lumoraLive& live, BaseDocument* document) {
    if (live.finalRender || !document || !singletons().renderSettings) return;
    RenderSettings& settings = *singletons().renderSettings;
    settings.setDocument(document, live.engineReady);
    settings.readFromDocument(true);
    if (live.engineReady && live.renderTarget && settings.apply(live.renderTarget, singletons().prefs.get()))
        callUpdate(live, false, "settings");
}

void openDocumentSettings(lumoraLive& live, BaseDocument* document) {
    readSettings(live, document);
    SpecialEventAdd(MSG_OPEN_SETTINGS);
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

void checkUpdate(lumoraLive& live, BaseDocument*) {
    updatePass(live, CHECK_CAMERA, false, true);
}

void apiUpdate(lumoraLive& live, BaseDocument*) {
    callUpdate(live, true, "command");
}

void removeUnused(lumoraLive& live, BaseDocument* document) {
    if (!document || live.finalRender) return;
    const Int32 removed = removeUnusedMaterials(*document);
    logLine("Removed materials:" + String::IntToString(removed));
}

void exportAnimation(lumoraLive& live, BaseDocument*) {
    if (live.finalRender) return;
    logLine("Lumora cannot export animated packages here.");
}

void test(lumoraLive&, BaseDocument*) {
    constexpr Int32 kSize = 100000;
    runBenchmark(kSize);
}

/// Inserts the object or material of that keyword.
template <const char* kKeyword>
void create(lumoraLive&, BaseDocument* document) {
    if (document) createByKeyword(*document, kKeyword);
}

namespace keyword {
constexpr char daylight[] = "daylight", arealight[] = "arealight", tarealight[] = "tarealight", ieslight[] = "ieslight",
               camera[] = "camera", env[] = "env", env2[] = "env2", fogvolume[] = "fogvolume",
               vdbvolume[] = "vdbvolume";
constexpr char diffuse[] = "diffuse", glossy[] = "glossy", specular[] = "specular", univ[] = "univ", mix[] = "mix",
               metal[] = "metal", toon[] = "toon", blend[] = "blend";
}  // namespace keyword

// clang-format off
constexpr CommandRow kDialogCommands[] = {
    {ID_LUMORA_CONVERT, "Convert Materials", 10042, "Material Convert", "convCmd.png", convertMaterials,
     "Register CONVERT_MATERIALS ERROR!!!!"},
    {ID_LUMORA_DIALOG, "Lumora Dialog", 10056, "Start Render", "icon.tif", openMainDialog,
     "Register OPEN_LUMORA_DIALOG ERROR!!!!"},
    {ID_LUMORA_SETTINGS, "Lumora Settings", 10057, "Open Lumora Settings", "setCmd.png", openSettings,
     "Register OPEN_SETTINGS ERROR!!!!"},
};

/// In the order of registration. An empty help text is the name again.
constexpr CommandRow kCommands[] = {
    {1033863, "Lumora Daylight", 0, "Create Lumora Daylight", "dayLghtCmd.png", create<keyword::daylight>},
    {1033864, "Lumora Arealight", 0, "Create Lumora Arealight", "ALghtCmd.png", create<keyword::arealight>},
    {1033865, "Lumora Camera", 0, "Create Lumora Camera", "camCmd.png", create<keyword::camera>},
    {1033866, "Texture Environment", 0, "Create Texture Environment", "envGryCmd.png", create<keyword::env>},
    {1033867, "Hdri Environment", 0, "Create Hdri Environment", "envHdrCmd.png", create<keyword::env2>},
    {1033868, "Lumora Targetted Arealight", 0, "", "ALghtTCmd.png", create<keyword::tarealight>},
    {1033869, "Lumora Ies Light", 0, "", "ALghtICmd.png", create<keyword::ieslight>},
    {1033870, "Lumora MatVault", 10065, "Lumora MatVault Editor", "mvltCmd.png", openMatVault},
    {1033872, "Lumora Node Editor", 0, "Open Node Editor", "ngCmd.png", post<MSG_OPEN_NODE_EDITOR>},
    {1035275, "Lumora Texture Manager", 0, "", "texture_man.png", post<MSG_OPEN_TEXTURE_MANAGER>},
    {1033871, "Lumora Diffuse Material", 0, "Diffuse Material", "difmat.png", create<keyword::diffuse>},
    {1033893, "Lumora Glossy Material", 0, "Glossy Material", "glsmat.png", create<keyword::glossy>},
    {1033894, "Lumora Specular Material", 0, "Specular Material", "spcmat.png", create<keyword::specular>},
    {1041569, "Lumora Universal Material", 0, "Universal Material", "unimat.png", create<keyword::univ>},
    {1033895, "Lumora Mix Material", 0, "Mix Material", "mixmat.png", create<keyword::mix>},
    {1040116, "Lumora Metallic Material", 0, "Metallic Material", "mtlmat.png", create<keyword::metal>},
    {1040117, "Lumora Toon Material", 0, "Toon Material", "toonmat.png", create<keyword::toon>},
    {1040118, "Lumora Blend Material", 0, "", "Blendmat.png", create<keyword::blend>},
    {1036589, "Lumora Fog Volume", 0, "", "vdb.png", create<keyword::fogvolume>},
    {1037329, "Lumora Vdb Volume", 0, "", "vdb.png", create<keyword::vdbvolume>},
    {1033873, "Start Lumora Render", 0, "", "sendCmd.png", post<MSG_START_RENDER>},
    {1035351, "Remove Unused Materials", 0, "", "remMats1.png", removeUnused},
    {1037665, "Export Animated Lpak", 0, "", "remMats1.png", exportAnimation},
    {1033896, "Lumora Help", 0, "Opens Interactive Help Window", "helpWCmd.png", openHelp},
    {1033954, "Pause Lumora Render", 0, "", "pauseCmd.png", pause},
    {1033955, "Stop Lumora Render", 0, "", "stopCmd.png", stop},
    {1033956, "Stop&Reset Lumora Render", 0, "", "resetCmd.png", stopAndReset},
    {1050444, "Check for Lumora updates", 0, "", "chkUpdate.png", checkUpdate},
    {1050447, "Open Settings for Lumora Render", 0, "", "openSett.png", openDocumentSettings},
    {1050462, "Read&apply settings for Lumora Render", 0, "", "readSett.png", readSettings},
    {1050448, "ApiUpdate Lumora Render", 0, "", "apiUpdate.png", apiUpdate},
    {1031194, "Test", 0, "", "testCmd.png", test, "Register ID_LUMORA_TEST_PLUGIN ERROR!!!!"},
};
// clang-format on

}  // namespace

std::vector<const CommandRow*> commandRows() {
    std::vector<const CommandRow*> rows;
    for (const CommandRow& row : kDialogCommands) rows.push_back(&row);
    for (const CommandRow& row : kCommands) rows.push_back(&row);
    return rows;
}

void convertMaterialsOf(BaseDocument* document) {
    if (!document) return;
    globals().converting = true;
    logLine("Material convert started...");
    logLine("Lumora renders the host's materials as they are; none was converted.");
    globals().converting = false;
}

void registerDialogCommands(const GeResource& texts) {
    commands().clear();
    registerRows(kDialogCommands, texts, 0);
}

void registerCommands(const GeResource& texts) {
    registerRows(kCommands, texts, PLUGINFLAG_COMMAND_HOTKEY);
}

}  // namespace lumora
