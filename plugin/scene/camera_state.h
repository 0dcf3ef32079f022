// What the session remembers of the camera that the engine shows.
#pragma once

#include <atomic>

#include "plugin/scene/camera_frame.h"

namespace lumora {

struct CameraState {
    EngineFrame frame;                 ///< as it was written or sampled last
    UInt32 dirty = 0;                  ///< of camera and tag when they were sampled
    bool sampled = false;              ///< the pins hold samples over time
    std::atomic<bool> filling{false};  ///< samples are being taken: the update check keeps off
};

}  // namespace lumora
