// What each type of texture node becomes in the table.
#include "engine/compile/texture_compiler.h"

namespace Lumora::engine {

namespace {

/// Shown where an image is missing: between the extremes, so that it neither hides nor blinds.
constexpr Float3 kMissing{0.5f, 0.5f, 0.5f};

bool isPlain(const TextureTable& table, TextureId id, Float3 value) {
    return table.isConstant(id) && table.color(id, {}) == value;
}

CoordinateSpace spaceOf(int value) {
    switch (value) {
        case 2:
            return CoordinateSpace::Camera;
        case 3:
        case 5:
            return CoordinateSpace::Object;
        case 4:
            return CoordinateSpace::Normal;
        default:
            return CoordinateSpace::World;
    }
}

}  // namespace

Matrix<float> uvwToTexture(const Matrix<float>& transform) {
    // The picture lies in the unit square and is scaled and turned about its middle before it is moved.
    Matrix<float> toMiddle, back;
    for (int row = 0; row < 2; ++row) {
        toMiddle.m[row][3] = -0.5f;
        back.m[row][3] = 0.5f;
    }
    Matrix<float> linear = transform, move;
    for (int row = 0; row < 3; ++row) {
        linear.m[row][3] = 0.0f;
        move.m[row][3] = transform.m[row][3];
    }
    return inverse(multiply(move, multiply(back, multiply(linear, toMiddle))));
}

float TextureCompiler::number(const NodeRecord& node, PinId pin, float fallback, float low, float high) const {
    return std::clamp(nodes_.number(node, pin, fallback), low, high);
}

void TextureCompiler::readPower(const NodeRecord& node, TextureNode& out) {
    const TextureId power = onPin(node, P_POWER, splat(1.0f));
    if (!isPlain(table_, power, splat(1.0f))) out.power = power;
}

void TextureCompiler::readProjection(const NodeRecord& source, Mapping& mapping) {
    switch (source.type) {
        case NT_PROJ_FLAT:
            mapping.kind = ProjectionKind::Flat;
            break;
        case NT_PROJ_PERSPECTIVE:
            mapping.kind = ProjectionKind::Perspective;
            break;
        case NT_PROJ_BOX:
            mapping.kind = ProjectionKind::Box;
            break;
        case NT_PROJ_TRIPLANAR:
            mapping.kind = ProjectionKind::Triplanar;
            break;
        case NT_PROJ_SPHERICAL:
            mapping.kind = ProjectionKind::Spherical;
            break;
        case NT_PROJ_CYLINDRICAL:
            mapping.kind = ProjectionKind::Cylindrical;
            break;
        default:
            break;
    }
    mapping.uvSet = static_cast<std::uint8_t>(std::clamp(nodes_.integer(source, P_UV_SET, 1), 1, 3) - 1);
    mapping.space = spaceOf(nodes_.integer(source, P_COORDINATE_SPACE, 1));
    if (const NodeRecord* transform = nodes_.input(source, P_TRANSFORM)) {
        const Matrix<float> m = readTransform(nodes_, transform);
        mapping.placement = LocalSpace(mapping.kind == ProjectionKind::Uvw ? uvwToTexture(m) : inverse(m));
    }
}

void TextureCompiler::describeMapping(const NodeRecord& node, TextureNode& out) {
    Mapping mapping;
    if (const NodeRecord* source = nodes_.input(node, P_PROJECTION)) readProjection(*source, mapping);
    if (const NodeRecord* transform = nodes_.input(node, P_TRANSFORM)) {
        const Matrix<float> m = readTransform(nodes_, transform);
        mapping.transformed = m != Matrix<float>{};
        mapping.uvwToTexture = uvwToTexture(m);
    }
    const bool plain = mapping.kind == ProjectionKind::Uvw && mapping.uvSet == 0 && !mapping.placement.moved;
    if (plain && !mapping.transformed) return;
    out.mapping = table_.mappings.store(std::move(mapping), memory_.freeMappings_);
}

ImageLookup TextureCompiler::lookupOf(ImageTexturePtr image, float gamma, int border) {
    ImageLookup lookup;
    if (image->linear()) gamma = 1.0f;
    lookup.gamma = gamma;
    lookup.border = static_cast<BorderMode>(std::clamp(border, 0, 4));
    auto& table = memory_.decodeTables_[{image->format(), gamma}];
    if (!table) table = makeDecodeTable(image->format(), gamma);
    lookup.table = table;
    if (pyramids_) lookup.pyramid = images_.pyramidOf(image, gamma);
    lookup.image = std::move(image);
    return lookup;
}

void TextureCompiler::describeImage(const NodeRecord& node, TextureNode& out) {
    const bool instance = node.type == NT_TEX_INSTANCECOLOR;
    out.op = instance ? TextureOp::InstanceColor : TextureOp::Image;
    ImageChannel channel = ImageChannel::Color;
    if (node.type == NT_TEX_ALPHAIMAGE) channel = ImageChannel::Alpha;
    if (node.type == NT_TEX_FLOATIMAGE) channel = ImageChannel::Grey;
    out.kind = static_cast<std::uint8_t>(channel);
    out.value = kMissing;
    out.invert = nodes_.flag(node, P_INVERT, false);
    const float gamma = number(node, P_GAMMA, 2.2f, 0.01f, 100.0f);
    const int border = nodes_.integer(node, P_BORDER_MODE, 0);
    if (ImageTexturePtr image = images_.imageOf(node, log_)) {
        out.data = table_.images.store(lookupOf(std::move(image), gamma, border), memory_.freeImages_);
    }
    readPower(node, out);
}

void TextureCompiler::describeGradient(const NodeRecord& node, TextureNode& out) {
    out.op = TextureOp::Gradient;
    out.a = connected(node, P_INPUT);
    Gradient g;
    g.interpolation = static_cast<GradientInterpolation>(std::clamp(nodes_.integer(node, P_INTERPOLATION, 1), 0, 3));
    const auto setValue = [&](Gradient::Knot& knot, TextureId value) {
        if (table_.isConstant(value)) {
            knot.value = table_.color(value, {});
        } else {
            knot.valueTexture = value;
            g.plain = false;
        }
    };
    for (std::size_t k = node.staticPinCount; k + 1 < node.pins.size(); k += 2) {
        Gradient::Knot knot;
        const TextureId position = onPin(&node.pins[k], {});
        if (table_.isConstant(position)) {
            knot.position = clamp01(average(table_.color(position, {})));
        } else {
            knot.positionTexture = position;
            g.movingKnots = true;
            g.plain = false;
        }
        setValue(knot, onPin(&node.pins[k + 1], {}));
        g.knots.push_back(knot);
    }
    if (!g.movingKnots) {
        std::stable_sort(g.knots.begin(), g.knots.end(),
                         [](const Gradient::Knot& a, const Gradient::Knot& b) { return a.position < b.position; });
    }
    Gradient::Knot start, end;
    end.position = 1.0f;
    setValue(start, onPin(node, P_START, {}));
    setValue(end, onPin(node, P_END, splat(1.0f)));
    if (g.knots.empty() || g.knots.front().position > 0.0f || g.movingKnots) g.knots.insert(g.knots.begin(), start);
    if (g.knots.back().position < 1.0f || g.movingKnots) g.knots.push_back(end);
    if (g.interpolation == GradientInterpolation::Spline && g.plain) g.slopes = monotoneSlopes(g.knots);
    out.data = table_.gradients.store(std::move(g), memory_.freeGradients_);
}

void TextureCompiler::describeTriplanar(const NodeRecord& node, TextureNode& out) {
    out.op = TextureOp::Triplanar;
    TriplanarMap map;
    constexpr PinId kFaces[6] = {P_POSITIVE_X, P_NEGATIVE_X, P_POSITIVE_Y, P_NEGATIVE_Y, P_POSITIVE_Z, P_NEGATIVE_Z};
    for (int i = 0; i < 6; ++i) map.face[i] = onPin(node, kFaces[i], {});
    map.blendAngle = number(node, P_BLEND_ANGLE, 5.0f, 0.0f, 90.0f) * (kPi / 180.0f);
    map.space = spaceOf(nodes_.integer(node, P_COORDINATE_SPACE, 3));
    if (const NodeRecord* transform = nodes_.input(node, P_TRANSFORM)) {
        map.placement = LocalSpace(inverse(readTransform(nodes_, transform)));
    }
    out.data = table_.triplanars.store(std::move(map), memory_.freeTriplanars_);
}

void TextureCompiler::describeBaking(const NodeRecord& node, TextureNode& out) {
    const TextureId input = onPin(node, P_TEXTURE, {});
    out.op = TextureOp::Add;
    out.a = input;
    if (table_.isConstant(input) || !nodes_.flag(node, P_ENABLED, true)) return;
    if (waits(node.input(P_TEXTURE))) return;  // the picture would be another when all is there
    const Float3 size = nodes_.vector(node, P_RESOLUTION, splat(1024.0f));
    BakeSize bake;
    bake.width = static_cast<std::uint32_t>(std::clamp(size.x, 4.0f, 16384.0f));
    bake.height = static_cast<std::uint32_t>(std::clamp(size.y, 4.0f, 16384.0f));
    bake.samples = static_cast<std::uint32_t>(std::clamp(nodes_.integer(node, P_SIZE, 32), 1, 4096));
    const int type = nodes_.integer(node, P_TEXTURE_TYPE, 0);
    const PixelFormat format = type == 0 ? PixelFormat::Byte : type == 1 ? PixelFormat::Half : PixelFormat::Float;
    const float gamma = number(node, P_GAMMA, 2.2f, 0.1f, 8.0f);
    ImageTexturePtr image = bakeTexture(table_, input, bake, format, !nodes_.flag(node, P_RGB_BAKING, true), gamma);
    if (!image) return;
    images_.count(image);
    out.op = TextureOp::Image;
    out.a = kNoTexture;
    out.data = table_.images.store(lookupOf(std::move(image), gamma, nodes_.integer(node, P_BORDER_MODE, 0)),
                                   memory_.freeImages_);
    readPower(node, out);
    describeMapping(node, out);
}

bool TextureCompiler::describeOperator(const NodeRecord& node, TextureNode& out) {
    const auto inputs = [&](TextureOp op, PinId a, PinId b) {
        out.op = op;
        out.a = onPin(node, a, {});
        out.b = onPin(node, b, {});
    };
    switch (node.type) {
        case NT_TEX_MULTIPLY:
            inputs(TextureOp::Multiply, P_TEXTURE1, P_TEXTURE2);
            return true;
        case NT_TEX_ADD:
            inputs(TextureOp::Add, P_TEXTURE1, P_TEXTURE2);
            return true;
        case NT_TEX_SUBTRACT:
            inputs(TextureOp::Subtract, P_TEXTURE1, P_TEXTURE2);
            return true;
        case NT_TEX_MIX:
        case NT_TEX_COSINEMIX:
            inputs(node.type == NT_TEX_MIX ? TextureOp::Mix : TextureOp::CosineMix, P_TEXTURE1, P_TEXTURE2);
            out.c = onPin(node, P_AMOUNT, splat(0.5f));
            return true;
        case NT_TEX_COMPARE:
            inputs(TextureOp::Compare, P_TEXTURE1, P_TEXTURE2);
            out.c = onPin(node, P_TEXTURE3, {});
            out.d = onPin(node, P_TEXTURE4, {});
            return true;
        case NT_TEX_INVERT:
            out.op = TextureOp::Invert;
            out.a = onPin(node, P_TEXTURE, {});
            return true;
        case NT_TEX_CLAMP:
            inputs(TextureOp::Clamp, P_INPUT, P_START);
            out.c = onPin(node, P_END, splat(1.0f));
            return true;
        case NT_TEX_COLORCORRECTION:
            inputs(TextureOp::ColorCorrection, P_TEXTURE, P_TEXTURE);
            out.b = onPin(node, P_BRIGHTNESS, splat(1.0f));
            out.invert = nodes_.flag(node, P_INVERT, false);
            out.p = {number(node, P_HUE, 0.0f, -1e3f, 1e3f), number(node, P_SATURATION, 1.0f, 0.0f, 100.0f),
                     number(node, P_CONTRAST, 0.001f, 0.0f, 1000.0f), number(node, P_GAMMA, 1.0f, 0.01f, 100.0f)};
            return true;
        case NT_TEX_UVWTRANSFORM:
            out.op = TextureOp::Add;
            out.a = onPin(node, P_TEXTURE, {});
            describeMapping(node, out);
            if (out.mapping != kNoTexture) out.op = TextureOp::UvwTransform;
            return true;
        case NT_TEX_TRIPLANAR:
            describeTriplanar(node, out);
            return true;
        case NT_TEX_BAKING:
            describeBaking(node, out);
            return true;
        case NT_TEX_GRADIENT:
        case NT_TEX_TOONRAMP:
        case NT_TEX_VOLUMEGRADIENT:
            describeGradient(node, out);
            return true;
        default:
            return false;
    }
}

bool TextureCompiler::describePattern(const NodeRecord& node, TextureNode& out) {
    const float octaves = static_cast<float>(std::clamp(nodes_.integer(node, P_OCTAVES, 5), 1, 16));
    switch (node.type) {
        case NT_TEX_CHECKS:
            out.op = TextureOp::Checks;
            break;
        case NT_TEX_SAWWAVE:
        case NT_TEX_TRIANGLEWAVE:
        case NT_TEX_SINEWAVE:
            out.op = node.type == NT_TEX_SAWWAVE        ? TextureOp::SawWave
                     : node.type == NT_TEX_TRIANGLEWAVE ? TextureOp::TriangleWave
                                                        : TextureOp::SineWave;
            out.a = onPin(node, P_OFFSET, {});
            break;
        case NT_TEX_TURBULENCE:
            out.op = TextureOp::Turbulence;
            out.c = onPin(node, P_OMEGA, splat(0.5f));
            out.flag = nodes_.flag(node, P_TURBULENCE, true);
            out.invert = nodes_.flag(node, P_INVERT, false);
            out.p[1] = number(node, P_GAMMA, 1.0f, 0.01f, 100.0f);
            break;
        case NT_TEX_MARBLE:
            out.op = TextureOp::Marble;
            out.c = onPin(node, P_OMEGA, splat(0.5f));
            out.d = onPin(node, P_VARIANCE, splat(0.2f));
            break;
        case NT_TEX_RIDGEDFRACTAL:
            out.op = TextureOp::Ridged;
            out.c = onPin(node, P_LACUNARITY, splat(2.0f));
            break;
        case NT_TEX_NOISE:
            out.op = TextureOp::Noise;
            out.kind = static_cast<std::uint8_t>(std::clamp(nodes_.integer(node, P_NOISE_TYPE, 0), 0, 3));
            out.invert = nodes_.flag(node, P_INVERT, false);
            out.p = {octaves, number(node, P_OMEGA, 0.5f, 0.0f, 1.0f), number(node, P_CONTRAST, 0.001f, 0.0f, 1000.0f),
                     number(node, P_GAMMA, 1.0f, 0.01f, 100.0f)};
            break;
        default:
            return false;
    }
    if (out.op == TextureOp::Turbulence || out.op == TextureOp::Marble || out.op == TextureOp::Ridged) {
        out.p[0] = octaves;
        out.a = onPin(node, P_POWER, splat(1.0f));
        out.b = onPin(node, P_OFFSET, {});
    }
    describeMapping(node, out);
    return true;
}

bool TextureCompiler::describePoint(const NodeRecord& node, TextureNode& out) {
    switch (node.type) {
        case NT_TEX_FALLOFF: {
            out.op = TextureOp::Falloff;
            out.kind = static_cast<std::uint8_t>(std::clamp(nodes_.integer(node, P_MODE, 0), 0, 2));
            out.p = {number(node, P_NORMAL, 0.0f, 0.0f, 1.0f), number(node, P_GRAZING, 1.0f, 0.0f, 1.0f),
                     number(node, P_INDEX_FALLOFF, 6.0f, 0.1f, 15.0f), 0.0f};
            const Float3 direction = normalize(nodes_.vector(node, P_DIRECTION, {0, 1, 0}));
            out.value = direction != Float3{} ? direction : Float3{0, 1, 0};
            return true;
        }
        case NT_TEX_DIRT:
            out.op = TextureOp::Dirt;
            out.invert = nodes_.flag(node, P_INVERT_NORMAL, false);
            out.p = {number(node, P_STRENGTH, 1.0f, 0.0f, 100.0f), number(node, P_DETAILS, 1.0f, 0.0f, 100.0f),
                     number(node, P_RADIUS, 1.0f, 0.0f, 1e6f), number(node, P_TOLERANCE, 0.0f, 0.0f, 0.99f)};
            return true;
        case NT_TEX_SIDE:
            out.op = TextureOp::Side;
            out.invert = nodes_.flag(node, P_INVERT, false);
            return true;
        case NT_TEX_RANDOMCOLOR:
            out.op = TextureOp::RandomColor;
            out.p[0] = static_cast<float>(std::clamp(nodes_.integer(node, P_RANDOM_SEED, 0), 0, 1 << 24));
            return true;
        case NT_TEX_W:
            out.op = TextureOp::W;
            return true;
        case NT_TEX_INSTANCERANGE:
            out.op = TextureOp::InstanceRange;
            out.p[0] = static_cast<float>(std::max(nodes_.integer(node, P_MAX_INSTANCE_ID, 0), 0));
            return true;
        case NT_TEX_GAUSSIAN:
            out.op = TextureOp::Gaussian;
            out.a = onPin(node, P_WAVELENGTH, splat(0.5f));
            out.b = onPin(node, P_WIDTH, splat(0.05f));
            out.c = onPin(node, P_POWER, splat(1.0f));
            return true;
        default:
            return false;
    }
}

TextureNode TextureCompiler::describe(const NodeRecord& node, Entry& entry) {
    TextureNode out;
    entry.holdsInputs = node.type == NT_TEX_BAKING || node.type == NT_TEX_GRADIENT || node.type == NT_TEX_TOONRAMP ||
                        node.type == NT_TEX_VOLUMEGRADIENT;
    switch (node.type) {
        case NT_TEX_RGB:
        case NT_TEX_FLOAT:
        case NT_FLOAT:
        case NT_INT:
        case NT_BOOL:
        case NT_ENUM: {
            const Value* value = node.attribute(A_VALUE);
            if (!value || !toVector(*value, out.value) || !isFinite(out.value)) out.value = {};
            return out;
        }
        case NT_TEX_IMAGE:
        case NT_TEX_ALPHAIMAGE:
        case NT_TEX_FLOATIMAGE:
        case NT_TEX_INSTANCECOLOR:
            describeImage(node, out);
            describeMapping(node, out);
            return out;
        default:
            break;
    }
    if (describeOperator(node, out) || describePattern(node, out) || describePoint(node, out)) return out;
    logOnce(node.type);
    out.value = kMissing;
    return out;
}

}  // namespace Lumora::engine
