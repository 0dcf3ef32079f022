// Numbers of the plug-in that documents, preferences and other plug-ins rely on. They never change.
#pragma once

#include "host/sdk/types.h"

namespace lumora {

inline constexpr const char* kPluginVersionText = "V4.00";
inline constexpr const char* kEngineSdkVersionText = "4.00";
inline constexpr host::Int32 kPluginBuild = 200;
/// Version that documents and the world data are stamped with.
inline constexpr host::Int32 kPluginVersionStamp = 4000021;

// Plug-in ids.
enum : host::Int32 {
    ID_LUMORA_SESSION = 1029499,  ///< the session's command; also the preferences and the settings in documents
    ID_LUMORA_TIMER = 1029500,
    ID_LUMORA_VP_RENDERER = 1029525,
    ID_LUMORA_SCENE_HOOK = 1030798,
    ID_LUMORA_CONVERT = 1029770,
    ID_LUMORA_DIALOG = 1031193,
    ID_LUMORA_SETTINGS = 1031195,  ///< also the world data stamp
    ID_LUMORA_OBJECT_TAG = 1029603,
    ID_LUMORA_CAMERA_TAG = 1029524,
    ID_LUMORA_LIGHT_TAG = 1029526,
    ID_LUMORA_ENVIRONMENT_TAG = 1029643,
    ID_LUMORA_DAYLIGHT_TAG = 1029754,
    ID_LUMORA_MATERIAL = 1029501,
    ID_LUMORA_MIX_MATERIAL = 1029622,
    ID_LUMORA_PORTAL = 1029623,
    ID_LUMORA_BLEND_MATERIAL = 1040075,
    ID_LUMORA_SCATTER_OBJECT = 1035961,
    ID_LUMORA_VOLUME_OBJECT = 1035792,
    ID_LUMORA_PROXY = 1050417,
    ID_LUMORA_PACKAGE_LOADER = 1050418,  ///< geometry of a saved engine package
    ID_LUMORA_RGB_SPECTRUM = 1029504,
    ID_LUMORA_FLOAT_TEXTURE = 1029506,
    ID_LUMORA_IMAGE_TEXTURE = 1029508,
    ID_LUMORA_TEXTURE_PROJECTION = 1031460,
};

// Core messages between the plug-in's parts, sent with SpecialEventAdd.
enum : host::Int32 {
    MSG_REFRESH_DIALOGS = 18009,
    MSG_OPEN_HELP = 18010,        ///< page, page without it: addresses of texts that last
    MSG_OPEN_HELP_OF_ID = 18011,  ///< the page of a node type
    MSG_START_RENDER = 18017,     ///< argument 1 not 0: the render fills the view
    MSG_RESTART_RENDER = 18018,
    MSG_RESIZE = 18021,          ///< width, height
    MSG_DEVICES_RENDER = 18022,  ///< the device page changed
    MSG_CHANGE_KERNEL = 18023,   ///< kernel, info channel type or -1
    MSG_REDRAW = 18024,          ///< a newer picture, or a newer state, to be shown
    MSG_CONVERT_MATERIALS = 18027,
    MSG_OPEN_NODE_EDITOR = 18028,
    MSG_OPEN_TEXTURE_MANAGER = 18029,
    MSG_RESTARTED = 18032,
    MSG_OPEN_SETTINGS = 18036,  ///< tab, sub-tab
    MSG_CLOSE_SETTINGS = 18037,
    MSG_CLOSE_HELP = 18038,
    MSG_CLOSE_OSL = 18041,
    MSG_CLOSE_TEXTURE_MANAGER = 18042,
    MSG_CLAY_MODE = 18045,
    MSG_DRAW_VIEWS = 18051,
    MSG_DRAW_VIEWS_OVERLAY = 18052,
    MSG_CLOSE_NODE_EDITOR = 18054,
    MSG_POST_SWITCHED = 18058,  ///< post-processing was switched: dialogs rebuild
    MSG_DEVICES_PRIORITY = 18067,
    MSG_DEVICES_TONEMAP = 18068,
    MSG_DEVICES_DENOISE = 18069,
    MSG_INIT_ENGINE = 18079,
    MSG_STORE_MATERIAL_POINTERS = 18080,
};

}  // namespace lumora
