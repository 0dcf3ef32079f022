// Corner normals in two passes. The first walks the polygons: the face's unit normal, and each corner's share of its
// point's normal, written where the corner's normal will stand. The second walks the points: it gathers the shares of
// the corners that meet there, adds up those whose faces pass the angle limit, and writes the normals in place.
//
// Shares are weighted by sin(angle) / (|e1| |e2|), with which a point of a sphere's inscribed mesh gets the sphere's
// normal exactly: N. Max, "Weights for Computing Vertex Normals from Facet Normals", Journal of Graphics Tools 4(2),
// 1999. The share is Cross(e1, e2) / (|e1|^2 |e2|^2), without trigonometry.
//
// Which corners meet at a point is found by a counting sort: chunks of polygons count on their own and then fill at
// offsets of their own, so that the order within a point is that of the polygons whatever the number of threads.
#include "host/evaluate/phong_normals.h"

#include <tbb/parallel_for.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <unordered_map>

#include "host/runtime/huge_pages.h"
#include "host/sdk/tag.h"
#include "host/sdk/thread.h"

namespace host {

namespace {

constexpr std::size_t kGrain = 4096;
constexpr std::size_t kMaxChunks = 8;   // each costs a counter a point
constexpr std::size_t kMaxExact = 256;  // corners at one point that are compared pair by pair

struct Mesh {
    std::span<const Vector> points;
    std::span<const CPolygon> polygons;
};

Bool indicesInRange(const Mesh& mesh) {
    const auto count = static_cast<UInt32>(mesh.points.size());
    std::atomic<bool> fine{true};
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, mesh.polygons.size(), kGrain), [&](const auto& range) {
        bool good = true;
        for (std::size_t i = range.begin(); i < range.end(); ++i) {
            const CPolygon& p = mesh.polygons[i];
            // As unsigned numbers negative indices are too large.
            good &= static_cast<UInt32>(p.a) < count && static_cast<UInt32>(p.b) < count &&
                    static_cast<UInt32>(p.c) < count && static_cast<UInt32>(p.d) < count;
        }
        if (!good) fine.store(false, std::memory_order_relaxed);
    });
    return fine;
}

// Of the corner between two edges in order: Cross(in, out) is Cross(to next, to previous).
Vector32 share(const Vector32& in, const Vector32& out, Float32 squaredLengths) {
    const Vector32 result = Cross(in, out) * (1 / squaredLengths);
    const Float32 size = result.GetSquaredLength();
    return size > 0 && std::isfinite(size) ? result : Vector32();
}

// The face's unit normal; the corners' shares go to `corners`. With edges from 1e-9 to 1e9 units shares stay in the
// range of floats; outside they are dropped, and corners fall back to the face's normal.
Vector32 readFace(const Mesh& mesh, const CPolygon& polygon, Vector32* corners) {
    const auto at = [&](Int32 index) -> const Vector& { return mesh.points[static_cast<std::size_t>(index)]; };
    const Vector &a = at(polygon.a), &b = at(polygon.b), &c = at(polygon.c), &d = at(polygon.d);
    const bool triangle = polygon.IsTriangle();
    const Vector normal = Cross(c - a, triangle ? c - b : d - b);
    const Float length = normal.GetLength();
    if (!(length > 0) || !std::isfinite(length)) {
        corners[0] = corners[1] = corners[2] = corners[3] = {};
        return {};
    }
    const Vector32 ab(b - a), bc(c - b), last(a - d);
    const Float32 ab2 = ab.GetSquaredLength(), bc2 = bc.GetSquaredLength(), last2 = last.GetSquaredLength();
    corners[0] = share(last, ab, last2 * ab2);
    corners[1] = share(ab, bc, ab2 * bc2);
    if (triangle) {
        corners[2] = corners[3] = share(bc, last, bc2 * last2);
    } else {
        const Vector32 cd(d - c);
        const Float32 cd2 = cd.GetSquaredLength();
        corners[2] = share(bc, cd, bc2 * cd2);
        corners[3] = share(cd, last, cd2 * last2);
    }
    return Vector32(normal * (1 / length));
}

// Corners by point: `corners[offsets[p]]` to `corners[offsets[p + 1] - 1]`, a corner being polygon * 4 + number.
struct Adjacency {
    std::unique_ptr<UInt32[]> offsets, corners;
};

template <typename Visit>
void eachCorner(const CPolygon& polygon, const Visit& visit) {
    visit(polygon.a, 0U);
    visit(polygon.b, 1U);
    visit(polygon.c, 2U);
    if (!polygon.IsTriangle()) visit(polygon.d, 3U);
}

