#include "engine/render/texture.h"

namespace Lumora::engine {

namespace {

Float3 box(Float3 p, Float3 n) {
    const Float3 a = {std::abs(n.x), std::abs(n.y), std::abs(n.z)};
    Float3 uv;
    if (a.x >= a.y && a.x >= a.z) {
        uv = {n.x < 0.0f ? p.z : -p.z, p.y, p.x};
    } else if (a.y >= a.z) {
        uv = {p.x, n.y < 0.0f ? p.z : -p.z, p.y};
    } else {
        uv = {n.z < 0.0f ? -p.x : p.x, p.y, p.z};
    }
    return {0.5f + 0.5f * uv.x, 0.5f + 0.5f * uv.y, uv.z};
}

/// Hue rotation about the grey axis (in half turns), saturation about the luminance.
Float3 shiftHueAndSaturation(Float3 c, float hue, float saturation) {
    if (hue != 0.0f) {
        const float angle = hue * kPi, cosA = std::cos(angle), sinA = std::sin(angle);
        const Float3 axis = splat(0.57735027f);
        c = c * cosA + cross(axis, c) * sinA + axis * (dot(axis, c) * (1.0f - cosA));
    }
    return saturation == 1.0f ? c : lerp(splat(luminance(c)), c, saturation);
}

Float3 powEach(Float3 c, float e) {
    const auto f = [e](float v) { return v > 0.0f ? std::pow(v, e) : 0.0f; };
    return {f(c.x), f(c.y), f(c.z)};
}

}  // namespace

Float3 project(const Projection& projection, const TextureContext& at) {
    if (projection.kind == ProjectionKind::Uvw) {
        const Float3 uv = at.uv[projection.uvSet];
        return projection.transformed ? transformPoint(projection.toTexture, uv) : uv;
    }
    const bool object = projection.space == CoordinateSpace::Object;
    Float3 p = object ? at.objectPosition : at.worldPosition, n = object ? at.objectNormal : at.worldNormal;
    if (projection.transformed) {
        p = transformPoint(projection.toTexture, p);
        n = transformVector(projection.toTexture, n);
    }
    switch (projection.kind) {
        case ProjectionKind::Flat:
            return {0.5f + 0.5f * p.x, 0.5f + 0.5f * p.y, p.z};
        case ProjectionKind::Box:
            return box(p, n);
        case ProjectionKind::Spherical: {
            const float r = length(p);
            const float v = r > 0.0f ? std::acos(std::clamp(p.y / r, -1.0f, 1.0f)) * kInvPi : 0.5f;
            return {0.5f + std::atan2(p.x, -p.z) * (0.5f * kInvPi), 1.0f - v, r};
        }
        case ProjectionKind::Cylindrical:
            return {0.5f + std::atan2(p.x, -p.z) * (0.5f * kInvPi), 0.5f + 0.5f * p.y, std::hypot(p.x, p.z)};
        case ProjectionKind::Uvw:
            break;
    }
    return p;
}

TextureContext TextureContext::moved(float first, float second) const {
    TextureContext r = *this;
    r.worldPosition += worldAxis[0] * first + worldAxis[1] * second;
    r.objectPosition += objectAxis[0] * first + objectAxis[1] * second;
    for (int set = 0; set < 3; ++set) {
        r.uv[set].x += uvAxis[set][0].x * first + uvAxis[set][1].x * second;
        r.uv[set].y += uvAxis[set][0].y * first + uvAxis[set][1].y * second;
    }
    return r;
}

Float3 TextureTable::color(TextureId id, const TextureContext& at) const {
    if (id == kNoTexture) return {};
    const TextureNode& node = nodes[id];
    if (node.op == TextureOp::Constant) return node.value;
    const Float3 r = evaluate(node, at);
    return node.power == kNoTexture ? r : r * color(node.power, at);
}

Float3 TextureTable::image(const TextureNode& node, const TextureContext& at) const {
    if (!node.image) return node.value;
    Float3 uv = project(node.projection, at);
    if (node.transformed) uv = transformPoint(node.uvwToTexture, uv);
    const float* table = node.byteTable ? node.byteTable->data() : nullptr;
    const Rgba s = node.image->sample(uv.x, uv.y, node.border, table, node.gamma);
    Float3 r = s.color;
    if (node.channel == ImageChannel::Alpha) r = splat(s.alpha);
    if (node.channel == ImageChannel::Grey) r = splat(luminance(s.color));
    return node.invert ? splat(1.0f) - r : r;
}

Float3 TextureTable::evaluate(const TextureNode& node, const TextureContext& at) const {
    switch (node.op) {
        case TextureOp::Constant:
            return node.value;
        case TextureOp::Image:
            return image(node, at);
        case TextureOp::Multiply:
            return color(node.a, at) * color(node.b, at);
        case TextureOp::Add:
            return color(node.a, at) + color(node.b, at);
        case TextureOp::Subtract:
            return color(node.a, at) - color(node.b, at);
        case TextureOp::Mix:
        case TextureOp::CosineMix: {
            float t = clamp01(scalar(node.c, at));
            if (node.op == TextureOp::CosineMix) t = 0.5f - 0.5f * std::cos(t * kPi);
            return lerp(color(node.a, at), color(node.b, at), t);
        }
        case TextureOp::Invert:
            return splat(1.0f) - color(node.a, at);
        case TextureOp::Clamp: {
            const Float3 v = color(node.a, at);
            const float lo = scalar(node.b, at), hi = std::max(lo, scalar(node.c, at));
            return {std::clamp(v.x, lo, hi), std::clamp(v.y, lo, hi), std::clamp(v.z, lo, hi)};
        }
        case TextureOp::ColorCorrection: {
            Float3 v = color(node.a, at);
            if (node.invert) v = splat(1.0f) - v;
            v = shiftHueAndSaturation(v, node.p[0], node.p[1]) * scalar(node.b, at);
            if (node.p[3] != 1.0f) v = powEach(v, node.p[3]);
            return splat(0.5f) + (v - splat(0.5f)) * (1.0f + node.p[2]);
        }
        case TextureOp::Checks: {
            Float3 uv = project(node.projection, at);
            if (node.transformed) uv = transformPoint(node.uvwToTexture, uv);
            const int parity =
                (static_cast<int>(std::floor(2.0f * uv.x)) + static_cast<int>(std::floor(2.0f * uv.y))) & 1;
            return splat(parity ? 1.0f : 0.0f);
        }
        case TextureOp::UvwTransform: {
            TextureContext moved = at;
            for (Float3& uv : moved.uv) uv = transformPoint(node.uvwToTexture, uv);
            return color(node.a, moved);
        }
        case TextureOp::Side:
            return splat(at.frontFace != node.invert ? 1.0f : 0.0f);
    }
    return {};
}

Float3 TextureTable::mean(TextureId id) const {
    if (id == kNoTexture) return {};
    const TextureNode& node = nodes[id];
    Float3 r;
    if (node.op == TextureOp::Image && node.image) {
        r = node.image->meanColor(node.byteTable ? node.byteTable->data() : nullptr, node.gamma);
        if (node.invert) r = splat(1.0f) - r;
    } else if (node.op == TextureOp::Constant) {
        return node.value;
    } else if (node.op == TextureOp::Checks || node.op == TextureOp::Side) {
        r = splat(0.5f);
    } else {
        // Evaluated with the means of its inputs: right for the linear operations, near enough for the others.
        TextureTable means;
        TextureNode copy = node;
        TextureId* inputs[] = {&copy.a, &copy.b, &copy.c};
        for (TextureId* input : inputs) {
            if (*input == kNoTexture) continue;
            TextureNode constant;
            constant.value = mean(*input);
            *input = static_cast<TextureId>(means.nodes.size());
            means.nodes.push_back(constant);
        }
        r = means.evaluate(copy, {});
    }
    return node.power == kNoTexture ? r : r * mean(node.power);
}

}  // namespace Lumora::engine
