// Render settings as a person reads and types them.
#pragma once

#include <vector>

#include "host/sdk/plugin.h"
#include "plugin/render/render_settings.h"

namespace lumora {

/// All rows of the table in order.
std::vector<RendererSetting> listSettings(const RenderSettings& settings);

/// Sets a row by the key that listSettings shows; "kernel" and "samples" stand for the kernel in force. False with one
/// sentence when the key is unknown, or the value is of the wrong kind or out of range.
bool setFromText(RenderSettings& settings, const String& key, const String& value, String* error);

/// "info", "direct", "path" or "pmc"; empty for another number.
const char* kernelName(Int32 kernel);
/// Short keys that stand for a row whatever the kernel, each with the key of the row.
std::vector<std::pair<String, String>> shortKeys();
/// The words that a short key takes, in order; empty for any other key.
std::vector<String> settingChoices(const String& key);
/// The key under which the samples of that kernel stand.
String samplesKey(Int32 kernel);

/// The text that is nearest to `text` in edits of one letter, without regard to case; empty when there is none.
String nearestText(const String& text, const std::vector<String>& candidates);

}  // namespace lumora
