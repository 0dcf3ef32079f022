#include "plugin/render/presets.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "plugin/core/ids.h"
#include "plugin/core/log.h"
#include "plugin/core/prefs.h"
#include "plugin/core/singletons.h"
#include "plugin/render/container_range.h"
#include "plugin/render/document_conversion.h"
#include "plugin/render/render_settings.h"

namespace lumora {

namespace {

constexpr Int32 kIdent = fourCC('t', 'e', 'm', 'p');
constexpr Int32 kVersion = 2;  // the first wrote the same rows
constexpr const char* kFileName = "presets.dat";
constexpr const char* kNameless = "name1";
constexpr Int32 kFirstId = 1000, kFirstSettingId = 3001, kLastId = 4000;

Filename ownFile() {
    return GeGetC4DPath(HostPath::Preferences) + kFileName;
}

/// The first free name beside a file, so that no earlier one is lost.
Filename spareName(const Filename& file) {
    constexpr Int32 kMostTries = 100;
    for (Int32 i = 1; i < kMostTries; ++i) {
        const Filename spare(file.GetString() + ".broken-" + String::IntToString(i));
        if (!GeFExist(spare)) return spare;
    }
    return Filename(file.GetString() + ".broken");
}

/// Presets up to the end of the file. False when something else than presets comes before it.
bool readRows(HyperFile& file, std::vector<BaseContainer>& presets) {
    while (file.GetRemaining() > 0) {
        BaseContainer preset;
        if (!file.ReadContainer(&preset)) return false;
        presets.push_back(std::move(preset));
    }
    return file.GetError() == FileError::None;
}

void keepAside(const Filename& file, const String& why) {
    const Filename spare = spareName(file);
    std::error_code error;
    std::filesystem::rename(file.str(), spare.str(), error);
    logLine(
        "Warning: the presets in " + file.GetString() + " cannot be read (" + why + "). " +
        (error ? String("There are none now.") : "The file is kept as " + spare.GetString() + "; there are none now."));
}

}  // namespace

std::vector<BaseContainer> readPresets() {
    const Filename candidates[] = {ownFile(), GeGetPluginPath() + kFileName};
    for (const Filename& name : candidates) {
        if (!GeFExist(name)) continue;
        std::vector<BaseContainer> presets;
        String why;
        {
            HyperFile file;
            if (file.Open(kIdent, name, FileMode::Read, kVersion) && readRows(file, presets)) return presets;
            why = file.GetErrorText();
        }
        keepAside(name, why);
        return {};
    }
    return {};
}

bool writePresets(const std::vector<BaseContainer>& presets) {
    const Filename name = ownFile();
    HyperFile file;
    bool good = file.Open(kIdent, name, FileMode::Write, kVersion);
    for (const BaseContainer& preset : presets) good = good && file.WriteContainer(preset);
    if (good && file.Close()) return true;
    logLine("Can't Write Preset File: " + name.GetString());
    return false;
}

String presetName(const BaseContainer& preset) {
    const String name = preset.GetString(SETTING_PRESET_NAME);
    return name.Content() ? name : String(kNameless);
}

BaseContainer* findPreset(std::vector<BaseContainer>& presets, const String& name) {
    const auto found = std::find_if(presets.begin(), presets.end(),
                                    [&](const BaseContainer& preset) { return presetName(preset) == name; });
    return found == presets.end() ? nullptr : &*found;
}

BaseContainer makePreset(RenderSettings& settings, const String& name) {
    BaseContainer preset;
    settings.ensureContainer();
    if (const BaseContainer* stored = settings.container()) copyRange(*stored, preset, kFirstId, kLastId);
    preset.SetString(SETTING_PRESET_NAME, name);
    return preset;
}

bool applyPreset(RenderSettings& settings, const BaseContainer& preset, bool apply) {
    if (!settings.ensureContainer()) return false;
    settings.setValueByStoredId(SETTING_GAMMA, 1.0, apply);
    BaseContainer values;
    copyRange(preset, values, kFirstSettingId, kLastId);
    // The document does not become older by it: what the version means is settled here.
    const Int32 version = values.GetInt32(SETTING_STORED_VERSION, kPluginVersionStamp);
    if (version >= 1 && version < kVersionExposure && values.Has(SETTING_EXPOSURE))
        values.SetFloat(SETTING_EXPOSURE,
                        convertedExposure(values.GetFloat(SETTING_EXPOSURE), values.GetFloat(SETTING_FSTOP, 2.8),
                                          values.GetFloat(SETTING_ISO, 100)));
    values.RemoveData(SETTING_STORED_VERSION);
    settings.container()->Merge(values);
    if (!settings.readFromDocument(true)) return false;
    if (apply) settings.apply(nullptr, singletons().prefs.get());
    return true;
}

}  // namespace lumora
