// The send: what a document becomes in the engine, and what a broken or repeated send leaves.
#include "plugin/core/send.h"

#include <atomic>
#include <chrono>
#include <cmath>
#include <random>
#include <thread>

#include "plugin/core/globals.h"
#include "plugin/core/ids.h"
#include "plugin/core/object_link.h"
#include "plugin/core/send_thread.h"
#include "plugin/core/singletons.h"
#include "tests/plugin/support/graph_content.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

using Engine = Lumora::ApiRenderEngine;

class SendTest : public PluginTest {};

std::size_t projectItems() {
    Lumora::ApiItemArray items;
    Lumora::ApiProjectManager::rootNodeGraph().getOwnedItems(items);
    return items.size();
}

TEST_F(SendTest, EmptyDocumentHasFourEmptyGroupsAndRenders) {
    startLive(BaseDocument::Alloc());
    ApiNode* group = mainGroup();
    ASSERT_NE(group, nullptr);
    EXPECT_STREQ(group->name(), "Main Group");
    ASSERT_EQ(group->pinCount(), 8u);
    EXPECT_EQ(group->inputNodeIx(0), nullptr);
    for (unsigned slot = 0; slot < 4; ++slot) {
        const ApiNode* node = group->inputNodeIx(slot + 1);
        ASSERT_NE(node, nullptr) << slot;
        EXPECT_EQ(node->type(), Lumora::NT_GEO_GROUP);
        EXPECT_EQ(std::string(node->name()), "Group_" + std::to_string(slot));
    }
    EXPECT_TRUE(waitFor([] { return Engine::getRenderImageChangeLevel() >= Engine::getCurrentChangeLevel(); }));
    EXPECT_FALSE(Engine::isRenderFailed());
}

TEST_F(SendTest, LitCubeBecomesOneMeshThatIsSampledToItsTarget) {
    BaseDocument* document = makeLitCube();
    ASSERT_EQ(setRendererSetting(*app, document, "samples", "4").str(), "");
    startLive(document);
    const ApiNode* mesh = mainGroup()->inputNodeIx(1);
    ASSERT_NE(mesh, nullptr);
    EXPECT_EQ(mesh->type(), Lumora::NT_GEO_MESH);
    EXPECT_EQ(mesh->getArraySize(Lumora::A_VERTICES_PER_POLY), 6u + 1u) << "a cube and a plane of one polygon";
    ASSERT_GE(singletons().objectLinks->count(), 1);
    EXPECT_EQ(singletons().objectLinks->links().front().meshNode, mesh);
    ASSERT_TRUE(waitForState(LiveState::Finished));

    Lumora::RenderResultStatistics statistics;
    Engine::getRenderResultStatistics(statistics);
    EXPECT_EQ(statistics.samplesPerPixel(Lumora::RP_BEAUTY), 4.0f);
    EXPECT_EQ(statistics.filmSize.x, 64u);
    EXPECT_EQ(statistics.filmSize.y, 48u);

    const Lumora::RenderPassId beauty = Lumora::RP_BEAUTY;
    Lumora::ApiArray<Lumora::ApiRenderImage> images;
    ASSERT_TRUE(Engine::synchronousTonemap(&beauty, 1, Lumora::TONEMAP_HDR_LINEAR, images));
    ASSERT_EQ(images.size, 1u);
    const auto* pixels = static_cast<const float*>(images[0].buffer);
    double sum = 0;
    int lit = 0;
    for (std::size_t i = 0; i < 64u * 48u; ++i) {
        sum += pixels[4 * i + 1];
        lit += pixels[4 * i + 1] > 0.01f && pixels[4 * i + 1] < 2.0f;
    }
    Engine::freeRenderImages(images);
    EXPECT_GT(lit, 500) << "the lamp lights the cube under the settings of a fresh document";
    EXPECT_TRUE(std::isfinite(sum));
}

TEST_F(SendTest, MovableObjectsAreSentOneByOneUnlessAllSlotsAreAsked) {
    BaseDocument* document = makeLitCube();
    BaseTag* tag = document->GetFirstObject()->MakeTag(ID_LUMORA_OBJECT_TAG);
    ASSERT_NE(tag, nullptr);
    tag->SetParameter(OBJTAG_SLOT, GeData(2));
    startLive(document);
    const ApiNode* slot = mainGroup()->inputNodeIx(3);
    ASSERT_NE(slot, nullptr);
    ASSERT_EQ(slot->type(), Lumora::NT_GEO_GROUP);
    EXPECT_STREQ(slot->name(), "Group_2");
    ASSERT_EQ(slot->pinCount(), 1u);
    EXPECT_EQ(slot->inputNodeIx(0)->type(), Lumora::NT_GEO_SCATTER);
    EXPECT_EQ(singletons().sendThread->objectCheck.slotLinks[2].count(), 1);

    live().stopRender();
    ASSERT_TRUE(sendAndStart(live(), document, document, false, true, nullptr));
    ASSERT_NE(mainGroup()->inputNodeIx(3), nullptr);
    EXPECT_EQ(mainGroup()->inputNodeIx(3)->type(), Lumora::NT_GEO_MESH);
    EXPECT_EQ(singletons().sendThread->objectCheck.slotLinks[2].count(), 0);
}

