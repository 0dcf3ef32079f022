// Presets: named sets of render settings, kept in the file presets.dat.
//
// A preset is a container with its name under SETTING_PRESET_NAME and the ids of stored settings. One of an older
// version fills only what it holds.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

class RenderSettings;

/// In the order of the file. It is looked for in the folder of the preferences, then in that of the plug-in; without
/// one the list is empty. A file that cannot be read is kept under another name and gives an empty list; the log says
/// so.
std::vector<BaseContainer> readPresets();
/// Into the folder of the preferences. False, and a line in the log, when the file cannot be written.
bool writePresets(const std::vector<BaseContainer>& presets);

/// "name1" for a preset without one.
String presetName(const BaseContainer& preset);
/// Null when there is none of that name.
BaseContainer* findPreset(std::vector<BaseContainer>& presets, const String& name);

/// The settings that the document stores, under a name.
BaseContainer makePreset(RenderSettings& settings, const String& name);
/// Puts the settings of the preset into the document and the record; with `apply` the engine's nodes follow. False
/// without a document.
bool applyPreset(RenderSettings& settings, const BaseContainer& preset, bool apply);

}  // namespace lumora
