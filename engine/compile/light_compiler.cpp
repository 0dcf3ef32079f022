#include "engine/compile/light_compiler.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <unordered_map>

#include "engine/compile/emitter_sets.h"
#include "engine/compile/light_lobe.h"
#include "engine/render/world_polygon.h"

namespace Lumora::engine {

namespace {

using Lobes = std::unordered_map<TextureId, LightLobe>;

/// What a material sends out. A mix adds up what its parts do, which is in `slots`, and has the switches of the first
/// that shines. `lobes`: of the distributions met so far.
LampSlot lampSlot(const Shading& shading, const Material& m, const std::vector<LampSlot>& slots, Lobes& lobes) {
    LampSlot r;
    r.portal = m.portal;
    if (m.emission == kNoEmission) return r;
    const Emission& e = shading.emissions[m.emission];
    r.onDiffuse = e.onDiffuse;
    r.onSpecular = e.onSpecular;
    r.castsShadows = e.castsShadows;
    if (m.kind == MaterialKind::Mix) {
        const float t = clamp01(average(shading.textures.mean(m.amount)));
        const LampSlot &a = slots[m.first], &b = slots[m.second];
        r.weight = lerp(a.weight, b.weight, t);
        r.mask = a.mask | b.mask;
        r.bothSides = a.bothSides || b.bothSides;
        r.byPower = a.byPower || b.byPower;
        return r;
    }
    r.byPower = e.byPower;
    r.radiance = e.scale;
    if (!(e.samplingRate > 0.0f)) return r;
    const Float3 color = e.color == kNoTexture ? splat(1.0f) : shading.textures.mean(e.color);
    // Textures may be brighter in places than the few that were looked at for their mean.
    const float floor = 1e-3f * maxComponent(e.scale);
    r.weight = std::max(luminance(e.scale * color), floor) * e.samplingRate;
    if (e.distribution != kNoTexture) {
        const auto [it, fresh] = lobes.try_emplace(e.distribution);
        if (fresh) it->second = lobeOf(shading.textures, e.distribution);
        r.lobe = it->second;
        r.weight *= std::max(r.lobe.peak, 1e-3f);
    }
    r.mask = static_cast<std::uint16_t>(e.idBit);
    r.bothSides = e.doubleSided;
    r.plain = m.opaque && e.color == kNoTexture && e.distribution == kNoTexture;
    return r;
}

/// Of all slots of the geometry.
std::vector<LampSlot> lampSlots(const Shading& shading) {
    std::vector<LampSlot> ofMaterial(shading.materials.size()), out;
    std::vector<MaterialId> mixes;
    Lobes lobes;
    for (MaterialId m = 0; m < ofMaterial.size(); ++m) {
        const Material& material = shading.materials[m];
        if (material.kind == MaterialKind::Mix) {
            mixes.push_back(m);
        } else {
            ofMaterial[m] = lampSlot(shading, material, ofMaterial, lobes);
        }
    }
    // Parts before what they are parts of.
    std::sort(mixes.begin(), mixes.end(),
              [&](MaterialId a, MaterialId b) { return shading.materials[a].rank < shading.materials[b].rank; });
    for (const MaterialId m : mixes) ofMaterial[m] = lampSlot(shading, shading.materials[m], ofMaterial, lobes);
    out.reserve(shading.slotMaterials.size());
    for (const MaterialId m : shading.slotMaterials) out.push_back(ofMaterial[m]);
    return out;
}

using SetsByMesh = std::unordered_map<const CompiledMesh*, std::shared_ptr<const EmitterSet>>;

SetsByMesh setsOf(const Geometry* geometry, const Lights* lights) {
    SetsByMesh out;
    if (!geometry || !lights) return out;
    std::vector<bool> seen(lights->sets.size());
    for (std::size_t i = 0; i < lights->emitters.size(); ++i) {
        const Emitter& e = lights->emitters[i];
        if (seen[e.set] || e.instance >= geometry->instances.size()) continue;
        seen[e.set] = true;
        out[geometry->meshes[geometry->instances[e.instance].mesh].get()] = lights->sets[e.set];
    }
    return out;
}

class LightCompiler {
public:
    LightCompiler(const Geometry& geometry, const Shading& shading) : geometry_(geometry), slots_(lampSlots(shading)) {}

