#include "engine/compile/geometry_compiler.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <atomic>

namespace Lumora::engine {

namespace {

constexpr int kMaxDepth = 128;

enum class Placement { Usable, Flattened, Unusable };

/// Beyond these the squares of lengths and of areas leave the range of float.
constexpr float kMostScale = 1e9f, kLeastScale = 3e-9f, kFarthest = 1e18f;

bool finite(const Matrix<float>& m) {
    for (const auto& row : m.m) {
        for (int c = 0; c < 4; ++c) {
            if (!(std::abs(row[c]) < (c < 3 ? kMostScale : kFarthest))) return false;
        }
    }
    return true;
}

/// Whether every ray that is traced has coordinates which Embree takes, seen from inside the instance too.
bool leavesRoom(const Matrix<float>& m, float scale) {
    const Float3 t = column(m, 3);
    const float away = std::max(std::abs(t.x), std::max(std::abs(t.y), std::abs(t.z)));
    const float det = std::abs(determinant(m));
    if (scale > 0.01f && det > 1e-6f * scale * scale * scale && away <= kFarthestRay) return true;
    double v[3][3], largest = 0.0;
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) v[r][c] = static_cast<double>(m.m[r][c]);
    }
    const auto cofactor = [&](int r, int c) {
        const int r1 = (r + 1) % 3, r2 = (r + 2) % 3, c1 = (c + 1) % 3, c2 = (c + 2) % 3;
        return v[r1][c1] * v[r2][c2] - v[r1][c2] * v[r2][c1];
    };
    for (int r = 0; r < 3; ++r) {
        for (int c = 0; c < 3; ++c) largest = std::max(largest, std::abs(cofactor(r, c)));
    }
    const double whole = std::abs(v[0][0] * cofactor(0, 0) + v[0][1] * cofactor(0, 1) + v[0][2] * cofactor(0, 2));
    return 3.0 * largest * static_cast<double>(kFarthestRay + away) < 1.8e18 * whole;
}

/// A transform that flattens space onto a plane has no inverse to trace through. It gets back a thickness that no
/// picture shows: a ten-thousandth of its scale. What is left of space on a line or in a point has no surface.
Placement makeInvertible(Matrix<float>& m) {
    if (!finite(m)) return Placement::Unusable;
    Float3 c[3] = {column(m, 0), column(m, 1), column(m, 2)};
    const float scale = std::max(length(c[0]), std::max(length(c[1]), length(c[2])));
    if (!(scale > kLeastScale)) return Placement::Unusable;
    const float det = determinant(m) / (scale * scale * scale);
    const auto ifRoom = [&](Placement placement) { return leavesRoom(m, scale) ? placement : Placement::Unusable; };
    if (std::abs(det) > 1e-6f) return ifRoom(Placement::Usable);
    // The direction that is lost is where the rows' cross products point, the plane's normal where the columns' do.
    const Float3 rows[3] = {
        {m.m[0][0], m.m[0][1], m.m[0][2]}, {m.m[1][0], m.m[1][1], m.m[1][2]}, {m.m[2][0], m.m[2][1], m.m[2][2]}};
    const auto strongest = [](const Float3 v[3]) {
        Float3 best{};
        for (int i = 0; i < 3; ++i) {
            const Float3 n = cross(v[i], v[(i + 1) % 3]);
            if (dot(n, n) > dot(best, best)) best = n;
        }
        return best;
    };
    const Float3 lost = strongest(rows), normal = strongest(c);
    if (length(lost) < 1e-6f * scale * scale) {
        // Thin, not flat: a needle's inverse is good enough to trace.
        return std::abs(det) > 1e-12f ? ifRoom(Placement::Usable) : Placement::Unusable;
    }
    const Float3 v = normalize(lost), n = normalize(normal) * (1e-4f * scale);
    const float side = determinant(m) < 0.0f ? -1.0f : 1.0f;
    const float nv[3] = {n.x, n.y, n.z}, vv[3] = {v.x, v.y, v.z};
    Matrix<float> thick = m;
    for (int sign = 0; sign < 2; ++sign) {
        for (int i = 0; i < 3; ++i) {
            for (int j = 0; j < 3; ++j) thick.m[i][j] = m.m[i][j] + (sign ? -1.0f : 1.0f) * nv[i] * vv[j];
        }
        if (determinant(thick) * side > 0.0f) break;
    }
    m = thick;
    return ifRoom(Placement::Flattened);
}

