// Materials as they are seen in pictures, from nodes to pixels.
#include <gtest/gtest.h>

#include <functional>
#include <string_view>

#include "engine/schema/texts.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

using Setter = std::function<void(Scene&, Node&)>;

Setter pin(PinId id, Value value) {
    return [=](Scene&, Node& n) { n.set(id, value); };
}
Setter grey(PinId id, float value) {
    return [=](Scene& s, Node& n) { n.connect(id, s.keep(constant(value))); };
}
Setter colour(PinId id, Float3 value) {
    return [=](Scene& s, Node& n) { n.connect(id, s.keep(rgb(value))); };
}

struct Look {
    const char* name;
    NodeType type;
    std::vector<Setter> setters;
    bool lossless = false;
};

NodeRecordPtr make(Scene& scene, NodeType type, const std::vector<Setter>& setters) {
    Node node(type);
    for (const Setter& set : setters) set(scene, node);
    return scene.keep(node);
}

const Float3 kWhite{1, 1, 1};

/// A sphere in a white world is as bright as the share of light that it does not keep.
TEST(Materials, WhiteFurnace) {
    const Setter white = colour(P_DIFFUSE, kWhite), whiteAlbedo = colour(P_ALBEDO, kWhite);
    const std::vector<Look> looks = {
        {"rough diffuse", NT_MAT_DIFFUSE, {white, grey(P_ROUGHNESS, 1)}, true},
        {"leaf", NT_MAT_DIFFUSE, {white, colour(P_TRANSMISSION, splat(0.5f))}, true},
        {"glossy", NT_MAT_GLOSSY, {white}, true},
        {"rough glossy", NT_MAT_GLOSSY, {white, grey(P_ROUGHNESS, 1), pin(P_INDEX, 8.0f)}, true},
        {"glossy with all layers",
         NT_MAT_GLOSSY,
         {white, colour(P_SHEEN, kWhite), colour(P_COATING, kWhite), grey(P_FILM_WIDTH, 0.5f)}},
        {"glass", NT_MAT_SPECULAR, {pin(P_INDEX, 1.5f)}, true},
        {"rough glass", NT_MAT_SPECULAR, {pin(P_INDEX, 1.5f), grey(P_ROUGHNESS, 0.6f)}, true},
        {"diamond", NT_MAT_SPECULAR, {pin(P_INDEX, 2.4f), pin(P_DISPERSION, 0.02f)}, true},
        {"rough metal", NT_MAT_METALLIC, {colour(P_SPECULAR, kWhite), grey(P_ROUGHNESS, 1)}, true},
        {"brushed metal",
         NT_MAT_METALLIC,
         {colour(P_SPECULAR, kWhite), grey(P_ROUGHNESS, 0.5f), pin(P_ANISOTROPY, 1.0f)}},
        {"toon", NT_MAT_TOON, {white}},
        {"plastic", NT_MAT_UNIVERSAL, {whiteAlbedo, grey(P_ROUGHNESS, 0.3f)}, true},
        {"half metal", NT_MAT_UNIVERSAL, {whiteAlbedo, grey(P_ROUGHNESS, 0.5f), grey(P_UNIVERSAL_SPECULAR_MAP, 0.5f)}},
        {"half clear",
         NT_MAT_UNIVERSAL,
         {whiteAlbedo, grey(P_ROUGHNESS, 0.2f), colour(P_TRANSMISSION, splat(0.5f)), colour(P_COATING, kWhite)}},
    };
    for (const Look& look : looks) {
        Scene scene(12, 12, 256);
        scene.environment(kWhite);
        scene.kernel.set(P_MAX_GLOSSY_DEPTH, 200).set(P_MAX_DIFFUSE_DEPTH, 200);
        scene.camera.set(P_FOV, 22.0f);
        const NodeRecordPtr material = make(scene, look.type, look.setters);
        const Image image = Render().picture(scene.delta(scene.keep(MeshData::sphere(64, 48).node({material}))));
        const Float3 c = mean(image, 2, 2, 8, 8);
        for (const float v : {c.x, c.y, c.z}) {
            EXPECT_LT(v, 1.03f) << look.name;
            EXPECT_GT(v, look.lossless ? 0.96f : 0.3f) << look.name;
        }
    }
}