    std::shared_ptr<const Lights> compile(const Geometry* previousGeometry,
                                          const std::shared_ptr<const Lights>& previous, const InstanceChange& change) {
        const bool alike = previous && previousGeometry && change.sameList &&
                           (previousGeometry == &geometry_ || (previousGeometry->meshSlot == geometry_.meshSlot &&
                                                               previousGeometry->meshSlots == geometry_.meshSlots));
        if (alike) {
            if (auto revised = revise(previous, change)) return revised;
        }
        return build(setsOf(previousGeometry, previous.get()));
    }

private:
    const LampSlot& slotOf(std::size_t mesh, std::size_t slot) const { return slots_[geometry_.meshSlot[mesh] + slot]; }

    std::shared_ptr<const Lights> build(const SetsByMesh& ready) {
        out_ = std::make_shared<Lights>();
        out_->portals = collectPortals();
        collectSets(ready);
        collectInstances();
        out_->slots = std::move(slots_);
        if (out_->emitters.empty()) return out_;
        std::vector<LightBounds> bounds(out_->lamps.size());
        tbb::parallel_for(tbb::blocked_range<std::size_t>(0, out_->emitters.size(), 256), [&](const auto& range) {
            std::vector<float> areas;
            for (std::size_t i = range.begin(); i != range.end(); ++i) {
                placeEmitter(i, areas, [&](std::uint32_t lamp, const LightBounds& b) { bounds[lamp] = b; });
            }
        });
        out_->tree = LightTree(bounds);
        out_->bounds = out_->tree.bounds();
        return out_;
    }

    // From the lights before.

    enum class Difference { None, Factor, Some, Shape };

    /// What is different about the slots. `factor`: of all their powers.
    Difference compareSlots(const std::vector<LampSlot>& before, float& factor) const {
        if (before.size() != slots_.size()) return Difference::Shape;
        factor = 0.0f;
        bool same = true, even = true;
        for (std::size_t i = 0; i < slots_.size(); ++i) {
            const LampSlot &a = before[i], &b = slots_[i];
            if (a.mask != b.mask || a.bothSides != b.bothSides || a.byPower != b.byPower || !(a.lobe == b.lobe) ||
                (a.weight > 0.0f) != (b.weight > 0.0f)) {
                return Difference::Shape;
            }
            same = same && a == b;
            if (!(a.weight > 0.0f)) continue;
            const float ratio = b.weight / a.weight;
            if (factor == 0.0f) factor = ratio;
            even = even && std::abs(ratio - factor) <= 1e-6f * factor;
        }
        if (same) return Difference::None;
        return even && factor > 1e-6f && factor < 1e6f ? Difference::Factor : Difference::Some;
    }