ObjectLayer readLayer(const NodeTable& nodes, const NodeRecord& node) {
    ObjectLayer layer;
    layer.opacity = clamp01(nodes.number(node, P_LAYER_OPACITY, 1.0f));
    layer.cameraVisible = nodes.flag(node, P_CAMERA_VISIBILITY, true);
    layer.shadowVisible = nodes.flag(node, P_SHADOW_VISIBILITY, true);
    layer.layerId = static_cast<std::uint8_t>(std::clamp(nodes.integer(node, P_LAYER_ID, 1), 1, 255));
    layer.bakingGroup = static_cast<std::uint16_t>(std::clamp(nodes.integer(node, P_BAKING_GROUP_ID, 1), 1, 65535));
    layer.lightPassMask = static_cast<std::uint16_t>(nodes.integer(node, P_LIGHT_PASS_MASK, 1023) & 1023);
    // The colour counts in steps of 8 bits.
    layer.color = clamp01(nodes.vector(node, P_OBJECT_COLOR, {}) * (1.0f / 255.0f));
    return layer;
}

/// Instances that one task handles: enough to be worth its start.
constexpr std::size_t kGrain = 4096;

struct Bounds {
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    void add(const Bounds& b) {
        lower = {std::min(lower.x, b.lower.x), std::min(lower.y, b.lower.y), std::min(lower.z, b.lower.z)};
        upper = {std::max(upper.x, b.upper.x), std::max(upper.y, b.upper.y), std::max(upper.z, b.upper.z)};
    }
};

/// Bounds of a box after an affine transform (Arvo, "Transforming Axis-Aligned Bounding Boxes", Graphics Gems 1990).
Bounds transformBounds(const Matrix<float>& m, Float3 lower, Float3 upper) {
    const Float3 c = transformPoint(m, (lower + upper) * 0.5f), half = (upper - lower) * 0.5f;
    const auto extent = [&](int row) {
        return std::abs(m.m[row][0]) * half.x + std::abs(m.m[row][1]) * half.y + std::abs(m.m[row][2]) * half.z;
    };
    const Float3 e = {extent(0), extent(1), extent(2)};
    return {c - e, c + e};
}

}  // namespace

/// One compilation: what is being made, and what was met on the way.
struct GeometryCompiler::Walk {
    const NodeTable& nodes;
    ImageStore& images;
    const LogFunction& log;
    std::shared_ptr<Geometry> out = std::make_shared<Geometry>();
    std::vector<CachedMesh*> meshes;   ///< in the order in which they were met
    std::vector<CachedMesh*> stale{};  ///< those that must be built
    std::vector<ItemUid> planes{};     ///< the material on each plane's pin
    std::vector<ItemUid> toonLights{};
    std::unordered_set<int> loggedTypes{};
    int depth = 0;

    void say(const std::string& text) const {
        if (log) log(text);
    }
};

void GeometryCompiler::meshLeaf(Walk& walk, const NodeRecordPtr& node, Leaves& out) {
    CachedMesh& cached = meshes_[node->uid];
    if (cached.stamp != stamp_) {  // met for the first time in this compilation
        auto displacement = displacementOf(walk.nodes, *node, walk.images, walk.log);
        const auto& old = cached.source.displacement;
        const bool sameHeights = displacement && old ? *displacement == *old : !displacement && !old;
        if (cached.node != node || !sameHeights) {
            MeshSource source = meshSource(*node);
            source.displacement = sameHeights ? old : std::move(displacement);
            if (!cached.node || !(cached.source == source)) {
                cached.mesh = nullptr;
                cached.source = std::move(source);
                walk.stale.push_back(&cached);
            }
            cached.node = node;
        }
        cached.stamp = stamp_;
        cached.index = static_cast<std::uint32_t>(walk.meshes.size());
        walk.meshes.push_back(&cached);
    }
    Leaf leaf;
    leaf.mesh = cached.index;
    out.push_back(leaf);
}