/// Radiance of a pane that fills the view, before a glowing wall or in a white world.
Float3 seenOf(Scene& scene, const NodeRecordPtr& material, bool slab) {
    scene.camera.set(P_FOV, 2.0f);
    MeshData m;
    if (slab) {
        m.box({-1, -1, -0.1f}, {1, 1, 0.1f}, 0);
        m.quad({-3, -3, -1}, {3, -3, -1}, {3, 3, -1}, {-3, 3, -1}, 1);
    } else {
        m.quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, 0);
        scene.environment(kWhite);
    }
    const NodeRecordPtr mesh = scene.keep(m.node({material, scene.emitter(kWhite)}));
    return mean(Render().picture(scene.delta(mesh)), 0, 0, 8, 8);
}

TEST(Materials, ReflectanceHeadOnMatchesFresnel) {
    const auto conductor = [](float n, float k) { return ((n - 1) * (n - 1) + k * k) / ((n + 1) * (n + 1) + k * k); };
    const auto copper = [](int mode) {
        return std::vector<Setter>{pin(P_IOR_MODE, mode), pin(P_INDEX, Vec2<float>{0.27f, 3.4f}),
                                   pin(P_INDEX2, Vec2<float>{0.68f, 2.6f}), pin(P_INDEX3, Vec2<float>{1.32f, 2.3f}),
                                   colour(P_SPECULAR, {0.9f, 0.5f, 0.2f})};
    };
    struct Case {
        Look look;
        Float3 wanted;
    };
    std::vector<Setter> plain = copper(2);
    plain.back() = colour(P_SPECULAR, kWhite);
    const float red = conductor(0.27f, 3.4f);
    const std::vector<Case> cases = {
        {{"dielectric", NT_MAT_GLOSSY, {colour(P_DIFFUSE, {}), pin(P_INDEX, 1.5f)}}, splat(0.04f)},
        {{"metal by its colour", NT_MAT_METALLIC, copper(0)}, {0.9f, 0.5f, 0.2f}},
        {{"metal of one index, tinted", NT_MAT_METALLIC, copper(1)}, {0.9f * red, 0.5f * red, 0.2f * red}},
        {{"metal of three indices", NT_MAT_METALLIC, plain}, {red, conductor(0.68f, 2.6f), conductor(1.32f, 2.3f)}},
    };
    for (const Case& c : cases) {
        Scene scene(8, 8, 16);
        const Float3 seen = seenOf(scene, make(scene, c.look.type, c.look.setters), false);
        EXPECT_NEAR(seen.x, c.wanted.x, 0.005f) << c.look.name;
        EXPECT_NEAR(seen.y, c.wanted.y, 0.005f) << c.look.name;
        EXPECT_NEAR(seen.z, c.wanted.z, 0.005f) << c.look.name;
    }
    // A slab sends back and forth what its faces reflect.
    Scene scene(8, 8, 256);
    const float r = 0.04f;
    const Float3 through = seenOf(scene, make(scene, NT_MAT_SPECULAR, {pin(P_INDEX, 1.5f)}), true);
    EXPECT_NEAR(through.y, (1 - r) / (1 + r), 0.006f);
    Scene tinted(8, 8, 256);
    const Float3 green = seenOf(
        tinted, make(tinted, NT_MAT_SPECULAR, {pin(P_INDEX, 1.0f), colour(P_TRANSMISSION, {0.5f, 0.9f, 0.2f})}), true);
    EXPECT_NEAR(green.y, 0.81f, 0.006f);
    EXPECT_NEAR(green.x, 0.25f, 0.006f);
}

