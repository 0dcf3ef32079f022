// What edits of materials and textures cost. One line a figure; run on an idle machine.
#include <cstdio>

#include "bench/edits.h"
#include "bench/program.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

/// Materials of many kinds, each with nodes of its own for its values and one texture that all share, and every
/// hundredth a lamp.
void materials(int count) {
    Scene scene(64, 64, 1);
    scene.environment(splat(1.0f));
    std::vector<NodeRecordPtr> values, all;
    const NodeRecordPtr noise = scene.keep(Node(NT_TEX_NOISE));
    const NodeType types[] = {NT_MAT_DIFFUSE, NT_MAT_GLOSSY, NT_MAT_SPECULAR, NT_MAT_METALLIC, NT_MAT_UNIVERSAL};
    constexpr int kOfAMesh = 1000;
    NodeRecordPtr lamp;
    std::vector<NodeRecordPtr> meshes;
    MeshData mesh;
    for (int i = 0; i < count; ++i) {
        const float x = static_cast<float>(i);
        mesh.quad({x, 0, 0}, {x + 1, 0, 0}, {x + 1, 1, 0}, {x, 1, 0}, i % kOfAMesh);
        Node node(types[i % 5]);
        values.push_back(scene.keep(constant(0.5f)));
        node.connect(P_ROUGHNESS, values.back()).connect(P_BUMP, noise);
        node.connect(P_OPACITY, scene.keep(constant(1.0f)));
        for (const PinId pin : {P_DIFFUSE, P_ALBEDO, P_SPECULAR, P_TRANSMISSION}) {
            if (NodeRecordPtr(node)->pin(pin)) node.connect(pin, scene.keep(rgb({0.2f, 0.4f, 0.6f})));
        }
        if (i % 100 == 0) {
            lamp = scene.keep(Node(NT_EMIS_TEXTURE).set(P_POWER, 2.0f));
            node.connect(P_EMISSION, lamp);
        }
        all.push_back(scene.keep(node));
        if ((i + 1) % kOfAMesh == 0) {
            meshes.push_back(scene.keep(mesh.node({all.end() - kOfAMesh, all.end()})));
            mesh = {};
        }
    }
    SceneCompiler compiler(nullptr);
    const SceneDelta delta = scene.delta(scene.group(meshes));
    std::printf("%d materials\nfirst build of the scene: %.3f ms\n", count, compiler.apply(delta).seconds * 1e3);
    const auto at = [&](int i) { return static_cast<std::size_t>(1 + i * 97 % (count - 1)); };
    editing("a value of one material", compiler, delta, 50,
            [&](int i) { return NodeRecordPtr(Node(values[at(i)]).set(A_VALUE, 0.01f * static_cast<float>(i))); });
    editing("a value on a pin of one material", compiler, delta, 50, [&](int i) {
        return NodeRecordPtr(Node(all[at(i)]).set(P_EDGES_ROUNDING, 0.01f * static_cast<float>(1 + i)));
    });
    editing("a value of the texture that all share", compiler, delta, 50,
            [&](int i) { return NodeRecordPtr(Node(noise).set(P_OMEGA, 0.01f * static_cast<float>(i))); });
    editing("the power of one of the lamps", compiler, delta, 50,
            [&](int i) { return NodeRecordPtr(Node(lamp).set(P_POWER, 1.0f + 0.1f * static_cast<float>(i))); });
    editing("nothing that a material reads", compiler, delta, 50,
            [&](int i) { return NodeRecordPtr(Node(scene.kernel).set(P_MAX_SAMPLES, 10 + i)); });
}

constexpr Bench kBenches[] = {
    {"thousand", "edits of a scene of 1,000 materials", [] { materials(1000); }},
    {"tenthousand", "of 10,000", [] { materials(10000); }},
    {"hundredthousand", "of 100,000", [] { materials(100000); }},
};

}  // namespace
}  // namespace Lumora::engine::test

int main(int argc, char** argv) {
    return Lumora::engine::test::runBenches(argc, argv, Lumora::engine::test::kBenches);
}
