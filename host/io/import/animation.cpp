#include "host/io/import/animation.h"

#include <algorithm>
#include <cmath>

#include "host/io/import/mesh.h"

namespace host::importer {
namespace {

constexpr std::size_t kMostKeys = 200000;
/// Right before a jump: far below a frame, far above the rounding of times.
constexpr Float kBeforeJump = 1e-4;

using Value = std::array<Float, 4>;

Value normalised(Value v) {
    const Float length = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2] + v[3] * v[3]);
    if (!(length > 1e-12)) return {0, 0, 0, 1};
    for (Float& c : v) c /= length;
    return v;
}

/// K. Shoemake, "Animating Rotation with Quaternion Curves", 1985: along the shorter arc.
Value slerp(Value a, Value b, Float t) {
    a = normalised(a);
    b = normalised(b);
    Float cosine = a[0] * b[0] + a[1] * b[1] + a[2] * b[2] + a[3] * b[3];
    if (cosine < 0) {
        for (Float& c : b) c = -c;
        cosine = -cosine;
    }
    Float wa = 1 - t, wb = t;
    if (cosine < 0.9999995) {
        const Float angle = std::acos(cosine), sine = std::sin(angle);
        wa = std::sin((1 - t) * angle) / sine;
        wb = std::sin(t * angle) / sine;
    }
    Value v;
    for (std::size_t i = 0; i < 4; ++i) v[i] = wa * a[i] + wb * b[i];
    return normalised(v);
}

}  // namespace

Matrix Transform::matrix() const {
    const Value q = normalised({rotation.x, rotation.y, rotation.z, rotation.w});
    const Float x = q[0], y = q[1], z = q[2], w = q[3];
    Matrix m;
    m.v1 = Vector(1 - 2 * (y * y + z * z), 2 * (x * y + w * z), 2 * (x * z - w * y)) * scale.x;
    m.v2 = Vector(2 * (x * y - w * z), 1 - 2 * (x * x + z * z), 2 * (y * z + w * x)) * scale.y;
    m.v3 = Vector(2 * (x * z + w * y), 2 * (y * z - w * x), 1 - 2 * (x * x + y * y)) * scale.z;
    m.off = translation;
    return m;
}

std::array<Float, 4> Sampler::at(Float time, bool rotation) const {
    const std::size_t stride = kind == Kind::Cubic ? 3 : 1, centre = kind == Kind::Cubic ? 1 : 0;
    const auto value = [&](std::size_t i) { return values[i * stride + centre]; };
    const auto finish = [&](Value v) { return rotation ? normalised(v) : v; };
    if (!(time > times.front())) return finish(value(0));
    if (time >= times.back()) return finish(value(times.size() - 1));
    const auto next = static_cast<std::size_t>(std::upper_bound(times.begin(), times.end(), time) - times.begin());
    const std::size_t i = next - 1;
    const Float span = times[next] - times[i], t = span > 0 ? (time - times[i]) / span : 0;
    if (kind == Kind::Step) return finish(value(i));
    const Value a = value(i), b = value(next);
    Value v{};
    if (kind == Kind::Cubic) {
        const Value &out = values[i * 3 + 2], &in = values[next * 3];
        const Float t2 = t * t, t3 = t2 * t;
        for (std::size_t k = 0; k < 4; ++k)
            v[k] = (2 * t3 - 3 * t2 + 1) * a[k] + span * (t3 - 2 * t2 + t) * out[k] + (3 * t2 - 2 * t3) * b[k] +
                   span * (t3 - t2) * in[k];
        return finish(v);
    }
    if (rotation) return slerp(a, b, t);
    for (std::size_t k = 0; k < 4; ++k) v[k] = a[k] + (b[k] - a[k]) * t;
    return v;
}

Transform NodeAnimation::at(Float time, Transform rest) const {
    if (!translation.empty()) {
        const auto v = translation.at(time, false);
        rest.translation = {v[0], v[1], v[2]};
    }
    if (!rotation.empty()) {
        const auto v = rotation.at(time, true);
        rest.rotation = {v[0], v[1], v[2], v[3]};
    }
    if (!scale.empty()) {
        const auto v = scale.at(time, false);
        rest.scale = {v[0], v[1], v[2]};
    }
    return rest;
}

