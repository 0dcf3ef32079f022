// Every pin of every emission, environment, displacement and toon light is heard: another value gives another picture,
// and what is said to have no effect gives the same.
#include <gtest/gtest.h>

#include <functional>
#include <string_view>

#include "engine/schema/texts.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// Puts a node into a scene in which it has something to say. Returns the geometry.
using World = std::function<NodeRecordPtr(Scene&, const NodeRecordPtr&)>;

NodeRecordPtr checks(Scene& s, float low, float high) {
    Node mix(NT_TEX_MIX);
    mix.connect(P_AMOUNT, s.keep(Node(NT_TEX_CHECKS)));
    mix.connect(P_TEXTURE1, s.keep(rgb({high, high, low}))).connect(P_TEXTURE2, s.keep(rgb(splat(low))));
    return s.keep(mix);
}

MeshData floor(float half, float y = 0.0f, int material = 0) {
    MeshData m;
    return m.quad({-half, y, half}, {half, y, half}, {half, y, -half}, {-half, y, -half}, material);
}

/// The node with one pin changed.
Node changed(Scene& s, const NodeRecordPtr& node, const PinSchema& pin) {
    Node n(node);
    const Value& now = node->pin(pin.id)->value;
    const float middle = 0.5f * (pin.minValue + std::min(pin.maxValue, 20.0f));
    switch (pin.type) {
        case PT_TEXTURE:
            return n.connect(pin.id, checks(s, 0.1f, 0.7f));
        case PT_MEDIUM:
            return n.connect(pin.id, s.keep(Node(NT_MED_ABSORPTION)));
        case PT_BOOL:
            return n.set(pin.id, !std::get<bool>(now));
        case PT_INT:
        case PT_ENUM:
            return n.set(pin.id, std::get<int>(now) + (static_cast<float>(std::get<int>(now)) < pin.maxValue ? 1 : -1));
        default:
            break;
    }
    if (pin.dimension == 3) return n.set(pin.id, Float3{0.7f, 0.4f, 0.1f});
    return n.set(pin.id, std::get<float>(now) == middle ? pin.maxValue : middle);
}

class Pins : public testing::Test {
protected:
    /// All pins of a type, changed one by one.
    void eachIsHeard(NodeType type, const World& world, const std::function<void(Scene&, Node&)>& prepare) {
        const NodeSchema& schema = *nodeSchema(type);
        const auto show = [&](const PinSchema* pin, bool visible) {
            Scene scene(20, 14, 8);
            Node node(type);
            prepare(scene, node);
            NodeRecordPtr state = node;
            if (pin) state = changed(scene, state, *pin);
            SceneDelta delta = scene.delta(world(scene, scene.keep(state)), ++level_);
            if (schema.output == PT_ENVIRONMENT) {
                Node target(NodeRecordPtr(scene.target));
                const NodeRecordPtr light = Node(NT_ENV_TEXTURE);
                delta.changed.push_back(light);
                visible ? target.connect(P_ENVIRONMENT, light).connect(P_VISIBLE_ENVIRONMENT, state)
                        : target.connect(P_ENVIRONMENT, state);
                delta.changed.push_back(target);
            }
            return *render_.picture(delta).floats;
        };
        const std::vector<float> before[2] = {show(nullptr, false), show(nullptr, true)};
        EXPECT_EQ(before[0], show(nullptr, false)) << schema.name;
        for (const PinSchema& pin : schema.pins) {
            const bool heard = !std::string_view(pinText(type, pin.id).effect).starts_with("No effect");
            const bool visible =
                pin.id == P_VISIBLE_BACKPLATE || pin.id == P_VISIBLE_REFLECTIONS || pin.id == P_VISIBLE_REFRACTIONS;
            EXPECT_EQ(show(&pin, visible) != before[visible], heard) << schema.name << ": " << pin.name;
        }
    }

private:
    Render render_;
    std::uint64_t level_ = 0;
};

TEST_F(Pins, OfEmissions) {
    const World room = [](Scene& s, const NodeRecordPtr& emission) {
        s.camera.set(P_POSITION, Float3{0, 1.6f, 6}).set(P_TARGET, Float3{0, 1.2f, 0}).set(P_FOV, 50.0f);
        // Lights of the first id alone are on.
        s.kernel.connect(P_LIGHT_IDS, s.keep(Node(NT_BIT_MASK).set(A_VALUE, 1 << 2))).set(P_LIGHT_IDS_ACTION, 1);
        Node veiled(NT_MAT_DIFFUSE);
        veiled.connect(P_EMISSION, emission).connect(P_OPACITY, checks(s, 0.0f, 1.0f));
        MeshData lamp;
        lamp.quad({-1, 2, -1}, {1, 2, -1}, {1, 2, 1}, {-1, 2, 1});
        Node mirror(NT_MAT_METALLIC);
        mirror.connect(P_SPECULAR, s.keep(rgb(splat(0.9f))));
        MeshData parts = floor(2.5f);
        parts.quad({-3, 3.2f, -3}, {3, 3.2f, -3}, {3, 3.2f, 3}, {-3, 3.2f, 3}, 0);
        parts.quad({-0.5f, 1, 0.5f}, {0.5f, 1, 0.5f}, {0.5f, 1, -0.5f}, {-0.5f, 1, -0.5f}, 0);
        parts.quad({-3, 0, -2}, {3, 0, -2}, {3, 3, -2}, {-3, 3, -2}, 1);
        MeshData other;
        other.quad({2.5f, 0, 0}, {2.5f, 1, 0}, {2.5f, 1, 1}, {2.5f, 0, 1});
        return s.group({s.keep(lamp.node({s.keep(veiled)})),
                        s.keep(parts.node({s.diffuse({0.7f, 0.6f, 0.5f}), s.keep(mirror)})),
                        s.keep(other.node({s.emitter({1, 2, 1}, true)}))});
    };
    for (const NodeType type : {NT_EMIS_BLACKBODY, NT_EMIS_TEXTURE}) {
        eachIsHeard(type, room, [&](Scene& s, Node& n) {
            n.connect(P_EMIS_TEXTURE, s.keep(rgb({1, 0.9f, 0.8f}))).set(P_POWER, 5.0f);
            if (type == NT_EMIS_BLACKBODY) n.set(P_TEMPERATURE, 3000.0f);
        });
    }
}

