// After any series of edits the trees over the instances show what a fresh build shows.
#include <gtest/gtest.h>

#include <random>

#include "engine/compile/scene_compiler.h"
#include "engine/render/tracer.h"
#include "tests/engine/render/scene_builder.h"

namespace Lumora::engine::test {
namespace {

constexpr int kInstances = 3000;  // enough that moves go to the small tree

class Random {
public:
    explicit Random(unsigned seed) : generator_(seed) {}
    float unit() { return std::uniform_real_distribution<float>(0.0f, 1.0f)(generator_); }
    std::size_t below(std::size_t n) { return std::uniform_int_distribution<std::size_t>(0, n - 1)(generator_); }
    Float3 point() { return {8 * unit() - 4, 8 * unit() - 4, 8 * unit() - 4}; }
    Matrix<float> transform() {
        Matrix<float> m = translation(point());
        for (auto& row : m.m) {
            for (int c = 0; c < 3; ++c) row[c] += 0.6f * unit() - 0.3f;
        }
        return multiply(m, scaling(splat(0.1f + 0.2f * unit())));
    }

private:
    std::mt19937 generator_;
};

/// Rays through the middle of things, nearest hits and shadows alike.
void expectSameHits(const RenderScene& edited, const RenderScene& fresh, Random& random, const std::string& where) {
    const Geometry &a = *edited.geometry, &b = *fresh.geometry;
    ASSERT_EQ(a.instances.size(), b.instances.size()) << where;
    EXPECT_EQ(a.radius, b.radius) << where;
    int differing = 0;
    for (int i = 0; i < 3000; ++i) {
        const Float3 origin = random.point(), direction = normalize(random.point() - origin);
        const Ray ray{origin, direction, 0.0f, i % 3 ? kInfinity : 3.0f};
        const Hit x = intersect(a, ray), y = intersect(b, ray);
        const bool same = x.valid() == y.valid() && x.instance == y.instance && x.polygon == y.polygon && x.t == y.t &&
                          x.u == y.u && x.v == y.v;
        differing += !same || occluded(a, ray) != y.valid();
    }
    EXPECT_EQ(differing, 0) << where;
}

class TopLevelEdits : public testing::TestWithParam<unsigned> {};

TEST_P(TopLevelEdits, ShowWhatAFreshSceneShows) {
    Random random(GetParam());
    Scene scene(8, 8, 1);
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-0.5f), splat(0.5f)).node());
    const NodeRecordPtr ball = scene.keep(MeshData::sphere(8, 6).node());
    std::vector<Matrix<float>> matrices;
    for (int i = 0; i < kInstances; ++i) matrices.push_back(random.transform());
    NodeRecordPtr scatter = scene.scatter(box, matrices);
    // Objects that move one by one, among them some of no mesh at all.
    std::vector<NodeRecordPtr> movable;
    for (int i = 0; i < 40; ++i) movable.push_back(scene.scatter(i % 7 ? ball : nullptr, {random.transform()}));
    const NodeRecordPtr empty = Node(NT_GEO_GROUP);
    NodeRecordPtr group = empty;
    const auto grouped = [&] {
        Node g(empty);
        g.dynamic(scatter);
        for (const NodeRecordPtr& m : movable) g.dynamic(m);
        return NodeRecordPtr(g);
    };
    SceneCompiler compiler(nullptr);
    SceneDelta first = scene.delta(group);
    first.changed.push_back(group = grouped());
    RenderScenePtr last = compiler.apply(first).scene;
    for (int step = 0; step < 60; ++step) {
        SceneDelta edit = scene.delta(group, static_cast<std::uint64_t>(step) + 2);
        edit.changed.clear();
        const std::size_t kind = random.below(10);
        std::string where = "step " + std::to_string(step) + ", kind " + std::to_string(kind);
        if (kind < 3) {  // one of the scatter, sometimes one that moved before
            matrices[random.below(kind ? matrices.size() : 5)] = random.transform();
        } else if (kind == 3) {  // a handful of them, two in one place
            for (int i = 0; i < 20; ++i) matrices[random.below(matrices.size())] = random.transform();
        } else if (kind == 4) {
            matrices.erase(matrices.begin() + static_cast<std::ptrdiff_t>(random.below(matrices.size())));
        } else if (kind == 5) {
            matrices.insert(matrices.begin() + static_cast<std::ptrdiff_t>(random.below(matrices.size())),
                            random.transform());
        } else if (kind == 6) {  // so many that everything is built anew
            for (std::size_t i = 0; i < matrices.size() / 10; ++i) matrices[i] = random.transform();
        } else if (kind == 7) {  // a swap: the same placements in another order
            std::swap(matrices[random.below(matrices.size())], matrices[random.below(matrices.size())]);
        } else if (kind == 8) {
            const std::size_t i = random.below(movable.size());
            movable[i] = Node(movable[i]).set(A_TRANSFORM, shared(std::vector{random.transform()}));
            edit.changed.push_back(movable[i]);
        } else {  // an object goes to the end of the list
            std::rotate(movable.begin(), movable.begin() + 1, movable.end());
            edit.changed.push_back(group = grouped());
        }
        if (kind < 8) edit.changed.push_back(scatter = Node(scatter).set(A_TRANSFORM, shared(matrices)));
        const RenderScenePtr before = last;
        const Ray ray{random.point(), normalize(random.point())};
        const Hit hit = intersect(*before->geometry, ray);
        last = compiler.apply(edit).scene;
        // The scene before stands as it was: a render may still be reading it.
        const Hit again = intersect(*before->geometry, ray);
        EXPECT_EQ(hit.instance, again.instance) << where;
        EXPECT_EQ(hit.t, again.t) << where;
        if (step % 6 && step < 50) continue;
        SceneCompiler other(nullptr);
        SceneDelta all = scene.delta(group);
        all.changed.insert(all.changed.end(), movable.begin(), movable.end());
        all.changed.insert(all.changed.end(), {scatter, group});
        expectSameHits(*last, *other.apply(all).scene, random, where);
    }
    EXPECT_EQ(compiler.counters().meshesBuilt, 2u);
}

