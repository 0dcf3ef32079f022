// The preferences: one record, kept in the host's world plug-in data.
#pragma once

#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

enum class PrefKind : UChar { Bool, Int, Float, Text, Colour };

/// Ids under which preferences are stored. They never change.
enum PrefId : Int32 {
    PREF_OPENGL_SAMPLES = 13,
    PREF_PREVIEW_SAMPLES = 14,
    PREF_TEXTURE_POWER = 15,
    PREF_OPENGL_PREVIEWS = 16,
    PREF_TEXTURE_STATS = 17,
    PREF_GPU_STATS = 18,
    PREF_RENDER_STATS = 19,
    PREF_PREVIEW_SIZE = 22,
    PREF_REFRESH_TIME = 25,
    PREF_BACKUP_TIME = 27,
    PREF_AUTOBACKUP = 28,
    PREF_XBITMAP_GAMMA = 30,
    PREF_APPLICATION = 32,
    PREF_SYNCHRONIZE_GEOMETRY = 36,
    PREF_CPU_CORES = 40,
    PREF_KEEP_STATS = 41,
    PREF_SHOW_ERRORS = 42,
    PREF_ENVIRONMENT_COLOR = 43,
    PREF_LUMINANCE = 44,
    PREF_SEND_STATS = 48,
    PREF_SLIDER_TYPE = 49,
    PREF_OUT_OF_CORE = 51,
    PREF_RAM_LIMIT = 52,
    PREF_HEAD_ROOM = 53,
    PREF_PERFORMANCE_TIMER = 57,
    PREF_AUTO_LOAD_MATERIALS = 58,
    PREF_NODE_PREVIEWS = 59,
    PREF_SIDE_MENU = 60,
    PREF_AUTO_HIDE_MENU = 61,
    PREF_BUTTON_SIZE = 62,
    PREF_BUTTON_FONT = 63,
    PREF_GRID_VISIBILITY = 64,
    PREF_COLOR_FIRST = 65,  ///< colours of the node editor, 65 to 79
    PREF_COLOR_HOST_TEXTURES = 78,
    PREF_COLOR_OTHERS = 79,
    PREF_VIEWPORT_SOLO = 82,
    PREF_COLOR_GUI = 83,
    PREF_UPDATE_ON_DRAG = 84,
    PREF_LOCAL_DB = 85,
    PREF_SHARED_MESH = 87,
    PREF_OPENGL_ALPHA = 89,
    PREF_GESTURE = 92,
    PREF_TEXTURE_CACHING = 93,
    PREF_EMBEDDED_GUI = 94,
    PREF_PREVIEW_RESOURCES = 100,  ///< fifteen texts, 100 to 114
    PREF_LOG_OUTPUT = 120,         ///< no control: what the log functions write, see Globals::logOutput
};

/// One preference: where it is stored, what it is at first, and the control that shows it.
struct PrefRow {
    Int32 id;
    PrefKind kind;
    Float value;    ///< default of switches and numbers
    Int32 control;  ///< element id in the settings dialog
    const char* label;
    const char* text = "";    ///< default of texts
    Vector colour{};          ///< default of colours
    Int32 fallbackBelow = 0;  ///< a stored integer below 1 reads as this; 0: any is taken
};

std::span<const PrefRow> prefRows();
const PrefRow* findPref(Int32 id);

inline constexpr Int32 kPreviewResources = 15;

struct PluginPrefs {
    PluginPrefs();  ///< the defaults

    Bool getBool(PrefId id) const { return values_.GetBool(id); }
    Int32 getInt(PrefId id) const { return values_.GetInt32(id); }
    Float getFloat(PrefId id) const { return values_.GetFloat(id); }
    String getString(PrefId id) const { return values_.GetString(id); }
    Vector getColour(Int32 id) const { return values_.GetVector(id); }
    void set(Int32 id, const GeData& value) { values_.SetData(id, value); }

    /// From the host's world plug-in data; what is missing there has its default.
    void load();
    bool save() const;
    /// The node editor's colours again, but for the last two rows.
    void resetColours();

    // Switches of the Live Viewer's menu that last as long as the program. Motion blur of a render that the artist
    // works with; a final render follows the camera tag alone.
    bool cameraMotionBlur = true, objectMotionBlur = true;

private:
    void publish() const;  ///< copies what custom GUIs read to the globals
    BaseContainer values_;
};

}  // namespace lumora
