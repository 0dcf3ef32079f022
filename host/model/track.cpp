// Keyframe animation.
#include <algorithm>
#include <cmath>

#include "host/model/list_access.h"
#include "host/model/same_value.h"

namespace host {
namespace {

/// A rotation as a unit quaternion, for interpolation.
struct Quaternion {
    Float w = 1, x = 0, y = 0, z = 0;
};

/// Shepperd's method: the largest component first, so that no division is by a small number.
Quaternion fromMatrix(const Vector& a, const Vector& b, const Vector& c) {
    const Float trace = a.x + b.y + c.z;
    Quaternion q;
    if (trace > 0) {
        const Float s = std::sqrt(trace + 1) * 2;
        q = {s / 4, (b.z - c.y) / s, (c.x - a.z) / s, (a.y - b.x) / s};
    } else if (a.x > b.y && a.x > c.z) {
        const Float s = std::sqrt(1 + a.x - b.y - c.z) * 2;
        q = {(b.z - c.y) / s, s / 4, (b.x + a.y) / s, (c.x + a.z) / s};
    } else if (b.y > c.z) {
        const Float s = std::sqrt(1 + b.y - a.x - c.z) * 2;
        q = {(c.x - a.z) / s, (b.x + a.y) / s, s / 4, (c.y + b.z) / s};
    } else {
        const Float s = std::sqrt(1 + c.z - a.x - b.y) * 2;
        q = {(a.y - b.x) / s, (c.x + a.z) / s, (c.y + b.z) / s, s / 4};
    }
    return q;
}

void toAxes(const Quaternion& q, Vector* a, Vector* b, Vector* c) {
    *a = {1 - 2 * (q.y * q.y + q.z * q.z), 2 * (q.x * q.y + q.w * q.z), 2 * (q.x * q.z - q.w * q.y)};
    *b = {2 * (q.x * q.y - q.w * q.z), 1 - 2 * (q.x * q.x + q.z * q.z), 2 * (q.y * q.z + q.w * q.x)};
    *c = {2 * (q.x * q.z + q.w * q.y), 2 * (q.y * q.z - q.w * q.x), 1 - 2 * (q.x * q.x + q.y * q.y)};
}

/// Spherical linear interpolation (Shoemake 1985), along the shorter way.
Quaternion slerp(const Quaternion& a, Quaternion b, Float t) {
    Float cosine = a.w * b.w + a.x * b.x + a.y * b.y + a.z * b.z;
    if (cosine < 0) {
        b = {-b.w, -b.x, -b.y, -b.z};
        cosine = -cosine;
    }
    Float left = 1 - t, right = t;
    if (cosine < 0.9999) {
        const Float angle = std::acos(cosine), sine = std::sin(angle);
        left = std::sin(left * angle) / sine;
        right = std::sin(right * angle) / sine;
    }
    Quaternion q{a.w * left + b.w * right, a.x * left + b.x * right, a.y * left + b.y * right,
                 a.z * left + b.z * right};
    const Float length = std::sqrt(q.w * q.w + q.x * q.x + q.y * q.y + q.z * q.z);
    return {q.w / length, q.x / length, q.y / length, q.z / length};
}

/// Position, axis lengths and rotation go separately; a matrix that has no rotation (a zero or mirrored axis) goes
/// number by number.
Matrix interpolate(const Matrix& a, const Matrix& b, Float t) {
    const auto mix = [t](const Vector& left, const Vector& right) { return left * (1 - t) + right * t; };
    if (!(a.Determinant() > 0) || !(b.Determinant() > 0)) {
        return {mix(a.off, b.off), mix(a.v1, b.v1), mix(a.v2, b.v2), mix(a.v3, b.v3)};
    }
    const auto rotation = [](const Matrix& m) {
        const Vector z = m.v3.GetNormalized();
        const Vector y = (m.v2 - z * Dot(m.v2, z)).GetNormalized();
        return fromMatrix(Cross(y, z), y, z);
    };
    const Vector scale = mix(a.GetScale(), b.GetScale());
    Matrix result;
    toAxes(slerp(rotation(a), rotation(b), t), &result.v1, &result.v2, &result.v3);
    result.v1 *= scale.x;
    result.v2 *= scale.y;
    result.v3 *= scale.z;
    result.off = mix(a.off, b.off);
    return result;
}

}  // namespace

BaseTrack::BaseTrack(const DescID& id) : BaseList2D(NodeFamily::Track, Ctrack), parameter_(id) {}

BaseTrack* BaseTrack::Alloc(const DescID& id) {
    return new BaseTrack(id);
}

void BaseTrack::SetKey(Key key) {
    auto place = keys_.end();
    if (!keys_.empty() && !(keys_.back().time < key.time)) {
        place = std::lower_bound(keys_.begin(), keys_.end(), key.time,
                                 [](const Key& k, const BaseTime& time) { return k.time < time; });
    }
    if (place != keys_.end() && place->time == key.time) {
        *place = std::move(key);
    } else {
        keys_.insert(place, std::move(key));
    }
    ListAccess::raise(*this, DIRTYFLAGS_DATA);
}

GeData BaseTrack::GetValue(const BaseTime& time) const {
    if (keys_.empty()) return {};
    const auto after =
        std::upper_bound(keys_.begin(), keys_.end(), time, [](const BaseTime& t, const Key& k) { return t < k.time; });
    if (after == keys_.begin()) return keys_.front().value;
    const Key& left = *(after - 1);
    if (after == keys_.end() || left.interpolation == Interpolation::Step) return left.value;
    const Key& right = *after;
    const Float span = right.time.Get() - left.time.Get();
    const Float t = span > 0 ? (time.Get() - left.time.Get()) / span : 0;

    const DataType type = left.value.GetType();
    if (type == DataType::Vector && right.value.GetType() == type) {
        return GeData(left.value.GetVector() * (1 - t) + right.value.GetVector() * t);
    }
    if (type == DataType::Matrix && right.value.GetType() == type) {
        return GeData(interpolate(left.value.GetMatrix(), right.value.GetMatrix(), t));
    }
    const Bool numbers = (type == DataType::Float || type == DataType::Int) &&
                         (right.value.GetType() == DataType::Float || right.value.GetType() == DataType::Int);
    if (!numbers) return left.value;
    const Float a = left.value.GetFloat(), b = right.value.GetFloat();
    Float value = a + (b - a) * t;
    if (left.interpolation == Interpolation::Spline) {
        // Cubic Hermite: the slopes are values per second.
        const Float t2 = t * t, t3 = t2 * t;
        value = (2 * t3 - 3 * t2 + 1) * a + (t3 - 2 * t2 + t) * span * left.rightSlope + (3 * t2 - 2 * t3) * b +
                (t3 - t2) * span * right.leftSlope;
    }
    if (type == DataType::Int) return GeData(GeData(std::floor(value + 0.5)).GetInt64());
    return GeData(value);
}

}  // namespace host
