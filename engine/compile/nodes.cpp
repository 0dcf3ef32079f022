#include "engine/compile/nodes.h"

namespace Lumora::engine {

bool toVector(const Value& value, Float3& out) {
    if (const auto* v = std::get_if<float>(&value)) {
        out = splat(*v);
    } else if (const auto* v = std::get_if<Vec3<float>>(&value)) {
        out = *v;
    } else if (const auto* v = std::get_if<int>(&value)) {
        out = splat(static_cast<float>(*v));
    } else if (const auto* v = std::get_if<bool>(&value)) {
        out = splat(*v ? 1.0f : 0.0f);
    } else if (const auto* v = std::get_if<Vec2<float>>(&value)) {
        out = {v->x, v->y, 0.0f};
    } else if (const auto* v = std::get_if<Vec2<int>>(&value)) {
        out = {static_cast<float>(v->x), static_cast<float>(v->y), 0.0f};
    } else if (const auto* v = std::get_if<SharedArray<Vec3<float>>>(&value); v && *v && !(*v)->empty()) {
        out = (*v)->front();  // an animated value at the start of its time
    } else {
        return false;
    }
    return true;
}

std::size_t timeSamples(const NodeRecord& node, AttributeId id) {
    for (const AttributeRecord& a : node.attributes) {
        if (a.id == id) return a.sampling ? std::max<std::size_t>(a.sampling->times.size(), 1) : 1;
    }
    return 1;
}

Float3 NodeTable::vector(const NodeRecord& node, PinId id, Float3 fallback) const {
    const PinRecord* pin = node.pin(id);
    if (!pin) return fallback;
    Float3 out;
    if (pin->input) {
        const NodeRecord* source = find(pin->input);
        const Value* value = source ? source->attribute(A_VALUE) : nullptr;
        if (value && toVector(*value, out) && isFinite(out)) return out;
    }
    return toVector(pin->value, out) && isFinite(out) ? out : fallback;
}

int NodeTable::integer(const NodeRecord& node, PinId id, int fallback) const {
    const PinRecord* pin = node.pin(id);
    if (!pin) return fallback;
    const auto read = [](const Value& value, int& out) {
        if (const auto* v = std::get_if<int>(&value)) return out = *v, true;
        if (const auto* v = std::get_if<bool>(&value)) return out = *v, true;
        if (const auto* v = std::get_if<float>(&value)) {
            out = std::abs(*v) < 2e9f ? static_cast<int>(*v) : 0;
            return true;
        }
        return false;
    };
    int out = 0;
    if (pin->input) {
        const NodeRecord* source = find(pin->input);
        const Value* value = source ? source->attribute(A_VALUE) : nullptr;
        if (value && read(*value, out)) return out;
    }
    return read(pin->value, out) ? out : fallback;
}

namespace {

Matrix<float> rotation(Float3 degrees) {
    const Float3 r = degrees * (kPi / 180.0f);
    const auto axis = [](int a, float angle) {
        const int b = (a + 1) % 3, c = (a + 2) % 3;
        Matrix<float> m;
        m.m[b][b] = m.m[c][c] = std::cos(angle);
        m.m[c][b] = std::sin(angle);
        m.m[b][c] = -m.m[c][b];
        return m;
    };
    return multiply(axis(1, r.y), multiply(axis(0, r.x), axis(2, r.z)));
}

}  // namespace

Matrix<float> readTransform(const NodeTable& nodes, const NodeRecord* node) {
    if (!node) return {};
    Float3 rotate{}, scale = splat(1.0f), move{};
    const auto attribute = [node](AttributeId id, Float3 fallback) {
        Float3 v;
        const Value* value = node->attribute(id);
        return value && toVector(*value, v) && isFinite(v) ? v : fallback;
    };
    switch (node->type) {
        case NT_TRANSFORM_VALUE:
            rotate = attribute(A_ROTATION, rotate);
            scale = attribute(A_SCALE, scale);
            move = attribute(A_TRANSLATION, move);
            break;
        case NT_TRANSFORM_3D:
            rotate = nodes.vector(*node, P_ROTATION, rotate);
            scale = nodes.vector(*node, P_SCALE, scale);
            move = nodes.vector(*node, P_TRANSLATION, move);
            break;
        case NT_TRANSFORM_2D:
            rotate.z = nodes.number(*node, P_ROTATION, 0.0f);
            scale = nodes.vector(*node, P_SCALE, scale);
            scale.z = 1.0f;
            move = nodes.vector(*node, P_TRANSLATION, move);
            move.z = 0.0f;
            break;
        case NT_TRANSFORM_SCALE:
            scale = nodes.vector(*node, P_SCALE, scale);
            break;
        case NT_TRANSFORM_ROTATION:
            rotate = nodes.vector(*node, P_ROTATION, rotate);
            break;
        default:
            return {};
    }
    Matrix<float> m = rotation(rotate);
    const float s[3] = {scale.x, scale.y, scale.z}, t[3] = {move.x, move.y, move.z};
    for (int row = 0; row < 3; ++row) {
        for (int c = 0; c < 3; ++c) m.m[row][c] *= s[c];
        m.m[row][3] = t[row];
    }
    return m;
}

}  // namespace Lumora::engine
