// Every pin of every texture, transform and projection node is heard: another value gives another picture.
#include <gtest/gtest.h>

#include <set>
#include <string_view>

#include "engine/compile/scene_compiler.h"
#include "engine/render/surface.h"
#include "engine/schema/texts.h"
#include "tests/engine/compile/image_samples.h"
#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

/// Points of a real scene: two numbered instances of a block that stands on a floor.
struct Stage {
    Scene scene{8, 8, 1};
    SceneCompiler compiler{[](const std::string&) {}};
    RenderScenePtr built;
    std::vector<TextureContext> points;

    Stage() {
        const NodeRecordPtr texture = scene.keep(Node(NT_TEX_NOISE));
        const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
        MeshData data;
        data.box({-1, 0, -1}, {0, 1, 0}).quad({-3, 0, 3}, {3, 0, 3}, {3, 0, -3}, {-3, 0, -3});
        data.quad({1, 0, 1}, {2, 0, 1}, {2, 0.95f, 0}, {1, 0.95f, 0});  // a ramp
        const NodeRecordPtr mesh = scene.keep(data.node({material}));
        Node placed(NT_GEO_SCATTER);
        placed.connect(P_GEOMETRY, mesh)
            .set(A_TRANSFORM, shared(std::vector{translation({-3, 0, 0}), translation({3, 0.1f, 0.2f})}))
            .set(A_INSTANCE_IDS, shared(std::vector{1, 3}));
        scene.camera.set(P_POSITION, Float3{1, 4, 6}).set(P_TARGET, Float3{});
        built = compiler.apply(scene.delta(scene.keep(placed))).scene;
        for (int i = 0; i < 400; ++i) {
            const Float3 from = i % 8 == 7 ? Float3{0.3f, -4, 0.2f} : Float3{1, 3, 6};  // some see the floor's back
            const Float3 to = {static_cast<float>(i % 20) * 0.5f - 5.0f, 0.3f,
                               static_cast<float>(i / 20) * 0.2f - 2.0f};
            const Ray ray{from, normalize(to - from), 0.0f, kInfinity, {0.0f, 0.002f}};
            const Hit hit = intersect(*built->geometry, ray);
            if (!hit.valid()) continue;
            points.push_back(surfaceAt(*built, hit, ray).at);
            for (int set = 1; set < 3; ++set) points.back().uv[set] = points.back().uv[0] * (1.5f * set);
            for (Float3& uv : points.back().uv) uv.z = 0.37f;
        }
    }
};

Stage& stage() {
    static Stage instance;
    return instance;
}

std::vector<Float3> seen(TextureBench& b, const NodeRecordPtr& node) {
    const TextureId id = b.compile(node);
    std::vector<Float3> out;
    for (const TextureContext& at : stage().points) out.push_back(b.table.color(id, at));
    return out;
}

/// A texture to look through: for each pin another one, so that no two inputs are the same.
NodeRecordPtr pattern(TextureBench& b, int which) {
    Node noise(NT_TEX_NOISE);
    const Node scale = Node(NT_TRANSFORM_3D)
                           .set(P_SCALE, splat(0.2f + 0.05f * static_cast<float>(which)))
                           .set(P_TRANSLATION, splat(0.37f * static_cast<float>(which)));
    noise.connect(P_TRANSFORM, b.keep(scale)).set(P_OMEGA, 0.7f);
    Node tinted(NT_TEX_MULTIPLY);
    const float t = static_cast<float>(which % 5) * 0.2f;
    tinted.connect(P_TEXTURE1, b.keep(noise)).connect(P_TEXTURE2, b.color({1.0f - t, 0.3f + t, 0.5f}));
    return b.keep(tinted);
}

NodeRecordPtr picture(TextureBench& b, Node node, unsigned char tint) {
    std::vector<unsigned char> pixels;
    for (int i = 0; i < 16; ++i) {
        const auto v = static_cast<unsigned char>(40 + 13 * i);
        pixels.insert(pixels.end(), {v, tint, static_cast<unsigned char>(255 - v), static_cast<unsigned char>(v / 2)});
    }
    return b.keep(node.set(A_SIZE, Vec2<int>{4, 4}).set(A_IMAGE_TYPE, 0).set(A_BUFFER, shared(pixels)));
}

