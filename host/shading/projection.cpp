#include "host/shading/projection.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_for.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <memory>

#include "host/sdk/document.h"

namespace host {

namespace {

constexpr Float kPoleRadius = 1e-9;  // relative to the distance from the origin

Float around(const Vector& q) {
    return 0.5 + std::atan2(q.x, -q.z) / (2 * kPi);
}

Bool isPole(const Vector& q) {
    return std::hypot(q.x, q.z) <= kPoleRadius * std::abs(q.y) || (q.x == 0 && q.z == 0);
}

// Brings the angles of a polygon together over the seam, and gives corners in a pole the mean of the others.
void closeSeam(const std::array<Vector, 4>& q, std::size_t corners, std::array<Vector, 4>& uvs) {
    Int32 reference = -1;
    Float sum = 0, count = 0;
    for (std::size_t i = 0; i < corners; ++i) {
        if (isPole(q[i])) continue;
        if (reference < 0) reference = static_cast<Int32>(i);
        const Float to = uvs[static_cast<std::size_t>(reference)].x;
        uvs[i].x -= std::round(uvs[i].x - to);  // within half a turn
        sum += uvs[i].x;
        ++count;
    }
    // A polygon's middle lies in the picture, wherever its first corner was.
    const Float mean = count > 0 ? sum / count : 0.5;
    const Float shift = mean < 0 ? 1 : mean > 1 ? -1 : 0;
    for (std::size_t i = 0; i < corners; ++i) uvs[i].x = (isPole(q[i]) ? mean : uvs[i].x) + shift;
}

Vector shrinkWrap(const Vector& q, const Vector& polygonCentre) {
    const Float length = q.GetLength();
    const Float radius = length > 0 ? std::acos(std::clamp(q.y / length, -1.0, 1.0)) / (2 * kPi) : 0;
    // The lower pole is the whole rim: its corner goes where its polygon is.
    const Vector& side = isPole(q) ? polygonCentre : q;
    const Float planar = std::hypot(side.x, side.z);
    if (planar <= 0) return {0.5, 0.5, 0};
    return {0.5 + radius * side.x / planar, 0.5 - radius * side.z / planar, 0};
}

// Normal of a polygon in projection space; by its diagonals, as a quad need not be flat.
Vector normalOf(const std::array<Vector, 4>& q) {
    return q[2] == q[3] ? Cross(q[1] - q[0], q[2] - q[0]) : Cross(q[2] - q[0], q[3] - q[1]);
}

Vector flat(Float right, Float up, Float depth) {
    return {(1 + right) / 2, (1 - up) / 2, depth};
}

Vector cubic(const Vector& q, const Vector& normal) {
    const Float x = std::abs(normal.x), y = std::abs(normal.y), z = std::abs(normal.z);
    if (y > x && y >= z) return normal.y > 0 ? flat(q.x, q.z, q.y) : flat(q.x, -q.z, -q.y);
    if (x > z) return normal.x > 0 ? flat(q.z, q.y, q.x) : flat(-q.z, q.y, -q.x);
    return normal.z > 0 ? flat(-q.x, q.y, q.z) : flat(q.x, q.y, -q.z);
}

Vector onFilm(const Vector& q, const FilmView& film) {
    // Points beside or behind the camera have no place on the film; they go far out instead of to infinity.
    constexpr Float kNear = 1e-6;
    const Float depth = film.parallel ? 1 : std::max(q.z, kNear);
    return {0.5 + q.x / (depth * film.halfWidth * 2), 0.5 - q.y / (depth * film.halfHeight * 2), q.z};
}

Bool isRound(TextureProjectionMode mode) {
    return mode == P_SPHERICAL || mode == P_CYLINDRICAL;
}

}  // namespace

Float ParallelViewWidth(Float zoom, Float distance) {
    const Float angle = kParallelFieldOfView / kDegreesPerRadian / std::max(zoom, 1e-9);
    return 2 * std::max(distance, 1e-6) * std::tan(std::min(angle, kPi - 1e-4) / 2);
}

Float ParallelViewZoom(Float width, Float distance) {
    const Float angle = 2 * std::atan(std::max(width, 1e-9) / 2 / std::max(distance, 1e-6));
    return kParallelFieldOfView / kDegreesPerRadian / angle;
}

FilmView filmViewOf(const BaseObject& camera) {
    const BaseContainer& data = *camera.GetDataInstance();
    Float aspect = 16.0 / 9.0;
    if (const BaseDocument* document = camera.GetDocument()) {
        const BaseContainer& settings = *document->GetActiveRenderData()->GetDataInstance();
        const Float width = settings.GetFloat(RDATA_XRES, 16), height = settings.GetFloat(RDATA_YRES, 9);
        if (width > 0 && height > 0) aspect = width / height * settings.GetFloat(RDATA_PIXELASPECT, 1);
    }
    FilmView film;
    film.toCamera = ~camera.GetMg();
    film.parallel = data.GetInt32(CAMERA_PROJECTION) == 1;
    const Float angle = std::clamp(data.GetFloat(CAMERAOBJECT_FOV, 0.93), 1e-4, kPi - 1e-4);
    film.halfWidth =
        film.parallel
            ? ParallelViewWidth(data.GetFloat(CAMERA_ZOOM, 1), data.GetFloat(CAMERAOBJECT_TARGETDISTANCE, 1000)) / 2
            : std::tan(angle / 2);
    film.halfHeight = film.halfWidth / aspect;
    if (const Float vertical = data.GetFloat(CAMERAOBJECT_FOV_VERTICAL); !film.parallel && vertical > 0) {
        film.halfHeight = std::tan(std::min(vertical, kPi - 1e-4) / 2);
        film.halfWidth = film.halfHeight * aspect;
    }
    return film;
}

Projection::Projection(TextureProjectionMode mode, const Matrix& place, const FilmView* camera,
                       const Matrix& objectToWorld)
    : mode_(mode) {
    switch (mode) {
        case P_SPHERICAL:
        case P_CYLINDRICAL:
        case P_FLAT:
        case P_CUBIC:
        case P_SPATIAL:
        case P_SHRINKWRAP:
            toSpace_ = ~place;
            valid_ = true;
            break;
        case P_FRONTAL:
        case P_CAMERAMAP:
            if (!camera) break;
            film_ = *camera;
            toSpace_ = film_.toCamera * objectToWorld;
            valid_ = true;
            break;
        case P_UVW:
            break;
    }
}

void Projection::project(const std::array<Vector, 4>& q, std::array<Vector, 4>& uvs) const {
    const Vector centre = (q[0] + q[1] + q[2] + q[3]) * 0.25;
    const Vector normal = mode_ == P_CUBIC ? normalOf(q) : Vector();
    for (std::size_t i = 0; i < 4; ++i) {
        const Vector& p = q[i];
        switch (mode_) {
            case P_SPHERICAL: {
                const Float length = p.GetLength();
                const Float polar = length > 0 ? std::acos(std::clamp(p.y / length, -1.0, 1.0)) : kPi / 2;
                uvs[i] = {around(p), polar / kPi, length};
                break;
            }
            case P_CYLINDRICAL:
                uvs[i] = {around(p), (1 - p.y) / 2, std::hypot(p.x, p.z)};
                break;
            case P_CUBIC:
                uvs[i] = cubic(p, normal);
                break;
            case P_SPATIAL:
                uvs[i] = {(1 + p.x + p.z) / 2, (1 - p.y + p.z) / 2, p.z};
                break;
            case P_SHRINKWRAP:
                uvs[i] = shrinkWrap(p, centre);
                break;
            case P_FRONTAL:
            case P_CAMERAMAP:
                uvs[i] = onFilm(p, film_);
                break;
            default:
                uvs[i] = flat(p.x, p.y, p.z);
        }
    }
}

std::array<Vector, 4> Projection::corners(const std::array<Vector, 4>& points, Bool triangle) const {
    std::array<Vector, 4> q, uvs;
    for (std::size_t i = 0; i < 4; ++i) q[i] = toSpace_ * points[i];
    project(q, uvs);
    if (isRound(mode_)) closeSeam(q, triangle ? 3 : 4, uvs);
    if (triangle) uvs[3] = uvs[2];
    return uvs;
}

UVWTag* GenerateUVW(const PolygonObject& object, Int32 projection, const Matrix& place, const BaseObject* camera) {
    if (object.GetPolygonCount() == 0) return nullptr;
    const FilmView film = camera ? filmViewOf(*camera) : FilmView();
    const Projection mapping(static_cast<TextureProjectionMode>(projection), place, camera ? &film : nullptr,
                             camera ? object.GetMg() : Matrix());
    if (!mapping.isValid()) return nullptr;
    UVWTag* tag = UVWTag::Alloc(object.GetPolygonCount());
    if (!tag) return nullptr;
    auto& data = tag->Data();
    const auto& points = object.Points();
    const auto& polygons = object.Polygons();
    std::atomic<bool> inRange{true};
    tbb::parallel_for(tbb::blocked_range<std::size_t>(0, polygons.size(), 4096), [&](const auto& range) {
        for (std::size_t i = range.begin(); i < range.end(); ++i) {
            const CPolygon& polygon = polygons[i];
            std::array<Vector, 4> corners;
            for (Int32 c = 0; c < 4; ++c) {
                const auto index = static_cast<std::size_t>(static_cast<UInt32>(polygon[c]));
                if (index >= points.size()) {
                    inRange.store(false, std::memory_order_relaxed);
                    return;
                }
                corners[static_cast<std::size_t>(c)] = points[index];
            }
            const auto uvs = mapping.corners(corners, polygon.IsTriangle());
            for (std::size_t c = 0; c < 4; ++c) data[i][c] = TVector<Float32>(uvs[c]);
        }
    });
    if (!inRange) UVWTag::Free(tag);  // empties the pointer
    return tag;
}

}  // namespace host
