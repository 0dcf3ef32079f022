// Every render setting, described once: how it is addressed, stored, bounded, and which engine pin it goes to.
//
// A setting has up to three addresses: group and key (dialogs), group and four-character code (scripts, presets), and
// an id in stored containers. Numbers and codes are stored in documents and never change.
#pragma once

#include <span>

#include "plugin/core/prelude.h"

namespace lumora {

enum class SettingGroup : UChar { Global, Kernel, Direct, Path, Pmc, Imager, Post, Info, Pass, Other };
enum class SettingType : UChar { Bool, Int, Float, Colour, File, Bit };

/// "", "Krn", "DL", "Pt", "Pmc", "Ci", "Post", "Ic", "pass", "Other".
const char* groupName(SettingGroup group);

/// Values are kept as numbers but for colours and files.
struct SettingRow {
    SettingGroup group{};
    const char* key = "";  ///< empty: addressed by code only
    Int32 code = 0;        ///< four characters; 0: none
    Int32 id = 0;          ///< in stored containers; 0: not stored
    SettingType type{};
    Float stored = 0;                ///< read from a container that lacks the id
    Float record = 0;                ///< in a fresh record
    Vector colour{};                 ///< both defaults of a colour
    Float minimum = 0, maximum = 0;  ///< equal: any
    Int32 pin = 0;                   ///< of the group's node; 0: none, or written by a rule of its own
    Int32 pass = 0;                  ///< of a pass switch: the pass
    const char* label = "";
};

std::span<const SettingRow> settingRows();

/// Positions in settingRows(); -1 when there is no such address. A key of the kernel group is not looked at.
Int32 findSetting(SettingGroup group, const String& key);
Int32 findSettingByCode(SettingGroup group, Int32 code);
Int32 findSettingById(Int32 id);
Int32 findPassSwitch(Int32 pass);
/// -1 for an unknown name.
Int32 findGroup(const String& name);

/// Values of SettingGroup::Kernel.
enum KernelType : Int32 { KERNEL_INFO = 0, KERNEL_DIRECT = 1, KERNEL_PATH = 2, KERNEL_PMC = 3 };

/// Ids that code names; all others are reached through the table.
enum SettingId : Int32 {
    SETTING_KERNEL = 3001,
    SETTING_LOCK_RESOLUTION = 3226,
    SETTING_LOG_LEVEL = 3215,
    SETTING_RENDER_TEXTURES = 3216,
    SETTING_BAKE_SIZE = 3217,
    SETTING_STORED_VERSION = 3225,
    SETTING_ENVIRONMENT_COLOR = 3190,
    SETTING_PASSES_ON = 3280,
    SETTING_POST_ENABLED = 3101,
    SETTING_LUT_STRENGTH = 3136,
};

/// Camera response curves by id, in the order of lists.
struct FilmResponse {
    Int32 id;
    const char* name;
};
std::span<const FilmResponse> filmResponses();

}  // namespace lumora
