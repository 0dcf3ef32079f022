// Plug-ins: the exported entry, and the registration of what a plug-in brings.
//
// A plug-in is a shared library <plugins>/<name>/<name>.so that exports c4d_main. The host calls it once to start, then
// with messages, and once to end. All calls come on the main thread.
#pragma once

#include <memory>
#include <vector>

#include "host/sdk/node_data.h"

namespace host {

/// Version of this interface, major * 1000 + minor.
inline constexpr Int32 kApiVersion = 20059;

enum class PluginAction : Int32 { Start = 1, End = 2, Message = 3 };

/// The argument of c4d_main.
struct PluginCall {
    Int32 apiVersion = kApiVersion;
    PluginAction action = PluginAction::Start;
    const char* pluginDirectory = "";  ///< of the library, no slash at the end
    Int32 messageId = 0;
    void* messageData = nullptr;
};

enum PluginMessageId : Int32 {
    C4DPL_INIT_SYS = 1,  ///< before PluginStart: resources
    C4DPL_PRIORITY = 0,  ///< data: Int32*, higher loads first
    C4DPL_STARTACTIVITY = 1000,
    C4DPL_ENDACTIVITY = 1001,
    C4DPL_COMMANDLINEARGS = 1002,  ///< data: CommandLineArgs*
    C4DPL_PROGRAM_STARTED = 1001062,
    C4DPL_ENDPROGRAM = 1001084,
    C4DPL_BUILDMENU = 1001188,
    C4DPL_RENDERER_SETTINGS = 1003001,  ///< data: RendererSettingsCall*; a renderer that owns the id answers true
};

/// One setting of a renderer as a person reads and types it.
struct RendererSetting {
    String key;              ///< "Group.key"
    String value, fallback;  ///< now, and the default
    String range;            ///< "1 to 100000", "0, 1", ...; empty: any
    String label;
    String group;  ///< heading that it stands under
};

enum class RendererSettingsTask : Int32 {
    Settings = 0,  ///< sets `key` to `value` when a key is given; lists all settings
    ListPresets,   ///< fills `presets`; needs no document
    ApplyPreset,   ///< the settings that the preset `preset` holds; lists all settings
    ListChoices,   ///< fills `choices` with the words that `key` takes; needs no document
    SavePreset,    ///< keeps the document's settings under the name `preset`, in place of one of that name
};

/// Asks the renderer (the video post of that id) about the settings that it keeps in a document, or changes them.
/// Every renderer knows the short keys "kernel", "samples" (of the kernel in force), "exposure", "response" and
/// "denoise" beside its own.
struct RendererSettingsCall {
    Int32 renderer = 0;
    BaseDocument* document = nullptr;
    String key, value;                  ///< set this one; an empty key: only list
    std::vector<RendererSetting> rows;  ///< out: all settings, after the change
    String error;                       ///< out: why a key, value or preset was refused; empty: taken
    RendererSettingsTask task = RendererSettingsTask::Settings;
    String preset;                ///< name of a preset
    std::vector<String> presets;  ///< out: names, in order
    std::vector<String> choices;  ///< out: words, in order; empty: the key takes no words
};

/// Arguments that the host did not take. A plug-in nulls those that it consumes.
struct CommandLineArgs {
    Int32 argc;
    char** argv;
};

inline constexpr Int32 PLUGINFLAG_HIDE = 0x08000000;
inline constexpr Int32 PLUGINFLAG_COMMAND_HOTKEY = 0x10000000;

template <typename T>
using Allocator = std::function<std::unique_ptr<T>()>;

// Registration, during PluginStart only. False when the id is taken or the arguments are wrong. Commands, message
// receivers and hooks are handed over or borrowed: the raw pointer forms borrow, the plug-in frees after PluginEnd.
// `icon` is a file of the plug-in's res/ folder, or empty. Names show in menus and managers.
HOST_API Bool RegisterCommandPlugin(Int32 id, const String& name, Int32 flags, const String& icon, const String& help,
                                    CommandData* command);
HOST_API Bool RegisterMessagePlugin(Int32 id, const String& name, Int32 flags, MessageData* receiver);
HOST_API Bool RegisterSceneHookPlugin(Int32 id, const String& name, Int32 flags, Allocator<SceneHookData> make,
                                      Int32 priority, const Description* description = nullptr);
HOST_API Bool RegisterObjectPlugin(Int32 id, const String& name, Int32 flags, Allocator<ObjectData> make,
                                   const Description* description, const String& icon, Int32 level);
HOST_API Bool RegisterTagPlugin(Int32 id, const String& name, Int32 flags, Allocator<TagData> make,
                                const Description* description, const String& icon, Int32 level);
HOST_API Bool RegisterMaterialPlugin(Int32 id, const String& name, Int32 flags, Allocator<MaterialData> make,
                                     const Description* description, Int32 level, const Filename& previewScene = {});
HOST_API Bool RegisterShaderPlugin(Int32 id, const String& name, Int32 flags, Allocator<ShaderData> make,
                                   const Description* description, Int32 level);
HOST_API Bool RegisterVideoPostPlugin(Int32 id, const String& name, Int32 flags, Allocator<VideoPostData> make,
                                      const Description* description, Int32 level);
HOST_API Bool RegisterPreferencePlugin(Int32 id, const String& name, Allocator<PreferenceData> make,
                                       const Description* description, Int32 parent);
HOST_API Bool RegisterCustomGuiPlugin(const String& name, Int32 flags, CustomGuiData* gui);
HOST_API Bool RegisterCustomDataTypePlugin(Int32 id, const String& name, Allocator<CustomDataType> make, Int32 level);
/// Host libraries, looked up by id; null when absent.
HOST_API void* FindLibrary(Int32 id);

/// What is registered under an id.
enum class PluginKind : UChar {
    None,
    Command,
    Message,
    SceneHook,
    Object,
    Tag,
    Material,
    Shader,
    VideoPost,
    Preference,
    CustomGui,
    CustomDataType
};
struct PluginInfo {
    Int32 id = 0;
    PluginKind kind = PluginKind::None;
    String name, icon, help;
    Int32 flags = 0, level = 0, priority = 0;
    const Description* description = nullptr;
    Filename previewScene;
};
/// Null when nothing is registered under it. Valid until the plug-in ends.
HOST_API const PluginInfo* FindPlugin(Int32 id);
/// Runs a registered command. False when there is none, or it is disabled.
HOST_API Bool CallCommand(Int32 id);

// The menus: a container whose sub-containers and commands stand in order. Entry ids as below.
inline constexpr Int32 MENURESOURCE_SUBTITLE = 1, MENURESOURCE_SUBMENU = 2, MENURESOURCE_COMMAND = 3,
                       MENURESOURCE_SEPARATOR = 4;
HOST_API BaseContainer* GetMenuResource(const String& menuName);  ///< "M_EDITOR"; null when absent

// Of the plug-in that is being called.
HOST_API Filename GeGetPluginPath();  ///< its folder
HOST_API Filename GeGetPluginResourcePath();

/// String table of a plug-in: res/strings_us/c4d_strings.str, lines `id "text"`.
class HOST_API GeResource {
public:
    Bool Init();                  ///< of the calling plug-in
    String Load(Int32 id) const;  ///< empty for an unknown id
    ~GeResource();

private:
    struct Table;
    Table* table_ = nullptr;
};

// Crash hook: the handler in force. A plug-in that puts its own calls the one before.
using CrashHandler = void (*)(const char* crashInfo);
HOST_API CrashHandler GetCrashHandler();
HOST_API void SetCrashHandler(CrashHandler handler);

/// Facts of the running host.
enum class AppType : Int32 { Full = 4, Viewer = 8, CommandLine = 9 };
HOST_API AppType GetAppType();
HOST_API Int32 GetHostVersion();      ///< as kApiVersion
HOST_API Int32 GetOperatingSystem();  ///< 1 Windows, 2 macOS, 4 Linux
/// Information by id: 2011 the bitness word ("64 Bit").
HOST_API BaseContainer GetMachineFeatures();

}  // namespace host

/// The one exported function of a plug-in.
extern "C" bool c4d_main(host::PluginCall* call);
