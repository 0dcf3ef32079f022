// Textures against their formulas at given points.
#include <gtest/gtest.h>

#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

void expectColor(Float3 is, Float3 expected, const std::string& what, float tolerance = 1e-5f) {
    EXPECT_NEAR(is.x, expected.x, tolerance) << what;
    EXPECT_NEAR(is.y, expected.y, tolerance) << what;
    EXPECT_NEAR(is.z, expected.z, tolerance) << what;
}

TEST(TextureFormula, Operators) {
    TextureBench b;
    const Float3 one{0.2f, 0.4f, 0.8f}, two{0.5f, 0.25f, 0.1f};
    const auto pair = [&](NodeType type) {
        return Node(type).connect(P_TEXTURE1, b.color(one)).connect(P_TEXTURE2, b.color(two));
    };
    const auto corrected = [&] { return Node(NT_TEX_COLORCORRECTION).connect(P_TEXTURE, b.color(one)); };
    const float t = 0.5f - 0.5f * std::cos(0.25f * kPi);
    const struct {
        const char* name;
        NodeRecordPtr node;
        Float3 expected;
    } cases[] = {
        {"multiply", pair(NT_TEX_MULTIPLY), one * two},
        {"add", pair(NT_TEX_ADD), one + two},
        {"subtract", pair(NT_TEX_SUBTRACT), one - two},
        {"mix", pair(NT_TEX_MIX).set(P_AMOUNT, 0.25f), lerp(one, two, 0.25f)},
        {"mix beyond", pair(NT_TEX_MIX).set(P_AMOUNT, 2.0f), two},
        {"cosine mix", pair(NT_TEX_COSINEMIX).set(P_AMOUNT, 0.25f), lerp(one, two, t)},
        {"compare", pair(NT_TEX_COMPARE).connect(P_TEXTURE3, b.grey(3)).connect(P_TEXTURE4, b.grey(4)), splat(4)},
        {"invert", Node(NT_TEX_INVERT).connect(P_TEXTURE, b.color(one)), splat(1.0f) - one},
        {"clamp",
         Node(NT_TEX_CLAMP).connect(P_INPUT, b.color(one)).set(P_START, 0.3f).set(P_END, 0.6f),
         {0.3f, 0.4f, 0.6f}},
        {"clamp turned round", Node(NT_TEX_CLAMP).set(P_INPUT, 0.5f).set(P_START, 0.7f).set(P_END, 0.2f), splat(0.7f)},
        {"brightness", corrected().set(P_BRIGHTNESS, 2.0f), one * 2.0f},
        {"inverted", corrected().set(P_INVERT, true), splat(1.0f) - one},
        {"third of a turn", corrected().set(P_HUE, 2.0f / 3.0f), {one.z, one.x, one.y}},
        {"grey", corrected().set(P_SATURATION, 0.0f), splat(luminance(one))},
        {"gamma", corrected().set(P_GAMMA, 2.0f), one * one},
        {"no contrast", corrected().set(P_CONTRAST, 0.001f), one},
        {"nothing connected", Node(NT_TEX_ADD), {}},
    };
    for (const auto& c : cases) expectColor(b.at(c.node, point(0.3f, 0.7f)), c.expected, c.name);
}

TEST(TextureFormula, ContrastKeepsEndsAndMiddle) {
    for (const float c : {0.01f, 1.0f, 8.0f, 1000.0f}) {
        for (const float fixed : {-2.0f, 0.0f, 0.5f, 1.0f, 30.0f}) EXPECT_NEAR(applyContrast(fixed, c), fixed, 1e-5f);
        EXPECT_LE(applyContrast(0.3f, c), 0.3f + 1e-4f);
        EXPECT_GE(applyContrast(0.7f, c), 0.7f - 1e-4f);
    }
    EXPECT_LT(applyContrast(0.3f, 8.0f), 0.2f);
}

