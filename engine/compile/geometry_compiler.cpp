#include "engine/compile/geometry_compiler.h"

#include <embree3/rtcore.h>

#include <cstring>
#include <stdexcept>

namespace Lumora::engine {

namespace {

constexpr int kMaxDepth = 128;

enum class Placement { Usable, Flattened, Unusable };

bool finite(const Matrix<float>& m) {
    for (const auto& row : m.m) {
        for (const float v : row) {
            if (!(std::abs(v) < 1e18f)) return false;
        }
    }
    return true;
}

/// A transform that flattens space onto a plane has no inverse to trace through. It gets back a thickness that no
/// picture shows: a ten-thousandth of its scale. What is left of space on a line or in a point has no surface.
Placement makeInvertible(Matrix<float>& m) {
    if (!finite(m)) return Placement::Unusable;
    Float3 c[3] = {column(m, 0), column(m, 1), column(m, 2)};
    const float scale = std::max(length(c[0]), std::max(length(c[1]), length(c[2])));
    if (!(scale > 1e-15f)) return Placement::Unusable;
    const float det = determinant(m) / (scale * scale * scale);
    if (std::abs(det) > 1e-6f) return Placement::Usable;
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
        return std::abs(det) > 1e-12f ? Placement::Usable : Placement::Unusable;
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
    return Placement::Flattened;
}

ObjectLayer readLayer(const NodeTable& nodes, const NodeRecord& node) {
    return {clamp01(nodes.number(node, P_LAYER_OPACITY, 1.0f)), nodes.flag(node, P_CAMERA_VISIBILITY, true),
            nodes.flag(node, P_SHADOW_VISIBILITY, true)};
}

void checkEmbree(RTCDeviceTy* device) {
    switch (rtcGetDeviceError(device)) {
        case RTC_ERROR_NONE:
            return;
        case RTC_ERROR_OUT_OF_MEMORY:
            throw std::bad_alloc();
        default:
            throw std::runtime_error("Embree could not build the scene");
    }
}

}  // namespace

/// One compilation: what is being made, and what was met on the way.
struct GeometryCompiler::Walk {
    const NodeTable& nodes;
    const LogFunction& log;
    std::shared_ptr<Geometry> out = std::make_shared<Geometry>();
    std::unordered_map<ItemUid, std::uint32_t> meshIndex;
    std::unordered_set<int> loggedTypes;
    std::size_t unusable = 0;
    int depth = 0;

