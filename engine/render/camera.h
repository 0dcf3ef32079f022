// Rays from the camera through points of the film.
//
//   film pixel -> the part of the film that one eye sees -> direction of a pinhole camera -> the eye's place -> the
//   lens
//
// Every kind of camera but the baking one goes this way; that one asks a BakeMap which surface the pixel shows.
#pragma once

#include <array>
#include <memory>

#include "engine/render/scene.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

class BakeMap;

struct CameraSample {
    Ray ray;
    Float3 weight{1, 1, 1};  ///< of the light along the ray
    bool valid = true;       ///< false: this point of the film sees nothing and stays black and transparent
};

/// Points of the lens opening, on the unit disc and inside the shape of the bokeh.
class Aperture {
public:
    explicit Aperture(const Camera& camera);
    /// `u` uniform on the unit square.
    Float2 sample(Float2 u) const;

private:
    /// Distance of the rim from the middle, at an angle within one side of the polygon.
    float rim(float angle) const;

    static constexpr int kSteps = 64;
    bool round_;
    float exponent_;  ///< of the radius
    float sides_, roundness_, rotation_, aspect_;
    std::array<float, kSteps + 1> cumulative_{};  ///< share of the area up to an angle within one side
};

class CameraRays {
public:
    /// Reads camera and film once; `focalDepth` replaces the camera's own. `bake`, for the baking camera, is kept.
    CameraRays(const Camera& camera, const Film& film, float focalDepth, std::shared_ptr<const BakeMap> bake = nullptr);

    /// Pictures that are laid over each other: 2 for anaglyphs, else 1.
    int layers() const { return layers_; }
    /// A ray through pixel (x, y), `offset` pixels from its middle. `lens` is uniform on the unit square; `layer` is
    /// below layers().
    CameraSample generate(std::uint32_t x, std::uint32_t y, Float2 offset, Float2 lens, int layer = 0) const;

    /// Depth of a point for pictures of depth: along the axis where there is one, else the distance. `t` along the ray.
    float depth(const Ray& ray, float t) const;

private:
    struct View;
    View eyeView(std::uint32_t x, std::uint32_t y, Float2 offset, int layer) const;
    bool panoramicDirection(Float2 film, float& latitude, Float3& direction, Float3& side) const;
    Float3 lensDirection(Float2 film) const;
    void throughLens(Ray& ray, Float3 right, Float3 up, Float2 lens) const;
    void finish(Ray& ray) const;

    Camera camera_;
    Aperture aperture_;
    std::shared_ptr<const BakeMap> bake_;
    int layers_ = 1;
    bool simple_ = false;   ///< one eye looks through a thin lens without distortion
    float width_, height_;  ///< pixels of one eye's picture
    float focalDepth_, targetDistance_;
    Float3 right_, up_, forward_;
    float halfWidth_, halfHeight_;    ///< of the film at distance one (orthographic: in metres)
    float halfAngle_, fisheyeScale_;  ///< distortion: angle at the edge, and angle for each unit on the film
    Float3 correctedCentre_;          ///< perspective correction: from the lens to the middle of the film
    float pixel_ = 0.0f;              ///< angle of a pixel, radians; orthographic: its width
};

/// The camera's focal depth: with autofocus the distance of what the middle of the picture shows.
float findFocalDepth(const RenderScene& scene);

}  // namespace Lumora::engine
