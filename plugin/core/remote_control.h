// What other plug-ins may ask of this one.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

class lumoraLive;

/// Serves a container whose value `kRemoteCommand` says what to do.
void remoteControl(lumoraLive& session, const BaseContainer& request);

inline constexpr Int32 kRemoteCommand = fourCC('\0', 'c', 'm', 'd');

}  // namespace lumora
