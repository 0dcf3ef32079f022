// However a scene came to be what it is, it looks the same: after any series of edits, the picture of a compiler that
// lived through them all equals, bit by bit, that of one which sees the graph for the first time.
//
// What fails here is a cache that was not told of an edit. A failure names its seed, the round, and the edits since the
// last picture that was right. To run it alone, or more seeds:
//
//   LUMORA_RANDOM_SEEDS=17 lumora_engine_tests --gtest_filter='*Differential*'
//   LUMORA_RANDOM_SEEDS=100:500 lumora_engine_tests --gtest_filter='*Differential*'
#include <gtest/gtest.h>

#include <cstring>

#include "engine/compile/light_compiler.h"
#include "engine/compile/scene_compiler.h"
#include "tests/engine/random/pictures.h"
#include "tests/engine/random/random_scene.h"

namespace Lumora::engine::test {
namespace {

constexpr int kRounds = 40;

template <typename T>
bool sameBits(const std::vector<T>& a, const std::vector<T>& b) {
    return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(T)) == 0);
}

/// Where two pictures differ, in words; empty where they do not.
std::string difference(const Sums& lived, const Sums& fresh) {
    if (lived.pixels.size() != fresh.pixels.size()) return "pictures of different sizes";
    std::string text;
    int count = 0;
    for (std::size_t i = 0; i < lived.pixels.size(); ++i) {
        const FilmSum &a = lived.pixels[i], &b = fresh.pixels[i];
        if (std::memcmp(&a, &b, sizeof a) == 0) continue;
        char line[200];
        std::snprintf(line, sizeof line, "pixel %zu is %g %g %g (%g), new it would be %g %g %g (%g)\n", i, a.color.x,
                      a.color.y, a.color.z, a.alpha, b.color.x, b.color.y, b.color.z, b.alpha);
        if (++count <= 4) text += line;
    }
    if (count > 4)
        text += "and " + std::to_string(count - 4) + " more of " + std::to_string(lived.pixels.size()) + "\n";
    if (text.empty() && !sameBits(lived.guides, fresh.guides)) text = "the guides of the denoiser differ\n";
    return text;
}

/// The lights of two scenes are the same, but for the shape of the tree that they hang in: an edit may leave that as it
/// was, which changes which light a sample picks, and no mean.
bool sameLights(const Lights& a, const Lights& b) {
    if (a.portals.size() != b.portals.size() || a.emitters.size() != b.emitters.size() || a.polygons != b.polygons ||
        a.tree.size() != b.tree.size()) {
        return false;
    }
    for (std::size_t i = 0; i < a.portals.size(); ++i) {
        if (a.portals[i].origin != b.portals[i].origin || a.portals[i].first != b.portals[i].first) return false;
    }
    for (std::size_t i = 0; i < a.emitters.size(); ++i) {
        const Emitter &x = a.emitters[i], &y = b.emitters[i];
        if (x.instance != y.instance || a.sets[x.set]->slots != b.sets[y.set]->slots) return false;
    }
    for (std::uint32_t i = 0; i < a.tree.size(); ++i) {
        const LightBounds p = a.tree.item(i), q = b.tree.item(i);
        if (p.center != q.center || p.radius != q.radius || p.axis != q.axis || p.power != q.power ||
            p.mask != q.mask) {
            return false;
        }
    }
    for (std::size_t i = 0; i < a.powerShares.size(); ++i) {
        if (a.powerShares[i] != b.powerShares[i]) return false;
    }
    return a.powerShares.size() == b.powerShares.size();
}

/// The scene with lights that know of no scene before.
RenderScenePtr withNewLights(const RenderScene& scene) {
    auto out = std::make_shared<RenderScene>(scene);
    out->lights = compileLights(*scene.geometry, *scene.shading, nullptr, nullptr, {});
    return out;
}

class Differential : public testing::TestWithParam<unsigned> {
protected:
    Differential() { ApiLogManager::setLogLevel(static_cast<LogLevel>(-1)); }  // some edits are refused
    ~Differential() override { ApiLogManager::setLogLevel(LOGLEVEL_WARNINGS); }
};

TEST_P(Differential, APictureDoesNotTellItsPast) {
    ApiRootNodeGraph* root = ApiRootNodeGraph::create(4000021);
    {
        RandomScene random(*root, GetParam(), RandomScene::Manner::Decent);
        Scene& graph = *Item::of(root)->scene;
        SceneCompiler lived(nullptr);
        RenderScenePtr shown;  // what the samples in the film belong to
        std::string edits;
        const auto setView = [&](SceneDelta& delta) {
            delta.clayMode = random.clayMode();
            delta.time = random.time();
        };
        for (int round = 0; round < kRounds; ++round) {
            // One edit at a time shows what each tells; several, what they hide from each other.
            for (unsigned i = random.chance(50) ? 1 : random.pick(6); i > 0; --i) random.edit();
            edits += random.edits();
            setSceneTarget(graph, random.target() ? Item::of(random.target())->node() : nullptr);
            SceneDelta delta;
            takeDelta(graph, delta);
            setView(delta);
            const BuildResult result = lived.apply(delta);
            if (!shown || result.restart) shown = result.scene;
            if (random.chance(35)) continue;  // several updates between two pictures

            SceneCompiler newborn(nullptr);
            SceneDelta whole = graph.target ? wholeDelta(graph.target) : SceneDelta{};
            setView(whole);
            const BuildResult fresh = newborn.apply(whole);
            ASSERT_EQ(result.scene == nullptr, fresh.scene == nullptr);
            if (!fresh.scene) {
                shown = nullptr;
                continue;
            }
            const std::string where =
                "seed " + std::to_string(GetParam()) + ", round " + std::to_string(round) + ", after\n" + edits;
            const Sums b = pictureOf(fresh.scene);
            // More samples, or fewer, go on from those that there are; passes come and go.
            auto going = std::make_shared<RenderScene>(*shown);
            going->kernel.maxSamples = fresh.scene->kernel.maxSamples;
            going->infoPasses = fresh.scene->infoPasses;
            for (const RenderScenePtr& scene : {result.scene, RenderScenePtr(going)}) {
                if (scene->kernel.seed != fresh.scene->kernel.seed) continue;
                const char* which = scene == result.scene ? "" : "not started anew, though it looks otherwise: ";
                std::string unlike = difference(pictureOf(scene), b);
                if (!unlike.empty() && scene->lights->emitters.size() > 1) {
                    ASSERT_TRUE(sameLights(*scene->lights, *fresh.scene->lights)) << which << where;
                    unlike = difference(pictureOf(withNewLights(*scene)), b);
                }
                ASSERT_EQ(unlike, "") << which << where;
            }
            ASSERT_TRUE(allFinite(b)) << "a pixel is no number: " << where;
            ASSERT_TRUE(result.scene->imager == fresh.scene->imager && result.scene->post == fresh.scene->post)
                << where;
            const auto counted = lived.counters(), wanted = newborn.counters();
            EXPECT_EQ(counted.nodeCount, wanted.nodeCount) << where;
            EXPECT_EQ(counted.meshes, wanted.meshes) << where;
            EXPECT_EQ(counted.instances, wanted.instances) << where;
            EXPECT_EQ(counted.triangles, wanted.triangles) << where;
            if (HasFailure()) break;
            edits.clear();
            if (dull(b)) random.enliven();
        }
    }
    root->destroy();
}

INSTANTIATE_TEST_SUITE_P(Random, Differential, testing::ValuesIn(randomSeeds(1, 31)));

}  // namespace
}  // namespace Lumora::engine::test
