#include "engine/render/textures/point_textures.h"

#include <cstring>

#include "engine/render/sampling.h"
#include "engine/render/spectrum.h"
#include "engine/render/textures/noise.h"
#include "engine/render/tracer.h"

namespace Lumora::engine {

namespace {

std::uint32_t bitsOf(float v) {
    std::uint32_t bits;
    std::memcpy(&bits, &v, sizeof bits);
    return bits;
}

/// Random bits that are the same whenever this point is seen from there.
std::uint32_t pointSeed(const TextureContext& at) {
    std::uint32_t h = hashBits(bitsOf(at.worldPosition.x), bitsOf(at.worldPosition.y));
    h = hashBits(h, bitsOf(at.worldPosition.z));
    return hashBits(h, bitsOf(at.view.x) ^ bitsOf(at.view.y));
}

}  // namespace

float dirtAt(const TextureNode& node, const TextureContext& at) {
    const float strength = node.p[0], details = node.p[1], radius = node.p[2], tolerance = node.p[3];
    if (!at.scene || !(radius > 0.0f)) return 1.0f;
    const float side = at.frontFace != node.invert ? 1.0f : -1.0f;
    const Float3 outside = at.worldNormal * side;
    // Rays spread around the smooth normal, so that the polygons of a round object do not show.
    Float3 normal = at.shadingNormal;
    if (dot(normal, outside) < 0.0f) normal = -normal;
    if (normal == Float3{}) normal = outside;
    const Frame frame(normal);
    const Float3 from = at.worldPosition + outside * at.offset;
    constexpr int kRays = 4;
    const std::uint32_t seed = pointSeed(at);
    float dirt = 0.0f;
    for (int i = 0; i < kRays; ++i) {
        const std::uint32_t bits = hashBits(seed, static_cast<std::uint32_t>(i));
        const Float2 u = {(static_cast<float>(i & 1) + unitFloat(bits)) * 0.5f,
                          (static_cast<float>(i >> 1) + unitFloat(hashBits(bits))) * 0.5f};
        const Float3 local = sampleCosineHemisphere(u);
        if (local.z < tolerance) continue;
        const Float3 direction = frame.toWorld(local);
        if (!(dot(direction, outside) > 0.0f)) continue;
        const Hit hit = intersect(*at.scene->geometry, {from, direction, 0.0f, radius});
        if (hit.valid()) dirt += 1.0f - std::pow(clamp01(hit.t / radius), details);
    }
    return clamp01(1.0f - strength * dirt / kRays);
}

std::uint32_t instanceIdAt(const TextureContext& at) {
    if (!at.scene || (at.instance & Hit::kPlane)) return 0;
    const auto& instances = at.scene->geometry->instances;
    if (at.instance >= instances.size()) return 0;
    const Instance& instance = instances[at.instance];
    if (instance.id >= 0) return static_cast<std::uint32_t>(instance.id);
    const std::int32_t object = at.scene->geometry->meshObjectId[instance.mesh];
    return object >= 0 ? static_cast<std::uint32_t>(object) : at.instance;
}

Float3 randomColorAt(std::uint32_t seed, const TextureContext& at) {
    std::uint32_t bits = hashBits(instanceIdAt(at), seed);
    if (at.scene && at.instance < at.scene->geometry->instances.size()) {
        const CompiledMesh& mesh = *at.scene->geometry->meshes[at.scene->geometry->instances[at.instance].mesh];
        if (mesh.objectIndices) bits = hashBits(bits, static_cast<std::uint32_t>((*mesh.objectIndices)[at.polygon]));
    }
    return {unitFloat(bits), unitFloat(hashBits(bits, 1)), unitFloat(hashBits(bits, 2))};
}

float falloffAt(const TextureNode& node, const TextureContext& at) {
    const Float3 normal = at.shadingNormal != Float3{} ? at.shadingNormal : at.worldNormal;
    float facing = 1.0f;
    if (node.kind == 0) {
        facing = std::abs(dot(normal, at.view));
    } else if (node.kind == 1) {
        facing = std::abs(dot(normal, node.value));
    } else {
        facing = 0.5f + 0.5f * dot(normal, node.value);
    }
    const float t = std::pow(1.0f - clamp01(facing), node.p[2]);
    return lerp(node.p[0], node.p[1], t);
}

Float3 gaussianColor(float wavelength, float width) {
    constexpr int kSteps = 64;
    constexpr double kFirst = 380.0, kRange = 340.0;
    const double sigma = std::max(width, 1e-3f);
    Xyz sum, even;
    for (int i = 0; i < kSteps; ++i) {
        const double x = (i + 0.5) / kSteps, t = (x - static_cast<double>(wavelength)) / sigma;
        const double share = std::exp(-0.5 * t * t);
        const Xyz eye = observer(kFirst + kRange * x);
        sum = {sum.x + eye.x * share, sum.y + eye.y * share, sum.z + eye.z * share};
        even = {even.x + eye.x, even.y + eye.y, even.z + eye.z};
    }
    const Float3 c = toLinearSrgb(sum), white = toLinearSrgb(even);
    return {std::max(c.x / white.x, 0.0f), std::max(c.y / white.y, 0.0f), std::max(c.z / white.z, 0.0f)};
}

}  // namespace Lumora::engine
