// Folders of the running host.
#pragma once

#include "host/sdk/file.h"

namespace host {

/// Settles the folders for GeGetC4DPath. Empty names: the preferences are $LUMORA_PREFERENCES, else `lumora` in the
/// user's configuration folder; the plug-ins are "plugins" beside the executable. The preferences folder is made; false
/// when it cannot be written, with a scratch folder of the system in its place.
Bool setHostPaths(const Filename& preferences, const Filename& plugins);

}  // namespace host
