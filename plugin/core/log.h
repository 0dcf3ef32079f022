// The plug-in's log: the host's console, its status bar, and the message list that the Live Viewer shows.
// Every function is safe from any thread.
#pragma once

#include <vector>

#include "plugin/core/prelude.h"

namespace lumora {

inline constexpr Int32 kLogDebug = 65535;  ///< the level that writes everything
inline constexpr Int32 kLogMaterials = 4;  ///< the material trail

/// Status bar as "Lumora:" plus the text, and the message list; at debug level the console too.
void statusLine(const String& text);
/// One line of the host's console.
void logLine(const String& text);
/// Console and status bar as "Lumora:" plus the text, when a bit of the mask is set in the log level. Mask 0: always.
void filteredLine(Int32 mask, const String& text);
/// Console, and the status bar while the Live Viewer is open.
void userLine(const String& text);
/// Console, at debug level only.
void debugLine(const String& text);

/// A line of the engine's own log: the console, as "LUM:" plus the text.
void engineLine(const String& text);

bool debugLog();

/// Takes the last waiting line of the message list and empties it. False when there is none, or another thread is
/// writing to it just now.
bool takeLastMessage(String* line);

}  // namespace lumora