    /// The lights before with what is new in them; null: they have to be made anew.
    std::shared_ptr<const Lights> revise(const std::shared_ptr<const Lights>& previous, const InstanceChange& change) {
        float factor = 1.0f;
        const Difference difference = compareSlots(previous->slots, factor);
        if (difference == Difference::Shape) return nullptr;
        std::vector<Portal> portals = collectPortals();
        std::vector<std::uint32_t> moved;
        for (const std::uint32_t i : change.moved) {
            if (previous->emitterOf(i) != kNone) moved.push_back(previous->emitterOf(i));
        }
        std::vector<bool> dimmed;  // meshes whose slots changed
        if (difference == Difference::Some) {
            dimmed = dimmedMeshes(previous->slots);
            std::vector<bool> listed(previous->emitters.size());
            for (const std::uint32_t e : moved) listed[e] = true;
            for (std::uint32_t e = 0; e < listed.size(); ++e) {
                if (!listed[e] && dimmed[geometry_.instances[previous->emitters[e].instance].mesh]) moved.push_back(e);
            }
        }
        if (difference == Difference::None && moved.empty() && portals == previous->portals) return previous;
        std::size_t lamps = 0;
        for (const std::uint32_t e : moved) lamps += lampsOf(*previous->sets[previous->emitters[e].set]);
        // Small trees are made in no time, and better than they are mended.
        const std::size_t all = previous->lamps.size();
        const bool otherwise = lamps > 0 || (difference == Difference::Factor && factor != 1.0f);
        if (otherwise && (all < 2048 || previous->tree.changes() + lamps > all / 16)) return nullptr;
        out_ = std::make_shared<Lights>(*previous);
        out_->portals = std::move(portals);
        for (std::size_t mesh = 0; mesh < dimmed.size(); ++mesh) {
            if (dimmed[mesh] && !refreshSet(mesh, *previous, moved)) return nullptr;
        }
        if (difference == Difference::Factor && factor != 1.0f) out_->tree = out_->tree.scaled(factor);
        if (difference != Difference::None) out_->slots = std::move(slots_);
        LightTree::Changes changes;
        std::vector<float> areas;
        for (const std::uint32_t e : moved) {
            placeEmitter(e, areas, [&](std::uint32_t lamp, const LightBounds& b) { changes.emplace_back(lamp, b); });
        }
        if (!changes.empty()) out_->tree = out_->tree.with(changes);
        if (!out_->tree.empty()) out_->bounds = out_->tree.bounds();
        return out_;
    }

    std::vector<bool> dimmedMeshes(const std::vector<LampSlot>& before) const {
        std::vector<bool> out(geometry_.meshes.size());
        for (std::size_t m = 0; m < out.size(); ++m) {
            const std::uint32_t first = geometry_.meshSlot[m];
            for (std::uint32_t s = 0; s < geometry_.meshSlots[m]; ++s) {
                out[m] = out[m] || !(before[first + s] == slots_[first + s]);
            }
        }
        return out;
    }

    /// Another set for a mesh, where the slots are no longer as bright beside each other.
    bool refreshSet(std::size_t mesh, const Lights& previous, const std::vector<std::uint32_t>& emitters) {
        const auto uses = [&](std::uint32_t e) {
            return geometry_.instances[previous.emitters[e].instance].mesh == mesh;
        };
        const auto it = std::find_if(emitters.begin(), emitters.end(), uses);
        if (it == emitters.end()) return true;
        const std::uint32_t index = previous.emitters[*it].set;
        std::vector<SlotGlow> slots = glowOfMesh(mesh);
        if (previous.sets[index]->slots == slots) return true;
        auto set = makeSet(*geometry_.meshes[mesh], std::move(slots));
        if (set->count != previous.sets[index]->count) return false;
        out_->sets.edit(index) = std::move(set);
        return true;
    }

    // Portals.

    std::vector<Portal> collectPortals() const {
        std::vector<Portal> portals;
        if (std::none_of(slots_.begin(), slots_.end(), [](const LampSlot& s) { return s.portal; })) return portals;
        std::vector<bool> any(geometry_.meshes.size());
        for (std::size_t m = 0; m < any.size(); ++m) {
            for (std::uint32_t s = 0; s < geometry_.meshSlots[m]; ++s) any[m] = any[m] || slotOf(m, s).portal;
        }
        for (const Instance& instance : geometry_.instances) {
            const CompiledMesh& mesh = *geometry_.meshes[instance.mesh];
            for (std::uint32_t p = 0; any[instance.mesh] && p < mesh.polygons; ++p) {
                if (!slotOf(instance.mesh, mesh.material(p)).portal) continue;
                const WorldPolygon world(instance, mesh, p);
                for (std::uint32_t i = 0; i < world.count; ++i) {
                    const LightShape& shape = world.parts[i];
                    portals.push_back(
                        {shape.origin, shape.first, shape.second, shape.normal, shape.area, shape.triangle()});
                }
                if (portals.size() > 16 * kMaxPortals) keepLargest(portals);
            }
        }
        std::erase_if(portals, [](const Portal& p) { return !(p.area > 0.0f) || !std::isfinite(p.area); });
        keepLargest(portals);
        return portals;
    }