TEST(Materials, MixesNestAndShareByTheirAmount) {
    Scene scene(8, 8, 256);
    NodeRecordPtr top = make(scene, NT_MAT_DIFFUSE, {colour(P_DIFFUSE, kWhite)});
    const NodeRecordPtr black = scene.diffuse({});
    float wanted = 1.0f;
    for (int i = 0; i < 20; ++i) {
        wanted *= 0.9f;
        Node mix(NT_MAT_MIX);
        mix.connect(P_AMOUNT, scene.keep(constant(0.1f))).connect(P_MATERIAL1, black).connect(P_MATERIAL2, top);
        top = scene.keep(mix);
    }
    EXPECT_NEAR(seenOf(scene, top, false).y, wanted, 0.01f);
}

/// Half of the surface is not there; what is left is its other half, not a mean of both.
TEST(Materials, MixWithSomethingTransparentShowsTheRest) {
    Scene scene(8, 8, 256);
    scene.environment({0.2f, 0.2f, 1.0f});
    scene.camera.set(P_FOV, 2.0f);
    const NodeRecordPtr gone = make(scene, NT_MAT_DIFFUSE, {colour(P_DIFFUSE, {1, 0, 0}), grey(P_OPACITY, 0.0f)});
    Node mix(NT_MAT_MIX);
    const NodeRecordPtr half = scene.keep(mix.connect(P_AMOUNT, scene.keep(constant(0.5f)))
                                              .connect(P_MATERIAL1, gone)
                                              .connect(P_MATERIAL2, scene.emitter({0, 1, 0})));
    const NodeRecordPtr mesh =
        scene.keep(MeshData().quad({-1, -1, 0}, {1, -1, 0}, {1, 1, 0}, {-1, 1, 0}, 0).node({half}));
    const Float3 c = mean(Render().picture(scene.delta(mesh)), 0, 0, 8, 8);
    EXPECT_NEAR(c.x, 0.1f, 0.01f) << "nothing of the red one";
    EXPECT_NEAR(c.z, 0.5f, 0.05f) << "half of the world behind";
}

TEST(Materials, BouncesAreCountedByKind) {
    // Two mirrors face each other; the camera looks at one of them from the side of the other: a corridor that ends
    // after as many reflections as are allowed, before a wall that glows.
    const auto brightness = [](int glossyDepth, int diffuseDepth) {
        Scene scene(8, 8, 64);
        scene.kernel.set(P_MAX_GLOSSY_DEPTH, glossyDepth).set(P_MAX_DIFFUSE_DEPTH, diffuseDepth);
        scene.camera.set(P_POSITION, Float3{0, 0, 0}).set(P_TARGET, Float3{1, 0, -1}).set(P_FOV, 1.0f);
        const NodeRecordPtr mirror = make(scene, NT_MAT_METALLIC, {colour(P_SPECULAR, kWhite)});
        MeshData m;
        m.quad({1, -9, 9}, {1, -9, -99}, {1, 9, -99}, {1, 9, 9}, 0);
        m.quad({-1, -9, -99}, {-1, -9, 9}, {-1, 9, 9}, {-1, 9, -99}, 0);
        m.quad({-2, -9, -8}, {2, -9, -8}, {2, 9, -8}, {-2, 9, -8}, 1);  // after four reflections: at 1, 3, 5, 7
        return mean(Render().picture(scene.delta(scene.keep(m.node({mirror, scene.emitter(kWhite)})))), 0, 0, 8, 8).y;
    };
    EXPECT_NEAR(brightness(4, 1), 1.0f, 1e-4f);
    EXPECT_NEAR(brightness(3, 9), 0.0f, 1e-4f);
}

