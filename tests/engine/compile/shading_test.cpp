// What an edit of materials and textures costs, and that what is kept is what would be made anew.
#include <gtest/gtest.h>

#include <random>
#include <sstream>

#include "engine/compile/scene_compiler.h"
#include "tests/engine/compile/image_samples.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// All that a shading says of a slot, wherever it stands in the tables.
class Print {
public:
    explicit Print(const Shading& shading) : shading_(shading) {}

    std::string slots() {
        for (const MaterialId id : shading_.slotMaterials) material(id), out_ << '\n';
        for (const ToonLight& light : shading_.toonLights) color(light.color);
        out_ << shading_.transparent;
        return out_.str();
    }

private:
    void color(Float3 c) { out_ << c.x << ',' << c.y << ',' << c.z << ' '; }
    void texture(TextureId id) {
        if (id == kNoTexture) {
            out_ << "- ";
            return;
        }
        const TextureTable& t = shading_.textures;
        const TextureNode& n = t.nodes[id];
        out_ << '[' << int(n.op) << ' ' << int(n.kind) << n.invert << n.flag << ' ';
        color(n.value);
        for (const float p : n.p) out_ << p << ' ';
        for (const TextureId input : {n.a, n.b, n.c, n.d, n.power}) texture(input);
        if (n.mapping != kNoTexture) {
            const Mapping& m = t.mappings[n.mapping];
            out_ << int(m.kind) << int(m.uvSet) << int(m.space) << m.uvwToTexture.m[0][3] << ' ';
        }
        if (n.op == TextureOp::Gradient) {
            for (const Gradient::Knot& k : t.gradients[n.data].knots) {
                out_ << k.position << ' ', color(k.value), texture(k.valueTexture);
            }
        }
        out_ << ']';
    }
    void input(const MaterialInput& in) { color(in.value), texture(in.texture); }
    void material(MaterialId id) {
        const Material& m = shading_.materials[id];
        out_ << '{' << int(m.kind) << m.smooth << m.textured << m.opaque << m.portal << m.fakeShadows << ' ' << m.rank;
        for (const TextureId t : {m.opacity, m.normal, m.bump, m.amount}) texture(t);
        for (const MaterialInput* in : {&m.albedo, &m.transmission, &m.specular, &m.roughness, &m.sheen}) input(*in);
        if (m.emission != kNoEmission) {
            const Emission& e = shading_.emissions[m.emission];
            color(e.scale), texture(e.color), texture(e.distribution);
            out_ << e.samplingRate << ' ' << e.idBit;
        }
        for (const std::uint32_t ramp : {m.toonBody, m.toonHighlight}) {
            if (ramp != kNoRamp) color(shading_.toonRamps[ramp].values[40]);
        }
        out_ << m.index << ' ' << m.edgeRadius;
        if (m.kind == MaterialKind::Mix) material(m.first), material(m.second);
        out_ << '}';
    }

    const Shading& shading_;
    std::ostringstream out_;
};

