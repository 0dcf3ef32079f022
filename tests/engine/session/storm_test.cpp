// Edits from several threads while the engine renders: nothing is lost, nothing falls over.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

#include "engine/api/lumora_api.h"

namespace Lumora {

namespace {

/// A triangle under a scatter, with a material of its own graph.
ApiNode* makeObject(ApiNodeGraph& graph) {
    ApiNode* mesh = ApiNode::create(NT_GEO_MESH, graph, true);
    const Vec3<float> points[] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}};
    const int counts[] = {3}, corners[] = {0, 1, 2}, materials[] = {0};
    const char* names[] = {"material"};
    mesh->set(A_VERTICES, points, 3, false);
    mesh->set(A_VERTICES_PER_POLY, counts, 1, false);
    mesh->set(A_POLY_VERTEX_INDICES, corners, 3, false);
    mesh->set(A_POLY_MATERIAL_INDICES, materials, 1, false);
    mesh->set(A_MATERIAL_NAMES, names, 1, false);
    mesh->evaluate();
    ApiNodeGraph* nested = ApiNodeGraph::create(NG_STANDARD, graph);
    ApiNode* out = ApiNode::create(NT_OUT_MATERIAL, *nested, true);
    out->connectTo(P_INPUT, ApiNode::create(NT_MAT_DIFFUSE, *nested, true));
    mesh->connectToIx(mesh->staticPinCount(), out);
    ApiNode* scatter = ApiNode::create(NT_GEO_SCATTER, graph, true);
    const Matrix<float> here;
    scatter->set(A_TRANSFORM, &here, 1);
    scatter->connectTo(P_GEOMETRY, mesh);
    return scatter;
}

}  // namespace

TEST(StormTest, EditsFromTwoThreadsWhileTheEngineRenders) {
    const char* error = nullptr;
    ASSERT_TRUE(apiMode_Shared_start("test", true, &error, nullptr, nullptr, false)) << error;
    static std::atomic<int> images;
    images = 0;
    ApiRenderEngine::setOnNewImageCallback([](const ApiArray<ApiRenderImage>&, void*) { ++images; }, nullptr);

    ApiRootNodeGraph& root = ApiProjectManager::rootNodeGraph();
    ApiNode* target = ApiNode::create(NT_RENDER_TARGET, root, true);
    ApiNode* group = ApiNode::create(NT_GEO_GROUP, root, true);
    constexpr unsigned kObjects = 20;
    group->set(A_GROUP_PIN_COUNT, static_cast<int>(kObjects));
    target->connectTo(P_RENDER_GEOMETRY, group);
    target->connectedNode(P_FILM_SETTINGS)->setPinValue(P_RESOLUTION, Vec2<int>{32, 32});
    ApiRenderEngine::setRenderTargetNode(target);

    std::atomic<bool> done{false};
    std::thread privateScenes([&] {
        while (!done) {
            ApiRootNodeGraph* scene = ApiRootNodeGraph::create(4000021);
            ApiItem* copy = scene->copyItemTree(*makeObject(*scene));
            EXPECT_NE(copy->toNode()->inputNode(P_GEOMETRY), nullptr);
            scene->destroy();
        }
    });
    for (int round = 0; round < 1000; ++round) {
        const unsigned place = static_cast<unsigned>(round * 7) % kObjects;
        if (ApiNode* old = group->connectedNodeIx(place)) {
            if (round % 3 == 0) {
                ApiItemArray tree;
                old->collectItemTree(tree);
                for (std::size_t i = 0; i < tree.size(); ++i) {
                    tree.get(i)->destroy();
                }
            } else {
                Matrix<float> moved;
                moved.m[0][3] = static_cast<float>(round);
                old->set(A_TRANSFORM, &moved, 1);
                old->inputNode(P_GEOMETRY)->inputNodeIx(0)->setPinValue(P_DIFFUSE, 0.01f * static_cast<float>(place));
            }
        } else {
            group->connectToIx(place, makeObject(root));
        }
        ApiChangeManager::update();
        if (round % 50 == 0) {
            ApiRenderEngine::restartRendering();
        }
    }
    done = true;
    privateScenes.join();

    // The last edit is seen, with a picture.
    const unsigned long long level = ApiRenderEngine::getCurrentChangeLevel();
    for (int i = 0; i < 4000 && ApiRenderEngine::getRenderImageChangeLevel() < level; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GE(ApiRenderEngine::getRenderImageChangeLevel(), level);
    EXPECT_GT(images.load(), 0);
    RenderResultStatistics statistics;
    ApiRenderEngine::getRenderResultStatistics(statistics);
    unsigned objects = 0;
    for (unsigned i = 0; i < kObjects; ++i) {
        objects += group->connectedNodeIx(i) ? 1 : 0;
    }
    EXPECT_EQ(statistics.instances, objects) << "what is rendered is what stands in the graph";
    EXPECT_FALSE(ApiRenderEngine::isRenderFailed()) << ApiRenderEngine::renderFailureText();
    EXPECT_TRUE(apiMode_Shared_exit(nullptr));
}

}  // namespace Lumora
