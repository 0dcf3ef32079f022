// Polygons of more than four corners, and dented ones: ear clipping in the plane of the polygon (D. Eberly,
// "Triangulation by Ear Clipping", 2002) with Newell's normal.
#include <cmath>

#include "host/io/import/mesh.h"

namespace host::importer {
namespace {

/// Above this many corners the quadratic search is not worth it: a fan.
constexpr std::size_t kMostCorners = 2000;

struct Point2 {
    Float x, y;
};

Float area2(const Point2& a, const Point2& b, const Point2& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

/// The corners in the plane of the polygon, turning to the left.
std::vector<Point2> flatten(const Mesh& mesh, const std::vector<Int32>& corners) {
    const auto at = [&](std::size_t i) {
        return Vector(mesh.points[static_cast<std::size_t>(corners[i % corners.size()])]);
    };
    Vector normal;
    for (std::size_t i = 0; i < corners.size(); ++i) {
        const Vector p = at(i), q = at(i + 1);
        normal += Vector((p.y - q.y) * (p.z + q.z), (p.z - q.z) * (p.x + q.x), (p.x - q.x) * (p.y + q.y));
    }
    normal = normal.GetNormalized();
    const Vector helper = std::abs(normal.x) < 0.7 ? Vector(1, 0, 0) : Vector(0, 1, 0);
    const Vector u = Cross(helper, normal).GetNormalized(), v = Cross(normal, u);
    std::vector<Point2> flat;
    for (std::size_t i = 0; i < corners.size(); ++i) flat.push_back({Dot(at(i), u), Dot(at(i), v)});
    return flat;
}

bool isEar(const std::vector<Point2>& flat, const std::vector<std::size_t>& ring, std::size_t k) {
    const std::size_t n = ring.size(), before = ring[(k + n - 1) % n], tip = ring[k], after = ring[(k + 1) % n];
    const Point2 &a = flat[before], &b = flat[tip], &c = flat[after];
    if (!(area2(a, b, c) > 0)) return false;
    for (const std::size_t other : ring) {
        if (other == before || other == tip || other == after) continue;
        const Point2& p = flat[other];
        if (area2(a, b, p) >= 0 && area2(b, c, p) >= 0 && area2(c, a, p) >= 0) return false;
    }
    return true;
}

}  // namespace

void addPolygon(Mesh& mesh, const std::vector<Int32>& corners) {
    const std::size_t count = corners.size();
    if (count < 3) return;
    if (count == 3) {
        mesh.polygons.emplace_back(corners[0], corners[1], corners[2], corners[2]);
        return;
    }
    if (count > kMostCorners) {
        for (std::size_t i = 2; i < count; ++i)
            mesh.polygons.emplace_back(corners[0], corners[i - 1], corners[i], corners[i]);
        return;
    }
    const std::vector<Point2> flat = flatten(mesh, corners);
    if (count == 4) {
        bool dented = false;
        for (std::size_t i = 0; i < 4; ++i) dented |= area2(flat[i], flat[(i + 1) % 4], flat[(i + 2) % 4]) < 0;
        if (!dented) {
            mesh.polygons.emplace_back(corners[0], corners[1], corners[2], corners[3]);
            return;
        }
    }
    std::vector<std::size_t> ring(count);
    for (std::size_t i = 0; i < count; ++i) ring[i] = i;
    while (ring.size() > 3) {
        std::size_t ear = 0;
        while (ear < ring.size() && !isEar(flat, ring, ear)) ++ear;
        if (ear == ring.size()) ear = 0;  // crossing or flat outline: cut anywhere, but go on
        const std::size_t n = ring.size();
        const Int32 c = corners[ring[(ear + 1) % n]];
        mesh.polygons.emplace_back(corners[ring[(ear + n - 1) % n]], corners[ring[ear]], c, c);
        ring.erase(ring.begin() + static_cast<std::ptrdiff_t>(ear));
    }
    mesh.polygons.emplace_back(corners[ring[0]], corners[ring[1]], corners[ring[2]], corners[ring[2]]);
}

}  // namespace host::importer
