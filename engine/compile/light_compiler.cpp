#include "engine/compile/light_compiler.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unordered_map>

#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

/// What a material sends out, as far as choosing lights goes.
struct Glow {
    float luminance = 0.0f;  ///< mean radiance times sampling rate; with byPower for each square metre
    std::uint16_t mask = 0;
    bool bothSides = false, byPower = false;
};

/// `glow`: of the materials that a mix is made of.
Glow glowOf(const Shading& shading, const Material& m, const std::vector<Glow>& glow) {
    if (m.emission == kNoEmission) return {};
    if (m.kind == MaterialKind::Mix) {
        const float t = clamp01(average(shading.textures.mean(m.amount)));
        const Glow &a = glow[m.first], &b = glow[m.second];
        Glow r;
        r.luminance = lerp(a.luminance, b.luminance, t);
        r.mask = a.mask | b.mask;
        r.bothSides = a.bothSides || b.bothSides;
        r.byPower = a.byPower || b.byPower;
        return r;
    }
    const Emission& e = shading.emissions[m.emission];
    if (!(e.samplingRate > 0.0f)) return {0.0f, 0, false, e.byPower};
    const Float3 color = e.color == kNoTexture ? splat(1.0f) : shading.textures.mean(e.color);
    // Textures may be brighter in places than the few that were looked at for their mean.
    const float floor = 1e-3f * maxComponent(e.scale);
    return {std::max(luminance(e.scale * color), floor) * e.samplingRate, static_cast<std::uint16_t>(e.idBit),
            e.doubleSided, e.byPower};
}

/// Bounds of one polygon; its power is its area. Front is where the winding says.
LightBounds polygonBounds(const CompiledMesh& mesh, std::uint32_t polygon) {
    LightBounds b;
    Float3 normals[2], middle;
    const std::uint32_t corners = mesh.corners(polygon), halves = corners - 2;
    const std::uint32_t first = mesh.corner(polygon);
    const auto vertex = [&](std::uint32_t c) {
        return (*mesh.vertices)[static_cast<std::size_t>((*mesh.vertexIndices)[first + c])];
    };
    for (std::uint32_t c = 0; c < corners; ++c) middle += vertex(c) * (1.0f / static_cast<float>(corners));
    for (std::uint32_t c = 0; c < corners; ++c) b.radius = std::max(b.radius, length(vertex(c) - middle));
    b.center = middle;
    for (std::uint32_t half = 0; half < halves; ++half) {
        Float3 c[3];
        triangleCorners(mesh, polygon, half, c);
        normals[half] = cross(c[1] - c[0], c[2] - c[0]);
        b.power += 0.5f * length(normals[half]);
    }
    if (halves == 1) normals[1] = {};
    b.axis = normalize(normals[0] + normals[1]);
    b.cosine = 1.0f;
    for (std::uint32_t half = 0; half < halves; ++half) {
        const Float3 n = normalize(normals[half]);
        if (n != Float3{}) b.cosine = std::min(b.cosine, dot(b.axis, n));
    }
    // Rounding must not hide what a polygon of several planes sends out.
    b.cosine = std::min(b.cosine, 1.0f) - 1e-5f;
    if (b.cosine <= -0.99f) b.axis = {};
    return b;
}

/// Trees of more leaves than this cost more memory than they are worth; their leaves hold several polygons.
constexpr std::size_t kMaxLeaves = 1u << 16;