void GeometryCompiler::planeLeaf(Walk& walk, const NodeRecord& node, Leaves& out) {
    Geometry& g = *walk.out;
    Leaf leaf;
    leaf.transform = readTransform(walk.nodes, walk.nodes.input(node, P_TRANSFORM));
    leaf.plane = static_cast<std::uint32_t>(walk.planes.size());
    walk.planes.push_back(node.input(P_MATERIAL1));
    if (const NodeRecord* source = walk.nodes.input(node, P_OBJECT_LAYER)) {
        const ObjectLayer layer = readLayer(walk.nodes, *source);
        g.restricted = g.restricted || layer.restricts();
        leaf.firstLayer = static_cast<std::uint32_t>(g.layers.size());
        leaf.layerCount = 1;
        g.layers.push_back(layer);
    }
    out.push_back(leaf);
}

void GeometryCompiler::applyLayers(Walk& walk, const NodeRecord& node, Leaves& leaves, std::size_t from) {
    Geometry& g = *walk.out;
    const auto first = static_cast<std::uint32_t>(g.layers.size());
    bool plain = true;
    for (std::size_t i = node.staticPinCount; i < node.pins.size(); ++i) {
        const NodeRecord* source = node.pins[i].input ? walk.nodes.find(node.pins[i].input) : nullptr;
        const ObjectLayer layer = source ? readLayer(walk.nodes, *source) : ObjectLayer{};
        plain = plain && layer == ObjectLayer{};
        g.restricted = g.restricted || layer.restricts();
        g.layers.push_back(layer);
    }
    if (plain) {
        g.layers.resize(first);
        return;
    }
    const auto count = static_cast<std::uint32_t>(g.layers.size()) - first;
    for (std::size_t i = from; i < leaves.size(); ++i) {
        Leaf& leaf = leaves[i];
        if (leaf.firstLayer != kNone) continue;  // a layer map further down has spoken
        leaf.firstLayer = first;
        leaf.layerCount = count;
    }
}

void GeometryCompiler::scatter(Walk& walk, const NodeRecord& node, Leaves& out) {
    const Value* value = node.attribute(A_TRANSFORM);
    const auto* matrices = value ? std::get_if<SharedArray<Matrix<float>>>(value) : nullptr;
    Leaves prototype;
    flatten(walk, node.input(P_GEOMETRY), prototype);
    if (!matrices || !*matrices || prototype.empty()) return;
    const std::vector<Matrix<float>>& placed = **matrices;
    const Value* numbers = node.attribute(A_INSTANCE_IDS);
    const auto* ids = numbers ? std::get_if<SharedArray<int>>(numbers) : nullptr;
    const std::size_t numbered = ids && *ids ? (*ids)->size() : 0;
    const std::size_t samples = timeSamples(node, A_TRANSFORM), each = prototype.size();
    const std::size_t count = (placed.size() + samples - 1) / samples, first = out.size();
    if (count > (kMaxInstances - std::min(first, kMaxInstances)) / each) {
        walk.say("Scatter \"" + node.name + "\" is left out: it makes too many instances.");
        return;
    }
    out.resize(first + count * each);
    const auto placeRange = [&](std::size_t begin, std::size_t end) {
        for (std::size_t i = begin; i != end; ++i) {
            for (std::size_t k = 0; k < each; ++k) {
                Leaf& leaf = out[first + i * each + k];
                leaf = prototype[k];
                leaf.transform = multiply(placed[i * samples], prototype[k].transform);
                if (i < numbered) leaf.id = (**ids)[i];
            }
        }
    };
    // Most scatters place one object; starting tasks for it would cost more than that.
    if (count * each <= kGrain) return placeRange(0, count);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, count, std::max<std::size_t>(kGrain / each, 1)),
                      [&](const auto& range) { placeRange(range.begin(), range.end()); });
}

