#include "engine/render/texture.h"

#include "engine/render/textures/noise.h"
#include "engine/render/textures/patterns.h"
#include "engine/render/textures/point_textures.h"

namespace Lumora::engine {

namespace {

/// Hue rotation about the grey axis (in half turns), saturation about the luminance.
Float3 shiftHueAndSaturation(Float3 c, float hue, float saturation) {
    if (hue != 0.0f) {
        const float angle = hue * kPi, cosA = std::cos(angle), sinA = std::sin(angle);
        const Float3 axis = splat(0.57735027f);
        c = c * cosA + cross(axis, c) * sinA + axis * (dot(axis, c) * (1.0f - cosA));
    }
    return saturation == 1.0f ? c : lerp(splat(luminance(c)), c, saturation);
}

float powPositive(float v, float e) {
    return v > 0.0f ? std::pow(v, e) : 0.0f;
}

Float3 powEach(Float3 c, float e) {
    return {powPositive(c.x, e), powPositive(c.y, e), powPositive(c.z, e)};
}

float bend(float v, float gamma, bool invert) {
    if (gamma != 1.0f) v = powPositive(v, gamma);
    return invert ? 1.0f - v : v;
}

}  // namespace

float applyContrast(float v, float contrast) {
    if (!(contrast > 1e-3f) || !(v > 0.0f) || !(v < 1.0f)) return v;
    // A logistic curve, scaled to pass through 0 and 1.
    const float k = 0.5f * std::min(contrast, 160.0f);
    const float low = 1.0f / (1.0f + std::exp(k)), high = 1.0f - low;
    return (1.0f / (1.0f + std::exp(-2.0f * k * (v - 0.5f))) - low) / (high - low);
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

Float3 TextureTable::powered(const TextureNode& node, const TextureContext& at) const {
    const Float3 r = evaluate(node, at);
    return node.power == kNoTexture ? r : r * color(node.power, at);
}

MappedPoint TextureTable::mapped(const TextureNode& node, const TextureContext& at) const {
    if (node.mapping != kNoTexture) return mapPoint(mappings[node.mapping], at);
    MappedPoint r;
    r.uvw = at.uv[0];
    for (int i = 0; i < 2; ++i) r.axis[i] = {at.uvAxis[0][i].x, at.uvAxis[0][i].y, 0.0f};
    return r;
}

Float3 TextureTable::image(const TextureNode& node, const TextureContext& at) const {
    if (node.data == kNoTexture) return node.value;
    const MappedPoint p = mapped(node, at);
    const Rgba s =
        sampleImage(images[node.data], {p.uvw.x, p.uvw.y}, {p.axis[0].x, p.axis[0].y}, {p.axis[1].x, p.axis[1].y});
    Float3 r = s.color;
    const auto channel = static_cast<ImageChannel>(node.kind);
    if (channel == ImageChannel::Alpha) r = splat(s.alpha);
    if (channel == ImageChannel::Grey) r = splat(luminance(s.color));
    return node.invert ? splat(1.0f) - r : r;
}

Float3 TextureTable::colorCorrection(const TextureNode& node, const TextureContext& at) const {
    Float3 v = color(node.a, at);
    if (node.invert) v = splat(1.0f) - v;
    v = shiftHueAndSaturation(v, node.p[0], node.p[1]) * scalar(node.b, at);
    if (node.p[3] != 1.0f) v = powEach(v, node.p[3]);
    return {applyContrast(v.x, node.p[2]), applyContrast(v.y, node.p[2]), applyContrast(v.z, node.p[2])};
}

Float3 TextureTable::triplanar(const TriplanarMap& map, const TextureContext& at) const {
    const SpacePoint p = spacePoint(map.space, map.placement, at);
    const Float3 n = normalize(p.normal);
    const float along[3] = {n.x, n.y, n.z};
    float angle[3], least = kInfinity;
    for (int i = 0; i < 3; ++i) {
        angle[i] = std::acos(std::min(std::abs(along[i]), 1.0f));
        least = std::min(least, angle[i]);
    }
    Float3 sum{};
    float weights = 0.0f;
    TextureContext side = at;
    for (int i = 0; i < 3; ++i) {
        const float beyond = angle[i] - least;
        const float weight = beyond <= 0.0f ? 1.0f : map.blendAngle > 0.0f ? 1.0f - beyond / map.blendAngle : 0.0f;
        if (!(weight > 0.0f)) continue;
        const bool negative = along[i] < 0.0f;
        MappedPoint q;
        q.uvw = boxFace(p.position, i, negative);
        for (int k = 0; k < 2; ++k) q.axis[k] = boxFace(p.position + p.axis[k], i, negative) - q.uvw;
        side.triplanar = &q;
        sum += color(map.face[2 * i + (negative ? 1 : 0)], side) * weight;
        weights += weight;
    }
    return sum * (1.0f / weights);
}

Float3 TextureTable::rampValue(const Gradient& g, float position, const TextureContext& at) const {
    if (!(position >= 0.0f)) position = 0.0f;
    position = std::min(position, 1.0f);
    const auto value = [&](std::size_t k) {
        const Gradient::Knot& knot = g.knots[k];
        return knot.valueTexture == Gradient::kPlain ? knot.value : color(knot.valueTexture, at);
    };
    GradientSpan span;
    if (!g.movingKnots) {
        span = findSpan(g.knots, position);
    } else {
        // Knots that move with the place: the nearest on either side.
        float low = -kInfinity, high = kInfinity;
        for (std::size_t k = 0; k < g.knots.size(); ++k) {
            const Gradient::Knot& knot = g.knots[k];
            const float p = knot.positionTexture == Gradient::kPlain ? knot.position : scalar(knot.positionTexture, at);
            if (p <= position && p >= low) {
                low = p;
                span.first = k;
            }
            if (p > position && p < high) {
                high = p;
                span.second = k;
            }
        }
        if (low == -kInfinity) span.first = span.second;
        if (high == kInfinity) span.second = span.first;
        span.width = high - low;
        span.t = std::isfinite(span.width) && span.width > 0.0f ? (position - low) / span.width : 0.0f;
    }
    auto kind = g.interpolation;
    if (kind == GradientInterpolation::Constant) return value(span.first);
    if (span.first == span.second) return value(span.first);
    const bool cubic = !g.slopes.empty();
    if (kind == GradientInterpolation::Spline && !cubic) kind = GradientInterpolation::Smooth;
    return interpolate(kind, span, value(span.first), value(span.second), cubic ? g.slopes[span.first] : Float3{},
                       cubic ? g.slopes[span.second] : Float3{});
}

Float3 TextureTable::ramp(TextureId id, float position, const TextureContext& at) const {
    if (id == kNoTexture) return {};
    const TextureNode& node = nodes[id];
    if (node.op != TextureOp::Gradient) return color(id, at);
    return rampValue(gradients[node.data], position, at);
}

Float3 TextureTable::fractal(const TextureNode& node, const TextureContext& at) const {
    const MappedPoint q = mapped(node, at);
    const float radius = q.radius();
    Octaves octaves;
    octaves.count = static_cast<int>(node.p[0]);
    float v = 0.0f;
    switch (node.op) {
        case TextureOp::Turbulence: {
            octaves.gain = clamp01(scalar(node.c, at));
            v = node.flag ? 2.0f * turbulence(q.uvw, octaves, radius) : 0.5f + fractalNoise(q.uvw, octaves, radius);
            v = bend(clamp01(v + scalar(node.b, at)), node.p[1], node.invert);
            break;
        }
        case TextureOp::Marble:
            octaves.gain = clamp01(scalar(node.c, at));
            v = marble(q, scalar(node.b, at), scalar(node.d, at), octaves);
            break;
        case TextureOp::Ridged:
            octaves.lacunarity = std::max(scalar(node.c, at), 1.0f);
            v = ridgedNoise(q.uvw, octaves, scalar(node.b, at), radius);
            break;
        default: {
            octaves.gain = node.p[1];
            switch (node.kind) {
                case 1:
                    v = 2.0f * turbulence(q.uvw, octaves, radius);
                    break;
                case 2:
                    v = circularNoise(q.uvw, octaves, radius);
                    break;
                case 3:
                    v = chipNoise(q.uvw, octaves, radius);
                    break;
                default:
                    v = 0.5f + fractalNoise(q.uvw, octaves, radius);
                    break;
            }
            return splat(bend(applyContrast(clamp01(v), node.p[2]), node.p[3], node.invert));
        }
    }
    return splat(v) * color(node.a, at);
}

Float3 TextureTable::uvwTransform(const TextureNode& node, const TextureContext& at) const {
    const Matrix<float>& m = mappings[node.mapping].uvwToTexture;
    TextureContext moved = at;
    for (int set = 0; set < 3; ++set) {
        moved.uv[set] = transformPoint(m, moved.uv[set]);
        for (Float2& axis : moved.uvAxis[set]) {
            const Float3 turned = transformVector(m, {axis.x, axis.y, 0.0f});
            axis = {turned.x, turned.y};
        }
    }
    return color(node.a, moved);
}

/// What is more than a combination of inputs. Apart from evaluate(), whose frame stays small: trees are deep.
Float3 TextureTable::pattern(const TextureNode& node, const TextureContext& at) const {
    switch (node.op) {
        case TextureOp::ColorCorrection:
            return colorCorrection(node, at);
        case TextureOp::UvwTransform:
            return uvwTransform(node, at);
        case TextureOp::Triplanar:
            return triplanar(triplanars[node.data], at);
        case TextureOp::Gradient:
            return rampValue(gradients[node.data], node.a == kNoTexture ? at.uv[0].x : scalar(node.a, at), at);
        case TextureOp::Checks:
            return splat(checks(mapped(node, at)));
        case TextureOp::SawWave:
        case TextureOp::TriangleWave:
        case TextureOp::SineWave:
            return splat(wave(node.op, mapped(node, at), scalar(node.a, at)));
        case TextureOp::Turbulence:
        case TextureOp::Marble:
        case TextureOp::Ridged:
        case TextureOp::Noise:
            return fractal(node, at);
        case TextureOp::W:
            return splat(at.uv[0].z);
        case TextureOp::Falloff:
            return splat(falloffAt(node, at));
        case TextureOp::Side:
            return splat(at.frontFace != node.invert ? 1.0f : 0.0f);
        case TextureOp::Dirt:
            return splat(dirtAt(node, at));
        case TextureOp::RandomColor:
            return randomColorAt(static_cast<std::uint32_t>(node.p[0]), at);
        case TextureOp::InstanceRange:
            return splat(node.p[0] > 0.0f ? clamp01(static_cast<float>(instanceIdAt(at)) / node.p[0]) : 0.0f);
        case TextureOp::InstanceColor: {
            if (node.data == kNoTexture) return node.value;
            const Float3 c = pixelOf(images[node.data], instanceIdAt(at)).color;
            return node.invert ? splat(1.0f) - c : c;
        }
        case TextureOp::Gaussian:
            return gaussianColor(scalar(node.a, at), scalar(node.b, at)) * scalar(node.c, at);
        default:
            return {};
    }
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
            if (t <= 0.0f) return color(node.a, at);
            if (t >= 1.0f) return color(node.b, at);
            return lerp(color(node.a, at), color(node.b, at), t);
        }
        case TextureOp::Compare:
            return color(scalar(node.a, at) < scalar(node.b, at) ? node.c : node.d, at);
        case TextureOp::Invert:
            return splat(1.0f) - color(node.a, at);
        case TextureOp::Clamp: {
            const Float3 v = color(node.a, at);
            const float lo = scalar(node.b, at), hi = std::max(lo, scalar(node.c, at));
            return {std::clamp(v.x, lo, hi), std::clamp(v.y, lo, hi), std::clamp(v.z, lo, hi)};
        }
        default:
            return pattern(node, at);
    }
}