TEST(Materials, MatteSurfacesShowTheirShadowsInAlpha) {
    Scene scene(32, 32, 64);
    scene.kernel.set(P_ALPHA_CHANNEL, true);
    scene.camera.set(P_POSITION, Float3{0, 6, 0.01f}).set(P_TARGET, Float3{}).set(P_FOV, 60.0f);
    const NodeRecordPtr floor = make(scene, NT_MAT_DIFFUSE, {pin(P_MATTE, true)});
    MeshData m;
    m.quad({-9, 0, 9}, {9, 0, 9}, {9, 0, -9}, {-9, 0, -9}, 0);
    m.quad({-0.2f, 20, -0.2f}, {0.2f, 20, -0.2f}, {0.2f, 20, 0.2f}, {-0.2f, 20, 0.2f}, 1);
    m.quad({0.5f, 8, 1}, {2.5f, 8, 1}, {2.5f, 8, -1}, {0.5f, 8, -1}, 2);  // behind the camera, between floor and lamp
    const NodeRecordPtr mesh = scene.keep(m.node({floor, scene.emitter(splat(100.0f)), scene.diffuse(splat(0.5f))}));
    const Image image = Render().picture(scene.delta(mesh));
    ASSERT_TRUE(image.floats);
    const auto alpha = [&](unsigned x, unsigned y) { return (*image.floats)[4 * (y * 32 + x) + 3]; };
    EXPECT_NEAR(alpha(28, 16), 1.0f, 1e-3f) << "in the shadow";
    EXPECT_NEAR(alpha(4, 16), 0.0f, 1e-3f) << "in the light";
    EXPECT_NEAR(pixel(image, 28, 16).y, 0.0f, 1e-4f) << "a shadow is black";
}

TEST(Materials, FakeShadowsLetLightThroughPanes) {
    const auto below = [](bool fake) {
        Scene scene(8, 8, 64);
        scene.camera.set(P_POSITION, Float3{3, 1, 0}).set(P_TARGET, Float3{}).set(P_FOV, 5.0f);
        const NodeRecordPtr glass = make(scene, NT_MAT_SPECULAR, {pin(P_INDEX, 1.5f), pin(P_FAKE_SHADOWS, fake)});
        MeshData m;
        m.quad({-5, 0, 5}, {5, 0, 5}, {5, 0, -5}, {-5, 0, -5}, 0);
        m.quad({-0.05f, 9, -0.05f}, {0.05f, 9, -0.05f}, {0.05f, 9, 0.05f}, {-0.05f, 9, 0.05f}, 1);
        m.quad({-1, 2, 1}, {1, 2, 1}, {1, 2, -1}, {-1, 2, -1}, 2);
        scene.kernel.set(P_MAX_DIFFUSE_DEPTH, 1);
        const NodeRecordPtr mesh = scene.keep(m.node({scene.diffuse(splat(0.8f)), scene.emitter(splat(1e4f)), glass}));
        const Image image = Render().picture(scene.delta(mesh));
        return mean(image, 0, 0, 8, 8).y;
    };
    const float dark = below(false), light = below(true);
    EXPECT_GT(light, 0.05f);
    EXPECT_LT(dark, 0.5f * light);
}

/// A ridge with texture coordinates and normals of its own, before a wall, lit from the side and by a sky of two
/// halves. One renderer shows it under one material after the other.
class Ridge {
public:
    Ridge(NodeType type, const std::vector<Setter>& base) : scene_(24, 16, 16) {
        scene_.kernel.set(P_ALPHA_CHANNEL, true).set(P_KEEP_ENVIRONMENT, true);
        scene_.camera.set(P_POSITION, Float3{0.2f, 0.4f, 4}).set(P_FOV, 38.0f);
        material_ = make(scene_, type, base);
        MeshData m;
        m.quad({-1, -0.8f, 0}, {0, -0.8f, 0.6f}, {0, 0.8f, 0.6f}, {-1, 0.8f, 0}, 0);
        m.quad({0, -0.8f, 0.6f}, {1, -0.8f, 0}, {1, 0.8f, 0}, {0, 0.8f, 0.6f}, 0);
        m.normals = {normalize(Float3{-1, 0, 1}), {0, 0, 1}, normalize(Float3{1, 0, 1})};
        m.normalIndices = {0, 1, 1, 0, 1, 2, 2, 1};
        MeshData rest;
        rest.quad({-3, -2, -1.5f}, {1.5f, -2, -1.5f}, {1.5f, 2, -1.5f}, {-3, 2, -1.5f}, 0);
        rest.quad({2, 2, 2}, {2, 2, 0}, {3, 0, 0}, {3, 0, 2}, 1);
        std::vector<float> sky;
        for (int i = 0; i < 8; ++i) {
            const float v = i % 4 == 1 ? 2.0f : 0.2f;
            sky.insert(sky.end(), {v, 0.5f * v, 0.8f * v, 1.0f});
        }
        world_ = scene_.keep(Node(NT_ENV_TEXTURE).connect(P_TEXTURE, scene_.keep(image(4, 2, sky))).set(P_POWER, 1.0f));
        const NodeRecordPtr wall = scene_.diffuse({0.7f, 0.5f, 0.3f}), lamp = scene_.emitter(splat(8.0f), true);
        group_ = scene_.group({scene_.keep(m.node({material_})), scene_.keep(rest.node({wall, lamp}))});
    }

