// A camera that moves while the shutter is open.
#pragma once

#include <vector>

#include "engine/render/settings.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

/// Carries rays of the camera's place in the middle of the shutter to where the camera is at another time.
class CameraMotion {
public:
    explicit CameraMotion(const Camera& camera);

    bool moving() const { return keys_.size() > 1; }
    /// `time`: 0 when the shutter opens, 1 when it closes.
    void move(Ray& ray, float time) const;

private:
    struct Place {
        Float3 position, right, up, forward;
    };
    static Place placeOf(Float3 position, Float3 target, Float3 up);

    std::vector<CameraKey> keys_;
    Place base_;
};

}  // namespace Lumora::engine