Float3 TextureTable::mean(TextureId id) const {
    if (isConstant(id)) return color(id, {});
    constexpr int kGrid = 12;
    constexpr float kStep = 1.0f / kGrid;
    Float3 sum{};
    for (int j = 0; j < kGrid; ++j) {
        for (int i = 0; i < kGrid; ++i) {
            TextureContext at;
            const Float3 p = {(static_cast<float>(i) + 0.5f) * kStep, (static_cast<float>(j) + 0.5f) * kStep, 0.0f};
            for (int set = 0; set < 3; ++set) {
                at.uv[set] = p;
                at.uvAxis[set][0] = {kStep, 0.0f};
                at.uvAxis[set][1] = {0.0f, kStep};
            }
            at.worldPosition = at.objectPosition = p * 2.0f - splat(1.0f);
            at.worldNormal = at.objectNormal = at.shadingNormal = {0, 0, 1};
            at.worldAxis[0] = at.objectAxis[0] = {kStep, 0, 0};
            at.worldAxis[1] = at.objectAxis[1] = {0, kStep, 0};
            at.view = {0, 0, -1};
            at.frontFace = ((i + j) & 1) == 0;
            const Float3 c = color(id, at);
            if (isFinite(c)) sum += c;
        }
    }
    return sum * (kStep * kStep);
}

std::uint32_t TextureTable::largestImage() const {
    std::uint32_t edge = 0;
    for (const ImageLookup& lookup : images) {
        if (lookup.image) edge = std::max({edge, lookup.image->width(), lookup.image->height()});
    }
    return edge;
}

}  // namespace Lumora::engine
