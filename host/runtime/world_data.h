// Containers of plug-ins that last from one run to the next: <preferences>/world.prefs.
#pragma once

#include "host/sdk/file.h"

namespace host {

/// Reads the file. One that is broken is kept under another name and the host starts with nothing; the console says so.
void loadWorldData(const Filename& file);
/// Forgets all; nothing is written.
void dropWorldData();

}  // namespace host