/// A node with something on all that it needs to show its other pins.
Node prepared(TextureBench& b, const NodeSchema& schema) {
    Node n(schema.type);
    int which = 1;
    for (const PinSchema& pin : schema.pins) {
        if (pin.type == PT_TEXTURE && pin.dimension == 0) n.connect(pin.id, pattern(b, which++));
    }
    if (schema.attributeIndex(A_BUFFER) >= 0) picture(b, n, 200);
    switch (schema.type) {
        case NT_TEX_TOONRAMP:
        case NT_TEX_VOLUMEGRADIENT:
        case NT_TEX_GRADIENT:
            for (const float x : {0.3f, 0.5f}) n.dynamic(b.grey(x)).dynamic(b.color({x, 1.0f - x, 0.5f}));
            break;
        case NT_TEX_CLAMP:
            n.connect(P_INPUT, pattern(b, 1)).set(P_START, 0.4f).set(P_END, 0.5f);
            break;
        case NT_TEX_FALLOFF:
            n.set(P_MODE, 2);
            break;
        case NT_TEX_BAKING:
            n.set(P_RESOLUTION, Vec2<int>{16, 16}).set(P_SIZE, 1);
            break;
        case NT_TEX_INSTANCERANGE:
            n.set(P_MAX_INSTANCE_ID, 10);
            break;
        case NT_TEX_IMAGE:
        case NT_TEX_ALPHAIMAGE:
        case NT_TEX_FLOATIMAGE:
            n.connect(P_PROJECTION, b.keep(Node(NT_PROJ_FLAT)));  // beyond the border, too
            break;
        default:
            break;
    }
    return n;
}

/// The node with one pin changed.
Node changed(TextureBench& b, const NodeRecordPtr& node, const PinSchema& pin) {
    Node n(node);
    const PinRecord& now = *node->pin(pin.id);
    const auto other = [&](float v) { return v == pin.maxValue || v >= 1e6f ? pin.minValue : v + 1.0f; };
    switch (pin.type) {
        case PT_TEXTURE:
            return n.connect(pin.id, pattern(b, 17));
        case PT_BOOL:
            return n.set(pin.id, !std::get<bool>(now.value));
        case PT_INT:
            if (pin.dimension == 2) return n.set(pin.id, Vec2<int>{8, 8});
            return n.set(pin.id, static_cast<int>(other(static_cast<float>(std::get<int>(now.value)))));
        case PT_ENUM:
            return n.set(pin.id, static_cast<int>(other(static_cast<float>(std::get<int>(now.value)))));
        case PT_FLOAT:
            if (pin.dimension == 2) return n.set(pin.id, Vec2<float>{0.3f, 0.7f});
            if (pin.dimension == 3) return n.set(pin.id, Float3{0.3f, 0.7f, 0.1f});
            return n.set(pin.id, lerp(pin.minValue, std::min(pin.maxValue, 10.0f), 0.6f));
        case PT_TRANSFORM:
            return n.connect(pin.id, b.keep(Node(NT_TRANSFORM_3D).set(P_SCALE, Float3{0.3f, 0.6f, 0.7f})));
        case PT_PROJECTION:
            return n.connect(pin.id, b.keep(Node(NT_PROJ_BOX).set(P_COORDINATE_SPACE, 3)));
        default:
            return n;
    }
}

/// Pins that the tables say have no effect, and two that tell only how well something is done.
bool silent(NodeType type, PinId pin) {
    if (type == NT_TEX_BAKING && (pin == P_GAMMA || pin == P_SIZE)) return true;
    if (type == NT_TEX_VOLUMEGRADIENT && pin == P_MAX_GRID_VALUE) return true;  // what a medium asks the ramp for
    return std::string_view(pinText(type, pin).effect).starts_with("No effect");
}

/// The node with one attribute changed; null: other tests look at it.
NodeRecordPtr changed(const NodeRecordPtr& node, AttributeId attribute, const std::string& file) {
    Node n(node);
    switch (attribute) {
        case A_VALUE:
            return std::holds_alternative<float>(*node->attribute(A_VALUE)) ? n.set(A_VALUE, 0.3f)
                                                                            : n.set(A_VALUE, Float3{0.3f, 0.2f, 0.1f});
        case A_ROTATION:
            return n.set(A_ROTATION, Float3{10, 20, 30});
        case A_SCALE:
            return n.set(A_SCALE, Float3{0.5f, 0.7f, 0.9f});
        case A_TRANSLATION:
            return n.set(A_TRANSLATION, Float3{0.1f, 0.2f, 0.3f});
        case A_BUFFER:
            return n.set(A_BUFFER, shared(std::vector<unsigned char>(64, 99)));
        case A_SIZE:
            return n.set(A_SIZE, Vec2<int>{1, 2});
        case A_IMAGE_TYPE:  // four bytes are one float: there are too few
            return n.set(A_IMAGE_TYPE, 2);
        case A_FILENAME:
            return n.set(A_FILENAME, file);
        case A_PIN_COUNT: {  // the graph adds the knots' pins
            auto more = std::make_shared<NodeRecord>(*node);
            more->pins.push_back(more->pins[more->staticPinCount + 2]);
            more->pins.push_back(more->pins[more->staticPinCount + 1]);
            return more;
        }
        default:
            return nullptr;  // import types and reloading: see the tests of images
    }
}

