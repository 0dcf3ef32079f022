#include "plugin/render/settings_controls.h"

#include <algorithm>
#include <iterator>

#include "plugin/render/settings_table.h"

namespace lumora {

namespace {

struct Control {
    Int32 id;       ///< in stored containers
    Int32 element;  ///< of a light id set: that of its first bit
};

constexpr Control kControls[] = {
    // C4D shaders, log
    {3216, 13050},
    {3217, 13047},
    {3223, 13048},
    {3224, 13049},
    {3215, 10450},
    // Direct lighting
    {3003, 13188},
    {3012, 13195},
    {3007, 13183},
    {3006, 13184},
    {3005, 13182},
    {3009, 13187},
    {3008, 13189},
    {3002, 13185},
    {3013, 13192},
    {3146, 13193},
    {3004, 13190},
    {3010, 13191},
    {3151, 13203},
    {3152, 13204},
    {3153, 13205},
    {3155, 13206},
    {SETTING_LIGHT_IDS, 13207},
    {SETTING_LIGHT_IDS + 1, 13217},
    {3014, 13194},
    {3017, 13196},
    {3016, 13198},
    {3019, 13199},
    {3020, 13200},
    {3021, 13201},
    {3140, 13227},
    {3141, 13228},
    {3143, 13230},
    {3142, 13229},
    {3144, 13231},
    // Path tracing
    {3060, 13234},
    {3069, 13235},
    {3071, 13236},
    {3074, 13237},
    {3062, 13238},
    {3063, 13239},
    {3064, 13240},
    {3065, 13241},
    {3066, 13242},
    {3067, 13243},
    {3068, 13244},
    {3070, 13245},
    {3135, 13246},
    {3073, 13249},
    {3076, 13250},
    {3077, 13251},
    {3078, 13252},
    {3170, 13254},
    {3171, 13255},
    {3173, 13257},
    {SETTING_LIGHT_IDS + 2, 13258},
    {SETTING_LIGHT_IDS + 3, 13268},
    {3130, 13278},
    {3131, 13279},
    {3132, 13280},
    {3133, 13281},
    {3134, 13282},
    // PMC
    {3080, 13285},
    {3093, 13286},
    {3095, 13287},
    {3082, 13288},
    {SETTING_EXPLORATION_STRENGTH, 13289},
    {SETTING_DIRECT_LIGHT_IMPORTANCE, 13290},
    {SETTING_MAX_REJECTS, 13291},
    {3086, 13292},
    {3087, 13293},
    {3088, 13294},
    {3089, 13295},
    {3090, 13296},
    {3091, 13297},
    {3092, 13298},
    {3097, 13300},
    {3094, 13302},
    {3098, 13303},
    {3240, 13305},
    {3241, 13306},
    {3243, 13308},
    {SETTING_LIGHT_IDS + 4, 13309},
    {SETTING_LIGHT_IDS + 5, 13319},
    // Info channels
    {3024, 13333},
    {3025, 13331},
    {3027, 13337},
    {3030, 13334},
    {3034, 13345},
    {3036, 13346},
    {3121, 13338},
    {3029, 13335},
    {3028, 13339},
    {3037, 13340},
    {3035, 13341},
    {3031, 13332},
    {3032, 13343},
    {3033, 13344},
    {3026, 13336},
    {3038, 13347},
    {3039, 13348},
    {3120, 13349},
    // Camera imager
    {SETTING_EXPOSURE, 13137},
    {3054, 13143},
    {3058, 13142},
    {SETTING_RESPONSE, 13144},
    {3055, 13145},
    {SETTING_GAMMA, 13140},
    {SETTING_WHITE_BALANCE, 13155},
    {3046, 13146},
    {3047, 13147},
    {3048, 13148},
    {3049, 13149},
    {3057, 13150},
    {3051, 13153},
    {SETTING_WHITE_SATURATION, 13154},
    {3050, 13151},
    {3137, 13152},
    {3138, 13159},
    {3150, 13162},
    {3147, 13161},
    {3149, 13160},
    {3139, 13163},
    {3148, 13164},
    {SETTING_LUT_FILE, 13156},
    {SETTING_LUT_STRENGTH, 13157},
    // Post-processing
    {SETTING_POST_ENABLED, 13172},
    {3100, 13173},
    {3104, 13174},
    {3105, 13175},
    {3102, 13176},
    {3103, 13177},
    {3106, 13178},
    {3107, 13179},
};

constexpr Int32 kShadowAmbient[] = {13167, 13168, 13169};

}  // namespace

Int32 controlOf(const SettingRow& row) {
    if (row.id == SETTING_SHADOW_AMBIENT) return kShadowAmbient[0];
    const auto* found = std::find_if(std::begin(kControls), std::end(kControls),
                                     [&](const Control& control) { return control.id == row.id; });
    return found == std::end(kControls) ? 0 : found->element + (row.type == SettingType::Bit ? row.bit : 0);
}

std::span<const Int32> shadowAmbientControls() {
    return kShadowAmbient;
}

}  // namespace lumora