    static void keepLargest(std::vector<Portal>& portals) {
        if (portals.size() <= kMaxPortals) return;
        std::stable_sort(portals.begin(), portals.end(),
                         [](const Portal& a, const Portal& b) { return a.area > b.area; });
        portals.resize(kMaxPortals);
    }

    // Sets and emitters.

    std::vector<SlotGlow> glowOfMesh(std::size_t mesh) const {
        const std::size_t count = geometry_.meshSlots[mesh];
        float most = 0.0f;
        for (std::size_t s = 0; s < count; ++s) most = std::max(most, slotOf(mesh, s).weight);
        std::vector<SlotGlow> slots(count);
        for (std::size_t s = 0; s < count; ++s) {
            const LampSlot& g = slotOf(mesh, s);
            // What is never chosen has an area all the same, by which its power is shared.
            const auto mask = static_cast<std::uint16_t>(g.mask || g.byPower ? std::max<int>(g.mask, 1) : 0);
            slots[s] = {most > 0.0f ? g.weight / most : 0.0f, mask, g.bothSides};
        }
        return slots;
    }

    void collectSets(const SetsByMesh& ready) {
        meshSet_.assign(geometry_.meshes.size(), kNone);
        std::vector<std::shared_ptr<const EmitterSet>> sets;
        for (std::size_t i = 0; i < geometry_.meshes.size(); ++i) {
            bool any = false;
            for (std::size_t s = 0; s < geometry_.meshSlots[i]; ++s) {
                any = any || slotOf(i, s).mask != 0 || slotOf(i, s).byPower;
            }
            if (!any) continue;
            std::vector<SlotGlow> slots = glowOfMesh(i);
            const auto known = ready.find(geometry_.meshes[i].get());
            const bool kept = known != ready.end() && known->second->slots == slots;
            auto set = kept ? known->second : makeSet(*geometry_.meshes[i], std::move(slots));
            if (set->count == 0) continue;
            meshSet_[i] = static_cast<std::uint32_t>(sets.size());
            out_->polygons += set->count;
            sets.push_back(std::move(set));
        }
        out_->sets = SharedTable<std::shared_ptr<const EmitterSet>, 6>(sets.size());
        for (std::size_t i = 0; i < sets.size(); ++i) out_->sets.edit(i) = std::move(sets[i]);
    }

    static std::uint32_t lampsOf(const EmitterSet& set) { return set.large() ? 1 : set.firstShape.back(); }

    void collectInstances() {
        std::uint32_t shares = 0, lamps = 0;
        auto list = std::make_shared<std::vector<std::uint32_t>>(geometry_.instances.size(), kNone);
        std::vector<Emitter> emitters;
        for (std::uint32_t i = 0; i < geometry_.instances.size(); ++i) {
            const std::uint32_t mesh = geometry_.instances[i].mesh, set = meshSet_[mesh];
            if (set == kNone) continue;
            Emitter e{i, set, lamps, kNone};
            lamps += lampsOf(*out_->sets[set]);
            for (std::size_t s = 0; s < geometry_.meshSlots[mesh]; ++s) {
                if (slotOf(mesh, s).byPower) e.firstShare = shares;
            }
            if (e.firstShare != kNone) shares += geometry_.meshSlots[mesh];
            (*list)[i] = static_cast<std::uint32_t>(emitters.size());
            emitters.push_back(e);
        }
        if (emitters.empty()) return;
        out_->instanceEmitter = std::move(list);
        out_->emitters = SharedTable<Emitter, 8>(emitters.size());
        for (std::size_t i = 0; i < emitters.size(); ++i) out_->emitters.edit(i) = emitters[i];
        out_->lamps = SharedTable<Lamp, 6>(lamps);
        out_->powerShares = SharedTable<float, 8>(shares);
    }

