#include "engine/render/camera.h"

#include "engine/render/sampling.h"

namespace Lumora::engine {

CameraRays::CameraRays(const Camera& camera, const Film& film, float focalDepth)
    : camera_(camera),
      width_(static_cast<float>(film.width)),
      height_(static_cast<float>(film.height)),
      focalDepth_(std::max(focalDepth, 1e-4f)) {
    forward_ = normalize(camera.target - camera.position);
    if (forward_ == Float3{}) forward_ = {0, 0, -1};
    right_ = cross(forward_, camera.up);
    // An up vector along the view says nothing; any other will do.
    if (!(dot(right_, right_) > 1e-12f))
        right_ = cross(forward_, std::abs(forward_.y) < 0.9f ? Float3{0, 1, 0} : Float3{0, 0, 1});
    right_ = normalize(right_);
    up_ = cross(right_, forward_);
    const float fov = std::clamp(camera.fov, 0.01f, 179.0f) * (kPi / 180.0f);
    halfWidth_ = std::tan(0.5f * fov);
    if (camera.orthographic) halfWidth_ *= std::max(length(camera.target - camera.position), 1e-4f);
    halfHeight_ = halfWidth_ * height_ / (width_ * std::max(camera.pixelAspect, 1e-3f));
    pixel_ = (camera.panoramic ? camera.fovX * (kPi / 180.0f) : 2.0f * halfWidth_) / std::max(width_, 1.0f);
}

Ray CameraRays::generate(float x, float y, Float2 lens) const {
    const float sx = 2.0f * x / width_ - 1.0f + 2.0f * camera_.lensShift.x;
    const float sy = 1.0f - 2.0f * y / height_ + 2.0f * camera_.lensShift.y;
    Ray ray;
    if (camera_.panoramic) {
        const float phi = sx * camera_.fovX * (kPi / 360.0f), theta = sy * camera_.fovY * (kPi / 360.0f);
        const float c = std::cos(theta);
        ray.origin = camera_.position;
        ray.direction =
            normalize(right_ * (c * std::sin(phi)) + up_ * std::sin(theta) + forward_ * (c * std::cos(phi)));
        ray.tmin = camera_.nearClip;
        ray.tmax = camera_.farClip;
        ray.footprint = {0.0f, pixel_};
        return ray;
    }
    const Float3 offset = right_ * (sx * halfWidth_) + up_ * (sy * halfHeight_);
    if (camera_.orthographic) {
        ray.origin = camera_.position + offset;
        ray.direction = forward_;
    } else {
        ray.origin = camera_.position;
        ray.direction = forward_ + offset;
    }
    if (camera_.apertureRadius > 0.0f) {
        const Float2 d = sampleDisk(lens);
        const Float3 focus = ray.origin + ray.direction * focalDepth_;
        ray.origin +=
            right_ * (d.x * camera_.apertureRadius) + up_ * (d.y * camera_.apertureRadius * camera_.apertureAspect);
        ray.direction = focus - ray.origin;
    }
    ray.direction = normalize(ray.direction);
    const float cosine = std::max(dot(ray.direction, forward_), 1e-4f);
    ray.tmin = camera_.nearClip / cosine;
    ray.tmax = camera_.farClip / cosine;
    ray.footprint = camera_.orthographic ? RayFootprint{pixel_, 0.0f} : RayFootprint{0.0f, pixel_ * cosine};
    return ray;
}

float findFocalDepth(const RenderScene& scene) {
    const Camera& camera = scene.camera;
    if (!camera.autofocus || !(camera.apertureRadius > 0.0f) || camera.panoramic) return camera.focalDepth;
    Camera pinhole = camera;
    pinhole.apertureRadius = 0.0f;
    const CameraRays rays(pinhole, scene.film, camera.focalDepth);
    const Ray ray = rays.generate(0.5f * static_cast<float>(scene.film.width),
                                  0.5f * static_cast<float>(scene.film.height), {0.5f, 0.5f});
    const Hit hit = intersect(*scene.geometry, ray);
    if (!hit.valid()) return camera.focalDepth;
    return hit.t * dot(ray.direction, normalize(camera.target - camera.position));
}

}  // namespace Lumora::engine