std::shared_ptr<const EmitterSet> makeSet(const CompiledMesh& mesh, std::vector<SlotGlow> slots) {
    auto set = std::make_shared<EmitterSet>();
    set->slotAreas.assign(slots.size(), 0.0f);
    std::vector<LightBounds> bounds;
    std::vector<double> areas(slots.size());
    for (std::uint32_t p = 0; p < mesh.polygons; ++p) {
        const std::uint32_t slot = mesh.material(p);
        if (!slots[slot].mask) continue;
        LightBounds b = polygonBounds(mesh, p);
        areas[slot] += static_cast<double>(b.power);
        b.power *= slots[slot].weight;
        if (!std::isfinite(b.power)) b.power = 0.0f;
        b.mask = slots[slot].mask;
        b.bothSides = slots[slot].bothSides;
        set->polygons.push_back(p);
        bounds.push_back(b);
    }
    for (std::size_t s = 0; s < slots.size(); ++s) set->slotAreas[s] = static_cast<float>(areas[s]);
    set->whole = set->polygons.size() == mesh.polygons;
    set->slots = std::move(slots);
    if (bounds.size() > kMaxLeaves) {
        // Neighbours in the mesh's order are neighbours in space more often than not.
        set->perLeaf = static_cast<std::uint32_t>((bounds.size() + kMaxLeaves - 1) / kMaxLeaves);
        std::vector<LightBounds> runs;
        for (std::size_t i = 0; i < bounds.size(); ++i) {
            set->powers.push_back(bounds[i].power);
            if (i % set->perLeaf == 0) {
                runs.push_back(bounds[i]);
            } else {
                runs.back() = unite(runs.back(), bounds[i]);
            }
        }
        bounds = std::move(runs);
    }
    set->tree = LightTree(bounds);
    return set;
}

/// A transform that scales all directions alike, and by how much; 0: it does not.
float evenScale(const Matrix<float>& m) {
    const Float3 x = column(m, 0), y = column(m, 1), z = column(m, 2);
    const float s = dot(x, x), slack = 1e-4f * s;
    const bool even = std::abs(dot(y, y) - s) <= slack && std::abs(dot(z, z) - s) <= slack &&
                      std::abs(dot(x, y)) <= slack && std::abs(dot(y, z)) <= slack && std::abs(dot(z, x)) <= slack;
    return even ? std::sqrt(s) : 0.0f;
}

/// Areas of the slots of a set as an instance shows them.
void worldAreas(const Instance& instance, const CompiledMesh& mesh, const EmitterSet& set, float scale,
                std::vector<float>& out) {
    out = set.slotAreas;
    if (scale > 0.0f) {
        for (float& a : out) a *= scale * scale;
        return;
    }
    // Stretched surfaces grow by what their direction makes of it. Of very many polygons some stand for all.
    const std::size_t step = std::max<std::size_t>(set.polygons.size() / 4096, 1);
    std::vector<double> before(out.size()), after(out.size());
    for (std::size_t i = 0; i < set.polygons.size(); i += step) {
        const std::uint32_t p = set.polygons[i], slot = mesh.material(p);
        for (std::uint32_t half = 0; half < mesh.corners(p) - 2; ++half) {
            Float3 c[3];
            triangleCorners(mesh, p, half, c);
            const Float3 a = c[1] - c[0], b = c[2] - c[0];
            before[slot] += static_cast<double>(length(cross(a, b)));
            after[slot] += static_cast<double>(
                length(cross(transformVector(instance.toWorld, a), transformVector(instance.toWorld, b))));
        }
    }
    for (std::size_t s = 0; s < out.size(); ++s) {
        if (before[s] > 0.0) out[s] *= static_cast<float>(after[s] / before[s]);
    }
}

/// Bounds of a set's tree in the world. `power`: of the emitter.
LightBounds worldBounds(const LightBounds& local, const Instance& instance, float scale, float power) {
    LightBounds b = local;
    b.center = transformPoint(instance.toWorld, local.center);
    // A sphere becomes an ellipsoid; the root of the squares is no less than its longest half axis.
    const Float3 x = column(instance.toWorld, 0), y = column(instance.toWorld, 1), z = column(instance.toWorld, 2);
    b.radius = local.radius * (scale > 0.0f ? scale * 1.0001f : std::sqrt(dot(x, x) + dot(y, y) + dot(z, z)));
    b.power = std::isfinite(power) && isFinite(b.center) && std::isfinite(b.radius) ? power : 0.0f;
    if (local.axis != Float3{}) {
        b.axis = normalize(instance.normalToWorld(local.axis));
        // Stretching bends cones of normals; that of a flat light stays flat.
        if (!(scale > 0.0f) && local.cosine < 0.9999f) b.axis = {};
        if (b.axis == Float3{}) b.cosine = -1.0f;
    }
    return b;
}

using SetsByMesh = std::unordered_map<const CompiledMesh*, std::shared_ptr<const EmitterSet>>;

