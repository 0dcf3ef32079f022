#include "plugin/core/prefs.h"

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/log.h"

namespace lumora {

namespace {

constexpr PrefRow toggle(Int32 id, bool on, Int32 control, const char* label) {
    return {id, PrefKind::Bool, on ? 1.0 : 0.0, control, label};
}
constexpr PrefRow integer(Int32 id, Int32 value, Int32 control, const char* label, Int32 fallbackBelow = 0) {
    return {id, PrefKind::Int, static_cast<Float>(value), control, label, "", {}, fallbackBelow};
}
constexpr PrefRow number(Int32 id, Float value, Int32 control, const char* label) {
    return {id, PrefKind::Float, value, control, label};
}
constexpr PrefRow text(Int32 id, const char* value, Int32 control, const char* label) {
    return {id, PrefKind::Text, 0, control, label, value};
}
constexpr PrefRow colour(Int32 id, Vector value, Int32 control, const char* label) {
    return {id, PrefKind::Colour, 0, control, label, "", value};
}

#ifdef __APPLE__
constexpr bool kSynchronizeGeometry = false;
#else
constexpr bool kSynchronizeGeometry = true;
#endif

constexpr PrefRow kRows[] = {
    toggle(PREF_OPENGL_PREVIEWS, true, 13059, "Use Lumora for Opengl previews"),
    toggle(PREF_OPENGL_ALPHA, false, 13080, "Alpha for Opengl previews"),
    toggle(PREF_SHOW_ERRORS, true, 13066, "Show Cuda Errors"),
    toggle(PREF_SHARED_MESH, true, 13079, "Shared mesh for render instances"),
    toggle(PREF_TEXTURE_STATS, true, 13064, "Texture Stats"),
    toggle(PREF_GPU_STATS, true, 13063, "Gpu Stats"),
    toggle(PREF_RENDER_STATS, true, 13062, "Render Stats"),
    toggle(PREF_SYNCHRONIZE_GEOMETRY, kSynchronizeGeometry, 13061, "Synchronization on geo. updates"),
    toggle(PREF_KEEP_STATS, true, 13065, "Keep Stats"),
    toggle(PREF_SEND_STATS, false, 13112, "Allow to send renderstats to Lumora"),
    toggle(PREF_VIEWPORT_SOLO, true, 13078, "Use Viewport Solo"),
    toggle(PREF_OUT_OF_CORE, true, 13109, "Enable out of core for texture/geometry"),
    toggle(PREF_AUTOBACKUP, false, 13068, "Autobackup"),
    toggle(PREF_TEXTURE_CACHING, true, 13060, "Use texture caching"),
    toggle(PREF_SIDE_MENU, true, 13082, "Side Menu"),
    toggle(PREF_AUTO_HIDE_MENU, false, 13083, "Auto Hide Menu"),
    toggle(PREF_NODE_PREVIEWS, true, 13089, "Node Previews"),
    toggle(PREF_AUTO_LOAD_MATERIALS, true, 13085, "Auto Load Materials"),
    toggle(PREF_UPDATE_ON_DRAG, false, 13087, "Update Previews on drag"),
    toggle(PREF_EMBEDDED_GUI, false, 13084, "Embedded gui"),
    integer(PREF_OPENGL_SAMPLES, 32, 13054, "Opengl Samples", 32),
    integer(PREF_PREVIEW_SAMPLES, 64, 13053, "Preview Samples", 32),
    integer(PREF_REFRESH_TIME, 50, 13070, "LV refresh time(ms.)"),
    integer(PREF_PERFORMANCE_TIMER, 100, 13071, "Performance timer(ms.)"),
    integer(PREF_BACKUP_TIME, 60, 13069, "Backup time(sec.)"),
    integer(PREF_CPU_CORES, 1, 13057, "Cpu cores"),
    integer(PREF_SLIDER_TYPE, 2, 10452, "Slider type"),
    integer(PREF_COLOR_GUI, 1, 10451, "Color gui type"),
    integer(PREF_GESTURE, 2, 13088, "Gesture"),
    integer(PREF_LOG_OUTPUT, 2, 0, "Log output"),
    number(PREF_TEXTURE_POWER, 1.0, 13055, "Texture Power"),
    number(PREF_PREVIEW_SIZE, 0.1, 13067, "Preview Size"),
    number(PREF_XBITMAP_GAMMA, 2.2, 13072, "Xbitmap Gamma"),
    number(PREF_LUMINANCE, 1.0, 13051, "Luminance multiplier"),
    number(PREF_RAM_LIMIT, 4.0, 13110, "RAM usage limit [Gb]"),
    number(PREF_HEAD_ROOM, 512.0, 13111, "GPU head room [Mb]"),
    number(PREF_BUTTON_SIZE, 110.0, 13094, "Button Size"),
    number(PREF_BUTTON_FONT, 11.0, 13093, "Button Font Size"),
    number(PREF_GRID_VISIBILITY, 0.08, 13092, "Grid visibility"),
    text(PREF_APPLICATION, "lumora.exe", 13074, "Lumora application"),
    text(PREF_LOCAL_DB, "", 13076, "LocalDB"),
    colour(PREF_ENVIRONMENT_COLOR, {0.6, 0.6, 0.6}, 13052, "Default environment color"),
    colour(65, {0.34765625, 0.34765625, 0.34765625}, 13091, "Background"),
    colour(66, {0.24609375, 0.24609375, 0.24609375}, 13095, "Node Fill Color"),
    colour(67, {1, 1, 1}, 13096, "Node Text Color"),
    colour(68, {0.59765625, 0.59765625, 0.59765625}, 13097, "Button Fill Color"),
    colour(69, {0.1484375, 0.1484375, 0.1484375}, 13098, "Button Text Color"),
    colour(70, {0.74609375, 0.18359375, 0.18359375}, 13099, "Materials"),
    colour(71, {0.21875, 0.40234375, 0.546875}, 13100, "Textures"),
    colour(72, {0.21875, 0.546875, 0.2890625}, 13101, "Generators"),
    colour(73, {0.546875, 0.21875, 0.30859375}, 13102, "Mappings"),
    colour(74, {0.19921875, 0.21484375, 0.26953125}, 13103, "Trans/Proj."),
    colour(75, {0.40234375, 0.21875, 0.546875}, 13104, "Emissions"),
    colour(76, {0.21875, 0.546875, 0.50390625}, 13105, "Mediums"),
    colour(77, {0.64453125, 0.59375, 0.41796875}, 13106, "Displacements"),
    colour(PREF_COLOR_HOST_TEXTURES, {0, 0, 0}, 13107, "C4D Textures"),
    colour(PREF_COLOR_OTHERS, {0, 0, 0}, 13108, "Others"),
};

GeData defaultOf(const PrefRow& row) {
    switch (row.kind) {
        case PrefKind::Bool:
            return GeData(row.value != 0);
        case PrefKind::Int:
            return GeData(static_cast<Int32>(row.value));
        case PrefKind::Float:
            return GeData(row.value);
        case PrefKind::Text:
            return GeData(row.text);
        case PrefKind::Colour:
            return GeData(row.colour);
    }
    return {};
}

/// What was stored, when it is of the row's kind. Stored data may come from another version, or be damaged.
GeData accepted(const PrefRow& row, const GeData& stored) {
    const DataType type = stored.GetType();
    const bool isNumber = type == DataType::Int || type == DataType::Float;
    switch (row.kind) {
        case PrefKind::Bool:
            return isNumber ? GeData(stored.GetBool()) : defaultOf(row);
        case PrefKind::Int:
            if (!isNumber) return defaultOf(row);
            if (row.fallbackBelow > 0 && stored.GetInt32() < 1) return GeData(row.fallbackBelow);
            return GeData(stored.GetInt32());
        case PrefKind::Float:
            return isNumber ? GeData(stored.GetFloat()) : defaultOf(row);
        case PrefKind::Text:
            return type == DataType::String ? stored : defaultOf(row);
        case PrefKind::Colour:
            return type == DataType::Vector ? stored : defaultOf(row);
    }
    return {};
}

}  // namespace

std::span<const PrefRow> prefRows() {
    return kRows;
}

const PrefRow* findPref(Int32 id) {
    for (const PrefRow& row : kRows)
        if (row.id == id) return &row;
    return nullptr;
}

PluginPrefs::PluginPrefs() {
    for (const PrefRow& row : kRows) values_.SetData(row.id, defaultOf(row));
    for (Int32 i = 0; i < kPreviewResources; ++i) values_.SetString(PREF_PREVIEW_RESOURCES + i, "");
}

void PluginPrefs::load() {
    if (const BaseContainer* stored = GetWorldPluginData(ID_LUMORA_SESSION)) {
        for (const PrefRow& row : kRows)
            if (const GeData* data = stored->FindData(row.id)) values_.SetData(row.id, accepted(row, *data));
        for (Int32 i = 0; i < kPreviewResources; ++i) {
            const Int32 id = PREF_PREVIEW_RESOURCES + i;
            values_.SetString(id, stored->GetString(id));
        }
    }
    publish();
}

bool PluginPrefs::save() const {
    publish();
    if (SetWorldPluginData(ID_LUMORA_SESSION, values_)) return true;
    logLine("SetWorldPluginData failed!");
    return false;
}

void PluginPrefs::resetColours() {
    for (const PrefRow& row : kRows)
        if (row.id >= PREF_COLOR_FIRST && row.id < PREF_COLOR_HOST_TEXTURES) values_.SetData(row.id, defaultOf(row));
}

void PluginPrefs::publish() const {
    globals().sliderType = getInt(PREF_SLIDER_TYPE);
    globals().colorGuiType = getInt(PREF_COLOR_GUI);
}

}  // namespace lumora
