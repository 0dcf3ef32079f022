#include "engine/compile/subdivision.h"

#include <opensubdiv/far/error.h>
#include <opensubdiv/far/primvarRefiner.h>
#include <opensubdiv/far/topologyDescriptor.h>
#include <opensubdiv/far/topologyRefiner.h>
#include <opensubdiv/far/topologyRefinerFactory.h>

#include <cstring>
#include <mutex>
#include <unordered_map>

namespace Lumora::engine {

namespace {

namespace Far = OpenSubdiv::Far;
namespace Sdc = OpenSubdiv::Sdc;
using Far::Index;

/// What the refiner interpolates.
struct Point {
    Float3 v;
    void Clear(void* = nullptr) { v = {}; }
    void AddWithWeight(const Point& p, float weight) { v += p.v * weight; }
};
using Points = std::vector<Point>;

struct EdgeHash {
    std::size_t operator()(std::uint64_t edge) const { return (edge ^ (edge >> 29)) * 0x9e3779b97f4a7c15ull; }
};

std::uint64_t edgeKey(int a, int b) {
    return static_cast<std::uint64_t>(std::min(a, b)) << 32 | static_cast<std::uint64_t>(std::max(a, b));
}

/// Calls f with the two vertices of each side of each polygon.
template <typename F>
void forEachSide(const std::vector<int>& indices, const std::vector<int>& perPolygon, F f) {
    std::size_t first = 0;
    for (const int n : perPolygon) {
        const auto count = static_cast<std::size_t>(n);
        for (std::size_t i = 0; i < count; ++i) f(indices[first + i], indices[first + (i + 1) % count]);
        first += count;
    }
}

/// Vertices of sides that belong to one polygon alone.
std::vector<Index> boundaryVertices(const std::vector<int>& indices, const std::vector<int>& perPolygon,
                                    std::size_t vertices) {
    std::unordered_map<std::uint64_t, int, EdgeHash> uses;
    uses.reserve(indices.size());
    forEachSide(indices, perPolygon, [&](int a, int b) { ++uses[edgeKey(a, b)]; });
    std::vector<char> open(vertices);
    for (const auto& [edge, count] : uses) {
        if (count == 1) open[edge >> 32] = open[edge & 0xffffffffu] = 1;
    }
    std::vector<Index> out;
    for (std::size_t v = 0; v < vertices; ++v) {
        if (open[v]) out.push_back(static_cast<Index>(v));
    }
    return out;
}

/// One set of texture coordinates, or of normals, with equal ones of a vertex made one, so that islands hang together.
struct Channel {
    Points values;
    std::vector<Index> indices;
};

struct CornerKey {
    int vertex = 0;
    Float3 value;
    bool operator==(const CornerKey&) const = default;
};
struct CornerHash {
    std::size_t operator()(const CornerKey& key) const {
        std::uint64_t h = static_cast<std::uint64_t>(key.vertex) * 0x9e3779b97f4a7c15ull;
        for (const float v : {key.value.x, key.value.y, key.value.z}) {
            const float value = v + 0.0f;  // both zeros are equal
            std::uint32_t bits = 0;
            std::memcpy(&bits, &value, sizeof bits);
            h = (h ^ bits) * 0xff51afd7ed558ccdull;
            h ^= h >> 32;
        }
        return h;
    }
};

Channel weld(const std::vector<Float3>& values, const std::vector<int>& indices, const std::vector<int>& vertices) {
    Channel out;
    out.indices.reserve(indices.size());
    std::unordered_map<CornerKey, Index, CornerHash> known;
    known.reserve(indices.size());
    for (std::size_t i = 0; i < indices.size(); ++i) {
        Float3 value = values[static_cast<std::size_t>(indices[i])];
        if (!isFinite(value)) value = {};
        const auto [it, fresh] = known.try_emplace({vertices[i], value}, static_cast<Index>(out.values.size()));
        if (fresh) out.values.push_back({value});
        out.indices.push_back(it->second);
    }
    return out;
}

using Refiner = std::unique_ptr<Far::TopologyRefiner>;

/// Null when the topology is beyond what can be refined.
Refiner makeRefiner(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Subdivision& settings,
                    const std::vector<Channel>& channels) {
    static std::once_flag once;
    std::call_once(once, [] {  // a failure shows as a null result; nothing is printed
        Far::SetErrorCallback([](Far::ErrorType, const char*) {});
        Far::SetWarningCallback([](const char*) {});
    });
    const std::vector<int>& indices = *mesh.vertexIndices;
    Far::TopologyDescriptor topology;
    topology.numVertices = static_cast<int>(mesh.vertices->size());
    topology.numFaces = static_cast<int>(perPolygon.size());
    topology.numVertsPerFace = perPolygon.data();
    topology.vertIndicesPerFace = indices.data();
    std::vector<Far::TopologyDescriptor::FVarChannel> described(channels.size());
    for (std::size_t i = 0; i < channels.size(); ++i) {
        described[i].numValues = static_cast<int>(channels[i].values.size());
        described[i].valueIndices = channels[i].indices.data();
    }
    topology.numFVarChannels = static_cast<int>(described.size());
    topology.fvarChannels = described.data();

    // One sharpness for all edges: so many levels keep the polygons' shape before they begin to round it.
    std::vector<Index> creases;
    std::vector<float> weights;
    if (settings.sharpness > 0.0f) {
        creases.reserve(2 * indices.size());
        forEachSide(indices, perPolygon, [&](int a, int b) {
            if (a != b) creases.insert(creases.end(), {a, b});
        });
        weights.assign(creases.size() / 2, std::min(settings.sharpness, Sdc::Crease::SHARPNESS_INFINITE));
        topology.numCreases = static_cast<int>(weights.size());
        topology.creaseVertexIndexPairs = creases.data();
        topology.creaseWeights = weights.data();
    }
    std::vector<Index> corners;
    std::vector<float> cornerWeights;
    if (settings.boundary == Boundary::Fixed) {
        corners = boundaryVertices(indices, perPolygon, mesh.vertices->size());
        cornerWeights.assign(corners.size(), Sdc::Crease::SHARPNESS_INFINITE);
        topology.numCorners = static_cast<int>(corners.size());
        topology.cornerVertexIndices = corners.data();
        topology.cornerWeights = cornerWeights.data();
    }
    Sdc::Options options;
    options.SetVtxBoundaryInterpolation(settings.boundary == Boundary::Edges
                                            ? Sdc::Options::VTX_BOUNDARY_EDGE_ONLY
                                            : Sdc::Options::VTX_BOUNDARY_EDGE_AND_CORNER);
    options.SetFVarLinearInterpolation(Sdc::Options::FVAR_LINEAR_BOUNDARIES);
    using Factory = Far::TopologyRefinerFactory<Far::TopologyDescriptor>;
    return Refiner(Factory::Create(topology, Factory::Options(Sdc::SCHEME_CATMARK, options)));
}

/// An array with room behind its end, as Embree reads it.
std::vector<Float3> plain(const Points& points) {
    std::vector<Float3> out;
    out.reserve(points.size() + 1);
    for (const Point& p : points) out.push_back(p.v);
    return out;
}

/// Normals of the refined mesh; corners at creases get those of their side.
struct Normals {
    std::vector<Float3> values;
    std::vector<int> indices;
};

class NormalBuilder {
public:
    NormalBuilder(const Far::TopologyLevel& level, const Points& positions) : level_(level), positions_(positions) {}

