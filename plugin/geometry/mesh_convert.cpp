#include "plugin/geometry/mesh_convert.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace lumora {

namespace {

// A chunk's scratch records stay within a core's own cache.
constexpr Int32 kPolygonsPerChunk = 2048, kPointsPerChunk = 16384;
constexpr Int64 kParallelConversionFrom = 1 << 15;
constexpr Int32 kParallelFrom = 1 << 18;

/// Where a run of elements of one source goes.
struct Chunk {
    Int32 source = 0, first = 0, last = 0;  ///< elements [first, last)
    Int64 base = 0;                         ///< of `first` in the output: polygons or vertices
    Int64 vertexBase = 0;                   ///< of the source, for indices
    Int64 corner = 0;                       ///< of `first`
};

/// What a polygon got from its tags.
struct CollectedPolygon {
    UInt32 material = 0;
    Float3 uvw[4];
};

/// Inverse of a transform for normals, scaled so that it fits 32-bit floats; the normals are normalised anyway.
struct NormalTransform {
    float m[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};

    explicit NormalTransform(const Matrix& inverse) {
        const Vector rows[3] = {inverse.v1, inverse.v2, inverse.v3};
        Float largest = 0;
        for (const Vector& r : rows) largest = std::max({largest, std::abs(r.x), std::abs(r.y), std::abs(r.z)});
        if (!(largest > 0) || !std::isfinite(largest)) return;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j) m[i][j] = static_cast<float>(rows[i][j] / largest);
    }
};

Vector32 faceNormal(const MeshSource& s, const CPolygon& p) {
    const Vector &a = s.points[p.a], &b = s.points[p.b], &c = s.points[p.c], &d = s.points[p.d];
    const Vector n = p.IsTriangle() ? Cross(b - a, c - a) : Cross(c - a, d - b);
    return Vector32(n.GetNormalized());
}

/// Engine form of a host normal: transformed, unit length or zero, z flipped.
template <bool kTransform>
Float3 engineNormal(const Vector32& n, const NormalTransform& t) {
    float x = n.x, y = n.y, z = n.z;
    if constexpr (kTransform) {
        x = t.m[0][0] * n.x + t.m[0][1] * n.y + t.m[0][2] * n.z;
        y = t.m[1][0] * n.x + t.m[1][1] * n.y + t.m[1][2] * n.z;
        z = t.m[2][0] * n.x + t.m[2][1] * n.y + t.m[2][2] * n.z;
    }
    const float square = x * x + y * y + z * z;
    if (!(square > 0.0f)) return {};
    const float scale = 1.0f / std::sqrt(square);
    return {x * scale, y * scale, -z * scale};
}

void layTag(const MeshSource& source, const TagLayer& layer, const Chunk& chunk, Int32 first, Int32 last,
            CollectedPolygon* records) {
    const auto* data = layer.uvw ? layer.uvw->Data().data() : nullptr;
    const Int32 known = data ? std::min(source.polygonCount, layer.uvw->GetDataCount()) : 0;
    for (Int32 i = first; i < last; ++i) {
        CollectedPolygon& r = records[i - chunk.first];
        r.material = layer.material;
        if (i >= known) continue;
        const auto& corners = data[i];
        for (std::size_t k = 0; k < 4; ++k)
            r.uvw[k] = {static_cast<float>((corners[k].x - layer.u0) * layer.tu),
                        static_cast<float>((corners[k].y - layer.v0) * layer.tv), corners[k].z};
    }
}

void collectPolygons(const MeshSource& source, const Chunk& chunk, CollectedPolygon* records) {
    std::fill(records, records + (chunk.last - chunk.first), CollectedPolygon{});
    for (const TagLayer& layer : source.layers) {
        if (!layer.restricted) {
            layTag(source, layer, chunk, chunk.first, chunk.last, records);
            continue;
        }
        // Ranges are sorted: skip those before the chunk.
        auto r = std::lower_bound(layer.ranges.begin(), layer.ranges.end(), chunk.first,
                                  [](const BaseSelect::Range& range, Int32 at) { return range.last < at; });
        for (; r != layer.ranges.end() && r->first < chunk.last; ++r)
            layTag(source, layer, chunk, std::max(r->first, chunk.first), std::min(r->last + 1, chunk.last), records);
    }
}

