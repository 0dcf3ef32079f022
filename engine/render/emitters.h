// What shines in a scene, ready to be chosen from: the emitting polygons of meshes and the instances that show them.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/api/types.h"
#include "engine/render/light_shape.h"
#include "engine/render/light_tree.h"
#include "engine/render/shared_table.h"

namespace Lumora::engine {

/// How the polygons of one material slot shine, as far as choosing among them goes.
struct SlotGlow {
    float weight = 0.0f;  ///< luminance times sampling rate, up to a factor of the whole set; 0: is never chosen
    std::uint16_t mask = 0;
    bool bothSides = false;
    friend bool operator==(const SlotGlow&, const SlotGlow&) = default;
};

/// The beam of a lamp's distribution: where it is brightest and how fast it falls off.
struct LightLobe {
    enum class Space : std::uint8_t { None, Front, Object, World };  ///< Front: y is the normal of the polygon
    Space space = Space::None;
    Float3 axis;             ///< unit length
    float sharpness = 0.0f;  ///< as in LightBounds
    float peak = 1.0f;       ///< the distribution's largest value
    friend bool operator==(const LightLobe&, const LightLobe&) = default;
};

/// What a lamp of one material slot gives off, copied from its material. Where nothing about the light varies over
/// polygon and direction it is all that a light sample asks for.
struct LampSlot {
    Float3 radiance;      ///< of what is `plain`; with `byPower` for a share of one
    float weight = 0.0f;  ///< mean radiance times sampling rate, as luminance; with `byPower` the mean power
    std::uint16_t mask = 0;
    bool bothSides = false, byPower = false, plain = false;
    bool onDiffuse = true, onSpecular = true, castsShadows = true;
    bool portal = false;
    LightLobe lobe;
    friend bool operator==(const LampSlot&, const LampSlot&) = default;
};

/// The emitting polygons of one mesh, in object space. Shared by all instances that glow alike up to a factor, and by
/// the scenes of many edits: a light that becomes brighter keeps its set.
struct EmitterSet {
    /// Polygons of small sets are lamps of the world by themselves; a large set is one lamp with a tree of its own.
    static constexpr std::size_t kMostLamps = 16;

    std::size_t count = 0;                 ///< of its polygons
    std::vector<std::uint32_t> polygons;   ///< ascending; empty: all polygons of the mesh are in
    std::vector<SlotGlow> slots;           ///< of the mesh's material slots; the largest weight is 1
    std::vector<float> slotAreas;          ///< of the polygons of each slot
    std::vector<std::uint8_t> firstShape;  ///< small sets: of each polygon, and at the end the number of all shapes
    LightTree tree;                        ///< large sets: over runs of `perLeaf` polygons
    std::uint32_t perLeaf = 1;
    std::vector<float> powers;  ///< area times weight of each polygon; only where leaves hold several

    bool large() const { return count > kMostLamps; }
    std::uint32_t polygon(std::uint32_t place) const { return polygons.empty() ? place : polygons[place]; }
    /// Place of a polygon among those of the set, or ~0.
    std::uint32_t find(std::uint32_t polygon) const;
    /// Of a large set: a polygon's place and its chance; zero: none can shine there. The receiver is in object space.
    std::uint32_t sample(const LightReceiver& at, double& u, float& probability) const;
    float probability(const LightReceiver& at, std::uint32_t place) const;
};

/// One instance of a set.
struct Emitter {
    std::uint32_t instance = 0, set = 0;
    std::uint32_t firstLamp = 0;     ///< of its shapes; a large set is a single lamp
    std::uint32_t firstShare = ~0u;  ///< into Lights::powerShares, by material slot; ~0: no slot shines by power
};

/// What is chosen first: a shape in the world, or an emitter whose large set is asked next.
struct Lamp {
    LightShape shape;
    std::uint32_t emitter = 0;
    std::uint32_t polygon = 0;
    std::uint32_t slot = ~0u;   ///< index into Lights::slots; ~0: ask the large set
    std::uint32_t share = ~0u;  ///< index into Lights::powerShares; ~0: it does not shine by power
};

/// A polygon through which light from the environment comes into a closed space: a parallelogram, or half of one.
struct Portal {
    Float3 origin, first, second;  ///< a corner and the edges from it
    Float3 normal;
    float area = 0.0f;
    bool triangle = false;
    friend bool operator==(const Portal&, const Portal&) = default;
};

/// More portals than this would cost more than they save; the largest are taken.
inline constexpr std::size_t kMaxPortals = 64;

struct Lights {
    std::vector<LampSlot> slots;  ///< parallel to Geometry::slots
    std::vector<Portal> portals;
    SharedTable<std::shared_ptr<const EmitterSet>, 6> sets;
    SharedTable<Emitter, 8> emitters;
    SharedTable<Lamp, 6> lamps;
    LightTree tree;      ///< over the lamps, in the world
    LightBounds bounds;  ///< of them all
    /// Of each instance, ~0: emits nothing. Null: no instance does.
    std::shared_ptr<const std::vector<std::uint32_t>> instanceEmitter;
    SharedTable<float, 8> powerShares;  ///< radiance for a power of one, by the slot's area in the world
    std::uint64_t polygons = 0;         ///< of all sets

    std::uint32_t emitterOf(std::uint32_t instance) const {
        return instanceEmitter && instance < instanceEmitter->size() ? (*instanceEmitter)[instance] : ~0u;
    }
    bool any() const { return !tree.empty() && bounds.power > 0.0f; }
    std::uint64_t bytes() const {
        return tree.bytes() + lamps.bytes() + emitters.bytes() + powerShares.bytes() +
               (instanceEmitter ? instanceEmitter->size() * sizeof(std::uint32_t) : 0);
    }
};

/// A light that toon materials ask for; nothing else is lit by it.
struct ToonLight {
    bool directional = false;
    Float3 position;   ///< of a point light
    Float3 direction;  ///< towards a directional light, unit length
    Float3 color;
};

}  // namespace Lumora::engine
