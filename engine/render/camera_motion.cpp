#include "engine/render/camera_motion.h"

#include <algorithm>

namespace Lumora::engine {

CameraMotion::Place CameraMotion::placeOf(Float3 position, Float3 target, Float3 up) {
    Float3 forward = normalize(target - position);
    if (forward == Float3{}) forward = {0, 0, -1};
    Float3 right = cross(forward, up);
    // Looking along the up vector; any other will do.
    if (!(dot(right, right) > 1e-12f))
        right = cross(forward, std::abs(forward.y) < 0.9f ? Float3{0, 1, 0} : Float3{0, 0, 1});
    right = normalize(right);
    return {position, right, cross(right, forward), forward};
}

CameraMotion::CameraMotion(const Camera& camera)
    : keys_(camera.keys), base_(placeOf(camera.position, camera.target, camera.up)) {}

void CameraMotion::move(Ray& ray, float time) const {
    if (!moving()) return;
    const auto next =
        std::find_if(keys_.begin() + 1, keys_.end() - 1, [time](const CameraKey& k) { return k.time > time; });
    const CameraKey &a = *(next - 1), &b = *next;
    const float t = b.time > a.time ? clamp01((time - a.time) / (b.time - a.time)) : 0.0f;
    const Place place = placeOf(lerp(a.position, b.position, t), lerp(a.target, b.target, t), lerp(a.up, b.up, t));
    const auto turned = [&](Float3 v) {
        return place.right * dot(v, base_.right) + place.up * dot(v, base_.up) + place.forward * dot(v, base_.forward);
    };
    ray.origin = place.position + turned(ray.origin - base_.position);
    ray.direction = turned(ray.direction);
}

}  // namespace Lumora::engine
