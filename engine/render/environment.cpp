#include "engine/render/sampling.h"
#include "engine/render/scene.h"

namespace Lumora::engine {

Float2 directionToMap(Float3 d) {
    return {0.5f + std::atan2(d.x, -d.z) * (0.5f * kInvPi), 1.0f - std::acos(std::clamp(d.y, -1.0f, 1.0f)) * kInvPi};
}

Float3 mapToDirection(Float2 uv) {
    const float theta = (1.0f - uv.y) * kPi, phi = (uv.x - 0.5f) * (2.0f * kPi), s = std::sin(theta);
    return {s * std::sin(phi), std::cos(theta), -s * std::cos(phi)};
}

Float3 Environment::radiance(Float3 direction) const {
    switch (kind) {
        case Kind::None:
            return {};
        case Kind::Texture: {
            if (constant) return textures.color(texture, {}) * power;
            TextureContext at;
            const Float2 uv = directionToMap(direction);
            at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, uv.y, 0.0f};
            at.worldPosition = at.objectPosition = at.worldNormal = at.objectNormal = direction;
            return textures.color(texture, at) * power;
        }
        case Kind::Daylight: {
            Float3 r = ground;
            if (direction.y > 0.0f) r = lerp(horizon, zenith, std::sqrt(direction.y));
            if (texture != kNoTexture) {
                TextureContext at;
                const Float2 uv = directionToMap(direction);
                at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, uv.y, 0.0f};
                at.worldPosition = at.objectPosition = at.worldNormal = at.objectNormal = direction;
                r += textures.color(texture, at) * power;
            }
            return r;
        }
    }
    return {};
}

Float3 Environment::sunDisc(Float3 direction) const {
    return kind == Kind::Daylight && dot(direction, sunDirection) >= sunCosine ? sunRadiance : Float3{};
}

Float3 Environment::sample(Float2 u, Float3& direction, float& pdf) const {
    const Float2 uv = distribution.sample(u, pdf);
    direction = mapToDirection(uv);
    const float sinTheta = std::sin((1.0f - uv.y) * kPi);
    pdf = sinTheta > 0.0f ? pdf / (2.0f * kPi * kPi * sinTheta) : 0.0f;
    return pdf > 0.0f ? radiance(direction) : Float3{};
}

float Environment::pdf(Float3 direction) const {
    if (distribution.empty()) return 0.0f;
    const Float2 uv = directionToMap(direction);
    const float sinTheta = std::sin((1.0f - uv.y) * kPi);
    return sinTheta > 0.0f ? distribution.pdf(uv) / (2.0f * kPi * kPi * sinTheta) : 0.0f;
}

}  // namespace Lumora::engine
