// What the engine calls back, on its own threads: flags, time stamps, log lines and core messages; nothing else.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// New image and render failure. The session must outlive removeCallbacks().
void installCallbacks(lumoraLive& session);
/// The end of an update.
void installUpdateCallback(lumoraLive& session);

}  // namespace lumora
