#include "plugin/render/settings_table.h"

#include <algorithm>
#include <string>
#include <unordered_map>
#include <vector>

#include "plugin/materials/engine_write.h"
#include "plugin/render/pass_table.h"
#include "plugin/render/settings_controls.h"

namespace lumora {

namespace {

using G = SettingGroup;
using T = SettingType;

constexpr Int32 kOwnDefault = INT32_MIN;  // marks "the record's default is the stored one"

constexpr Int32 code(const char* text) {
    return text[0] ? fourCC(text[0], text[1], text[2], text[3]) : 0;
}

SettingRow row(G group, const char* key, const char* fourChars, Int32 id, T type, Float stored, Int32 pin,
               const char* label, Float minimum = 0, Float maximum = 0, Float record = kOwnDefault) {
    SettingRow r;
    r.group = group;
    r.key = key;
    r.code = code(fourChars);
    r.id = id;
    r.type = type;
    r.stored = stored;
    r.record = record == kOwnDefault ? stored : record;
    r.minimum = type == T::Bool ? 0 : minimum;
    r.maximum = type == T::Bool ? 1 : maximum;
    r.pin = pin;
    r.label = label;
    return r;
}

SettingRow colourRow(G group, const char* key, Int32 id, const Vector& colour, Int32 pin, const char* label) {
    SettingRow r = row(group, key, "", id, T::Colour, 0, pin, label);
    r.colour = colour;
    return r;
}

// --- Global, kernel choice, colours ---------------------------------------------------------------------------------

void addGlobal(std::vector<SettingRow>& rows) {
    const auto add = [&](auto... values) { rows.push_back(row(G::Global, values...)); };
    add("lockRes", "LCKR", SETTING_LOCK_RESOLUTION, T::Bool, 0, 0, "Lock resolution");
    add("setlog", "STLG", SETTING_LOG_LEVEL, T::Int, 0, 0, "Log level", 0, 65535);
    add("rndTexEnable", "RNTX", SETTING_RENDER_TEXTURES, T::Bool, 1, 0, "Render shaders to textures");
    add("rndTexHdr", "RNTH", 3223, T::Bool, 0, 0, "32-bit shader textures");
    add("rndTexHdrDisp", "RTHD", 3224, T::Bool, 1, 0, "32-bit displacement textures");
    add("shdTextSize", "SHTS", SETTING_BAKE_SIZE, T::Int, 128, 0, "Shader texture size", 1, 16384);
    rows.push_back(row(G::Kernel, "type", "", SETTING_KERNEL, T::Int, KERNEL_INFO, 0,
                       "Kernel: 0 info channels, 1 direct lighting, 2 path tracing, 3 PMC", 0, 3, KERNEL_DIRECT));
    rows.push_back(colourRow(G::Kernel, "tShdAmb", SETTING_SHADOW_AMBIENT, Vector(0.5), 0, "Shadow ambient"));
    rows.push_back(colourRow(G::Other, "envClr", SETTING_ENVIRONMENT_COLOR, Vector(0.9), 0, "Environment color"));
}

// --- The kernels that share settings --------------------------------------------------------------------------------

/// Of one kernel: where the setting is stored and its default; absent when the kernel lacks it.
struct Column {
    bool present = false;
    Int32 id = 0;
    Float stored = 0, record = kOwnDefault;
    constexpr Column() = default;
    constexpr Column(Int32 i, Float s, Float r = kOwnDefault) : present(true), id(i), stored(s), record(r) {}
};

struct KernelRow {
    const char *key, *fourChars;
    T type;
    Int32 pin;
    Column direct, path, pmc;
    const char* label;
    Float minimum = 0, maximum = 0;
};

constexpr Column kNone{};

const KernelRow kKernelRows[] = {
    {"maxsamples",
     "MAXS",
     T::Int,
     P_MAX_SAMPLES,
     {3003, 128},
     {3063, 64000},
     {3086, 64000},
     "Max. samples",
     1,
     1000000},
    {"difdepth", "DDPT", T::Int, P_DIFFUSE_DEPTH, {3005, 2}, kNone, kNone, "Diffuse depth", 1, 8},
    {"diffusedepth", "DDPT", T::Int, P_MAX_DIFFUSE_DEPTH, kNone, {3060, 8}, {3080, 8}, "Diffuse depth", 0, 100},
    {"glosdepth", "GLSD", T::Int, P_GLOSSY_DEPTH, {3006, 2}, kNone, kNone, "Glossy depth", 0, 1024},
    {"glossydepth", "GLSD", T::Int, P_MAX_GLOSSY_DEPTH, kNone, {3069, 24}, {3093, 24}, "Glossy depth", 0, 100},
    {"specdepth", "SPCD", T::Int, P_SPECULAR_DEPTH, {3007, 5}, kNone, kNone, "Specular depth", 0, 1024},
    {"gimod",
     "GMOD",
     T::Int,
     P_GI_MODE,
     {3012, 1},
     kNone,
     kNone,
     "GI mode: 0 none, 1 ambient occlusion, 2 diffuse",
     0,
     2},
    {"aodist", "AODS", T::Float, P_AO_DISTANCE, {3002, 5.0}, kNone, kNone, "AO distance", 0, 1024},
    {"fsize", "FSIZ", T::Float, P_FILTER_SIZE, {3008, 1.2}, {3064, 1.2}, {3087, 1.2}, "Filter size", 0.001, 5},
    {"rayeps",
     "REPS",
     T::Float,
     P_RAY_EPSILON,
     {3009, 0.0001, 0.001},
     {3062, 0.1},
     {3082, 0.1},
     "Ray epsilon",
     0.000001,
     1000},
    {"ptermpower",
     "PTRM",
     T::Float,
     P_PATH_TERMINATION_POWER,
     {3014, 0.3},
     {3071, 0.3},
     {3095, 0.3},
     "Path term. power",
     0,
     1},
    {"coherent", "COHE", T::Float, P_COHERENT_RATIO, {3017, 0}, {3074, 0}, kNone, "Coherent ratio", 0, 1},
    {"volsteplen",
     "VSTL",
     T::Float,
     0,
     {SETTING_STEP_LENGTH_DIRECT, 4.0},
     {SETTING_STEP_LENGTH_PATH, 4.0},
     {SETTING_STEP_LENGTH_PMC, 2.0},
     "Volume step length",
     0.0001,
     1000000},
    {"caustBlur", "CBLR", T::Float, P_CAUSTIC_BLUR, kNone, {3068, 0.02}, {3091, 0.02}, "Caustic blur", 0, 1},
    {"giclamp", "GICL", T::Float, P_GI_CLAMP, kNone, {3070, 1e6}, {3094, 1e6}, "GI clamp", 0.001, 1000000},
    {"alphashadow", "ASHD", T::Bool, P_ALPHA_SHADOWS, {3013, 1}, {3065, 1}, {3088, 1}, "Alpha shadows"},
    {"alphachan", "ACHN", T::Bool, P_ALPHA_CHANNEL, {3004, 0}, {3066, 0}, {3089, 0}, "Alpha channel"},
    {"keepenv", "KENV", T::Bool, P_KEEP_ENVIRONMENT, {3010, 0}, {3067, 0}, {3090, 0}, "Keep environment"},
    {"", "IRDM", T::Bool, P_IRRADIANCE_MODE, {3146, 0}, {3135, 0}, {3098, 0}, "Irradiance mode"},
    {"snoise", "SNOI", T::Bool, P_STATIC_NOISE, {3016, 0}, {3073, 0}, kNone, "Static noise"},
    {"PSamples", "PSMP", T::Int, P_PARALLEL_SAMPLES, {3019, 16}, {3076, 16}, kNone, "Parallel samples", 1, 32},
    {"mtSamples", "MTSP", T::Int, P_MAX_TILE_SAMPLES, {3020, 32}, {3077, 32}, kNone, "Max. tile samples", 1, 64},
    {"", "MNTR", T::Bool, P_MINIMIZE_NET_TRAFFIC, {3021, 1}, {3078, 1}, kNone, "Minimize net traffic"},
    {"", "ASMP", T::Bool, P_ADAPTIVE_SAMPLING, {3140, 0}, {3130, 0}, kNone, "Adaptive sampling"},
    {"", "ASTR", T::Float, P_NOISE_THRESHOLD, {3141, 0.03}, {3131, 0.03}, kNone, "Noise threshold", 0, 1},
    {"", "AMIN", T::Int, P_MIN_ADAPTIVE_SAMPLES, {3143, 256}, {3133, 256}, kNone, "Min. adaptive samples", 2, 1000000},
    {"", "ASEX", T::Float, P_EXPECTED_EXPOSURE, {3142, 0}, {3132, 0}, kNone, "Expected exposure", 0, 4096},
    {"", "ASPX", T::Int, P_PIXEL_GROUPING, {3144, 1}, {3134, 1}, kNone, "Group pixels: 0 none, 1 2x2, 2 4x4", 0, 2},
    {"", "AILG", T::Bool, P_AI_LIGHT, {3151, 0}, {3170, 0}, {3240, 0}, "AI light enable"},
    {"", "AILU", T::Bool, P_AI_LIGHT_UPDATE, {3152, 1}, {3171, 1}, {3241, 1}, "AI light update"},
    {"", "AILS", T::Float, P_AI_LIGHT_STRENGTH, {3153, 0.8}, kNone, kNone, "AI light strength", 0, 1},
    {"",
     "LIDA",
     T::Int,
     P_LIGHT_IDS_ACTION,
     {3155, 0},
     {3173, 0},
     {3243, 0},
     "Light IDs action: 0 the set alone, 1 all but the set",
     0,
     1},
    {"expStrength",
     "EXST",
     T::Float,
     P_EXPLORATION_STRENGTH,
     kNone,
     kNone,
     {SETTING_EXPLORATION_STRENGTH, 0.7},
     "Exploration strength",
     0,
     1},
    {"DlImportance",
     "DIMP",
     T::Float,
     P_DIRECT_LIGHT_IMPORTANCE,
     kNone,
     kNone,
     {SETTING_DIRECT_LIGHT_IMPORTANCE, 0.1},
     "Direct light importance",
     0.01,
     1},
    {"Maxrejects", "MREJ", T::Int, P_MAX_REJECTS, kNone, kNone, {SETTING_MAX_REJECTS, 500}, "Max. rejects", 100, 1000},
    {"para", "PARA", T::Int, P_PARALLELISM, kNone, kNone, {3092, 4}, "Parallelism", 1, 8},
    {"", "WCHS", T::Int, P_WORK_CHUNK_SIZE, kNone, kNone, {3097, 8}, "Work chunk size", 1, 32},
};

// One switch for each light of the two light id sets of a kernel; the bit is the place in this list.
struct LightIdRow {
    const char *taken, *inverted, *takenLabel, *invertedLabel;
};
constexpr LightIdRow kLightIds[] = {
    {"LIDS", "LLIS", "Light ids: sun", "Light linking invert: sun"},
    {"LIDE", "LLIE", "Light ids: environment", "Light linking invert: environment"},
    {"LID1", "LLI1", "Light ids: light 1", "Light linking invert: light 1"},
    {"LID2", "LLI2", "Light ids: light 2", "Light linking invert: light 2"},
    {"LID3", "LLI3", "Light ids: light 3", "Light linking invert: light 3"},
    {"LID4", "LLI4", "Light ids: light 4", "Light linking invert: light 4"},
    {"LID5", "LLI5", "Light ids: light 5", "Light linking invert: light 5"},
    {"LID6", "LLI6", "Light ids: light 6", "Light linking invert: light 6"},
    {"LID7", "LLI7", "Light ids: light 7", "Light linking invert: light 7"},
    {"LID8", "LLI8", "Light ids: light 8", "Light linking invert: light 8"},
};

void addLightIds(std::vector<SettingRow>& rows, G group, Int32 takenId) {
    for (const bool inverted : {false, true})
        for (Int32 bit = 0; bit < static_cast<Int32>(std::size(kLightIds)); ++bit) {
            const LightIdRow& light = kLightIds[bit];
            rows.push_back(row(group, "", inverted ? light.inverted : light.taken, takenId + (inverted ? 1 : 0), T::Bit,
                               inverted ? 0 : 1, inverted ? P_LIGHT_IDS_INVERTED : P_LIGHT_IDS,
                               inverted ? light.invertedLabel : light.takenLabel, 0, 1));
            rows.back().bit = bit;
        }
}

void addKernels(std::vector<SettingRow>& rows) {
    const std::pair<G, Column KernelRow::*> kernels[] = {
        {G::Direct, &KernelRow::direct}, {G::Path, &KernelRow::path}, {G::Pmc, &KernelRow::pmc}};
    Int32 lightIds = SETTING_LIGHT_IDS;
    for (const auto& [group, column] : kernels) {
        for (const KernelRow& k : kKernelRows) {
            const Column& c = k.*column;
            if (c.present)
                rows.push_back(row(group, k.key, k.fourChars, c.id, k.type, c.stored, k.pin, k.label, k.minimum,
                                   k.maximum, c.record));
        }
        addLightIds(rows, group, lightIds);
        lightIds += 2;
    }
}

// --- Imager, post-processing, info channel kernel -------------------------------------------------------------------

void addImager(std::vector<SettingRow>& rows) {
    const auto add = [&](auto... values) { rows.push_back(row(G::Imager, values...)); };
    add("response", "", 3045, T::Int, 0, P_RESPONSE, "Response", 0, 1000, 401);
    add("exposure", "", SETTING_EXPOSURE, T::Float, 1.0, P_EXPOSURE, "Exposure", 0.001, 4096);
    add("fstop", "", SETTING_FSTOP, T::Float, 2.8, 0, "F-stop", 0.1, 1000);
    add("iso", "", SETTING_ISO, T::Float, 100, 0, "Film ISO", 1, 100000);
    add("gamma", "", SETTING_GAMMA, T::Float, 1.0, P_GAMMA, "Gamma", 0.1, 32);
    add("vignetting", "", 3046, T::Float, 0, P_VIGNETTING, "Vignetting", 0, 1);
    add("saturation", "", 3047, T::Float, 1.0, P_COLOR_SATURATION, "Saturation", 0, 4);
    add("hotpixel", "", 3048, T::Float, 1.0, P_HOT_PIXEL_REMOVAL, "Hotpixel removal", 0, 1);
    add("wSaturation", "", SETTING_WHITE_SATURATION, T::Float, 0, P_WHITE_SATURATION, "Saturate to white", 0, 1);
    add("premAlpha", "", 3049, T::Bool, 0, P_PREMULTIPLIED_ALPHA, "Premultiplied alpha");
    add("disPAlpha", "", 3057, T::Bool, 0, P_DISABLE_PARTIAL_ALPHA, "Disable partial alpha");
    add("minDSamples", "", 3050, T::Int, 1, P_MIN_DISPLAY_SAMPLES, "Min. display samples", 1, 32);
    add("dither", "", 3051, T::Bool, 1, P_DITHERING, "Dithering");
    add("hcomp", "", 3054, T::Float, 0, P_HIGHLIGHT_COMPRESSION, "Highlight compression", 0, 1);
    rows.push_back(
        colourRow(G::Imager, "wBalance", SETTING_WHITE_BALANCE, Vector(1.0), P_WHITE_POINT, "White balance"));
    add("maxTMint", "", 3137, T::Int, 10, P_MAX_TONEMAP_INTERVAL, "Max. tonemap interval", 0, 120);
    add("enDenoise", "", SETTING_DENOISER, T::Bool, 0, P_DENOISER, "Enable denoiser");
    add("DenoiseVolume", "", SETTING_DENOISE_VOLUMES, T::Bool, 0, P_DENOISE_VOLUMES, "Denoise volumes");
    add("DenoiseOnComp", "", 3147, T::Bool, 1, P_DENOISE_ON_COMPLETION, "Denoise on completion");
    add("DenoiseIntv", "", 3139, T::Int, 20, P_DENOISE_INTERVAL, "Max. denoiser interval", 0, 120);
    add("DenoiseMSmp", "", 3149, T::Int, 10, P_DENOISE_MIN_SAMPLES, "Min. denoiser samples", 0, 120);
    add("DenoiseBlnd", "", 3148, T::Float, 0, P_DENOISER_BLEND, "Denoiser blend", 0, 1);
    rows.push_back(row(G::Imager, "lut", "", SETTING_LUT_FILE, T::File, 0, 0, "LUT file"));
    add("lutStr", "", SETTING_LUT_STRENGTH, T::Float, 1.0, P_STRENGTH, "LUT strength", 0, 1);
    rows.back().home = PinHome::Lut;
    add("order", "", 3058, T::Int, 0, P_RESPONSE_ORDER, "Order of response, gamma and LUT", 0, 5);
    add("natResp", "", 3055, T::Bool, 0, P_NEUTRAL_RESPONSE, "Neutral response");
}

void addPost(std::vector<SettingRow>& rows) {
    const auto add = [&](auto... values) { rows.push_back(row(G::Post, values...)); };
    add("bloompower", "", 3100, T::Float, 1.0, P_BLOOM_POWER, "Bloom power", 0.0001, 100000);
    add("glrpower", "", 3104, T::Float, 0.1, P_GLARE_POWER, "Glare power", 0.0001, 100000);
    add("rayamnt", "", 3105, T::Int, 3, P_GLARE_RAY_COUNT, "Glare ray amount", 1, 8);
    add("glrangle", "", 3102, T::Float, 15.0, P_GLARE_ANGLE, "Glare angle", -90, 90);
    add("glrblur", "", 3103, T::Float, 0.01, P_GLARE_BLUR, "Glare blur", 0.001, 0.2);
    add("specint", "", 3106, T::Float, 0.0, P_SPECTRAL_INTENSITY, "Spectral intensity", 0, 1);
    add("specshft", "", 3107, T::Float, 2.0, P_SPECTRAL_SHIFT, "Spectral shift", 0, 6);
    add("enable", "", SETTING_POST_ENABLED, T::Bool, 0, P_POST_ENABLED, "Enable post processing");
}

void addInfo(std::vector<SettingRow>& rows) {
    const auto add = [&](auto... values) { rows.push_back(row(G::Info, values...)); };
    add("type", "TYPE", SETTING_INFO_CHANNEL, T::Int, 6, P_INFO_CHANNEL, "Info channel type", 0, 24, 1);
    add("maxsamples", "MAXS", 3024, T::Int, 128, P_MAX_SAMPLES, "Max. samples", 1, 1000000);
    add("achannel", "ACHN", 3026, T::Bool, 1, P_ALPHA_CHANNEL, "Alpha channel");
    add("enraydist", "RAYD", 3031, T::Int, 0, P_DISTRIBUTED_TRACING, "Sampling mode", 0, 2);
    add("wirebacklght", "WRBL", 3033, T::Bool, 0, P_HIGHLIGHT_BACKFACES, "Wireframe backface highlight");
    add("bumpnormal", "BMNR", 3032, T::Bool, 0, P_BUMP, "Bump and normal mapping");
    add("aoshdw", "AOSH", 3036, T::Bool, 0, 0, "AO alpha shadows");
    add("fsize", "FSIZ", 3030, T::Float, 1.2, P_FILTER_SIZE, "Filter size", 0, 8);
    add("uvmax", "UVMX", 3028, T::Float, 1, P_UV_MAX, "UV max", 0.00001, 1000);
    add("uvset", "UVST", SETTING_INFO_UV_SET, T::Int, 1, P_UV_SET, "UV set", 1, 3);
    add("rayeps", "REPS", 3027, T::Float, 0.001, P_RAY_EPSILON, "Ray epsilon", 0.000001, 1000);
    add("zdepth", "ZDPT", 3029, T::Float, 5, P_Z_DEPTH_MAX, "Z-depth max", 0.0001, 100000);
    add("maxspd", "MSPD", 3035, T::Float, 5, P_MAX_SPEED, "Max. speed", 0.0001, 10000);
    add("aodist", "AODS", 3034, T::Float, 3, P_AO_DISTANCE, "AO distance", 0.01, 1024);
    add("PSamples", "PSMP", 3038, T::Int, 16, 0, "Parallel samples", 1, 32);
    add("mtSamples", "MTSP", 3039, T::Int, 32, 0, "Max. tile samples", 1, 64);
    add("", "MNTR", 3120, T::Bool, 1, P_MINIMIZE_NET_TRAFFIC, "Minimize net traffic");
    add("", "OPTR", 3121, T::Float, 1.0, P_OPACITY_THRESHOLD, "Opacity threshold", 0, 1);
}

// --- Render passes --------------------------------------------------------------------------------------------------

void addPassSettings(std::vector<SettingRow>& rows) {
    const auto add = [&](auto... values) { rows.push_back(row(G::Pass, values...)); };
    add("enable", "", SETTING_PASSES_ON, T::Bool, 0, 0, "Render passes");
    add("raw", "", SETTING_RAW_PASSES, T::Bool, 0, P_RAW_PASSES, "Raw");
    add("", "", SETTING_PASS_SWITCH, T::Bool, 1, 0, "Pass switch 3459");
    add("rndLyr", "ENRL", SETTING_LAYER_ON, T::Bool, 0, P_ENABLED, "Render layer");
    add("RndLyrId", "RLID", 3401, T::Int, 1, P_LAYER_ID, "Active layer ID", 1, 255);
    add("", "RLMD", 3403, T::Int, 0, P_MODE, "Layer mode", 0, 3);
    add("invRndLyr", "INRL", 3402, T::Bool, 0, P_INVERT, "Invert render layer");
    for (std::size_t i = rows.size() - 4; i < rows.size(); ++i) rows[i].home = PinHome::Layer;
    add("distr", "DSPT", 3351, T::Int, 0, P_DISTRIBUTED_TRACING, "Sampling mode", 0, 2);
    add("sAfterBty", "STAF", 3360, T::Bool, 1, 0, "Start after beauty");
    add("pInfoMaxSmpl", "MAXS", 3356, T::Int, 128, P_PASS_INFO_MAX_SAMPLES, "Max. info samples", 1, 1000000);
    add("rpZmax", "ZMAX", 3352, T::Float, 5, P_Z_DEPTH_MAX, "Z-depth max", 0.001, 1000000);
    add("rpMotMax", "MOTM", 3358, T::Float, 1, P_MAX_SPEED, "Max. speed", 0.00001, 10000);
    add("AOdist", "AODS", 3354, T::Float, 3, P_AO_DISTANCE, "AO distance", 0.01, 1024);
    add("AOashd", "ASHD", 3357, T::Bool, 0, P_AO_ALPHA_SHADOWS, "AO alpha shadows");
    add("infoTonemap", "TONE", 3361, T::Int, 0, 0, "Info pass tonemap", 0, 2);
    add("uvmax", "UVMX", 3339, T::Float, 1, P_UV_MAX, "UV max", 0.00001, 1000);
    add("fsize", "FSIZ", 3347, T::Float, 1, 0, "Filter size", 1, 8);
    add("aosmpl", "AOSM", 3353, T::Int, 1024, 0, "AO samples", 1, 1000000);
}

void addPasses(std::vector<SettingRow>& rows) {
    addPassSettings(rows);
    const std::size_t first = rows.size();
    for (const PassRow& p : passRows()) {
        SettingRow r = row(G::Pass, "", "", p.id, T::Bool, 0, p.pin, p.name);
        r.pass = p.pass;
        r.kind = kPassKind;
        rows.push_back(r);
    }
    // Controls are numbered as the container is.
    std::vector<Int32> ids;
    for (std::size_t i = first; i < rows.size(); ++i) ids.push_back(rows[i].id);
    std::sort(ids.begin(), ids.end());
    for (std::size_t i = first; i < rows.size(); ++i)
        rows[i].element =
            kFirstPassElement + static_cast<Int32>(std::lower_bound(ids.begin(), ids.end(), rows[i].id) - ids.begin());
    for (std::size_t i = 0; i < first; ++i) rows[i].element = controlOf(rows[i]);
}

// --- Look-ups -------------------------------------------------------------------------------------------------------

struct Table {
    std::vector<SettingRow> rows;
    std::unordered_map<std::string, Int32> byKey;
    std::unordered_map<Int64, Int32> byCode;
    std::unordered_map<Int32, Int32> byId, byPass;