SetsByMesh setsOf(const Geometry* geometry, const Lights* lights) {
    SetsByMesh out;
    if (!geometry || !lights) return out;
    std::vector<bool> seen(lights->sets.size());
    for (const Emitter& e : lights->emitters) {
        if (seen[e.set] || e.instance >= geometry->instances.size()) continue;
        seen[e.set] = true;
        out[geometry->meshes[geometry->instances[e.instance].mesh].get()] = lights->sets[e.set];
    }
    return out;
}

class LightCompiler {
public:
    LightCompiler(const Geometry& geometry, const Shading& shading) : geometry_(geometry), shading_(shading) {
        glow_.resize(shading.materials.size());
        std::vector<MaterialId> mixes;
        for (MaterialId m = 0; m < glow_.size(); ++m) {
            if (shading.materials[m].kind == MaterialKind::Mix)
                mixes.push_back(m);
            else
                glow_[m] = glowOf(shading, shading.materials[m], glow_);
        }
        // Parts before what they are parts of.
        std::sort(mixes.begin(), mixes.end(),
                  [&](MaterialId a, MaterialId b) { return shading.materials[a].rank < shading.materials[b].rank; });
        for (const MaterialId m : mixes) glow_[m] = glowOf(shading, shading.materials[m], glow_);
    }

    std::shared_ptr<const Lights> compile(const Geometry* previousGeometry, const Lights* previous) {
        collectPortals();
        collectSets(setsOf(previousGeometry, previous));
        if (out_->sets.empty()) return out_;
        collectInstances();
        fillInstances();
        // Lights in the same places keep the shape of their tree.
        const bool stand = previous && previousGeometry && samePlaces(*previous);
        out_->tree = stand ? previous->tree.withPowers(out_->bounds) : LightTree(out_->bounds);
        return out_;
    }

private:
    const Glow& slotGlow(std::size_t mesh, std::size_t slot) const {
        return glow_[shading_.slotMaterials[geometry_.meshSlot[mesh] + slot]];
    }

    void collectPortals() {
        std::vector<Portal>& portals = out_->portals;
        for (std::uint32_t i = 0; i < geometry_.instances.size(); ++i) {
            const Instance& instance = geometry_.instances[i];
            const CompiledMesh& mesh = *geometry_.meshes[instance.mesh];
            const std::uint32_t first = geometry_.meshSlot[instance.mesh], count = geometry_.meshSlots[instance.mesh];
            bool any = false;
            for (std::uint32_t s = 0; s < count; ++s) {
                any = any || shading_.materials[shading_.slotMaterials[first + s]].portal;
            }
            if (any) out_->portalInstances.push_back(i);
            for (std::uint32_t p = 0; any && p < mesh.polygons; ++p) {
                if (!shading_.materials[shading_.slotMaterials[first + mesh.material(p)]].portal) continue;
                const WorldPolygon world(instance, mesh, p);
                const Float3 n = normalize(cross(world.first, world.second));
                portals.push_back({world.origin, world.first, world.second, n, world.area, !world.parallelogram});
                if (world.otherArea > 0.0f) {
                    portals.push_back({world.otherOrigin, world.otherFirst, world.otherSecond,
                                       normalize(cross(world.otherFirst, world.otherSecond)), world.otherArea, true});
                }
                if (portals.size() > 16 * kMaxPortals) keepLargest(portals);
            }
        }
        std::erase_if(portals, [](const Portal& p) { return !(p.area > 0.0f) || !std::isfinite(p.area); });
        keepLargest(portals);
    }

    static void keepLargest(std::vector<Portal>& portals) {
        if (portals.size() <= kMaxPortals) return;
        std::stable_sort(portals.begin(), portals.end(),
                         [](const Portal& a, const Portal& b) { return a.area > b.area; });
        portals.resize(kMaxPortals);
    }