/// Edits of all kinds on a net of textures, emissions, materials and mixes.
class Net {
public:
    explicit Net(unsigned seed) : random_(seed) {
        const NodeType textures[] = {NT_TEX_FLOAT, NT_TEX_RGB,      NT_TEX_NOISE,   NT_TEX_MULTIPLY, NT_TEX_MIX,
                                     NT_TEX_ADD,   NT_TEX_GRADIENT, NT_TEX_INVERT,  NT_TEX_CHECKS,   NT_TEX_CLAMP,
                                     NT_TEX_RGB,   NT_TEX_TOONRAMP, NT_TRANSFORM_3D};
        const NodeType others[] = {NT_EMIS_TEXTURE, NT_EMIS_BLACKBODY, NT_MAT_DIFFUSE, NT_MAT_GLOSSY,
                                   NT_MAT_TOON,     NT_MAT_SPECULAR,   NT_MAT_MIX,     NT_MAT_DIFFUSE,
                                   NT_MAT_PORTAL,   NT_MAT_MIX,        NT_MAT_MIX};
        for (const NodeType type : textures) nodes_.push_back(Node(type));
        for (const NodeType type : others) nodes_.push_back(Node(type));
        there_.assign(nodes_.size(), true);
        MeshData mesh;
        std::vector<NodeRecordPtr> slots;
        for (const NodeRecordPtr& node : nodes_) {
            if (nodeSchema(node->type)->output != PT_MATERIAL || slots.size() == 6) continue;
            const float x = static_cast<float>(slots.size());
            mesh.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, static_cast<int>(slots.size()));
            slots.push_back(node);
        }
        slots.back() = nodes_.back();
        for (const NodeRecordPtr& node : nodes_) scene_.keep(node);
        whole_ = scene_.delta(scene_.keep(mesh.node(slots)));
        latest_ = whole_.changed;
    }

    std::size_t size() const { return nodes_.size(); }
    SceneDelta whole() const {
        SceneDelta delta = whole_;
        delta.changed = latest_;
        return delta;
    }

    SceneDelta edit() {
        SceneDelta delta = whole_;
        delta.changed.clear();
        for (int n = pick(3); n >= 0; --n) {
            const auto i = static_cast<std::size_t>(pick(static_cast<int>(nodes_.size())));
            if (pick(12) == 0) {
                there_[i] = !there_[i];
                if (!there_[i]) {
                    delta.removed.push_back(nodes_[i]->uid);
                    std::erase_if(delta.changed, [&](const NodeRecordPtr& r) { return r->uid == nodes_[i]->uid; });
                    std::erase_if(latest_, [&](const NodeRecordPtr& r) { return r->uid == nodes_[i]->uid; });
                    continue;
                }
                std::erase(delta.removed, nodes_[i]->uid);
            }
            if (!there_[i]) continue;
            nodes_[i] = changed(nodes_[i], i);
            delta.changed.push_back(nodes_[i]);
            std::erase_if(latest_, [&](const NodeRecordPtr& r) { return r->uid == nodes_[i]->uid; });
            latest_.push_back(nodes_[i]);
        }
        return delta;
    }

private:
    int pick(int n) { return static_cast<int>(random_() % static_cast<unsigned>(n)); }
    float value() { return 0.25f * static_cast<float>(pick(5)); }

    NodeRecordPtr changed(const NodeRecordPtr& node, std::size_t index) {
        Node out(node);
        if (node->attribute(A_VALUE)) {
            node->type == NT_TEX_FLOAT ? out.set(A_VALUE, value()) : out.set(A_VALUE, Float3{value(), value(), 0.5f});
            return out;
        }
        const NodeSchema& schema = *nodeSchema(node->type);
        if (schema.pins.empty()) return out;
        const PinSchema& pin = schema.pins[static_cast<std::size_t>(pick(static_cast<int>(schema.pins.size())))];
        if (pin.type == PT_FLOAT && pin.dimension <= 1) out.set(pin.id, 0.5f + value());
        if (pin.type == PT_BOOL) out.set(pin.id, pick(2) == 0);
        // What stands before a node in the list may be connected to it: there are no circles.
        std::vector<NodeRecordPtr> fit{nullptr};
        for (std::size_t i = 0; i < index; ++i) {
            if (nodeSchema(nodes_[i]->type)->output == pin.type) fit.push_back(nodes_[i]);
        }
        if (fit.size() > 1) {
            const NodeRecordPtr& to = fit[static_cast<std::size_t>(pick(static_cast<int>(fit.size())))];
            to ? out.connect(pin.id, to) : out.connect(pin.id, nullptr);
        }
        return out;
    }

    std::mt19937 random_;
    Scene scene_{8, 8, 1};
    std::vector<NodeRecordPtr> nodes_, latest_;
    std::vector<bool> there_;
    SceneDelta whole_;
};