TEST(TextureFormula, Patterns) {
    TextureBench b;
    const auto offset = [](NodeType type) { return Node(type).set(P_OFFSET, 0.5f); };
    const struct {
        const char* name;
        NodeRecordPtr node;
        Float3 uvw;
        float expected;
    } cases[] = {
        {"checks", Node(NT_TEX_CHECKS), {0.25f, 0.25f, 0}, 0},
        {"checks beside", Node(NT_TEX_CHECKS), {0.75f, 0.25f, 0}, 1},
        {"checks below zero", Node(NT_TEX_CHECKS), {-0.25f, 0.25f, 0}, 1},
        {"saw", Node(NT_TEX_SAWWAVE), {2.3f, 0.9f, 0}, 0.3f},
        {"saw moved", offset(NT_TEX_SAWWAVE), {0.3f, 0.9f, 0}, 0.8f},
        {"triangle", Node(NT_TEX_TRIANGLEWAVE), {0.125f, 0, 0}, 0.25f},
        {"triangle falls", Node(NT_TEX_TRIANGLEWAVE), {0.75f, 0, 0}, 0.5f},
        {"sine", Node(NT_TEX_SINEWAVE), {0.25f, 0, 0}, 1},
        {"sine moved", offset(NT_TEX_SINEWAVE), {0.25f, 0, 0}, 0},
        {"w", Node(NT_TEX_W), {0.1f, 0.2f, 0.7f}, 0.7f},
        {"marble without noise", Node(NT_TEX_MARBLE).set(P_VARIANCE, 0.0f), {0.25f, 0.6f, 0.1f}, 1},
    };
    for (const auto& c : cases) {
        EXPECT_NEAR(b.at(c.node, point(c.uvw.x, c.uvw.y, c.uvw.z)).y, c.expected, 1e-4f) << c.name;
    }
}

TEST(TextureFormula, PointsOfTheSurface) {
    TextureBench b;
    const auto falloff = [](int mode) {
        return Node(NT_TEX_FALLOFF)
            .set(P_MODE, mode)
            .set(P_NORMAL, 0.2f)
            .set(P_GRAZING, 1.0f)
            .set(P_INDEX_FALLOFF, 2.0f)
            .set(P_DIRECTION, Float3{0, 0, 2});
    };
    TextureContext slanted = point(0, 0), back = point(0, 0);
    slanted.view = normalize({0.8f, 0, -0.6f});
    slanted.shadingNormal = {0, 0, 1};
    back.frontFace = false;
    back.shadingNormal = {0, 0, -1};
    EXPECT_NEAR(b.at(falloff(0), slanted).x, 0.2f + 0.8f * 0.16f, 1e-5f);
    EXPECT_NEAR(b.at(falloff(0), point(0, 0)).x, 0.2f, 1e-5f);
    EXPECT_NEAR(b.at(falloff(1), back).x, 0.2f, 1e-5f);
    EXPECT_NEAR(b.at(falloff(2), back).x, 1.0f, 1e-5f);
    EXPECT_EQ(b.at(Node(NT_TEX_SIDE), point(0, 0)).x, 1.0f);
    EXPECT_EQ(b.at(Node(NT_TEX_SIDE), back).x, 0.0f);
    EXPECT_EQ(b.at(Node(NT_TEX_SIDE).set(P_INVERT, true), back).x, 1.0f);
    EXPECT_NE(b.at(Node(NT_TEX_RANDOMCOLOR), back), b.at(Node(NT_TEX_RANDOMCOLOR).set(P_RANDOM_SEED, 1), back));
    const Float3 blue = b.at(Node(NT_TEX_GAUSSIAN).set(P_WAVELENGTH, 0.2f), back);
    const Float3 red = b.at(Node(NT_TEX_GAUSSIAN).set(P_WAVELENGTH, 0.8f), back);
    EXPECT_GT(blue.z, 2.0f * blue.x);
    EXPECT_GT(red.x, 2.0f * red.z);
    expectColor(b.at(Node(NT_TEX_GAUSSIAN).set(P_WIDTH, 1e4f), back), splat(1.0f), "flat spectrum", 1e-3f);
}