    Normals build(const Points& tangents1, const Points& tangents2) {
        const auto vertices = static_cast<std::size_t>(level_.GetNumVertices());
        out_.values.resize(vertices);
        out_.indices.reserve(4 * static_cast<std::size_t>(level_.GetNumFaces()));
        for (Index f = 0; f < level_.GetNumFaces(); ++f) {
            for (const Index v : level_.GetFaceVertices(f)) out_.indices.push_back(v);
        }
        const std::vector<char> split = splitVertices();
        for (std::size_t v = 0; v < vertices; ++v) {
            const auto index = static_cast<Index>(v);
            if (split[v]) {
                sides(index);
                continue;
            }
            Float3 n = normalize(cross(tangents1[v].v, tangents2[v].v));
            if (n == Float3{} || !isFinite(n)) n = normalize(sumOfCorners(index));
            out_.values[v] = n;
        }
        return std::move(out_);
    }

private:
    bool smooth(Index edge) const {
        return level_.GetEdgeFaces(edge).size() == 2 && !(level_.GetEdgeSharpness(edge) > 0.0f);
    }
    /// Vertices on edges that divide two or more faces sharply.
    std::vector<char> splitVertices() const {
        std::vector<char> out(static_cast<std::size_t>(level_.GetNumVertices()));
        for (Index e = 0; e < level_.GetNumEdges(); ++e) {
            if (level_.GetEdgeFaces(e).size() < 2 || smooth(e)) continue;
            for (const Index v : level_.GetEdgeVertices(e)) out[static_cast<std::size_t>(v)] = 1;
        }
        return out;
    }
    /// Normal of a face at one corner, with twice the area of the triangle there.
    Float3 corner(Index face, int local) const {
        const auto v = level_.GetFaceVertices(face);
        const auto at = [&](int i) { return positions_[static_cast<std::size_t>(v[(local + i) % v.size()])].v; };
        return cross(at(1) - at(0), at(v.size() - 1) - at(0));
    }
    Float3 sumOfCorners(Index vertex) const {
        const auto faces = level_.GetVertexFaces(vertex);
        const auto locals = level_.GetVertexFaceLocalIndices(vertex);
        Float3 sum;
        for (int i = 0; i < faces.size(); ++i) sum += corner(faces[i], locals[i]);
        return sum;
    }
    /// One normal for each run of faces around the vertex that no crease divides.
    void sides(Index vertex) {
        const auto faces = level_.GetVertexFaces(vertex);
        const auto locals = level_.GetVertexFaceLocalIndices(vertex);
        std::vector<int> side(static_cast<std::size_t>(faces.size()));
        for (std::size_t i = 0; i < side.size(); ++i) side[i] = static_cast<int>(i);
        const auto find = [&](int i) {
            while (side[static_cast<std::size_t>(i)] != i) i = side[static_cast<std::size_t>(i)];
            return i;
        };
        for (const Index e : level_.GetVertexEdges(vertex)) {
            if (!smooth(e)) continue;
            const auto two = level_.GetEdgeFaces(e);
            const int a = faces.FindIndex(two[0]), b = faces.FindIndex(two[1]);
            if (a >= 0 && b >= 0) side[static_cast<std::size_t>(find(a))] = find(b);
        }
        std::unordered_map<int, std::size_t> normalOf;
        for (int i = 0; i < faces.size(); ++i) {
            const auto [it, fresh] = normalOf.try_emplace(find(i), out_.values.size());
            if (fresh) out_.values.push_back({});
            out_.values[it->second] += corner(faces[i], locals[i]);
            out_.indices[4 * static_cast<std::size_t>(faces[i]) + locals[i]] = static_cast<int>(it->second);
        }
        for (const auto& [root, index] : normalOf) out_.values[index] = normalize(out_.values[index]);
    }

