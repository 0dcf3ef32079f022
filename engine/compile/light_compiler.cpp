#include "engine/compile/light_compiler.h"

#include <unordered_map>

#include "engine/render/surface.h"

namespace Lumora::engine {

namespace {

/// Mean luminance of what a material emits.
float emittedMean(const Shading& shading, MaterialId id) {
    const Material& m = shading.materials[id];
    if (m.kind == MaterialKind::Mix) {
        const float t = clamp01(average(shading.textures.mean(m.amount)));
        return lerp(emittedMean(shading, m.first), emittedMean(shading, m.second), t);
    }
    if (m.kind == MaterialKind::Clear || m.emission == kNoEmission) return 0.0f;
    const Emission& e = shading.emissions[m.emission];
    const Float3 color = e.color == kNoTexture ? splat(1.0f) : shading.textures.mean(e.color);
    return std::max(luminance(e.scale * color), 1e-6f);
}

std::shared_ptr<const EmitterSet> makeSet(const CompiledMesh& mesh, std::vector<float> slotWeight) {
    auto set = std::make_shared<EmitterSet>();
    std::vector<float> weights;
    for (std::uint32_t p = 0; p < mesh.polygons; ++p) {
        const float weight = slotWeight[mesh.material(p)];
        if (!(weight > 0.0f)) continue;
        for (std::uint32_t half = 0; half < mesh.corners(p) - 2; ++half) {
            Float3 c[3];
            triangleCorners(mesh, p, half, c);
            const float area = 0.5f * length(cross(c[1] - c[0], c[2] - c[0]));
            if (!(area > 0.0f)) continue;
            set->triangles.push_back(2 * p + half);
            weights.push_back(area * weight);
        }
    }
    set->distribution = AliasTable(weights);
    set->slotWeight = std::move(slotWeight);
    return set;
}

/// Ready-made sets by mesh.
using SetsByMesh = std::unordered_map<const CompiledMesh*, std::shared_ptr<const EmitterSet>>;

SetsByMesh setsOf(const std::shared_ptr<const Geometry>& geometry, const std::shared_ptr<const Lights>& lights) {
    SetsByMesh out;
    if (!geometry || !lights) return out;
    for (const Emitter& e : lights->emitters) {
        if (e.instance < geometry->instances.size()) {
            out[geometry->meshes[geometry->instances[e.instance].mesh].get()] = lights->sets[e.set];
        }
    }
    return out;
}

/// More emitting triangles than this are chosen by power alone: their tree would cost more memory than it is worth.
constexpr std::size_t kMaxTreeItems = 200'000;

void buildTree(const Geometry& geometry, Lights& lights) {
    std::size_t count = 0;
    for (const Emitter& e : lights.emitters) count += lights.sets[e.set]->triangles.size();
    if (count < 2 || count > kMaxTreeItems) return;
    std::vector<LightTree::Item> items;
    items.reserve(count);
    lights.items.reserve(count);
    for (const Emitter& e : lights.emitters) {
        lights.firstItem.push_back(static_cast<std::uint32_t>(lights.items.size()));
        const EmitterSet& set = *lights.sets[e.set];
        const Instance& instance = geometry.instances[e.instance];
        const CompiledMesh& mesh = *geometry.meshes[instance.mesh];
        for (const std::uint32_t triangle : set.triangles) {
            Float3 c[3];
            triangleCorners(mesh, triangle >> 1, triangle & 1, c);
            for (Float3& p : c) p = transformPoint(instance.toWorld, p);
            LightTree::Item item;
            item.center = (c[0] + c[1] + c[2]) * (1.0f / 3.0f);
            for (const Float3& p : c) item.radius = std::max(item.radius, length(p - item.center));
            const float area = 0.5f * length(cross(c[1] - c[0], c[2] - c[0]));
            // A triangle that the transform squashes to nothing keeps a place in the order but no chance to speak of.
            item.power = std::max(area * set.slotWeight[mesh.material(triangle >> 1)], 1e-30f);
            items.push_back(item);
            lights.items.push_back({e.instance, triangle});
        }
    }
    lights.tree = LightTree(items);
}

}  // namespace

std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous) {
    auto out = std::make_shared<Lights>();
    std::vector<float> materialMean(shading.materials.size());
    for (MaterialId m = 0; m < materialMean.size(); ++m) materialMean[m] = emittedMean(shading, m);
    const SetsByMesh ready = setsOf(previousGeometry, previous);

    std::vector<std::uint32_t> meshSet(geometry.meshes.size(), kNone);
    for (std::size_t i = 0; i < geometry.meshes.size(); ++i) {
        std::vector<float> slotWeight(geometry.meshSlots[i]);
        bool any = false;
        for (std::size_t s = 0; s < slotWeight.size(); ++s) {
            slotWeight[s] = materialMean[shading.slotMaterials[geometry.meshSlot[i] + s]];
            any = any || slotWeight[s] > 0.0f;
        }
        if (!any) continue;
        std::shared_ptr<const EmitterSet> set;
        const auto known = ready.find(geometry.meshes[i].get());
        if (known != ready.end() && known->second->slotWeight == slotWeight) {
            set = known->second;
        } else {
            set = makeSet(*geometry.meshes[i], std::move(slotWeight));
        }
        if (!(set->distribution.total() > 0.0)) continue;
        meshSet[i] = static_cast<std::uint32_t>(out->sets.size());
        out->triangles += set->triangles.size();
        out->sets.push_back(std::move(set));
    }

    out->instanceEmitter.assign(geometry.instances.size(), kNone);
    std::vector<float> power;
    for (std::uint32_t i = 0; i < geometry.instances.size(); ++i) {
        const std::uint32_t set = meshSet[geometry.instances[i].mesh];
        if (set == kNone) continue;
        out->instanceEmitter[i] = static_cast<std::uint32_t>(out->emitters.size());
        out->emitters.push_back({i, set});
        // Areas grow with two thirds of the volume where the transform scales evenly; elsewhere it is a fair guess.
        const Matrix<float>& m = geometry.instances[i].toWorld;
        const float volume = std::abs(determinant(m));
        const float largest = std::max(length(column(m, 0)), std::max(length(column(m, 1)), length(column(m, 2))));
        const float areaScale = std::max(std::pow(volume, 2.0f / 3.0f), 1e-2f * largest * largest);
        power.push_back(static_cast<float>(out->sets[set]->distribution.total()) * areaScale);
    }
    out->distribution = AliasTable(power);
    buildTree(geometry, *out);
    return out;
}

}  // namespace Lumora::engine