Node knots(TextureBench& b, NodeType type, std::vector<std::pair<float, float>> values) {
    Node n(type);
    for (const auto& [position, value] : values) n.dynamic(b.grey(position)).dynamic(b.grey(value));
    return n;
}

TEST(TextureFormula, GradientsInterpolateInFourWays) {
    TextureBench b;
    const float smooth = 0.25f * 0.25f * (3.0f - 0.5f);
    const struct {
        int interpolation;
        float expected;
    } cases[] = {{0, 0.2f}, {1, 0.4f}, {2, 0.2f + 0.8f * smooth}};
    for (const auto& c : cases) {
        Node n = knots(b, NT_TEX_GRADIENT, {{0.6f, 1.0f}, {0.2f, 0.2f}});
        n.connect(P_INPUT, b.u()).set(P_INTERPOLATION, c.interpolation);
        EXPECT_NEAR(b.at(n, point(0.3f, 0)).x, c.expected, 1e-5f) << c.interpolation;
        EXPECT_NEAR(b.at(n, point(0.999f, 0)).x, 1.0f, 0.01f) << c.interpolation;
    }
    // The spline passes the knots, and stays between them.
    Node spline = knots(b, NT_TEX_GRADIENT, {{0.0f, 0.0f}, {0.3f, 0.1f}, {0.4f, 0.9f}, {1.0f, 1.0f}});
    spline.connect(P_INPUT, b.u()).set(P_INTERPOLATION, 3);
    float last = -1e-6f;
    for (int i = 0; i < 100; ++i) {
        const float v = b.at(spline, point(static_cast<float>(i) * 0.01f, 0)).x;
        EXPECT_GE(v, last - 1e-5f) << i;
        last = v;
    }
    EXPECT_NEAR(b.at(spline, point(0.4f, 0)).x, 0.9f, 1e-4f);
    // A ramp is asked at a position; a knot may be a texture.
    Node ramp = knots(b, NT_TEX_TOONRAMP, {});
    ramp.set(P_START, Float3{1, 0, 0}).set(P_END, Float3{0, 0, 1});
    const TextureId id = b.compile(ramp);
    expectColor(b.table.ramp(id, 0.25f, point(0, 0)), {0.75f, 0, 0.25f}, "ramp");
    expectColor(b.table.ramp(id, 7.0f, point(0, 0)), {0, 0, 1}, "beyond the end");
    Node moving(NT_TEX_GRADIENT);
    moving.connect(P_INPUT, b.grey(0.5f)).dynamic(b.u()).dynamic(b.grey(1.0f)).set(P_INTERPOLATION, 0);
    EXPECT_EQ(b.at(moving, point(0.4f, 0)).x, 1.0f);
    EXPECT_EQ(b.at(moving, point(0.6f, 0)).x, 0.0f);
}

