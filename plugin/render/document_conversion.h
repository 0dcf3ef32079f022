// Documents of earlier versions: what they mean now.
#pragma once

#include "plugin/core/prelude.h"

namespace lumora {

/// From here on the exposure is stored as the imager takes it; before, with f-stop and film speed beside it.
inline constexpr Int32 kVersionExposure = 2160000;

/// A photographic exposure of an earlier version as the imager takes it. Unchanged when the f-stop is 0.
Float convertedExposure(Float exposure, Float fstop, Float iso);

/// Converts the tags, materials and video posts of a document that version `version` wrote. Says in the log what it
/// did. Call once for a document: the rules are not idempotent. Main thread, or the thread that owns the document.
void convertDocument(BaseDocument& document, Int32 version);

}  // namespace lumora