TEST(Shading, EditsGiveWhatABuildFromNothingGives) {
    for (unsigned seed = 0; seed < 4; ++seed) {
        Net net(seed);
        SceneCompiler compiler(nullptr);
        compiler.apply(net.whole());
        for (int step = 0; step < 250; ++step) {
            const RenderScenePtr kept = compiler.apply(net.edit()).scene;
            SceneCompiler anew(nullptr);
            const RenderScenePtr fresh = anew.apply(net.whole()).scene;
            ASSERT_EQ(Print(*kept->shading).slots(), Print(*fresh->shading).slots()) << seed << ", edit " << step;
            ASSERT_EQ(kept->lights->emitters.size(), fresh->lights->emitters.size()) << seed << ", edit " << step;
            if (kept->lights->any()) {
                ASSERT_EQ(kept->lights->tree.bounds().power, fresh->lights->tree.bounds().power)
                    << seed << ", edit " << step;
            }
            ASSERT_EQ(kept->lights->portals.size(), fresh->lights->portals.size());
            // Places in the tables are used again: they hold the most that there was at a time, not all that ever was.
            ASSERT_LE(kept->shading->materials.size(), net.size() + 1) << seed << ", edit " << step;
            ASSERT_LE(kept->shading->emissions.size(), net.size()) << seed << ", edit " << step;
            ASSERT_LE(kept->shading->textures.nodes.size(), 8 * net.size()) << seed << ", edit " << step;
        }
    }
}

/// A hundred materials with values of their own, a texture that all of them read, a lamp and a sky.
struct Hundred {
    Scene scene{8, 8, 1};
    std::vector<NodeRecordPtr> values, materials;
    NodeRecordPtr noise, lamp;
    SceneCompiler compiler{nullptr};
    SceneDelta delta;
    RenderScenePtr built;
    SceneCompiler::Counters before;

    Hundred() {
        noise = scene.keep(Node(NT_TEX_NOISE));
        scene.environment(splat(1.0f));
        MeshData mesh;
        for (int i = 0; i < 100; ++i) {
            values.push_back(scene.keep(constant(0.5f)));
            Node material(NT_MAT_GLOSSY);
            material.connect(P_DIFFUSE, noise).connect(P_ROUGHNESS, values.back());
            materials.push_back(scene.keep(material));
            const float x = static_cast<float>(i);
            mesh.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, i);
        }
        lamp = scene.emitter(splat(5.0f));
        materials.push_back(lamp);
        mesh.quad({0, 5, 0}, {1, 5, 0}, {1, 6, 0}, {0, 6, 0}, 100);
        delta = scene.delta(scene.keep(mesh.node(materials)));
        built = compiler.apply(delta).scene;
        before = compiler.counters();
    }
    RenderScenePtr change(const NodeRecordPtr& node) {
        before = compiler.counters();
        delta.changed = {node};
        return compiler.apply(delta).scene;
    }
    std::uint64_t textures() const { return compiler.counters().texturesDescribed - before.texturesDescribed; }
    std::uint64_t materialsMade() const { return compiler.counters().materialsDescribed - before.materialsDescribed; }
};