/// One corner list, reversed: the z flip mirrors the winding.
template <int kCorners, bool kTransform>
void writePolygon(const MeshSource& s, Int32 i, const CollectedPolygon& record, const NormalTransform& transform,
                  int vertexBase, int k, MeshArrays& out) {
    const CPolygon& p = s.polygons[i];
    const Int32 corners[4] = {p.a, p.b, p.c, p.d};
    for (int c = 0; c < kCorners; ++c) {
        const int reversed = kCorners - 1 - c;
        const auto at = static_cast<std::size_t>(k + c);
        out.polyVertexIndices[at] = corners[reversed] + vertexBase;
        out.polyNormalIndices[at] = k + reversed;
        out.polyUvIndices[at] = k + c;
        const Float3& uv = record.uvw[reversed];
        out.uvs[at] = {uv.x, -uv.y, uv.z};
    }
    if (s.faceted) {
        const Float3 n = engineNormal<kTransform>(faceNormal(s, p), transform);
        for (int c = 0; c < kCorners; ++c) out.normals[static_cast<std::size_t>(k + c)] = n;
    } else {
        const Vector32* n = s.phongNormals.data() + static_cast<std::size_t>(i) * 4;
        for (int c = 0; c < kCorners; ++c)
            out.normals[static_cast<std::size_t>(k + c)] = engineNormal<kTransform>(n[c], transform);
    }
}

/// Second UV set: polygon i has cell i of an n by n grid, an eighth of a cell free on each side.
void writeGridUvs(Int32 i, int n, int corners, int k, MeshArrays& out) {
    const Float cell = 1.0 / n, margin = cell / 8;
    const int row = i / n, col = i % n;
    const Float left = static_cast<Float>(col) / n + margin, right = static_cast<Float>(col) / n + cell - margin;
    const Float bottom = static_cast<Float>(row) / n + margin, top = static_cast<Float>(row) / n + cell - margin;
    const Vector at[4] = {{left, bottom, 0}, {right, bottom, 0}, {right, top, 0}, {left, top, 0}};
    for (int c = 0; c < corners; ++c) {
        out.uvs2[static_cast<std::size_t>(k + c)] = toFloat3(at[c]);
        out.polyUv2Indices[static_cast<std::size_t>(k + c)] = k + corners - 1 - c;
    }
}

template <bool kTransform>
Int64 convertPolygons(const MeshSource& s, const Chunk& chunk, const ConvertOptions& options,
                      std::vector<CollectedPolygon>& scratch, MeshArrays& out) {
    scratch.resize(static_cast<std::size_t>(chunk.last - chunk.first));
    collectPolygons(s, chunk, scratch.data());
    const NormalTransform transform(kTransform ? s.inverse : Matrix());
    const int gridSize =
        options.gridUvs ? static_cast<int>(std::ceil(std::sqrt(static_cast<Float>(s.polygonCount)))) : 0;
    const auto vertexBase = static_cast<int>(chunk.vertexBase);
    Int64 triangles = 0;
    auto k = static_cast<int>(chunk.corner);
    for (Int32 i = chunk.first; i < chunk.last; ++i) {
        const CollectedPolygon& record = scratch[static_cast<std::size_t>(i - chunk.first)];
        const bool triangle = s.polygons[i].IsTriangle();
        const int corners = triangle ? 3 : 4;
        const auto at = static_cast<std::size_t>(chunk.base + i - chunk.first);
        out.vertsPerPoly[at] = corners;
        out.polyMaterials[at] = static_cast<int>(record.material);
        out.polyObjects[at] = s.objectIndex;
        if (triangle)
            writePolygon<3, kTransform>(s, i, record, transform, vertexBase, k, out);
        else
            writePolygon<4, kTransform>(s, i, record, transform, vertexBase, k, out);
        if (options.gridUvs) writeGridUvs(i, gridSize, corners, k, out);
        if (options.colorTableSize > 0) std::fill_n(out.polyUv3Indices.data() + k, corners, s.objectIndex);
        k += corners;
        triangles += corners - 2;
    }
    return triangles;
}