TEST(TextureFormula, ImagesDecodeInvertScaleAndEnd) {
    TextureBench b;
    // Two pixels: black and opaque, (255, 128, 0) and clear.
    const std::vector<unsigned char> pixels = {0, 0, 0, 255, 255, 128, 0, 0};
    const auto shown = [&](NodeType type) {
        return Node(type)
            .set(A_SIZE, Vec2<int>{2, 1})
            .set(A_IMAGE_TYPE, 0)
            .set(A_BUFFER, shared(pixels))
            .set(P_POWER, 1.0f);
    };
    const float half = srgbToLinear(128.0f / 255.0f);
    const TextureContext left = point(0.25f, 0.5f), right = point(0.75f, 0.5f), middle = point(0.5f, 0.5f);
    expectColor(b.at(shown(NT_TEX_IMAGE), right), {1, half, 0}, "sRGB");
    expectColor(b.at(shown(NT_TEX_IMAGE).set(P_GAMMA, 1.0f), right), {1, 128.0f / 255.0f, 0}, "linear");
    expectColor(b.at(shown(NT_TEX_IMAGE), middle), {0.5f, 0.5f * half, 0}, "between the two");
    expectColor(b.at(shown(NT_TEX_IMAGE).set(P_INVERT, true), left), splat(1.0f), "inverted");
    expectColor(b.at(shown(NT_TEX_IMAGE).set(P_POWER, 3.0f), right), {3, 3 * half, 0}, "power");
    expectColor(b.at(shown(NT_TEX_IMAGE).connect(P_POWER, b.u()), right), {0.75f, 0.75f * half, 0}, "power varies");
    expectColor(b.at(shown(NT_TEX_ALPHAIMAGE), left), splat(1.0f), "alpha");
    expectColor(b.at(shown(NT_TEX_FLOATIMAGE), right), splat(luminance({1, half, 0})), "grey");
    expectColor(b.at(Node(NT_TEX_IMAGE).set(P_POWER, 1.0f), right), splat(0.5f), "no image");
    const struct {
        int border;
        float u;
        float red;
    } borders[] = {{0, 1.75f, 1}, {1, 1.75f, 0}, {2, -0.75f, 1}, {3, -0.75f, 0},
                   {3, 1.9f, 1},  {4, 1.75f, 0}, {4, -0.75f, 1}};
    for (const auto& c : borders) {
        const Float3 v = b.at(shown(NT_TEX_IMAGE).set(P_BORDER_MODE, c.border), point(c.u, 0.5f));
        EXPECT_NEAR(v.x, c.red, 1e-5f) << c.border << " " << c.u;
    }
}

TEST(TextureFormula, InstancePixelsAreCountedRowByRow) {
    TextureBench b;
    ImageLookup lookup;
    const std::vector<float> pixels = {1, 0, 0, 1, 2, 0, 0, 1, 3, 0, 0, 1, 4, 0, 0, 1};
    lookup.image = std::make_shared<ImageTexture>(2, 2, 4, PixelFormat::Float, pixels.data(), 64, nullptr);
    for (std::uint64_t i = 0; i < 8; ++i) EXPECT_EQ(pixelOf(lookup, i).color.x, static_cast<float>(i % 4 + 1));
}

TEST(TextureFormula, MeansAreThoseOfTheUnitSquare) {
    TextureBench b;
    std::vector<float> pixels;
    double sum = 0;
    for (int i = 0; i < 32 * 32; ++i) {
        const float v = i == 77 ? 500.0f : static_cast<float>(i % 7);
        pixels.insert(pixels.end(), 4, v);
        sum += v;
    }
    const float mean = static_cast<float>(sum / (32 * 32));
    const NodeRecordPtr picture = b.keep(image(32, 32, pixels));
    EXPECT_NEAR(b.table.mean(b.compile(picture)).x, mean, 0.05f * mean);
    EXPECT_NEAR(b.table.mean(b.compile(Node(NT_TEX_CHECKS))).x, 0.5f, 0.01f);
    EXPECT_NEAR(b.table.mean(b.compile(Node(NT_TEX_SIDE))).x, 0.5f, 0.01f);
    EXPECT_EQ(b.table.mean(b.compile(Node(NT_TEX_INVERT))).x, 1.0f);
}

