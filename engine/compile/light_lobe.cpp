#include "engine/compile/light_lobe.h"

#include <array>

#include "engine/render/environment.h"

namespace Lumora::engine {

namespace {

/// Directions at even distances.
constexpr int kRings = 48, kSectors = 24;

Float3 directionAt(int ring, int sector) {
    return mapToDirection({(static_cast<float>(sector) + 0.5f) / kSectors, (static_cast<float>(ring) + 0.5f) / kRings});
}

/// The distribution in a direction of one space; in the other spaces the direction stays the same.
float valueAt(const TextureTable& textures, TextureId id, LightLobe::Space space, Float3 direction) {
    TextureContext at;
    at.within = true;
    const Float3 still{0.36f, 0.48f, 0.8f};
    at.worldPosition = at.worldNormal = at.shadingNormal = space == LightLobe::Space::World ? direction : still;
    at.objectPosition = at.objectNormal = space == LightLobe::Space::Object ? direction : still;
    // The front looks along y, which is the lower edge of the picture.
    const Float2 uv = space == LightLobe::Space::Front ? directionToMap({direction.x, -direction.y, direction.z})
                                                       : Float2{0.3f, 0.3f};
    at.uv[0] = at.uv[1] = at.uv[2] = {uv.x, uv.y, 0.0f};
    const float v = textures.scalar(id, at);
    return std::isfinite(v) ? std::max(v, 0.0f) : 0.0f;
}

using Values = std::array<float, kRings * kSectors>;

/// Looked at in a few directions first: most distributions vary in one space only.
bool varies(const TextureTable& textures, TextureId id, LightLobe::Space space) {
    float low = kInfinity, high = 0.0f;
    for (int ring = 1; ring < kRings; ring += 4) {
        for (int sector = 0; sector < kSectors; sector += 5) {
            const float v = valueAt(textures, id, space, directionAt(ring, sector));
            low = std::min(low, v);
            high = std::max(high, v);
        }
    }
    return high - low > 1e-3f * high;
}

}  // namespace

LightLobe lobeOf(const TextureTable& textures, TextureId distribution) {
    LightLobe lobe;
    int spaces = 0;
    for (const auto space : {LightLobe::Space::Front, LightLobe::Space::Object, LightLobe::Space::World}) {
        if (!varies(textures, distribution, space)) continue;
        ++spaces;
        lobe.space = space;
    }
    if (spaces != 1) return {};
    Values values;
    for (int i = 0; i < kRings * kSectors; ++i) {
        values[static_cast<std::size_t>(i)] =
            valueAt(textures, distribution, lobe.space, directionAt(i / kSectors, i % kSectors));
    }
    const auto brightest = static_cast<int>(std::max_element(values.begin(), values.end()) - values.begin());
    lobe.peak = values[static_cast<std::size_t>(brightest)];
    lobe.axis = lobe.space == LightLobe::Space::Front ? Float3{0, 1, 0}
                                                      : directionAt(brightest / kSectors, brightest % kSectors);
    // The cosine beyond which it is nowhere half as bright.
    float cosine = 1.0f;
    for (int i = 0; i < kRings * kSectors; ++i) {
        if (values[static_cast<std::size_t>(i)] < 0.5f * lobe.peak) continue;
        cosine = std::min(cosine, dot(lobe.axis, directionAt(i / kSectors, i % kSectors)));
    }
    // Beams wider than that are as good as none; very narrow ones are not trusted to the last.
    if (cosine < 0.3f) return {LightLobe::Space::None, {}, 0.0f, lobe.peak};
    lobe.sharpness = std::min(0.41f / std::max(1.0f - cosine, 1e-3f), 60.0f);
    return lobe;
}

}  // namespace Lumora::engine
