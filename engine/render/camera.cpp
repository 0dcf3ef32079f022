#include "engine/render/camera.h"

#include "engine/render/bake_map.h"
#include "engine/render/sampling.h"

namespace Lumora::engine {

namespace {

constexpr float kRadians = kPi / 180.0f;

/// One face of the cube: where it looks, and the directions in which its picture grows.
struct CubeFace {
    Float3 ahead, right, up;  ///< in the camera's frame: x right, y up, z ahead
};

// In the order of Panorama. The faces above and below join the front one at its edge.
constexpr CubeFace kCubeFaces[] = {
    {{1, 0, 0}, {0, 0, -1}, {0, 1, 0}}, {{-1, 0, 0}, {0, 0, 1}, {0, 1, 0}},  {{0, 1, 0}, {1, 0, 0}, {0, 0, -1}},
    {{0, -1, 0}, {1, 0, 0}, {0, 0, 1}}, {{0, 0, -1}, {-1, 0, 0}, {0, 1, 0}}, {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},
};

bool isCubeFace(Panorama p) {
    return p >= Panorama::CubeRight && p <= Panorama::CubeFront;
}

/// A unit vector at right angles to `ahead`, as near to `hint` as can be.
Float3 upright(Float3 ahead, Float3 hint) {
    Float3 right = cross(ahead, hint);
    // A hint along the view says nothing; any other will do.
    if (!(dot(right, right) > 1e-12f))
        right = cross(ahead, std::abs(ahead.y) < 0.9f ? Float3{0, 1, 0} : Float3{0, 0, 1});
    return normalize(cross(normalize(right), ahead));
}

}  // namespace

// --- Aperture -------------------------------------------------------------------------------------------------------

Aperture::Aperture(const Camera& camera)
    : round_(camera.bokehRoundness >= 1.0f),
      exponent_(1.0f / (1.0f + camera.apertureEdge)),
      sides_(static_cast<float>(camera.bokehSides)),
      roundness_(camera.bokehRoundness),
      rotation_(camera.bokehRotation * kPi),
      aspect_(camera.apertureAspect) {
    if (round_) return;
    for (int i = 0; i < kSteps; ++i) {
        const float r = rim((static_cast<float>(i) + 0.5f) / kSteps * 2.0f * kPi / sides_);
        cumulative_[static_cast<std::size_t>(i) + 1] = cumulative_[static_cast<std::size_t>(i)] + r * r;
    }
    for (float& c : cumulative_) c /= cumulative_[kSteps];
}

float Aperture::rim(float angle) const {
    const float half = kPi / sides_;
    return lerp(std::cos(half) / std::cos(angle - half), 1.0f, roundness_);
}

Float2 Aperture::sample(Float2 u) const {
    if (round_) {
        Float2 d = sampleDisk(u);
        if (exponent_ != 0.5f) {
            const float r = std::sqrt(d.x * d.x + d.y * d.y);
            const float scale = r > 0.0f ? std::pow(r, 2.0f * exponent_ - 1.0f) : 0.0f;
            d = {d.x * scale, d.y * scale};
        }
        return {d.x, d.y * aspect_};
    }
    // The angle by the area of the opening up to it, then the radius: uniform for an edge of one.
    const float whole = std::floor(u.y * sides_), within = u.y * sides_ - whole;
    const auto above = std::upper_bound(cumulative_.begin() + 1, cumulative_.end() - 1, within);
    const float low = *(above - 1), high = *above;
    const float step =
        static_cast<float>(above - 1 - cumulative_.begin()) + (high > low ? (within - low) / (high - low) : 0.0f);
    const float angle = step / kSteps * 2.0f * kPi / sides_;
    const float r = rim(angle) * std::pow(u.x, exponent_);
    const float phi = rotation_ + whole * 2.0f * kPi / sides_ + angle;
    return {r * std::cos(phi), r * std::sin(phi) * aspect_};
}

// --- Film to direction ----------------------------------------------------------------------------------------------

/// What one eye sees at one point of the film.
struct CameraRays::View {
    Float2 film;       ///< -1 to 1 across the eye's picture, y upwards
    float eye = 0.0f;  ///< -1 the left one, 1 the right one, 0 a single one
    int face = 0;      ///< of a cube map
    Float3 weight{1, 1, 1};
};

CameraRays::CameraRays(const Camera& camera, const Film& film, float focalDepth, std::shared_ptr<const BakeMap> bake)
    : camera_(camera),
      aperture_(camera),
      bake_(std::move(bake)),
      width_(static_cast<float>(film.width)),
      height_(static_cast<float>(film.height)),
      focalDepth_(std::max(focalDepth, 1e-4f)),
      targetDistance_(std::max(length(camera.target - camera.position), 1e-4f)) {
    const bool panoramic = camera.kind == CameraKind::Panoramic;
    simple_ = camera.kind == CameraKind::ThinLens && !camera.orthographic && !(camera.distortion > 0.0f) &&
              camera.stereo.output == StereoOutput::Off;
    const StereoOutput stereo = camera.stereo.output;
    if (stereo == StereoOutput::Anaglyph) layers_ = 2;
    if (stereo == StereoOutput::SideBySide || stereo == StereoOutput::SideBySideSqueezed) width_ *= 0.5f;
    if (stereo == StereoOutput::OverUnder) height_ *= 0.5f;
    if (panoramic && camera.projection == Panorama::CubeMap) width_ /= 6.0f;
    const float shapeWidth = stereo == StereoOutput::SideBySideSqueezed ? 2.0f * width_ : width_;

    forward_ = normalize(camera.target - camera.position);
    if (forward_ == Float3{}) forward_ = {0, 0, -1};
    if (panoramic && camera.keepUpright && normalize(camera.up) != Float3{}) {
        const Float3 up = normalize(camera.up), level = forward_ - up * dot(forward_, up);
        if (dot(level, level) > 1e-12f) forward_ = normalize(level);
    }
    up_ = upright(forward_, camera.up);
    right_ = cross(forward_, up_);

    const float half = 0.5f * std::clamp(camera.fov, 0.001f, 179.0f) * kRadians;
    halfWidth_ = std::tan(half);
    halfAngle_ = half;
    fisheyeScale_ = half / halfWidth_;
    correctedCentre_ = forward_;
    if (camera.orthographic) {
        halfWidth_ *= targetDistance_;
    } else if (camera.perspectiveCorrection && !panoramic) {
        // The film stands upright like that of a view camera; shifting it brings the target back to the middle.
        const Float3 up = normalize(camera.up);
        const Float3 level = forward_ - up * dot(forward_, up);
        const float cosine = length(level);
        if (cosine > 0.05f) {
            up_ = up;
            right_ = normalize(cross(level, up));
            correctedCentre_ = forward_ * (1.0f / cosine);
            halfWidth_ *= 1.0f / cosine;
        }
    }
    halfHeight_ = halfWidth_ * height_ / (shapeWidth * std::max(camera.pixelAspect, 1e-3f));
    const float angle = !panoramic ? 2.0f * halfWidth_
                        : camera.projection == Panorama::CubeMap || isCubeFace(camera.projection)
                            ? 0.5f * kPi
                            : camera.fovX * kRadians;
    pixel_ = angle / std::max(width_, 1.0f);
}

CameraRays::View CameraRays::eyeView(std::uint32_t x, std::uint32_t y, Float2 offset, int layer) const {
    View view;
    const Stereo& stereo = camera_.stereo;
    float px = static_cast<float>(x) + 0.5f, py = static_cast<float>(y) + 0.5f;
    switch (stereo.output) {
        case StereoOutput::Off:
            break;
        case StereoOutput::Left:
            view.eye = -1.0f;
            break;
        case StereoOutput::Right:
            view.eye = 1.0f;
            break;
        case StereoOutput::SideBySide:
        case StereoOutput::SideBySideSqueezed: {
            const float eyeWidth = camera_.kind == CameraKind::Panoramic && camera_.projection == Panorama::CubeMap
                                       ? 6.0f * width_
                                       : width_;
            view.eye = px < eyeWidth ? -1.0f : 1.0f;
            if (view.eye > 0.0f) px -= eyeWidth;
            break;
        }
        case StereoOutput::OverUnder:
            view.eye = py < height_ ? -1.0f : 1.0f;
            if (view.eye > 0.0f) py -= height_;
            break;
        case StereoOutput::Anaglyph:
            view.eye = layer == 0 ? -1.0f : 1.0f;
            view.weight = layer == 0 ? stereo.leftFilter : stereo.rightFilter;
            break;
    }
    if (stereo.swapEyes) view.eye = -view.eye;
    if (camera_.kind == CameraKind::Panoramic && camera_.projection == Panorama::CubeMap) {
        view.face = std::min(static_cast<int>(px / width_), 5);
        px -= static_cast<float>(view.face) * width_;
    }
    view.film = {2.0f * (px + offset.x) / width_ - 1.0f, 1.0f - 2.0f * (py + offset.y) / height_};
    return view;
}

/// Direction in the camera's frame, its latitude in radians, and the way to the right eye. False: outside the picture.
bool CameraRays::panoramicDirection(Float2 film, float& latitude, Float3& direction, Float3& side) const {
    const Panorama p = camera_.projection;
    float phi = 0.0f;
    if (p == Panorama::Spherical || p == Panorama::Cylindrical) {
        phi = film.x * camera_.fovX * (0.5f * kRadians);
        latitude = p == Panorama::Spherical
                       ? film.y * camera_.fovY * (0.5f * kRadians)
                       : std::atan(film.y * std::tan(0.5f * std::min(camera_.fovY, 179.0f) * kRadians));
        const float c = std::cos(latitude);
        direction = {c * std::sin(phi), std::sin(latitude), c * std::cos(phi)};
    } else if (p == Panorama::Fisheye) {
        const float y = film.y * height_ / std::max(width_, 1.0f);
        const float r = std::sqrt(film.x * film.x + y * y);
        const float angle = r * camera_.fovX * (0.5f * kRadians);
        if (r > 1.0f || angle > kPi) return false;
        const float s = r > 0.0f ? std::sin(angle) / r : 0.0f;
        direction = {film.x * s, y * s, std::cos(angle)};
    } else {
        return false;
    }
    if (p == Panorama::Fisheye) {
        latitude = std::asin(std::clamp(direction.y, -1.0f, 1.0f));
        phi = std::atan2(direction.x, direction.z);
    }
    side = {std::cos(phi), 0.0f, -std::sin(phi)};
    return true;
}

/// Direction through a point of the thin lens camera's film, of length one along the film's axis.
Float3 CameraRays::lensDirection(Float2 film) const {
    const float x = film.x * halfWidth_, y = film.y * halfHeight_;
    if (!(camera_.distortion > 0.0f)) return correctedCentre_ + right_ * x + up_ * y;
    // Between the rectilinear lens and the one whose distances from the middle are angles; both agree at the sides.
    const float r = std::sqrt(x * x + y * y);
    if (!(r > 0.0f)) return correctedCentre_;
    const float angle = std::min(lerp(std::atan(r), r * fisheyeScale_, camera_.distortion), 0.999f * kPi);
    const Float3 outwards = (right_ * x + up_ * y) * (1.0f / r);
    return correctedCentre_ * std::cos(angle) + outwards * std::sin(angle);
}

/// Moves the origin to a point of the lens; what lies at the focal depth stays where it is in the picture.
void CameraRays::throughLens(Ray& ray, Float3 right, Float3 up, Float2 lens) const {
    if (!(camera_.apertureRadius > 0.0f)) return;
    const Float2 d = aperture_.sample(lens);
    const Float3 focus = ray.origin + ray.direction * focalDepth_;
    ray.origin += (right * d.x + up * d.y) * camera_.apertureRadius;
    ray.direction = focus - ray.origin;
}

CameraSample CameraRays::generate(std::uint32_t x, std::uint32_t y, Float2 offset, Float2 lens, int layer) const {
    CameraSample sample;
    Ray& ray = sample.ray;
    if (simple_) {
        const float px = static_cast<float>(x) + 0.5f, py = static_cast<float>(y) + 0.5f;
        const float filmX = 2.0f * (px + offset.x) / width_ - 1.0f + 2.0f * camera_.lensShift.x;
        const float filmY = 1.0f - 2.0f * (py + offset.y) / height_ + 2.0f * camera_.lensShift.y;
        ray.origin = camera_.position;
        ray.direction = correctedCentre_ + right_ * (filmX * halfWidth_) + up_ * (filmY * halfHeight_);
        throughLens(ray, right_, up_, lens);
        finish(ray);
        return sample;
    }
    if (camera_.kind == CameraKind::Baking) {
        const Float2 film = {(static_cast<float>(x) + 0.5f + offset.x) / width_,
                             1.0f - (static_cast<float>(y) + 0.5f + offset.y) / height_};
        sample.valid = bake_ && bake_->ray(film, ray);
        return sample;
    }
    View view = eyeView(x, y, offset, layer);
    sample.weight = view.weight;
    ray.origin = camera_.position;
    const Stereo& stereo = camera_.stereo;
    const float eye = 0.5f * view.eye * stereo.eyeDistance;
    const auto toWorld = [this](Float3 d) { return right_ * d.x + up_ * d.y + forward_ * d.z; };

    if (camera_.kind == CameraKind::Panoramic) {
        Float3 direction, side;
        float latitude = 0.0f;
        if (camera_.projection == Panorama::CubeMap || isCubeFace(camera_.projection)) {
            const int index = camera_.projection == Panorama::CubeMap
                                  ? view.face
                                  : static_cast<int>(camera_.projection) - static_cast<int>(Panorama::CubeRight);
            const CubeFace& face = kCubeFaces[index];
            direction = normalize(face.ahead + face.right * view.film.x + face.up * view.film.y);
            latitude = std::asin(std::clamp(direction.y, -1.0f, 1.0f));
            const float across = std::sqrt(direction.x * direction.x + direction.z * direction.z);
            side = across > 0.0f ? Float3{direction.z / across, 0.0f, -direction.x / across} : Float3{1, 0, 0};
        } else if (!panoramicDirection(view.film, latitude, direction, side)) {
            sample.valid = false;
            return sample;
        }
        if (eye != 0.0f) {
            if (std::abs(latitude) > stereo.blackoutLatitude * kRadians * (1.0f + 1e-6f)) {
                sample.valid = false;
                return sample;
            }
            // The eyes sit on a circle around the axis and come together towards the poles.
            const float near = std::pow(std::max(std::cos(latitude), 0.0f), stereo.falloff);
            ray.origin += toWorld(side) * (eye * near);
        }
        ray.direction = toWorld(direction);
        const Float3 up = upright(ray.direction, up_);
        throughLens(ray, cross(ray.direction, up), up, lens);
        ray.direction = normalize(ray.direction);
        ray.tmin = camera_.nearClip;
        ray.tmax = camera_.farClip;
        ray.footprint = {0.0f, pixel_};
        return sample;
    }

    view.film.x += 2.0f * camera_.lensShift.x;
    view.film.y += 2.0f * camera_.lensShift.y;
    Float3 right = right_, up = up_;
    if (camera_.orthographic) {
        ray.origin += right_ * (view.film.x * halfWidth_) + up_ * (view.film.y * halfHeight_);
        ray.direction = forward_;
    } else {
        ray.direction = lensDirection(view.film);
    }
    if (eye != 0.0f) {
        const Float3 place = right_ * eye;
        if (stereo.mode == StereoMode::OffAxis) {
            // What lies in the target's plane has no parallax.
            const float reach = targetDistance_ / std::max(dot(ray.direction, forward_), 0.05f);
            ray.direction = ray.direction - place * (1.0f / reach);
        } else if (stereo.mode == StereoMode::ToeIn) {
            // The whole eye turns about the up axis by the angle at which it sees the target.
            const float turn = std::atan2(-eye, targetDistance_), c = std::cos(turn), s = std::sin(turn);
            const auto turned = [&](Float3 v) {
                const float a = dot(v, right_), b = dot(v, forward_);
                return v + right_ * (a * c + b * s - a) + forward_ * (b * c - a * s - b);
            };
            ray.direction = turned(ray.direction);
            right = turned(right_);
        }
        ray.origin += place;
    }
    throughLens(ray, right, up, lens);
    finish(ray);
    return sample;
}

/// Length, ends and footprint of a ray that went through the lens.
void CameraRays::finish(Ray& ray) const {
    ray.direction = normalize(ray.direction);
    const float cosine = std::max(dot(ray.direction, forward_), 1e-4f);
    ray.tmin = camera_.nearClip / cosine;
    ray.tmax = camera_.farClip / cosine;
    ray.footprint = camera_.orthographic ? RayFootprint{pixel_, 0.0f} : RayFootprint{0.0f, pixel_ * cosine};
}

float CameraRays::depth(const Ray& ray, float t) const {
    return camera_.kind == CameraKind::ThinLens ? t * dot(ray.direction, forward_) : t;
}

float findFocalDepth(const RenderScene& scene) {
    const Camera& camera = scene.camera;
    if (!camera.autofocus || !(camera.apertureRadius > 0.0f) || camera.kind == CameraKind::Baking)
        return camera.focalDepth;
    Camera pinhole = camera;
    pinhole.kind = CameraKind::ThinLens;  // the middle of a panorama looks at the target, too
    pinhole.apertureRadius = 0.0f;
    pinhole.stereo = {};
    Film middle = scene.film;
    middle.width |= 1u;  // an odd size has a pixel in its middle
    middle.height |= 1u;
    const CameraRays rays(pinhole, middle, camera.focalDepth);
    const CameraSample centre = rays.generate(middle.width / 2, middle.height / 2, {}, {0.5f, 0.5f});
    if (!centre.valid) return camera.focalDepth;
    const Hit hit = intersect(*scene.geometry, centre.ray);
    return hit.valid() ? rays.depth(centre.ray, hit.t) : camera.focalDepth;
}

}  // namespace Lumora::engine
