// Instances and floors of a document that renders live.
#include "plugin/core/scene_collector.h"
#include "plugin/core/send.h"
#include "plugin/core/singletons.h"
#include "plugin/geometry/instance_manager.h"
#include "tests/plugin/support/plugin_test.h"

namespace lumora::test {
namespace {

class InstanceLiveTest : public PluginTest {};

TEST_F(InstanceLiveTest, WhatASendBuiltIsUpToDateAndAMoveIsOneWrite) {
    BaseDocument* document = makeLitCube();
    BaseObject* base = document->GetFirstObject();
    BaseObject* moved = nullptr;
    for (int i = 0; i < 3; ++i) {
        moved = BaseObject::Alloc(Oinstance);
        moved->GetDataInstance()->SetLink(INSTANCEOBJECT_LINK, base);
        moved->SetAbsPos(Vector(300.0 * i, 0, 300));
        document->AppendObject(moved);
    }
    document->AppendObject(BaseObject::Alloc(Ofloor));
    startLive(document);
    const ApiNode* scatter = mainGroup()->connectedNodeIx(5)->connectedNodeIx(0);
    ASSERT_NE(scatter, nullptr);
    EXPECT_EQ(scatter->getArraySize(Lumora::A_TRANSFORM), 3u);
    const ApiNode* floor = mainGroup()->connectedNodeIx(2)->connectedNodeIx(0);
    ASSERT_NE(floor, nullptr) << "an untagged floor stands among the movable objects";
    EXPECT_EQ(floor->connectedNode(Lumora::P_GEOMETRY)->type(), Lumora::NT_GEO_PLANE);

    InstanceManager& manager = *singletons().instances;
    const InstanceOptions options = instanceOptions(live());
    SceneCollections found;
    const auto pass = [&] {
        document->ExecutePasses(true, true, true);
        collectScene(document, found, CollectOptions{});
        const Int32 flags = manager.check(document, found.instances, options);
        Lumora::ApiWriteJournal::enable(true);
        Lumora::ApiWriteJournal::reset();
        if (flags) manager.buildInstances(document, live().mainGroup, 5, found.instances, options, false);
        return flags;
    };
    EXPECT_EQ(pass(), 0) << "the send left nothing to do";
    moved->SetAbsPos(Vector(0, 500, 0));
    EXPECT_EQ(pass(), UPDATE_INSTANCE_MATRICES);
    EXPECT_EQ(Lumora::ApiWriteJournal::total(), 1u);
    Lumora::ApiWriteJournal::enable(false);
    live().stopAndReset();
    EXPECT_TRUE(manager.groups().empty());
}

TEST_F(InstanceLiveTest, AFloorStandsBesideTheMeshOfASlotThatIsSentWhole) {
    BaseDocument* document = makeLitCube();
    document->AppendObject(BaseObject::Alloc(Ofloor));
    startLive(document);
    live().setState(LiveState::Finished);
    ASSERT_TRUE(sendAndStart(live(), document, document, false, true, nullptr));
    const ApiNode* floors = mainGroup()->connectedNodeIx(2);
    ASSERT_NE(floors, nullptr);
    ASSERT_EQ(floors->pinCount(), 1u);
    EXPECT_EQ(floors->connectedNodeIx(0)->connectedNode(Lumora::P_GEOMETRY)->type(), Lumora::NT_GEO_PLANE);
    EXPECT_EQ(mainGroup()->connectedNodeIx(1)->type(), Lumora::NT_GEO_MESH);
}

}  // namespace
}  // namespace lumora::test