    /// The material with one more thing set.
    Image show(const Setter& setter) {
        Node changed(material_);
        if (setter) setter(scene_, changed);
        SceneDelta delta = scene_.delta(group_, ++level_);
        delta.changed.push_back(Node(NodeRecordPtr(scene_.target)).connect(P_ENVIRONMENT, world_));
        delta.changed.push_back(changed);
        return render_.picture(delta);
    }

private:
    Scene scene_;
    Render render_;
    NodeRecordPtr material_, world_, group_;
    std::uint64_t level_ = 0;
};

Setter part(PinId id, NodeType type) {
    return [=](Scene& s, Node& n) { n.connect(id, s.keep(Node(type))); };
}

/// Values under which every pin of a material has something to say.
std::vector<Setter> everythingOn(NodeType type) {
    const std::vector<std::pair<PinId, Setter>> all = {
        {P_DIFFUSE, colour(P_DIFFUSE, {0.6f, 0.4f, 0.3f})},
        {P_ALBEDO, colour(P_ALBEDO, {0.6f, 0.4f, 0.3f})},
        {P_SPECULAR, colour(P_SPECULAR, {0.9f, 0.8f, 0.7f})},
        {P_ROUGHNESS, grey(P_ROUGHNESS, 0.4f)},
        {P_ANISOTROPY, pin(P_ANISOTROPY, 0.6f)},
        {P_SHEEN, colour(P_SHEEN, splat(0.5f))},
        {P_COATING, colour(P_COATING, splat(0.5f))},
        {P_COATING_ROUGHNESS, grey(P_COATING_ROUGHNESS, 0.3f)},
        {P_FILM_WIDTH, grey(P_FILM_WIDTH, 0.4f)},
        {P_IOR_MODE, pin(P_IOR_MODE, 2)},
        {P_INDEX2, pin(P_INDEX2, Vec2<float>{0.7f, 2.6f})},
        {P_INDEX3, pin(P_INDEX3, Vec2<float>{1.3f, 2.3f})},
        {P_UNIVERSAL_SPECULAR_MAP, grey(P_UNIVERSAL_SPECULAR_MAP, 0.4f)},
        {P_TOON_OUTLINE, colour(P_TOON_OUTLINE, {0.1f, 0.2f, 0.9f})},
        {P_WIDTH, pin(P_WIDTH, 0.9f)},
    };
    std::vector<Setter> setters;
    if (type == NT_MAT_MIX) {
        setters.push_back(grey(P_AMOUNT, 0.7f));
        setters.push_back(part(P_MATERIAL1, NT_MAT_GLOSSY));
        setters.push_back(part(P_MATERIAL2, NT_MAT_METALLIC));
    }
    for (const auto& [id, setter] : all) {
        if (nodeSchema(type)->pinIndex(id) >= 0) setters.push_back(setter);
    }
    if (type == NT_MAT_UNIVERSAL || type == NT_MAT_SPECULAR || type == NT_MAT_DIFFUSE)
        setters.push_back(colour(P_TRANSMISSION, {0.3f, 0.4f, 0.5f}));
    return setters;
}

