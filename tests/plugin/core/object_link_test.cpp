// The table of links: look-ups with a roving cursor, what a check forgets, and how much of a link changed.
#include "plugin/core/object_link.h"

#include <functional>

#include "tests/plugin/scene_fixture.h"

namespace lumora::test {
namespace {

class LinkTest : public SceneTest {
protected:
    LinkTest() { table.document = doc; }
    BaseObject* addLinked() {
        BaseObject* object = addNull("Object");
        table.add(0, nullptr, object, Matrix(), 3);
        return object;
    }
    ObjectLinkTable table;
};

TEST_F(LinkTest, CursorFollowsHitsAndStaysOnMisses) {
    EXPECT_EQ(table.findByObject(addNull("Stranger")), nullptr);
    EXPECT_EQ(table.cursor(), 0);
    std::vector<BaseObject*> objects;
    for (int i = 0; i < 4; ++i) objects.push_back(addLinked());
    Int32 index = -1;
    EXPECT_EQ(table.findByObject(objects[2], &index), &table.links()[2]);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(table.cursor(), 2);
    EXPECT_EQ(table.findByObject(addNull("Stranger"), &index), nullptr);
    EXPECT_EQ(table.cursor(), 2);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(table.findByResolvedObject(objects[0]), &table.links()[0]) << "behind the cursor";
    table.findByObject(objects[3]);
    table.removeAt(3);
    table.removeAt(2);
    EXPECT_EQ(table.findByObject(objects[1]), &table.links()[1]) << "the table shrank below the cursor";
    EXPECT_EQ(table.findByObject(nullptr), nullptr);
}

TEST_F(LinkTest, PruneKeepsTheNodesOfWhatIsGone) {
    BaseObject* gone = addLinked();
    addLinked();  // without nodes
    BaseObject* seen = addLinked();
    addLinked();  // not seen by the pass
    for (std::size_t i : {0u, 2u, 3u})
        table.links()[i].transformNode = createNode(NT_GEO_SCATTER, ApiProjectManager::rootNodeGraph());
    for (std::size_t i : {0u, 1u, 2u}) table.links()[i].passStamp = 5;
    table.add(0, nullptr, nullptr, Matrix(), 0);  // names no object
    gone->Remove();
    BaseObject::Free(gone);
    table.changed = false;
    table.prune(5);
    ASSERT_EQ(table.count(), 2);
    EXPECT_EQ(table.links()[1].object, seen);
    EXPECT_EQ(table.removed().size(), 2u);
    EXPECT_TRUE(table.changed);
}

TEST_F(LinkTest, RecordsOfOneGeneratorTakeALinkEach) {
    BaseObject* generator = addNull("Generator");
    SceneObjectInfo info;
    info.generator = generator;
    info.object = generator;
    for (UInt32 number : {7u, 7u, 9u}) table.add(0, generator, generator, Matrix(), 3).cacheNumber = number;
    table.refresh();
    std::vector<const ObjectLink*> taken;
    for (UInt32 number : {7u, 7u, 9u}) {
        info.uniqueIp = number;
        ObjectLink* link = table.findForRecord(info, 1);
        ASSERT_NE(link, nullptr);
        table.take(*link, info, static_cast<Int32>(taken.size()), 1);
        taken.push_back(link);
    }
    EXPECT_NE(taken[0], taken[1]);
    EXPECT_EQ(table.findForRecord(info, 1), nullptr) << "all are taken";
}

TEST_F(LinkTest, ComparisonSaysHowMuchChanged) {
    PolygonObject* object = addTriangleAndQuad();
    SceneObjectInfo start = record(object);
    const auto level = [&](const std::function<void(SceneObjectInfo&)>& edit, Int32 colours = 0) {
        ObjectLinkTable fresh;
        fresh.document = doc;
        ObjectLink& link = fresh.add(0, nullptr, object, Matrix(), 3);
        SceneObjectInfo info = start;
        link.info = &info;
        EXPECT_EQ(compareOne(link, colours, object), LinkChange::Rebuild) << "a new link";
        link.meshDirty = link.matrixDirty = false;  // served
        EXPECT_EQ(compareOne(link, colours, object), LinkChange::Same);
        edit(info);
        const LinkChange result = compareOne(link, colours, object);
        EXPECT_EQ(link.meshDirty, result == LinkChange::Rebuild);
        EXPECT_EQ(compareOne(link, colours, object) == LinkChange::Rebuild, result == LinkChange::Rebuild)
            << "what was not served is said again";
        return result;
    };
    const auto projected = [&](Int32 projection) {
        return [this, object, projection](SceneObjectInfo& info) {
            BaseObject* parent = addNull("Tagged");
            info.mainTextureTag = addTexture(parent, addMaterial("M"), "", projection);
            info.globalMatrix.off.x += 1;
            static_cast<void>(object);
        };
    };
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.globalMatrix.off.x = 3; }), LinkChange::Matrix);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.opacity = 0.5; }), LinkChange::Opacity);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.cameraVisible = false; }), LinkChange::CameraVisibility);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.shadowVisible = false; }), LinkChange::ShadowVisibility);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.dirty.data += 1; }), LinkChange::Rebuild);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.dirty.tags += 1; }), LinkChange::Rebuild);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.dirty.hierarchy += 1; }), LinkChange::Rebuild);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.needsLayer = true; }), LinkChange::Rebuild);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.dirty.poly += 1; }), LinkChange::Same) << "no stack shows materials";
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.dirty.poly += 1, i.stackedTagIndex = 2; }), LinkChange::Rebuild);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.colorId = 4; }), LinkChange::Same);
    EXPECT_EQ(level([](SceneObjectInfo& i) { i.colorId = 4; }, 10), LinkChange::Rebuild);
    EXPECT_EQ(level(projected(P_UVW)), LinkChange::Matrix);
    EXPECT_EQ(level(projected(P_CUBIC)), LinkChange::Rebuild) << "moves through a projection that stands still";
}

}  // namespace
}  // namespace lumora::test