TEST(Shading, AnEditCostsWhatItConcerns) {
    Hundred h;
    EXPECT_EQ(h.before.materialsDescribed, 101u);
    const RenderScenePtr valued = h.change(Node(h.values[40]).set(A_VALUE, 0.25f));
    EXPECT_EQ(h.textures(), 1u);
    EXPECT_EQ(h.materialsMade(), 1u);
    EXPECT_NE(valued->shading, h.built->shading);
    EXPECT_EQ(valued->lights, h.built->lights);
    EXPECT_EQ(valued->environment, h.built->environment);
    EXPECT_EQ(valued->geometry, h.built->geometry);
    const Material& old = h.built->shading->materials[h.built->shading->slotMaterials[40]];
    EXPECT_EQ(old.roughness.value.x, 0.5f) << "who renders the old scene sees the old value";

    // Where a texture varies, materials know its place only.
    h.change(Node(h.noise).set(P_OMEGA, 0.3f));
    EXPECT_EQ(h.textures(), 1u);
    EXPECT_EQ(h.materialsMade(), 0u);
    // What varies takes the place of a value.
    const NodeRecordPtr checks = Node(NT_TEX_CHECKS);
    h.delta.changed.clear();
    h.change(checks);
    EXPECT_EQ(h.textures() + h.materialsMade(), 0u) << "nobody reads it";
    h.change(Node(h.materials[3]).connect(P_ROUGHNESS, checks));
    EXPECT_EQ(h.textures(), 1u);
    EXPECT_EQ(h.materialsMade(), 1u);

    const RenderScenePtr dark = h.change(Node(h.lamp).connect(P_EMISSION, nullptr));
    EXPECT_NE(dark->lights, valued->lights);
    EXPECT_FALSE(dark->lights->any());
    const RenderScenePtr same = h.change(Node(h.lamp).connect(P_EMISSION, nullptr).name("Lamp"));
    EXPECT_EQ(same->lights, dark->lights);
}

TEST(Shading, ImagesMakeOnlyWhatWaitsForThemAnew) {
    const SampleFile file("wait.png", makePng({2, 2, 8, 2, {200, 100, 50, 200, 100, 50, 200, 100, 50, 200, 100, 50}}));
    Scene scene(8, 8, 1);
    const auto shown = [&](const NodeRecordPtr& texture) {
        return scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, texture));
    };
    const NodeRecordPtr image = scene.keep(Node(NT_TEX_IMAGE).set(A_FILENAME, file.path()));
    const NodeRecordPtr twin = scene.keep(Node(NT_TEX_IMAGE).set(A_FILENAME, file.path()));
    const NodeRecordPtr bake =
        scene.keep(Node(NT_TEX_BAKING).connect(P_TEXTURE, image).set(P_RESOLUTION, Vec2<int>{4, 4}).set(P_SIZE, 1));
    std::vector<NodeRecordPtr> materials{shown(bake), shown(twin)};
    for (int i = 0; i < 50; ++i) materials.push_back(scene.diffuse(splat(0.5f)));
    MeshData mesh;
    mesh.quad({0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {0, 1, 0});
    SceneCompiler compiler(nullptr);
    SceneDelta delta = scene.delta(scene.keep(mesh.node(materials)));
    const auto red = [&](const RenderScenePtr& built, std::size_t slot) {
        const Shading& s = *built->shading;
        TextureContext at;
        at.uv[0] = {0.25f, 0.9f, 0};
        return s.materials[s.slotMaterials[slot]].albedo.color(s.textures, at).x;
    };
    const RenderScenePtr first = compiler.apply(delta).scene;
    EXPECT_LE(compiler.counters().materialsDescribed, 54u);
    EXPECT_NEAR(red(first, 0), red(first, 1), 0.02f);
    EXPECT_GT(red(first, 1), 0.55f);

    // One of two nodes is told that their file is another: both show it.
    file.write({1, 2, 3});
    auto told = std::make_shared<NodeRecord>(*image);
    ++told->reloads;
    delta.changed = {told};
    const RenderScenePtr broken = compiler.apply(delta).scene;
    EXPECT_EQ(red(broken, 0), 0.5f);
    EXPECT_EQ(red(broken, 1), 0.5f);
    EXPECT_LE(compiler.counters().materialsDescribed, 60u);
}

/// Mixes whose both sides lead to the same next ones: two to the power of their number of ways to the innermost.
struct Ladder {
    Scene scene{8, 8, 16};
    NodeRecordPtr top;