Setter otherValue(const PinSchema& p) {
    switch (p.id) {
        case P_EMISSION:
            return [](Scene& s, Node& n) {
                Node emission(NT_EMIS_TEXTURE);
                emission.connect(P_EMIS_TEXTURE, s.keep(rgb(kWhite))).set(P_POWER, 1.0f);
                n.connect(P_EMISSION, s.keep(emission));
            };
        case P_TOON_DIFFUSE_RAMP:
        case P_TOON_SPECULAR_RAMP:
            return [id = p.id](Scene& s, Node& n) {
                n.connect(id, s.keep(Node(NT_TEX_TOONRAMP).set(P_START, Float3{0.9f, 0.1f, 0.1f})));
            };
        case P_BUMP:
            return [](Scene& s, Node& n) {
                // Steeper than any surface: what one step of the checks is in centimetres.
                Node power(NT_TEX_MULTIPLY);
                power.connect(P_TEXTURE1, s.keep(Node(NT_TEX_CHECKS))).connect(P_TEXTURE2, s.keep(constant(20.0f)));
                n.connect(P_BUMP, s.keep(power));
            };
        case P_DISPLACEMENT:
            return [](Scene& s, Node& n) {
                Node displacement(NT_DISPLACEMENT);
                displacement.connect(P_TEXTURE, s.keep(constant(1.0f))).set(P_AMOUNT, 0.3f).set(P_LEVEL, 2);
                n.connect(P_DISPLACEMENT, s.keep(displacement));
            };
        case P_MEDIUM:
            return part(p.id, NT_MED_ABSORPTION);
        case P_MATERIAL1:
        case P_MATERIAL2:
            return part(p.id, NT_MAT_DIFFUSE);
        case P_NORMAL:
            return colour(p.id, {0.75f, 0.6f, 0.9f});
        case P_EDGES_ROUNDING:
            return pin(p.id, 0.3f);
        case P_INDEX:
            return p.dimension == 2 ? pin(p.id, Vec2<float>{0.3f, 3.0f}) : pin(p.id, 2.0f);
        case P_INDEX2:
        case P_INDEX3:
            return pin(p.id, Vec2<float>{0.3f, 3.0f});
        case P_IOR_MODE:
            return pin(p.id, 0);
        case P_IOR_MAP:
            return grey(p.id, 2.2f);
        case P_DISPERSION:
            return pin(p.id, 0.05f);
        case P_ANISOTROPY:
            return pin(p.id, -0.6f);
        case P_COATING_IOR:
        case P_FILM_INDEX:
        case P_INDEX_UNIVERSAL:
            return pin(p.id, 2.1f);
        default:
            break;
    }
    if (p.type == PT_BOOL) return pin(p.id, p.defaultValue.x == 0.0f);
    if (p.type == PT_INT || p.type == PT_ENUM) return pin(p.id, 1);
    if (p.type == PT_TEXTURE) return colour(p.id, {0.2f, 0.1f, 0.15f});
    return pin(p.id, 0.3f);
}

TEST(Materials, EveryPinIsSeen) {
    for (const NodeType type : {NT_MAT_DIFFUSE, NT_MAT_GLOSSY, NT_MAT_SPECULAR, NT_MAT_METALLIC, NT_MAT_TOON,
                                NT_MAT_UNIVERSAL, NT_MAT_MIX, NT_MAT_PORTAL}) {
        const NodeSchema& schema = *nodeSchema(type);
        Ridge ridge(type, everythingOn(type));
        const Image before = ridge.show(nullptr);
        ASSERT_TRUE(before.floats);
        for (const PinSchema& p : schema.pins) {
            const bool silent = std::string_view(pinText(type, p.id).effect).starts_with("No effect");
            const Image after = ridge.show(otherValue(p));
            double difference = 0.0;
            for (std::size_t i = 0; i < before.floats->size(); ++i) {
                difference += std::abs((*before.floats)[i] - (*after.floats)[i]);
            }
            if (silent) {
                EXPECT_EQ(difference, 0.0) << schema.name << ": " << p.name;
            } else {
                EXPECT_GT(difference / (24.0 * 16.0), 1e-3) << schema.name << ": " << p.name;
            }
        }
    }
}