    void collectSets(const SetsByMesh& ready) {
        meshSet_.assign(geometry_.meshes.size(), kNone);
        for (std::size_t i = 0; i < geometry_.meshes.size(); ++i) {
            const std::size_t count = geometry_.meshSlots[i];
            float most = 0.0f;
            bool any = false;
            for (std::size_t s = 0; s < count; ++s) {
                const Glow& g = slotGlow(i, s);
                most = std::max(most, g.luminance);
                any = any || g.mask != 0 || g.byPower;
            }
            if (!any) continue;
            std::vector<SlotGlow> slots(count);
            for (std::size_t s = 0; s < count; ++s) {
                const Glow& g = slotGlow(i, s);
                // What is never chosen has an area all the same, by which its power is shared.
                const auto mask = static_cast<std::uint16_t>(g.mask || g.byPower ? std::max<int>(g.mask, 1) : 0);
                slots[s] = {most > 0.0f ? g.luminance / most : 0.0f, mask, g.bothSides};
            }
            std::shared_ptr<const EmitterSet> set;
            const auto known = ready.find(geometry_.meshes[i].get());
            if (known != ready.end() && known->second->slots == slots) {
                set = known->second;
            } else {
                set = makeSet(*geometry_.meshes[i], std::move(slots));
            }
            if (set->polygons.empty()) continue;
            meshSet_[i] = static_cast<std::uint32_t>(out_->sets.size());
            out_->polygons += set->polygons.size();
            out_->sets.push_back(std::move(set));
        }
    }

    void collectInstances() {
        std::uint32_t shares = 0;
        out_->instanceEmitter.assign(geometry_.instances.size(), kNone);
        for (std::uint32_t i = 0; i < geometry_.instances.size(); ++i) {
            const std::uint32_t mesh = geometry_.instances[i].mesh, set = meshSet_[mesh];
            if (set == kNone) continue;
            Emitter e;
            e.instance = i;
            e.set = set;
            for (std::size_t s = 0; s < geometry_.meshSlots[mesh]; ++s) {
                if (slotGlow(mesh, s).byPower) e.firstShare = shares;
            }
            if (e.firstShare != kNone) shares += geometry_.meshSlots[mesh];
            out_->instanceEmitter[i] = static_cast<std::uint32_t>(out_->emitters.size());
            out_->emitters.push_back(e);
        }
        out_->powerShares.assign(shares, 0.0f);
        out_->bounds.resize(out_->emitters.size());
    }

    void fillInstances() {
        tbb::parallel_for(tbb::blocked_range<std::size_t>(0, out_->emitters.size(), 256), [&](const auto& range) {
            std::vector<float> areas;
            for (std::size_t i = range.begin(); i != range.end(); ++i) fillInstance(i, areas);
        });
    }

    void fillInstance(std::size_t index, std::vector<float>& areas) {
        Emitter& e = out_->emitters[index];
        const Instance& instance = geometry_.instances[e.instance];
        const EmitterSet& set = *out_->sets[e.set];
        const float scale = evenScale(instance.toWorld);
        worldAreas(instance, *geometry_.meshes[instance.mesh], set, scale, areas);
        double power = 0.0;
        for (std::size_t s = 0; s < areas.size(); ++s) {
            const Glow& g = slotGlow(instance.mesh, s);
            if (!(areas[s] > 0.0f)) continue;
            const float share = g.byPower ? 1.0f / (kPi * areas[s]) : 1.0f;
            if (e.firstShare != kNone) out_->powerShares[e.firstShare + s] = share;
            power += static_cast<double>(g.luminance * share * areas[s]);
        }
        if (set.polygons.size() > 1) e.toObject = inverse(instance.toWorld);
        out_->bounds[index] = worldBounds(set.tree.bounds(), instance, scale, static_cast<float>(power));
    }

    bool samePlaces(const Lights& previous) const {
        if (previous.bounds.size() != out_->bounds.size()) return false;
        for (std::size_t i = 0; i < out_->bounds.size(); ++i) {
            const LightBounds &a = previous.bounds[i], &b = out_->bounds[i];
            if (a.center != b.center || a.radius != b.radius) return false;
        }
        return true;
    }

    const Geometry& geometry_;
    const Shading& shading_;
    std::vector<Glow> glow_;              ///< of each material
    std::vector<std::uint32_t> meshSet_;  ///< of each mesh, kNone: nothing of it shines
    std::shared_ptr<Lights> out_ = std::make_shared<Lights>();
};

}  // namespace

std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous) {
    return LightCompiler(geometry, shading).compile(previousGeometry.get(), previous.get());
}

}  // namespace Lumora::engine
