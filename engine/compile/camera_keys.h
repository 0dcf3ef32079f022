// The places of a moving camera while the shutter is open.
#pragma once

#include "engine/compile/nodes.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

/// Reads the animated value nodes on position, target and up of a camera node. Fills `camera.keys`, and gives the
/// camera the place of the middle of the shutter; leaves both alone when nothing moves or the shutter is closed.
/// `time`: seconds, of the project; `fps`: frames a second.
void readCameraKeys(const NodeTable& nodes, const NodeRecord& target, const NodeRecord& node, float time, float fps,
                    Camera& camera);

}  // namespace Lumora::engine
