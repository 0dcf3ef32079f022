// What shines in a scene, ready to be chosen from: the emitting polygons of meshes and the instances that show them.
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "engine/api/types.h"
#include "engine/render/light_tree.h"

namespace Lumora::engine {

/// How the polygons of one material slot shine, as far as choosing among them goes.
struct SlotGlow {
    float weight = 0.0f;  ///< luminance times sampling rate, up to a factor of the whole set; 0: is never chosen
    std::uint16_t mask = 0;
    bool bothSides = false;
    friend bool operator==(const SlotGlow&, const SlotGlow&) = default;
};

/// The emitting polygons of one mesh, in object space. Shared by all instances that glow alike up to a factor, and by
/// the scenes of many edits: a light that becomes brighter keeps its set.
struct EmitterSet {
    std::vector<std::uint32_t> polygons;  ///< ascending
    std::vector<SlotGlow> slots;          ///< of the mesh's material slots; the largest weight is 1
    std::vector<float> slotAreas;         ///< of the polygons of each slot
    LightTree tree;                       ///< over runs of `perLeaf` polygons
    std::uint32_t perLeaf = 1;
    std::vector<float> powers;  ///< area times weight of each polygon; only where leaves hold several
    bool whole = false;         ///< every polygon of the mesh is in: its number is its place

    /// Place of a polygon in `polygons`, or ~0.
    std::uint32_t find(std::uint32_t polygon) const;
    /// A polygon and its chance; zero: none can shine there. The receiver is in object space.
    std::uint32_t sample(const LightReceiver& at, double& u, float& probability) const;
    float probability(const LightReceiver& at, std::uint32_t place) const;
};

/// One instance of a set.
struct Emitter {
    std::uint32_t instance = 0, set = 0;
    std::uint32_t firstShare = ~0u;  ///< into Lights::powerShares, by material slot; ~0: no slot shines by power
    Matrix<float> toObject;
};

/// A polygon through which light from the environment comes into a closed space: a parallelogram, or half of one.
struct Portal {
    Float3 origin, first, second;  ///< a corner and the edges from it
    Float3 normal;
    float area = 0.0f;
    bool triangle = false;
};

/// More portals than this would cost more than they save; the largest are taken.
inline constexpr std::size_t kMaxPortals = 64;

struct Lights {
    std::vector<Portal> portals;
    std::vector<std::uint32_t> portalInstances;  ///< those that have a portal, in order
    std::vector<std::shared_ptr<const EmitterSet>> sets;
    std::vector<Emitter> emitters;
    LightTree tree;                              ///< over the emitters, in the world
    std::vector<LightBounds> bounds;             ///< of the emitters
    std::vector<std::uint32_t> instanceEmitter;  ///< of each instance, ~0: emits nothing; empty: no instance does
    std::vector<float> powerShares;  ///< radiance for each watt: one over pi and the slot's area in the world
    std::uint64_t polygons = 0;

    std::uint32_t emitterOf(std::uint32_t instance) const {
        return instance < instanceEmitter.size() ? instanceEmitter[instance] : ~0u;
    }
    /// Whether the place of an instance means anything to the lights.
    bool dependOn(std::uint32_t instance) const {
        return emitterOf(instance) != ~0u ||
               std::binary_search(portalInstances.begin(), portalInstances.end(), instance);
    }
    bool any() const { return !tree.empty() && tree.bounds().power > 0.0f; }
};

/// A light that toon materials ask for; nothing else is lit by it.
struct ToonLight {
    bool directional = false;
    Float3 position;   ///< of a point light
    Float3 direction;  ///< towards a directional light, unit length
    Float3 color;
};

}  // namespace Lumora::engine
