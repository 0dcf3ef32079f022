#include "engine/render/textures/projection.h"

#include "engine/render/scene.h"

namespace Lumora::engine {

namespace {

constexpr float kHalf = 0.5f;

/// `within`: round pictures are read from inside, their middle at -z; else from outside, their middle at z. Either way
/// they read from left to right.
Float3 projectPosition(ProjectionKind kind, Float3 p, bool within) {
    const auto around = [&] { return kHalf + std::atan2(p.x, within ? -p.z : p.z) * (0.5f * kInvPi); };
    switch (kind) {
        case ProjectionKind::Spherical: {
            const float r = length(p);
            const float v = r > 0.0f ? std::acos(std::clamp(p.y / r, -1.0f, 1.0f)) * kInvPi : kHalf;
            return {around(), 1.0f - v, r};
        }
        case ProjectionKind::Cylindrical:
            return {around(), kHalf + kHalf * p.y, std::hypot(p.x, p.z)};
        case ProjectionKind::Perspective: {
            // The picture at distance one reaches from -1 to 1. What lies behind sees it through the projector.
            const float distance = std::max(std::abs(p.z), 1e-9f);
            return {kHalf + kHalf * p.x / distance, kHalf + kHalf * p.y / distance, distance};
        }
        default:
            return {kHalf + kHalf * p.x, kHalf + kHalf * p.y, kHalf + kHalf * p.z};
    }
}

/// A step of an angle that runs across the seam is the short way round.
float shortWay(float step) {
    return step - std::round(step);
}

int largestAxis(Float3 n) {
    const Float3 a = {std::abs(n.x), std::abs(n.y), std::abs(n.z)};
    if (a.x >= a.y && a.x >= a.z) return 0;
    return a.y >= a.z ? 1 : 2;
}

float component(Float3 v, int axis) {
    return axis == 0 ? v.x : axis == 1 ? v.y : v.z;
}

/// Coordinates on the face that the normal points to most.
MappedPoint boxPoint(const SpacePoint& p) {
    const int axis = largestAxis(p.normal);
    const bool negative = component(p.normal, axis) < 0.0f;
    MappedPoint r;
    r.uvw = boxFace(p.position, axis, negative);
    for (int i = 0; i < 2; ++i) r.axis[i] = boxFace(p.position + p.axis[i], axis, negative) - r.uvw;
    return r;
}

MappedPoint uvPoint(const Mapping& m, const TextureContext& at) {
    MappedPoint r;
    r.uvw = at.uv[m.uvSet];
    for (int i = 0; i < 2; ++i) r.axis[i] = {at.uvAxis[m.uvSet][i].x, at.uvAxis[m.uvSet][i].y, 0.0f};
    if (m.placement.moved) {
        r.uvw = transformPoint(m.placement.point, r.uvw);
        for (Float3& axis : r.axis) axis = transformVector(m.placement.point, axis);
    }
    return r;
}

}  // namespace

Float3 boxFace(Float3 p, int axis, bool negative) {
    Float3 uv;
    if (axis == 0) {
        uv = {negative ? p.z : -p.z, p.y, p.x};
    } else if (axis == 1) {
        uv = {p.x, negative ? p.z : -p.z, p.y};
    } else {
        uv = {negative ? -p.x : p.x, p.y, p.z};
    }
    return {kHalf + kHalf * uv.x, kHalf + kHalf * uv.y, kHalf + kHalf * uv.z};
}

SpacePoint spacePoint(CoordinateSpace space, const LocalSpace& placement, const TextureContext& at) {
    SpacePoint r;
    switch (space) {
        case CoordinateSpace::Object:
            r = {at.objectPosition, at.objectNormal, {at.objectAxis[0], at.objectAxis[1]}};
            break;
        case CoordinateSpace::Camera: {
            Float3 origin, right{1, 0, 0}, up{0, 1, 0}, back{0, 0, 1};
            if (at.scene) {
                const Camera& camera = at.scene->camera;
                origin = camera.position;
                back = normalize(camera.position - camera.target);
                right = normalize(cross(camera.up, back));
                up = cross(back, right);
            }
            const auto turned = [&](Float3 v) { return Float3{dot(v, right), dot(v, up), dot(v, back)}; };
            r = {turned(at.worldPosition - origin),
                 turned(at.worldNormal),
                 {turned(at.worldAxis[0]), turned(at.worldAxis[1])}};
            break;
        }
        case CoordinateSpace::Normal: {
            const Frame frame(at.worldNormal != Float3{} ? at.worldNormal : Float3{0, 1, 0});
            const Float3 d = -at.view;
            r.position = {dot(d, frame.s), dot(d, frame.n), dot(d, frame.t)};
            r.normal = {0, 1, 0};
            break;
        }
        case CoordinateSpace::World:
            r = {at.worldPosition, at.worldNormal, {at.worldAxis[0], at.worldAxis[1]}};
            break;
    }
    if (placement.moved) {
        r.position = transformPoint(placement.point, r.position);
        r.normal = placement.normal(r.normal);
        for (Float3& axis : r.axis) axis = transformVector(placement.point, axis);
    }
    return r;
}

MappedPoint mapPoint(const Mapping& m, const TextureContext& at) {
    MappedPoint r;
    if (m.kind == ProjectionKind::Uvw) {
        r = uvPoint(m, at);
    } else if (m.kind == ProjectionKind::Triplanar && at.triplanar) {
        r = *at.triplanar;
    } else {
        const SpacePoint p = spacePoint(m.space, m.placement, at);
        if (m.kind == ProjectionKind::Box || m.kind == ProjectionKind::Triplanar) {
            r = boxPoint(p);
        } else {
            r.uvw = projectPosition(m.kind, p.position, at.within);
            const bool round = m.kind == ProjectionKind::Spherical || m.kind == ProjectionKind::Cylindrical;
            for (int i = 0; i < 2; ++i) {
                if (p.axis[i] == Float3{}) continue;
                r.axis[i] = projectPosition(m.kind, p.position + p.axis[i], at.within) - r.uvw;
                if (round) r.axis[i].x = shortWay(r.axis[i].x);
            }
        }
    }
    if (m.transformed) {
        r.uvw = transformPoint(m.uvwToTexture, r.uvw);
        for (Float3& axis : r.axis) axis = transformVector(m.uvwToTexture, axis);
    }
    return r;
}

}  // namespace Lumora::engine