TEST_F(Pins, OfEnvironments) {
    const World yard = [](Scene& s, const NodeRecordPtr&) {
        s.camera.set(P_POSITION, Float3{0, 1, 5}).set(P_TARGET, Float3{0, 0.8f, 0}).set(P_FOV, 70.0f);
        Node mirror(NT_MAT_METALLIC), pane(NT_MAT_SPECULAR);
        mirror.connect(P_SPECULAR, s.keep(rgb(splat(0.9f))));
        pane.set(P_INDEX, 1.1f);
        MeshData m = floor(1.5f);
        m.quad({-2, 0, 0}, {-0.5f, 0, -1}, {-0.5f, 2, -1}, {-2, 2, 0}, 1);
        m.quad({0.5f, 0, -1}, {2, 0, 0}, {2, 2, 0}, {0.5f, 2, -1}, 2);
        return s.keep(m.node({s.diffuse(splat(0.7f)), s.keep(mirror), s.keep(pane)}));
    };
    eachIsHeard(NT_ENV_DAYLIGHT, yard, [](Scene&, Node& n) {
        n.set(P_SUN_DIRECTION, Float3{0.2f, 0.15f, -1}).set(P_GROUND_COLOR, Float3{0.5f, 0.4f, 0.3f});
        n.set(P_GROUND_START_ANGLE, 3.0f).set(P_NORTH_OFFSET, 0.05f).set(P_SUN_SIZE, 6.0f);
    });
    eachIsHeard(NT_ENV_TEXTURE, yard, [](Scene& s, Node& n) {
        std::vector<float> sky;
        for (int i = 0; i < 8; ++i) {
            const float v = i % 4 == 1 ? 3.0f : 0.2f;
            sky.insert(sky.end(), {v, 0.5f * v, 0.8f * v, 1.0f});
        }
        n.connect(P_TEXTURE, s.keep(image(4, 2, sky)));
    });
}

TEST_F(Pins, OfDisplacement) {
    const World slope = [](Scene& s, const NodeRecordPtr& displacement) {
        s.environment({0.2f, 0.3f, 0.4f});
        s.camera.set(P_POSITION, Float3{0, 2, 4}).set(P_TARGET, Float3{}).set(P_FOV, 40.0f);
        MeshData m, lamp;
        m.quad({-1, 0, 1}, {1, 0, 1}, {1, 0.3f, -1}, {-1, 0.3f, -1});
        m.normals = {normalize(Float3{0.3f, 1, 0}), {0, 1, 0}};
        m.normalIndices = {0, 1, 1, 0};
        lamp.quad({3, 1, 0}, {3, 2, 0}, {3, 2, 1}, {3, 1, 1});
        const NodeRecordPtr material = s.keep(Node(NT_MAT_DIFFUSE).connect(P_DISPLACEMENT, displacement));
        return s.group({s.keep(m.node({material})), s.keep(lamp.node({s.emitter(splat(9.0f), true)}))});
    };
    eachIsHeard(NT_DISPLACEMENT, slope, [](Scene& s, Node& n) {
        std::vector<unsigned char> pixels;
        for (int i = 0; i < 64; ++i) {
            const auto v = static_cast<unsigned char>(37 * i * i % 251);
            pixels.insert(pixels.end(), {v, v, static_cast<unsigned char>(v / 2), 255});
        }
        n.connect(P_TEXTURE, s.keep(image(8, 8, pixels))).set(P_AMOUNT, 0.2f).set(P_LEVEL, 3);
    });
}

TEST_F(Pins, OfToonLights) {
    for (const NodeType type : {NT_TOON_POINT_LIGHT, NT_TOON_DIRECTIONAL_LIGHT}) {
        eachIsHeard(
            type,
            [](Scene& s, const NodeRecordPtr& light) {
                s.camera.set(P_POSITION, Float3{0, 2, 4}).set(P_TARGET, Float3{}).set(P_FOV, 40.0f);
                const NodeRecordPtr toon = s.keep(Node(NT_MAT_TOON).set(P_TOON_LIGHT_MODE, 2));
                return s.group({s.scatter(s.keep(MeshData::sphere(12, 8).node({toon})), {Matrix<float>{}}),
                                s.scatter(light, {translation({1, 3, 1})})});
            },
            [](Scene&, Node& n) {
                if (n.operator NodeRecordPtr()->pin(P_SUN_DIRECTION)) n.set(P_SUN_DIRECTION, Float3{-1, 1, 1});
            });
    }
}

}  // namespace
}  // namespace Lumora::engine::test
