// Every render setting, described once: how it is addressed, stored, bounded, and which engine pin it goes to.
//
// A setting has up to three addresses: group and key (dialogs), group and four-character code (scripts, presets), and
// an id in stored containers. Numbers and codes are stored in documents and never change.
#pragma once

#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

enum class SettingGroup : UChar { Global, Kernel, Direct, Path, Pmc, Imager, Post, Info, Pass, Other };
/// Bit: one bit of a set that several rows share.
enum class SettingType : UChar { Bool, Int, Float, Colour, File, Bit };
/// The node that has a row's pin: the group's own, or one that belongs to it.
enum class PinHome : UChar { Group, Layer, Lut };

/// A choice of groups, one bit for each.
using SettingGroups = UInt32;
constexpr SettingGroups groupBit(SettingGroup group) {
    return 1u << static_cast<unsigned>(group);
}
inline constexpr SettingGroups kAllGroups = ~0u;

/// "", "Krn", "DL", "Pt", "Pmc", "Ci", "Post", "Ic", "pass", "Other".
const char* groupName(SettingGroup group);
/// The group as a heading.
const char* groupTitle(SettingGroup group);

/// Values are kept as numbers but for colours and files.
struct SettingRow {
    SettingGroup group{};
    const char* key = "";  ///< empty: addressed by code only
    Int32 code = 0;        ///< four characters; 0: none
    Int32 id = 0;          ///< in stored containers; rows of type Bit share that of their set
    SettingType type{};
    Float stored = 0;                ///< read from a container that lacks the id
    Float record = 0;                ///< in a fresh record
    Vector colour{};                 ///< both defaults of a colour
    Float minimum = 0, maximum = 0;  ///< equal: any
    Int32 pin = 0;                   ///< 0: none, or written by a rule of its own
    PinHome home = PinHome::Group;
    Int32 bit = 0;      ///< of a Bit row
    Int32 pass = 0;     ///< of a pass switch: the pass
    Int32 element = 0;  ///< its control in the settings dialog; 0: none
    Int32 kind = 0;     ///< of a pass switch: kPassKind
    const char* label = "";

    bool isNumber() const { return type != SettingType::Colour && type != SettingType::File; }
    bool isWhole() const { return isNumber() && type != SettingType::Float; }
};

/// Switches of this kind are those of the render passes node.
inline constexpr Int32 kPassKind = 11;

std::span<const SettingRow> settingRows();

/// Positions in settingRows(); -1 when there is no such address. The kernel group has one number, whatever its key.
Int32 findSetting(SettingGroup group, const String& key);
Int32 findSettingByCode(SettingGroup group, Int32 code);
Int32 findSettingById(Int32 id);
Int32 findPassSwitch(Int32 pass);
/// -1 for an unknown name.
Int32 findGroup(const String& name);

/// Values of SettingGroup::Kernel.
enum KernelType : Int32 { KERNEL_INFO = 0, KERNEL_DIRECT = 1, KERNEL_PATH = 2, KERNEL_PMC = 3 };
/// The group of a kernel's settings.
SettingGroup kernelGroup(Int32 kernel);

/// Ids that code names; all others are reached through the table.
enum SettingId : Int32 {
    SETTING_PRESET_NAME = 3000,  ///< of a preset's container: text
    SETTING_KERNEL = 3001,
    SETTING_DENOISER = 3138,
    SETTING_DENOISE_VOLUMES = 3150,
    SETTING_EXPOSURE = 3041,
    SETTING_ISO = 3042,
    SETTING_FSTOP = 3043,
    SETTING_GAMMA = 3044,
    SETTING_RESPONSE = 3045,
    SETTING_LOCK_RESOLUTION = 3226,
    SETTING_LOG_LEVEL = 3215,
    SETTING_RENDER_TEXTURES = 3216,
    SETTING_BAKE_SIZE = 3217,
    SETTING_STORED_VERSION = 3225,  ///< version of the plug-in that wrote the container
    SETTING_ENVIRONMENT_COLOR = 3190,
    SETTING_PASSES_ON = 3280,
    SETTING_RAW_PASSES = 3450,
    SETTING_PASS_SWITCH = 3459,
    SETTING_LAYER_ON = 3400,
    SETTING_NOISE_PASS = 3326,
    SETTING_INFO_CHANNEL = 3025,
    SETTING_INFO_UV_SET = 3037,
    SETTING_POST_ENABLED = 3101,
    SETTING_LUT_STRENGTH = 3136,
    // Beyond the numbers of earlier versions, so that every setting lasts. Within the range that presets copy.
    SETTING_STEP_LENGTH_DIRECT = 3901,
    SETTING_STEP_LENGTH_PATH = 3902,
    SETTING_STEP_LENGTH_PMC = 3903,
    SETTING_EXPLORATION_STRENGTH = 3904,
    SETTING_DIRECT_LIGHT_IMPORTANCE = 3905,
    SETTING_MAX_REJECTS = 3906,
    SETTING_WHITE_SATURATION = 3907,
    SETTING_WHITE_BALANCE = 3908,
    SETTING_SHADOW_AMBIENT = 3909,
    SETTING_LUT_FILE = 3910,
    SETTING_LIGHT_IDS = 3911,  ///< light id sets of the direct, path and PMC kernels: taken in, then inverted; to 3916
};

/// Camera response curves by id, in the order of lists.
struct FilmResponse {
    Int32 id;
    const char* name;
};
std::span<const FilmResponse> filmResponses();

}  // namespace lumora