/// The graph hands a plain colour that is connected over as the pin's own value, also where the pin has none.
TEST(Materials, PlainColoursAreSeenOnPinsWithoutAValue) {
    for (const NodeType type : {NT_MAT_DIFFUSE, NT_MAT_TOON, NT_MAT_UNIVERSAL}) {
        Ridge ridge(type, {});
        const Image before = ridge.show(nullptr);
        for (const PinSchema& p : nodeSchema(type)->pins) {
            if (p.type != PT_TEXTURE || p.dimension > 0 || p.id == P_BUMP) continue;
            const Float3 value{0.6f, 0.5f, 0.9f};
            const Image connected = ridge.show(colour(p.id, value)), given = ridge.show(pin(p.id, value));
            EXPECT_EQ(*connected.floats, *given.floats) << nodeSchema(type)->name << ": " << p.name;
            EXPECT_NE(*before.floats, *given.floats) << nodeSchema(type)->name << ": " << p.name;
        }
    }
}

/// Textures of no numbers, of infinities and of huge values, on every pin that takes one.
TEST(Materials, BrokenNumbersBreakNothing) {
    const float bad[] = {std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity, 1e30f, -1e30f};
    std::vector<float> pixels;
    for (int i = 0; i < 20; ++i) pixels.push_back(bad[i % 5]);
    for (const NodeType type :
         {NT_MAT_DIFFUSE, NT_MAT_GLOSSY, NT_MAT_SPECULAR, NT_MAT_METALLIC, NT_MAT_TOON, NT_MAT_UNIVERSAL}) {
        for (const PinSchema& p : nodeSchema(type)->pins) {
            if (p.type != PT_TEXTURE) continue;
            Scene scene(8, 8, 8);
            scene.environment(kWhite);
            std::vector<Setter> setters = everythingOn(type);
            setters.push_back([&](Scene& s, Node& n) { n.connect(p.id, s.keep(image(5, 1, pixels))); });
            MeshData m;
            m.quad({-2, -2, 0}, {2, -2, 0}, {2, 2, 0}, {-2, 2, 0});
            const Image picture = Render().picture(scene.delta(scene.keep(m.node({make(scene, type, setters)}))));
            ASSERT_TRUE(picture.floats);
            for (const float v : *picture.floats) {
                ASSERT_TRUE(std::isfinite(v) && v >= 0.0f && v < 1e3f) << nodeSchema(type)->name << ": " << p.name;
            }
        }
    }
}

TEST(Materials, SamePictureOnOneAndTwoThreads) {
    std::vector<std::vector<float>> pictures;
    for (const unsigned threads : {1u, 2u}) {
        Scene scene(48, 32, 9);
        scene.environment({0.3f, 0.4f, 0.5f});
        MeshData m;
        std::vector<NodeRecordPtr> materials;
        int i = 0;
        for (const NodeType type :
             {NT_MAT_DIFFUSE, NT_MAT_GLOSSY, NT_MAT_SPECULAR, NT_MAT_METALLIC, NT_MAT_TOON, NT_MAT_UNIVERSAL}) {
            std::vector<Setter> setters = everythingOn(type);
            setters.push_back(pin(P_EDGES_ROUNDING, 0.1f));
            if (type == NT_MAT_SPECULAR) setters.push_back(pin(P_DISPERSION, 0.03f));
            materials.push_back(make(scene, type, setters));
            const float x = -1.5f + 0.6f * static_cast<float>(i);
            m.box({x, -0.5f, -0.3f}, {x + 0.5f, 0.3f, 0.2f}, i++);
        }
        Node mix(NT_MAT_MIX);
        materials.push_back(scene.keep(mix.connect(P_MATERIAL1, materials[3]).connect(P_MATERIAL2, materials[0])));
        m.quad({-3, -0.5f, 3}, {3, -0.5f, 3}, {3, -0.5f, -3}, {-3, -0.5f, -3}, 6);
        const Image image = Render(threads).picture(scene.delta(scene.keep(m.node(materials))));
        ASSERT_TRUE(image.floats);
        pictures.push_back(*image.floats);
    }
    EXPECT_EQ(pictures[0], pictures[1]);
}

}  // namespace
}  // namespace Lumora::engine::test
