#include "host/evaluate/bounds.h"

#include <tbb/blocked_range.h>
#include <tbb/parallel_reduce.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "host/sdk/node_data.h"

namespace host {

namespace {

constexpr std::size_t kGrain = 65536;

void addRange(std::span<const Vector> points, Bounds* bounds) {
    Float sum = 0;  // not finite when one of the points is not
    Bounds b = *bounds;
    for (const Vector& p : points) {
        b.add(p);
        sum += (p.x - p.x) + (p.y - p.y) + (p.z - p.z);
    }
    if (sum != 0 || std::isnan(sum)) {
        constexpr Float kInfinite = std::numeric_limits<Float>::infinity();
        b.low = Vector(-kInfinite);
        b.high = Vector(kInfinite);
    }
    *bounds = b;
}

}  // namespace

void Bounds::add(const Vector& p) {
    low = {std::min(low.x, p.x), std::min(low.y, p.y), std::min(low.z, p.z)};
    high = {std::max(high.x, p.x), std::max(high.y, p.y), std::max(high.z, p.z)};
}

void Bounds::add(const Bounds& b) {
    if (b.isEmpty()) return;
    add(b.low);
    add(b.high);
}

Bounds Bounds::transformed(const Matrix& m) const {
    if (isEmpty()) return {};
    const Vector c = m * centre(), r = radius();
    const auto reach = [&](Float Vector::*axis) {
        return std::abs(m.v1.*axis) * r.x + std::abs(m.v2.*axis) * r.y + std::abs(m.v3.*axis) * r.z;
    };
    const Vector size(reach(&Vector::x), reach(&Vector::y), reach(&Vector::z));
    Bounds result;
    result.low = c - size;
    result.high = c + size;
    return result;
}

Bounds pointBounds(std::span<const Vector> points) {
    return tbb::parallel_reduce(
        tbb::blocked_range<std::size_t>(0, points.size(), kGrain), Bounds(),
        [&](const auto& range, Bounds bounds) {
            addRange(points.subspan(range.begin(), range.size()), &bounds);
            return bounds;
        },
        [](Bounds a, const Bounds& b) {
            a.add(b);
            return a;
        });
}

Bounds objectBounds(const BaseObject& object) {
    if (object.IsInstanceOf(Opoint)) return pointBounds(static_cast<const PointObject&>(object).Points());
    if (const auto* data = dynamic_cast<const ObjectData*>(object.GetNodeData())) {
        Vector centre, radius;
        if (data->GetDimension(&object, centre, radius)) {
            Bounds bounds;
            bounds.low = centre - radius;
            bounds.high = centre + radius;
            return bounds;
        }
    }
    const BaseObject* cache = object.GetDeformCache() ? object.GetDeformCache() : object.GetCache();
    return cache ? branchBounds(*cache, cache->GetMl()) : Bounds();
}

Bounds branchBounds(const BaseObject& top, const Matrix& global) {
    // A list of its own: branches may be deeper than the stack.
    Bounds bounds;
    std::vector<std::pair<const BaseObject*, Matrix>> waiting{{&top, global}};
    while (!waiting.empty()) {
        const auto [object, matrix] = waiting.back();
        waiting.pop_back();
        const Bounds own = objectBounds(*object);
        // An extent of zero stands for none: nulls, and what is without end.
        if (!own.radius().IsZero()) bounds.add(own.transformed(matrix));
        for (const BaseObject* child = object->GetDown(); child; child = child->GetNext()) {
            waiting.emplace_back(child, matrix * child->GetMl());
        }
    }
    return bounds;
}

Vector BaseObject::GetRad() const {
    return objectBounds(*this).radius();
}

Vector BaseObject::GetMp() const {
    return objectBounds(*this).centre();
}

}  // namespace host