void GeometryCompiler::flatten(Walk& walk, ItemUid uid, Leaves& out) {
    const NodeRecordPtr& node = walk.nodes.share(uid);
    if (!node) return;
    if (walk.depth >= kMaxDepth) {
        walk.say("Geometry is nested more than " + std::to_string(kMaxDepth) + " levels deep; the rest is left out.");
        return;
    }
    ++walk.depth;
    const std::size_t first = out.size();
    switch (node->type) {
        case NT_GEO_MESH:
            meshLeaf(walk, node, out);
            break;
        case NT_GEO_GROUP:
            for (const PinRecord& pin : node->pins) {
                if (pin.input) flatten(walk, pin.input, out);
            }
            break;
        case NT_GEO_SCATTER:
            scatter(walk, *node, out);
            break;
        case NT_GEO_LAYER_MAP:
            flatten(walk, node->input(P_GEOMETRY), out);
            applyLayers(walk, *node, out, first);
            break;
        case NT_GEO_PLANE:
            planeLeaf(walk, *node, out);
            break;
        case NT_TOON_POINT_LIGHT:
        case NT_TOON_DIRECTIONAL_LIGHT: {
            Leaf leaf;
            leaf.plane = Leaf::kToonLight | static_cast<std::uint32_t>(walk.toonLights.size());
            walk.toonLights.push_back(uid);
            out.push_back(leaf);
            break;
        }
        default:
            if (walk.loggedTypes.insert(node->type).second) {
                walk.say("Geometry of node type " + std::to_string(node->type) + " is left out of the picture.");
            }
            break;
    }
    --walk.depth;
    if (out.size() > kMaxInstances) {
        walk.say("\"" + node->name + "\" is left out: it holds too many instances.");
        out.resize(first);
    }
}

/// Builds what is stale: the large ones use all processors, the small ones share them.
void GeometryCompiler::buildMeshes(Walk& walk) {
    std::vector<std::string> why(walk.stale.size());
    try {
        tbb::parallel_for(std::size_t{0}, walk.stale.size(), [&](std::size_t i) {
            walk.stale[i]->mesh = buildMesh(device_, walk.stale[i]->source, why[i]);
        });
    } catch (...) {
        for (CachedMesh* cached : walk.stale) cached->node = nullptr;  // some were not built
        throw;
    }
    for (std::size_t i = 0; i < walk.stale.size(); ++i) {
        if (walk.stale[i]->mesh) ++meshesBuilt_;
        if (!why[i].empty()) {
            const std::string& name = walk.stale[i]->node->name;
            walk.say("Mesh \"" + name + "\" " + (walk.stale[i]->mesh ? "" : "is left out: ") + why[i] + ".");
        }
    }
}

/// Lists meshes and material slots; leaves of meshes that could not be built go.
void GeometryCompiler::listMeshes(Walk& walk, Leaves& leaves) {
    Geometry& g = *walk.out;
    std::vector<std::uint32_t> number(walk.meshes.size(), kNone);
    for (std::size_t i = 0; i < walk.meshes.size(); ++i) {
        const CachedMesh& cached = *walk.meshes[i];
        if (!cached.mesh) continue;
        number[i] = static_cast<std::uint32_t>(g.meshes.size());
        g.meshes.push_back(cached.mesh);
        g.meshSlot.push_back(static_cast<std::uint32_t>(g.slots.size()));
        const NodeRecord& node = *cached.node;
        const std::size_t pins = node.pins.size() - std::min<std::size_t>(node.staticPinCount, node.pins.size());
        const std::size_t slots = std::max<std::size_t>(pins, static_cast<std::size_t>(cached.mesh->maxMaterial) + 1);
        for (std::size_t s = 0; s < slots; ++s) {
            g.slots.push_back(s < pins ? node.pins[node.staticPinCount + s].input : 0);
        }
        g.meshSlots.push_back(static_cast<std::uint32_t>(slots));
        g.meshObjectId.push_back(node.attributeValue<int>(A_MESH_OBJECT_ID, -1));
    }
    if (g.meshes.size() == walk.meshes.size()) return;
    std::erase_if(leaves, [&](const Leaf& leaf) { return leaf.mesh != kNone && number[leaf.mesh] == kNone; });
    for (Leaf& leaf : leaves) {
        if (leaf.mesh != kNone) leaf.mesh = number[leaf.mesh];
    }
}