TEST(TexturePins, EachChangesThePicture) {
    ASSERT_GT(stage().points.size(), 150u);
    int pins = 0;
    for (const NodeSchema* schema : allNodeSchemas()) {
        const bool projection = schema->output == PT_PROJECTION, transform = schema->output == PT_TRANSFORM;
        const bool texture =
            schema->output == PT_TEXTURE || schema->output == PT_TOON_RAMP || schema->output == PT_VOLUME_RAMP;
        if (schema->role == NodeRole::Linker || (!texture && !projection && !transform)) continue;
        for (const PinSchema& pin : schema->pins) {
            if (silent(schema->type, pin.id) || schema->type == NT_PROJ_OSL) continue;
            TextureBench b;
            const NodeRecordPtr before = b.keep(prepared(b, *schema));
            const auto shown = [&](const NodeRecordPtr& node) {
                if (texture) return seen(b, node);
                b.keep(node);
                Node noise(NT_TEX_NOISE);
                return seen(b, noise.connect(projection ? P_PROJECTION : P_TRANSFORM, node));
            };
            const std::vector<Float3> first = shown(before), second = shown(changed(b, before, pin));
            EXPECT_TRUE(first != second) << schema->name << ": " << pin.name;
            ++pins;
        }
    }
    EXPECT_GT(pins, 100);
}

TEST(TexturePins, EachAttributeChangesThePicture) {
    const SampleFile file("pins.png", makePng({2, 1, 8, 2, {250, 100, 50, 20, 10, 200}}));
    int attributes = 0;
    for (const NodeSchema* schema : allNodeSchemas()) {
        const bool transform = schema->output == PT_TRANSFORM;
        const bool texture =
            schema->output == PT_TEXTURE || schema->output == PT_TOON_RAMP || schema->output == PT_VOLUME_RAMP;
        if (schema->role == NodeRole::Linker || (!texture && !transform) || schema->type == NT_TEX_OSL) continue;
        for (const AttributeSchema& attribute : schema->attributes) {
            TextureBench b;
            const NodeRecordPtr before = b.keep(prepared(b, *schema));
            const NodeRecordPtr other = changed(before, attribute.id, file.path());
            if (!other) continue;
            const auto shown = [&](const NodeRecordPtr& node) {
                if (texture) return seen(b, node);
                b.keep(node);
                Node noise(NT_TEX_NOISE);
                return seen(b, noise.connect(P_TRANSFORM, node));
            };
            const std::vector<Float3> first = shown(before), second = shown(other);
            EXPECT_TRUE(first != second) << schema->name << ": " << attribute.name;
            ++attributes;
        }
    }
    EXPECT_GE(attributes, 20);
}

TEST(TexturePins, InstancesAreToldApart) {
    TextureBench b;
    const TextureId range = b.compile(Node(NT_TEX_INSTANCERANGE).set(P_MAX_INSTANCE_ID, 4));
    std::set<float> values;
    for (const TextureContext& at : stage().points) values.insert(b.table.scalar(range, at));
    EXPECT_EQ(values, (std::set{0.25f, 0.75f}));
    Node pixels(NT_TEX_INSTANCECOLOR);
    picture(b, pixels, 0);
    const TextureId color = b.compile(pixels.set(P_GAMMA, 1.0f).set(P_POWER, 1.0f));
    values.clear();
    for (const TextureContext& at : stage().points) values.insert(b.table.color(color, at).x);
    ASSERT_EQ(values.size(), 2u);
    EXPECT_NEAR(*values.begin(), 53.0f / 255.0f, 1e-6f);
    EXPECT_NEAR(*values.rbegin(), 79.0f / 255.0f, 1e-6f);
}

TEST(TexturePins, DirtLiesInCornersOnly) {
    TextureBench b;
    const TextureId dirt = b.compile(Node(NT_TEX_DIRT).set(P_RADIUS, 0.5f));
    double corner = 0, open = 0;
    int corners = 0, opens = 0;
    for (const TextureContext& at : stage().points) {
        const Float3 p = at.objectPosition;
        if (at.objectNormal.y < 0.9f || p.y > 0.5f || !at.frontFace || p.x > 0.3f || p.x < -2.0f) continue;
        const float gap = std::max({std::abs(p.x + 0.5f), std::abs(p.z + 0.5f)}) - 0.5f;
        if (gap > 0 && gap < 0.15f) corner += b.table.scalar(dirt, at), ++corners;
        if (gap > 0.6f && p.z > -2.0f && p.z < 2.0f) open += b.table.scalar(dirt, at), ++opens;
    }
    ASSERT_GT(corners, 3);
    ASSERT_GT(opens, 10);
    EXPECT_LT(corner / corners, 0.85);
    EXPECT_EQ(open / opens, 1.0);
}

}  // namespace
}  // namespace Lumora::engine::test
