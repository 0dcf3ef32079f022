// What compiling textures costs, and what it makes of circles and gaps.
#include <gtest/gtest.h>

#include "engine/compile/scene_compiler.h"
#include "tests/engine/textures/texture_bench.h"

namespace Lumora::engine::test {
namespace {

TEST(TextureCompiler, OnlyWhatChangedIsDescribedAgain) {
    TextureBench b;
    const NodeRecordPtr shared = b.keep(Node(NT_TEX_NOISE));
    const NodeRecordPtr value = b.grey(0.5f);
    const NodeRecordPtr scaled = b.keep(Node(NT_TEX_MULTIPLY).connect(P_TEXTURE1, shared).connect(P_TEXTURE2, value));
    const NodeRecordPtr other = b.keep(Node(NT_TEX_INVERT).connect(P_TEXTURE, shared));
    const NodeRecordPtr top = b.keep(Node(NT_TEX_ADD).connect(P_TEXTURE1, scaled).connect(P_TEXTURE2, other));
    const TextureId id = b.compile(top);
    EXPECT_EQ(b.memory.described(), 5u) << "each node once";
    const std::size_t size = b.table.nodes.size();
    const Float3 before = b.table.color(id, point(0.3f, 0.4f));

    EXPECT_EQ(b.compile(top), id);
    EXPECT_EQ(b.memory.described(), 5u) << "nothing changed";

    b.keep(Node(value).set(A_VALUE, 0.25f));
    EXPECT_EQ(b.compile(top), id);
    EXPECT_EQ(b.memory.described(), 6u) << "a value is one node";
    const float noise = TextureBench().at(shared, point(0.3f, 0.4f)).x;
    EXPECT_NEAR(before.x - b.table.color(id, point(0.3f, 0.4f)).x, 0.25f * noise, 1e-5f);
    EXPECT_LE(b.table.nodes.size(), size + 2) << "places are used again";

    // A pin's own value, too.
    b.keep(Node(shared).set(P_OCTAVES, 1));
    b.compile(top);
    EXPECT_EQ(b.memory.described(), 7u);
    // What is not asked for any more goes.
    b.compile(other);
    EXPECT_EQ(b.memory.size(), 2u);
}

TEST(TextureCompiler, ConstantsFoldAndUnfold) {
    TextureBench b;
    const NodeRecordPtr inner = b.grey(0.5f);
    const NodeRecordPtr product = b.keep(Node(NT_TEX_MULTIPLY).connect(P_TEXTURE1, inner).set(P_TEXTURE2, Value{}));
    const NodeRecordPtr top = b.keep(Node(NT_TEX_INVERT).connect(P_TEXTURE, inner));
    const TextureId id = b.compile(top);
    EXPECT_TRUE(b.table.isConstant(id));
    EXPECT_EQ(b.table.nodes[id].value, splat(0.5f));
    b.keep(Node(inner).set(A_VALUE, 0.2f));
    ASSERT_EQ(b.compile(top), id);
    EXPECT_NEAR(b.table.nodes[id].value.x, 0.8f, 1e-6f);
    // The same node becomes a texture that varies: the type of a uid never changes, but its input may.
    b.keep(Node(top).connect(P_TEXTURE, b.u()));
    ASSERT_EQ(b.compile(b.nodes.share(top->uid)), id);
    EXPECT_FALSE(b.table.isConstant(id));
    EXPECT_NEAR(b.table.color(id, point(0.3f, 0)).x, 0.7f, 1e-5f);
    // A gradient over constants follows them.
    Node gradient(NT_TEX_GRADIENT);
    gradient.connect(P_INPUT, b.u()).connect(P_END, inner);
    const NodeRecordPtr kept = b.keep(gradient);
    EXPECT_NEAR(b.at(kept, point(0.5f, 0)).x, 0.1f, 1e-5f);
    b.keep(Node(inner).set(A_VALUE, 1.0f));
    EXPECT_NEAR(b.at(kept, point(0.5f, 0)).x, 0.5f, 1e-5f);
}

TEST(TextureCompiler, CirclesAndGapsReadAsNothing) {
    TextureBench b;
    Node one(NT_TEX_ADD), two(NT_TEX_ADD);
    const NodeRecordPtr a = one, c = two;
    one.connect(P_TEXTURE1, c).connect(P_TEXTURE2, b.grey(0.25f));
    two.connect(P_TEXTURE1, a).connect(P_TEXTURE2, b.grey(0.5f));
    b.keep(c);
    for (int round = 0; round < 2; ++round) {
        EXPECT_NEAR(b.at(a, point(0, 0)).x, 0.75f, 1e-6f);
        EXPECT_NEAR(b.at(c, point(0, 0)).x, 0.75f, 1e-6f);
    }
    EXPECT_NE(b.logged.find("among its own inputs"), std::string::npos);

    const NodeRecordPtr gone = Node(NT_TEX_NOISE);
    const NodeRecordPtr lonely = Node(NT_TEX_INVERT).connect(P_TEXTURE, gone);
    EXPECT_EQ(b.at(lonely, point(0, 0)).x, 1.0f) << "the node is not there";
    b.keep(gone);
    EXPECT_NE(b.at(lonely, point(0.3f, 0.4f)).x, 1.0f) << "now it is";
}

TEST(TextureCompiler, DeepTreesAreCutAndDoNotOverflow) {
    TextureBench b;
    NodeRecordPtr top = b.u();
    for (int i = 0; i < 2000; ++i) top = b.keep(Node(NT_TEX_INVERT).connect(P_TEXTURE, top));
    EXPECT_TRUE(isFinite(b.at(top, point(0.3f, 0))));
}

TEST(TextureCompiler, ATextureOfAHundredMaterialsIsOne) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr noise = scene.keep(Node(NT_TEX_NOISE));
    std::vector<NodeRecordPtr> materials;
    MeshData quads;
    for (int i = 0; i < 100; ++i) {
        materials.push_back(scene.keep(Node(NT_MAT_DIFFUSE).connect(P_DIFFUSE, noise)));
        const float x = static_cast<float>(i);
        quads.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, i);
    }
    SceneCompiler compiler([](const std::string&) {});
    SceneDelta delta = scene.delta(scene.keep(quads.node(materials)));
    compiler.apply(delta);
    EXPECT_EQ(compiler.counters().texturesDescribed, 1u);
    delta.changed = {Node(noise).set(P_OMEGA, 0.3f)};
    compiler.apply(delta);
    EXPECT_EQ(compiler.counters().texturesDescribed, 2u);
    delta.changed = {Node(materials[7]).set(P_ROUGHNESS, 0.3f)};
    compiler.apply(delta);
    EXPECT_EQ(compiler.counters().texturesDescribed, 2u);
}

}  // namespace
}  // namespace Lumora::engine::test