Adjacency sortCorners(const Mesh& mesh) {
    const std::size_t points = mesh.points.size(), polygons = mesh.polygons.size();
    const std::size_t chunks = std::clamp<std::size_t>(
        std::min<std::size_t>(static_cast<std::size_t>(GeGetCurrentThreadCount()), polygons / 65536), 1, kMaxChunks);
    const auto firstOf = [=](std::size_t chunk) { return polygons * chunk / chunks; };
    auto counters = makeLargeVector<UInt32>(points * chunks);  // [chunk][point]
    tbb::parallel_for(std::size_t{0}, chunks, [&](std::size_t chunk) {
        UInt32* counter = counters.data() + chunk * points;
        for (std::size_t i = firstOf(chunk); i < firstOf(chunk + 1); ++i) {
            eachCorner(mesh.polygons[i], [&](Int32 point, UInt32) { ++counter[point]; });
        }
    });
    Adjacency result;
    result.offsets = std::make_unique_for_overwrite<UInt32[]>(points + 1);
    adviseHugePages(result.offsets.get(), points * sizeof(UInt32));
    UInt32 sum = 0;
    for (std::size_t point = 0; point < points; ++point) {
        result.offsets[point] = sum;
        for (std::size_t chunk = 0; chunk < chunks; ++chunk) {
            UInt32& counter = counters[chunk * points + point];
            const UInt32 count = counter;
            counter = sum;
            sum += count;
        }
    }
    result.offsets[points] = sum;
    result.corners = std::make_unique_for_overwrite<UInt32[]>(sum);
    adviseHugePages(result.corners.get(), sum * sizeof(UInt32));
    tbb::parallel_for(std::size_t{0}, chunks, [&](std::size_t chunk) {
        UInt32* next = counters.data() + chunk * points;
        for (std::size_t i = firstOf(chunk); i < firstOf(chunk + 1); ++i) {
            eachCorner(mesh.polygons[i], [&](Int32 point, UInt32 corner) {
                result.corners[next[point]++] = static_cast<UInt32>(i) * 4 + corner;
            });
        }
    });
    return result;
}

Vector32 unitOr(const Vector32& sum, const Vector32& fallback) {
    const Float32 length = sum.GetLength();
    return length > 0 && std::isfinite(length) ? sum / length : fallback;
}

void write(Vector32* normals, const CPolygon& polygon, UInt32 corner, const Vector32& value) {
    normals[corner] = value;
    if ((corner & 3U) == 2 && polygon.IsTriangle()) normals[corner + 1] = value;
}

// A point where very many faces meet (the tip of a fan, or everything welded to one point): comparing all pairs would
// take forever, so faces are put into cells of about five degrees first and cells are compared by their mean normal.
void smoothCrowded(const Mesh& mesh, std::span<const UInt32> corners, const std::vector<Vector32>& faces,
                   Float32 cosLimit, Vector32* normals) {
    struct Cell {
        Vector32 mean, sum, normal;
    };
    const auto cellOf = [](const Vector32& n) {
        constexpr Float32 kSteps = 12;
        const auto step = [](Float32 x) { return static_cast<Int32>(std::lround(x * kSteps)) + 16; };
        return (step(n.x) * 64 + step(n.y)) * 64 + step(n.z);
    };
    std::unordered_map<Int32, std::size_t> numbers;
    std::vector<Cell> cells;
    std::vector<std::size_t> cellOfCorner(corners.size());
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vector32& face = faces[corners[i] / 4];
        const auto [place, isNew] = numbers.try_emplace(cellOf(face), cells.size());
        if (isNew) cells.emplace_back();
        Cell& cell = cells[place->second];
        cell.mean += face;
        cell.sum += normals[corners[i]];
        cellOfCorner[i] = place->second;
    }
    for (Cell& cell : cells) cell.mean = cell.mean.GetNormalized();
    for (Cell& cell : cells) {
        for (const Cell& other : cells) {
            if (Dot(cell.mean, other.mean) >= cosLimit) cell.normal += other.sum;
        }
    }
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const UInt32 polygon = corners[i] / 4;
        if (faces[polygon].IsZero()) continue;
        write(normals, mesh.polygons[polygon], corners[i], unitOr(cells[cellOfCorner[i]].normal, faces[polygon]));
    }
}