Transform decompose(const Matrix& m) {
    Transform t;
    t.translation = m.off;
    t.scale = m.GetScale();
    if (m.Determinant() < 0) t.scale.x = -t.scale.x;
    const auto axis = [](const Vector& v, Float s) { return s != 0 ? v / s : v; };
    const Vector a = axis(m.v1, t.scale.x), b = axis(m.v2, t.scale.y), c = axis(m.v3, t.scale.z);
    // The largest of the four components first, so that nothing is divided by almost nothing.
    const Float trace = a.x + b.y + c.z;
    Quaternion& q = t.rotation;
    if (trace > 0) {
        const Float s = 2 * std::sqrt(trace + 1);
        q = {(b.z - c.y) / s, (c.x - a.z) / s, (a.y - b.x) / s, s / 4};
    } else if (a.x > b.y && a.x > c.z) {
        const Float s = 2 * std::sqrt(std::max(1e-30, 1 + a.x - b.y - c.z));
        q = {s / 4, (b.x + a.y) / s, (c.x + a.z) / s, (b.z - c.y) / s};
    } else if (b.y > c.z) {
        const Float s = 2 * std::sqrt(std::max(1e-30, 1 + b.y - a.x - c.z));
        q = {(b.x + a.y) / s, s / 4, (c.y + b.z) / s, (c.x - a.z) / s};
    } else {
        const Float s = 2 * std::sqrt(std::max(1e-30, 1 + c.z - a.x - b.y));
        q = {(c.x + a.z) / s, (c.y + b.z) / s, s / 4, (a.y - b.x) / s};
    }
    return t;
}

void addTrack(BaseObject& object, const NodeAnimation& animation, const Transform& rest, Context& context) {
    const Float fps = context.document.GetFps();
    std::vector<Float> times;
    Float first = 1e30, last = -1e30;
    bool curves = false, onlySteps = true;
    for (const Sampler* s : {&animation.translation, &animation.rotation, &animation.scale}) {
        if (s->empty()) continue;
        first = std::min(first, s->times.front());
        last = std::max(last, s->times.back());
        onlySteps &= s->kind == Sampler::Kind::Step;
    }
    for (const Sampler* s : {&animation.translation, &animation.rotation, &animation.scale}) {
        if (s->empty()) continue;
        times.insert(times.end(), s->times.begin(), s->times.end());
        curves |= s->kind == Sampler::Kind::Cubic;
        if (s->kind == Sampler::Kind::Step && !onlySteps)
            for (const Float t : s->times)
                if (t - kBeforeJump > first) times.push_back(t - kBeforeJump);
    }
    if (curves && (last - first) * fps < static_cast<Float>(kMostKeys))
        for (Float frame = std::ceil(first * fps); frame / fps < last; ++frame) times.push_back(frame / fps);
    std::sort(times.begin(), times.end());
    times.erase(std::unique(times.begin(), times.end()), times.end());
    if (times.size() > kMostKeys) {
        context.warn("an animation with too many keys was cut off");
        times.resize(kMostKeys);
    }
    BaseTrack* track = BaseTrack::Alloc(DescID(ID_BASEOBJECT_REL_MATRIX));
    const auto interpolation = onlySteps ? BaseTrack::Interpolation::Step : BaseTrack::Interpolation::Linear;
    for (const Float time : times) {
        const Matrix m = toHost(animation.at(time, rest).matrix());
        if (isFinite(m)) track->SetKey({BaseTime(time), GeData(m), interpolation});
    }
    object.InsertTrack(track);
    if (const Matrix m = toHost(animation.at(0, rest).matrix()); isFinite(m)) object.SetMl(m);
}

void setTimeRange(Context& context, Float lastKey) {
    if (!(lastKey > 0) || lastKey > 1e6) return;
    BaseDocument& document = context.document;
    const Int32 fps = document.GetFps();
    document.SetMinTime(BaseTime());
    document.SetMaxTime(
        BaseTime::FromFrame(std::max<Int64>(1, static_cast<Int64>(std::ceil(lastKey * fps - 1e-6))), fps));
}

}  // namespace host::importer