TEST(TextureFormula, Projections) {
    TextureBench b;
    TextureContext at = point(0.1f, 0.2f);
    at.uv[1] = {0.3f, 0.4f, 0};
    at.uv[2] = {0.5f, 0.6f, 0};
    at.worldPosition = {0.2f, 0.4f, -0.8f};
    at.objectPosition = {0.5f, -1.0f, -2.0f};
    at.worldNormal = {0, 0, 1};
    at.objectNormal = {-1, 0, 0};
    const Float3 p = at.worldPosition, o = at.objectPosition;
    const float around = 0.5f + std::atan2(p.x, p.z) * 0.5f * kInvPi;
    const Node moved = Node(NT_TRANSFORM_VALUE)
                           .set(A_TRANSLATION, Float3{0.2f, 0.4f, 0})
                           .set(A_SCALE, Float3{2, 2, 2})
                           .set(A_ROTATION, Float3{0, 0, 0});
    const NodeRecordPtr transform = b.keep(moved);
    const struct {
        const char* name;
        Node node;
        Float3 expected;
    } cases[] = {
        {"first set", Node(NT_PROJ_UVW), {0.1f, 0.2f, 0}},
        {"second set", Node(NT_PROJ_UVW).set(P_UV_SET, 2), {0.3f, 0.4f, 0}},
        {"third set", Node(NT_PROJ_UVW).set(P_UV_SET, 3), {0.5f, 0.6f, 0}},
        {"moved set", Node(NT_PROJ_UVW).connect(P_TRANSFORM, transform), {0.2f, 0.15f, 0}},
        {"flat", Node(NT_PROJ_FLAT), {0.6f, 0.7f, 0.1f}},
        {"flat, moved", Node(NT_PROJ_FLAT).connect(P_TRANSFORM, transform), {0.5f, 0.5f, 0.3f}},
        {"flat in the object",
         Node(NT_PROJ_FLAT).set(P_COORDINATE_SPACE, 3),
         {0.5f + 0.5f * o.x, 0.5f + 0.5f * o.y, 0.5f + 0.5f * o.z}},
        {"towards the viewer", Node(NT_PROJ_FLAT).set(P_COORDINATE_SPACE, 4), {0.5f, 1.0f, 0.5f}},
        {"box from the front", Node(NT_PROJ_BOX), {0.6f, 0.7f, 0.1f}},
        {"box from the left", Node(NT_PROJ_BOX).set(P_COORDINATE_SPACE, 3), {-0.5f, 0.0f, 0.75f}},
        {"cylinder", Node(NT_PROJ_CYLINDRICAL), {around, 0.7f, std::hypot(p.x, p.z)}},
        {"sphere", Node(NT_PROJ_SPHERICAL), {around, 1.0f - std::acos(p.y / length(p)) * kInvPi, length(p)}},
        {"slide", Node(NT_PROJ_PERSPECTIVE), {0.5f + 0.5f * 0.25f, 0.5f + 0.5f * 0.5f, 0.8f}},
        {"triplanar alone", Node(NT_PROJ_TRIPLANAR), {0.6f, 0.7f, 0.1f}},
    };
    for (const auto& c : cases) {
        // Through the texture's transform, too, which shifts by a tenth.
        const NodeRecordPtr shift = b.keep(Node(NT_TRANSFORM_2D).set(P_TRANSLATION, Vec2<float>{0.1f, 0}));
        const NodeRecordPtr node = b.keep(c.node);
        const TextureId id = b.compile(Node(NT_TEX_CHECKS).connect(P_PROJECTION, node).connect(P_TRANSFORM, shift));
        const MappedPoint m = mapPoint(b.table.mappings[b.table.nodes[id].mapping], at);
        expectColor(m.uvw, c.expected - Float3{0.1f, 0, 0}, c.name);
    }
}

TEST(TextureFormula, TransformsGoTheInverseWay) {
    TextureBench b;
    const struct {
        const char* name;
        Node node;
        Float3 expected;  ///< of the point (0.75, 0.5)
    } cases[] = {
        {"2D", Node(NT_TRANSFORM_2D).set(P_SCALE, Vec2<float>{0.5f, 1}), {1.0f, 0.5f, 0}},
        {"2D turned", Node(NT_TRANSFORM_2D).set(P_ROTATION, 90.0f), {0.5f, 0.25f, 0}},
        {"3D", Node(NT_TRANSFORM_3D).set(P_TRANSLATION, Float3{0.25f, 0.5f, 0}), {0.5f, 0, 0}},
        {"scale", Node(NT_TRANSFORM_SCALE).set(P_SCALE, Float3{0.25f, 1, 1}), {1.5f, 0.5f, 0}},
        {"rotation", Node(NT_TRANSFORM_ROTATION).set(P_ROTATION, Float3{0, 0, 180}), {0.25f, 0.5f, 0}},
    };
    for (const auto& c : cases) {
        const NodeRecordPtr transform = b.keep(c.node);
        const TextureId id = b.compile(Node(NT_TEX_CHECKS).connect(P_TRANSFORM, transform));
        const MappedPoint m = mapPoint(b.table.mappings[b.table.nodes[id].mapping], point(0.75f, 0.5f));
        expectColor(m.uvw, c.expected, c.name);
        // The texture that moves what is below it does the same.
        const Node inner = Node(NT_TEX_UVWTRANSFORM).connect(P_TRANSFORM, transform).connect(P_TEXTURE, b.u());
        EXPECT_NEAR(b.at(inner, point(0.75f, 0.5f)).x, c.expected.x - std::floor(c.expected.x), 1e-5f) << c.name;
    }
}