    static Int64 codeKey(G group, Int32 code) { return (Int64(group) << 32) | static_cast<UInt32>(code); }
    static std::string keyOf(G group, const std::string& key) { return std::string(groupName(group)) + "." + key; }

    Table() {
        addGlobal(rows);
        addKernels(rows);
        addImager(rows);
        addPost(rows);
        addInfo(rows);
        addPasses(rows);
        for (std::size_t i = 0; i < rows.size(); ++i) {
            const SettingRow& r = rows[i];
            const auto at = static_cast<Int32>(i);
            if (*r.key) byKey.emplace(keyOf(r.group, r.key), at);
            if (r.code) byCode.emplace(codeKey(r.group, r.code), at);
            if (r.id && r.type != T::Bit) byId.emplace(r.id, at);
            if (r.pass) byPass.emplace(r.pass, at);
        }
    }
};

const Table& table() {
    static const Table t;
    return t;
}

template <typename Map, typename Key>
Int32 find(const Map& map, const Key& key) {
    const auto it = map.find(key);
    return it == map.end() ? -1 : it->second;
}

// By SettingGroup.
constexpr const char* kGroupNames[] = {"", "Krn", "DL", "Pt", "Pmc", "Ci", "Post", "Ic", "pass", "Other"};
constexpr const char* kGroupTitles[] = {"General",       "Kernel",        "Direct lighting", "Path tracing",
                                        "PMC",           "Camera imager", "Post-processing", "Info channels",
                                        "Render passes", "Environment"};

}  // namespace

const char* groupName(SettingGroup group) {
    return kGroupNames[static_cast<std::size_t>(group)];
}

const char* groupTitle(SettingGroup group) {
    return kGroupTitles[static_cast<std::size_t>(group)];
}

SettingGroup kernelGroup(Int32 kernel) {
    switch (kernel) {
        case KERNEL_INFO:
            return G::Info;
        case KERNEL_DIRECT:
            return G::Direct;
        case KERNEL_PMC:
            return G::Pmc;
        default:
            return G::Path;
    }
}

Int32 findGroup(const String& name) {
    for (std::size_t i = 0; i < std::size(kGroupNames); ++i)
        if (name == String(kGroupNames[i])) return static_cast<Int32>(i);
    return -1;
}

std::span<const SettingRow> settingRows() {
    return table().rows;
}

Int32 findSetting(SettingGroup group, const String& key) {
    // The kernel group knows one number, whatever it is called, and a colour.
    if (group == G::Kernel && !(key == String("tShdAmb"))) return findSettingById(SETTING_KERNEL);
    if (group == G::Pass) {
        Bool isNumber = false;
        const Int64 pass = key.ToInt(&isNumber);
        if (isNumber) return findPassSwitch(static_cast<Int32>(pass));
    }
    return find(table().byKey, Table::keyOf(group, key.str()));
}

Int32 findSettingByCode(SettingGroup group, Int32 code) {
    return find(table().byCode, Table::codeKey(group, code));
}

Int32 findSettingById(Int32 id) {
    return find(table().byId, id);
}

Int32 findPassSwitch(Int32 pass) {
    return find(table().byPass, pass);
}

}  // namespace lumora