    void say(const std::string& text) const {
        if (log) log(text);
    }
};

void GeometryCompiler::meshLeaf(Walk& walk, const NodeRecord& node, std::vector<Leaf>& out) {
    if (const auto it = walk.meshIndex.find(node.uid); it != walk.meshIndex.end()) {
        if (it->second != kNone) out.push_back({{}, it->second});
        return;
    }
    CachedMesh& cached = meshes_[node.uid];
    const MeshSource source = meshSource(node);
    if (cached.stamp == 0 || !(cached.source == source)) {
        std::string why;
        cached.mesh = nullptr;
        cached.mesh = buildMesh(device_, source, why);
        cached.source = source;
        if (cached.mesh) ++meshesBuilt_;
        if (!why.empty()) walk.say("Mesh \"" + node.name + "\" is left out: " + why + ".");
    }
    cached.stamp = stamp_;
    if (!cached.mesh) {
        walk.meshIndex[node.uid] = kNone;
        return;
    }
    Geometry& g = *walk.out;
    const auto index = static_cast<std::uint32_t>(g.meshes.size());
    walk.meshIndex[node.uid] = index;
    g.meshes.push_back(cached.mesh);
    g.meshSlot.push_back(static_cast<std::uint32_t>(g.slots.size()));
    const std::size_t pins = node.pins.size() - std::min<std::size_t>(node.staticPinCount, node.pins.size());
    const std::size_t slots = std::max<std::size_t>(pins, static_cast<std::size_t>(cached.mesh->maxMaterial) + 1);
    for (std::size_t i = 0; i < slots; ++i) g.slots.push_back(i < pins ? node.pins[node.staticPinCount + i].input : 0);
    g.meshSlots.push_back(static_cast<std::uint32_t>(slots));
    out.push_back({{}, index});
}

void GeometryCompiler::applyLayers(Walk& walk, const NodeRecord& node, std::vector<Leaf>& leaves) {
    Geometry& g = *walk.out;
    const auto first = static_cast<std::uint32_t>(g.layers.size());
    bool restricted = false;
    for (std::size_t i = node.staticPinCount; i < node.pins.size(); ++i) {
        const NodeRecord* source = node.pins[i].input ? walk.nodes.find(node.pins[i].input) : nullptr;
        const ObjectLayer layer = source ? readLayer(walk.nodes, *source) : ObjectLayer{};
        restricted = restricted || layer != ObjectLayer{};
        g.layers.push_back(layer);
    }
    if (!restricted) {
        g.layers.resize(first);
        return;
    }
    g.restricted = true;
    const auto count = static_cast<std::uint32_t>(g.layers.size()) - first;
    for (Leaf& leaf : leaves) {
        if (leaf.firstLayer != kNone) continue;  // a layer map further down has spoken
        leaf.firstLayer = first;
        leaf.layerCount = count;
    }
}

std::vector<GeometryCompiler::Leaf> GeometryCompiler::scatter(Walk& walk, const NodeRecord& node) {
    const auto matrices = node.attributeValue<SharedArray<Matrix<float>>>(A_TRANSFORM, nullptr);
    std::vector<Leaf> prototype = flatten(walk, node.input(P_GEOMETRY));
    if (!matrices || prototype.empty()) return {};
    std::vector<Leaf> out;
    const std::size_t samples = timeSamples(node, A_TRANSFORM);
    if (matrices->size() / samples * prototype.size() > kMaxInstances) {
        walk.say("Scatter \"" + node.name + "\" is left out: it makes too many instances.");
        return out;
    }
    out.reserve(matrices->size() / samples * prototype.size());
    for (std::size_t i = 0; i < matrices->size(); i += samples) {
        for (Leaf leaf : prototype) {
            leaf.transform = multiply((*matrices)[i], leaf.transform);
            out.push_back(leaf);
        }
    }
    return out;
}

std::vector<GeometryCompiler::Leaf> GeometryCompiler::flatten(Walk& walk, ItemUid uid) {
    std::vector<Leaf> out;
    const NodeRecord* node = walk.nodes.find(uid);
    if (!node) return out;
    if (walk.depth >= kMaxDepth) {
        walk.say("Geometry is nested more than " + std::to_string(kMaxDepth) + " levels deep; the rest is left out.");
        return out;
    }
    ++walk.depth;
    switch (node->type) {
        case NT_GEO_MESH:
            meshLeaf(walk, *node, out);
            break;
        case NT_GEO_GROUP:
            for (std::size_t i = 0; i < node->pins.size(); ++i) {
                if (!node->pins[i].input) continue;
                const auto part = flatten(walk, node->pins[i].input);
                out.insert(out.end(), part.begin(), part.end());
            }
            break;
        case NT_GEO_SCATTER:
            out = scatter(walk, *node);
            break;
        case NT_GEO_LAYER_MAP:
            out = flatten(walk, node->input(P_GEOMETRY));
            applyLayers(walk, *node, out);
            break;
        case NT_GEO_PLANE: {
            Leaf leaf;
            leaf.transform = readTransform(walk.nodes, walk.nodes.input(*node, P_TRANSFORM));
            leaf.slot = static_cast<std::uint32_t>(walk.out->slots.size());
            walk.out->slots.push_back(node->input(P_MATERIAL1));
            if (const NodeRecord* source = walk.nodes.input(*node, P_OBJECT_LAYER)) {
                const ObjectLayer layer = readLayer(walk.nodes, *source);
                walk.out->restricted = walk.out->restricted || layer != ObjectLayer{};
                leaf.firstLayer = static_cast<std::uint32_t>(walk.out->layers.size());
                leaf.layerCount = 1;
                walk.out->layers.push_back(layer);
            }
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
        out.clear();
    }
    return out;
}

void GeometryCompiler::place(Walk& walk, const std::vector<Leaf>& leaves) {
    Geometry& g = *walk.out;
    Float3 lower = splat(kInfinity), upper = splat(-kInfinity);
    for (const Leaf& leaf : leaves) {
        Matrix<float> m = leaf.transform;
        if (leaf.mesh == kNone) {
            Plane plane;
            plane.origin = column(m, 3);
            plane.tangent = normalize(column(m, 0));
            plane.normal = normalize(NormalTransform(m)({0, 1, 0}));
            plane.bitangent = normalize(cross(plane.tangent, plane.normal));
            plane.slot = leaf.slot;
            if (leaf.layerCount > 0) plane.layer = leaf.firstLayer;
            if (finite(m) && plane.normal != Float3{} && plane.tangent != Float3{}) {
                g.planes.push_back(plane);
            } else {
                ++walk.unusable;
            }
            continue;
        }
        if (makeInvertible(m) == Placement::Unusable) {
            ++walk.unusable;
            continue;
        }
        g.instances.push_back({m, NormalTransform(m), leaf.mesh, leaf.firstLayer, leaf.layerCount});
        const CompiledMesh& mesh = *g.meshes[leaf.mesh];
        for (int corner = 0; corner < 8; ++corner) {
            const Float3 p = transformPoint(
                m, {corner & 1 ? mesh.boundsMax.x : mesh.boundsMin.x, corner & 2 ? mesh.boundsMax.y : mesh.boundsMin.y,
                    corner & 4 ? mesh.boundsMax.z : mesh.boundsMin.z});
            lower = {std::min(lower.x, p.x), std::min(lower.y, p.y), std::min(lower.z, p.z)};
            upper = {std::max(upper.x, p.x), std::max(upper.y, p.y), std::max(upper.z, p.z)};
        }
    }
    if (!g.instances.empty()) {
        g.center = (lower + upper) * 0.5f;
        g.radius = std::max(0.5f * length(upper - lower), 1e-6f);
    }
    if (walk.unusable > 0) {
        walk.say(std::to_string(walk.unusable) + " instances are left out: their transforms leave no surface.");
    }
}

void GeometryCompiler::buildTop(Walk& walk, const std::shared_ptr<const Geometry>& previous) {
    Geometry& g = *walk.out;
    const auto same = [&](std::size_t i) {
        return previous && i < previous->instances.size() && previous->instances[i].toWorld == g.instances[i].toWorld &&
               previous->meshes[previous->instances[i].mesh] == g.meshes[g.instances[i].mesh];
    };
    bool all = previous && previous->instances.size() == g.instances.size();
    g.instanceGeometries.resize(g.instances.size());
    for (std::size_t i = 0; i < g.instances.size(); ++i) {
        if (same(i)) {
            g.instanceGeometries[i] = previous->instanceGeometries[i];
            continue;
        }
        all = false;
        RTCGeometry instance = rtcNewGeometry(device_, RTC_GEOMETRY_TYPE_INSTANCE);
        if (!instance) checkEmbree(device_);
        g.instanceGeometries[i].reset(instance, EmbreeRelease{});
        rtcSetGeometryInstancedScene(instance, g.meshes[g.instances[i].mesh]->scene.get());
        rtcSetGeometryTransform(instance, 0, RTC_FORMAT_FLOAT3X4_ROW_MAJOR, &g.instances[i].toWorld.m[0][0]);
        rtcCommitGeometry(instance);
        ++instancesBuilt_;
    }
    if (all) {
        g.top = previous->top;
        return;
    }
    g.top.reset(rtcNewScene(device_), EmbreeRelease{});
    for (std::size_t i = 0; i < g.instances.size(); ++i) {
        rtcAttachGeometryByID(g.top.get(), g.instanceGeometries[i].get(), static_cast<unsigned>(i));
    }
    rtcCommitScene(g.top.get());
    checkEmbree(device_);
}

std::shared_ptr<const Geometry> GeometryCompiler::compile(const NodeTable& nodes, ItemUid root,
                                                          const std::shared_ptr<const Geometry>& previous,
                                                          const LogFunction& log) {
    ++stamp_;
    Walk walk{nodes, log};
    const std::vector<Leaf> leaves = flatten(walk, root);
    std::erase_if(meshes_, [this](const auto& m) { return m.second.stamp != stamp_; });
    place(walk, leaves);
    buildTop(walk, previous);
    return walk.out;
}

}  // namespace Lumora::engine
