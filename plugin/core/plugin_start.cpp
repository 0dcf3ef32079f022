#include "plugin/core/plugin_start.h"

#include <iterator>

#include "engine/api/delayload.h"
#include "engine/api/lumora_api.h"
#include "plugin/core/command_line.h"
#include "plugin/core/commands.h"
#include "plugin/core/engine_binding.h"
#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/mat_preview_thread.h"
#include "plugin/core/menu.h"
#include "plugin/core/object_link.h"
#include "plugin/core/plugin_classes.h"
#include "plugin/core/plugin_end.h"
#include "plugin/core/prefs.h"
#include "plugin/core/remote_control.h"
#include "plugin/core/script_list.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/session.h"
#include "plugin/core/singletons.h"
#include "plugin/core/timer_message.h"
#include "plugin/geometry/instance_manager.h"
#include "plugin/geometry/mesh_collector.h"
#include "plugin/materials/material_manager.h"
#include "plugin/render/render_settings.h"
#include "plugin/render/vp_renderer.h"
#include "plugin/scene/light_collector.h"

namespace lumora {

namespace {

constexpr Int32 kPriority = 10000;
constexpr Int32 kFirstHostVersion = 20000, kEndHostVersion = 21000;
constexpr Int32 kBitnessWord = 2011;

/// The plug-in's resource: its texts by number.
GeResource& resource() {
    static GeResource texts;
    return texts;
}

CrashHandler previousCrashHandler = nullptr;

void onCrash(const char* crashInfo) {
    GeConsoleOut("Crash...");
    GeConsoleOut("SDK CrashInfo:\n");
    GeConsoleOut(crashInfo ? crashInfo : "");
    if (previousCrashHandler) previousCrashHandler(crashInfo);
}

void installCrashHook() {
    if (GetCrashHandler() == &onCrash) return;
    previousCrashHandler = GetCrashHandler();
    SetCrashHandler(&onCrash);
}

/// One of the host's own libraries.
constexpr Int32 kHostLibrary = 1001428;

/// Loads the engine's library. Failing leaves the reason with the engine binding, for whoever wants to render.
void loadEngine() {
    std::string why;
    const bool loaded = Lumora::loadEngineLibrary(engineDirectory().c_str(), &why);
    setEngineLibraryError(loaded ? String() : String("The engine's library could not be loaded: " + why));
    if (!loaded) logLine(engineLibraryError());
}

bool checkHostVersion() {
    const Int32 version = GetHostVersion();
    if (version >= kFirstHostVersion && version < kEndHostVersion) return true;
    MessageDialog("Lumora plugin(20) and host R" + String::IntToString(version / 1000) +
                  " versions mismatch!\nPlease make sure that you read the installation information.");
    return false;
}

void logVersions() {
    if (engineLibraryError().IsEmpty())
        logLine(String("Loaded Lumora DLL:") + Lumora::ApiInfo::lumoraName() +
                "  version:" + String::IntToString(Lumora::ApiInfo::lumoraVersion()));
    logLine(String("Lumora Render ") + kPluginVersionText + "  BUILD:" + String::IntToString(kPluginBuild) +
            " host:" + String::IntToString(GetHostVersion()));
    logLine(String("\nLumora Render SDK version: ") + kEngineSdkVersionText);
}

/// Tells other versions of the plug-in which one ran last.
void stampWorldData() {
    constexpr Int32 kVersion = 5000, kVersionText = 5001, kDataVersion = 5002;
    const BaseContainer* stored = GetWorldPluginData(ID_LUMORA_SETTINGS);
    if (stored && stored->GetInt32(kVersion) == kPluginVersionStamp) return;
    BaseContainer fresh;
    fresh.SetInt32(kVersion, kPluginVersionStamp);
    fresh.SetString(kVersionText, kPluginVersionText);
    fresh.SetInt32(kDataVersion, kPluginVersionStamp);
    if (!SetWorldPluginData(ID_LUMORA_SETTINGS, fresh)) logLine("SetWorldPluginData failed!");
}

void makeManagers(Singletons& all) {
    all.documentLink = std::make_unique<BaseLink>();
    all.matMngr = std::make_unique<MatManager>("matMngr");
    all.prevMatMngr = std::make_unique<MatManager>("prevMatMngr");
    all.lghtMatMngr = std::make_unique<MatManager>("lghtMatMngr");
    all.meshBuilder = std::make_unique<MeshCollector>(*all.matMngr);
    all.lightCollector = std::make_unique<LightCollector>();
    all.objectLinks = std::make_unique<ObjectLinkTable>();
    all.renderSettings = std::make_unique<RenderSettings>();
    all.instances = std::make_unique<InstanceManager>(*all.matMngr);
}

void startThreads(Singletons& all) {
    if (!all.sendThread) {
        all.sendThread = std::make_unique<SendThread>(*all.session);
        all.sendThread->Start(ThreadPriority::Below);
    }
    if (!all.matPreviewThread) {
        all.matPreviewThread = std::make_unique<MatPreviewThread>();
        all.matPreviewThread->Start(ThreadPriority::Below);
    }
}

void startSession(Singletons& all) {
    all.session = std::make_unique<lumoraLive>();
    const String name = resource().Load(10003);
    if (!RegisterCommandPlugin(ID_LUMORA_SESSION, name.Content() ? name : "Lumora Live Viewer", 0, "icon.tif",
                               "c4dLumoraBridge", all.session.get()))
        logLine("Lumora Render register ERROR!!!!");
}

bool pluginStart() {
    if (!checkHostVersion()) return false;
    Singletons& all = singletons();
    startSession(all);
    loadEngine();
    logVersions();
    stampWorldData();
    all.session->renderScale = 1.0;
    all.prefs = std::make_unique<PluginPrefs>();
    all.prefs->load();
    globals().logOutput = all.prefs->getInt(PREF_LOG_OUTPUT);
    registerDialogCommands(resource());
    all.timer = std::make_unique<TimerMessage>(*all.session);
    if (!RegisterMessagePlugin(ID_LUMORA_TIMER, "", 0, all.timer.get())) logLine("Register MESSAGEPLUGIN ERROR!!!!");
    registerCommands(resource());
    makeManagers(all);
    startThreads(all);
    all.session->inDraw = false;
    scanScripts(*all.session);
    return true;
}

}  // namespace

Filename engineDirectory() {
    const String bits = GetMachineFeatures().GetString(kBitnessWord);
    const char* folder = bits == "32 Bit" || bits == "64 Bit" ? "Libs300" : "Libs32";
    return GeGetPluginPath() + folder;
}

bool PluginStart() {
    resetGlobals();
    resetSingletons();
    resetPluginEnd();
    installCrashHook();
    if (pluginStart() && registerClasses(resource())) return true;
    // The host may unload the library now: no thread of it may run on.
    endPluginActivity();
    return false;
}

bool PluginMessage(Int32 id, void* data) {
    switch (id) {
        case C4DPL_PRIORITY:
            if (data) *static_cast<Int32*>(data) = kPriority;
            return true;
        case C4DPL_INIT_SYS:
            return resource().Init();
        case C4DPL_STARTACTIVITY:
            globals().hostLibrary = FindLibrary(kHostLibrary);
            return false;
        case C4DPL_ENDACTIVITY:
        case C4DPL_ENDPROGRAM:
            endPluginActivity();
            return false;
        case C4DPL_BUILDMENU:
            insertMenu();
            return false;
        case C4DPL_COMMANDLINEARGS:
            return data && session() && parseCommandLine(*session(), *static_cast<CommandLineArgs*>(data));
        case C4DPL_RENDERER_SETTINGS:
            return data && answerRendererSettings(*static_cast<RendererSettingsCall*>(data));
        case ID_LUMORA_SESSION:
            if (data && session()) remoteControl(*session(), *static_cast<const BaseContainer*>(data));
            return false;
        default:
            return false;
    }
}

/// Everything went with the end of activity; what the host borrowed goes now.
void PluginEnd() {
    endPluginActivity();
    if (GetCrashHandler() == &onCrash) SetCrashHandler(previousCrashHandler);
}

}  // namespace lumora

extern "C" __attribute__((visibility("default"))) bool c4d_main(host::PluginCall* call) {
    // No exception leaves the plug-in: the host knows nothing of what it throws.
    try {
        if (!call) return false;
        switch (call->action) {
            case host::PluginAction::Start:
                return lumora::PluginStart();
            case host::PluginAction::Message:
                return lumora::PluginMessage(call->messageId, call->messageData);
            case host::PluginAction::End:
                lumora::PluginEnd();
                return true;
        }
    } catch (const std::exception& error) {
        host::GeConsoleOut(host::String("Lumora: ") + error.what());
    }
    return false;
}