// At most kCapacity corners: the room is cleared for each point, so that of the usual few is small.
template <std::size_t kCapacity>
void smoothFew(const Mesh& mesh, std::span<const UInt32> corners, const std::vector<Vector32>& faces, Float32 cosLimit,
               Vector32* normals) {
    std::array<Vector32, kCapacity> face, part;
    const std::size_t count = corners.size();
    Vector32 sum;
    for (std::size_t i = 0; i < count; ++i) {
        face[i] = faces[corners[i] / 4];
        part[i] = normals[corners[i]];
        sum += part[i];
    }
    bool together = true;  // every pair passes the limit: all corners get the same normal
    for (std::size_t i = 0; i < count && together; ++i) {
        for (std::size_t j = 0; j < i && together; ++j) together = Dot(face[i], face[j]) >= cosLimit;
    }
    const Vector32 common = together ? unitOr(sum, {}) : Vector32();
    for (std::size_t i = 0; i < count; ++i) {
        const CPolygon& polygon = mesh.polygons[corners[i] / 4];
        if (face[i].IsZero()) {
            write(normals, polygon, corners[i], {});
            continue;
        }
        Vector32 own = common;
        if (!together) {
            own = {};
            for (std::size_t j = 0; j < count; ++j) {
                if (j == i || Dot(face[i], face[j]) >= cosLimit) own += part[j];
            }
            own = unitOr(own, {});
        }
        write(normals, polygon, corners[i], own.IsZero() ? face[i] : own);
    }
}

void smoothPoint(const Mesh& mesh, std::span<const UInt32> corners, const std::vector<Vector32>& faces,
                 Float32 cosLimit, Vector32* normals) {
    constexpr std::size_t kUsual = 8;
    if (corners.size() <= kUsual) {
        smoothFew<kUsual>(mesh, corners, faces, cosLimit, normals);
    } else if (corners.size() <= kMaxExact) {
        smoothFew<kMaxExact>(mesh, corners, faces, cosLimit, normals);
    } else {
        smoothCrowded(mesh, corners, faces, cosLimit, normals);
    }
}

std::vector<Vector32> normalsOfTag(const NormalTag& tag) {
    auto normals = makeLargeVector<Vector32>(tag.Data().size() * 4);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, tag.Data().size(), kGrain), [&](const auto& range) {
        for (std::size_t i = range.begin(); i < range.end(); ++i) {
            for (std::size_t c = 0; c < 4; ++c) normals[i * 4 + c] = unitOr(tag.Data()[i][c], {});
        }
    });
    return normals;
}

}  // namespace

std::vector<Vector32> phongNormals(std::span<const Vector> points, std::span<const CPolygon> polygons,
                                   const SmoothingRule& rule) {
    const Mesh mesh{points, polygons};
    // A corner's number must fit 32 bits.
    if (polygons.empty() || polygons.size() > (UInt64(1) << 30) || !indicesInRange(mesh)) return {};
    const Bool faceted = rule.angleLimit && rule.angle <= 0;
    auto normals = makeLargeVector<Vector32>(polygons.size() * 4);
    auto faces = makeLargeVector<Vector32>(faceted ? 0 : polygons.size());
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, polygons.size(), kGrain), [&](const auto& range) {
        for (std::size_t i = range.begin(); i < range.end(); ++i) {
            Vector32* corners = &normals[i * 4];
            const Vector32 face = readFace(mesh, polygons[i], corners);
            if (faceted) {
                std::fill(corners, corners + 4, face);
            } else {
                faces[i] = face;
            }
        }
    });
    if (faceted) return normals;

    const Adjacency adjacency = sortCorners(mesh);
    // The slack lets faces pass that meet at exactly the limit.
    const Float limit = rule.angleLimit ? std::min(rule.angle, kPi) : kPi;
    const auto cosLimit = static_cast<Float32>(limit >= kPi ? -2.0 : std::cos(limit) - 1e-5);
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, points.size(), kGrain), [&](const auto& range) {
        for (std::size_t point = range.begin(); point < range.end(); ++point) {
            const UInt32 first = adjacency.offsets[point], end = adjacency.offsets[point + 1];
            if (first == end) continue;
            smoothPoint(mesh, {adjacency.corners.get() + first, end - first}, faces, cosLimit, normals.data());
        }
    });
    return normals;
}

std::vector<Vector32> PolygonObject::CreatePhongNormals() const {
    const auto* given = static_cast<const NormalTag*>(GetTag(Tnormal));
    if (given && given->Data().size() == polygons_.size()) {
        // Readers go by the polygons, so broken indices are refused here too.
        return indicesInRange({points_, polygons_}) ? normalsOfTag(*given) : std::vector<Vector32>();
    }
    const BaseTag* phong = GetTag(Tphong);
    if (!phong) return {};
    const BaseContainer& data = *phong->GetDataInstance();
    constexpr Float kDefaultAngle = 80 / kDegreesPerRadian;
    const Float angle = data.GetFloat(PHONGTAG_PHONG_ANGLE, kDefaultAngle);
    return phongNormals(points_, polygons_,
                        {data.GetBool(PHONGTAG_PHONG_ANGLELIMIT, true), std::isfinite(angle) ? angle : kDefaultAngle});
}

}  // namespace host
