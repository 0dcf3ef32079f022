#include "engine/render/tracer.h"

#include <embree3/rtcore.h>

namespace Lumora::engine {

void EmbreeRelease::operator()(RTCDeviceTy* device) const {
    rtcReleaseDevice(device);
}
void EmbreeRelease::operator()(RTCSceneTy* scene) const {
    rtcReleaseScene(scene);
}
void EmbreeRelease::operator()(RTCGeometryTy* geometry) const {
    rtcReleaseGeometry(geometry);
}

namespace {

/// Distance to a plane; infinity when the ray runs along it or away.
float planeDistance(const Plane& plane, const Ray& ray) {
    const float cosine = dot(plane.normal, ray.direction);
    if (std::abs(cosine) < 1e-8f) return kInfinity;
    const float t = dot(plane.normal, plane.origin - ray.origin) / cosine;
    return t > ray.tmin && t < ray.tmax ? t : kInfinity;
}

/// Whether Embree may see the ray: it stops the program at numbers that are none. False where one is.
bool traceable(const Ray& ray) {
    const Float3 o = ray.origin, d = ray.direction;
    return std::abs(o.x) + std::abs(o.y) + std::abs(o.z) <= kFarthestRay &&
           std::abs(d.x) + std::abs(d.y) + std::abs(d.z) <= 2.0f && ray.tmin < ray.tmax;
}

void fill(RTCRay& out, const Ray& ray) {
    out.org_x = ray.origin.x;
    out.org_y = ray.origin.y;
    out.org_z = ray.origin.z;
    out.tnear = ray.tmin;
    out.dir_x = ray.direction.x;
    out.dir_y = ray.direction.y;
    out.dir_z = ray.direction.z;
    out.time = 0.0f;
    out.tfar = ray.tmax;
    out.mask = ~0u;
    out.id = 0;
    out.flags = 0;
}

/// Embree's context with what the filter needs.
struct Context {
    RTCIntersectContext embree;
    const std::uint32_t* instance = nullptr;  ///< TopLevel::baseInstance
};

/// An instance that was struck out of the base is not there.
void passStruckOut(const RTCFilterFunctionNArguments* args) {
    const auto* context = reinterpret_cast<const Context*>(args->context);
    if (context->instance[RTCHitN_instID(args->hit, args->N, 0, 0)] == kNone) args->valid[0] = 0;
}

void prepareBase(Context& context, const TopLevel& top) {
    rtcInitIntersectContext(&context.embree);
    if (top.baseInstance.empty()) return;
    context.embree.filter = passStruckOut;
    context.instance = top.baseInstance.data();
}

}  // namespace

Hit intersect(const Geometry& geometry, const Ray& ray) {
    Hit hit;
    if (!traceable(ray)) return hit;
    const TopLevel& top = *geometry.top;
    Context context;
    prepareBase(context, top);
    RTCRayHit query;
    fill(query.ray, ray);
    query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
    query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
    rtcIntersect1(top.base.get(), &context.embree, &query);
    const auto take = [&](const std::vector<std::uint32_t>& instances) {
        if (query.hit.geomID == RTC_INVALID_GEOMETRY_ID) return;
        const std::uint32_t id = query.hit.instID[0];
        hit = {query.ray.tfar, query.hit.u, query.hit.v, instances.empty() ? id : instances[id], query.hit.primID};
    };
    take(top.baseInstance);
    if (top.loose) {
        rtcInitIntersectContext(&context.embree);
        query.hit.geomID = RTC_INVALID_GEOMETRY_ID;
        query.hit.instID[0] = RTC_INVALID_GEOMETRY_ID;
        rtcIntersect1(top.loose.get(), &context.embree, &query);
        take(top.looseInstance);
    }
    for (std::uint32_t i = 0; i < geometry.planes.size(); ++i) {
        const float t = planeDistance(geometry.planes[i], ray);
        if (t < hit.t) hit = {t, 0.0f, 0.0f, Hit::kPlane + i, 0};
    }
    return hit;
}

bool occluded(const Geometry& geometry, const Ray& ray) {
    if (!traceable(ray)) return false;
    for (const Plane& plane : geometry.planes) {
        if (planeDistance(plane, ray) < kInfinity) return true;
    }
    const TopLevel& top = *geometry.top;
    Context context;
    prepareBase(context, top);
    RTCRay query;
    fill(query, ray);
    rtcOccluded1(top.base.get(), &context.embree, &query);
    if (query.tfar < 0.0f || !top.loose) return query.tfar < 0.0f;
    rtcInitIntersectContext(&context.embree);
    rtcOccluded1(top.loose.get(), &context.embree, &query);
    return query.tfar < 0.0f;
}

}  // namespace Lumora::engine
