// The scene as the kernels read it. Immutable once built: parts that an edit leaves alone are shared by the old and the
// new scene.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engine/graph/record.h"
#include "engine/render/bsdf/toon.h"
#include "engine/render/embree.h"
#include "engine/render/emitters.h"
#include "engine/render/environment.h"
#include "engine/render/material.h"
#include "engine/render/settings.h"

namespace Lumora::engine {

inline constexpr std::uint32_t kNone = ~0u;
/// Rays that start farther than this from the origin meet nothing, metres: Embree takes no coordinates that leave no
/// room for what the transforms of instances make of them.
inline constexpr float kFarthestRay = 1e9f;

/// One polygon mesh in object space. The arrays are the graph's own; Embree reads vertices and, where all polygons have
/// the same number of corners, indices straight from them.
struct CompiledMesh {
    SharedArray<Float3> vertices, normals, uvs[3];
    SharedArray<int> vertexIndices, normalIndices, uvIndices[3];
    SharedArray<int> materialIndices, objectIndices;  ///< one for each polygon, or null: all 0
    std::uint32_t polygons = 0, triangles = 0;
    std::uint32_t cornersPerPolygon = 0;     ///< 3 or 4, or 0: mixed
    std::vector<std::uint32_t> firstCorner;  ///< mixed only: first corner of each polygon
    std::vector<std::uint32_t> quadIndices;  ///< mixed only: four for each polygon, a triangle repeats its last
    std::vector<Float3> paddedVertices;      ///< only where the graph's array lacks the readable tail Embree needs
    int maxMaterial = 0;
    Float3 boundsMin, boundsMax;
    EmbreeScene scene;  ///< after the arrays: goes first

    std::uint32_t corner(std::uint32_t polygon) const {
        return cornersPerPolygon ? polygon * cornersPerPolygon : firstCorner[polygon];
    }
    std::uint32_t corners(std::uint32_t polygon) const {
        if (cornersPerPolygon) return cornersPerPolygon;
        const std::uint32_t* q = &quadIndices[4 * static_cast<std::size_t>(polygon)];
        return q[2] == q[3] ? 3 : 4;
    }
    std::uint32_t material(std::uint32_t polygon) const {
        return materialIndices ? static_cast<std::uint32_t>((*materialIndices)[polygon]) : 0;
    }
    /// Memory that the render side holds beyond the graph's arrays and Embree's own.
    std::uint64_t extraBytes() const;
};

/// What an object layer says of its polygons.
struct ObjectLayer {
    float opacity = 1.0f;
    bool cameraVisible = true, shadowVisible = true;
    std::uint8_t layerId = 1;       ///< render layer, 1 to 255
    std::uint16_t bakingGroup = 1;  ///< 1 to 65535
    std::uint16_t lightPassMask = kAllLightPasses;
    Float3 color;  ///< of the object, 0 to 1

    static constexpr std::uint16_t kAllLightPasses = 1023;  ///< bit 0 the sun, 1 the environment, 2 to 9 lights 1 to 8
    /// Whether rays have to look at the layer: what it says beside that is for passes.
    bool restricts() const { return opacity < 1.0f || !cameraVisible || !shadowVisible; }
    friend bool operator==(const ObjectLayer&, const ObjectLayer&) = default;
};

struct Instance {
    Matrix<float> toWorld;
    NormalTransform normalToWorld;
    std::uint32_t mesh = 0;            ///< index into Geometry::meshes
    std::uint32_t firstLayer = kNone;  ///< index into Geometry::layers; kNone: every polygon takes the default layer
    std::uint32_t layerCount = 0;
    std::int32_t id = -1;  ///< of the outermost scatter that numbers its instances; -1: none does
};

/// An infinite plane through `origin`. Texture coordinates are metres along the two tangents.
struct Plane {
    Float3 origin, normal, tangent, bitangent;
    std::uint32_t slot = 0;       ///< index into Geometry::slots
    std::uint32_t layer = kNone;  ///< index into Geometry::layers
};

/// Embree's trees over the instances. An edit that moves few of many instances leaves the large tree alone: what moved
/// is struck out of it and stands in a small tree of its own. Immutable; the trees are shared by the scenes of many
/// edits.
struct TopLevel {
    std::shared_ptr<RTCSceneTy> base;
    std::shared_ptr<RTCSceneTy> loose;         ///< what is not in the base; null: nothing
    std::vector<std::uint32_t> baseInstance;   ///< instance of each id in the base, kNone: struck out; empty: the same
    std::vector<std::uint32_t> looseInstance;  ///< instance of each id in `loose`
};

/// Where a toon light stands. What it shines with is part of the shading.
struct ToonPlacement {
    ItemUid node = 0;
    Float3 position;
    friend bool operator==(const ToonPlacement&, const ToonPlacement&) = default;
};

struct Geometry {
    std::vector<std::shared_ptr<const CompiledMesh>> meshes;
    std::vector<std::uint32_t> meshSlot;     ///< first entry of each mesh in `slots`
    std::vector<std::uint32_t> meshSlots;    ///< number of its entries
    std::vector<std::int32_t> meshObjectId;  ///< number of each mesh's object in tables of colours, -1: none
    std::vector<ItemUid> slots;              ///< the node on each material pin; 0: the default material
    std::vector<Instance> instances;
    std::vector<Plane> planes;
    std::vector<ToonPlacement> toonLights;
    std::vector<ObjectLayer> layers;
    bool restricted = false;  ///< some layer is not fully opaque and visible
    Float3 center;
    float radius = 1.0f;                  ///< of a sphere around all but the planes
    std::shared_ptr<const TopLevel> top;  ///< shared with the next scene where only materials or layers differ
};

struct Shading {
    TextureTable textures;
    SharedTable<Emission> emissions;
    SharedTable<ToonRamp, 4> toonRamps;
    SharedTable<std::shared_ptr<const MixSteps>, 4> mixSteps;
    SharedTable<Material, 6> materials;     ///< 0 is the default material
    std::vector<MaterialId> slotMaterials;  ///< parallel to Geometry::slots
    bool transparent = false;               ///< some material is not opaque
    std::vector<ToonLight> toonLights;      ///< parallel to Geometry::toonLights
    std::uint64_t lights = 0;               ///< grows with what changes how lights are chosen
};

struct RenderScene {
    std::shared_ptr<const Geometry> geometry;
    std::shared_ptr<const Shading> shading;
    std::shared_ptr<const Lights> lights;
    std::shared_ptr<const Environment> environment;
    std::shared_ptr<const Environment> visible;  ///< what camera rays that miss see instead, or null
    Camera camera;
    Kernel kernel;
    InfoPasses infoPasses;
    Film film;
    Imager imager;
    PostProcessing post;

    /// Whether the film keeps what tells how noisy its pixels are. Chains have no samples to tell it from, and info
    /// channels no noise to speak of.
    bool wantsGuides() const {
        const bool paths = kernel.kind == KernelKind::Path || kernel.kind == KernelKind::Direct;
        return paths && (imager.denoiser.on || kernel.adaptive.on || infoPasses.noise);
    }
};

using RenderScenePtr = std::shared_ptr<const RenderScene>;

}  // namespace Lumora::engine