    Ladder(int levels, const NodeRecordPtr& a, const NodeRecordPtr& b) {
        NodeRecordPtr left = scene.keep(a), right = scene.keep(b);
        for (int i = 0; i < levels; ++i) {
            const auto mix = [&](float amount) {
                return scene.keep(Node(NT_MAT_MIX)
                                      .connect(P_MATERIAL1, left)
                                      .connect(P_MATERIAL2, right)
                                      .connect(P_AMOUNT, scene.keep(constant(amount))));
            };
            const NodeRecordPtr next = mix(0.5f);
            right = mix(0.25f);
            left = next;
        }
        top = left;
    }
    Float3 picture() {
        scene.environment(splat(1.0f));
        MeshData m;
        m.quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0});
        return mean(Render().picture(scene.delta(scene.keep(m.node({top})))), 0, 0, 8, 8);
    }
};

TEST(Shading, DeepMixesCostWhatTheirPartsCost) {
    const auto see = [](float opacity) {
        return Node(NT_MAT_DIFFUSE).set(P_OPACITY, opacity).set(P_DIFFUSE, Float3{});
    };
    for (const int levels : {2, 40, 300}) {
        // A share of 2^-n apart, all levels come to the same: two thirds of one material, one of the other.
        Ladder net(levels, see(1.0f), see(0.25f));
        SceneCompiler compiler(nullptr);
        MeshData m;
        m.quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0});
        compiler.apply(net.scene.delta(net.scene.keep(m.node({net.top}))));
        EXPECT_EQ(compiler.counters().materialsDescribed, static_cast<std::uint64_t>(2 * levels + 1));
        // Of white all around, what is not held back is seen.
        const float held = 1.0f / 3.0f + 0.25f * 2.0f / 3.0f;
        EXPECT_NEAR(net.picture().y, 1.0f - held, levels == 2 ? 0.15f : 0.1f) << levels;
    }
    const NodeRecordPtr lamp = Node(NT_EMIS_TEXTURE).set(P_POWER, 1.0f);
    Ladder net(40, Node(NT_MAT_DIFFUSE).connect(P_EMISSION, lamp).set(P_DIFFUSE, Float3{}), see(1.0f));
    net.scene.keep(lamp);
    const float share = net.picture().y;
    EXPECT_GT(share, 0.001f);
}

TEST(Shading, MixesOfMixesEnd) {
    Scene scene(8, 8, 1);
    scene.environment(splat(1.0f));
    NodeRecordPtr top = scene.diffuse(splat(0.5f));
    for (int i = 0; i < 5000; ++i) top = scene.keep(Node(NT_MAT_MIX).connect(P_MATERIAL1, top));
    std::string log;
    SceneCompiler compiler([&](const std::string& line) { log += line + "\n"; });
    MeshData m;
    m.quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0});
    compiler.apply(scene.delta(scene.keep(m.node({top}))));
    EXPECT_NE(log.find("too many mixes"), std::string::npos);
    EXPECT_LT(log.size(), 1000u);
}

TEST(Shading, TexturesThatDoubleOnAndOnAreCut) {
    Scene scene(8, 8, 1);
    NodeRecordPtr top = scene.keep(Node(NT_TEX_NOISE));
    const NodeRecordPtr noise = top;
    for (int i = 0; i < 60; ++i) top = scene.keep(Node(NT_TEX_ADD).connect(P_TEXTURE1, top).connect(P_TEXTURE2, top));
    std::string log;
    SceneCompiler compiler([&](const std::string& line) { log += line + "\n"; });
    MeshData m;
    m.quad({-9, -9, 0}, {9, -9, 0}, {9, 9, 0}, {-9, 9, 0});
    const NodeRecordPtr material = scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, top));
    SceneDelta delta = scene.delta(scene.keep(m.node({material})));
    const RenderScenePtr built = compiler.apply(delta).scene;
    EXPECT_NE(log.find("too many times"), std::string::npos);
    EXPECT_TRUE(isFinite(built->shading->materials[1].albedo.color(built->shading->textures, {})));
}

}  // namespace
}  // namespace Lumora::engine::test