INSTANTIATE_TEST_SUITE_P(Seeds, TopLevelEdits, testing::Range(1u, 7u));

/// A copy that stands exactly where the moved original stood must not vanish with it.
TEST(TopLevel, ACopyStaysWhereTheOriginalWas) {
    Scene scene(8, 8, 1);
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-0.4f), splat(0.4f)).node());
    std::vector<Matrix<float>> matrices;
    for (int i = 0; i < kInstances; ++i) {
        matrices.push_back(translation({static_cast<float>(i % 50), static_cast<float>(i / 50), 0}));
    }
    matrices[1] = matrices[0];
    const NodeRecordPtr scatter = scene.scatter(box, matrices);
    SceneCompiler compiler(nullptr);
    compiler.apply(scene.delta(scatter));
    const Ray ray{{0, 0, 5}, {0, 0, -1}};
    for (const float z : {9.0f, 2.0f}) {  // behind the camera, then in front of the copy
        SceneDelta move = scene.delta(scatter);
        matrices[0] = translation({0, 0, z});
        move.changed = {Node(scatter).set(A_TRANSFORM, shared(matrices))};
        const RenderScenePtr moved = compiler.apply(move).scene;
        EXPECT_EQ(compiler.counters().instancesBuilt, kInstances + (z > 5 ? 1u : 2u)) << "one instance was made";
        const Hit hit = intersect(*moved->geometry, ray);
        EXPECT_EQ(hit.instance, z > 5 ? 1u : 0u);
        EXPECT_FLOAT_EQ(hit.t, z > 5 ? 4.6f : 2.6f);
        EXPECT_TRUE(occluded(*moved->geometry, ray));
    }
}

TEST(TopLevel, TheRendererShowsAMoveAsAFreshRendererShowsIt) {
    Scene scene(64, 64, 4);
    scene.environment(splat(1.0f));
    const NodeRecordPtr box = scene.keep(MeshData().box(splat(-0.5f), splat(0.5f)).node({scene.diffuse(splat(0.7f))}));
    Random random(5);
    std::vector<Matrix<float>> matrices;
    for (int i = 0; i < kInstances; ++i) matrices.push_back(random.transform());
    const NodeRecordPtr scatter = scene.scatter(box, matrices);
    Render render(2);
    render.picture(scene.delta(scatter));
    matrices[17] = translation({0, 0, 2});
    const NodeRecordPtr moved = Node(scatter).set(A_TRANSFORM, shared(matrices));
    SceneDelta move = scene.delta(scatter, 2);
    move.changed = {moved};
    const Image edited = render.picture(move);
    SceneDelta all = scene.delta(scatter, 3);
    all.changed.push_back(moved);
    for (const unsigned threads : {1u, 5u}) {
        EXPECT_EQ(*edited.floats, *Render(threads).picture(all).floats) << threads << " threads";
    }
}

}  // namespace
}  // namespace Lumora::engine::test