void convertPoints(const MeshSource& s, const Chunk& chunk, const ConvertOptions& options, MeshArrays& out) {
    Float3* to = out.vertices.data() + chunk.base;
    for (Int32 i = chunk.first; i < chunk.last; ++i) {
        const Vector p = options.applyTransform ? s.matrix * s.points[i] : s.points[i];
        *to++ = {static_cast<float>(p.x * options.scale), static_cast<float>(p.y * options.scale),
                 static_cast<float>(-p.z * options.scale)};
    }
}

void writeColorTableUv(const MeshSource& s, Int32 tableSize, MeshArrays& out) {
    const Int32 id = std::max(s.colorId, 0), rows = tableSize / 1024 + 1;
    out.uvs3[static_cast<std::size_t>(s.objectIndex)] =
        toFloat3({(id % 1024) / 1024.0 + 1.0 / 2048, static_cast<Float>(id / 1024) / rows + 0.5 / rows, 0});
}

void cut(std::vector<Chunk>& chunks, Int32 source, Int32 count, Int32 size, Int64 base, Int64 vertexBase) {
    for (Int32 first = 0; first < count; first += size)
        chunks.push_back({source, first, std::min(first + size, count), base + first, vertexBase, 0});
}

}  // namespace

Int64 countCorners(const CPolygon* polygons, Int32 count) {
    Int64 triangles = 0;
#pragma omp parallel for schedule(static) reduction(+ : triangles) if (count >= kParallelFrom)
    for (Int32 i = 0; i < count; ++i) triangles += polygons[i].IsTriangle() ? 1 : 0;
    return Int64(count) * 4 - triangles;
}

Int64 convertMeshes(std::span<const MeshSource> sources, const ConvertOptions& options, MeshArrays& out) {
    std::vector<Chunk> polygons, points;
    Int64 vertexBase = 0, polygonBase = 0;
    for (std::size_t s = 0; s < sources.size(); ++s) {
        const auto index = static_cast<Int32>(s);
        cut(polygons, index, sources[s].polygonCount, kPolygonsPerChunk, polygonBase, vertexBase);
        cut(points, index, sources[s].pointCount, kPointsPerChunk, vertexBase, vertexBase);
        polygonBase += sources[s].polygonCount;
        vertexBase += sources[s].pointCount;
        if (options.colorTableSize > 0) writeColorTableUv(sources[s], options.colorTableSize, out);
    }
    const auto polygonChunks = static_cast<Int32>(polygons.size()), pointChunks = static_cast<Int32>(points.size());
    // Below this all is done before a second thread has woken up, the more so beside a running render.
    const bool parallel = polygonBase + vertexBase >= kParallelConversionFrom;

    std::vector<Int64> corners(polygons.size());
#pragma omp parallel for schedule(static) if (parallel)
    for (Int32 c = 0; c < polygonChunks; ++c) {
        const Chunk& chunk = polygons[static_cast<std::size_t>(c)];
        Int64 sum = 0;
        const CPolygon* list = sources[static_cast<std::size_t>(chunk.source)].polygons;
        for (Int32 i = chunk.first; i < chunk.last; ++i) sum += list[i].IsTriangle() ? 3 : 4;
        corners[static_cast<std::size_t>(c)] = sum;
    }
    Int64 corner = 0;
    for (std::size_t c = 0; c < polygons.size(); ++c) {
        polygons[c].corner = corner;
        corner += corners[c];
    }

    Int64 triangles = 0;
#pragma omp parallel reduction(+ : triangles) if (parallel)
    {
        std::vector<CollectedPolygon> scratch;
#pragma omp for schedule(dynamic, 4) nowait
        for (Int32 c = 0; c < pointChunks; ++c) {
            const Chunk& chunk = points[static_cast<std::size_t>(c)];
            convertPoints(sources[static_cast<std::size_t>(chunk.source)], chunk, options, out);
        }
#pragma omp for schedule(dynamic, 4)
        for (Int32 c = 0; c < polygonChunks; ++c) {
            const Chunk& chunk = polygons[static_cast<std::size_t>(c)];
            const MeshSource& source = sources[static_cast<std::size_t>(chunk.source)];
            triangles += options.applyTransform ? convertPolygons<true>(source, chunk, options, scratch, out)
                                                : convertPolygons<false>(source, chunk, options, scratch, out);
        }
    }
    return triangles;
}

}  // namespace lumora
