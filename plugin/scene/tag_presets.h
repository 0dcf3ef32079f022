// Ready-made settings of the tags of lights and skies. What a preset replaces is taken out of the tag first.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// Even light: the values of a new tag, a weak emission texture and a full distribution.
void setAreaLightPreset(BaseTag& lightTag);
/// Light distributed as an IES file says, laid round the light.
void setIesLightPreset(BaseTag& lightTag);
/// One grey for the whole environment.
void setGreyEnvironmentPreset(BaseTag& environmentTag);
/// A high-dynamic-range image round the scene. A tag that shows an image already keeps it.
void setHdrEnvironmentPreset(BaseTag& environmentTag);

}  // namespace lumora