void GeometryCompiler::place(Walk& walk, const Leaves& leaves) {
    Geometry& g = *walk.out;
    const std::size_t meshSlots = g.slots.size();
    g.slots.insert(g.slots.end(), walk.planes.begin(), walk.planes.end());
    g.instances.resize(leaves.size());
    std::atomic<std::size_t> absent{0};  // planes and what has no surface
    std::atomic<std::size_t> firstUnusable{leaves.size()};
    const auto placeRange = [&](const tbb::blocked_range<std::size_t>& range, Bounds bounds) {
        std::size_t skipped = 0;
        for (std::size_t i = range.begin(); i != range.end(); ++i) {
            const Leaf& leaf = leaves[i];
            Matrix<float> m = leaf.transform;
            Bounds box;
            bool usable = leaf.mesh != kNone && makeInvertible(m) != Placement::Unusable;
            if (usable) {
                const CompiledMesh& mesh = *g.meshes[leaf.mesh];
                box = transformBounds(m, mesh.boundsMin, mesh.boundsMax);
                usable = maxComponent(box.upper) < kFarthest && maxComponent(-box.lower) < kFarthest;
            }
            if (!usable) {
                g.instances[i].mesh = kNone;
                ++skipped;
                if (leaf.mesh == kNone) continue;
                std::size_t first = firstUnusable;
                while (i < first && !firstUnusable.compare_exchange_weak(first, i)) {
                }
                continue;
            }
            g.instances[i] = {m, NormalTransform(m), leaf.mesh, leaf.firstLayer, leaf.layerCount, leaf.id};
            bounds.add(box);
        }
        absent += skipped;
        return bounds;
    };
    const Bounds bounds = tbb::parallel_reduce(tbb::blocked_range<std::size_t>(0, leaves.size(), kGrain), Bounds{},
                                               placeRange, [](Bounds a, const Bounds& b) {
                                                   a.add(b);
                                                   return a;
                                               });
    std::size_t unusable = absent;
    if (absent > 0) {
        std::erase_if(g.instances, [](const Instance& instance) { return instance.mesh == kNone; });
        for (const Leaf& leaf : leaves) {
            if (leaf.mesh != kNone) continue;
            const Matrix<float>& m = leaf.transform;
            if (leaf.plane & Leaf::kToonLight) {
                g.toonLights.push_back({walk.toonLights[leaf.plane & ~Leaf::kToonLight], column(m, 3)});
                --unusable;
                continue;
            }
            Plane plane;
            plane.origin = column(m, 3);
            plane.tangent = normalize(column(m, 0));
            plane.normal = normalize(NormalTransform(m)({0, 1, 0}));
            plane.bitangent = normalize(cross(plane.tangent, plane.normal));
            plane.slot = static_cast<std::uint32_t>(meshSlots) + leaf.plane;
            if (leaf.layerCount > 0) plane.layer = leaf.firstLayer;
            if (finite(m) && plane.normal != Float3{} && plane.tangent != Float3{}) {
                g.planes.push_back(plane);
                --unusable;
            }
        }
    }
    if (!g.instances.empty()) {
        g.center = (bounds.lower + bounds.upper) * 0.5f;
        g.radius = std::max(0.5f * length(bounds.upper - bounds.lower), 1e-6f);
    }
    if (unusable > 0) {
        std::string which;
        if (const std::size_t first = firstUnusable; first < leaves.size()) {
            const auto mesh = std::find_if(walk.meshes.begin(), walk.meshes.end(), [&](const CachedMesh* m) {
                return m->mesh == g.meshes[leaves[first].mesh];
            });
            if (mesh != walk.meshes.end()) which = ", the first of mesh \"" + (*mesh)->node->name + "\"";
        }
        walk.say(std::to_string(unusable) + " instances are left out" + which +
                 ": their transforms leave no surface, or one beyond all measure.");
    }
}

std::shared_ptr<const Geometry> GeometryCompiler::compile(const NodeTable& nodes, ItemUid root, ImageStore& images,
                                                          const std::shared_ptr<const Geometry>& previous,
                                                          const LogFunction& log) {
    ++stamp_;
    Walk walk{nodes, images, log};
    Leaves leaves;
    flatten(walk, root, leaves);
    buildMeshes(walk);
    listMeshes(walk, leaves);
    std::erase_if(meshes_, [this](const auto& m) { return m.second.stamp != stamp_; });
    place(walk, leaves);
    change_ = compareInstances(previous.get(), *walk.out);
    walk.out->top = buildTopLevel(device_, previous.get(), *walk.out, change_, instancesBuilt_);
    return walk.out;
}

}  // namespace Lumora::engine
