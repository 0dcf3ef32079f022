// Rays from the camera through points of the film.
#pragma once

#include "engine/render/scene.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

class CameraRays {
public:
    /// Reads camera and film once; `focalDepth` replaces the camera's own.
    CameraRays(const Camera& camera, const Film& film, float focalDepth);

    /// Ray through film point (x, y), in pixels from the upper left corner; `lens` is uniform on the unit square.
    Ray generate(float x, float y, Float2 lens) const;

private:
    Camera camera_;
    float width_, height_, focalDepth_;
    Float3 right_, up_, forward_;
    float pixel_;                   ///< width of a pixel where halfWidth_ is measured; panoramic: its angle
    float halfWidth_, halfHeight_;  ///< of the film at distance one (orthographic: in metres)
};

/// The camera's focal depth: with autofocus the distance of what the middle of the picture shows.
float findFocalDepth(const RenderScene& scene);

}  // namespace Lumora::engine
