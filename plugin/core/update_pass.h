// A look at the document for what changed since it was sent, and its way into the engine.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// What an update pass looks at.
enum UpdateMask : Int32 { CHECK_CAMERA = 1, CHECK_MATERIALS = 2 };

/// One pass over what the mask names. Nothing happens during a send or a final render, without a running render, or
/// when another document is active. `background`: the engine's part is left to the send thread; otherwise the call
/// waits until the engine has taken the update. `force`: also while an earlier update is still being taken. True when
/// something had changed. Main thread.
bool updatePass(lumoraLive& session, Int32 mask, bool background, bool force);

}  // namespace lumora
