// Whatever a client does, the engine goes on: no crash, no pixel that is no number, no build that does not end. Graphs
// are spoilt at random: values far out of range, arrays that do not fit each other, broken files, nodes that go while
// they are in use.
//
//   LUMORA_RANDOM_SEEDS=100:500 lumora_engine_tests --gtest_filter='*Hostile*'
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "engine/compile/scene_compiler.h"
#include "tests/engine/random/pictures.h"
#include "tests/engine/random/random_scene.h"

namespace Lumora::engine::test {
namespace {

using Clock = std::chrono::steady_clock;

class Hostile : public testing::TestWithParam<unsigned> {
protected:
    Hostile() { ApiLogManager::setLogLevel(static_cast<LogLevel>(-1)); }
    ~Hostile() override { ApiLogManager::setLogLevel(LOGLEVEL_WARNINGS); }
};

/// Far more than any of these scenes needs, on any machine.
constexpr auto kLongest = std::chrono::seconds(60);

TEST_P(Hostile, EveryGraphHasAPicture) {
    ApiRootNodeGraph* root = ApiRootNodeGraph::create(4000021);
    {
        RandomScene random(*root, GetParam(), RandomScene::Manner::Hostile);
        Scene& graph = *Item::of(root)->scene;
        SceneCompiler compiler(nullptr);
        for (int round = 0; round < 30; ++round) {
            const Clock::time_point start = Clock::now();
            for (unsigned i = random.pick(8); i > 0; --i) random.edit();
            setSceneTarget(graph, random.target() ? Item::of(random.target())->node() : nullptr);
            const std::string where = "seed " + std::to_string(GetParam()) + ", round " + std::to_string(round) +
                                      ", after\n" + random.edits();
            SCOPED_TRACE(where);
            SceneDelta delta;
            takeDelta(graph, delta);
            delta.clayMode = random.clayMode();
            delta.time = random.time();
            BuildResult result;
            try {
                result = compiler.apply(delta);
            } catch (const std::runtime_error&) {
                continue;  // refused, with a sentence
            }
            const Sums sums = pictureOf(result.scene);
            ASSERT_TRUE(allFinite(sums));
            ASSERT_LT(Clock::now() - start, kLongest);
            if (dull(sums)) random.enliven();
        }
    }
    root->destroy();
}

INSTANTIATE_TEST_SUITE_P(Random, Hostile, testing::ValuesIn(randomSeeds(1, 16)));

}  // namespace
}  // namespace Lumora::engine::test