    /// Fills in the lamps of an emitter; `tell` gets the bounds of each. Reads the slots from where build() and
    /// revise() have put them.
    template <typename Tell>
    void placeEmitter(std::size_t index, std::vector<float>& areas, Tell tell) {
        const Emitter& e = out_->emitters[index];
        const Instance& instance = geometry_.instances[e.instance];
        const EmitterSet& set = *out_->sets[e.set];
        const LampSlot* slots = &out_->slots[geometry_.meshSlot[instance.mesh]];
        if (set.large()) {
            placeLarge(index, e, instance, set, slots, areas, tell);
            return;
        }
        const CompiledMesh& mesh = *geometry_.meshes[instance.mesh];
        areas.assign(geometry_.meshSlots[instance.mesh], 0.0f);
        for (std::uint32_t place = 0; place < set.count; ++place) {
            const std::uint32_t polygon = set.polygon(place), slot = mesh.material(polygon);
            const WorldPolygon world(instance, mesh, polygon);
            for (std::uint32_t i = 0; i < world.count; ++i) {
                Lamp& lamp = out_->lamps.edit(e.firstLamp + set.firstShape[place] + i);
                lamp.shape = world.parts[i];
                lamp.emitter = static_cast<std::uint32_t>(index);
                lamp.polygon = polygon;
                lamp.slot = geometry_.meshSlot[instance.mesh] + slot;
                lamp.share = e.firstShare == kNone ? kNone : e.firstShare + slot;
                areas[slot] += lamp.shape.area;
            }
        }
        shareOut(e, slots, areas);
        for (std::uint32_t l = e.firstLamp; l < e.firstLamp + set.firstShape.back(); ++l) {
            const Lamp& lamp = out_->lamps[l];
            const LampSlot& slot = out_->slots[lamp.slot];
            const float share = slot.byPower ? out_->powerShares[lamp.share] : 1.0f;
            LightBounds b = shapeBounds(lamp.shape, slot, slot.weight * share);
            aim(b, slot.lobe, instance);
            tell(l, b);
        }
    }

    template <typename Tell>
    void placeLarge(std::size_t index, const Emitter& e, const Instance& instance, const EmitterSet& set,
                    const LampSlot* slots, std::vector<float>& areas, Tell tell) {
        const float scale = evenScale(instance.toWorld);
        worldAreas(instance, *geometry_.meshes[instance.mesh], set, scale, areas);
        shareOut(e, slots, areas);
        double power = 0.0;
        for (std::size_t s = 0; s < areas.size(); ++s) {
            const float share = slots[s].byPower ? out_->powerShares[e.firstShare + s] : 1.0f;
            power += static_cast<double>(slots[s].weight * share * areas[s]);
        }
        out_->lamps.edit(e.firstLamp).emitter = static_cast<std::uint32_t>(index);
        LightBounds b = worldBounds(set.tree.bounds(), instance, scale, static_cast<float>(power));
        // Of several slots that shine in beams of their own there is no telling.
        const auto shines = [&](const LampSlot& slot) { return slot.weight > 0.0f; };
        if (std::count_if(slots, slots + areas.size(), shines) == 1) {
            aim(b, std::find_if(slots, slots + areas.size(), shines)->lobe, instance);
        }
        tell(e.firstLamp, b);
    }

    void shareOut(const Emitter& e, const LampSlot* slots, const std::vector<float>& areas) {
        if (e.firstShare == kNone) return;
        for (std::size_t s = 0; s < areas.size(); ++s) {
            const bool shining = slots[s].byPower && areas[s] > 0.0f;
            out_->powerShares.edit(e.firstShare + s) = shining           ? kRadianceOfPower / areas[s]
                                                       : areas[s] > 0.0f ? 1.0f
                                                                         : 0.0f;
        }
    }

    const Geometry& geometry_;
    std::vector<LampSlot> slots_;
    std::vector<std::uint32_t> meshSet_;  ///< of each mesh, kNone: nothing of it shines
    std::shared_ptr<Lights> out_;
};

}  // namespace

std::shared_ptr<const Lights> compileLights(const Geometry& geometry, const Shading& shading,
                                            const std::shared_ptr<const Geometry>& previousGeometry,
                                            const std::shared_ptr<const Lights>& previous,
                                            const InstanceChange& change) {
    return LightCompiler(geometry, shading).compile(previousGeometry.get(), previous, change);
}

}  // namespace Lumora::engine