    const Far::TopologyLevel& level_;
    const Points& positions_;
    Normals out_;
};

bool manifold(const Far::TopologyLevel& level) {
    for (Index v = 0; v < level.GetNumVertices(); ++v) {
        if (level.IsVertexNonManifold(v)) return false;
    }
    for (Index e = 0; e < level.GetNumEdges(); ++e) {
        if (level.IsEdgeNonManifold(e)) return false;
    }
    return true;
}

/// The polygon that each refined face came from.
std::vector<Index> ancestors(const Far::TopologyRefiner& refiner) {
    std::vector<Index> out;
    for (int i = 1; i <= refiner.GetMaxLevel(); ++i) {
        const Far::TopologyLevel& level = refiner.GetLevel(i);
        std::vector<Index> next(static_cast<std::size_t>(level.GetNumFaces()));
        for (std::size_t f = 0; f < next.size(); ++f) {
            const Index parent = level.GetFaceParentFace(static_cast<Index>(f));
            next[f] = i == 1 ? parent : out[static_cast<std::size_t>(parent)];
        }
        out = std::move(next);
    }
    return out;
}

SharedArray<int> inherit(const SharedArray<int>& values, const std::vector<Index>& from) {
    if (!values) return nullptr;
    auto out = std::make_shared<std::vector<int>>(from.size());
    for (std::size_t i = 0; i < from.size(); ++i) (*out)[i] = (*values)[static_cast<std::size_t>(from[i])];
    return out;
}

/// Refines one array level by level; `step` interpolates from one level to the next.
template <typename Size, typename Step>
Points refine(int levels, Points values, Size size, Step step) {
    for (int i = 1; i <= levels; ++i) {
        Points next(static_cast<std::size_t>(size(i)));
        step(i, values, next);
        values = std::move(next);
    }
    return values;
}

}  // namespace

int affordableLevel(std::size_t corners, int wanted) {
    int level = 0;
    std::uint64_t polygons = corners;
    while (level < std::min(wanted, kMaxSubdivisionLevel) && polygons <= kMaxSubdividedPolygons) {
        ++level;
        polygons *= 4;
    }
    return level;
}

MeshSource subdivide(const CompiledMesh& mesh, const std::vector<int>& perPolygon, const Subdivision& settings,
                     std::string& note, bool keepNormals) {
    const int level = affordableLevel(mesh.vertexIndices->size(), settings.level);
    if (level < settings.level) {
        note = "is subdivided to level " + std::to_string(level) + " in place of " + std::to_string(settings.level) +
               ": more would take too much memory";
    }
    if (level <= 0) return {};
    std::vector<Channel> channels;
    std::vector<int> sets;
    for (int set = 0; set < 3; ++set) {
        if (!mesh.uvs[set]) continue;
        sets.push_back(set);
        channels.push_back(weld(*mesh.uvs[set], *mesh.uvIndices[set], *mesh.vertexIndices));
    }
    const std::size_t coordinateSets = channels.size();
    keepNormals = keepNormals && mesh.normals && mesh.normalIndices;
    if (keepNormals) channels.push_back(weld(*mesh.normals, *mesh.normalIndices, *mesh.vertexIndices));
    const Refiner refiner = makeRefiner(mesh, perPolygon, settings, channels);
    if (!refiner) {
        note = "is not subdivided: too many polygons meet in one vertex";
        return {};
    }
    Far::TopologyRefiner::UniformOptions uniform(level);
    uniform.fullTopologyInLastLevel = true;  // the limit surface asks for it
    refiner->RefineUniform(uniform);
    const Far::PrimvarRefiner primvars(*refiner);
    const Far::TopologyLevel& last = refiner->GetLevel(level);

    Points points(mesh.vertices->size());
    for (std::size_t i = 0; i < points.size(); ++i) points[i].v = (*mesh.vertices)[i];
    points = refine(
        level, std::move(points), [&](int i) { return refiner->GetLevel(i).GetNumVertices(); },
        [&](int i, const Points& from, Points& to) { primvars.Interpolate(i, from, to); });
    Points limit(points.size()), tangents1(points.size()), tangents2(points.size());
    // The masks for tangents write past their end where more than two polygons share a side; there, and with it in the
    // whole mesh, normals are the means of those around.
    if (manifold(last)) {
        primvars.Limit(points, limit, tangents1, tangents2);
    } else {
        primvars.Limit(points, limit);
    }
    points = {};

    MeshSource out;
    if (!keepNormals) {
        Normals normals = NormalBuilder(last, limit).build(tangents1, tangents2);
        out.normals = std::make_shared<const std::vector<Float3>>(std::move(normals.values));
        out.normalIndices = std::make_shared<const std::vector<int>>(std::move(normals.indices));
    }
    tangents1 = tangents2 = {};
    out.vertices = std::make_shared<const std::vector<Float3>>(plain(limit));
    const auto faces = static_cast<std::size_t>(last.GetNumFaces());
    out.verticesPerPolygon = std::make_shared<const std::vector<int>>(faces, 4);
    const auto gather = [&](auto faceIndices) {
        auto indices = std::make_shared<std::vector<int>>();
        indices->reserve(4 * faces);
        for (std::size_t f = 0; f < faces; ++f) {
            for (const Index i : faceIndices(static_cast<Index>(f))) indices->push_back(i);
        }
        return indices;
    };
    out.vertexIndices = gather([&](Index f) { return last.GetFaceVertices(f); });
    for (std::size_t c = 0; c < channels.size(); ++c) {
        const auto channel = static_cast<int>(c);
        const Points values = refine(
            level, std::move(channels[c].values), [&](int i) { return refiner->GetLevel(i).GetNumFVarValues(channel); },
            [&](int i, const Points& from, Points& to) { primvars.InterpolateFaceVarying(i, from, to, channel); });
        Points onLimit(values.size());
        primvars.LimitFaceVarying(values, onLimit, channel);
        const bool normal = c == coordinateSets;
        if (normal) {
            for (Point& p : onLimit) p.v = normalize(p.v);
        }
        (normal ? out.normals : out.uvs[sets[c]]) = std::make_shared<const std::vector<Float3>>(plain(onLimit));
        (normal ? out.normalIndices : out.uvIndices[sets[c]]) =
            gather([&](Index f) { return last.GetFaceFVarValues(f, channel); });
    }
    const std::vector<Index> from = ancestors(*refiner);
    out.materialIndices = inherit(mesh.materialIndices, from);
    out.objectIndices = inherit(mesh.objectIndices, from);
    return out;
}

}  // namespace Lumora::engine
