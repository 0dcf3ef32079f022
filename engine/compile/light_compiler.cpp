// Collects what shines: emitting polygons of meshes, and the density with which an environment is sampled.
#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include "engine/compile/shading_compiler.h"
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
    if (m.kind != MaterialKind::Diffuse || m.emission == kNoTexture) return 0.0f;
    return std::max(luminance(shading.textures.mean(m.emission)), 1e-6f);
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

/// Luminance times solid angle over a grid of the equirectangular map.
Distribution2D environmentDistribution(const Environment& environment) {
    constexpr std::uint32_t kWidth = 512, kHeight = 256;
    // Enough lookups a cell that small bright spots of a large image are not passed over.
    std::uint32_t perCell = 2;
    for (const TextureNode& node : environment.textures.nodes) {
        if (node.image) perCell = std::clamp(node.image->width() / kWidth, perCell, 8u);
    }
    std::vector<float> cells(static_cast<std::size_t>(kWidth) * kHeight);
    tbb::parallel_for(
        tbb::blocked_range<std::uint32_t>(0, kHeight), [&](const tbb::blocked_range<std::uint32_t>& rows) {
            for (std::uint32_t y = rows.begin(); y != rows.end(); ++y) {
                for (std::uint32_t x = 0; x < kWidth; ++x) {
                    float sum = 0.0f;
                    for (std::uint32_t j = 0; j < perCell; ++j) {
                        for (std::uint32_t i = 0; i < perCell; ++i) {
                            const float n = static_cast<float>(perCell);
                            const Float2 uv = {(static_cast<float>(x) + (static_cast<float>(i) + 0.5f) / n) / kWidth,
                                               (static_cast<float>(y) + (static_cast<float>(j) + 0.5f) / n) / kHeight};
                            const float l = luminance(environment.radiance(mapToDirection(uv)));
                            sum += std::isfinite(l) ? std::max(l, 0.0f) * std::sin(uv.y * kPi) : 0.0f;
                        }
                    }
                    cells[static_cast<std::size_t>(y) * kWidth + x] = sum;
                }
            }
        });
    return Distribution2D(cells, kWidth, kHeight);
}

/// A plain sky: one colour overhead that pales to the horizon, one colour for the ground, and a sun of the given size
/// that reddens as it sinks. A stand-in of few parameters, not a measured model.
void describeDaylight(const NodeTable& nodes, const NodeRecord& node, Environment& e) {
    const Float3 direction = normalize(nodes.vector(node, P_SUN_DIRECTION, {0, 1, 0}));
    if (direction != Float3{}) e.sunDirection = direction;
    const float height = std::clamp(e.sunDirection.y, -1.0f, 1.0f);
    const float day = clamp01(height * 4.0f + 0.2f);
    const Float3 sky = nodes.vector(node, P_SKY_COLOR, {0.05f, 0.3f, 1.0f});
    const Float3 sunset = nodes.vector(node, P_SUNSET_COLOR, {0.6f, 0.12f, 0.02f});
    const float haze = std::clamp((nodes.number(node, P_TURBIDITY, 2.2f) - 2.0f) / 13.0f, 0.0f, 1.0f);
    const Float3 white = splat(0.8f);
    const float low = clamp01(1.0f - height * 3.0f);
    e.zenith = lerp(sky, white, 0.2f + 0.5f * haze) * (e.power * day);
    e.horizon = lerp(white, lerp(white, sunset, 0.5f), low) * (e.power * day);
    e.ground = nodes.vector(node, P_GROUND_COLOR, {}) * (e.power * day);
    if (height > -0.02f) {
        const float angle = 0.267f * std::clamp(nodes.number(node, P_SUN_SIZE, 1.0f), 0.1f, 30.0f) * (kPi / 180.0f);
        e.sunCosine = std::cos(angle);
        const Float3 color = lerp({1.0f, 0.95f, 0.88f}, {1.0f, 0.55f, 0.25f}, low);
        const float irradiance = 3.0f * e.power * clamp01(height * 8.0f + 0.16f) * (1.0f - 0.5f * haze);
        const float half = std::sin(0.5f * angle);
        e.sunRadiance = color * (irradiance / (4.0f * kPi * half * half));
    }
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

std::shared_ptr<const Environment> compileEnvironment(const NodeTable& nodes, ItemUid uid, ImageStore& images,
                                                      const LogFunction& log) {
    const NodeRecord* node = nodes.find(uid);
    if (!node) return nullptr;
    auto e = std::make_shared<Environment>();
    TextureCompiler textures(nodes, images, e->textures, log);
    e->power = std::max(nodes.number(*node, P_POWER, 1.0f), 0.0f);
    e->showBackplate = nodes.flag(*node, P_VISIBLE_BACKPLATE, true);
    e->showReflections = nodes.flag(*node, P_VISIBLE_REFLECTIONS, false);
    if (node->type == NT_ENV_DAYLIGHT) {
        e->kind = Environment::Kind::Daylight;
        e->texture = textures.connected(*node, P_TEXTURE);
        e->constant = false;
        describeDaylight(nodes, *node, *e);
    } else if (node->type == NT_ENV_TEXTURE) {
        e->kind = Environment::Kind::Texture;
        e->texture = textures.onPin(*node, P_TEXTURE, splat(1.0f));
        e->constant = e->textures.isConstant(e->texture);
    } else {
        if (log) log("Environments of node type " + std::to_string(node->type) + " are left out.");
        return nullptr;
    }
    if (!e->constant && nodes.flag(*node, P_IMPORTANCE_SAMPLING, true)) e->distribution = environmentDistribution(*e);
    return e;
}

}  // namespace Lumora::engine