TEST(TextureFormula, TriplanarBlendsNeighboursOnly) {
    TextureBench b;
    Node map(NT_TEX_TRIPLANAR);
    constexpr PinId kFaces[6] = {P_POSITIVE_X, P_NEGATIVE_X, P_POSITIVE_Y, P_NEGATIVE_Y, P_POSITIVE_Z, P_NEGATIVE_Z};
    for (int i = 0; i < 6; ++i) map.connect(kFaces[i], b.grey(static_cast<float>(i)));
    map.set(P_BLEND_ANGLE, 20.0f);
    const float degree = kPi / 180.0f;
    const struct {
        Float3 normal;
        float expected;
    } cases[] = {
        {{1, 0, 0}, 0},
        {{-1, 0, 0}, 1},
        {{0, 1, 0}, 2},
        {{0, 0, -1}, 5},
        {{std::cos(45 * degree), std::sin(45 * degree), 0}, 1.0f},         // half x, half y
        {{std::cos(34 * degree), std::sin(34 * degree), 0}, 0.0f},         // beyond the blend
        {{std::cos(40 * degree), std::sin(40 * degree), 0}, 2.0f / 3.0f},  // half as much of y
    };
    for (const auto& c : cases) {
        TextureContext at = point(0, 0);
        at.objectNormal = c.normal;
        EXPECT_NEAR(b.at(map, at).x, c.expected, 1e-4f) << c.normal.x << " " << c.normal.y;
    }
    // What lies on a side sees the position on that side.
    const NodeRecordPtr projection = b.keep(Node(NT_PROJ_TRIPLANAR));
    const NodeRecordPtr saw = b.keep(Node(NT_TEX_SAWWAVE).connect(P_PROJECTION, projection));
    Node sides(NT_TEX_TRIPLANAR);
    for (const PinId face : kFaces) sides.connect(face, saw);
    TextureContext at = point(0, 0);
    at.objectPosition = {0.1f, 0.2f, -0.5f};
    at.objectNormal = {1, 0, 0};
    EXPECT_NEAR(b.at(sides, at).x, 0.75f, 1e-5f);
}

TEST(TextureFormula, BakingShowsWhatItBaked) {
    TextureBench b;
    for (const int type : {0, 1, 2}) {
        Node bake(NT_TEX_BAKING);
        bake.connect(P_TEXTURE, b.u()).set(P_RESOLUTION, Vec2<int>{64, 16}).set(P_SIZE, 4).set(P_TEXTURE_TYPE, type);
        const TextureId id = b.compile(bake);
        ASSERT_EQ(b.table.nodes[id].op, TextureOp::Image);
        for (const float u : {0.1f, 0.5f, 0.9f}) {
            EXPECT_NEAR(b.table.scalar(id, point(u, 0.3f)), u, 0.02f) << type << " " << u;
        }
        EXPECT_EQ(b.table.images[b.table.nodes[id].data].image->channels(), 3u);
        EXPECT_EQ(b.table.nodes[b.compile(Node(NodeRecordPtr(bake)).set(P_ENABLED, false))].op, TextureOp::Add)
            << "looked through";
    }
}

}  // namespace
}  // namespace Lumora::engine::test