TEST_F(SendTest, AllObjectsAreMovableWhenThePreferenceSaysSo) {
    BaseDocument* document = makeLitCube();
    globals().allMovable = true;
    startLive(document);
    EXPECT_EQ(mainGroup()->inputNodeIx(1)->type(), Lumora::NT_GEO_GROUP) << "no static mesh";
    ASSERT_EQ(mainGroup()->inputNodeIx(2)->type(), Lumora::NT_GEO_GROUP);
    EXPECT_EQ(mainGroup()->inputNodeIx(2)->pinCount(), 2u);
    EXPECT_EQ(singletons().sendThread->objectCheck.slotLinks[1].count(), 2);
}

TEST_F(SendTest, SecondSendMakesTheSameGraphAndLeaksNoItems) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    const std::string first = graphContent(Engine::getRenderTargetNode());
    const std::size_t items = projectItems();
    ASSERT_FALSE(first.empty());
    for (int i = 0; i < 5; ++i) {
        live().stopRender();
        EXPECT_EQ(live().state(), LiveState::Idle);
        startLive(document);
        EXPECT_EQ(graphContent(Engine::getRenderTargetNode()), first);
        EXPECT_EQ(projectItems(), items);
    }
}

TEST_F(SendTest, BreakBeforeMaterialsEndsFinishedAndTheNextSendIsWhole) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    const std::string whole = graphContent(Engine::getRenderTargetNode());
    bool breakNow = true;
    onStatus = [&](const String& text) {
        if (breakNow && text.Find("Creating materials") >= 0) globals().breakSend = true;
    };
    live().stopRender();
    SpecialEventAdd(MSG_START_RENDER);
    ASSERT_TRUE(waitForState(LiveState::Finished));
    EXPECT_EQ(mainGroup(), nullptr);
    EXPECT_FALSE(live().sendBusy);
    EXPECT_EQ(consoleCount("Render Breaked...."), 1);

    breakNow = false;
    startLive(document);
    EXPECT_EQ(graphContent(Engine::getRenderTargetNode()), whole);
}

TEST_F(SendTest, StopAtAnyMomentLeavesASessionThatSendsAgain) {
    BaseDocument* document = makeLitCube();
    for (int i = 0; i < 300; ++i) {  // enough for a send to be caught in each of its stages
        BaseObject* cube = BaseObject::Alloc(Ocube);
        cube->SetAbsPos(Vector(i % 20 * 300, i / 20 * 300, 2000));
        document->AppendObject(cube);
        BaseMaterial* material = BaseMaterial::Alloc(Mmaterial);
        document->InsertMaterial(material);
        TextureTag* tag = TextureTag::Alloc();
        tag->SetMaterial(material);
        cube->InsertTag(tag);
    }
    document->ExecutePasses(true, true, true);
    startLive(document);
    const std::string whole = graphContent(Engine::getRenderTargetNode());
    const int length = static_cast<int>(1000 * (live().totalTime.lastEnd - live().totalTime.lastStart)) + 1;
    std::mt19937 random(5);
    for (int round = 0; round < 100; ++round) {
        const int delay = std::uniform_int_distribution(0, length)(random);
        std::atomic<bool> over{false};
        live().stopRender();
        SpecialEventAdd(MSG_START_RENDER);
        std::thread presser([&] {
            while (!live().sendBusy && !over) std::this_thread::yield();
            const auto moment = std::chrono::steady_clock::now() + std::chrono::microseconds(delay);
            while (std::chrono::steady_clock::now() < moment) std::this_thread::yield();
            globals().breakSend = true;
        });
        double asked = GeGetMilliSeconds();
        const bool settled = waitFor([&] {
            const LiveState state = live().state();
            // A start is refused while an update is being pushed; the artist presses again.
            if (state == LiveState::Idle && GeGetMilliSeconds() - asked > 1000) {
                SpecialEventAdd(MSG_START_RENDER);
                asked = GeGetMilliSeconds();
            }
            return !live().sendBusy && (state == LiveState::Rendering || state == LiveState::Finished);
        });
        over = true;
        presser.join();
        ASSERT_TRUE(settled) << "round " << round << ", state " << static_cast<int>(live().state());
        ASSERT_FALSE(Engine::isRenderFailed()) << "round " << round;
    }
    EXPECT_GT(consoleCount("Render Breaked...."), 0) << "no round was caught while it was sent";
    startLive(document);
    EXPECT_EQ(graphContent(Engine::getRenderTargetNode()), whole);
}

TEST_F(SendTest, StopAndResetEmptiesTheProjectButNotInTheMiddleOfASend) {
    startLive(makeLitCube());
    live().setState(LiveState::Exporting);
    live().setProgress(STAGE_GEOMETRY, 0, false);
    live().stopAndReset();
    EXPECT_EQ(live().state(), LiveState::Exporting);
    EXPECT_GT(projectItems(), 0u);

    live().setProgress(STAGE_UPDATING, 0, false);
    live().stopAndReset();
    EXPECT_EQ(live().state(), LiveState::Idle);
    EXPECT_EQ(projectItems(), 0u);
    EXPECT_EQ(Engine::getRenderTargetNode(), nullptr);
    EXPECT_EQ(singletons().objectLinks->count(), 0);
    EXPECT_FALSE(live().renderEnabled);
}

TEST_F(SendTest, ClosedDocumentLeavesTheSessionWithoutOne) {
    BaseDocument* document = makeLitCube();
    startLive(document);
    KillDocument(document);
    live().refreshDocuments();
    EXPECT_EQ(live().liveDoc, nullptr);
    EXPECT_EQ(live().sendDoc, nullptr);
}

}  // namespace
}  // namespace lumora::test
