// The OSL scripts that lie in the plug-in's folder.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// Fills the session's two lists from res/osl_scripts: the folders below it, after the first entry "\" for the folder
/// itself, and all files as paths relative to it. Both sorted. A missing folder gives that one entry. Main thread.
void scanScripts(lumoraLive& session);

}  // namespace lumora
